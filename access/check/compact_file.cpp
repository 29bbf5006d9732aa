#include "access/check/compact_file.h"

#include <fmt/format.h>

#include <algorithm>

#include "access/check/check.h"
#include "access/store/compact.h"

namespace jet {
namespace {

void RequireSound(Database& database, const char* when) {
  std::vector<Finding> findings = CheckDatabase(database);
  const auto last =
      std::remove_if(findings.begin(), findings.end(), [](const Finding& f) { return !f.fatal; });
  if (last == findings.begin()) return;
  throw Error(ErrorKind::kCorrupt,
              fmt::format("\"{}\" is not compacted, because the check finds {} faults {}; the first: {}",
                          database.path(), last - findings.begin(), when, findings.front().text),
              findings.front().page);
}

}  // namespace

CompactedSizes CompactFile(FileSystem& files, const std::string& path, const Database::Options& options) {
  const std::unique_ptr<Database> database = Database::Open(files, path, OpenMode::kReadWrite, options);
  if (!database->writable()) {
    throw Error(
        ErrorKind::kReadOnly,
        fmt::format("\"{}\" is of a version of Access whose files can be read but not changed.", path));
  }
  PageStore& pages = database->pages();
  RequireSound(*database, "in it");
  const auto bytes = [&](PageNo count) { return std::uint64_t{count} * pages.page_size(); };
  CompactedSizes sizes;
  sizes.before = sizes.after = bytes(pages.page_count());
  const PageNo end = CompactTables(files, *database);
  if (bytes(end) >= sizes.before) return sizes;
  RequireSound(*database, "in what it would become");
  database->Checkpoint();
  pages.CutOff(end);
  sizes.after = bytes(end);
  return sizes;
}

}  // namespace jet
