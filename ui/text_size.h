// Sizes that go with the text, which a user may have made larger than the rest.
#pragma once

#include <wx/window.h>

#include <algorithm>

namespace vnt::ui {

// `units` of 1/96 inch as pixels of a window, more where its text is larger than usual.
inline int WithText(const wxWindow& window, int units) {
  constexpr int kUsualHeight = 17;  // of a line, in such units
  return std::max(window.FromDIP(units), units * window.GetCharHeight() / kUsualHeight);
}
inline wxSize WithText(const wxWindow& window, const wxSize& units) {
  return {WithText(window, units.x), WithText(window, units.y)};
}

}  // namespace vnt::ui
