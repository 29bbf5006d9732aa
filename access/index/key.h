// Index keys: the byte strings whose unsigned order is the order of an index.
//
// Per column in index order: a flag byte (null 00, not null 7F; descending FF and 80), then the value's
// bytes. Text keys follow the collation of the column.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "access/base/types.h"
#include "access/base/value.h"

namespace jet {

enum class Collation : std::uint8_t {
  kGeneralLegacy,  // LCID 1033, version 0
  kGeneral,        // LCID 1033, version 1
  kGeneral97,      // Jet 3 (reading only)
  kUnsupported,
};

struct KeyColumn {
  ColumnType type = ColumnType::kLong;
  bool descending = false;
  Collation collation = Collation::kGeneralLegacy;
  bool jet4_decimal =
      false;  // Jet 4's way of writing decimals; ACE 12 and later write them so that they sort
  std::uint8_t decimal_scale = 0;
};

// Whether keys of this column can be built at all (type and collation known).
bool IsKeySupported(const KeyColumn& column);

// Appends the key bytes of one column. `value` has the kind that value.h names for the column type (text as
// UTF-8). Error(kNotSupported) when IsKeySupported is false.
void AppendKey(const KeyColumn& column, const Value& value, std::string* key);

// The key of a text without the flag byte, ascending: what makes two texts equal to an index.
void AppendTextKey(Collation collation, std::string_view utf8, std::string* key);

}  // namespace jet
