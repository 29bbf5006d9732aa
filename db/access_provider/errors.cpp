#include "db/access_provider/errors.h"

namespace vnt::db {
namespace {

std::int32_t NumberOf(const jet::Error& error) {
  switch (error.kind()) {
    case jet::ErrorKind::kNoTable:
      return kErrMissingTable;
    case jet::ErrorKind::kNoColumn:
      return kErrParameter;
    case jet::ErrorKind::kConstraint:
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
    case jet::ErrorKind::kDuplicate:
      return kErrKeyViolation;
    case jet::ErrorKind::kInterrupted:
      return kErrInterrupted;
    case jet::ErrorKind::kNotFound:
    case jet::ErrorKind::kCorrupt:
    case jet::ErrorKind::kNotSupported:
    case jet::ErrorKind::kIo:
    case jet::ErrorKind::kLocked:
    case jet::ErrorKind::kFull:
    case jet::ErrorKind::kMemory:
    case jet::ErrorKind::kReplaced:
    case jet::ErrorKind::kSql:
      return kErrKeyViolation;
  }
  return kErrKeyViolation;
}

}  // namespace

DbError ToDbError(const jet::Error& error) {
  return DbError(NumberOf(error), kAccessSource, error.what(), error.is_environment());
}

}  // namespace vnt::db
