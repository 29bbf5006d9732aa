// The file versions as data: page size, offsets, sizes and limits of each.
//
// Two families share nearly everything: Jet 4 and the ACE versions differ only in the name and number in the
// header, the default collation and the column types allowed; Jet 3 has smaller pages and narrower fields.
// Where a fact below was not seen in files that Access wrote, its comment says so.
#pragma once

#include <cstdint>
#include <string_view>

#include "access/base/types.h"

namespace jet {

struct FormatInfo {
  Format format = Format::kJet4;
  std::string_view name;         // for messages: "Access 2000"
  std::string_view engine_name;  // bytes 4..18 of the file
  std::uint8_t version_byte = 0;
  bool jet3 = false;
  // ACE 12 and later: complex columns, sortable decimal keys, MSysComplex* tables.
  bool ace = false;

  std::uint32_t page_size = 4096;
  // Documented limits of Access: 1 GB for Jet 3, else 2 GB.
  std::uint64_t max_file_bytes = std::uint64_t{1} << 31;

  // Page 0. The masked part begins at 0x18 (an RC4 keystream covers `masked_bytes` from there).
  std::uint16_t masked_bytes = 128;
  std::uint16_t sort_order_offset = 0x6E;  // u16 LCID, u8 0, u8 version (Jet 3: u16 only)
  std::uint16_t password_bytes = 40;
  std::uint16_t commit_bytes_offset = 0xE00;
  // Default text order of new files.
  std::uint16_t default_lcid = 1033;
  std::uint8_t default_sort_version = 0;

  // Data pages: type, 01, u16 free bytes, u32 owner, ..., u16 slot count, u16 slots.
  std::uint16_t data_free_offset = 2;
  std::uint16_t data_owner_offset = 4;
  std::uint16_t data_slot_count_offset = 12;
  std::uint16_t data_slots_offset = 14;
  // Rows per page: the slot number is one byte (the limit itself is taken from other readers' sources).
  std::uint16_t max_slots = 255;
  // Longest row without its long values (from other readers' sources; a page could offer 20 bytes more).
  std::uint16_t max_row_bytes = 4060;

  // Usage map rows: u8 kind; inline: u32 first page and a bitmap; reference: u32 page numbers.
  std::uint16_t map_row_bytes = 69;        // the length new map rows get; longer ones occur
  std::uint16_t map_page_bits_offset = 4;  // in a bitmap page
  std::uint32_t map_page_bits = 32736;     // bits of a bitmap page

  // Long values. Inline values beside 12 bytes of reference; one row; chain pieces with 4 bytes of pointer.
  std::uint16_t long_inline_max = 64;    // from other writers; Access was seen to use up to 56
  std::uint16_t long_single_max = 4076;  // one LVAL row, by itself on its page at most
  std::uint16_t long_piece_bytes =
      4076;  // a chain piece, its pointer included: full pieces in Access's files

  // Text is UTF-16 with optional compression (else the code page of the header, uncompressed).
  bool unicode = true;
  // Longest text that is compressed, in UTF-16 units (from other writers; Access was seen to obey it).
  std::uint16_t compress_max_units = 1024;

