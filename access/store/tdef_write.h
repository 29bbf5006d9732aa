// Making table definitions: blocks of new columns and indexes, and definitions back onto their pages.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "access/store/tdef.h"

namespace jet {

// Bits of the flag bytes of a column descriptor and of a real index.
namespace column_flag {
inline constexpr std::uint8_t kFixed = 0x01;
inline constexpr std::uint8_t kUpdatable = 0x02;  // always set
inline constexpr std::uint8_t kAutoNumber = 0x04;
inline constexpr std::uint8_t kSystem = 0x10;  // on columns of system tables
inline constexpr std::uint8_t kOwner = 0x20;   // on the columns that hold a SID
}  // namespace column_flag
inline constexpr std::uint8_t kExtCompressedUnicode = 0x01;
namespace index_flag {
inline constexpr std::uint8_t kUnique = 0x01;
inline constexpr std::uint8_t kIgnoreNulls = 0x02;
inline constexpr std::uint8_t kRequired = 0x08;
inline constexpr std::uint8_t kUsual = 0x80;  // meaning unknown; Access sets it on nearly all
}  // namespace index_flag

struct ColumnSpec {
  std::string name;
  ColumnType type = ColumnType::kLong;
  std::uint16_t length = 0;
  std::uint8_t flags = column_flag::kUpdatable;
  std::uint8_t ext_flags = 0;
  std::uint8_t precision = 0, scale = 0;
  std::uint16_t number = 0, ordinal = 0;
  std::uint16_t variable_index = 0, fixed_offset = 0;

  bool fixed() const { return (flags & column_flag::kFixed) != 0; }
  bool is_long() const { return type == ColumnType::kMemo || type == ColumnType::kOle; }
};

struct IndexSpec {
  std::string name;
  std::vector<std::pair<std::uint16_t, bool>> columns;  // column number, descending
  std::uint8_t flags = index_flag::kUsual;
  bool primary = false;
};

struct TableSpec {
  std::uint8_t type = 0x4E;          // user table; 0x53: one of the four core tables
  std::vector<ColumnSpec> columns;   // in the order of their numbers
  bool descriptors_by_name = false;  // as Access has them in system tables
  std::vector<IndexSpec> indexes;    // real and logical alike, numbered in this order
};

// Where the parts of a new table stand.
struct IndexPlace {
  RowPointer map;
  PageNo root = 0;
};
struct TablePlaces {
  RowPointer owned_map, free_map;
  std::vector<IndexPlace> indexes;
  std::map<std::uint16_t, TableLayout::LongColumn> long_columns;
};

// Numbers the columns in their order and gives each its place in the row.
void AssignPlaces(std::vector<ColumnSpec>* columns);

RawTdef::Named MakeColumnBlock(const ColumnSpec& column, const DefinitionContext& context);
std::string MakeRealIndexBlock(const IndexSpec& index, const IndexPlace& place);
RawTdef::Named MakeLogicalIndexBlock(const IndexSpec& index, std::uint32_t number, std::uint32_t real);
std::string MakeLongColumnRecord(std::uint16_t column_number, const TableLayout::LongColumn& maps);

// Makes the maps and index roots of a new table whose definition will begin on `tdef_page`. `map_page`, when
// not 0, is a page of map rows to be used as long as it has room; it receives the page used last.
TablePlaces AllocatePlaces(StoreContext& context, const TableSpec& spec, PageNo tdef_page, PageNo* map_page);
IndexPlace AllocateIndex(StoreContext& context, PageNo tdef_page, PageNo* map_page);
TableLayout::LongColumn AllocateLongColumn(StoreContext& context, PageNo* map_page);

RawTdef MakeTdef(const TableSpec& spec, const TablePlaces& places, const DefinitionContext& context);

// Adds an index block and keeps the logical indexes in the order of their names, as the engine of Access
// does.
void InsertLogicalIndex(RawTdef::Named block, RawTdef* raw);

// Brings the counts in the definition block in line with the parts and returns the whole stream.
std::string JoinTdef(RawTdef* raw);

// Writes a stream to its chain of pages, which is lengthened or shortened as needed. chain[0] exists and
// stays.
void WriteTdefStream(StoreContext& context, const std::string& stream, std::vector<PageNo>* chain);

}  // namespace jet
