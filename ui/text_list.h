// A list of texts in columns, which asks for what it shows.
#pragma once

#include <wx/dataview.h>

#include <functional>
#include <string>
#include <vector>

namespace vnt::ui {

class TextList : public wxDataViewCtrl {
 public:
  struct Column {
    const char* title;
    int width;  // in units of 1/96 inch, for text of the usual size
    bool is_number = false;
  };
  struct Source {
    std::function<std::string(unsigned row, unsigned column)> text;
    // Rows that stand out, in bold; may be empty.
    std::function<bool(unsigned row)> is_marked;
  };
  TextList(wxWindow* parent, const char* name, const std::vector<Column>& columns, Source source);

  // Asks for all rows anew.
  void Fill(std::size_t rows);
  unsigned Rows() const;
  // The row that is chosen, as Source numbers them; -1: none.
  int Chosen() const;
  void Choose(unsigned row);
  std::string Shown(unsigned row, unsigned column) const;

 private:
  class Model;
  Model* model_;
};

}  // namespace vnt::ui
