#include "guide/fix_example.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

#include "access/file/test_files.h"
#include "access/sql/session.h"
#include "access/store/user_tables.h"
#include "compare/compare.h"
#include "compare/diff_writers.h"
#include "guide/statement_touch.h"
#include "program/program_state.h"
#include "run/preview.h"
#include "samples/sample_database.h"

namespace vnt::guide {
namespace {

constexpr std::size_t kRowsShown = 3;
constexpr std::size_t kColumnsShown = 8;

class Collected : public platform::Messages {
 public:
  void Show(std::string_view text, platform::MessageStyle) override { texts += std::string(text) + "\n"; }
  std::string texts;
};

std::string CountsOf(const compare::Counts& counts) {
  std::string text;
  const auto add = [&](std::uint64_t count, const char* what) {
    if (count == 0) return;
    text += fmt::format("{}{} row{} {}", text.empty() ? "" : ", ", count, count == 1 ? "" : "s", what);
  };
  add(counts.changed, "changed");
  add(counts.removed, "removed");
  add(counts.added, "added");
  const std::uint64_t before = counts.changed + counts.removed + counts.equal;
  return before == 0 ? text : text + fmt::format(", of {}", before);
}

// Keeps the first rows of each table, with the columns that a reader needs to see what became of them.
class ExampleSink : public compare::Sink {
 public:
  explicit ExampleSink(Example& example) : example_(example) {}

  void BeginTable(const compare::ComparedTable& table) override {
    table_ = {};
    table_.name = table.name;
    if (!table.in_old) table_.remarks.push_back("The fix makes this table.");
    for (const compare::ComparedColumn& column : table.columns) {
      if (!table.in_old || !table.in_new) break;
      if (!column.in_both()) {
        table_.remarks.push_back(
            fmt::format("The column `{}` {}.", column.name, column.old_position < 0 ? "comes" : "goes"));
      } else if (column.is_redefined()) {
        table_.remarks.push_back(fmt::format("The column `{}` gets another type.", column.name));
      }
    }
    kept_.clear();
    shown_.clear();
  }

  void Row(const compare::RowDifference& row) override {
    const auto& columns = row.table->columns;
    for (const int changed : row.changed)
      table_.changed_columns.insert(LowerCase(columns[static_cast<std::size_t>(changed)].name));
    if (row.kind != compare::Difference::kChanged) table_.rows_come_or_go = true;
    std::size_t& kept = kept_of_kind_[static_cast<int>(row.kind)];
    if (kept == kRowsShown) return;
    ++kept;
    std::vector<std::string> cells;
    for (int i = 0; i < static_cast<int>(columns.size()); ++i) cells.push_back(CellText(row, i));
    kept_.emplace_back(row.kind, std::move(cells));
    Show(row);
  }

  void EndTable(const compare::ComparedTable& table, const compare::Counts& counts) override {
    kept_of_kind_[0] = kept_of_kind_[1] = kept_of_kind_[2] = 0;
    if ((!counts.differ() && table_.remarks.empty()) || LowerCase(table.name) == "history") return;
    table_.counts = counts.differ() ? CountsOf(counts) : "no rows";
    std::vector<int> columns(shown_.begin(), shown_.end());
    if (columns.size() > kColumnsShown) columns.resize(kColumnsShown);
    table_.columns = {""};
    for (const int column : columns)
      table_.columns.push_back(table.columns[static_cast<std::size_t>(column)].name);
    static const char* const kWords[] = {"removed", "added", "changed"};
    for (const auto& [kind, cells] : kept_) {
      std::vector<std::string> row = {kWords[static_cast<int>(kind)]};
      for (const int column : columns) row.push_back(cells[static_cast<std::size_t>(column)]);
      table_.rows.push_back(std::move(row));
    }
    example_.tables.push_back(std::move(table_));
  }

 private:
  static std::string CellText(const compare::RowDifference& row, int i) {
    const compare::ComparedColumn& column = row.table->columns[static_cast<std::size_t>(i)];
    const auto text = [](const jet::Value& value, const jet::ColumnDef* definition) {
      if (definition == nullptr || value.is_null()) return std::string("Null");
      return compare::Described(value, definition->type);
    };
    const std::string old_text = text(row.Old(i), column.old_definition);
    const std::string new_text = text(row.New(i), column.new_definition);
    if (row.kind == compare::Difference::kAdded) return new_text;
    if (row.kind == compare::Difference::kRemoved) return old_text;
    const bool changed = std::ranges::find(row.changed, i) != row.changed.end();
    return changed ? old_text + " → " + new_text : new_text;
  }

