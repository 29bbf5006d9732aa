#include "cli/sqlite_export.h"

#include <cmath>
#include <memory>
#include <new>
#include <set>

#include <fmt/format.h>
#include <sqlite3.h>

#include "access/store/file_kind.h"
#include "access/store/names.h"
#include "cli/output.h"
#include "cli/tables.h"
#include "db/value.h"

namespace vnt::cli {
namespace {

// Beside the file that is being made.
constexpr const char* kPartSuffix = "-vntpart";

struct CloseConnection {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

[[noreturn]] void Throw(sqlite3* connection, int code, const std::string& path) {
  if ((code & 0xFF) == SQLITE_NOMEM) throw std::bad_alloc();
  throw jet::Error(jet::ErrorKind::kIo,
                   fmt::format("The file {} cannot be written: {}.", path,
                               connection != nullptr ? sqlite3_errmsg(connection) : sqlite3_errstr(code)));
}

std::string Quoted(const std::string& name) {
  std::string text;
  AppendQuoted(name, &text);
  return text;
}

std::string SqliteType(const jet::ColumnDef& column) {
  using jet::ColumnType;
  if (jet::KindOf(column.type) == jet::ValueKind::kInteger) return "INTEGER";
  switch (column.type) {
    case ColumnType::kSingle:
    case ColumnType::kDouble:
      return "REAL";
    case ColumnType::kText:
      return fmt::format("TEXT({})", column.max_characters());
    case ColumnType::kCurrency:
    case ColumnType::kDecimal:
    case ColumnType::kDateTime:
    case ColumnType::kMemo:
    case ColumnType::kGuid:
    case ColumnType::kDateTimeExtended:
      return "TEXT";
    default:
      return "BLOB";
  }
}

std::string DateText(double days) {
  std::string text;
  AppendDate(days, &text);
  const double whole = db::JoinDate(db::SplitDate(days));
  // A Double holds a time of our days to some microseconds.
  const auto thousandths =
      static_cast<int>(std::lround(std::abs(std::abs(days) - std::abs(whole)) * 86400e3));
  if (thousandths > 0 && thousandths < 1000) text += fmt::format(".{:03}", thousandths);
  return text;
}

class SqliteWriter {
 public:
  explicit SqliteWriter(const std::string& path) : path_(path) {
    sqlite3* raw = nullptr;
    const int code = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    connection_.reset(raw);
    if (code != SQLITE_OK) Throw(raw, code, path_);
    // The file is nobody's before it is complete: it needs no journal, and one sync in the end.
    Execute("PRAGMA journal_mode = OFF");
    Execute("PRAGMA synchronous = OFF");
    Execute("PRAGMA locking_mode = EXCLUSIVE");
    Execute("BEGIN");
  }

  void Add(jet::Table& table, bool order_by_key) {
    const jet::TableDef& def = table.def();
    Execute(CreateTable(def));
    CopyRows(table, order_by_key);
    for (const jet::IndexDef& index : def.indexes) {
      if (!index.primary && !index.columns.empty()) AddIndex(def, index);
    }
  }

  void Close() {
    Execute("COMMIT");
    const int code = sqlite3_close(connection_.get());
    if (code != SQLITE_OK) Throw(connection_.get(), code, path_);
    static_cast<void>(connection_.release());
  }

 private:
  int TryExecute(const std::string& sql) {
    return sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr);
  }
  void Execute(const std::string& sql) {
    if (const int code = TryExecute(sql); code != SQLITE_OK) Throw(connection_.get(), code, path_);
  }

  // The names that SQLite keeps for itself are not to be had.
  static std::string NameOf(const jet::TableDef& def) {
    const bool is_taken = jet::NameKey(def.name).starts_with(jet::NameKey("sqlite_"));
    return Quoted(is_taken ? "_" + def.name : def.name);
  }

  static std::string Columns(const jet::TableDef& def, const jet::IndexDef& index) {
    std::string text;
    for (const jet::IndexColumn& key : index.columns) {
      text +=
          (text.empty() ? "" : ", ") + Quoted(def.columns[key.column].name) + (key.descending ? " DESC" : "");
    }
    return text;
  }

  static std::string CreateTable(const jet::TableDef& def) {
    std::string sql = "CREATE TABLE " + NameOf(def) + " (";
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
      sql += (i > 0 ? ", " : "") + Quoted(def.columns[i].name) + " " + SqliteType(def.columns[i]);
    }
    for (const jet::IndexDef& index : def.indexes) {
      if (index.primary) sql += ", PRIMARY KEY (" + Columns(def, index) + ")";
    }
    return sql + ")";
  }

