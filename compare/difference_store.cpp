#include "compare/difference_store.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "access/base/interruption.h"
#include "access/base/text.h"
#include "access/base/value_bytes.h"
#include "compare/diff_writers.h"
#include "compare/value_text.h"

namespace vnt::compare {
namespace {

constexpr std::size_t kBufferBytes = 1u << 20;
constexpr std::size_t kProgressRows = 1u << 14;
constexpr std::uint8_t kChangedCell = 1, kBothValues = 2;

int FindColumn(const ComparedTable& table, std::string_view name) {
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (jet::EqualNames(table.columns[i].name, name)) return static_cast<int>(i);
  }
  return -1;
}

// On a table that one side lacks.
std::string RemarkOnTable(const ComparedTable& table, Sides sides) {
  if (sides == Sides::kPreview) {
    return fmt::format("This table would be {}.", table.in_old ? "removed" : "added");
  }
  return fmt::format("Only the {} database has this table.", table.in_old ? "first" : "second");
}

// On a column that one side lacks, or has otherwise.
std::string RemarkOnColumn(const ComparedColumn& c, Sides sides) {
  const bool in_old = c.old_definition != nullptr;
  if (!c.in_both() && sides == Sides::kPreview) {
    return fmt::format("The column {} would be {}.", c.name, in_old ? "removed" : "added");
  }
  if (!c.in_both()) {
    return fmt::format("Only the {} database has the column {}.", in_old ? "first" : "second", c.name);
  }
  const std::string old_type = TypeText(*c.old_definition), new_type = TypeText(*c.new_definition);
  if (sides == Sides::kPreview) {
    return fmt::format("The column {} would be changed from {} to {}.", c.name, old_type, new_type);
  }
  return fmt::format("The column {} is {} and {}.", c.name, old_type, new_type);
}

std::vector<std::string> RemarksOn(const ComparedTable& table, Sides sides) {
  if (!table.in_old || !table.in_new) return {RemarkOnTable(table, sides)};
  std::vector<std::string> remarks;
  for (const ComparedColumn& c : table.columns) {
    if (!c.in_both() || c.is_redefined()) remarks.push_back(RemarkOnColumn(c, sides));
  }
  return remarks;
}

// 0 where the value is no number that a notice can have.
std::int32_t NoticeIn(const jet::Value& value) {
  if (value.kind() != jet::ValueKind::kInteger) return 0;
  return value.integer() > 0 && value.integer() <= INT32_MAX ? static_cast<std::int32_t>(value.integer()) : 0;
}

}  // namespace

DifferenceStore::DifferenceStore(jet::FileSystem& files,
                                 std::function<void(std::uint64_t, std::uint64_t)> progress, Sides sides)
    : progress_(std::move(progress)), sides_(sides), file_(files.OpenTemporary()) {}

void DifferenceStore::KnowGroups(jet::Database& database) {
  const std::shared_ptr<jet::Table> groups = database.FindTable("grp");
  if (groups == nullptr) return;
  const int group = groups->def().FindColumn("grp_id");
  const int notice = groups->def().FindColumn("ntc_id");
  if (group < 0 || notice < 0) return;
  jet::Row row;
  jet::RowId id;
  for (jet::TableCursor cursor(*groups); cursor.Next(&row, &id);) {
    const jet::Value number = row.Get(group);
    if (number.kind() != jet::ValueKind::kInteger) continue;
    notice_of_group_.try_emplace(number.integer(), NoticeIn(row.Get(notice)));
  }
}

void DifferenceStore::BeginTable(const ComparedTable& table) {
  Table& kept = tables_.emplace_back();
  kept.name = table.name;
  kept.remarks = RemarksOn(table, sides_);
  for (const ComparedColumn& c : table.columns) kept.columns.push_back(c.name);
  kept.first = kept.end = rows_.size();
  ComparedTable& compared = compared_.emplace_back(table);
  for (ComparedColumn& c : compared.columns) {
    for (const jet::ColumnDef** definition : {&c.old_definition, &c.new_definition}) {
      if (*definition != nullptr) *definition = &definitions_.emplace_back(**definition);
    }
  }
  notice_column_ = FindColumn(table, "ntc_id");
  group_column_ = FindColumn(table, "grp_id");
}

std::int32_t DifferenceStore::NoticeOf(const RowDifference& row) const {
  const auto value = [&](int column) {
    return row.kind == Difference::kAdded ? row.New(column) : row.Old(column);
  };
  if (notice_column_ >= 0) return NoticeIn(value(notice_column_));
  if (group_column_ < 0) return 0;
  const jet::Value group = value(group_column_);
  if (group.kind() != jet::ValueKind::kInteger) return 0;
  const auto it = notice_of_group_.find(group.integer());
  return it == notice_of_group_.end() ? 0 : it->second;
}

void DifferenceStore::Row(const RowDifference& row) {
  const std::size_t start = buffer_.size();
  jet::PutNumber(static_cast<std::uint8_t>(row.kind), &buffer_);
  auto changed = row.changed.begin();
  for (int i = 0; i < static_cast<int>(row.table->columns.size()); ++i) {
    if (row.kind != Difference::kChanged) {
      jet::PutValue(row.kind == Difference::kAdded ? row.New(i) : row.Old(i), &buffer_);
      continue;
    }
    const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(i)];
    const bool is_changed = changed != row.changed.end() && *changed == i;
    if (is_changed) ++changed;
    const bool is_alike = !is_changed && c.in_both() && c.old_definition->type == c.new_definition->type;
    const int mark = (is_changed ? kChangedCell : 0) | (is_alike ? 0 : kBothValues);
    jet::PutNumber(static_cast<std::uint8_t>(mark), &buffer_);
    jet::PutValue(row.Old(i), &buffer_);
    if (!is_alike) jet::PutValue(row.New(i), &buffer_);
  }
  rows_.push_back({written_ + start, static_cast<std::uint32_t>(buffer_.size() - start), NoticeOf(row)});
  tables_.back().end = rows_.size();
  if (buffer_.size() >= kBufferBytes) Flush();
}

