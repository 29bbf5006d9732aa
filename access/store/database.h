// One Access file, open: its catalog and its tables. What lies above sees tables, rows, values and indexes;
// pages, maps and descriptors stay below.
//
// Changes happen inside a statement scope (StatementScope), which takes them back unless it is committed, and
// become durable with Persist() or Checkpoint(). Opening a file, and everything up to the first change,
// writes nothing.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "access/base/types.h"
#include "access/base/value.h"
#include "access/file/file.h"
#include "access/file/page_store.h"
#include "access/index/key.h"

namespace jet {

struct ColumnDef {
  std::string name;
  ColumnType type = ColumnType::kLong;
  std::uint16_t number = 0;          // bit in the null mask
  std::uint16_t variable_index = 0;  // for variable columns
  std::uint16_t fixed_offset = 0;    // for fixed columns, from row byte 2
  std::uint16_t ordinal = 0;         // display order
  std::uint16_t length = 0;          // bytes; 0 for Memo and OLE
  bool fixed = false;
  bool auto_number = false;
  bool compressed_unicode = false;
  bool calculated = false;
  bool hyperlink = false;
  std::uint8_t precision = 0;        // Decimal
  std::uint8_t scale = 0;            // Decimal
  std::uint8_t character_bytes = 2;  // of Text: 1 in Access 97
  std::uint16_t lcid = 0;            // Text and Memo
  std::uint8_t sort_version = 0;
  // From the properties of the table.
  bool required = false;
  bool allow_zero_length = true;
  std::string default_value;  // an Access expression, empty when none

  // Longest text in UTF-16 units, for kText. Calculated texts have no limit of their own: the length in their
  // definition counts bytes around them that no one has explained.
  std::uint16_t max_characters() const { return calculated ? 255 : length / character_bytes; }
};

struct IndexColumn {
  std::uint16_t column = 0;  // position in TableDef::columns
  bool descending = false;
};

struct IndexDef {
  std::string name;  // of the first logical index on it
  std::vector<IndexColumn> columns;
  bool unique = false;
  bool ignore_nulls = false;
  bool required = false;
  bool primary = false;
  bool foreign = false;   // only there for a relationship
  bool supported = true;  // false: a key column's type or collation is not known; no range search, no change
  PageNo root = 0;
};

struct TableDef {
  std::string name;
  PageNo tdef_page = 0;
  bool system = false;
  std::vector<ColumnDef> columns;  // in display order
  std::vector<IndexDef> indexes;   // the real ones
  // Why rows of the table cannot be changed (unknown column type or collation, calculated or complex
  // columns), else empty.
  std::string read_only_reason;

  // Position of the column of that name (any letter case), or -1.
  int FindColumn(std::string_view name) const;
};

// An entry of the catalog.
struct CatalogEntry {
  std::int32_t id = 0;
  std::string name;
  std::int16_t type = 0;  // 1 local table, 4 ODBC link, 6 linked table, 5 query, 8 relationship, ...
  std::uint32_t flags = 0;
  bool system() const { return (flags & 0x80000002u) != 0; }
  bool hidden() const { return (flags & 0x8u) != 0; }
};

// What a new table or column is to be.
struct NewColumn {
  std::string name;
  ColumnType type = ColumnType::kLong;
  std::uint16_t characters = 255;  // Text: largest number of characters; Binary: of bytes
  bool fixed_length = false;       // Text and Binary only (CHAR(n), BINARY(n))
  std::uint8_t precision = 18;
  std::uint8_t scale = 0;
  bool auto_number = false;
  bool required = false;
  std::string default_value;
};
struct NewIndex {
  std::string name;
  std::vector<std::pair<std::string, bool>> columns;  // name, descending
  bool unique = false;
  bool primary = false;
  bool ignore_nulls = false;
  bool required = false;
};

class Database;
class DatabaseImpl;
class StoredTable;
struct RowAccess;

// One row, to be read. Values decode when asked for. Valid until the row or its page changes or the reader
// moves on, unless it is detached.
class Row {
 public:
  bool IsNull(int column) const;
  // The value with the kind that value.h names.
  Value Get(int column) const;
  // Fast paths; only for a matching column type. False, and nothing stored, when the value is Null.
  bool ReadInteger(int column, std::int64_t* value) const;  // Boolean, Byte, Integer, Long, BigInt
  bool ReadReal(int column, double* value) const;           // Single, Double, DateTime
  bool ReadText(int column, std::string* utf8) const;       // Text, Memo
  // The same where the value is known not to be Null.
  std::int64_t GetInteger(int column) const;
  double GetReal(int column) const;
  void GetText(int column, std::string* utf8) const;  // replaces the content of *utf8
  // The row as it is stored; long values may be references to other pages.
  Bytes stored() const { return bytes_; }
  // Takes the bytes out of the page, into *bytes: what stands in the row itself stays what it is, whatever
  // becomes of the page.
  void Detach(std::vector<std::uint8_t>* bytes);

