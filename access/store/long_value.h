// Long values: the content of Memo and OLE columns.
//
// In the row stands a reference of 12 bytes:
//   u32 length in bits 0..29; bits 30..31: 2 inline, 1 one LVAL row, 0 chain of LVAL rows
//   u32 row pointer of the (first) LVAL row
//   u32 0 (some chains of Access hold another number; kept)
// and behind it the content when it is inline. An LVAL row is the content, or, in a chain, a row pointer to
// the next piece and a part of it. LVAL pages are data pages with the owner "LVAL", listed in maps of the
// column.
#pragma once

#include <string>

#include "access/store/row_codec.h"
#include "access/store/row_space.h"

namespace jet {

inline constexpr std::uint32_t kLongReferenceBytes = 12;

// The content behind a reference. Inline content is returned in place, other content through *buffer.
// kCorrupt when a piece is missing, the chain loops or is shorter than the length.
Bytes ReadLongValue(StoreContext& context, Bytes reference, const RowView& place, std::string* buffer);

// An inline reference to `content`, appended to *raw.
void AppendInlineReference(Bytes content, std::string* raw);

// The LVAL rows of one column.
class LongValueStore {
 public:
  LongValueStore(StoreContext& context, const TableLayout::LongColumn& maps)
      : context_(context), space_(context, maps.owned_map, maps.free_map, kLongValueOwner) {}

  // Writes `content` to LVAL rows and stores the 12 bytes that refer to it.
  void Write(Bytes content, std::uint8_t* reference);
  // Deletes the LVAL rows behind a reference; nothing to do for inline content.
  void Free(Bytes reference, const RowView& place);
  void Forget() { space_.Forget(); }
  const UsageMap& owned() const { return space_.owned(); }

 private:
  void FreeRow(RowPointer row);

  StoreContext& context_;
  RowSpace space_;
};

}  // namespace jet
