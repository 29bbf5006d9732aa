// The catalog: the rows of MSysObjects that say which objects exist, and of MSysACEs that say who may use
// them.
//
// Columns are found by name, never by position. Names are unique among the children of the container "Tables"
// (tables, links and queries alike), compared by their text key. The map of names is made once, on first use,
// by one walk over MSysObjects, whose size does not depend on the data in the file.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "access/store/database.h"
#include "access/store/layout.h"

namespace jet {

namespace object_type {
inline constexpr std::int16_t kTable = 1;
inline constexpr std::int16_t kDatabaseProperties = 2;
inline constexpr std::int16_t kContainer = 3;
inline constexpr std::int16_t kOdbcLink = 4;
inline constexpr std::int16_t kQuery = 5;
inline constexpr std::int16_t kLink = 6;
inline constexpr std::int16_t kRelationship = 8;
}  // namespace object_type

inline constexpr std::int32_t kRootContainer = 0x0F000000;
inline constexpr std::int32_t kTablesContainer = 0x0F000001;
inline constexpr std::int32_t kDatabasesContainer = 0x0F000002;
inline constexpr std::int32_t kRelationshipsContainer = 0x0F000003;
inline constexpr std::int32_t kDatabaseObject = 0x10000000;  // MSysDb
inline constexpr std::uint32_t kSystemObject = 0x80000000;

struct CatalogRow {
  CatalogEntry entry;
  std::int32_t parent = 0;
  RowId row;
};

class Catalog {
 public:
  // `aces` may be null (files without it are read only then).
  Catalog(std::shared_ptr<Table> objects, std::shared_ptr<Table> aces);

  std::vector<CatalogEntry> List();
  // The child of the container "Tables" with that name: a table, a link or a query.
  const CatalogRow* Find(std::string_view name);
  // The table whose definition begins on that page; null when there is none.
  const CatalogRow* FindTableAt(PageNo tdef_page);
  // The LvProp value of an object, empty when null.
  std::string Properties(const CatalogRow& row);
  void SetProperties(const CatalogRow& row, const std::string& blob);

  // Adds the row of a new table, whose id is its tdef page, and its rights: those principals that have rights
  // on the container get all of them. `flags` is 0 for a user's table.
  void AddTable(const std::string& name, PageNo tdef_page, std::uint32_t flags,
                const std::string& properties);
  // Removes an object's row and its rights.
  void Remove(const CatalogRow& row);

  // The names must be read anew: a statement was rolled back.
  void Forget() { loaded_ = false; }

 private:
  int Column(const char* name) const;
  void Load();

  std::shared_ptr<Table> objects_;
  std::shared_ptr<Table> aces_;
  bool loaded_ = false;
  std::vector<CatalogRow> rows_;
  std::map<std::string, std::size_t> by_name_;  // key of the name -> position in rows_
};

// A row of `table` with all columns Null, to be filled by column name.
class RowBuilder {
 public:
  explicit RowBuilder(const TableDef& def) : def_(def), values_(def.columns.size()) {}
  RowBuilder& Set(const char* column, Value value);
  const std::vector<Value>& values() const { return values_; }

 private:
  const TableDef& def_;
  std::vector<Value> values_;
};

}  // namespace jet