  // Definition block at the start of a tdef.
  std::uint16_t tdef_length_offset = 8;
  std::uint16_t tdef_row_count_offset = 16;
  std::uint16_t tdef_auto_number_offset = 20;
  std::uint16_t tdef_complex_id_offset = 28;  // last complex id; ACE only
  std::uint16_t tdef_type_offset = 40;
  std::uint16_t tdef_max_columns_offset = 41;
  std::uint16_t tdef_variable_columns_offset = 43;
  std::uint16_t tdef_columns_offset = 45;
  std::uint16_t tdef_logical_indexes_offset = 47;
  std::uint16_t tdef_real_indexes_offset = 51;
  std::uint16_t tdef_owned_map_offset = 55;
  std::uint16_t tdef_free_map_offset = 59;
  std::uint16_t tdef_counters_offset = 63;
  std::uint16_t tdef_counter_bytes = 12;         // per real index
  std::uint16_t tdef_distinct_count_offset = 4;  // within the counter block
  // Column descriptor.
  std::uint16_t column_bytes = 25;
  std::uint16_t column_number_offset = 5;
  std::uint16_t column_variable_offset = 7;
  std::uint16_t column_ordinal_offset = 9;
  std::uint16_t column_collation_offset = 11;     // u16 LCID; or precision, scale
  std::uint16_t column_precision_offset = 11;     // of Decimal: u8 precision, u8 scale
  std::uint16_t column_sort_version_offset = 14;  // not in Jet 3
  std::uint16_t column_flags_offset = 15;
  std::uint16_t column_ext_flags_offset = 16;  // not in Jet 3
  std::uint16_t column_fixed_offset = 21;
  std::uint16_t column_length_offset = 23;
  // Real index block.
  std::uint16_t real_index_bytes = 52;
  std::uint16_t real_index_columns_offset = 4;  // 10 times u16 column number, u8 ascending
  std::uint16_t real_index_map_offset = 34;
  std::uint16_t real_index_root_offset = 38;
  std::uint16_t real_index_flags_offset = 46;
  // Logical index block.
  std::uint16_t logical_index_bytes = 28;
  std::uint16_t logical_index_number_offset = 4;
  std::uint16_t logical_index_real_offset = 8;
  std::uint16_t logical_index_side_offset = 12;
  std::uint16_t logical_index_partner_offset = 13;
  std::uint16_t logical_index_table_offset = 17;
  std::uint16_t logical_index_cascade_updates_offset = 21;
  std::uint16_t logical_index_cascade_deletes_offset = 22;
  std::uint16_t logical_index_kind_offset = 23;
};

// Limits that hold in every version.
inline constexpr std::size_t kMaxNameCharacters = 64;
inline constexpr std::size_t kMaxColumns = 255;  // numbers of dropped columns count too
inline constexpr std::size_t kMaxIndexes = 32;
inline constexpr std::size_t kMaxIndexColumns = 10;
inline constexpr std::size_t kMaxTextCharacters = 255;
inline constexpr std::size_t kMaxBinaryBytes = 510;
inline constexpr std::uint32_t kMaxLongValueBytes = 0x3FFFFFFF;  // the length field has 30 bits

// Page types: byte 0 of a page.
inline constexpr std::uint8_t kPageHeader = 0;
inline constexpr std::uint8_t kPageData = 1;  // rows, long values, or usage maps
inline constexpr std::uint8_t kPageTdef = 2;
inline constexpr std::uint8_t kPageIndexNode = 3;
inline constexpr std::uint8_t kPageIndexLeaf = 4;
inline constexpr std::uint8_t kPageMapBits = 5;
inline constexpr std::uint8_t kPageFreedTdef = 8;  // Access marks released pages so
inline constexpr std::uint8_t kPageFreedData = 9;

// Row slots.
inline constexpr std::uint16_t kSlotOffsetMask = 0x1FFF;
inline constexpr std::uint16_t kSlotDeleted = 0x8000;  // alone: the body of a moved row
inline constexpr std::uint16_t kSlotPointer = 0x4000;  // 4 bytes that lead to the body; with 0x8000: deleted

// Owner field of long-value pages: the letters LVAL.
inline constexpr std::uint32_t kLongValueOwner = 0x4C41564C;

const FormatInfo& GetFormatInfo(Format format);

// The version of that byte 0x14, or null. (4, said to be Access 2013, is not among them.)
const FormatInfo* FindFormatByVersionByte(std::uint8_t version_byte);

// Whether it is one of the types of types.h; other codes occur.
bool IsKnownType(ColumnType type);

// Bytes that a fixed column of that type takes in a row; 0 for types that cannot be fixed or take none.
inline constexpr std::uint16_t FixedBytes(ColumnType type) {
  switch (type) {
    case ColumnType::kByte:
      return 1;
    case ColumnType::kInteger:
      return 2;
    case ColumnType::kLong:
    case ColumnType::kSingle:
    case ColumnType::kComplex:
      return 4;
    case ColumnType::kCurrency:
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
    case ColumnType::kBigInt:
      return 8;
    case ColumnType::kGuid:
      return 16;
    case ColumnType::kDecimal:
      return 17;
    case ColumnType::kDateTimeExtended:
      return 42;
    case ColumnType::kBoolean:  // lives in the null mask
    case ColumnType::kBinary:
    case ColumnType::kText:
    case ColumnType::kOle:
    case ColumnType::kMemo:
      break;
  }
  return 0;
}

}  // namespace jet
