// Rows as they are put together and written: values are prepared for a row first, which is when everything is
// refused that a column refuses; then the row is patched where it stands, or assembled anew and put in its
// place, or on another page with a pointer row left behind.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "access/store/held_slots.h"
#include "access/store/layout.h"
#include "access/store/long_value.h"
#include "access/store/row_codec.h"
#include "access/store/row_space.h"

namespace jet {

// A live row and where it stands.
struct RowLocation {
  PageRef home_page, body_page;
  RowSlot home, body;
  unsigned home_slot = 0, body_slot = 0;
  RowView view;
  bool moved() const { return home.moved(); }
};

class RowWriter {
 public:
  RowWriter(StoreContext& context, const TableDef& def, const TableLayout& layout);

  const UsageMap& owned() const { return space_.owned(); }

  // ---- Preparing ----

  // The values of a row are about to be prepared, `count` of them; none are yet.
  void Begin(int count);
  // The k-th of them: what `column` is to hold. kTooLarge, kType, kConstraint.
  void Prepare(int k, int column, const Value& value);
  // As the column holds it.
  const Value& prepared(int k) const { return prepared_[k].value; }
  // The value of a column after the change that is being prepared.
  Value NewValue(int column, const RowView* old) const;
  // The same where every column was prepared.
  const Value& NewValue(int column) const { return prepared_[change_of_column_[column]].value; }
  Value OldValue(int column, const RowView& row) const;

  // ---- Writing ----

  // Whether every prepared change can be made within the bytes that the row has.
  bool CanPatch(const RowView& old) const;
  bool PatchChangesAnything(const RowView& old) const;
  void Patch(const RowLocation& at);
  // Puts the bytes together: of a new row, or of one that has changed. kTooLarge.
  void Assemble(const RowView* old);
  bool NeedsRewriting(const RowView& row) const;
  // After these the assembled row takes its place; long values of the old one go first.
  void FreeLongValues(const RowView& old, bool only_changed);
  void WriteLongValues();
  RowId Add();
  void Replace(const RowLocation& at);

  void Delete(RowId id, const RowLocation& at);
  // The bytes stay as they are, but for the places of long values.
  void AddCopy(StoreContext& from, const RowView& row);

  // ---- Pages ----

  // See Table.
  void HoldRowIds() { held_.Hold(); }
  void ReleaseRowIds();
  bool has_pages_to_return() const { return !emptied_.empty() && !held_.held(); }
  // Pages on which no row is left go back to the file.
  void ReturnPages();
  // What is kept in memory beside the pages is stale: of all rows, or of long values too.
  void ForgetSpace() { space_.Forget(); }
  void Forget();

 private:
  // A value on its way into a row.
  struct Prepared {
    int column = 0;
    Value value;  // converted
    bool null = false;
    std::size_t raw_offset = 0, raw_size = 0;  // in raw_: storage form, or content of a long value
    bool inline_content = true;
    std::size_t reference_offset = 0;  // in row_buffer_, of a long value that is not inline
  };

  Bytes Raw(const Prepared& p) const;
  std::size_t VariableSize(int column, const RowView* old) const;
  std::size_t AssembledSize(const RowView* old);
  std::size_t PutColumn(int column, const RowView* old, std::size_t limit, std::uint8_t* to,
                        std::uint8_t* mask);
  bool TryPlace(PageNo page_no, unsigned slot, const RowSlot& now, std::uint16_t flags);
  void LeavePointer(const RowLocation& at);
  void DeleteBody(const RowLocation& at);
  void NoteRoom(PageNo page, const std::uint8_t* data);

  StoreContext& context_;
  const TableDef& def_;
  const TableLayout& layout_;
  HeldSlots held_;
  RowSpace space_;
  std::set<PageNo> emptied_;                                  // pages that may have no rows any more
  std::vector<std::unique_ptr<LongValueStore>> long_stores_;  // by column position; null for other columns
  std::vector<int> variable_order_;  // column position by variable index, -1 where the column was dropped
  std::uint32_t fixed_bytes_ = 0;

  // Buffers that are used again for every row.
  std::vector<Prepared> prepared_;
  int prepared_count_ = 0;
  std::vector<int> change_of_column_;  // position in prepared_, or -1
  std::string raw_, row_buffer_;
};

}  // namespace jet
