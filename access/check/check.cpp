// The whole-file part of the check: header, map of free pages, catalog, relationships, pages that nobody
// uses. Tables are checked one after the other in check_table.cpp.
//
// What Access itself leaves untidy is not fatal: pages that are neither used nor free, stale row counts,
// moved rows and long values that nothing leads to, separators greater than what is left below them.
#include "access/check/check.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "access/check/check_context.h"
#include "access/check/check_table.h"
#include "access/file/page_view.h"
#include "access/store/catalog.h"
#include "access/store/data_page.h"
#include "access/store/names.h"
#include "access/store/usage_map.h"

namespace jet {
namespace {

// The file as its pages stand in the cache, for the reader of the header.
class CachedFile final : public PageView {
 public:
  using PageView::PageView;
  void Read(std::uint64_t offset, MutableBytes out) override {
    const std::uint32_t size = pages_.page_size();
    for (std::size_t i = 0; i < out.size();) {
      const PageRef page = pages_.Read((offset + i) / size);
      const std::size_t from = (offset + i) % size;
      const std::size_t count = std::min(out.size() - i, size - from);
      std::copy_n(page.data() + from, count, out.data() + i);
      i += count;
    }
  }
};

struct CatalogObject {
  std::int32_t id = 0;
  std::int32_t parent = 0;
  std::int16_t type = 0;
  std::string name;
  RowId row;
};

class FileChecker {
 public:
  explicit FileChecker(CheckContext& context)
      : context_(context), sink_(context.sink), free_(context.pages.page_count()) {}

  void Run() {
    context_.claims.Claim(0, PageUse::kHeader, 0);
    context_.claims.Claim(1, PageUse::kGlobalMap, 0);
    if (context_.header.unfinished_write) {
      sink_.Untidy(0, "The commit bytes of the header show a write that was not finished.");
    }
    sink_.Guard(1, [&] { ReadGlobalMap(); });
    TableChecker objects(context_, context_.header.objects, "MSysObjects");
    if (objects.ReadDefinition()) {
      sink_.Guard(context_.header.objects, [&] { ReadCatalog(objects); });
      CheckTable(objects);
    }
    for (const CatalogObject& object : objects_) {
      if (static_cast<PageNo>(object.id) == context_.header.objects) continue;
      sink_.Guard(object.id, [&] { CheckObject(object, objects); });
    }
    sink_.Guard(context_.header.relationships, [&] { CheckRelationships(); });
    CheckCatalog();
    CheckUnusedPages();
  }

 private:
  void ReadGlobalMap();
  void ReadCatalog(TableChecker& objects);
  void CheckObject(const CatalogObject& object, TableChecker& objects);
  void CheckTable(TableChecker& table);
  void CheckRelationships();
  void CheckCatalog();
  void CheckUnusedPages();

  struct CheckedTable {
    std::string name;
    std::vector<LogicalIndex> indexes;
  };
  struct Relationship {
    std::string name, object, referenced;
  };

