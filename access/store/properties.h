// Property blobs: the LvProp value that the catalog holds for a table.
//
//   "MR2\0" (Jet 3: "KKD\0"), then chunks: u32 length (itself included), u16 kind
//     kind 0x80: the names: repeated u16 byte length and name; comes first
//     kind 0x00: properties of the object, kind 0x01: of one column:
//       u32 header length (6: no name), u16 byte length of the name, name; then values:
//       u16 length (8 + n), u8 flag, u8 type, u16 position in the names, u16 n, n bytes
//
// Yes/No is one byte; text is UTF-16, never compressed. Taken from the blobs of files that Access wrote.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "access/store/database.h"
#include "access/store/format.h"

namespace jet {

struct Property {
  std::string name;
  std::uint8_t type = 0;
  std::string bytes;  // as stored
};

struct PropertyChunk {
  std::string owner;  // name of the column; empty: the object itself
  std::vector<Property> properties;
};

// kCorrupt when the blob contradicts itself. An empty blob has no chunks.
std::vector<PropertyChunk> ParseProperties(const std::string& blob, const FormatInfo& format);

// Sets what the columns of `def` take from properties: Required, AllowZeroLength, DefaultValue, and the type
// of the values of calculated columns (ResultType; the definition itself names another type for some: a small
// one for Yes/No, Double for Decimal, Text for Memo).
void ApplyProperties(const std::string& blob, const FormatInfo& format, TableDef* def);

// The blob with the properties that a new column needs added behind what is there; unchanged when it needs
// none.
std::string AddColumnProperties(const std::string& blob, const NewColumn& column);

}  // namespace jet
