// What looks at a file as a file: new, tables, schema, check.
#include <new>
#include <ostream>

#include <fmt/format.h>

#include "access/base/text.h"
#include "access/check/check.h"
#include "access/store/database.h"
#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/output.h"
#include "cli/server.h"
#include "cli/tables.h"
#include "db/error.h"

namespace vnt::cli {
namespace {

std::unique_ptr<jet::Database> OpenForReading(const std::string& file) {
  return jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kRead);
}

std::string_view ObjectKind(std::int16_t type) {
  switch (static_cast<std::uint16_t>(type)) {
    case 1:
      return "table";
    case 2:
      return "database";
    case 3:
      return "container";
    case 4:
      return "ODBC link";
    case 5:
      return "query";
    case 6:
      return "linked table";
    case 8:
      return "relationship";
    case 0x8000:
      return "form";
    case 0x8002:
      return "macro";
    case 0x8004:
      return "report";
    case 0x8007:
      return "module";
    default:
      return "other";
  }
}

constexpr std::string_view kJetExtension = ".mdb", kAceExtension = ".accdb";

// In any letter case.
bool EndsInWords(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && jet::EqualWords(text.substr(text.size() - end.size()), end);
}

std::string Name(const std::string& name) { return "[" + name + "]"; }

void PrintSchema(const jet::TableDef& def, std::ostream& out) {
  out << "CREATE TABLE " << Name(def.name) << " (";
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const jet::ColumnDef& column = def.columns[i];
    out << (i > 0 ? ",\n  " : "\n  ") << Name(column.name) << ' '
        << (column.calculated ? "/* calculated */ " : "") << TypeText(column);
    if (column.required) out << " NOT NULL";
  }
  const auto columns = [&](const jet::IndexDef& index) {
    std::string text;
    for (const jet::IndexColumn& key : index.columns) {
      text +=
          (text.empty() ? "" : ", ") + Name(def.columns[key.column].name) + (key.descending ? " DESC" : "");
    }
    return text;
  };
  for (const jet::IndexDef& index : def.indexes) {
    if (index.primary)
      out << ",\n  CONSTRAINT " << Name(index.name) << " PRIMARY KEY (" << columns(index) << ")";
  }
  out << ");\n";
  for (const jet::IndexDef& index : def.indexes) {
    if (index.primary || index.foreign) continue;
    out << "CREATE " << (index.unique ? "UNIQUE " : "") << "INDEX " << Name(index.name) << " ON "
        << Name(def.name) << " (" << columns(index) << ")";
    if (index.required) out << " WITH DISALLOW NULL";
    if (!index.required && index.ignore_nulls) out << " WITH IGNORE NULL";
    out << ";\n";
  }
}

}  // namespace

int New(const std::string& file, std::optional<jet::Format> format, Streams& streams) {
  const bool is_ace = EndsInWords(file, kAceExtension);
  const jet::Format wanted = format.value_or(is_ace ? jet::Format::kAce14 : jet::Format::kJet4);
  const bool is_jet_name = EndsInWords(file, kJetExtension);
  if (is_ace ? wanted == jet::Format::kJet4 : is_jet_name && wanted != jet::Format::kJet4) {
    streams.err << fmt::format(
        "vntfix new: {}: a file of that format is named {}, or Access will not open it.\n", file,
        is_ace ? kJetExtension : kAceExtension);
    return kUsage;
  }
  jet::Database::Create(jet::PlatformFileSystem(), file, wanted);
  return kOk;
}

int Tables(const std::string& file, bool all, Streams& streams) {
  if (IsServerName(file)) return ServerTables(file, streams);
  const auto database = OpenForReading(file);
  std::vector<std::vector<std::string>> rows;
  for (const jet::CatalogEntry& entry : SortedCatalog(*database)) {
    if (!all && !IsUserTable(entry)) continue;
    std::string count;
    if (entry.type == kLocalTable) {
      const auto table = database->FindTable(entry.name);
      if (table != nullptr) count = std::to_string(table->row_count());
    }
    if (all) {
      rows.push_back({entry.name, std::string(ObjectKind(entry.type)),
                      entry.system()   ? "system"
                      : entry.hidden() ? "hidden"
                                       : "",
                      count});
    } else {
      rows.push_back({entry.name, count});
    }
  }
  if (all) {
    PrintTable({"object", "kind", "", "rows"}, rows, {false, false, false, true}, streams.out);
  } else {
    PrintTable({"table", "rows"}, rows, {false, true}, streams.out);
  }
  return kOk;
}

int Schema(const std::string& file, const std::string& table, Streams& streams) {
  const auto database = OpenForReading(file);
  if (!table.empty()) {
    PrintSchema(RequireTable(*database, table)->def(), streams.out);
    return kOk;
  }
  for (const auto& found : UserTables(*database)) PrintSchema(found->def(), streams.out);
  return kOk;
}

int Check(const std::string& file, Streams& streams) {
  const Interruptible interruptible;
  const auto database = OpenForReading(file);
  std::vector<jet::Finding> findings;
  // What could not be read is no fault of the file.
  try {
    findings = jet::CheckDatabase(*database);
  } catch (const jet::Error& error) {
    if (error.kind() == jet::ErrorKind::kInterrupted) throw;
    streams.err << fmt::format("vntfix: {} could not be checked: {}\n", file, error.what());
    return kRefused;
  } catch (const std::bad_alloc&) {
    streams.err << fmt::format("vntfix: {} could not be checked: {}\n", file, db::kOutOfMemory);
    return kRefused;
  }
  int faults = 0, remarks = 0;
  for (const jet::Finding& finding : findings) {
    ++(finding.fatal ? faults : remarks);
    streams.out << (finding.fatal ? "fault: " : "remark: ");
    if (finding.page != jet::Error::kNoPlace) streams.out << "page " << finding.page << ": ";
    streams.out << finding.text << '\n';
  }
  streams.err << fmt::format("vntfix: {}: {}, {}.\n", file, CountOf(faults, "fault"),
                             CountOf(remarks, "remark"));
  return faults > 0 ? kFailed : kOk;
}

}  // namespace vnt::cli
