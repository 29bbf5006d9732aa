// What a fix does, beside the boxes: the number by which the guide and vntfix know it, and the catalogue's
// sentence. The boxes' own tooltips are kept as users know them, and some speak of another fix.
#pragma once

#include <wx/stattext.h>

#include "run/catalogue.h"

class wxCheckBox;

namespace vnt::ui {

class FixHint : public wxStaticText {
 public:
  explicit FixHint(wxWindow* parent);

  // From now on tells of that fix when its box gets the focus or the pointer.
  void Watch(wxCheckBox& box, const FixEntry& fix);

 private:
  void Tell();

  const FixEntry* fix_ = nullptr;  // told last
};

}  // namespace vnt::ui
