#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/base/text.h"
#include "access/store/database.h"
#include "db/server_provider/copied_database.h"
#include "db/server_provider/file_rows.h"

namespace vnt::db {
namespace {

constexpr std::uint64_t kToldEvery = 2000;

constexpr std::int16_t kLocalTable = 1;

jet::NewColumn NewColumnOf(const ServerColumn& column) {
  jet::NewColumn made;
  made.name = column.name;
  made.type = column.type;
  if (column.characters > 0) made.characters = static_cast<std::uint16_t>(column.characters);
  if (column.precision > 0) {
    made.precision = static_cast<std::uint8_t>(std::min(column.precision, 28));
    made.scale = static_cast<std::uint8_t>(std::min<int>(column.scale, made.precision));
  }
  made.auto_number = column.auto_number;
  made.required = column.required && !column.auto_number && column.type != jet::ColumnType::kBoolean;
  made.default_value = column.default_value;
  return made;
}

class FileReader final : public TableReader {
 public:
  FileReader(std::shared_ptr<jet::Table> table, std::function<bool(const jet::Row&)> wanted)
      : table_(std::move(table)), cursor_(*table_), wanted_(std::move(wanted)) {}

  bool Next(std::vector<jet::Value>* values) override {
    jet::ThrowIfInterrupted();
    jet::Row row;
    jet::RowId id;
    do {
      if (!cursor_.Next(&row, &id)) return false;
    } while (wanted_ && !wanted_(row));
    const std::size_t count = table_->def().columns.size();
    values->resize(count);
    for (std::size_t i = 0; i < count; ++i) (*values)[i] = row.Get(static_cast<int>(i));
    return true;
  }

 private:
  std::shared_ptr<jet::Table> table_;
  jet::TableCursor cursor_;
  std::function<bool(const jet::Row&)> wanted_;
};

class CopiedFile final : public CopiedDatabase {
 public:
  explicit CopiedFile(std::shared_ptr<jet::Database> file) : file_(std::move(file)) {}

  std::vector<ServerTablePtr> Tables() override {
    std::vector<std::string> names;
    for (const jet::CatalogEntry& entry : file_->Catalog()) {
      if (entry.type == kLocalTable && !entry.system() && !entry.hidden() && file_->FindTable(entry.name))
        names.push_back(entry.name);
    }
    std::ranges::sort(names);
    std::vector<ServerTablePtr> tables;
    for (const std::string& name : names)
      tables.push_back(std::make_shared<ServerTable>(TableOf(*file_, name)));
    return tables;
  }

  std::uint64_t CountRows(const ServerTable& table) override {
    return file_->FindTable(table.name)->row_count();
  }

  std::unique_ptr<TableReader> Read(const ServerTable& table, std::int32_t notice) override {
    const int ntc_id = notice > 0 ? table.FindColumn("ntc_id") : -1;
    const int grp_id = notice > 0 ? table.FindColumn("grp_id") : -1;
    std::function<bool(const jet::Row&)> wanted;
    if (ntc_id >= 0) {
      wanted = [=](const jet::Row& row) { return !row.IsNull(ntc_id) && row.GetInteger(ntc_id) == notice; };
    } else if (grp_id >= 0) {
      wanted = [grp_id, groups = GroupsOf(notice)](const jet::Row& row) {
        return !row.IsNull(grp_id) && groups.contains(row.GetInteger(grp_id));
      };
    }
    return std::make_unique<FileReader>(file_->FindTable(table.name), std::move(wanted));
  }

  std::uint64_t Write(const ServerTable& table, TableReader& rows,
                      const std::function<void(std::uint64_t)>& told) override {
    jet::StatementScope scope(*file_);
    std::shared_ptr<jet::Table> target = file_->FindTable(table.name);
    const bool is_new = target == nullptr;
    if (is_new) {
      std::vector<jet::NewColumn> columns;
      for (const ServerColumn& column : table.columns) columns.push_back(NewColumnOf(column));
      file_->CreateTable(table.name, columns, {});
      target = file_->FindTable(table.name);
    }
    std::vector<int> places;
    for (const ServerColumn& column : table.columns) {
      places.push_back(target->def().FindColumn(column.name));
      if (places.back() < 0)
        throw jet::Error(jet::ErrorKind::kNoColumn,
                         fmt::format("No column '{}' in '{}'.", column.name, table.name));
    }
    std::vector<jet::Value> values, row(target->def().columns.size());
    std::uint64_t count = 0;
    while (rows.Next(&values)) {
      for (std::size_t i = 0; i < places.size(); ++i) row[places[i]] = values[i];
      target->Insert(row);
      if (++count % kToldEvery == 0) told(count);
    }
    if (is_new) {
      for (const ServerIndex& index : table.indexes) {
        jet::NewIndex made{index.name, {}, index.unique, index.primary, false, index.primary};
        for (const auto& [column, descending] : index.columns)
          made.columns.emplace_back(table.columns[column].name, descending);
        file_->CreateIndex(table.name, made);
      }
    }
    scope.Commit();
    return count;
  }

 private:
  std::set<std::int64_t> GroupsOf(std::int32_t notice) {
    std::set<std::int64_t> groups;
    const auto table = file_->FindTable("grp");
    if (!table) return groups;
    const int ntc_id = table->def().FindColumn("ntc_id"), grp_id = table->def().FindColumn("grp_id");
    if (ntc_id < 0 || grp_id < 0) return groups;
    jet::TableCursor cursor(*table);
    jet::Row row;
    jet::RowId id;
    while (cursor.Next(&row, &id)) {
      if (!row.IsNull(ntc_id) && !row.IsNull(grp_id) && row.GetInteger(ntc_id) == notice)
        groups.insert(row.GetInteger(grp_id));
    }
    return groups;
  }

  std::shared_ptr<jet::Database> file_;
};

}  // namespace

ServerTable TableOf(jet::Database& file, const std::string& name) {
  const auto table = file.FindTable(name);
  const jet::TableDef& def = table->def();
  ServerTable made;
  made.name = def.name;
  for (const jet::ColumnDef& column : def.columns) {
    made.columns.push_back(ServerColumnOf(column));
    made.columns.back().required = column.required;
    made.columns.back().auto_number = column.auto_number;
    made.columns.back().default_value = column.default_value;
  }
  for (const jet::IndexDef& index : def.indexes) {
    if (index.foreign) continue;
    ServerIndex copy{index.name, {}, index.unique, index.primary};
    for (const jet::IndexColumn& key : index.columns) {
      copy.columns.emplace_back(key.column, key.descending);
      if (index.primary) made.key.push_back(key.column);
    }
    made.indexes.push_back(std::move(copy));
  }
  return made;
}

std::unique_ptr<CopiedDatabase> CopyOfFile(std::shared_ptr<jet::Database> file) {
  return std::make_unique<CopiedFile>(std::move(file));
}

}  // namespace vnt::db
