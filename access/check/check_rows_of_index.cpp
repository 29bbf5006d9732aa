// Rows against index entries.
//
// While the rows are walked the checker adds up a digest of the entries they should have; walking each tree
// adds up a digest of the entries there are. Only where the two differ does a second, slower look find out
// which row or entry is wrong. So a sound file costs one walk over its rows and one over each tree, and no
// memory per row.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "access/check/check_table.h"
#include "access/index/index_tree.h"
#include "access/store/data_page.h"
#include "access/store/usage_map.h"

namespace jet {
namespace {

constexpr std::size_t kExplained = 10;  // wrong rows and entries told per index

std::uint64_t Mix(std::uint64_t a, std::uint64_t b) {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a ^ 0x9E3779B97F4A7C15u) * (b ^ 0xD1B54A32D192ED03u);
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

}  // namespace

void TableChecker::Digest::Add(std::string_view key, RowId row) {
  std::uint64_t x = Mix(key.size(), row.packed);
  std::uint64_t y = Mix(row.packed, ~x);
  while (!key.empty()) {
    std::uint64_t word = 0;
    const std::size_t take = std::min<std::size_t>(8, key.size());
    std::memcpy(&word, key.data(), take);
    key.remove_prefix(take);
    x = Mix(x, word);
    y = Mix(y + word, x);
  }
  ++count;
  a += x;
  b += y;
}

const Value& TableChecker::IndexedValue(std::size_t column, const RowView& row) {
  if (has_value_[column]) return values_[column];
  const ColumnDef& c = definition_.def.columns[column];
  Bytes raw;
  if (InMask(c)) {
    values_[column] = Value::Integer(row.MaskBit(c.number) ? -1 : 0);
  } else if (!row.Raw(c, &raw)) {
    values_[column] = Value::Null();
  } else if (c.type == ColumnType::kDateTimeExtended) {
    // Its key is made of the stored bytes.
    values_[column] = Value::Text(std::string(raw.begin(), raw.end()));
  } else {
    values_[column] = DecodeValue(context_.store, c, raw, row);
  }
  has_value_[column] = true;
  return values_[column];
}

bool TableChecker::BuildKey(std::size_t index, const RowView& row, std::string* key, bool* has_null) {
  const IndexDef& def = definition_.def.indexes[index];
  const IndexState& state = indexes_[index];
  key->clear();
  bool all_null = true;
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    if (!state.by_key) {
      const ColumnDef& c = definition_.def.columns[def.columns[i].column];
      Bytes raw;
      const bool null = !InMask(c) && !row.Raw(c, &raw);
      *has_null = *has_null || null;
      all_null = all_null && null;
      continue;
    }
    const Value& value = IndexedValue(def.columns[i].column, row);
    *has_null = *has_null || value.is_null();
    all_null = all_null && value.is_null();
    AppendKey(state.columns[i], value, key);
  }
  return !(def.ignore_nulls && all_null);
}

void TableChecker::CheckIndex(std::size_t index) {
  const IndexDef& def = definition_.def.indexes[index];
  IndexState& state = indexes_[index];
  std::string last_key;
  std::uint64_t distinct = 0;
  bool duplicate = false;
  std::vector<Finding> findings;
  const IndexTreeReport report = CheckIndexTree(
      context_.pages, def.root, tdef_page_, context_.format.jet3,
      [&](std::string_view key, RowId row) {
        state.entries.Add(state.by_key ? key : std::string_view(), row);
        if (distinct > 0 && key == last_key) {
          const bool exempt = !def.primary && !def.required && key == state.null_key;
          if (def.unique && !exempt && !duplicate) {
            duplicate = true;
            sink_.Fatal(row.page(),
                        fmt::format("Two rows have the same key in {}, which is unique; one is at {}.",
                                    IndexName(index), RowPlace(row)));
          }
          return;
        }
        ++distinct;
        last_key = key;
      },
      &findings);
  for (Finding& finding : findings) {
    finding.text = fmt::format("In {}: {}", IndexName(index), finding.text);
    sink_.Add(std::move(finding));
  }

  std::vector<PageNo> tree = report.pages;
  std::sort(tree.begin(), tree.end());
  for (const PageNo page : tree) context_.claims.Claim(page, PageUse::kIndex, number_);
  const std::vector<PageNo> listed =
      ClaimMap(context_, definition_.layout.index_maps[index], number_, IndexName(index));
  for (const PageNo page : tree) {
    if (!std::binary_search(listed.begin(), listed.end(), page)) {
      sink_.Fatal(page, fmt::format("Page {} of {} is missing in its page map.", page, IndexName(index)));
    }
  }
  if (report.complete) {
    std::size_t extra = 0;
    for (const PageNo page : listed) {
      if (!std::binary_search(tree.begin(), tree.end(), page)) ++extra;
    }
    if (extra > 0) {
      sink_.Untidy(def.root, fmt::format("The page map of {} lists {} pages that its tree does not use.",
                                         IndexName(index), extra));
    }
  }

  if (!(state.rows == state.entries)) ExplainIndex(index);
  if (report.complete && !context_.database.has_changes()) {
    const std::uint32_t stored = LoadLe<std::uint32_t>(reinterpret_cast<const std::uint8_t*>(stream_.data()) +
                                                       definition_.layout.distinct_count_offsets[index]);
    if (stored < distinct) {
      sink_.Untidy(tdef_page_, fmt::format("{} has {} different keys and says that it has {}.",
                                           IndexName(index), distinct, stored));
    }
  }
}

