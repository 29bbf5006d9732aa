#include "access/store/database_impl.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/store/names.h"
#include "access/store/properties.h"

namespace jet {
namespace {

constexpr const char* kReplacedReason = "its definition has changed meanwhile";

}  // namespace

DatabaseImpl::DatabaseImpl(std::string path, std::unique_ptr<PageStore> pages, const FileHeader& header)
    : path_(std::move(path)),
      pages_(std::move(pages)),
      header_(header),
      allocator_(MakePageAllocator(*pages_, *header_.format, this)),
      context_{*pages_, *header_.format, *allocator_, header_.code_page, this} {
  for (const PageNo page : {PageNo{1}, header_.objects}) {
    const std::uint8_t type = page == 1 ? kPageData : kPageTdef;
    if (page >= pages_->page_count() || pages_->Read(page).data()[0] != type) {
      ThrowCorrupt("the catalog of the database does not begin here", page, 0);
    }
  }
  auto objects = LoadTable(header_.objects, "MSysObjects", {}, true);
  auto aces = LoadTable(header_.aces, "MSysACEs", {}, true);
  catalog_ = std::make_unique<jet::Catalog>(std::move(objects), std::move(aces));
}

FileFacts DatabaseImpl::Facts() {
  return {.version = header_.format->name,
          .code_page = header_.code_page,
          .lcid = header_.lcid,
          .sort_version = header_.sort_version,
          .created = header_.created,
          .page_size = header_.format->page_size,
          .pages = pages_->page_count(),
          .free_pages = allocator_->FreePages(),
          .unfinished_write = header_.unfinished_write};
}

std::shared_ptr<Table> DatabaseImpl::LoadTable(PageNo tdef_page, const std::string& name,
                                               const std::string& properties, bool system) {
  if (const auto it = tables_.find(tdef_page); it != tables_.end()) return it->second;
  Definition d = ReadDefinition(*pages_, definition_context(), tdef_page);
  d.def.name = name;
  d.def.system |= system;
  ApplyProperties(properties, *header_.format, &d.def);
  if (header_.read_only_version) d.def.read_only_reason = "the version of the file is known for reading only";
  auto table =
      std::make_shared<Table>(std::make_unique<StoredTable>(context_, std::move(d.def), std::move(d.layout)));
  tables_[tdef_page] = table;
  return table;
}

std::shared_ptr<Table> DatabaseImpl::FindTable(std::string_view name) {
  const CatalogRow* row = catalog_->Find(name);
  if (row == nullptr || row->entry.type != object_type::kTable) return nullptr;
  const PageNo page = row->entry.id;
  if (const auto it = tables_.find(page); it != tables_.end()) return it->second;
  return LoadTable(page, row->entry.name, catalog_->Properties(*row), row->entry.system());
}

StoredTable* DatabaseImpl::TableAt(PageNo tdef_page) {
  if (const auto it = tables_.find(tdef_page); it != tables_.end()) return &it->second->stored();
  const CatalogRow* row = catalog_->FindTableAt(tdef_page);
  if (row == nullptr) return nullptr;
  return &LoadTable(tdef_page, row->entry.name, catalog_->Properties(*row), row->entry.system())->stored();
}

void DatabaseImpl::BeginStatement() {
  pages_->BeginStatement();
  ++context_.statement;
}

void DatabaseImpl::CommitStatement() {
  pages_->CommitStatement();
  ++context_.statement;
  for (const auto& [page, old] : replaced_) replaced_since_mark_.insert(page);
  replaced_.clear();
}

void DatabaseImpl::RollbackStatement() {
  pages_->RollbackStatement();
  allocator_->Forget();
  owners_.clear();
  catalog_->Forget();
  if (!replaced_.empty()) ++schema_version_;
  // Nothing here needs memory: destructors come here when there is none.
  for (auto& [page, old] : replaced_) {
    if (old.table == nullptr) {
      tables_.erase(page);
    } else if (old.node) {
      old.table->stored().SwapReadOnlyReason(&old.read_only_reason);
      tables_.erase(page);
      tables_.insert(std::move(old.node));
    }
  }
  replaced_.clear();
  for (const auto& [page, table] : tables_) table->stored().OnRollbackStatement();
}

// What the tables keep in memory goes to their pages.
void DatabaseImpl::FlushTables() {
  if (pages_->in_statement())
    throw Error(ErrorKind::kInvalid, "A checkpoint was asked for within a statement.");
  const auto returns = [](const auto& item) { return item.second->stored().has_pages_to_return(); };
  if (std::any_of(tables_.begin(), tables_.end(), returns)) {
    StatementScope scope(*this);
    for (const auto& [page, table] : tables_) table->stored().ReturnPages();
    scope.Commit();
  }
  for (const auto& [page, table] : tables_) table->stored().Flush();
}

void DatabaseImpl::Mark() {
  if (!pages_->writable()) return;
  FlushTables();
  pages_->Mark();
  replaced_since_mark_.clear();
}

void DatabaseImpl::RevertToMark() {
  if (!pages_->writable()) return;
  if (pages_->in_statement()) RollbackStatement();
  pages_->RevertToMark();
  allocator_->Forget();
  owners_.clear();
  catalog_->Forget();
  // The definition that stands in the file now is neither that of the object at hand nor, if a statement has
  // given way to another, of one that was put aside.
  for (const PageNo page : replaced_since_mark_) {
    const auto it = tables_.find(page);
    if (it == tables_.end()) continue;
    std::string reason = kReplacedReason;
    it->second->stored().SwapReadOnlyReason(&reason);
    tables_.erase(it);
  }
  if (!replaced_since_mark_.empty()) ++schema_version_;
  replaced_since_mark_.clear();
  for (const auto& [page, table] : tables_) table->stored().OnRevert();
}

void DatabaseImpl::Persist() {
  if (!pages_->writable()) return;
  FlushTables();
  pages_->Persist();
  replaced_since_mark_.clear();
}

void DatabaseImpl::Checkpoint() {
  if (!pages_->writable()) return;
  FlushTables();
  pages_->Checkpoint();
  replaced_since_mark_.clear();
}

void DatabaseImpl::InStatement(const std::function<void()>& change) {
  RequireWritable();
  if (pages_->in_statement()) {
    change();
    return;
  }
  StatementScope scope(*this);
  change();
  scope.Commit();
}

std::string DatabaseImpl::read_only_sentence() const {
  if (header_.format->jet3) {
    return fmt::format("{} is an Access 97 database, which can be read but not changed.", Quoted(path_));
  }
  if (header_.read_only_version) {
    return fmt::format("{} is of a version of Access that is known for reading only.", Quoted(path_));
  }
  return fmt::format("The database {} is open for reading only.", Quoted(path_));
}

void DatabaseImpl::RequireWritable() const {
  if (!pages_->writable()) throw Error(ErrorKind::kReadOnly, read_only_sentence());
}

const CatalogRow& DatabaseImpl::RequireTable(const std::string& name) {
  const CatalogRow* row = catalog_->Find(name);
  if (row == nullptr) throw Error(ErrorKind::kNoTable, fmt::format("There is no table \"{}\".", name));
  if (row->entry.type != object_type::kTable) {
    throw Error(ErrorKind::kInvalid, fmt::format("\"{}\" is a query or a link, not a table.", name));
  }
  if (row->entry.system()) {
    throw Error(ErrorKind::kInvalid,
                fmt::format("\"{}\" is a system table; its definition cannot be changed.", name));
  }
  return *row;
}

void DatabaseImpl::Replace(PageNo tdef_page) {
  const auto it = tables_.find(tdef_page);
  Replaced old;
  std::string reason;
  if (it != tables_.end()) {
    old.table = it->second;
    old.read_only_reason = it->second->def().read_only_reason;
    reason = kReplacedReason;
  }
  // Only the state before the statement matters, should it change a table twice.
  const auto [place, first] = replaced_.emplace(tdef_page, std::move(old));
  if (it != tables_.end()) {
    it->second->stored().SwapReadOnlyReason(&reason);
    auto node = tables_.extract(it);
    if (first) place->second.node = std::move(node);
  }
  ++schema_version_;
}

}  // namespace jet
