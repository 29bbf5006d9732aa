// The database objects that the fixes work with, shaped after the object model that the program was designed
// for: Connection, Recordset, Command. The provider named in the connection string does the work:
//
//   "Microsoft.Jet.OLEDB.4.0"    the built-in Access engine, Jet 4 files only
//   "Microsoft.ACE.OLEDB.12.0"   the built-in Access engine, Jet 4 and ACE files
//   "MSDASQL"                    the platform's ODBC manager; statements go to the driver as they are
//   "VNTFix.Server"              the same, but statements are Access SQL, which is translated for the server
//
// Every failure is a DbError.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "db/error.h"
#include "db/value.h"

namespace jet {
class ChangedRows;
class File;
}  // namespace jet

namespace vnt::db {

class ProviderConnection;
class ProviderRecordset;

enum class CursorType { kForwardOnly = 0, kKeyset = 1, kDynamic = 2, kStatic = 3 };
enum class LockType { kReadOnly = 1, kPessimistic = 2, kOptimistic = 3 };
enum class AccessMode { kReadWrite, kRead };

enum class Durability {
  kAll,
  kPersisted,  // what was durable before the last Persist() or Checkpoint(), which failed or has not been
               // made
  kUnknown,    // one of the two; opening the database again tells
  kLost,       // nothing: the file was replaced or changed by another program
};

// Told of every statement that is sent, after it ended, and of every row that a recordset wrote or deleted
// (no statement is sent for it: `text` is empty).
struct StatementEvent {
  std::string_view text;
  std::int64_t rows = 0;  // affected; 0 for a query
  const DbError* error = nullptr;
};

class Connection {
 public:
  Connection();
  ~Connection();  // closes
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // "PROVIDER=...;Data Source=...;" or "PROVIDER=MSDASQL; DSN=...; UID=...;PWD=;": keys in any letter case,
  // blanks around keys and values allowed.
  std::string ConnectionString;
  // kRead opens an Access file shared and refuses changes.
  AccessMode Mode = AccessMode::kReadWrite;

  void Open();
  void Open(std::string_view connection_string);
  void Close();  // what was executed becomes durable
  // Closes, and leaves what is not durable behind.
  void Drop();
  bool is_open() const;

  // Runs a statement that returns no rows (a SELECT is run and its rows are dropped); returns the number of
  // rows affected.
  std::int64_t Execute(std::string_view sql);
  // Makes everything executed so far durable (Access files; nothing to do for ODBC). The cheaper Persist()
  // keeps it in the journal beside the file; Checkpoint() brings the file itself up to date.
  void Persist();
  void Checkpoint();
  // A border that work can go back to: RevertToMark() undoes everything that was executed in the database
  // since the last Mark(), Persist() or Checkpoint(), by whatever connection of this process; Mark() itself
  // makes nothing durable and costs next to nothing. False: the source cannot go back (ODBC, where every
  // statement is final), and nothing was undone. After a DbError of RevertToMark() nothing more can be
  // written, and the database is what it was at the last Persist(), Checkpoint() or opening.
  void Mark();
  bool RevertToMark();
  // How many rows are not what they were at that border, as jet::CountChangedRows() counts, which adds them
  // to `together` too; none for ODBC.
  std::optional<std::int64_t> ChangedRows(jet::ChangedRows* together = nullptr);
  // What of everything that was executed is durable, also after an error of Persist() or Checkpoint().
  Durability GetDurability();
  // Makes everything durable and lets go of the file until the connection is used again, which looks the file
  // up anew by its path: meanwhile others may read, change and replace it. Open recordsets are closed. No
  // effect on ODBC. Resume() opens the file now, so that a failure shows here.
  void Release();
  void Resume();
  // The file as it was saved last, to be read; null for ODBC.
  jet::File* SavedFile();
  // Whether that file holds everything that was executed.
  bool IsSaved();
  // What that file is, or will be once it is brought up to date from its journal, to be read until something
  // is executed. Null for ODBC, and where what was executed last is not durable.
  std::unique_ptr<jet::File> SavedContent();
  // While it is on, a server may be sent changes later, several of them together, before a query that depends
  // on them, Persist(), or when it is switched off; a failure of one of them is then told by an error
  // kErrRepeat there. No effect elsewhere.
  void SetDeferring(bool on);

 private:
  friend class Recordset;
  friend class Command;
  ProviderConnection& provider() const;  // DbError 3704 when closed
  std::shared_ptr<ProviderConnection> provider_;
};

class Recordset {
 public:
  Recordset();
  ~Recordset();
  Recordset(const Recordset&) = delete;
  Recordset& operator=(const Recordset&) = delete;

  // A keyset recordset fixes its rows when it is opened and re-reads each as it reaches it (a row deleted
  // meanwhile is skipped); a static one is a snapshot; a forward-only one reads as it goes. With kOptimistic
  // the rows can be changed when each of them is one row of one table.
  void Open(std::string_view sql, Connection& connection, CursorType cursor = CursorType::kForwardOnly,
            LockType lock = LockType::kReadOnly);
  void Close();
  bool is_open() const;

  bool Eof() const;
  bool Bof() const;
  void MoveNext();  // 3021 when at the end
  void MovePrevious();
  void MoveFirst();
  void MoveLast();
  // Rows in the recordset; -1 for a forward-only one.
  std::int64_t RecordCount() const;

  int FieldCount() const;
  std::string FieldName(int index) const;
  // The field of that name in any letter case. 3265 when there is none, 3021 when there is no current row.
  Value Get(std::string_view field) const;
  Value Get(int index) const;
  // Sets a field of the current (or new) row; written by Update.
  void Set(std::string_view field, const Value& value);
  void AddNew();
  void Update();
  void CancelUpdate();
  void Delete();  // the current row; the position stays on the deleted row until a move

 private:
  std::unique_ptr<ProviderRecordset> impl_;
};

// A prepared statement with "?" parameters.
class Command {
 public:
  struct Parameter {
    std::string name;
    ValueType type = ValueType::kInt32;
    Value value;  // Empty until set; executing with an Empty one is kErrParameter
  };

  explicit Command(Connection& connection) : connection_(&connection) {}

  std::string CommandText;
  std::vector<Parameter> Parameters;

  std::int64_t Execute();

 private:
  Connection* connection_;
};

}  // namespace vnt::db
