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
      return kErrIntegrity;
    case jet::ErrorKind::kReadOnly:
      return kErrReadOnly;
    case jet::ErrorKind::kTooLarge:
      return kErrTruncated;
    case jet::ErrorKind::kType:
      return kErrDataType;
    case jet::ErrorKind::kInvalid:
    case jet::ErrorKind::kExists:
      return kErrSyntax;
    case jet::ErrorKind::kInterrupted:
      return kErrInterrupted;
    case jet::ErrorKind::kNotFound:
    case jet::ErrorKind::kCorrupt:
    case jet::ErrorKind::kNotSupported:
    case jet::ErrorKind::kIo:
    case jet::ErrorKind::kLocked:
    case jet::ErrorKind::kDuplicate:
    case jet::ErrorKind::kFailed:
      break;
  }
  return kErrFailed;
}

}  // namespace

DbError ToDbError(const jet::Error& error) {
  return DbError(NumberOf(error), kAccessSource, error.what(), error.is_environment(),
                 error.kind() == jet::ErrorKind::kCorrupt);
}

}  // namespace vnt::db
