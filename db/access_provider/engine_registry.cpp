#include "db/access_provider/engine_registry.h"

#include <algorithm>
#include <vector>

#include "access/base/error.h"
#include "access/file/file.h"
#include "db/access_provider/access_provider.h"
#include "db/services.h"
#include "platform/in_force.h"
#include "platform/settings.h"

namespace vnt::db {
namespace {

struct OpenDatabase {
  jet::FileSystem* files;
  std::string identity;
  bool reading_asked = false;
  std::string read_only_reason;
  std::weak_ptr<jet::Database> database;
  // Separate from the database: a file that only an IN clause reads has no engine of its own.
  std::weak_ptr<AccessEngine> engine;
};

std::vector<OpenDatabase>& Registry() {
  static std::vector<OpenDatabase> registry;
  return registry;
}

OpenDatabase* FindOpen(jet::FileSystem& files, const std::string& identity) {
  auto& registry = Registry();
  std::erase_if(registry, [](const OpenDatabase& entry) { return entry.database.expired(); });
  const auto found = std::find_if(registry.begin(), registry.end(), [&](const OpenDatabase& entry) {
    return entry.files == &files && entry.identity == identity;
  });
  return found == registry.end() ? nullptr : &*found;
}

std::unique_ptr<jet::Database> OpenFile(jet::FileSystem& files, const std::string& path, jet::OpenMode mode,
                                        std::string* read_only_reason) {
  jet::Database::Options options;
  if (const auto* sizes = platform::InForce<Services>().page_options) options.pages = *sizes;
  if (mode == jet::OpenMode::kReadWrite) {
    try {
      return jet::Database::Open(files, path, mode, options);
    } catch (const jet::Error& error) {
      if (error.kind() != jet::ErrorKind::kReadOnly) throw;
      *read_only_reason = error.what();
    }
  }
  return jet::Database::Open(files, path, jet::OpenMode::kRead, options);
}

// The database of the file, and its place in the registry until the next call.
std::pair<std::shared_ptr<jet::Database>, OpenDatabase*> OpenShared(const std::string& given_path,
                                                                    jet::OpenMode mode) {
  // Settings and statements name files on drive C:, which stands elsewhere on other systems.
  const std::string path = platform::ResolvePath(given_path);
  jet::FileSystem& files = Files();
  if (!files.Exists(path)) {
    throw jet::Error(jet::ErrorKind::kNotFound, path.empty() ? "No database file is named."
                                                             : "The file \"" + path + "\" does not exist.");
  }
  const std::string identity = files.Identity(path);
  if (OpenDatabase* open = FindOpen(files, identity)) {
    if (mode == jet::OpenMode::kReadWrite && open->reading_asked) {
      throw jet::Error(jet::ErrorKind::kLocked,
                       "The file \"" + path + "\" is open for reading in this program already.");
    }
    return {open->database.lock(), open};
  }
  std::string reason;
  std::shared_ptr<jet::Database> database = OpenFile(files, path, mode, &reason);
  Registry().push_back({&files, identity, mode == jet::OpenMode::kRead, reason, database, {}});
  return {database, &Registry().back()};
}

}  // namespace

jet::FileSystem& Files() {
  jet::FileSystem* files = platform::InForce<Services>().files;
  return files != nullptr ? *files : jet::PlatformFileSystem();
}

std::shared_ptr<AccessEngine> OpenEngine(const std::string& path, jet::OpenMode mode) {
  const auto [database, entry] = OpenShared(path, mode);
  if (auto engine = entry->engine.lock()) return engine;
  auto engine = std::make_shared<AccessEngine>();
  engine->database = database;
  engine->read_only_reason = entry->read_only_reason;
  engine->session = std::make_unique<jet::sql::Session>(
      database, [](const std::string& other) { return OpenShared(other, jet::OpenMode::kRead).first; });
  entry->engine = engine;
  return engine;
}

}  // namespace vnt::db
