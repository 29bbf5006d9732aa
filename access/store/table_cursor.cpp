// Walks over tables and indexes.
//
// Nothing is remembered about a page but the slot reached: each step looks at the page anew, so rows may
// move, change or vanish in between.
#include "access/store/stored_table.h"

namespace jet {

struct TableCursor::State {
  explicit State(StoredTable& t) : table(t), rollbacks(t.rollbacks()) { table.HoldRowIds(); }
  ~State() { table.ReleaseRowIds(); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // Goes to the first owned page that is not below `from`.
  bool OpenPage(PageNo from) {
    const auto next = table.owned().Next(from);
    if (!next) {
      page = PageRef();
      done = true;
      return false;
    }
    page_no = *next;
    slot = 0;
    page = table.context().pages.Read(page_no);
    return true;
  }

  StoredTable& table;
  std::uint64_t rollbacks;
  PageRef page;
  PageNo page_no = 0;
  unsigned slot = 0;
  bool done = false;
};

TableCursor::TableCursor(StoredTable& table) : state_(std::make_unique<State>(table)) {}
TableCursor::TableCursor(Table& table) : TableCursor(table.stored()) {}
TableCursor::~TableCursor() = default;

bool TableCursor::Next(Row* row, RowId* id) {
  State& s = *state_;
  const FormatInfo& format = s.table.context().format;
  if (s.done) return false;
  if (!s.page) {
    if (!s.OpenPage(0)) return false;
  } else if (s.rollbacks != s.table.rollbacks()) {
    // The page may have been cut off.
    s.rollbacks = s.table.rollbacks();
    const unsigned slot = s.slot;
    const PageNo page_no = s.page_no;
    s.page = PageRef();
    if (!s.OpenPage(page_no)) return false;
    if (s.page_no == page_no) s.slot = slot;
  }
  for (;;) {
    const std::uint8_t* data = s.page.data();
    if (!IsDataPageOf(data, s.table.layout().tdef_page)) {
      ThrowCorrupt("a table names it as a page of its rows, but it is none", s.page_no, 4);
    }
    if (s.slot >= SlotCount(format, data)) {
      if (!s.OpenPage(s.page_no + 1)) return false;
      continue;
    }
    const unsigned at = s.slot++;
    const RowSlot slot = ReadSlot(format, data, s.page_no, at);
    if ((slot.flags & kSlotDeleted) != 0) continue;
    *id = RowId(s.page_no, at);
    if (!slot.moved()) {
      RowAccess::Set(s.table, s.page,
                     RowView::Parse(s.table.row_format(), Bytes(data + slot.start, slot.length()), s.page_no,
                                    slot.start),
                     row);
      return true;
    }
    PageRef page = s.page;
    const RowView view = s.table.ViewRow(slot, &page);
    RowAccess::Set(s.table, page, view, row);
    return true;
  }
}

struct IndexCursor::State {
  State(StoredTable& t, int i, Bounds b)
      : table(t), index(i), bounds(std::move(b)), rollbacks(t.rollbacks()) {
    cursor.emplace(t.tree(i));
    table.HoldRowIds();
  }
  ~State() { table.ReleaseRowIds(); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  void Start() {
    if (!bounds.lower) {
      cursor->SeekFirst();
    } else if (!bounds.lower_open) {
      cursor->Seek(*bounds.lower);
    } else {
      // Past all keys that begin with the bound: to the next higher prefix.
      std::string next = *bounds.lower;
      while (!next.empty() && next.back() == '\xFF') next.pop_back();
      if (next.empty()) {
        done = true;
        return;
      }
      next.back() = static_cast<unsigned char>(next.back()) + 1;
      cursor->Seek(next);
    }
  }

  bool PastUpper(std::string_view key) const {
    if (!bounds.upper) return false;
    const int order = key.substr(0, bounds.upper->size()).compare(*bounds.upper);
    return bounds.upper_open ? order >= 0 : order > 0;
  }

  // After a rollback the tree may differ without the tree knowing: look up the last entry again.
  void Reseek() {
    rollbacks = table.rollbacks();
    cursor.emplace(table.tree(index));
    cursor->Seek(last_key);
    while (cursor->valid() && cursor->key() == last_key && cursor->row() <= last_row) cursor->Next();
  }

  StoredTable& table;
  int index;
  Bounds bounds;
  std::uint64_t rollbacks;
  std::optional<BTree::Cursor> cursor;
  std::string last_key;
  RowId last_row;
  bool started = false;
  bool done = false;
};

IndexCursor::IndexCursor(StoredTable& table, int index, Bounds bounds)
    : state_(std::make_unique<State>(table, index, std::move(bounds))) {}
IndexCursor::IndexCursor(Table& table, int index, Bounds bounds)
    : IndexCursor(table.stored(), index, std::move(bounds)) {}
IndexCursor::~IndexCursor() = default;

bool IndexCursor::Next(RowId* id) {
  State& s = *state_;
  if (s.done) return false;
  if (!s.started) {
    s.started = true;
    s.rollbacks = s.table.rollbacks();
    s.Start();
  } else if (s.rollbacks != s.table.rollbacks()) {
    s.Reseek();
  } else {
    s.cursor->Next();
  }
  if (s.done || !s.cursor->valid() || s.PastUpper(s.cursor->key())) {
    s.done = true;
    return false;
  }
  s.last_key.assign(s.cursor->key());
  s.last_row = s.cursor->row();
  *id = s.last_row;
  return true;
}

std::string_view IndexCursor::key() const { return state_->last_key; }

}  // namespace jet
