#include "compare/notice_rows.h"

#include <cmath>

#include "access/base/interruption.h"

namespace vnt::compare {
namespace {

constexpr const char* kNoticeColumn = "ntc_id";
constexpr const char* kGroupColumn = "grp_id";

bool IsWholeNumber(jet::ColumnType type) {
  return type == jet::ColumnType::kByte || type == jet::ColumnType::kInteger ||
         type == jet::ColumnType::kLong || type == jet::ColumnType::kBigInt;
}

// The number in a column of any numeric type; false when there is none.
bool WholeNumber(const jet::Row& row, int column, std::int64_t* number) {
  const jet::Value value = row.Get(column);
  switch (value.kind()) {
    case jet::ValueKind::kInteger:
      *number = value.integer();
      return true;
    case jet::ValueKind::kReal:
    case jet::ValueKind::kDecimal: {
      const double real = value.kind() == jet::ValueKind::kReal ? value.real() : value.decimal().ToDouble();
      if (!(std::abs(real) < 1e15) || real != std::floor(real)) return false;
      *number = static_cast<std::int64_t>(real);
      return true;
    }
    default:
      return false;
  }
}

// An index that begins with the column, or -1. One that leaves rows out is none.
int IndexOn(const jet::TableDef& table, int column) {
  for (std::size_t i = 0; i < table.indexes.size(); ++i) {
    const jet::IndexDef& index = table.indexes[i];
    if (index.supported && !index.ignore_nulls && !index.columns.empty() &&
        index.columns[0].column == column) {
      return i;
    }
  }
  return -1;
}

}  // namespace

NoticeRows::NoticeRows(jet::Database& a, jet::Database& b, std::int32_t notice) : notice_{notice} {
  AddGroups(a);
  AddGroups(b);
}

void NoticeRows::AddGroups(jet::Database& database) {
  const auto table = database.FindTable("grp");
  if (table == nullptr) return;
  const int notice = table->def().FindColumn(kNoticeColumn);
  const int group = table->def().FindColumn(kGroupColumn);
  if (notice < 0 || group < 0) return;
  Walk(*table, notice, notice_, [&](const jet::Row& row, jet::RowId) {
    std::int64_t number = 0;
    if (WholeNumber(row, group, &number)) groups_.insert(number);
  });
}

bool NoticeRows::AreIn(const jet::TableDef& table) {
  return table.FindColumn(kNoticeColumn) >= 0 || table.FindColumn(kGroupColumn) >= 0;
}

void NoticeRows::ForEach(jet::Table& table,
                         const std::function<void(const jet::Row&, jet::RowId)>& row) const {
  const int notice = table.def().FindColumn(kNoticeColumn);
  if (notice >= 0) {
    Walk(table, notice, notice_, row);
  } else {
    Walk(table, table.def().FindColumn(kGroupColumn), groups_, row);
  }
}

void NoticeRows::Walk(jet::Table& table, int column, const std::set<std::int64_t>& numbers,
                      const std::function<void(const jet::Row&, jet::RowId)>& row) const {
  jet::Row found;
  jet::RowId id;
  const jet::ColumnType type = table.def().columns[column].type;
  const int index = IsWholeNumber(type) ? IndexOn(table.def(), column) : -1;
  if (index < 0) {
    for (jet::TableCursor cursor(table); cursor.Next(&found, &id);) {
      jet::ThrowIfInterrupted();
      std::int64_t number = 0;
      if (WholeNumber(found, column, &number) && numbers.contains(number)) row(found, id);
    }
    return;
  }
  const std::int64_t largest = type == jet::ColumnType::kByte      ? 255
                               : type == jet::ColumnType::kInteger ? INT16_MAX
                               : type == jet::ColumnType::kLong    ? INT32_MAX
                                                                   : INT64_MAX;
  for (const std::int64_t number : numbers) {
    jet::ThrowIfInterrupted();
    if (number > largest || number < (type == jet::ColumnType::kByte ? 0 : -largest - 1)) continue;
    const std::string key = table.MakeKey(index, {jet::Value::Integer(number)});
    jet::IndexCursor cursor(table, index,
                            {.lower = key, .lower_open = false, .upper = key, .upper_open = false});
    while (cursor.Next(&id)) {
      if (table.Fetch(id, &found)) row(found, id);
    }
  }
}

}  // namespace vnt::compare
