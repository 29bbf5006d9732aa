// The kinds of error the engine raises, and the exception that carries them.
//
// Every failure of the engine is an jet::Error: a kind, a sentence for the user, and, where it is known,
// the place (page number and byte offset within the page). The engine never prints.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace jet {

enum class ErrorKind {
  kNotFound,      // file, index or row that does not exist
  kNoTable,       // table that does not exist, or that a statement does not read
  kNoColumn,      // column that does not exist
  kCorrupt,       // the file contradicts its own format
  kNotSupported,  // a format, collation, type or statement this engine does not handle
  kInvalid,       // a request that makes no sense (bad name, wrong number of values, ...)
  kIo,            // the operating system reported a failure
  kLocked,        // somebody else has the file open
  kReadOnly,      // a write to something that cannot be written
  kConstraint,    // required column, relationship
  kDuplicate,     // key that a unique index holds already
  kFull,          // file size limit or disk full
  kMemory,        // no memory
  kReplaced,      // the file is no longer the one that was opened, or somebody else changed it
  kInterrupted,   // somebody asked from outside that the work should end
  kTooLong,       // value, record or key longer than its place
  kOverflow,      // number out of the range of its column
  kType,          // value that cannot be converted to the type of its column
  kNull,          // Null where it is not allowed by an operation
  kExists,        // object that exists already
  kSyntax,        // SQL that does not parse
  kSql,           // other failure while executing SQL
};

class Error : public std::runtime_error {
 public:
  static constexpr std::int64_t kNoPlace = -1;

  Error(ErrorKind kind, const std::string& text, std::int64_t page = kNoPlace, std::int64_t offset = kNoPlace)
      : std::runtime_error(text), kind_(kind), page_(page), offset_(offset) {}

  ErrorKind kind() const { return kind_; }
  // Whether it is a failure of the surroundings (disk, memory, the file itself), not of a request: the next
  // request would meet it too, so whoever does several that belong together stops and goes back.
  bool is_environment() const;
  // Whether it kept the work from looking at the file at all: a failure of the surroundings that says nothing
  // of what the file holds.
  bool is_obstacle() const { return is_environment() && kind_ != ErrorKind::kCorrupt; }
  // Page number the error is about, or kNoPlace.
  std::int64_t page() const { return page_; }
  // Byte offset within the page (or, for kSyntax, within the statement), or kNoPlace.
  std::int64_t offset() const { return offset_; }

 private:
  ErrorKind kind_;
  std::int64_t page_;
  std::int64_t offset_;
};

// Raises kCorrupt with a sentence that names page and offset: "Page 12 is damaged: <what> (offset 14)."
[[noreturn]] void ThrowCorrupt(const std::string& what, std::int64_t page,
                               std::int64_t offset = Error::kNoPlace);

}  // namespace jet
