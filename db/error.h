// The error that every database operation raises.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace vnt::db {

// Numbers that callers and tests name.
inline constexpr std::int32_t kErrOverflow = 6;
inline constexpr std::int32_t kErrTypeMismatch = 13;
inline constexpr std::int32_t kErrInterrupted = 18;  // by the user
// A change that was put off failed when it was sent: whoever put it off goes back to the last mark, and does
// it all again with nothing put off.
inline constexpr std::int32_t kErrRepeat = 19;
inline constexpr std::int32_t kErrInvalidUseOfNull = 94;
inline constexpr std::int32_t kErrNoCurrentRecord = 3021;
inline constexpr std::int32_t kErrItemNotFound = 3265;       // no field of that name
inline constexpr std::int32_t kErrWrongMove = 3219;          // a move that the cursor does not allow
inline constexpr std::int32_t kErrObjectClosed = 3704;       // operation on a closed connection or recordset
inline constexpr std::int32_t kErrReadOnlyRecordset = 3251;  // the recordset does not support updating
inline constexpr std::int32_t kErrMissingDatabaseName = -2147220991;  // 0x80040201
inline constexpr std::int32_t kErrMissingTable = -2147217865;         // 0x80040E37
inline constexpr std::int32_t kErrSyntax = -2147217900;  // 0x80040E14: SQL that does not parse, unknown names
inline constexpr std::int32_t kErrParameter =
    -2147217904;  // 0x80040E10: no value for a parameter or an unknown column
inline constexpr std::int32_t kErrIntegrity = -2147217873;  // 0x80040E2F: required column, relationship
inline constexpr std::int32_t kErrTruncated = -2147217833;  // 0x80040E57: text too long, number out of range
inline constexpr std::int32_t kErrDataType =
    -2147217913;  // 0x80040E07: value that does not fit the column's type
inline constexpr std::int32_t kErrRowGone =
    -2147217864;  // 0x80040E38: the row to change is not there any more
inline constexpr std::int32_t kErrReadOnly = -2147217911;  // 0x80040E09: no permission to change
// 0x80004005, the number of every other failure: a file that is missing, locked, damaged or not supported, a
// key violation.
inline constexpr std::int32_t kErrFailed = -2147467259;

// What std::bad_alloc is called.
inline constexpr char kOutOfMemory[] = "There is not enough memory.";

class DbError : public std::exception {
 public:
  DbError(std::int32_t number, std::string source, std::string description, bool environment = false,
          bool damage = false)
      : number_(number),
        source_(std::move(source)),
        description_(std::move(description)),
        environment_(environment),
        damage_(damage) {}

  std::int32_t number() const { return number_; }
  const std::string& source() const { return source_; }
  const std::string& description() const { return description_; }
  // Whether it is a failure of the surroundings (disk, memory, the file itself), not of the statement.
  bool is_environment() const { return environment_; }
  // Whether a file contradicts itself.
  bool is_damage() const { return damage_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::int32_t number_;
  std::string source_;
  std::string description_;
  bool environment_;
  bool damage_;
};

}  // namespace vnt::db