  void CopyRows(jet::Table& table, bool order_by_key) {
    const auto& columns = table.def().columns;
    std::string sql = "INSERT INTO " + NameOf(table.def()) + " VALUES (";
    for (std::size_t i = 0; i < columns.size(); ++i) sql += i > 0 ? ", ?" : "?";
    sqlite3_stmt* raw = nullptr;
    const int code = sqlite3_prepare_v2(connection_.get(), (sql + ")").c_str(), -1, &raw, nullptr);
    const Statement insert(raw);
    if (code != SQLITE_OK) Throw(connection_.get(), code, path_);
    ForEachRow(table, order_by_key, [&](const jet::Row& row) {
      for (std::size_t i = 0; i < columns.size(); ++i) {
        const int at = static_cast<int>(i);
        Bind(insert.get(), at + 1, row.Get(at), columns[i].type);
      }
      const int stepped = sqlite3_step(insert.get());
      if (stepped != SQLITE_DONE) Throw(connection_.get(), stepped, path_);
      sqlite3_reset(insert.get());
    });
  }

  void Bind(sqlite3_stmt* insert, int place, const jet::Value& value, jet::ColumnType type) {
    int code = SQLITE_OK;
    const auto bind_text = [&](const std::string& text) {
      code = sqlite3_bind_text(insert, place, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    };
    switch (value.kind()) {
      case jet::ValueKind::kNull:
        code = sqlite3_bind_null(insert, place);
        break;
      case jet::ValueKind::kInteger:
        code = sqlite3_bind_int64(
            insert, place,
            type == jet::ColumnType::kBoolean ? (value.integer() != 0 ? 1 : 0) : value.integer());
        break;
      case jet::ValueKind::kReal:
        if (type == jet::ColumnType::kDateTime) {
          bind_text(DateText(value.real()));
        } else {
          code = sqlite3_bind_double(insert, place, value.real());
        }
        break;
      case jet::ValueKind::kDecimal:
        bind_text(value.decimal().ToText());
        break;
      case jet::ValueKind::kText:
        bind_text(value.bytes());
        break;
      case jet::ValueKind::kBlob:
        // No bytes are no Null.
        code = sqlite3_bind_blob(insert, place, value.bytes().c_str(), static_cast<int>(value.bytes().size()),
                                 SQLITE_TRANSIENT);
        break;
    }
    if (code != SQLITE_OK) Throw(connection_.get(), code, path_);
  }

  // Names of indexes are the database's in SQLite, and share it with those of tables.
  void AddIndex(const jet::TableDef& def, const jet::IndexDef& index) {
    std::string name = def.name + "." + index.name;
    while (!index_names_.insert(jet::NameKey(name)).second) name += "_";
    const std::string rest =
        "INDEX " + Quoted(name) + " ON " + NameOf(def) + " (" + Columns(def, index) + ")";
    if (index.unique) {
      const int code = TryExecute("CREATE UNIQUE " + rest);
      if (code == SQLITE_OK) return;
      if ((code & 0xFF) != SQLITE_CONSTRAINT) Throw(connection_.get(), code, path_);
    }
    Execute("CREATE " + rest);
  }

  std::string path_;
  Connection connection_;
  std::set<std::string> index_names_;
};

// Removes the unfinished file unless it got its name.
class PartFile {
 public:
  PartFile(jet::FileSystem& files, std::string path) : files_(files), path_(std::move(path)) {
    // What a run that was killed has left.
    if (files_.Exists(path_)) files_.Remove(path_);
  }
  ~PartFile() {
    try {
      if (!path_.empty() && files_.Exists(path_)) files_.Remove(path_);
    } catch (const jet::Error&) {
      // It stays; the failure that led here is the one to tell.
    }
  }
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::string& path() const { return path_; }
  void MoveTo(const std::string& path) {
    files_.Open(path_, jet::OpenMode::kReadWrite)->SyncAll();
    RequireNew(files_, path);
    files_.Rename(path_, path);
    path_.clear();
    files_.SyncFolder(path);
  }
  static void RequireNew(jet::FileSystem& files, const std::string& path) {
    if (!files.Exists(path)) return;
    throw jet::Error(jet::ErrorKind::kExists, fmt::format("The file \"{}\" exists already.", path));
  }

 private:
  jet::FileSystem& files_;
  std::string path_;
};

}  // namespace

void ExportToSqlite(jet::Database& database, const std::string& path, bool order_by_key) {
  jet::FileSystem& files = jet::PlatformFileSystem();
  jet::RequireNoJournalName(path);
  PartFile::RequireNew(files, path);
  PartFile part(files, path + kPartSuffix);
  {
    SqliteWriter writer(part.path());
    for (const auto& table : UserTables(database)) writer.Add(*table, order_by_key);
    writer.Close();
  }
  part.MoveTo(path);
}

}  // namespace vnt::cli
