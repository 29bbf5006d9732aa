// Table definitions ("tdefs"): the bytes that say what columns and indexes a table has.
//
// A definition is one stream of bytes, kept on a chain of pages. The first page counts whole, of the
// following ones the bytes from 8 on:
//
//   page: 02 01, u16 free bytes minus 8, u32 next page of the chain (0: last)
//   stream (from its very beginning, the first page's header included):
//     definition block (63 bytes, Jet 3 43): length, row count, autonumber, numbers of columns and indexes,
//     maps per real index    counters: entries at the last compaction, distinct keys, 0 per column        a
//     descriptor, then all their names per real index    key columns, page map, root page, flags per logical
//     index number, real index, relationship partner, kind; then all their names per long column   column
//     number, two map pointers; FF FF ends the list
//
// RawTdef is that stream cut into its parts. Changing a definition means changing parts of it and joining
// them again, so that everything not understood stays as it was. (The files of Access hold arbitrary bytes in
// unused fields.)
#pragma once

#include <string>
#include <vector>

#include "access/store/format.h"
#include "access/store/layout.h"

namespace jet {

struct RawTdef {
  // A descriptor or block of fixed size, with the bytes of its name as stored (without their length).
  struct Named {
    std::string block;
    std::string name;
  };
  std::string block;
  std::vector<std::string> counters;
  std::vector<Named> columns;
  std::vector<std::string> real_indexes;
  std::vector<Named> logical_indexes;
  std::vector<std::string> long_columns;  // 10 bytes each
};

struct LogicalIndex {
  enum Kind : std::uint8_t { kOrdinary = 0, kPrimary = 1, kForeign = 2 };
  std::string name;
  std::int32_t number = 0;
  std::uint32_t real = 0;  // position in TableDef::indexes
  std::uint8_t kind = kOrdinary;
  // Of a foreign kind: the other table, the number of its logical index, and 1 when this table is the one
  // referred to, 2 when it refers.
  PageNo partner_table = 0;
  std::int32_t partner_index = -1;
  std::uint8_t side = 0;
  bool cascades_updates = false, cascades_deletes = false, sets_null = false;
};

struct Definition {
  TableDef def;
  TableLayout layout;
  std::vector<LogicalIndex> logical_indexes;
  bool core_system = false;  // type byte 0x53: one of the four core tables
};

// What a definition needs to know of its file.
struct DefinitionContext {
  const FormatInfo& format;
  // The file's default text order, for columns that name none.
  std::uint16_t lcid = 1033;
  std::uint8_t sort_version = 0;
};

// The stream of the definition that begins on `page`; `chain` receives its pages. kCorrupt on a page of
// another type, a chain that loops, a length that the chain does not hold.
std::string ReadTdefStream(PageStore& pages, const FormatInfo& format, PageNo page,
                           std::vector<PageNo>* chain);

// kCorrupt when the parts do not fit the stream; `page` is for the message.
RawTdef SplitTdef(const std::string& stream, const FormatInfo& format, PageNo page);

// What the parts mean. kCorrupt on numbers that contradict each other.
Definition InterpretTdef(const RawTdef& raw, const DefinitionContext& context, PageNo page);

// All three together. The definition's name stays empty: only the catalog knows it.
Definition ReadDefinition(PageStore& pages, const DefinitionContext& context, PageNo page);

}  // namespace jet
