// Tables side by side, and the rows of each in one order.
//
// Where both tables have the same primary key of the same types, the two indexes give the rows in one order,
// and their key bytes tell which rows belong together: nothing is decoded for that. Otherwise keys of one
// kind are made for the rows of both and sorted. Rows whose bytes are the same in tables that store rows
// alike are equal, which most of them are; only the others are decoded.
#include "compare/compare.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include <fmt/format.h>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/store/names.h"
#include "access/store/user_tables.h"
#include "compare/cells.h"
#include "compare/notice_rows.h"
#include "compare/row_order.h"

namespace vnt::compare {
namespace {

// Of the bytes of a row without a key, those that sort it; a hash stands for all of them.
constexpr std::size_t kPrefixBytes = 24;
constexpr std::uint64_t kProgressRows = 1 << 14;

using TablePair = std::array<std::shared_ptr<jet::Table>, 2>;

// FNV-1a. Rows of equal hashes are compared, so that nothing rests on it but the time.
std::uint64_t Hash(std::string_view bytes) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return hash;
}

// Columns of both, those of the old table first.
std::vector<ComparedColumn> ColumnsOf(const TablePair& tables) {
  std::vector<ComparedColumn> columns;
  const auto add = [&](const jet::TableDef& def, bool is_new) {
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
      const jet::ColumnDef& c = def.columns[i];
      const auto same = [&](const ComparedColumn& other) { return jet::SameName(other.name, c.name); };
      auto at = std::ranges::find_if(columns, same);
      if (at == columns.end()) at = columns.insert(at, {.name = c.name});
      (is_new ? at->new_position : at->old_position) = i;
      (is_new ? at->new_definition : at->old_definition) = &c;
    }
  };
  if (tables[0] != nullptr) add(tables[0]->def(), false);
  if (tables[1] != nullptr) add(tables[1]->def(), true);
  return columns;
}

// The columns of the primary key, as positions in `columns`; empty when the tables have none in common.
std::vector<int> KeyOf(const TablePair& tables, const std::vector<ComparedColumn>& columns) {
  std::array<std::vector<int>, 2> keys;
  for (const int side : {0, 1}) {
    if (tables[side] == nullptr) continue;
    const jet::TableDef& def = tables[side]->def();
    const int index = jet::PrimaryIndex(def);
    if (index < 0) return {};
    for (const jet::IndexColumn& key : def.indexes[index].columns) {
      const auto position = side == 0 ? &ComparedColumn::old_position : &ComparedColumn::new_position;
      const auto at = std::ranges::find(columns, key.column, position);
      keys[side].push_back(at - columns.begin());
    }
  }
  if (tables[0] == nullptr) return keys[1];
  if (tables[1] == nullptr) return keys[0];
  const auto unlike = [&](int key) {
    const ComparedColumn& c = columns[key];
    return !c.in_both() || RuleFor(*c.old_definition, *c.new_definition).kind == CellRule::Kind::kUnlike;
  };
  if (keys[0] != keys[1] || std::ranges::any_of(keys[0], unlike)) return {};
  return keys[0];
}

// Whether the primary indexes of the two tables write their keys alike.
bool HaveEqualKeys(const TablePair& tables, const std::array<int, 2>& indexes) {
  const auto& a = tables[0]->def();
  const auto& b = tables[1]->def();
  const auto& columns = a.indexes[indexes[0]].columns;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const jet::KeyColumn x = tables[0]->key_column(indexes[0], i);
    const jet::KeyColumn y = tables[1]->key_column(indexes[1], i);
    const jet::ColumnDef& p = a.columns[columns[i].column];
    const jet::ColumnDef& q = b.columns[b.indexes[indexes[1]].columns[i].column];
    const bool is_text = x.type == jet::ColumnType::kText || x.type == jet::ColumnType::kMemo;
    const bool is_decimal = x.type == jet::ColumnType::kDecimal;
    if (x.type != y.type || x.descending != y.descending) return false;
    if (is_text && (x.collation != y.collation || p.lcid != q.lcid || p.sort_version != q.sort_version))
      return false;
    if (is_decimal && (x.jet4_decimal != y.jet4_decimal || x.decimal_scale != y.decimal_scale)) return false;
  }
  return true;
}

// Two tables, or one where the other database has none, and how their rows are compared.
class TableComparison {
 public:
  TableComparison(TablePair tables, const Options& options, const NoticeRows* notice, Sink& sink,
                  std::uint64_t* done, std::uint64_t all);

  Counts Run();
  const ComparedTable& table() const { return table_; }

