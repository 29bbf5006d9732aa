#include "compare/diff_writers.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "compare/json_output.h"
#include "compare/value_text.h"

namespace vnt::compare {
namespace {

// With every digit, and the sign of zero.
std::string Exact(const jet::Value& value, jet::ColumnType type) {
  if (value.kind() != jet::ValueKind::kReal) return Described(value, type);
  std::string text;
  if (value.real() == 0 && std::signbit(value.real())) text = "-";
  AppendReal(value.real(), &text);
  return type == jet::ColumnType::kDateTime ? Described(value, type) + " (" + text + " days)" : text;
}

const jet::ColumnDef& DefinitionFor(const ComparedColumn& column, Difference kind) {
  const bool is_old = kind == Difference::kRemoved || column.new_definition == nullptr;
  return is_old && column.old_definition != nullptr ? *column.old_definition : *column.new_definition;
}

jet::Value ValueOf(const RowDifference& row, int column) {
  return row.kind == Difference::kAdded ? row.New(column) : row.Old(column);
}

bool IsKey(const ComparedTable& table, int column) {
  return std::find(table.key.begin(), table.key.end(), column) != table.key.end();
}

// The columns of an added or removed row that are neither key nor Null, in the same way.
std::string ValuesText(const RowDifference& row) {
  std::string text;
  for (int i = 0; i < static_cast<int>(row.table->columns.size()); ++i) {
    if (IsKey(*row.table, i)) continue;
    const jet::Value value = ValueOf(row, i);
    if (value.is_null()) continue;
    const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(i)];
    text += (text.empty() ? "" : " ") + c.name + "=" + Described(value, DefinitionFor(c, row.kind).type);
  }
  return text;
}

// Calls `cell(column, old text, new text)` for each changed cell.
template <typename Cell>
void ForEachChange(const RowDifference& row, Cell&& cell) {
  for (const int column : row.changed) {
    const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(column)];
    std::string old_text, new_text;
    DescribeChange(row.Old(column), c.old_definition->type, row.New(column), c.new_definition->type,
                   &old_text, &new_text);
    cell(c, old_text, new_text);
  }
}

std::string CountsText(const Counts& counts) {
  return fmt::format("{} changed, {} added, {} removed, {} equal", counts.changed, counts.added,
                     counts.removed, counts.equal);
}

class TextWriter : public DiffWriter {
 public:
  TextWriter(const DiffNames& names, std::ostream& out) : DiffWriter(out), names_(names) {}

  void BeginTable(const ComparedTable& table) override {
    if (!table.in_old || !table.in_new) {
      out_ << table.name << ": only in " << (table.in_old ? names_.old_name : names_.new_name) << '\n';
      return;
    }
    for (const ComparedColumn& c : table.columns) {
      if (!c.in_both()) {
        out_ << table.name << ": column " << c.name << " only in "
             << (c.old_definition != nullptr ? names_.old_name : names_.new_name) << '\n';
      } else if (c.is_redefined()) {
        out_ << table.name << ": column " << c.name << ": " << TypeText(*c.old_definition) << " -> "
             << TypeText(*c.new_definition) << '\n';
      }
    }
  }

  void Row(const RowDifference& row) override {
    std::string place = row.table->name;
    if (const std::string key = KeyText(row); !key.empty()) place += " " + key;
    if (row.kind != Difference::kChanged) {
      const std::string values = ValuesText(row);
      out_ << place << ": " << NameOf(row.kind) << (values.empty() ? "" : ": ") << values << '\n';
      return;
    }
    ForEachChange(row,
                  [&](const ComparedColumn& c, const std::string& old_text, const std::string& new_text) {
                    out_ << place << ": " << c.name << ": " << old_text << " -> " << new_text << '\n';
                  });
  }

  void EndTable(const ComparedTable& table, const Counts& counts) override {
    if (counts.differ() || table.differs()) out_ << table.name << ": " << CountsText(counts) << '\n';
  }

  void Finish(const Summary& summary) override {
    if (summary.equal()) {
      out_ << fmt::format("no differences in {} tables, {} rows\n", summary.tables, summary.rows.equal);
    } else {
      out_ << fmt::format("{} of {} tables differ; rows: {}\n", summary.differing_tables, summary.tables,
                          CountsText(summary.rows));
    }
  }

 private:
  DiffNames names_;
};

class CsvWriter : public DiffWriter {
 public:
  CsvWriter(const DiffNames& names, std::ostream& out) : DiffWriter(out), only_counts_(names.only_counts) {
    if (only_counts_) {
      out_ << R"("table","changed","added","removed","equal")" << '\n';
    } else {
      Line("table", "change", "key", "column", "old", "new");
    }
  }

