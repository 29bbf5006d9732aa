#include "access/store/long_value.h"

#include <algorithm>
#include <vector>

namespace jet {
namespace {

constexpr std::uint32_t kLengthMask = 0x3FFFFFFF;
constexpr std::uint32_t kInline = 2;
constexpr std::uint32_t kSingle = 1;
constexpr std::uint32_t kChain = 0;

struct Reference {
  std::uint32_t length = 0;
  std::uint32_t kind = kInline;
  RowPointer first;
};

Reference ParseReference(Bytes raw, const RowView& place) {
  if (raw.size() < kLongReferenceBytes) {
    ThrowCorrupt("the reference to a long value is cut short", place.page, place.offset);
  }
  const auto word = LoadLe<std::uint32_t>(raw.data());
  Reference r{word & kLengthMask, word >> 30, LoadPointer(raw.data() + 4)};
  if (r.kind > kInline) ThrowCorrupt("a long value is of an unknown kind", place.page, place.offset);
  if (r.kind == kInline && r.length > raw.size() - kLongReferenceBytes) {
    ThrowCorrupt("a long value runs past its row", place.page, place.offset);
  }
  return r;
}

// One LVAL row. `page` keeps its bytes in place.
Bytes ReadPiece(StoreContext& context, RowPointer where, PageRef* page) {
  *page = context.pages.Read(where.page);
  if (!IsDataPageOf(page->data(), kLongValueOwner)) {
    ThrowCorrupt("it should hold long values", where.page, 4);
  }
  const RowSlot slot = ReadSlot(context.format, page->data(), where.page, where.row);
  if (slot.flags != 0) ThrowCorrupt("a long value has been deleted", where.page, slot.start);
  return page->bytes().subspan(slot.start, slot.length());
}

// Calls `use(piece row, content bytes that count)` for each piece in turn.
template <typename Use>
void WalkPieces(StoreContext& context, const Reference& reference, Use use) {
  PageRef page;
  RowPointer at = reference.first;
  if (reference.length == 0 && at.page == 0) return;
  if (reference.kind == kSingle) {
    const Bytes row = ReadPiece(context, at, &page);
    if (row.size() < reference.length) ThrowCorrupt("a long value is cut short", at.page);
    use(at, row.first(reference.length));
    return;
  }
  // Each piece brings at least a byte, so that a chain that loops comes to an end.
  std::uint32_t left = reference.length;
  while (left > 0) {
    if (at.page == 0) ThrowCorrupt("the file ends a long value before its length", reference.first.page);
    const Bytes row = ReadPiece(context, at, &page);
    if (row.size() <= 4) ThrowCorrupt("a piece of a long value is empty", at.page);
    const RowPointer next = LoadPointer(row.data());
    const auto take = std::min<std::uint32_t>(left, row.size() - 4);
    use(at, row.subspan(4, take));
    left -= take;
    at = next;
  }
}

}  // namespace

Bytes ReadLongValue(StoreContext& context, Bytes raw, const RowView& place, std::string* buffer) {
  if (raw.empty()) return raw;
  const Reference reference = ParseReference(raw, place);
  if (reference.kind == kInline) return raw.subspan(kLongReferenceBytes, reference.length);
  // A damaged chain that loops must not fill the memory first: it cannot be longer than the file.
  if (reference.length > std::uint64_t{context.pages.page_count()} * context.format.page_size) {
    ThrowCorrupt("a long value claims to be longer than the file", place.page, place.offset);
  }
  buffer->clear();
  WalkPieces(context, reference, [&](RowPointer, Bytes content) {
    buffer->append(reinterpret_cast<const char*>(content.data()), content.size());
  });
  return {reinterpret_cast<const std::uint8_t*>(buffer->data()), buffer->size()};
}

void AppendInlineReference(Bytes content, std::string* raw) {
  const std::size_t start = raw->size();
  raw->resize(start + kLongReferenceBytes, '\0');
  StoreLe<std::uint32_t>(reinterpret_cast<std::uint8_t*>(raw->data()) + start,
                         content.size() | kInline << 30);
  raw->append(reinterpret_cast<const char*>(content.data()), content.size());
}

void LongValueStore::Write(Bytes content, std::uint8_t* reference) {
  const FormatInfo& format = context_.format;
  const std::uint32_t length = content.size();
  RowPointer first;
  std::uint32_t kind = kSingle;
  if (length <= format.long_single_max) {
    const RowSpace::Place place = space_.Add(length, 0);
    std::copy(content.begin(), content.end(), place.bytes);
    first = {place.page.page_no(), place.slot};
  } else {
    kind = kChain;
    // From the end to the beginning, so that each piece knows the next one. All but the last are full.
    const std::uint32_t per_piece = format.long_piece_bytes - 4u;
    std::uint32_t at = (length - 1) / per_piece * per_piece;
    for (;;) {
      const std::uint32_t size = std::min(per_piece, length - at);
      const RowSpace::Place place = space_.Add(
          size + 4, 0, size == per_piece ? RowSpace::Where::kFreshPage : RowSpace::Where::kAnywhere);
      StorePointer(place.bytes, first);
      std::copy_n(content.begin() + at, size, place.bytes + 4);
      first = {place.page.page_no(), place.slot};
      if (at == 0) break;
      at -= per_piece;
    }
  }
  StoreLe<std::uint32_t>(reference, length | kind << 30);
  StorePointer(reference + 4, first);
  StoreLe<std::uint32_t>(reference + 8, 0);
}

void LongValueStore::Free(Bytes raw, const RowView& place) {
  if (raw.empty()) return;
  const Reference reference = ParseReference(raw, place);
  if (reference.kind == kInline) return;
  std::vector<RowPointer> rows;
  WalkPieces(context_, reference, [&](RowPointer row, Bytes) { rows.push_back(row); });
  for (const RowPointer row : rows) FreeRow(row);
}

void LongValueStore::FreeRow(RowPointer row) {
  const MutablePageRef page = context_.pages.Write(row.page);
  if (!IsDataPageOf(page.data(), kLongValueOwner)) {
    ThrowCorrupt("two pieces of a long value are one", row.page, 4);
  }
  DeleteRow(context_.format, page.mutable_data(), row.page, row.row);
  if (IsEmptyDataPage(context_.format, page.data())) {
    space_.Drop(row.page);
    context_.allocator.Free(row.page);
  } else {
    space_.NoteRoom(row.page, page.data());
  }
}

}  // namespace jet
