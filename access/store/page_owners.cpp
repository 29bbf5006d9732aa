// Whose page one is, read from all tables: for the allocator, where the map of free pages looks wrong.
#include <fmt/format.h>

#include "access/store/database_impl.h"
#include "access/store/usage_map.h"

namespace jet {

std::string DatabaseImpl::OwnerOf(PageNo page) {
  if (owners_.empty()) {
    std::vector<std::uint16_t> owners(pages_->page_count());
    std::vector<std::string> names = {"", "the header and the catalog"};
    const auto claim = [&](PageNo claimed) {
      if (claimed < owners.size() && owners[claimed] == 0) owners[claimed] = names.size() - 1;
    };
    const auto claim_map = [&](RowPointer row) {
      if (row.page == 0) return;
      claim(row.page);
      const UsageMap map(context_, row);
      for (const PageNo p : map.BitmapPages()) claim(p);
      for (const PageNo p : map.Pages()) claim(p);
    };
    for (PageNo p = 0; p <= header_.objects; ++p) claim(p);
    {
      const PageRef ref = pages_->Read(header_.global_map.page);
      const MapRow map = FindMapRow(*header_.format, ref.bytes(), header_.global_map);
      for (std::uint32_t i = 0; map.reference && i < map.entries(); ++i) {
        claim(LoadLe<PageNo>(ref.data() + map.row_offset + 1 + 4 * i));
      }
    }
    for (const CatalogEntry& entry : catalog_->List()) {
      const PageNo tdef = entry.id;
      const bool link = entry.type == object_type::kOdbcLink;
      if (entry.type != object_type::kTable && !link) continue;
      if (entry.id < 2 || tdef >= pages_->page_count() || pages_->Read(tdef).data()[0] != kPageTdef) continue;
      if (names.size() < 0xFFFF) names.push_back(fmt::format("table \"{}\"", entry.name));
      std::vector<PageNo> chain;
      ReadTdefStream(*pages_, *header_.format, tdef, &chain);
      for (const PageNo p : chain) claim(p);
      const TableLayout layout = ReadDefinition(*pages_, definition_context(), tdef).layout;
      claim_map(layout.owned_map);
      claim_map(layout.free_map);
      for (const RowPointer row : layout.index_maps) claim_map(row);
      for (const auto& [number, maps] : layout.long_columns) {
        claim_map(maps.owned_map);
        claim_map(maps.free_map);
      }
    }
    owners_ = std::move(owners);
    owner_names_ = std::move(names);
  }
  return page < owners_.size() ? owner_names_[owners_[page]] : std::string();
}

}  // namespace jet