  void BeginTable(const ComparedTable& table) override {
    if (only_counts_) return;
    if (!table.in_old || !table.in_new) {
      Line(table.name, table.in_old ? "table removed" : "table added", "", "", "", "");
      return;
    }
    for (const ComparedColumn& c : table.columns) {
      if (!c.in_both()) {
        Line(table.name, c.old_definition != nullptr ? "column removed" : "column added", "", c.name,
             c.old_definition != nullptr ? TypeText(*c.old_definition) : "",
             c.new_definition != nullptr ? TypeText(*c.new_definition) : "");
      } else if (c.is_redefined()) {
        Line(table.name, "column changed", "", c.name, TypeText(*c.old_definition),
             TypeText(*c.new_definition));
      }
    }
  }

  void Row(const RowDifference& row) override {
    const std::string key = KeyText(row);
    if (row.kind != Difference::kChanged) {
      const std::string values = ValuesText(row);
      const bool added = row.kind == Difference::kAdded;
      Line(row.table->name, NameOf(row.kind), key, "", added ? "" : values, added ? values : "");
      return;
    }
    ForEachChange(row,
                  [&](const ComparedColumn& c, const std::string& old_text, const std::string& new_text) {
                    Line(row.table->name, NameOf(row.kind), key, c.name, old_text, new_text);
                  });
  }

  void EndTable(const ComparedTable& table, const Counts& counts) override {
    if (!only_counts_ || (!counts.differ() && !table.differs())) return;
    std::string name;
    AppendQuoted(table.name, &name);
    out_ << fmt::format("{},{},{},{},{}\n", name, counts.changed, counts.added, counts.removed, counts.equal);
  }

  void Finish(const Summary&) override {}

 private:
  template <typename... Fields>
  void Line(const Fields&... fields) {
    line_.clear();
    const auto append = [&](std::string_view field) {
      if (!line_.empty()) line_ += ',';
      AppendQuoted(field, &line_);
    };
    (append(fields), ...);
    line_ += '\n';
    out_ << line_;
  }

  bool only_counts_;
  std::string line_;
};

class JsonWriter : public DiffWriter {
 public:
  JsonWriter(const DiffNames& names, std::ostream& out) : DiffWriter(out) {
    text_ = R"({"schema_version": 1, "old": )";
    AppendJsonText(names.old_name, &text_);
    text_ += R"(, "new": )";
    AppendJsonText(names.new_name, &text_);
    text_ += R"(, "notice": )" + (names.notice > 0 ? std::to_string(names.notice) : "null");
    text_ += R"(, "tables": [)";
    Flush();
  }

  void BeginTable(const ComparedTable& table) override {
    open_ = false;
    if (table.differs()) Open(table);
  }

  void Row(const RowDifference& row) override {
    if (!open_) Open(*row.table);
    text_ += rows_++ == 0 ? "\n    " : ",\n    ";
    text_ += fmt::format(R"({{"change": "{}")", NameOf(row.kind));
    if (!row.table->key.empty()) {
      text_ += R"(, "key": {)";
      int count = 0;
      for (const int column : row.table->key) {
        if (count++ > 0) text_ += ", ";
        Cell(row, column);
      }
      text_ += '}';
    }
    row.kind == Difference::kChanged ? Changes(row) : Values(row);
    text_ += '}';
    Flush();
  }

  void EndTable(const ComparedTable& table, const Counts& counts) override {
    if (!open_ && !counts.differ()) return;
    if (!open_) Open(table);
    text_ += rows_ > 0 ? "\n  ], " : "], ";
    AppendCounts(counts);
    text_ += '}';
    Flush();
  }

  void Finish(const Summary& summary) override {
    text_ = tables_ > 0 ? "\n], " : "], ";
    text_ += fmt::format(R"("compared_tables": {}, "differing_tables": {}, )", summary.tables,
                         summary.differing_tables);
    AppendCounts(summary.rows);
    text_ += fmt::format(", \"equal\": {}}}\n", summary.equal());
    Flush();
  }

 private:
  void Flush() {
    out_ << text_;
    text_.clear();
  }

  void AppendCounts(const Counts& counts) {
    text_ += fmt::format(R"("counts": {{"changed": {}, "added": {}, "removed": {}, "equal": {}}})",
                         counts.changed, counts.added, counts.removed, counts.equal);
  }