 private:
  std::unique_ptr<OrderedRows> Open(int side);
  std::string MakeKey(int side, const jet::Row& row) const;
  jet::Row& Fetch(int side, jet::RowId id);
  bool Advance(OrderedRows* rows);
  void One(int side, jet::RowId id, std::string_view key);
  void Both(jet::RowId old_id, jet::RowId new_id);
  bool AreEqualRows();
  bool IsEqualColumn(std::size_t column);
  void Tell(Difference kind);
  std::optional<jet::RowId> Partner(int side, std::string_view key) const;

  TablePair tables_;
  const Options& options_;
  const NoticeRows* notice_;
  Sink& sink_;
  std::uint64_t* done_;
  std::uint64_t all_;

  ComparedTable table_;
  std::vector<CellRule> rules_;  // by position in table_.columns; of those in one table, its own
  std::array<int, 2> indexes_ = {-1, -1};
  bool keys_of_indexes_ = false;
  bool alike_ = false;              // rows of equal bytes are equal but for long values
  std::vector<std::size_t> longs_;  // columns with long values
  std::array<jet::Row, 2> rows_;
  RowDifference difference_;
  Counts counts_;
};

TableComparison::TableComparison(TablePair tables, const Options& options, const NoticeRows* notice,
                                 Sink& sink, std::uint64_t* done, std::uint64_t all)
    : tables_(std::move(tables)), options_(options), notice_(notice), sink_(sink), done_(done), all_(all) {
  table_.in_old = tables_[0] != nullptr;
  table_.in_new = tables_[1] != nullptr;
  const bool both = table_.in_old && table_.in_new;
  table_.name = (table_.in_old ? tables_[0] : tables_[1])->def().name;
  table_.columns = ColumnsOf(tables_);
  table_.key = KeyOf(tables_, table_.columns);
  difference_.table = &table_;

  bool same_places = both;
  for (std::size_t i = 0; i < table_.columns.size(); ++i) {
    const ComparedColumn& c = table_.columns[i];
    const jet::ColumnDef& one = c.old_definition != nullptr ? *c.old_definition : *c.new_definition;
    const jet::ColumnDef& other = c.new_definition != nullptr ? *c.new_definition : *c.old_definition;
    rules_.push_back(RuleFor(one, other));
    if (one.type == jet::ColumnType::kMemo || one.type == jet::ColumnType::kOle) longs_.push_back(i);
    same_places = same_places && c.old_position == c.new_position;
  }
  alike_ = same_places && tables_[0]->StoresRowsAs(*tables_[1]);
  if (table_.key.empty()) return;
  for (const int side : {0, 1}) {
    if (tables_[side] != nullptr) indexes_[side] = jet::PrimaryIndex(tables_[side]->def());
  }
  keys_of_indexes_ = !both || HaveEqualKeys(tables_, indexes_);
  if (notice_ == nullptr) return;
  // Keys have to be made, which some text orders do not allow.
  for (const int side : {0, 1}) {
    if (tables_[side] == nullptr) continue;
    const auto& index = tables_[side]->def().indexes[indexes_[side]];
    keys_of_indexes_ = keys_of_indexes_ && index.supported;
  }
}

// The key of a row where no index gives it.
std::string TableComparison::MakeKey(int side, const jet::Row& row) const {
  const auto value = [&](std::size_t column) {
    const ComparedColumn& c = table_.columns[column];
    return row.Get(side == 0 ? c.old_position : c.new_position);
  };
  std::string key;
  if (table_.key.empty()) {
    const bool both = table_.in_old && table_.in_new;
    for (std::size_t i = 0; i < table_.columns.size(); ++i) {
      if (!both || table_.columns[i].in_both()) AppendCell(rules_[i], value(i), &key);
    }
    const std::uint64_t hash = Hash(key);
    key.resize(std::min(key.size(), kPrefixBytes));
    return key.append(reinterpret_cast<const char*>(&hash), sizeof hash);
  }
  if (keys_of_indexes_) {
    std::vector<jet::Value> values;
    for (const int column : table_.key) values.push_back(value(column));
    return tables_[side]->MakeKey(indexes_[side], values);
  }
  for (const int column : table_.key) {
    const std::size_t i = column;
    if (rules_[i].kind == CellRule::Kind::kText) {
      // Texts that the indexes take for the same key are so here.
      key.push_back('\1');
      jet::AppendTextKey(jet::Collation::kGeneralLegacy, value(i).bytes(), &key);
      key.push_back('\0');
    } else {
      AppendCell(rules_[i], value(i), &key);
    }
  }
  return key;
}

