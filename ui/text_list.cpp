#include "ui/text_list.h"

#include <utility>

#include "ui/text_size.h"
#include "ui/text_wx.h"

namespace vnt::ui {

class TextList::Model : public wxDataViewVirtualListModel {
 public:
  explicit Model(Source source) : source_(std::move(source)) {}

  void GetValueByRow(wxVariant& value, unsigned row, unsigned column) const override {
    value = ToWx(source_.text(row, column));
  }
  bool SetValueByRow(const wxVariant&, unsigned, unsigned) override { return false; }
  bool GetAttrByRow(unsigned row, unsigned, wxDataViewItemAttr& attribute) const override {
    if (!source_.is_marked || !source_.is_marked(row)) return false;
    attribute.SetBold(true);
    return true;
  }

  const Source& source() const { return source_; }

 private:
  const Source source_;
};

TextList::TextList(wxWindow* parent, const char* name, const std::vector<Column>& columns, Source source)
    : wxDataViewCtrl(parent, wxID_ANY, wxDefaultPosition, wxDefaultSize, wxDV_ROW_LINES | wxDV_SINGLE,
                     wxDefaultValidator, name),
      model_(new Model(std::move(source))) {
  AssociateModel(model_);
  model_->DecRef();  // the list keeps it
  for (unsigned i = 0; i < columns.size(); ++i) {
    AppendTextColumn(ToWx(columns[i].title), i, wxDATAVIEW_CELL_INERT, WithText(*this, columns[i].width),
                     columns[i].is_number ? wxALIGN_RIGHT : wxALIGN_LEFT, wxDATAVIEW_COL_RESIZABLE);
  }
}

void TextList::Fill(std::size_t rows) { model_->Reset(static_cast<unsigned>(rows)); }

unsigned TextList::Rows() const { return model_->GetCount(); }

int TextList::Chosen() const {
  const wxDataViewItem item = GetSelection();
  return item.IsOk() ? static_cast<int>(model_->GetRow(item)) : -1;
}

void TextList::Choose(unsigned row) {
  const wxDataViewItem item = model_->GetItem(row);
  Select(item);
  EnsureVisible(item);
}

std::string TextList::Shown(unsigned row, unsigned column) const {
  return model_->source().text(row, column);
}

}  // namespace vnt::ui