void DifferenceStore::Flush() {
  file_->Write(written_, jet::Bytes(reinterpret_cast<const std::uint8_t*>(buffer_.data()), buffer_.size()));
  written_ += buffer_.size();
  buffer_.clear();
}

void DifferenceStore::EndTable(const ComparedTable&, const Counts& counts) {
  tables_.back().counts = counts;
  if (counts.differ() || !tables_.back().remarks.empty()) return;
  tables_.pop_back();
  compared_.pop_back();
}

void DifferenceStore::Progress(std::uint64_t done, std::uint64_t all) {
  if (progress_) progress_(done, all);
}

std::vector<std::size_t> DifferenceStore::RowsOf(std::size_t table, std::int32_t notice,
                                                 std::size_t limit) const {
  std::vector<std::size_t> rows;
  const Table& t = tables_[table];
  for (std::size_t row = t.first; row < t.end && rows.size() < limit; ++row) {
    if (notice == 0 || rows_[row].notice == notice) rows.push_back(row);
  }
  return rows;
}

std::size_t DifferenceStore::CountOf(std::size_t table, std::int32_t notice) const {
  const Table& t = tables_[table];
  if (notice == 0) return t.end - t.first;
  return static_cast<std::size_t>(std::count_if(rows_.begin() + static_cast<std::ptrdiff_t>(t.first),
                                                rows_.begin() + static_cast<std::ptrdiff_t>(t.end),
                                                [&](const Place& place) { return place.notice == notice; }));
}

void DifferenceStore::Load(std::size_t table, std::size_t row, Loaded* loaded) {
  if (!buffer_.empty()) Flush();
  const Place& place = rows_[row];
  std::string bytes(place.bytes, '\0');
  file_->Read(place.offset, jet::MutableBytes(reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()));
  const char* from = bytes.data();
  RowDifference& difference = loaded->row;
  difference.kind = static_cast<Difference>(jet::TakeNumber<std::uint8_t>(&from));
  difference.table = &compared_[table];
  difference.changed.clear();
  difference.old_values = &loaded->old_values;
  difference.new_values = &loaded->new_values;
  const std::size_t columns = difference.table->columns.size();
  loaded->old_values.assign(columns, {});
  loaded->new_values.assign(columns, {});
  for (std::size_t i = 0; i < columns; ++i) {
    jet::Value& old_value = loaded->old_values[i];
    jet::Value& new_value = loaded->new_values[i];
    if (difference.kind != Difference::kChanged) {
      (difference.kind == Difference::kAdded ? new_value : old_value) = jet::TakeValue(&from);
      continue;
    }
    const auto mark = jet::TakeNumber<std::uint8_t>(&from);
    if ((mark & kChangedCell) != 0) difference.changed.push_back(static_cast<int>(i));
    old_value = jet::TakeValue(&from);
    new_value = (mark & kBothValues) != 0 ? jet::TakeValue(&from) : old_value;
  }
}

DifferenceStore::StoredRow DifferenceStore::Read(std::size_t row) {
  const auto table = std::ranges::find_if(tables_, [&](const Table& t) { return row < t.end; });
  Loaded loaded;
  Load(static_cast<std::size_t>(table - tables_.begin()), row, &loaded);
  const RowDifference& difference = loaded.row;
  StoredRow stored;
  stored.kind = difference.kind;
  stored.key = KeyText(difference);
  const auto text = [](const jet::Value& value, const jet::ColumnDef* definition) {
    return definition == nullptr ? std::string() : Described(value, definition->type);
  };
  for (int i = 0; i < static_cast<int>(difference.table->columns.size()); ++i) {
    const ComparedColumn& c = difference.table->columns[static_cast<std::size_t>(i)];
    const bool is_changed = std::ranges::find(difference.changed, i) != difference.changed.end();
    Cell& cell = stored.cells.emplace_back();
    // What one side lacks is no value to compare, but the two sides do not show the same either.
    cell.changed = difference.kind != Difference::kChanged || !c.in_both() || is_changed;
    if (is_changed) {
      DescribeChange(difference.Old(i), c.old_definition->type, difference.New(i), c.new_definition->type,
                     &cell.old_text, &cell.new_text);
      continue;
    }
    if (difference.kind != Difference::kAdded) cell.old_text = text(difference.Old(i), c.old_definition);
    if (difference.kind != Difference::kRemoved) cell.new_text = text(difference.New(i), c.new_definition);
  }
  return stored;
}

void DifferenceStore::TellAgain(Sink& sink) {
  Loaded loaded;
  for (std::size_t table = 0; table < tables_.size(); ++table) {
    sink.BeginTable(compared_[table]);
    for (std::size_t row = tables_[table].first; row < tables_[table].end; ++row) {
      if (row % kProgressRows == 0) {
        jet::ThrowIfInterrupted();
        sink.Progress(row, rows_.size());
      }
      Load(table, row, &loaded);
      sink.Row(loaded.row);
    }
    sink.EndTable(compared_[table], tables_[table].counts);
  }
}

}  // namespace vnt::compare