  void Open(const ComparedTable& table) {
    open_ = true;
    rows_ = 0;
    text_ += tables_++ == 0 ? "\n  {\"name\": " : ",\n  {\"name\": ";
    AppendJsonText(table.name, &text_);
    text_ += fmt::format(R"(, "in": "{}", "key": [)", table.in_old && table.in_new ? "both"
                                                      : table.in_old               ? "old"
                                                                                   : "new");
    int count = 0;
    for (const int column : table.key) {
      if (count++ > 0) text_ += ", ";
      AppendJsonText(table.columns[static_cast<std::size_t>(column)].name, &text_);
    }
    text_ += R"(], "columns": [)";
    count = 0;
    for (const ComparedColumn& c : table.columns) {
      if (!table.in_old || !table.in_new || (c.in_both() && !c.is_redefined())) continue;
      text_ += count++ == 0 ? R"({"name": )" : R"(, {"name": )";
      AppendJsonText(c.name, &text_);
      for (const auto& [side, definition] :
           {std::pair("old", c.old_definition), std::pair("new", c.new_definition)}) {
        text_ += fmt::format(", \"{}\": ", side);
        definition == nullptr ? void(text_ += "null") : AppendJsonText(TypeText(*definition), &text_);
      }
      text_ += '}';
    }
    text_ += R"(], "rows": [)";
  }

  // "name": value
  void Cell(const RowDifference& row, int column) {
    const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(column)];
    AppendJsonText(c.name, &text_);
    text_ += ": ";
    AppendJson(ValueOf(row, column), DefinitionFor(c, row.kind).type, &text_);
  }

  void Values(const RowDifference& row) {
    text_ += R"(, "values": {)";
    int count = 0;
    for (int i = 0; i < static_cast<int>(row.table->columns.size()); ++i) {
      const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(i)];
      const bool is_there = row.kind == Difference::kAdded ? c.new_position >= 0 : c.old_position >= 0;
      if (!is_there || IsKey(*row.table, i)) continue;
      if (count++ > 0) text_ += ", ";
      Cell(row, i);
    }
    text_ += '}';
  }

  void Changes(const RowDifference& row) {
    text_ += R"(, "cells": {)";
    int count = 0;
    for (const int column : row.changed) {
      const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(column)];
      if (count++ > 0) text_ += ", ";
      AppendJsonText(c.name, &text_);
      text_ += R"(: {"old": )";
      AppendJson(row.Old(column), c.old_definition->type, &text_);
      text_ += R"(, "new": )";
      AppendJson(row.New(column), c.new_definition->type, &text_);
      text_ += '}';
    }
    text_ += '}';
  }

  std::string text_;
  bool open_ = false;
  int tables_ = 0;
  std::uint64_t rows_ = 0;
};

}  // namespace

std::string Described(const jet::Value& value, jet::ColumnType type) {
  std::string text;
  if (value.is_null()) return "Null";
  if (value.kind() == jet::ValueKind::kBlob) text = "0x";
  if (value.kind() == jet::ValueKind::kBlob) {
    AppendHex(value.bytes(), &text);
    return text;
  }
  if (value.kind() != jet::ValueKind::kText) {
    AppendCsv(value, type, &text);
    return text;
  }
  AppendQuoted(value.bytes(), &text);
  std::string line;
  for (const char c : text) {
    if (c == '\\' || c == '\r' || c == '\n') {
      line += c == '\\' ? "\\\\" : c == '\r' ? "\\r" : "\\n";
    } else {
      line += c;
    }
  }
  return line;
}

std::string_view NameOf(Difference kind) {
  return kind == Difference::kRemoved ? "removed" : kind == Difference::kAdded ? "added" : "changed";
}

std::string KeyText(const RowDifference& row) {
  std::string text;
  for (const int column : row.table->key) {
    const ComparedColumn& c = row.table->columns[static_cast<std::size_t>(column)];
    const jet::Value value = ValueOf(row, column);
    text += (text.empty() ? "" : " ") + c.name + "=" + Described(value, DefinitionFor(c, row.kind).type);
  }
  return text;
}

void DescribeChange(const jet::Value& old_value, jet::ColumnType old_type, const jet::Value& new_value,
                    jet::ColumnType new_type, std::string* old_text, std::string* new_text) {
  *old_text = Described(old_value, old_type);
  *new_text = Described(new_value, new_type);
  if (*old_text != *new_text) return;
  *old_text = Exact(old_value, old_type);
  *new_text = Exact(new_value, new_type);
}

std::unique_ptr<DiffWriter> MakeDiffWriter(DiffFormat format, const DiffNames& names, std::ostream& out) {
  switch (format) {
    case DiffFormat::kCsv:
      return std::make_unique<CsvWriter>(names, out);
    case DiffFormat::kJson:
      return std::make_unique<JsonWriter>(names, out);
    case DiffFormat::kText:
      break;
  }
  return std::make_unique<TextWriter>(names, out);
}

}  // namespace vnt::compare
