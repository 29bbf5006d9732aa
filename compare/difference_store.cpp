#include "compare/difference_store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <fmt/format.h>

#include "access/base/text.h"
#include "compare/diff_writers.h"
#include "compare/value_text.h"

namespace vnt::compare {
namespace {

constexpr std::size_t kBufferBytes = 1u << 20;

template <typename T>
void Put(T value, std::string* out) {
  char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof value);
  out->append(bytes, sizeof value);
}

void PutText(std::string_view text, std::string* out) {
  Put(static_cast<std::uint32_t>(text.size()), out);
  out->append(text);
}

class Reader {
 public:
  explicit Reader(const std::string& bytes) : bytes_(bytes) {}
  template <typename T>
  T Get() {
    T value;
    std::memcpy(&value, bytes_.data() + at_, sizeof value);
    at_ += sizeof value;
    return value;
  }
  std::string Text() {
    const auto length = Get<std::uint32_t>();
    at_ += length;
    return bytes_.substr(at_ - length, length);
  }

 private:
  const std::string& bytes_;
  std::size_t at_ = 0;
};

int FindColumn(const ComparedTable& table, std::string_view name) {
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (jet::EqualNames(table.columns[i].name, name)) return static_cast<int>(i);
  }
  return -1;
}

std::vector<std::string> RemarksOn(const ComparedTable& table) {
  const auto side = [](bool old_side) { return old_side ? "first" : "second"; };
  if (!table.in_old || !table.in_new) {
    return {fmt::format("Only the {} database has this table.", side(table.in_old))};
  }
  std::vector<std::string> remarks;
  for (const ComparedColumn& c : table.columns) {
    if (!c.in_both()) {
      remarks.push_back(
          fmt::format("Only the {} database has the column {}.", side(c.old_definition != nullptr), c.name));
    } else if (c.is_redefined()) {
      remarks.push_back(fmt::format("The column {} is {} and {}.", c.name, TypeText(*c.old_definition),
                                    TypeText(*c.new_definition)));
    }
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
                                 std::function<void(std::uint64_t, std::uint64_t)> progress)
    : progress_(std::move(progress)), file_(files.OpenTemporary()) {}

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
  kept.remarks = RemarksOn(table);
  for (const ComparedColumn& c : table.columns) kept.columns.push_back(c.name);
  kept.first = kept.end = rows_.size();
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
  Put(static_cast<std::uint8_t>(row.kind), &buffer_);
  PutText(KeyText(row), &buffer_);
  const auto columns = static_cast<int>(row.table->columns.size());
  Put(static_cast<std::uint16_t>(columns), &buffer_);
  std::string old_text, new_text;
  for (int i = 0; i < columns; ++i) {
    const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(i)];
    // What one side lacks is no value to compare, but the two sides do not show the same either.
    const bool changed = row.kind != Difference::kChanged || !c.in_both() ||
                         std::ranges::find(row.changed, i) != row.changed.end();
    const auto text = [](const jet::Value& value, const jet::ColumnDef* definition) {
      return definition == nullptr ? std::string() : Described(value, definition->type);
    };
    if (row.kind == Difference::kChanged && changed && c.in_both()) {
      DescribeChange(row.Old(i), c.old_definition->type, row.New(i), c.new_definition->type, &old_text,
                     &new_text);
    } else {
      old_text = row.kind == Difference::kAdded ? "" : text(row.Old(i), c.old_definition);
      new_text = row.kind == Difference::kRemoved ? "" : text(row.New(i), c.new_definition);
    }
    Put(static_cast<std::uint8_t>(changed), &buffer_);
    PutText(old_text, &buffer_);
    if (changed) PutText(new_text, &buffer_);
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
  if (!counts.differ() && tables_.back().remarks.empty()) tables_.pop_back();
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

DifferenceStore::StoredRow DifferenceStore::Read(std::size_t row) {
  if (!buffer_.empty()) Flush();
  const Place& place = rows_[row];
  std::string bytes(place.bytes, '\0');
  file_->Read(place.offset, jet::MutableBytes(reinterpret_cast<std::uint8_t*>(bytes.data()), bytes.size()));
  Reader reader(bytes);
  StoredRow stored;
  stored.kind = static_cast<Difference>(reader.Get<std::uint8_t>());
  stored.key = reader.Text();
  stored.cells.resize(reader.Get<std::uint16_t>());
  for (Cell& cell : stored.cells) {
    cell.changed = reader.Get<std::uint8_t>() != 0;
    cell.old_text = reader.Text();
    cell.new_text = cell.changed ? reader.Text() : cell.old_text;
  }
  return stored;
}

}  // namespace vnt::compare
