// Only the pages that were changed are looked at, as they were at the mark and as they are. Of their rows
// those drop out that stand in the same slot byte for byte; of the others key and values are summed up as
// hashes, which makes nothing of a row that has only moved.
#include "access/store/changed_rows.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "access/base/hash.h"
#include "access/base/text.h"
#include "access/file/test_files.h"
#include "access/store/data_page.h"
#include "access/store/database_impl.h"
#include "access/store/stored_table.h"
#include "access/store/user_tables.h"

namespace jet {
namespace {

// Of the file as it was; its pages are read once or twice.
constexpr std::size_t kCacheBytes = 4u << 20;
// Pages whose rows are summed up at a time: about 20 MB of hashes.
constexpr std::size_t kPagesAtATime = 16384;

std::uint64_t HashBytes(std::uint64_t seed, const void* data, std::size_t size) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  const std::size_t whole = size & ~std::size_t{7};
  std::uint64_t hash = Hash(seed, bytes, whole);
  std::uint64_t rest = size;
  for (std::size_t i = whole; i < size; ++i) rest = rest << 8 | bytes[i];
  return internal::MixHash(hash, rest);
}
std::uint64_t HashBytes(std::uint64_t seed, std::string_view text) {
  return HashBytes(seed, text.data(), text.size());
}

std::uint64_t HashBytes(std::uint64_t seed, Bytes bytes) {
  return HashBytes(seed, bytes.data(), bytes.size());
}

// The same for equal texts, compressed or not, and without decoding what is nearly every text.
std::uint64_t HashText(std::uint64_t seed, StoreContext& context, const ColumnDef& column, Bytes raw,
                       const RowView& place, std::string* buffer) {
  const bool compressed = raw.size() >= 2 && raw[0] == 0xFF && raw[1] == 0xFE;
  if (compressed && std::find(raw.begin() + 2, raw.end(), 0) == raw.end()) {
    return HashBytes(seed, raw.subspan(2));
  }
  std::string text;
  DecodeTextColumn(context, column, raw, place, &text);
  // As it would stand there compressed, if it can.
  buffer->clear();
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = NextCodePoint(text, &i);
    if (c == 0 || c > 0xFF) return HashBytes(~seed, text);
    buffer->push_back(static_cast<char>(c));
  }
  return HashBytes(seed, *buffer);
}

// Equal for equal values.
std::uint64_t HashColumn(std::uint64_t seed, StoreContext& context, const ColumnDef& column,
                         const RowView& row, std::string* buffer) {
  constexpr std::uint64_t kNull = 1, kValue = 2;
  if (InMask(column)) return internal::MixHash(seed, row.MaskBit(column.number) ? kValue + 1 : kValue);
  Bytes raw;
  if (!row.Raw(column, &raw) || IsNullValue(context, column, raw, row)) return internal::MixHash(seed, kNull);
  const std::uint64_t hash = internal::MixHash(seed, kValue);
  if (column.type == ColumnType::kText && !column.calculated) {
    return HashText(hash, context, column, raw, row, buffer);
  }
  const bool is_plain = !column.calculated && column.type != ColumnType::kMemo &&
                        column.type != ColumnType::kOle && column.type != ColumnType::kDecimal;
  if (is_plain) return HashBytes(hash, raw);
  const Value value = DecodeValue(context, column, raw, row);
  if (value.kind() == ValueKind::kDecimal) return HashBytes(hash, value.decimal().ToText());
  if (value.kind() == ValueKind::kReal)
    return internal::MixHash(hash, std::bit_cast<std::uint64_t>(value.real()));
  if (value.kind() == ValueKind::kInteger)
    return internal::MixHash(hash, static_cast<std::uint64_t>(value.integer()));
  return HashBytes(hash, value.bytes());
}

// Adds rows up by key: what comes and goes with the same values leaves nothing.
class Balance {
 public:
  // Only keys whose hash leaves that rest are taken.
  Balance(std::uint64_t parts, std::uint64_t part) : parts_(parts), part_(part) {}