  CheckContext& context_;
  FindingSink& sink_;
  std::vector<bool> free_;  // as the global map says
  bool map_read_ = false;
  std::vector<CatalogObject> objects_;
  std::map<PageNo, CheckedTable> tables_;
  bool relationships_read_ = false;
  std::vector<Relationship> relationships_;
  std::set<std::int32_t> rights_;  // objects that MSysACEs names
};

void FileChecker::ReadGlobalMap() {
  const FormatInfo& f = context_.format;
  const RowPointer where = context_.header.global_map;
  if (where.page != 1) ThrowCorrupt("the map of free pages is not where it always is", 0, 0x18);
  const PageRef page = context_.pages.Read(where.page);
  const MapRow map = FindMapRow(f, page.bytes(), where);
  const std::uint8_t* row = page.data() + map.row_offset;
  const std::uint32_t end = free_.size();
  if (!map.reference) {
    // Pages below the base, which other writers raise, count as used.
    const std::uint32_t covered = map.base + map.bits();
    for (std::uint32_t bit = 0; bit < map.bits() && map.base + bit < end; ++bit) {
      free_[map.base + bit] = (row[5 + bit / 8] >> (bit % 8) & 1) != 0;
    }
    if (covered < end) {
      sink_.Fatal(1,
                  fmt::format("The map of free pages ends at page {}, the file has {} pages.", covered, end));
    }
    if (end < covered && end >= map.base &&
        !((row[5 + (end - map.base) / 8] >> ((end - map.base) % 8)) & 1)) {
      sink_.Untidy(1, "The map of free pages calls pages past the end of the file used.");
    }
  } else {
    for (std::uint32_t entry = 0; entry * f.map_page_bits < end; ++entry) {
      if (entry >= map.entries()) {
        sink_.Fatal(1, "The map of free pages does not cover the file.");
        break;
      }
      const PageNo bitmap = LoadLe<std::uint32_t>(row + 1 + 4 * entry);
      const std::uint32_t first = entry * f.map_page_bits;
      const std::uint32_t count = std::min<std::uint32_t>(f.map_page_bits, end - first);
      PageRef bits;
      if (bitmap != 0) {
        if (!context_.claims.Claim(bitmap, PageUse::kMapBits, 0)) continue;
        bits = context_.pages.Read(bitmap);
        if (bits.data()[0] != kPageMapBits) ThrowCorrupt("it should hold the bits of a page map", bitmap, 0);
      }
      for (std::uint32_t bit = 0; bit < count; ++bit) {
        free_[first + bit] =
            bitmap == 0 || (bits.data()[f.map_page_bits_offset + bit / 8] >> (bit % 8) & 1) != 0;
      }
    }
  }
  map_read_ = true;
}

void FileChecker::ReadCatalog(TableChecker& objects) {
  for (const char* column : {"Id", "ParentId", "Name", "Type"}) {
    if (objects.definition().def.FindColumn(column) < 0) {
      ThrowCorrupt(fmt::format("the catalog has no column {}", column), objects.tdef_page());
    }
  }
  objects.ForEachRow(false, [&](RowId id, const RowView& row) {
    CatalogObject object;
    object.row = id;
    object.id = objects.Get(row, "Id").integer();
    object.parent = objects.Get(row, "ParentId").integer();
    object.type = objects.Get(row, "Type").integer();
    object.name = objects.Get(row, "Name").bytes();
    objects_.push_back(std::move(object));
  });
  if (objects_.empty()) sink_.Fatal(objects.tdef_page(), "The catalog has no rows.");
}

void FileChecker::CheckObject(const CatalogObject& object, TableChecker& objects) {
  const PageNo page = object.id;
  const bool inside = object.id > 1 && page < context_.pages.page_count();
  const bool is_definition = inside && context_.pages.Read(page).data()[0] == kPageTdef;
  if (object.type == object_type::kTable) {
    if (!is_definition) {
      sink_.Fatal(inside ? page : Error::kNoPlace,
                  fmt::format("The catalog says that table \"{}\" is defined on page {}, where no table is.",
                              object.name, object.id));
      return;
    }
  } else if (object.type != object_type::kOdbcLink || !is_definition) {
    return;
  }
  TableChecker table(context_, page, object.name);
  if (!table.ReadDefinition()) return;
  sink_.Guard(context_.header.objects, [&] {
    const Value properties = objects.Get(object.row, "LvProp");
    if (!properties.is_null()) table.ApplyProperties(properties.bytes());
  });
  CheckTable(table);
}

void FileChecker::CheckTable(TableChecker& table) {
  table.Check();
  tables_[table.tdef_page()] = {table.name(), table.definition().logical_indexes};
  if (table.tdef_page() == context_.header.relationships) {
    relationships_read_ = true;
    table.ForEachRow(false, [&](RowId, const RowView& row) {
      relationships_.push_back({table.Get(row, "szRelationship").bytes(),
                                NameKey(table.Get(row, "szObject").bytes()),
                                NameKey(table.Get(row, "szReferencedObject").bytes())});
    });
  } else if (table.tdef_page() == context_.header.aces) {
    table.ForEachRow(
        false, [&](RowId, const RowView& row) { rights_.insert(table.Get(row, "ObjectId").integer()); });
  }
}

// Enforced relationships are pairs of foreign indexes that name each other, with a row in MSysRelationships.
void FileChecker::CheckRelationships() {
  std::set<std::pair<std::string, std::string>> stored;
  for (const Relationship& r : relationships_) stored.emplace(r.object, r.referenced);
  for (const auto& [page, table] : tables_) {
    for (const LogicalIndex& index : table.indexes) {
      if (index.kind != LogicalIndex::kForeign) continue;
      const auto partner = tables_.find(index.partner_table);
      const auto points_back = [&, tdef = page](const LogicalIndex& other) {
        return other.number == index.partner_index && other.kind == LogicalIndex::kForeign &&
               other.partner_table == tdef && other.partner_index == index.number;
      };
      if (partner == tables_.end() ||
          std::none_of(partner->second.indexes.begin(), partner->second.indexes.end(), points_back)) {
        sink_.Fatal(page, fmt::format("Relationship index \"{}\" of table \"{}\" has no counterpart.",
                                      index.name, table.name));
        continue;
      }
      if (index.side == 2 && relationships_read_ &&
          stored.count({NameKey(table.name), NameKey(partner->second.name)}) == 0) {
        sink_.Fatal(page, fmt::format("The relationship between tables \"{}\" and \"{}\" is not in "
                                      "MSysRelationships.",
                                      table.name, partner->second.name));
      }
    }
  }
}

void FileChecker::CheckCatalog() {
  std::set<std::int32_t> ids;
  std::set<std::string> relationships;
  for (const Relationship& r : relationships_) relationships.insert(NameKey(r.name));
  for (const CatalogObject& object : objects_) {
    if (!ids.insert(object.id).second) {
      sink_.Fatal(context_.header.objects,
                  fmt::format("Two objects of the catalog have the id {}.", object.id));
    }
    if (object.type == object_type::kRelationship && relationships_read_ &&
        relationships.count(NameKey(object.name)) == 0) {
      sink_.Untidy(context_.header.objects,
                   fmt::format("The catalog lists relationship \"{}\", which does not exist.", object.name));
    }
  }
  std::size_t lost = 0;
  for (const std::int32_t id : rights_) lost += ids.count(id) == 0 ? 1 : 0;
  if (lost > 0) {
    sink_.Untidy(context_.header.aces,
                 fmt::format("MSysACEs has rows for {} objects that do not exist.", lost));
  }
}

void FileChecker::CheckUnusedPages() {
  if (!map_read_) return;
  std::size_t lost = 0;
  PageNo first = 0;
  for (PageNo page = 0; page < context_.claims.page_count(); ++page) {
    const bool used = context_.claims.use(page) != PageUse::kNone;
    if (used && free_[page]) {
      sink_.Fatal(page, fmt::format("Page {} is in use, but the map of free pages calls it free.", page));
    } else if (!used && !free_[page]) {
      if (lost++ == 0) first = page;
      sink_.Guard(page, [&] {
        if (context_.pages.Read(page).data()[0] == kPageTdef) {
          sink_.Untidy(page,
                       fmt::format("Page {} holds a table definition that the catalog does not list.", page));
        }
      });
    }
  }
  if (lost > 0) {
    sink_.Untidy(first,
                 fmt::format("{} pages are neither used nor free; the first is page {}.", lost, first));
  }
}

}  // namespace

std::vector<Finding> CheckDatabase(Database& database) {
  FindingSink sink;
  sink.Guard(0, [&] {
    PageStore& pages = database.pages();
    CachedFile file(pages);
    const FileHeader header = ReadFileHeader(file, database.path());
    const FormatInfo& format = *header.format;
    if (format.page_size != pages.page_size())
      ThrowCorrupt("the header names another version of the file", 0);
    const std::unique_ptr<PageAllocator> allocator = MakePageAllocator(pages, format);
    PageClaims claims(pages.page_count(), sink);
    CheckContext context{database, pages, format, header, {pages, format, *allocator, header.code_page},
                         sink,     claims};
    FileChecker(context).Run();
  });
  return sink.Take();
}

}  // namespace jet