std::unique_ptr<OrderedRows> TableComparison::Open(int side) {
  if (tables_[side] == nullptr) return nullptr;
  jet::Table& table = *tables_[side];
  if (notice_ == nullptr && keys_of_indexes_) return std::make_unique<IndexOrder>(table, indexes_[side]);
  auto sorted = std::make_unique<SortedOrder>(jet::PlatformFileSystem());
  const auto add = [&](const jet::Row& row, jet::RowId id) { sorted->Add(MakeKey(side, row), id); };
  if (notice_ != nullptr) {
    notice_->ForEach(table, add);
    return sorted;
  }
  jet::Row row;
  jet::RowId id;
  for (jet::TableCursor cursor(table); cursor.Next(&row, &id);) {
    jet::ThrowIfInterrupted();
    add(row, id);
  }
  return sorted;
}

bool TableComparison::Advance(OrderedRows* rows) {
  if (rows == nullptr || !rows->Next()) return false;
  if (++*done_ % kProgressRows == 0) {
    jet::ThrowIfInterrupted();
    sink_.Progress(*done_, std::max(*done_, all_));
  }
  return true;
}

Counts TableComparison::Run() {
  sink_.BeginTable(table_);
  const std::unique_ptr<OrderedRows> a = Open(0);
  const std::unique_ptr<OrderedRows> b = Open(1);
  bool in_a = Advance(a.get());
  bool in_b = Advance(b.get());
  while (in_a || in_b) {
    const int order = !in_b ? -1 : !in_a ? 1 : a->key().compare(b->key());
    if (order < 0) {
      One(0, a->id(), a->key());
    } else if (order > 0) {
      One(1, b->id(), b->key());
    } else {
      Both(a->id(), b->id());
    }
    if (order <= 0) in_a = Advance(a.get());
    if (order >= 0) in_b = Advance(b.get());
  }
  sink_.EndTable(table_, counts_);
  return counts_;
}

jet::Row& TableComparison::Fetch(int side, jet::RowId id) {
  jet::Row& row = rows_[side];
  if (!tables_[side]->Fetch(id, &row)) {
    jet::ThrowCorrupt(fmt::format("an index of table \"{}\" names a row that is not there", table_.name),
                      id.page());
  }
  return row;
}

// A row of one side that has no partner among the rows that take part.
void TableComparison::One(int side, jet::RowId id, std::string_view key) {
  if (const auto partner = Partner(1 - side, key)) {
    side == 0 ? Both(id, *partner) : Both(*partner, id);
    return;
  }
  Fetch(side, id);
  Tell(side == 0 ? Difference::kRemoved : Difference::kAdded);
}

// The row of that key which belongs to another notice on this side.
std::optional<jet::RowId> TableComparison::Partner(int side, std::string_view key) const {
  if (notice_ == nullptr || !keys_of_indexes_ || tables_[side] == nullptr || table_.key.empty()) return {};
  jet::IndexCursor cursor(
      *tables_[side], indexes_[side],
      {.lower = std::string(key), .lower_open = false, .upper = std::string(key), .upper_open = false});
  jet::RowId id;
  if (cursor.Next(&id) && cursor.key() == key) return id;
  return {};
}

void TableComparison::Both(jet::RowId old_id, jet::RowId new_id) {
  Fetch(0, old_id);
  Fetch(1, new_id);
  if (AreEqualRows()) {
    ++counts_.equal;
    return;
  }
  if (!table_.key.empty()) {
    Tell(Difference::kChanged);
    return;
  }
  // Equal keys of unequal rows: their hashes are the same, or there are values that are never equal.
  Tell(Difference::kRemoved);
  Tell(Difference::kAdded);
}

bool TableComparison::IsEqualColumn(std::size_t column) {
  const ComparedColumn& c = table_.columns[column];
  return !c.in_both() || AreEqual(rules_[column], rows_[0].Get(c.old_position), rows_[1].Get(c.new_position));
}

bool TableComparison::AreEqualRows() {
  if (alike_ && std::ranges::equal(rows_[0].stored(), rows_[1].stored()))
    return std::ranges::all_of(longs_, [&](std::size_t column) { return IsEqualColumn(column); });
  for (std::size_t i = 0; i < table_.columns.size(); ++i) {
    if (!IsEqualColumn(i)) return false;
  }
  return true;
}

void TableComparison::Tell(Difference kind) {
  ++(kind == Difference::kRemoved ? counts_.removed
     : kind == Difference::kAdded ? counts_.added
                                  : counts_.changed);
  if (options_.only_counts) return;
  difference_.kind = kind;
  difference_.old_row = kind == Difference::kAdded ? nullptr : &rows_[0];
  difference_.new_row = kind == Difference::kRemoved ? nullptr : &rows_[1];
  difference_.changed.clear();
  for (std::size_t i = 0; kind == Difference::kChanged && i < table_.columns.size(); ++i) {
    if (!IsEqualColumn(i)) difference_.changed.push_back(i);
  }
  sink_.Row(difference_);
}

