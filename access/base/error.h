// The kinds of error the engine raises, and the exception that carries them.
//
// Every failure of the engine is an jet::Error: a kind, a sentence for the user, and, where it is known,
// the place (page number and byte offset within the page). The engine never prints.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace jet {

// What went wrong, as far as anybody above tells one from the other: by the number that a user sees
// (db/access_provider/errors.cpp), by what follows (below), or because a caller goes on after it.
enum class ErrorKind {
  kNotFound,      // file, index or row that does not exist
  kNoTable,       // table that does not exist, or that a statement does not read
  kNoColumn,      // column that does not exist
  kExists,        // file or object that exists already
  kCorrupt,       // the file contradicts its own format
  kNotSupported,  // a format, collation, type or statement this engine does not handle
  kInvalid,       // a request that makes no sense: SQL that does not parse, a bad name, ...
  kIo,          // the system or the disk failed: no space, no memory, a file that is no longer the one opened
  kLocked,      // somebody else has the file open
  kReadOnly,    // a write to something that cannot be written
  kConstraint,  // required column, relationship, Null where there must be a value
  kDuplicate,   // key that a unique index holds already
  kTooLarge,    // text, record or key longer than its place, number out of range
  kType,        // value that cannot be converted to the type of its column
  kInterrupted,  // somebody asked from outside that the work should end
  kFailed,       // another failure while executing SQL
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
  // Whether the file itself is the reason, or what is around it: nothing can be done with it as it is. Other
  // errors are those of a request on a file that is well.
  bool is_refusal() const;
  // Whether it kept the work from looking at the file at all: a failure of the surroundings that says nothing
  // of what the file holds.
  bool is_obstacle() const { return is_environment() && kind_ != ErrorKind::kCorrupt; }
  // Page number the error is about, or kNoPlace.
  std::int64_t page() const { return page_; }
  // Byte offset within the page (or, for SQL that does not parse, within the statement), or kNoPlace.
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
