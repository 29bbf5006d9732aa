// Empty databases, as the engine of Access makes them.
//
//   page 0       header          1      global map and an empty second map
//   pages 2-5    definitions of MSysObjects, MSysACEs, MSysQueries, MSysRelationships
//   page 6       the maps of these four
//   pages 7-13   the roots of their indexes
//   pages 14-15  the first rows of MSysObjects and MSysACEs
//
// ACE files hold ten more system tables, for complex columns, from page 16 on. What only the Access program
// itself adds (containers for forms, navigation pane, ...) is left to it: it does so when it opens the file.
//
// Rights are held by principals, whose identifiers are well-known numbers XORed with two bytes that differ
// from file to file. How those follow from anything else in the file is not known; every file made here has
// the same.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "access/base/calendar.h"
#include "access/file/test_files.h"
#include "access/index/btree.h"
#include "access/store/data_page.h"
#include "access/store/database_impl.h"
#include "access/store/file_kind.h"

namespace jet {
namespace {

using column_flag::kAutoNumber;
using column_flag::kFixed;
using column_flag::kOwner;
using column_flag::kSystem;
using column_flag::kUpdatable;

constexpr std::uint8_t kSystemFixed = kFixed | kUpdatable | kSystem;
constexpr std::uint8_t kSystemVariable = kUpdatable | kSystem;
constexpr std::uint8_t kCoreTable = 0x53;

const std::string kAdmin = "\x47\x66";
const std::string kUsers = "\x46\x66";
const std::string kEngine = "\x46\x64";
const std::string kCreator = "\x46\x63";

ColumnSpec Fixed(const char* name, ColumnType type, std::uint8_t flags = kSystemFixed) {
  ColumnSpec c;
  c.name = name;
  c.type = type;
  c.flags = flags;
  c.length = type == ColumnType::kBoolean ? 1 : FixedBytes(type);
  return c;
}

ColumnSpec Variable(const char* name, ColumnType type, std::uint8_t flags = kSystemVariable) {
  ColumnSpec c;
  c.name = name;
  c.type = type;
  c.flags = flags;
  c.length = c.is_long() ? 0 : kMaxBinaryBytes;
  return c;
}

TableSpec CoreTable(std::vector<ColumnSpec> columns, std::vector<IndexSpec> indexes) {
  TableSpec spec;
  spec.type = kCoreTable;
  spec.columns = std::move(columns);
  spec.descriptors_by_name = true;
  spec.indexes = std::move(indexes);
  AssignPlaces(&spec.columns);
  return spec;
}

std::vector<TableSpec> CoreTables() {
  using enum ColumnType;
  return {
      CoreTable({Fixed("Id", kLong), Fixed("ParentId", kLong), Variable("Name", kText),
                 Fixed("Type", kInteger), Fixed("DateCreate", kDateTime), Fixed("DateUpdate", kDateTime),
                 Variable("Owner", kBinary, kSystemVariable | kOwner), Fixed("Flags", kLong),
                 Variable("Database", kMemo), Variable("Connect", kMemo), Variable("ForeignName", kText),
                 Variable("RmtInfoShort", kBinary), Variable("RmtInfoLong", kOle), Variable("Lv", kOle),
                 Variable("LvProp", kOle), Variable("LvModule", kOle), Variable("LvExtra", kOle)},
                {{"ParentIdName", {{1, false}, {2, false}}, 0x81, false}, {"Id", {{0, false}}, 0x81, true}}),
      CoreTable({Fixed("ObjectId", kLong), Variable("SID", kBinary, kSystemVariable | kOwner),
                 Fixed("ACM", kLong), Fixed("FInheritable", kBoolean)},
                {{"ObjectId", {{0, false}}, 0x88, false}}),
      CoreTable({Fixed("ObjectId", kLong), Fixed("Attribute", kByte), Variable("Order", kBinary),
                 Variable("Name1", kText), Variable("Name2", kText), Variable("Expression", kMemo),
                 Fixed("Flag", kInteger), Fixed("LvExtra", kLong)},
                {{"ObjectIdAttribute", {{0, false}, {1, false}, {2, false}}, 0x81, true}}),
      CoreTable({Variable("szRelationship", kText), Fixed("grbit", kLong), Fixed("ccolumn", kLong),
                 Fixed("icolumn", kLong), Variable("szObject", kText), Variable("szColumn", kText),
                 Variable("szReferencedObject", kText), Variable("szReferencedColumn", kText)},
                {{"szRelationship", {{0, false}}, 0x82, false},
                 {"szObject", {{4, false}}, 0x82, false},
                 {"szReferencedObject", {{6, false}}, 0x82, false}}),
  };
}

struct NamedTable {
  const char* name;
  std::uint32_t flags;
  TableSpec spec;
};

// The tables that ACE keeps for complex columns, as they stand in files that Access made.
std::vector<NamedTable> ComplexTables() {
  using enum ColumnType;
  constexpr std::uint32_t kComplexTypeTable = 0x80030000;
  constexpr std::uint8_t kAttachmentExt = 0x10;
  std::vector<NamedTable> tables;
  const auto add = [&](const char* name, std::uint32_t flags, std::vector<ColumnSpec> columns,
                       std::vector<IndexSpec> indexes) {
    TableSpec spec;
    spec.columns = std::move(columns);
    spec.descriptors_by_name = true;
    spec.indexes = std::move(indexes);
    AssignPlaces(&spec.columns);
    tables.push_back({name, flags, std::move(spec)});
  };
  add("MSysComplexColumns", kSystemObject,
      {Variable("ColumnName", kText), Fixed("ComplexTypeObjectID", kLong), Fixed("FlatTableID", kLong),
       Fixed("ConceptualTableID", kLong), Fixed("ComplexID", kLong, kSystemFixed | kAutoNumber)},
      {{"IdxID", {{4, false}}, 0x8B, true},
       {"IdxConceptualTableID", {{3, false}}, 0x8A, false},
       {"IdxFlatTableID", {{2, false}}, 0x8A, false}});
  constexpr std::pair<const char*, ColumnType> kFixedTypes[] = {
      {"MSysComplexType_UnsignedByte", kByte}, {"MSysComplexType_Short", kInteger},
      {"MSysComplexType_Long", kLong},         {"MSysComplexType_IEEESingle", kSingle},
      {"MSysComplexType_IEEEDouble", kDouble}, {"MSysComplexType_GUID", kGuid}};
  for (const auto& [name, type] : kFixedTypes) {
    add(name, kComplexTypeTable, {Fixed("Value", type, kFixed | kUpdatable)}, {});
  }
  ColumnSpec decimal = Variable("Value", kDecimal, kUpdatable);
  decimal.precision = 18;
  decimal.length = 9;
  add("MSysComplexType_Decimal", kComplexTypeTable, {decimal}, {});
  add("MSysComplexType_Text", kComplexTypeTable, {Variable("Value", kText, kUpdatable)}, {});
  std::vector<ColumnSpec> attachment = {Variable("FileURL", kMemo, kUpdatable),
                                        Variable("FileName", kText, kUpdatable),
                                        Variable("FileType", kText, kUpdatable),
                                        Variable("FileData", kOle, kUpdatable),
                                        Fixed("FileTimeStamp", kDateTime, kFixed | kUpdatable),
                                        Fixed("FileFlags", kLong, kFixed | kUpdatable)};
  for (ColumnSpec& c : attachment) c.ext_flags = kAttachmentExt;
  add("MSysComplexType_Attachment", kComplexTypeTable, attachment, {});
  return tables;
}

// Pages 0 and 1: what the allocator needs before it can give out the others.
void MakeFirstPages(PageStore& pages, const FormatInfo& format, double created) {
  const std::vector<std::uint8_t> header = MakeHeaderPage(format, created);
  std::copy(header.begin(), header.end(), pages.Append().mutable_data());

  const MutablePageRef maps = pages.Append();
  std::uint8_t* p = maps.mutable_data();
  InitDataPage(format, maps.mutable_bytes(), 1);
  AppendRow(format, p, 1, format.map_row_bytes, 0);
  AppendRow(format, p, 1, format.map_row_bytes, 0);
  for (const unsigned slot : {0u, 1u}) {
    std::uint8_t* row = p + ReadSlot(format, p, 1, slot).start;
    std::memset(row, 0, format.map_row_bytes);
    if (slot == 1) continue;
    // Free is 1, also past the end of the file; pages 0 and 1 are not.
    std::memset(row + 5, 0xFF, format.map_row_bytes - 5u);
    row[5] = 0xFC;
  }
}

void MakeCoreTables(StoreContext& context, const DefinitionContext& definition) {
  const std::vector<TableSpec> tables = CoreTables();
  std::vector<std::vector<PageNo>> chains;
  for (std::size_t i = 0; i < tables.size(); ++i) chains.push_back({context.allocator.Allocate().page_no()});
  PageNo map_page = 0;
  for (std::size_t i = 0; i < tables.size(); ++i) {
    RawTdef raw =
        MakeTdef(tables[i], AllocatePlaces(context, tables[i], chains[i][0], &map_page), definition);
    WriteTdefStream(context, JoinTdef(&raw), &chains[i]);
  }
}

void FillObjects(Table& objects, double created) {
  struct Object {
    std::int32_t id, parent;
    const char* name;
    std::int16_t type;
    const std::string& owner;
  };
  const Object rows[] = {
      {kTablesContainer, kRootContainer, "Tables", object_type::kContainer, kEngine},
      {kDatabasesContainer, kRootContainer, "Databases", object_type::kContainer, kEngine},
      {kRelationshipsContainer, kRootContainer, "Relationships", object_type::kContainer, kEngine},
      {kDatabaseObject, kDatabasesContainer, "MSysDb", object_type::kDatabaseProperties, kAdmin},
      {2, kTablesContainer, "MSysObjects", object_type::kTable, kEngine},
      {3, kTablesContainer, "MSysACEs", object_type::kTable, kEngine},
      {4, kTablesContainer, "MSysQueries", object_type::kTable, kEngine},
      {5, kTablesContainer, "MSysRelationships", object_type::kTable, kEngine},
  };
  for (const Object& o : rows) {
    RowBuilder row(objects.def());
    row.Set("Id", Value::Integer(o.id))
        .Set("ParentId", Value::Integer(o.parent))
        .Set("Name", Value::Text(o.name))
        .Set("Type", Value::Integer(o.type))
        .Set("DateCreate", Value::Real(created))
        .Set("DateUpdate", Value::Real(created))
        .Set("Owner", Value::Blob(o.owner))
        .Set("Flags", Value::Integer(static_cast<std::int32_t>(kSystemObject)));
    objects.Insert(row.values());
  }
}

void InsertAce(Table& aces, std::int32_t object, const std::string& principal, std::int64_t rights,
               bool inheritable) {
  RowBuilder row(aces.def());
  row.Set("ObjectId", Value::Integer(object))
      .Set("SID", Value::Blob(principal))
      .Set("ACM", Value::Integer(rights))
      .Set("FInheritable", Value::Integer(inheritable ? -1 : 0));
  aces.Insert(row.values());
}

void FillAces(Table& aces) {
  struct Ace {
    std::int32_t object;
    const std::string& principal;
    std::int32_t rights;
    bool inheritable;
  };
  const Ace rows[] = {
      {2, kAdmin, 0x60000, false},
      {3, kAdmin, 0x60000, false},
      {4, kAdmin, 0x60000, false},
      {5, kAdmin, 0xE0000, false},
      {kTablesContainer, kAdmin, 0x60001, false},
      {kRelationshipsContainer, kAdmin, 0x60001, false},
      {kDatabasesContainer, kAdmin, 0x60000, false},
      {kDatabaseObject, kAdmin, 0x6000E, false},
      {2, kUsers, 0x14, false},
      {4, kUsers, 0x14, false},
      {5, kUsers, 0x14, false},
      {kDatabaseObject, kUsers, 0xE, false},
      {kTablesContainer, kUsers, 0xFFEFF, true},
      {kRelationshipsContainer, kUsers, 0xFFFFF, true},
      {kTablesContainer, kCreator, 0xF00FE, true},
      {kRelationshipsContainer, kCreator, 0xF00FE, true},
  };
  for (const Ace& a : rows) InsertAce(aces, a.object, a.principal, a.rights, a.inheritable);
}

}  // namespace

// The file is made in memory, as it is small, and gets to its place as a whole.
void MakeEmptyDatabase(FileSystem& files, const std::string& path, const FormatInfo& format) {
  RequireNoJournalName(path);
  if (files.Exists(path)) throw Error(ErrorKind::kExists, fmt::format("The file {} exists already.", path));
  // It would be taken for one of the new file's, and keep that from being opened.
  const std::string journal = JournalPath(files, path);
  if (files.Exists(journal)) {
    throw Error(ErrorKind::kExists,
                fmt::format("The journal {} of a database of that name is there. Move it away first, or put "
                            "the database beside it again.",
                            journal));
  }
  MemoryFileSystem memory;
  const std::string name = "new";
  const double created = CurrentDate();
  PageStoreOptions options;
  options.max_file_bytes = format.max_file_bytes;
  auto pages = std::make_unique<PageStore>(memory, memory.Open(name, OpenMode::kCreateNew), name + "-journal",
                                           true, format.page_size, options);
  FileHeader header;
  header.format = &format;
  header.lcid = format.default_lcid;
  header.sort_version = format.default_sort_version;
  header.created = created;
  MakeFirstPages(*pages, format, created);
  {
    const std::unique_ptr<PageAllocator> allocator = MakePageAllocator(*pages, format);
    StoreContext context{*pages, format, *allocator, header.code_page};
    MakeCoreTables(context, {format, header.lcid, header.sort_version});
  }
  DatabaseImpl database(name, std::move(pages), header);
  {
    StatementScope scope(database);
    FillObjects(*database.core_table(header.objects), created);
    FillAces(*database.core_table(header.aces));
    database.ForgetCatalog();
    if (format.ace) {
      for (const NamedTable& t : ComplexTables()) {
        const std::int32_t id = database.MakeTable(t.name, t.spec, t.flags, {});
        InsertAce(*database.core_table(header.aces), id, kAdmin, 0x60000, false);
        InsertAce(*database.core_table(header.aces), id, kUsers, 0x14, false);
      }
    }
    scope.Commit();
  }
  database.Checkpoint();
  const std::string content = memory.Content(name);
  files.CreateWhole(path, {reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
}

}  // namespace jet