 private:
  friend struct RowAccess;
  const StoredTable* table_ = nullptr;
  PageRef page_;
  Bytes bytes_;
  PageNo page_no_ = 0;
  std::uint32_t offset_ = 0;  // in the page
  // Where the variable part and the null mask stand, found once per row.
  std::uint16_t column_count_ = 0, variable_count_ = 0;
  std::uint32_t mask_offset_ = 0;
  bool variable_part_ = false;
};

struct ColumnChange {
  int column = 0;  // position in TableDef::columns
  Value value;
};

class Table {
 public:
  explicit Table(std::unique_ptr<StoredTable> stored);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const TableDef& def() const { return def_; }
  std::uint32_t row_count() const;
  // Changes whenever rows may have come or got other values (not when rows are deleted).
  std::uint64_t content_version() const;

  // Reads one row; false when it does not live (any more).
  bool Fetch(RowId id, Row* row);

  // All three check types, lengths, required columns and unique indexes before anything is written, and
  // maintain every index. They must run inside a statement scope. Errors: kConstraint, kTooLarge,
  // kType, kNotSupported, kReadOnly. `values` holds one value per column of def(); an autonumber column given
  // as Null takes the next number.
  RowId Insert(const std::vector<Value>& values);
  void Update(RowId id, const std::vector<ColumnChange>& changes);
  void Delete(RowId id);

  // While a bookmark of rows is held (a keyset), the identifiers of rows that are deleted meanwhile are not
  // given to new rows.
  void HoldRowIds();
  void ReleaseRowIds();

  // Whether rows of the same bytes are the same rows in both tables, their long values excepted: equal
  // columns have equal places. Columns are compared by position; names do not matter.
  bool StoresRowsAs(const Table& other) const;

  // The key bytes that `values` (one per leading column, at most all) have in an index.
  std::string MakeKey(int index, const std::vector<Value>& values) const;
  // Key encoding of one index column.
  KeyColumn key_column(int index, int position) const;

  // What stands behind it, for the store itself and its tests.
  StoredTable& stored() const { return *stored_; }