  // `sign`: 1 for a row that is there, -1 for one that was. `primary`: the index of the key, or -1.
  void Add(const StoredTable& table, int primary, const RowView& row, std::uint64_t sign) {
    std::uint64_t content = 0;
    for (const ColumnDef& column : table.def().columns) {
      content = HashColumn(content, table.context(), column, row, &buffer_);
    }
    if (primary < 0) return Take(content, sign);
    Take(HashKey(table, primary, row), sign * (content | 1));
  }

  // How many rows are not as they were. `table`: a number of its name, for `together`, which may be null.
  std::int64_t Count(bool by_key, std::uint64_t table, ChangedRows* together) {
    std::ranges::sort(sums_);
    std::int64_t count = 0;
    for (std::size_t i = 0; i < sums_.size();) {
      std::uint64_t sum = 0;
      const std::uint64_t key = sums_[i].first;
      for (; i < sums_.size() && sums_[i].first == key; ++i) sum += sums_[i].second;
      if (sum == 0) continue;
      const auto rows = static_cast<std::int64_t>(sum);
      count += by_key ? 1 : std::abs(rows);
      if (together == nullptr) continue;
      const std::uint64_t row = internal::MixHash(table, key);
      by_key ? together->AddKeyed(row, sum) : together->AddUnkeyed(row, sum);
    }
    return count;
  }

 private:
  // Keys are equal as the index takes them to be.
  std::uint64_t HashKey(const StoredTable& table, int primary, const RowView& row) {
    key_.clear();
    std::uint64_t hash = 0;
    bool is_text = false;
    for (const IndexColumn& part : table.def().indexes[primary].columns) {
      const ColumnDef& column = table.def().columns[part.column];
      is_text |= column.type == ColumnType::kText;
      hash = HashColumn(hash, table.context(), column, row, &buffer_);
    }
    if (!is_text) return hash;
    for (const IndexColumn& part : table.def().indexes[primary].columns) {
      const ColumnDef& column = table.def().columns[part.column];
      Bytes raw;
      if (InMask(column)) {
        key_.push_back(Value::Integer(row.MaskBit(column.number) ? -1 : 0));
      } else if (row.Raw(column, &raw) && !IsNullValue(table.context(), column, raw, row)) {
        key_.push_back(DecodeValue(table.context(), column, raw, row));
      } else {
        key_.emplace_back();
      }
    }
    return HashBytes(0, table.MakeKey(primary, key_));
  }

  void Take(std::uint64_t key, std::uint64_t amount) {
    if (key % parts_ == part_) sums_.emplace_back(key, amount);
  }

  std::uint64_t parts_, part_;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> sums_;
  std::vector<Value> key_;
  std::string buffer_;
};

// A row as it stands on a page, by its slot; the body of a moved row counts where the body is, and a slot
// without one has no length.
struct StandingRow {
  std::uint32_t start = 0;
  std::uint32_t length = 0;
};

std::vector<StandingRow> RowsOn(const StoredTable& table, const PageRef& page) {
  std::vector<StandingRow> rows;
  const FormatInfo& format = table.context().format;
  if (!page || !IsDataPageOf(page.data(), table.layout().tdef_page)) return rows;
  rows.resize(SlotCount(format, page.data()));
  for (unsigned i = 0; i < rows.size(); ++i) {
    const RowSlot slot = ReadSlot(format, page.data(), page.page_no(), i);
    if ((slot.flags & kSlotPointer) == 0) rows[i] = {slot.start, slot.length()};
  }
  return rows;
}

// One table as it was and as it is; either may be missing.
class TableChange {
 public:
  // `together` may be null.
  TableChange(StoredTable* then, StoredTable* now, ChangedRows* together)
      : then_(then), now_(now), together_(together) {
    const StoredTable& one = now != nullptr ? *now : *then;
    has_key_ = PrimaryIndex(one.def()) >= 0 && (then == nullptr || now == nullptr || HasSameKey());
    // The same bytes may lead to another content.
    has_long_values_ = std::ranges::any_of(one.def().columns, [](const ColumnDef& column) {
      return column.type == ColumnType::kMemo || column.type == ColumnType::kOle;
    });
  }