std::optional<RowView> TableChecker::LiveRow(RowId id, PageRef* page) {
  if (!Owns(id.page())) return std::nullopt;
  *page = context_.pages.Read(id.page());
  if (!IsDataPageOf(page->data(), tdef_page_) || id.slot() >= SlotCount(context_.format, page->data())) {
    return std::nullopt;
  }
  const RowSlot slot = ReadSlot(context_.format, page->data(), id.page(), id.slot());
  if ((slot.flags & kSlotDeleted) != 0) return std::nullopt;
  if (slot.moved()) return FollowPointer(id.page(), id.slot(), page, false);
  return RowView::Parse(row_format_, page->bytes().subspan(slot.start, slot.length()), id.page(), slot.start);
}

// Finds out which entries and rows do not belong together.
void TableChecker::ExplainIndex(std::size_t index) {
  const IndexDef& def = definition_.def.indexes[index];
  std::size_t told = 0;
  const auto tell = [&](PageNo page, std::string text) {
    if (++told <= kExplained) sink_.Fatal(page, std::move(text));
  };
  std::vector<std::uint32_t> seen;
  std::vector<Finding> ignored;
  CheckIndexTree(
      context_.pages, def.root, tdef_page_, context_.format.jet3,
      [&](std::string_view key, RowId id) {
        seen.push_back(id.packed);
        try {
          PageRef page;
          const std::optional<RowView> row = LiveRow(id, &page);
          if (!row) {
            tell(id.page(), fmt::format("An entry of {} leads to {}, where there is no row.",
                                        IndexName(index), RowPlace(id)));
            return;
          }
          std::fill(has_value_.begin(), has_value_.end(), false);
          bool has_null = false;
          const bool expected = BuildKey(index, *row, &key_, &has_null);
          if (!expected || (indexes_[index].by_key && key_ != key)) {
            tell(id.page(), fmt::format("An entry of {} does not have the key of the row at {}.",
                                        IndexName(index), RowPlace(id)));
          }
        } catch (const Error& error) {
          if (error.is_obstacle()) throw;
          // Rows that cannot be read have been told.
        }
      },
      &ignored);
  std::sort(seen.begin(), seen.end());
  for (auto twice = std::adjacent_find(seen.begin(), seen.end()); twice != seen.end();
       twice = std::adjacent_find(std::upper_bound(twice, seen.end(), *twice), seen.end())) {
    const RowId id = RowId::FromPacked(*twice);
    tell(id.page(), fmt::format("The row at {} has two entries in {}.", RowPlace(id), IndexName(index)));
  }
  ForEachRow(false, [&](RowId id, const RowView& row) {
    std::fill(has_value_.begin(), has_value_.end(), false);
    bool has_null = false;
    if (BuildKey(index, row, &key_, &has_null) && !std::binary_search(seen.begin(), seen.end(), id.packed)) {
      tell(id.page(), fmt::format("The row at {} has no entry in {}.", RowPlace(id), IndexName(index)));
    }
  });
  if (told == 0)
    tell(def.root, fmt::format("The entries of {} do not agree with the rows.", IndexName(index)));
  if (told > kExplained) {
    sink_.Fatal(def.root, fmt::format("{} further rows or entries of {} are wrong.", told - kExplained,
                                      IndexName(index)));
  }
}

}  // namespace jet
