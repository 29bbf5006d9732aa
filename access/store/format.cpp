#include "access/store/format.h"

namespace jet {
namespace {

constexpr std::string_view kJetName = "Standard Jet DB";
constexpr std::string_view kAceName = "Standard ACE DB";

constexpr FormatInfo MakeJet3() {
  FormatInfo f;
  f.format = Format::kJet3;
  f.name = "Access 97";
  f.engine_name = kJetName;
  f.version_byte = 0;
  f.jet3 = true;
  f.page_size = 2048;
  f.max_file_bytes = std::uint64_t{1} << 30;
  f.masked_bytes = 126;
  f.sort_order_offset = 0x3A;
  f.password_bytes = 20;
  f.commit_bytes_offset = 0x600;
  f.data_slot_count_offset = 8;
  f.data_slots_offset = 10;
  f.max_row_bytes = 2012;  // from other readers' sources
  f.map_row_bytes = 133;
  f.map_page_bits = 16352;
  f.long_single_max = 2034;  // not seen; Jet 3 files are only read
  f.long_piece_bytes = 2034;
  f.unicode = false;
  f.tdef_row_count_offset = 12;
  f.tdef_auto_number_offset = 16;
  f.tdef_complex_id_offset = 0;
  f.tdef_type_offset = 20;
  f.tdef_max_columns_offset = 21;
  f.tdef_variable_columns_offset = 23;
  f.tdef_columns_offset = 25;
  f.tdef_logical_indexes_offset = 27;
  f.tdef_real_indexes_offset = 31;
  f.tdef_owned_map_offset = 35;
  f.tdef_free_map_offset = 39;
  f.tdef_counters_offset = 43;
  f.tdef_counter_bytes = 8;
  f.column_bytes = 18;
  f.column_number_offset = 1;
  f.column_variable_offset = 3;
  f.column_ordinal_offset = 5;
  f.column_collation_offset = 9;
  f.column_sort_version_offset = 0;
  f.column_flags_offset = 13;
  f.column_ext_flags_offset = 0;
  f.column_fixed_offset = 14;
  f.column_length_offset = 16;
  f.real_index_bytes = 39;
  f.real_index_columns_offset = 0;
  f.real_index_map_offset = 30;
  f.real_index_root_offset = 34;
  f.real_index_flags_offset = 38;
  f.logical_index_bytes = 20;
  f.logical_index_number_offset = 0;
  f.logical_index_real_offset = 4;
  f.logical_index_side_offset = 8;
  f.logical_index_partner_offset = 9;
  f.logical_index_table_offset = 13;
  f.logical_index_cascade_updates_offset = 17;
  f.logical_index_cascade_deletes_offset = 18;
  f.logical_index_kind_offset = 19;
  return f;
}

constexpr FormatInfo MakeJet4() {
  FormatInfo f;
  f.format = Format::kJet4;
  f.name = "Access 2000-2003";
  f.engine_name = kJetName;
  f.version_byte = 1;
  return f;
}

// The ACE versions were never seen to differ from Jet 4 in any structure. The default collation is that of
// files that the Access of that year makes; each file and column says its own.
constexpr FormatInfo MakeAce(Format format, std::string_view name, std::uint8_t version_byte,
                             std::uint8_t sort_version) {
  FormatInfo f;
  f.format = format;
  f.name = name;
  f.engine_name = kAceName;
  f.version_byte = version_byte;
  f.ace = true;
  f.default_sort_version = sort_version;
  return f;
}

constexpr FormatInfo kFormats[] = {
    MakeJet3(),
    MakeJet4(),
    MakeAce(Format::kAce12, "Access 2007", 2, 0),
    MakeAce(Format::kAce14, "Access 2010", 3, 1),
    MakeAce(Format::kAce16, "Access 2016", 5, 1),
    MakeAce(Format::kAce17, "Access 2019", 6, 1),
};

}  // namespace

const FormatInfo& GetFormatInfo(Format format) { return kFormats[static_cast<int>(format)]; }

const FormatInfo* FindFormatByVersionByte(std::uint8_t version_byte) {
  for (const FormatInfo& f : kFormats) {
    if (f.version_byte == version_byte) return &f;
  }
  return nullptr;
}

bool IsKnownType(ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kCurrency:
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kDateTime:
    case ColumnType::kBinary:
    case ColumnType::kText:
    case ColumnType::kOle:
    case ColumnType::kMemo:
    case ColumnType::kGuid:
    case ColumnType::kDecimal:
    case ColumnType::kComplex:
    case ColumnType::kBigInt:
    case ColumnType::kDateTimeExtended:
      return true;
  }
  return false;
}

}  // namespace jet