  // Where the rows that were not touched can be left out.
  bool IsOneTable() const {
    return then_ != nullptr && now_ != nullptr && then_->layout().tdef_page == now_->layout().tdef_page &&
           then_->StoresRowsAs(*now_) && HasSameKey();
  }

  std::int64_t CountOn(const std::vector<PageNo>& pages) {
    return InParts(pages.size(), [&](Balance& balance) {
      for (const PageNo page : pages) AddPage(page, &balance);
    });
  }

  std::int64_t CountAll() {
    std::size_t pages = 0;
    for (const StoredTable* table : {then_, now_}) {
      if (table != nullptr) pages += table->row_count() / 32;
    }
    return InParts(pages, [&](Balance& balance) {
      for (StoredTable* table : {then_, now_}) {
        if (table == nullptr) continue;
        Row row;
        RowId id;
        for (TableCursor cursor(*table); cursor.Next(&row, &id);) {
          Add(*table, RowAccess::View(row), &balance);
        }
      }
    });
  }

 private:
  bool HasSameKey() const {
    const auto key = [](const StoredTable& table) {
      std::vector<std::pair<unsigned, bool>> columns;
      const int primary = PrimaryIndex(table.def());
      if (primary < 0) return columns;
      for (const IndexColumn& column : table.def().indexes[primary].columns) {
        columns.emplace_back(column.column, column.descending);
      }
      return columns;
    };
    return key(*then_) == key(*now_);
  }

  template <typename Fill>
  std::int64_t InParts(std::size_t pages, Fill fill) {
    const std::uint64_t parts = 1 + pages / kPagesAtATime;
    const std::uint64_t table = HashBytes(0, (now_ != nullptr ? *now_ : *then_).def().name);
    std::int64_t count = 0;
    for (std::uint64_t part = 0; part < parts; ++part) {
      Balance balance(parts, part);
      fill(balance);
      count += balance.Count(has_key_, table, together_);
    }
    return count;
  }

  void Add(const StoredTable& table, const RowView& row, Balance* balance) const {
    balance->Add(table, has_key_ ? PrimaryIndex(table.def()) : -1, row,
                 &table == now_ ? 1 : ~std::uint64_t{0});
  }

  static PageRef Read(const StoredTable& table, PageNo page) {
    PageStore& pages = table.context().pages;
    return page < pages.page_count() ? pages.Read(page) : PageRef();
  }

  void AddPage(PageNo number, Balance* balance) {
    const PageRef old_page = Read(*then_, number), new_page = Read(*now_, number);
    std::vector<StandingRow> old_rows = RowsOn(*then_, old_page), new_rows = RowsOn(*now_, new_page);
    if (!has_long_values_) DropEqual(old_page, &old_rows, new_page, &new_rows);
    AddRows(*then_, old_page, old_rows, balance);
    AddRows(*now_, new_page, new_rows, balance);
  }

  // Those that stand in the same slot with the same bytes; one that has changed its slot is summed up.
  static void DropEqual(const PageRef& old_page, std::vector<StandingRow>* old_rows, const PageRef& new_page,
                        std::vector<StandingRow>* new_rows) {
    for (std::size_t i = 0; i < std::min(old_rows->size(), new_rows->size()); ++i) {
      StandingRow& a = (*old_rows)[i];
      StandingRow& b = (*new_rows)[i];
      if (a.length != b.length || a.length == 0) continue;
      if (std::memcmp(old_page.data() + a.start, new_page.data() + b.start, a.length) == 0) a = b = {};
    }
  }

