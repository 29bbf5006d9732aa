// Answers queries of walks over rows before they are asked.
//
// A fix that walks rows asks the same query again and again, with the number of the row that it has reached:
//
//   for each row of "SELECT grp_id FROM grp":   SELECT * FROM provn WHERE grp_id = 120 ORDER BY ...
//
// The second recordset is read for the next rows of the first one together, and kept part by part (here: one
// part for each grp_id) until it is asked for. A part that has been written meanwhile is read anew by itself.
// What a part is worth is told by ServerSession::Version(), which counts every change that this connection
// has made.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "access/sql/ast.h"
#include "db/row_list.h"
#include "db/server_provider/server_printer.h"
#include "db/server_provider/server_recordset.h"
#include "db/server_provider/server_session.h"

namespace vnt::db {

// What is kept of one query, whatever number it is asked with.
struct ReadParts {
  struct Part {
    std::int64_t version = 0;
    std::vector<std::int64_t> rows;  // in `rows`
  };
  ServerQuery query;                    // of a single part; its text is not used
  RowList rows;                         // columns of the query, filter columns, key
  std::size_t width = 0;                // of `rows`
  std::vector<std::string> conditions;  // columns that decide which part, and which query, a row is in
  std::vector<std::int64_t> order;      // the numbers, as they will be asked for
  std::unordered_map<std::int64_t, Part> parts;
};

class ReadAhead {
 public:
  explicit ReadAhead(std::shared_ptr<ServerSession> session) : session_(std::move(session)) {}

  // `select` was parsed from `text` and may be changed. Null: this query is to be asked as it is.
  std::unique_ptr<ProviderRecordset> Open(jet::sql::Select& select, std::string_view text, bool want_row,
                                          const RecordsetOptions& options);
  void Forget() { kept_.clear(); }

 private:
  struct Shape;
  bool FindShape(jet::sql::Select& select, std::string_view text, Shape* shape) const;
  void Read(jet::sql::Select& select, std::string_view text, bool want_row, const Shape& shape,
            const std::vector<std::int64_t>& numbers, ReadParts* parts);

  std::shared_ptr<ServerSession> session_;
  struct Kept {
    std::shared_ptr<ReadParts> parts;
    std::size_t reach = 16;  // how many parts are read together
  };
  std::map<std::string, Kept, std::less<>> kept_;  // by the text without its constants
};

// Puts kMark in the place of the one whole number that a DELETE compares a column with in a subquery, such as
// "... OR grp_id IN (SELECT grp_id FROM grp WHERE ntc_id = 12)", where a list of numbers may stand as well:
// what is deleted for each number by itself is deleted for all of them. Nothing for other statements.
inline constexpr std::int64_t kMark = 2147480001;
std::optional<std::int64_t> TakeNestedNumber(jet::sql::Statement& s);

// The parts that a change is confined to: by the columns that it compares with, or sets to, a whole number.
std::vector<WrittenPart> PartsOf(const jet::sql::Statement& s, const ServerTable& target, bool* whole_part);

// Puts parameters in the place of whole numbers that an INSERT ... SELECT compares columns with, and tells
// the parts that it is confined to by them. Nothing for other statements.
std::vector<std::int64_t> TakeNumbers(jet::sql::Statement& s, const ServerTable& target,
                                      std::vector<WrittenPart>* parts);

// Takes "column = constant" out of the conditions of an UPDATE or DELETE of one table that reads no other;
// nothing, and the statement as it was, for others.
std::vector<std::pair<const ServerColumn*, jet::Value>> TakeConstants(jet::sql::Statement& s,
                                                                      const ServerTable& target);

}  // namespace vnt::db