// The tables of both databases, by name; those that the options choose.
std::map<std::string, TablePair> TablesOf(const std::array<jet::Database*, 2>& databases,
                                          const Options& options) {
  std::map<std::string, TablePair> tables;
  for (const std::size_t side : {0U, 1U}) {
    for (const jet::CatalogEntry& entry : databases[side]->Catalog()) {
      if (!jet::IsUserTable(entry)) continue;
      if (auto table = databases[side]->FindTable(entry.name))
        tables[jet::NameKey(entry.name)][side] = std::move(table);
    }
  }
  // Where one side cannot tell the rows of a notice, nothing can be compared.
  const auto take_part = [&](const TablePair& pair) {
    return options.notice <= 0 || std::ranges::all_of(pair, [](const std::shared_ptr<jet::Table>& table) {
             return table == nullptr || NoticeRows::AreIn(table->def());
           });
  };
  if (options.tables.empty()) {
    std::erase_if(tables, [&](const auto& item) { return !take_part(item.second); });
    return tables;
  }
  std::map<std::string, TablePair> chosen;
  for (const std::string& name : options.tables) {
    const auto at = tables.find(jet::NameKey(name));
    if (at == tables.end()) {
      throw jet::Error(jet::ErrorKind::kNoTable, fmt::format("Neither database has a table '{}'.", name));
    }
    if (!take_part(at->second)) {
      throw jet::Error(
          jet::ErrorKind::kInvalid,
          fmt::format("Table '{}' has neither ntc_id nor grp_id, so no rows of a notice.", name));
    }
    chosen.insert(*at);
  }
  return chosen;
}

}  // namespace

bool ComparedColumn::is_redefined() const {
  if (!in_both()) return false;
  const jet::ColumnDef& a = *old_definition;
  const jet::ColumnDef& b = *new_definition;
  const bool is_text = a.type == jet::ColumnType::kText;
  if (a.type != b.type || a.calculated != b.calculated) return true;
  if (is_text) return a.max_characters() != b.max_characters() || a.fixed != b.fixed;
  if (a.type == jet::ColumnType::kBinary) return a.length != b.length;
  return a.type == jet::ColumnType::kDecimal && (a.precision != b.precision || a.scale != b.scale);
}

bool ComparedTable::differs() const {
  return !in_old || !in_new || std::ranges::any_of(columns, [](const ComparedColumn& c) {
    return !c.in_both() || c.is_redefined();
  });
}

jet::Value RowDifference::Old(int column) const {
  if (old_values != nullptr) return (*old_values)[column];
  const int position = table->columns[column].old_position;
  return old_row == nullptr || position < 0 ? jet::Value::Null() : old_row->Get(position);
}

jet::Value RowDifference::New(int column) const {
  if (new_values != nullptr) return (*new_values)[column];
  const int position = table->columns[column].new_position;
  return new_row == nullptr || position < 0 ? jet::Value::Null() : new_row->Get(position);
}

std::unique_ptr<jet::Database> OpenToCompare(jet::FileSystem& files, const std::string& file) {
  // Two caches of this size, and what sorting takes, stay below 64 MB together.
  constexpr std::size_t kCacheBytes = 8u << 20;
  jet::Database::Options options;
  options.pages.cache_bytes = kCacheBytes;
  return jet::Database::Open(files, file, jet::OpenMode::kRead, options);
}

Summary Compare(jet::Database& old_database, jet::Database& new_database, const Options& options,
                Sink& sink) {
  const auto tables = TablesOf({&old_database, &new_database}, options);
  std::optional<NoticeRows> notice;
  if (options.notice > 0) notice.emplace(old_database, new_database, options.notice);
  std::uint64_t done = 0, all = 0;
  for (const auto& [name, pair] : tables) {
    for (const auto& table : pair) all += table == nullptr ? 0 : table->row_count();
  }
  Summary summary;
  for (const auto& [name, pair] : tables) {
    TableComparison comparison(pair, options, notice ? &*notice : nullptr, sink, &done, all);
    const Counts counts = comparison.Run();
    ++summary.tables;
    if (counts.differ() || comparison.table().differs()) ++summary.differing_tables;
    summary.rows.removed += counts.removed;
    summary.rows.added += counts.added;
    summary.rows.changed += counts.changed;
    summary.rows.equal += counts.equal;
  }
  return summary;
}

bool HasNotice(jet::Database& database, std::int32_t notice) {
  const auto table = database.FindTable("notice");
  if (table == nullptr || table->def().FindColumn("ntc_id") < 0) return false;
  bool found = false;
  NoticeRows(database, database, notice).ForEach(*table, [&](const jet::Row&, jet::RowId) { found = true; });
  return found;
}

}  // namespace vnt::compare
