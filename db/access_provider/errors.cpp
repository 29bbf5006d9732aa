#include "db/access_provider/errors.h"

#include <string>

namespace vnt::db {
namespace {

// Whether the sentence uses the word outside of the names it quotes: one kind of error covers several
// numbers.
bool Says(const std::string& text, std::string_view word) {
  std::string plain;
  char quote = 0;
  for (const char c : text) {
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else {
      plain += c;
    }
  }
  return plain.find(word) != std::string::npos;
}

std::int32_t NumberOf(const jet::Error& error) {
  switch (error.kind()) {
    case jet::ErrorKind::kNotFound:
      if (Says(error.what(), "column")) return kErrParameter;
      if (Says(error.what(), "table")) return kErrMissingTable;
      if (Says(error.what(), "function")) return kErrSyntax;
      return kErrNotFound;
    case jet::ErrorKind::kConstraint:
      return Says(error.what(), "duplicate") ? kErrKeyViolation : kErrIntegrity;
    case jet::ErrorKind::kNull:
      return kErrIntegrity;
    case jet::ErrorKind::kReadOnly:
      return kErrReadOnly;
    case jet::ErrorKind::kTooLong:
    case jet::ErrorKind::kOverflow:
      return kErrTruncated;
    case jet::ErrorKind::kType:
      return kErrDataType;
    case jet::ErrorKind::kInvalid:
    case jet::ErrorKind::kExists:
    case jet::ErrorKind::kSyntax:
      return kErrSyntax;
    case jet::ErrorKind::kCorrupt:
    case jet::ErrorKind::kNotSupported:
    case jet::ErrorKind::kIo:
    case jet::ErrorKind::kLocked:
    case jet::ErrorKind::kFull:
    case jet::ErrorKind::kSql:
      return kErrKeyViolation;
  }
  return kErrKeyViolation;
}

}  // namespace

DbError ToDbError(const jet::Error& error) { return DbError(NumberOf(error), kAccessSource, error.what()); }

}  // namespace vnt::db