  void AddRows(const StoredTable& table, const PageRef& page, const std::vector<StandingRow>& rows,
               Balance* balance) const {
    for (const StandingRow& at : rows) {
      if (at.length == 0) continue;
      const Bytes bytes(page.data() + at.start, at.length);
      Add(table, RowView::Parse(table.row_format(), bytes, page.page_no(), at.start), balance);
    }
  }

  StoredTable* then_;
  StoredTable* now_;
  ChangedRows* together_;
  bool has_key_ = false;
  bool has_long_values_ = false;
};

// The pages of rows, by the definition of their table.
using PagesByOwner = std::map<std::uint32_t, std::vector<PageNo>>;

void AddOwner(PageStore& pages, PageNo page, PagesByOwner* owners) {
  if (page >= pages.page_count()) return;
  const PageRef ref = pages.Read(page);
  if (ref.data()[0] != kPageData) return;
  std::vector<PageNo>& list = (*owners)[PageOwner(ref.data())];
  if (list.empty() || list.back() != page) list.push_back(page);
}

// The tables that users see, by the page of their definition and their name.
std::map<std::string, PageNo> UserTables(DatabaseImpl& database) {
  std::map<std::string, PageNo> tables;
  for (const CatalogEntry& entry : database.Catalog()) {
    if (IsUserTable(entry)) tables[entry.name] = static_cast<PageNo>(entry.id);
  }
  return tables;
}

void AddTo(std::unordered_map<std::uint64_t, std::uint64_t>* sums, std::uint64_t hash,
           std::uint64_t difference) {
  const auto sum = sums->try_emplace(hash).first;
  sum->second += difference;
  if (sum->second == 0) sums->erase(sum);
}

}  // namespace

void ChangedRows::AddKeyed(std::uint64_t key, std::uint64_t difference) { AddTo(&keyed_, key, difference); }

void ChangedRows::AddUnkeyed(std::uint64_t content, std::uint64_t difference) {
  AddTo(&unkeyed_, content, difference);
}

std::int64_t ChangedRows::Count() const {
  auto count = static_cast<std::int64_t>(keyed_.size());
  for (const auto& [content, rows] : unkeyed_) count += std::abs(static_cast<std::int64_t>(rows));
  return count;
}

std::int64_t CountChangedRows(Database& database, ChangedRows* together) {
  DatabaseImpl& now = database.impl();
  const std::vector<PageNo> changed = now.pages().ChangedSinceMark();
  if (changed.empty()) return 0;

  MemoryFileSystem no_files;  // there is no journal beside what the file was
  PageStoreOptions options;
  options.cache_bytes = kCacheBytes;
  DatabaseImpl then(now.path(),
                    std::make_unique<PageStore>(no_files, now.pages().FileAtMark(), "", /*writable=*/false,
                                                now.pages().page_size(), options),
                    now.header());
  PagesByOwner owners;
  for (const PageNo page : changed) {
    AddOwner(then.pages(), page, &owners);
    AddOwner(now.pages(), page, &owners);
  }

  const std::map<std::string, PageNo> old_tables = UserTables(then), new_tables = UserTables(now);
  std::map<std::string, std::pair<PageNo, PageNo>> tables;
  for (const auto& [name, page] : old_tables) tables[name].first = page;
  for (const auto& [name, page] : new_tables) tables[name].second = page;
  std::int64_t count = 0;
  for (const auto& [name, pages] : tables) {
    const auto touched = owners.find(pages.first);
    if (pages.first == pages.second && touched == owners.end()) continue;
    const auto find = [&name = name](DatabaseImpl& in, PageNo page) {
      return page == 0 ? nullptr : in.FindTable(name);
    };
    const std::shared_ptr<Table> old_table = find(then, pages.first), new_table = find(now, pages.second);
    if (old_table == nullptr && new_table == nullptr) continue;
    TableChange change(old_table ? &old_table->stored() : nullptr, new_table ? &new_table->stored() : nullptr,
                       together);
    count += change.IsOneTable() ? change.CountOn(touched->second) : change.CountAll();
  }
  return count;
}

}  // namespace jet
