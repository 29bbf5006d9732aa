// The database that its users see, and how one is opened.
#include "access/store/database.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "access/store/database_impl.h"

namespace jet {
namespace {

// What would keep changes from being saved, though the file itself can be written.
void RequireSavable(FileSystem& files, const std::string& path, const std::string& journal) {
  if (files.LinkCount(path) > 1) {
    throw Error(ErrorKind::kReadOnly,
                fmt::format("{} has another name (a hard link) and cannot be changed safely: a program that "
                            "opens it by that one would not find the journal of what is done here.",
                            Quoted(path)));
  }
  const std::string why = files.WhyNotCreate(journal);
  if (why.empty()) return;
  throw Error(
      ErrorKind::kReadOnly,
      fmt::format("{} cannot be saved, because no journal can be made beside it ({}).", Quoted(path), why));
}

}  // namespace

std::string JournalPath(FileSystem& files, const std::string& database_path) {
  return files.ResolveLinks(database_path) + kJournalSuffix;
}

std::unique_ptr<Database> Database::Open(FileSystem& files, const std::string& path, OpenMode mode,
                                         const Options& options) {
  if (mode == OpenMode::kCreateNew) throw Error(ErrorKind::kInvalid, "A new database is made with Create.");
  // Journal and lock file stand beside the file itself, by whatever link it is opened.
  const std::string home = files.ResolveLinks(path);
  const std::string journal = JournalPath(files, path);
  std::unique_ptr<File> file = files.Open(path, mode);
  FileHeader header = ReadFileHeader(*file, path);
  if (mode == OpenMode::kReadWrite) {
    if (header.format->jet3 || header.read_only_version) {
      file.reset();
      return Open(files, path, OpenMode::kRead, options);
    }
    RequireSavable(files, home, journal);
    const std::string users = files.AccessUsers(home);
    if (!users.empty()) {
      throw Error(ErrorKind::kLocked, fmt::format("{} is open in Access, by {}.", Quoted(path), users));
    }
  }
  if (mode == OpenMode::kReadWrite && header.unfinished_write) {
    // Page 0 says so; none of the files seen that were closed in order does.
    throw Error(
        ErrorKind::kCorrupt,
        fmt::format("{} was left by Access in the middle of a write and may be damaged. Let Access open "
                    "and repair it before it is changed here; it can be read.",
                    Quoted(path)));
  }
  if (!files.Exists(journal) && file->Size() % header.format->page_size != 0) {
    throw Error(ErrorKind::kCorrupt, fmt::format("{} is cut short: it ends within a page.", Quoted(path)));
  }
  PageStoreOptions page_options = options.pages;
  page_options.max_file_bytes = std::min(page_options.max_file_bytes, header.format->max_file_bytes);
  auto pages = std::make_unique<PageStore>(files, std::move(file), journal, mode == OpenMode::kReadWrite,
                                           header.format->page_size, page_options);
  return std::make_unique<Database>(std::make_unique<DatabaseImpl>(path, std::move(pages), header));
}

void Database::Create(FileSystem& files, const std::string& path, Format format) {
  if (format == Format::kJet3) throw Error(ErrorKind::kNotSupported, "Access 97 databases cannot be made.");
  MakeEmptyDatabase(files, path, GetFormatInfo(format));
}

Database::Database(std::unique_ptr<DatabaseImpl> impl) : impl_(std::move(impl)) {}
Database::~Database() = default;

const std::string& Database::path() const { return impl_->path(); }
Format Database::format() const { return impl_->format(); }
bool Database::writable() const { return impl_->writable(); }
std::string Database::read_only_sentence() const { return impl_->read_only_sentence(); }
FileFacts Database::Facts() { return impl_->Facts(); }

std::vector<CatalogEntry> Database::Catalog() { return impl_->Catalog(); }
std::shared_ptr<Table> Database::FindTable(std::string_view name) { return impl_->FindTable(name); }
std::uint64_t Database::schema_version() const { return impl_->schema_version(); }

void Database::CreateTable(const std::string& name, const std::vector<NewColumn>& columns,
                           const std::vector<NewIndex>& indexes) {
  impl_->CreateTable(name, columns, indexes);
}
void Database::DropTable(const std::string& name) { impl_->DropTable(name); }
void Database::AddColumn(const std::string& table, const NewColumn& column) {
  impl_->AddColumn(table, column);
}
void Database::CreateIndex(const std::string& table, const NewIndex& index) {
  impl_->CreateIndex(table, index);
}
void Database::DropIndex(const std::string& table, const std::string& index) {
  impl_->DropIndex(table, index);
}

void Database::BeginStatement() { impl_->BeginStatement(); }
void Database::CommitStatement() { impl_->CommitStatement(); }
void Database::RollbackStatement() { impl_->RollbackStatement(); }
void Database::Mark() { impl_->Mark(); }
void Database::RevertToMark() { impl_->RevertToMark(); }
void Database::Persist() { impl_->Persist(); }
void Database::Checkpoint() { impl_->Checkpoint(); }
bool Database::has_changes() const { return impl_->has_changes(); }
Durability Database::durability() const { return impl_->durability(); }
PageStore& Database::pages() { return impl_->pages(); }

StatementScope::StatementScope(Database& database) : StatementScope(database.impl()) {}
StatementScope::StatementScope(DatabaseImpl& database) : database_(database) { database_.BeginStatement(); }
StatementScope::~StatementScope() {
  if (open_) database_.RollbackStatement();
}
void StatementScope::Commit() {
  database_.CommitStatement();
  open_ = false;
}

}  // namespace jet