 private:
  std::unique_ptr<StoredTable> stored_;
  const TableDef& def_;
};

// Walks all rows of a table in the order in which the table holds them. Rows may be changed or deleted
// meanwhile; rows inserted meanwhile may or may not be met.
class TableCursor {
 public:
  explicit TableCursor(Table& table);
  explicit TableCursor(StoredTable& table);
  ~TableCursor();
  bool Next(Row* row, RowId* id);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Walks row identifiers of an index from a lower to an upper bound (key bytes; a bound that is a prefix of
// keys takes in all of them). Survives changes of the tree.
class IndexCursor {
 public:
  struct Bounds {
    std::optional<std::string> lower;
    bool lower_open = false;  // skip keys that begin with `lower`
    std::optional<std::string> upper;
    bool upper_open = false;  // stop before keys that begin with `upper`
  };
  IndexCursor(Table& table, int index, Bounds bounds);
  IndexCursor(StoredTable& table, int index, Bounds bounds);
  ~IndexCursor();
  bool Next(RowId* id);
  // The key bytes of the entry that Next() gave last; valid until the next call.
  std::string_view key() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// What the name of a database's journal has more than its own.
inline constexpr char kJournalSuffix[] = "-vntjournal";

// What a file says of itself.
struct FileFacts {
  std::string_view version;       // "Access 2000"
  std::uint16_t code_page = 0;    // of Access 97 texts; later versions hold Unicode
  std::uint16_t lcid = 0;         // of the default text order
  std::uint8_t sort_version = 0;  // 0 or 1: the order of Access 2000 to 2007, or that of 2010 and later
  double created = 0;             // as a Date/Time column holds it; 0 where the version does not tell
  std::uint32_t page_size = 0;    // bytes
  PageNo pages = 0;               // those in a waiting journal included
  PageNo free_pages = 0;          // of these, those that new rows and indexes can take
  bool unfinished_write = false;  // Access was interrupted in the middle of a write
};

// Where the journal of a database stands, by whatever link the database is named.
std::string JournalPath(FileSystem& files, const std::string& database_path);

class Database {
 public:
  struct Options {
    PageStoreOptions pages;
  };

  // Opens a file. kReadWrite takes it exclusively and honours Access's own lock file (kLocked says who); a
  // Jet 3 file opens for reading whatever was asked. kNotFound, kReadOnly (also when the file could be
  // written but not saved: no journal can be made beside it, or it has several names), kLocked, kNotSupported
  // (encrypted, password, foreign version; the text says why), kCorrupt.
  static std::unique_ptr<Database> Open(FileSystem& files, const std::string& path, OpenMode mode,
                                        const Options& options = {});
  // Makes an empty database, whole or not at all; kExists when the file is there.
  static void Create(FileSystem& files, const std::string& path, Format format);

  explicit Database(std::unique_ptr<DatabaseImpl> impl);
  ~Database();  // drops what was not made durable
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  const std::string& path() const;
  Format format() const;
  bool writable() const;
  // Why it is not writable, as a sentence for the user.
  std::string read_only_sentence() const;

  // kCorrupt when the map of free pages cannot be read.
  FileFacts Facts();

  std::vector<CatalogEntry> Catalog();
  // The table of that name in any letter case; null when there is none (a query or link of that name is
  // none). The same object every time, until the table is dropped or a statement that changed its definition
  // is rolled back.
  std::shared_ptr<Table> FindTable(std::string_view name);
  // Counts changes of the catalog: a table came, went or changed its definition.
  std::uint64_t schema_version() const;

  void CreateTable(const std::string& name, const std::vector<NewColumn>& columns,
                   const std::vector<NewIndex>& indexes);
  void DropTable(const std::string& name);
  void AddColumn(const std::string& table, const NewColumn& column);
  void CreateIndex(const std::string& table, const NewIndex& index);
  void DropIndex(const std::string& table, const std::string& index);

  // See StatementScope.
  void BeginStatement();
  void CommitStatement();
  void RollbackStatement();

  // See PageStore. Table objects stay what they are over a revert, except of tables whose definition has
  // changed since the mark: those can be read on but not changed through.
  void Mark();
  void RevertToMark();
  void Persist();
  void Checkpoint();
  bool has_changes() const;
  Durability durability() const;

  // For the checker and tests.
  PageStore& pages();
  // What stands behind it, for the store itself and its tests.
  DatabaseImpl& impl() const { return *impl_; }

 private:
  std::unique_ptr<DatabaseImpl> impl_;
};

// Everything between construction and Commit() happens whole or, when Commit() is not reached, not at all.
class StatementScope {
 public:
  explicit StatementScope(Database& database);
  explicit StatementScope(DatabaseImpl& database);
  ~StatementScope();
  StatementScope(const StatementScope&) = delete;
  StatementScope& operator=(const StatementScope&) = delete;
  void Commit();

 private:
  DatabaseImpl& database_;
  bool open_ = true;
};

}  // namespace jet
