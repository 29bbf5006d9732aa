#include "ui/comparison.h"

#include <charconv>
#include <filesystem>
#include <fstream>
#include <utility>

#include "access/base/error.h"
#include "db/engine_errors.h"
#include "db/services.h"
#include "platform/paths.h"
#include "run/run_record.h"

namespace vnt::ui {
namespace {

constexpr char kSource[] = "VNTFixdb";

struct OpenPair {
  std::unique_ptr<jet::Database> first, second;
};

OpenPair Open(const Comparison& comparison) {
  OpenPair pair{compare::OpenToCompare(db::Files(), comparison.first),
                compare::OpenToCompare(db::Files(), comparison.second)};
  if (comparison.notice > 0 && !compare::HasNotice(*pair.first, comparison.notice) &&
      !compare::HasNotice(*pair.second, comparison.notice)) {
    throw db::DbError(db::kErrFailed, kSource,
                      "Neither database has a notice " + std::to_string(comparison.notice) + ".");
  }
  return pair;
}

// Hands everything to a writer, and tells how far it is.
class Watched : public compare::Sink {
 public:
  Watched(compare::DiffWriter& writer, const ComparisonProgress& progress)
      : writer_(writer), progress_(progress) {}
  void BeginTable(const compare::ComparedTable& table) override { writer_.BeginTable(table); }
  void Row(const compare::RowDifference& row) override { writer_.Row(row); }
  void EndTable(const compare::ComparedTable& table, const compare::Counts& counts) override {
    writer_.EndTable(table, counts);
  }
  void Progress(std::uint64_t done, std::uint64_t all) override {
    writer_.Progress(done, all);
    if (progress_) progress_(done, all);
  }

 private:
  compare::DiffWriter& writer_;
  const ComparisonProgress& progress_;
};

}  // namespace

bool ReadNotice(const std::string& text, std::int32_t* notice) {
  const std::size_t begin = text.find_first_not_of(' ');
  *notice = 0;
  if (begin == std::string::npos) return true;
  const char* const end = text.data() + text.find_last_not_of(' ') + 1;
  const auto result = std::from_chars(text.data() + begin, end, *notice);
  return result.ec == std::errc() && result.ptr == end && *notice > 0;
}

std::unique_ptr<compare::DifferenceStore> FindDifferences(jet::Database& first, jet::Database& second,
                                                          std::int32_t notice, compare::Sides sides,
                                                          const ComparisonProgress& progress) {
  try {
    auto store = std::make_unique<compare::DifferenceStore>(db::Files(), progress, sides);
    store->KnowGroups(first);
    store->KnowGroups(second);
    compare::Options options;
    options.notice = notice;
    store->KeepSummary(compare::Compare(first, second, options, *store));
    return store;
  } catch (const jet::Error& error) {
    throw db::ToDbError(error);
  }
}

std::unique_ptr<compare::DifferenceStore> FindDifferences(const Comparison& comparison,
                                                          const ComparisonProgress& progress) {
  try {
    const OpenPair pair = Open(comparison);
    return FindDifferences(*pair.first, *pair.second, comparison.notice, compare::Sides::kTwoDatabases,
                           progress);
  } catch (const jet::Error& error) {
    throw db::ToDbError(error);
  }
}

void SaveDifferences(compare::DifferenceStore& differences, const compare::DiffNames& names,
                     const std::string& path, const ComparisonProgress& progress) {
  namespace fs = std::filesystem;
  const fs::path file = platform::PathOf(path);
  // What is half written does not take the name of what was there.
  const fs::path unfinished = platform::PathOf(path + ".part");
  std::error_code error_code;
  const auto fail = [&] {
    fs::remove(unfinished, error_code);
    throw db::DbError(db::kErrFailed, kSource, "The file " + path + " cannot be written.");
  };
  try {
    std::ofstream out(unfinished, std::ios::binary);
    const bool json = FormatOfName(path) == RecordFormat::kJson;
    const auto writer =
        compare::MakeDiffWriter(json ? compare::DiffFormat::kJson : compare::DiffFormat::kCsv, names, out);
    Watched watched(*writer, progress);
    differences.TellAgain(watched);
    writer->Finish(differences.summary());
    out.close();
    if (!out) fail();
    fs::rename(unfinished, file, error_code);
    if (error_code) fail();
  } catch (const compare::OutputFailed&) {
    fail();
  } catch (const jet::Error& error) {
    fs::remove(unfinished, error_code);
    throw db::ToDbError(error);
  }
}

}  // namespace vnt::ui
