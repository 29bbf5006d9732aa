// An open file: header, pages, allocator, catalog and the tables that were asked for.
//
// Tables are kept by the page of their definition, in one object each, until the definition changes. A change
// of a definition puts a new object in place of the old one, which can be read on but no longer be changed
// through; when the statement is rolled back the old object, whose counters are the true ones, comes back.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "access/store/catalog.h"
#include "access/store/database.h"
#include "access/store/file_header.h"
#include "access/store/layout.h"
#include "access/store/stored_table.h"
#include "access/store/tdef.h"
#include "access/store/tdef_write.h"

namespace jet {

// A path as it stands in sentences.
inline std::string Quoted(const std::string& path) { return '"' + path + '"'; }

class DatabaseImpl final : private TableSource, private PageOwners {
 public:
  DatabaseImpl(std::string path, std::unique_ptr<PageStore> pages, const FileHeader& header);

  // ---- See Database. ----

  const std::string& path() const { return path_; }
  Format format() const { return header_.format->format; }
  bool writable() const { return pages_->writable(); }
  std::string read_only_sentence() const;

  FileFacts Facts();
  bool has_changes() const { return pages_->has_changes(); }
  Durability durability() const { return pages_->durability(); }
  PageStore& pages() { return *pages_; }

  void Mark();
  void RevertToMark();
  void Persist();
  void Checkpoint();
  void BeginStatement();
  void CommitStatement();
  void RollbackStatement();

  std::vector<CatalogEntry> Catalog() { return catalog_->List(); }
  std::shared_ptr<Table> FindTable(std::string_view name);
  std::uint64_t schema_version() const { return schema_version_; }
  void CreateTable(const std::string& name, const std::vector<NewColumn>& columns,
                   const std::vector<NewIndex>& indexes);
  void AddColumn(const std::string& table, const NewColumn& column);
  void DropTable(const std::string& name);
  void CreateIndex(const std::string& table, const NewIndex& index);
  void DropIndex(const std::string& table, const std::string& index);

  // ---- For the checker, and for making new files. ----

  const FileHeader& header() const { return header_; }
  StoreContext& context() { return context_; }
  DefinitionContext definition_context() const {
    return {*header_.format, header_.lcid, header_.sort_version};
  }
  // The table whose definition begins on that page.
  std::shared_ptr<Table> LoadTable(PageNo tdef_page, const std::string& name, const std::string& properties,
                                   bool system);
  std::shared_ptr<Table> core_table(PageNo tdef_page) { return tables_.at(tdef_page); }
  // The catalog has been filled from outside.
  void ForgetCatalog() { catalog_->Forget(); }
  // Makes a table of exactly these columns and indexes, places assigned. `flags` as in the catalog.
  // Returns the page of its definition.
  PageNo MakeTable(const std::string& name, const TableSpec& spec, std::uint32_t flags,
                   const std::string& properties);

 private:
  // A definition that is about to change.
  struct Change {
    const CatalogRow* row = nullptr;
    std::shared_ptr<Table> table;
    std::vector<PageNo> chain;
    RawTdef raw;
    Definition definition;
  };

  friend class Compaction;

  StoredTable* TableAt(PageNo tdef_page) override;
  std::string OwnerOf(PageNo page) override;
  // Runs `change` in the open statement, or in one of its own.
  void InStatement(const std::function<void()>& change);
  void RequireWritable() const;
  void FlushTables();
  const CatalogRow& RequireTable(const std::string& name);
  Change BeginChange(const std::string& table_name);
  std::shared_ptr<Table> EndChange(Change* change);
  // Puts the table's object aside until the statement ends.
  void Replace(PageNo tdef_page);
  bool HasRelationship(const std::string& table_name);

  std::string path_;
  std::unique_ptr<PageStore> pages_;
  FileHeader header_;
  std::unique_ptr<PageAllocator> allocator_;
  StoreContext context_;
  std::map<PageNo, std::shared_ptr<Table>> tables_;
  std::unique_ptr<jet::Catalog> catalog_;
  std::uint64_t schema_version_ = 1;
  // What stood in tables_ before the statement changed it; null: nothing.
  struct Replaced {
    std::shared_ptr<Table> table;
    std::string read_only_reason;
    std::map<PageNo, std::shared_ptr<Table>>::node_type node;  // its place in tables_
  };
  std::map<PageNo, Replaced> replaced_;
  std::set<PageNo> replaced_since_mark_;  // by statements that were committed
  // Who uses the pages, as far as the tables tell: a position in owner_names_, by page. Read when first asked
  // for; a page that has changed hands since is not asked for.
  std::vector<std::uint16_t> owners_;
  std::vector<std::string> owner_names_;
};

// Makes the core tables of a new file in an empty page store, and fills the catalog. See create_database.cpp.
void MakeEmptyDatabase(FileSystem& files, const std::string& path, const FormatInfo& format);

}  // namespace jet