  // Of a changed row its key and what changed; of others what they hold.
  void Show(const compare::RowDifference& row) {
    shown_.insert(row.table->key.begin(), row.table->key.end());
    shown_.insert(row.changed.begin(), row.changed.end());
    if (row.kind == compare::Difference::kChanged) return;
    for (int i = 0; i < static_cast<int>(row.table->columns.size()); ++i) {
      const bool added = row.kind == compare::Difference::kAdded;
      if (!(added ? row.New(i) : row.Old(i)).is_null()) shown_.insert(i);
    }
  }

  Example& example_;
  ExampleTable table_;
  std::vector<std::pair<compare::Difference, std::vector<std::string>>> kept_;
  std::size_t kept_of_kind_[3] = {};
  std::set<int> shown_;
};

std::vector<std::vector<std::string>> Ask(const std::string& query, jet::Database& database) {
  jet::sql::Session session(std::shared_ptr<jet::Database>(std::shared_ptr<void>(), &database));
  const auto result = session.Open(query);
  std::vector<std::vector<std::string>> rows(1);
  for (const auto& column : result->columns()) rows.front().push_back(column.name);
  while (result->Step()) {
    std::vector<std::string>& row = rows.emplace_back();
    for (int i = 0; i < static_cast<int>(rows.front().size()); ++i) {
      const jet::Value value = result->Get(i);
      const auto type = result->columns()[static_cast<std::size_t>(i)].type;
      row.push_back(value.is_null() ? "Null"
                                    : compare::Described(value, type.value_or(jet::ColumnType::kText)));
    }
  }
  return rows;
}

}  // namespace

struct ExampleDatabases::Impl {
  jet::MemoryFileSystem files;
  Collected messages;
  ProgramState state;
  samples::SampleFiles sample;
};

ExampleDatabases::ExampleDatabases() : impl_(std::make_unique<Impl>()) {
  samples::SampleOptions options;
  options.notices = kExampleNotices;
  impl_->sample = samples::MakeSample(impl_->files, "sample", options);
  impl_->state.db_services.files = &impl_->files;
  impl_->state.platform_services.messages = &impl_->messages;
  impl_->state.current_database = impl_->sample.notice;
  impl_->state.data_level = -1;
  platform::SettingOverrides& settings = impl_->state.platform_services.settings;
  settings.Set("GLOBAL", "VeltRefdb", impl_->sample.reference);
  settings.Set("GLOBAL", "EmptyDBV6", impl_->sample.empty_template);
  settings.Set("GLOBAL", "DataLevel", "-1");
  settings.Set("intl", "sShortDate", "dd/MM/yyyy");
}

ExampleDatabases::~ExampleDatabases() = default;

Example ExampleDatabases::Try(int fix_index, const std::string& query) {
  const ScopedProgramState in_force(impl_->state);
  FixSelection selection;
  selection.set(static_cast<std::size_t>(fix_index));
  RunObserver observer;
  impl_->messages.texts.clear();
  Preview preview(selection, observer);
  if (preview.record().result.refused || preview.record().result.failed() || !impl_->messages.texts.empty()) {
    throw std::runtime_error(fmt::format("fix {} on the sample: {}", fix_index, impl_->messages.texts));
  }
  Example example;
  ExampleSink sink(example);
  compare::Compare(preview.before(), preview.after(), {}, sink);
  if (!query.empty()) {
    example.before = Ask(query, preview.before());
    example.after = Ask(query, preview.after());
  }
  return example;
}

std::vector<std::pair<std::string, std::set<std::string>>> ExampleDatabases::Schema() const {
  std::vector<std::pair<std::string, std::set<std::string>>> schema;
  const auto database = compare::OpenToCompare(impl_->files, impl_->sample.notice);
  for (const jet::CatalogEntry& entry : database->Catalog()) {
    if (!jet::IsUserTable(entry)) continue;
    std::set<std::string> columns;
    for (const jet::ColumnDef& column : database->FindTable(entry.name)->def().columns)
      columns.insert(LowerCase(column.name));
    schema.emplace_back(LowerCase(entry.name), std::move(columns));
  }
  return schema;
}

}  // namespace vnt::guide
