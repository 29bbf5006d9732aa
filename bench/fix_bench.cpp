// fix_bench: the fixes on sample databases of several sizes, beside the same work on SQLite files with the
// same rows, done by a program written for SQLite (sqlite_program.h). Tables in which the two differ are
// named.
//
//   fix_bench [--vntfix PATH] [--folder DIR] [NOTICES...]      (default: 100 1000 10000)
//
// Per size: rows, seconds and peak memory of each fix and of the whole default run, the yardstick's seconds,
// the ratio, one notice from process start to end, reading every table beside mdb-export, the size of the
// file, and its size after the first and after the tenth of ten default runs and of ten runs of all fixes;
// then the growth from size to size. The sizes take turns, so that a slow minute of the machine does not look
// like growth. In its turn a smaller size runs several times, and the mean counts: the quickest of short runs
// would find a quiet moment that no long run has. Of three rounds the quickest counts, ours and SQLite's; one
// notice runs three times in each.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "access/store/database.h"
#include "bench/sqlite_copy.h"
#include "bench/sqlite_program.h"
#include "platform/messages.h"
#include "platform/settings.h"
#include "program/program_state.h"
#include "run/fix_runner.h"
#include "run/guards.h"
#include "samples/sample_database.h"

namespace vnt::bench {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

double Since(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

// Peak resident memory of this process since ResetPeak, in MB.
double PeakMegabytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::strtod(line.c_str() + 6, nullptr) / 1024;
  }
  return 0;
}
void ResetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

constexpr char kWholeRun[] = "whole default run";
constexpr char kOtherFixes[] = "the fixes not ticked by default";

struct Measure {
  std::string caption;
  std::int64_t rows = 0;
  double seconds = 0;
  double peak = 0;
  std::size_t errors = 0;
};

class Meter : public RunObserver {
 public:
  std::vector<Measure> measures;
  void FixStarts(const FixEntry&, int, int) override { ResetPeak(); }
  void FixEnds(const FixResult& result) override {
    measures.push_back({result.fix == nullptr ? "history stamp" : std::string(result.fix->caption),
                        result.rows, std::chrono::duration<double>(result.time).count(), PeakMegabytes(),
                        result.errors.size()});
    for (const db::DbError& error : result.errors) last_error = error.description();
  }
  std::string last_error;
};

class QuietMessages : public platform::Messages {
 public:
  void Show(std::string_view, platform::MessageStyle) override {}
};

// Runs a selection and adds the sum of it under `name`.
void RunSelection(const FixSelection& selection, const std::string& name, std::vector<Measure>* measures) {
  Meter meter;
  const auto start = Clock::now();
  RunFixes(selection, meter);
  Measure whole{name, 0, Since(start), 0, 0};
  for (const Measure& m : meter.measures) {
    whole.rows += m.rows;
    whole.peak = std::max(whole.peak, m.peak);
    whole.errors += m.errors;
    measures->push_back(m);
  }
  if (whole.errors > 0) fmt::print("({} errors, the last: {})\n", whole.errors, meter.last_error);
  measures->push_back(whole);
}

// All the ticked fixes, then the others, by our engine or by the yardstick.
std::vector<Measure> RunOn(const std::string& notices, const std::string& reference, bool sqlite) {
  QuietMessages messages;
  ProgramState state;
  ScopedProgramState scoped_state(state);
  state.platform_services.messages = &messages;
  platform::SettingOverrides& settings = state.platform_services.settings;
  settings.Set("GLOBAL", "VeltRefdb", reference);
  settings.Set("GLOBAL", "DataLevel", "-1");
  state.current_database = notices;
  std::vector<Measure> measures;
  const auto run = [&](const FixSelection& selection, const char* name) {
    if (!sqlite) return RunSelection(selection, name, &measures);
    const auto start = measures.size();
    Measure whole{name};
    for (const TimedFix& fix : RunSqliteProgram(selection, notices, reference)) {
      measures.push_back({fix.caption, 0, fix.seconds});
      whole.seconds += fix.seconds;
    }
    if (measures.size() == start) throw std::runtime_error("The yardstick ran nothing.");
    measures.push_back(whole);
  };
  if (!sqlite) OpenAccessDatabase();
  run(DefaultSelection(), kWholeRun);
  run(~DefaultSelection(), kOtherFixes);
  return measures;
}

// In a process of its own, so that the memory of one run does not colour the next.
std::vector<Measure> RunApart(const std::string& notices, const std::string& reference, bool sqlite) {
  int pipe_ends[2];
  if (pipe(pipe_ends) != 0) std::abort();
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    close(pipe_ends[0]);
    FILE* out = fdopen(pipe_ends[1], "w");
    try {
      for (const Measure& m : RunOn(notices, reference, sqlite)) {
        fmt::print(out, "{}\t{}\t{}\t{}\t{}\n", m.rows, m.seconds, m.peak, m.errors, m.caption);
      }
    } catch (const std::exception& error) {
      fmt::print(stderr, "{}\n", error.what());
      std::fflush(stderr);
      _exit(1);
    }
    std::fclose(out);
    std::fflush(stdout);
    _exit(0);
  }
  close(pipe_ends[1]);
  FILE* in = fdopen(pipe_ends[0], "r");
  std::vector<Measure> measures;
  char caption[256];
  Measure m;
  long long rows = 0;
  while (std::fscanf(in, "%lld\t%lf\t%lf\t%zu\t%255[^\n]\n", &rows, &m.seconds, &m.peak, &m.errors,
                     caption) == 5) {
    m.rows = rows;
    m.caption = caption;
    measures.push_back(m);
  }
  std::fclose(in);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0 || measures.empty()) {
    fmt::print("The run on {} failed.\n", notices);
    std::exit(1);
  }
  return measures;
}

double TimeCommand(const std::string& command) {
  const auto start = Clock::now();
  const int status = std::system(command.c_str());
  if (status != 0) fmt::print("(exit status {}: {})\n", status, command);
  return Since(start);
}

std::vector<std::string> TableNames(const std::string& file) {
  const auto database = jet::Database::Open(jet::PlatformFileSystem(), file, jet::OpenMode::kRead);
  std::vector<std::string> names;
  for (const jet::CatalogEntry& entry : database->Catalog()) {
    if (entry.type == 1 && !entry.system()) names.push_back(entry.name);
  }
  return names;
}

constexpr int kRounds = 3;
constexpr int kMostRuns = 10;  // of one size in a round

// One size: its sample, and what was measured on it so far.
struct Size {
  int notices = 0;
  int runs = 1;  // in a round
  fs::path folder;
  samples::SampleFiles files;
  double one_notice = 1e9;  // seconds
  double one_notice_strictly = 1e9;
  std::vector<Measure> ours, yardstick;
  double file_growth = 0;  // of the run, in percent
  // Bytes after the first and the tenth of ten runs on one file: the default selection; all fixes.
  std::uintmax_t first_size[2] = {0, 0}, tenth_size[2] = {0, 0};

  std::string At(const char* name) const { return (folder / name).string(); }
};

std::map<std::string, double> SecondsByCaption(const std::vector<Measure>& measures) {
  std::map<std::string, double> seconds;
  for (const Measure& m : measures) seconds.emplace(m.caption, m.seconds);
  return seconds;
}

// A copy that is on the disk, so that nobody else pays for its way there.
void CopySynced(const std::string& from, const std::string& to) {
  fs::copy_file(from, to, fs::copy_options::overwrite_existing);
  const int fd = open(to.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0 || fsync(fd) != 0) std::abort();
  close(fd);
}

// Runs on copies, each of which stands at `copy`; the mean of the times.
std::vector<Measure> RunOnCopies(const std::string& notices, const std::string& copy,
                                 const std::string& reference, bool sqlite, int runs) {
  std::vector<Measure> mean;
  for (int i = 0; i < runs; ++i) {
    CopySynced(notices, copy);
    const std::vector<Measure> run = RunApart(copy, reference, sqlite);
    if (mean.empty()) {
      mean = run;
      continue;
    }
    for (std::size_t m = 0; m < mean.size(); ++m) {
      mean[m].seconds += run[m].seconds;
      mean[m].peak = std::max(mean[m].peak, run[m].peak);
      mean[m].errors += run[m].errors;
    }
  }
  for (Measure& m : mean) m.seconds /= runs;
  return mean;
}

Size MakeSize(int notices, int runs, const fs::path& base) {
  Size size;
  size.notices = notices;
  size.runs = runs;
  size.folder = base / std::to_string(notices);
  fs::remove_all(size.folder);
  fs::create_directories(size.folder);
  samples::SampleOptions options;
  options.notices = notices;
  const auto start = Clock::now();
  size.files = samples::MakeSample(jet::PlatformFileSystem(), size.folder.string(), options);
  fmt::print("{} notices: {} rows, {:.1f} MB, written in {:.1f} s\n", notices, size.files.rows,
             static_cast<double>(fs::file_size(size.files.notice)) / 1e6, Since(start));
  CopyToSqlite(size.files.notice, size.At("notices.sqlite"));
  CopyToSqlite(size.files.reference, size.At("reference.sqlite"));
  return size;
}

// Every table, beside mdb-export.
void MeasureReading(const Size& size, const std::string& vntfix) {
  const std::string& file = size.files.notice;
  double ours = 0, theirs = 0;
  for (const std::string& table : TableNames(file)) {
    ours += TimeCommand(fmt::format("'{}' export '{}' {} >/dev/null", vntfix, file, table));
    theirs += TimeCommand(fmt::format("mdb-export '{}' {} >/dev/null", file, table));
  }
  fmt::print("reading every table of {} notices: {:.2f} s, mdb-export {:.2f} s, ratio {:.2f}\n", size.notices,
             ours, theirs, ours / theirs);
}

void MeasureRuns(const std::string& vntfix, Size* size) {
  const std::string one = size->At("one.mdb");
  for (int i = 0; i < kRounds; ++i) {
    for (const bool strictly : {false, true}) {
      CopySynced(size->files.notice, one);
      double& least = strictly ? size->one_notice_strictly : size->one_notice;
      least = std::min(
          least, TimeCommand(fmt::format(
                     "'{}' fix '{}' --reference '{}' --notice 100000004 --quiet {} >/dev/null 2>/dev/null",
                     vntfix, one, size->files.reference, strictly ? "--strict-notice" : "")));
    }
  }
  fs::remove(one);
  const std::string run = size->At("run.mdb");
  const auto whole = [](const std::vector<Measure>& measures) {
    return SecondsByCaption(measures).at(kWholeRun);
  };
  const auto keep_quicker = [&](std::vector<Measure> now, std::vector<Measure>* quickest) {
    if (quickest->empty() || whole(now) < whole(*quickest)) *quickest = std::move(now);
  };
  keep_quicker(RunOnCopies(size->files.notice, run, size->files.reference, false, size->runs), &size->ours);
  const auto bytes = [](const std::string& file) { return static_cast<double>(fs::file_size(file)); };
  size->file_growth = (bytes(run) / bytes(size->files.notice) - 1) * 100;
  fs::remove(run);
  keep_quicker(RunOnCopies(size->At("notices.sqlite"), size->At("run.sqlite"), size->At("reference.sqlite"),
                           true, size->runs),
               &size->yardstick);
}

void MeasureRepetition(const std::string& vntfix, Size* size) {
  const std::string file = size->At("again.mdb");
  for (int all = 0; all < 2; ++all) {
    CopySynced(size->files.notice, file);
    for (int run = 1; run <= 10; ++run) {
      TimeCommand(fmt::format("'{}' fix '{}' {} --reference '{}' >/dev/null", vntfix, file,
                              all ? "--all" : "", size->files.reference));
      if (run == 1) size->first_size[all] = fs::file_size(file);
    }
    size->tenth_size[all] = fs::file_size(file);
  }
  fs::remove(file);
}

// A yardstick that left work out would be no yardstick. What differs on the samples are halves, which SQLite
// rounds away from zero, and what follows from them.
void CompareResults(const Size& size) {
  CopySynced(size.files.notice, size.At("run.mdb"));
  RunApart(size.At("run.mdb"), size.files.reference, false);
  CopyToSqlite(size.At("run.mdb"), size.At("ours.sqlite"));
  for (const std::string& table : DifferingTables(size.At("ours.sqlite"), size.At("run.sqlite"))) {
    fmt::print("{} notices: differing rows of ours and of the yardstick in {}\n", size.notices, table);
  }
}

void PrintSize(const Size& size) {
  const std::map<std::string, double> seconds = SecondsByCaption(size.yardstick);
  fmt::print("\n== {} notices\n{:<44} {:>10} {:>9} {:>8} {:>9} {:>6}\n", size.notices, "fix", "rows",
             "seconds", "peak MB", "SQLite s", "ratio");
  for (const Measure& m : size.ours) {
    const double theirs = seconds.at(m.caption);
    fmt::print("{:<44} {:>10} {:>9.3f} {:>8.1f} {:>9.3f} {:>6.2f}{}\n", m.caption, m.rows, m.seconds, m.peak,
               theirs, theirs > 0 ? m.seconds / theirs : 0, m.errors > 0 ? "  errors" : "");
  }
  fmt::print("one notice, process start to end: {:.0f} ms; with --strict-notice: {:.0f} ms\n",
             size.one_notice * 1000, size.one_notice_strictly * 1000);
  fmt::print("size of the file after the run: {:+.1f} %\n", size.file_growth);
  for (int all = 0; all < 2; ++all) {
    fmt::print(
        "size after run 1 and run 10 of {}: {:.2f} MB, {:.2f} MB ({:+.1f} %)\n",
        all ? "all fixes" : "the default selection", static_cast<double>(size.first_size[all]) / 1e6,
        static_cast<double>(size.tenth_size[all]) / 1e6,
        (static_cast<double>(size.tenth_size[all]) / static_cast<double>(size.first_size[all]) - 1) * 100);
  }
}

// The exponent of each fix from size to size: 1 is linear. Times too short to measure are left out.
void PrintGrowth(const Size& a, const Size& b) {
  constexpr double kMeasurable = 0.02;
  const double factor = std::log(static_cast<double>(b.notices) / a.notices);
  const auto exponents = [&](const std::vector<Measure>& small, const std::vector<Measure>& large) {
    const std::map<std::string, double> before = SecondsByCaption(small);
    std::map<std::string, double> result;
    for (const auto& [caption, seconds] : SecondsByCaption(large)) {
      if (before.at(caption) < kMeasurable && caption != kWholeRun) continue;
      result[caption] = std::log(seconds / before.at(caption)) / factor;
    }
    return result;
  };
  const std::map<std::string, double> yardstick = exponents(a.yardstick, b.yardstick);
  fmt::print("\n== Growth from {} to {} notices (exponent; SQLite's)\n", a.notices, b.notices);
  for (const auto& [caption, exponent] : exponents(a.ours, b.ours)) {
    const auto theirs = yardstick.find(caption);
    fmt::print("{:<44} {:>6.3f} {:>6}\n", caption, exponent,
               theirs == yardstick.end() ? "" : fmt::format("{:.3f}", theirs->second));
  }
  fmt::print("one notice, process start to end: {:.2f} times as long; with --strict-notice: {:.2f}\n",
             b.one_notice / a.one_notice, b.one_notice_strictly / a.one_notice_strictly);
}

}  // namespace
}  // namespace vnt::bench

int main(int argc, char** argv) {
  std::string vntfix = (std::filesystem::path(argv[0]).parent_path() / "vntfix").string();
  std::filesystem::path folder = std::filesystem::temp_directory_path() / "vntfix-bench";
  std::vector<int> sizes;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--vntfix" && i + 1 < argc) {
      vntfix = argv[++i];
    } else if (argument == "--folder" && i + 1 < argc) {
      folder = argv[++i];
    } else {
      sizes.push_back(std::max(std::atoi(argument.c_str()), 1));
    }
  }
  if (sizes.empty()) sizes = {100, 1000, 10000};
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  using namespace vnt::bench;
  std::vector<Size> measured;
  const int largest = *std::max_element(sizes.begin(), sizes.end());
  for (const int notices : sizes) {
    measured.push_back(MakeSize(notices, std::min(largest / notices, kMostRuns), folder));
  }
  for (const Size& size : measured) MeasureReading(size, vntfix);
  for (int round = 0; round < kRounds; ++round) {
    for (Size& size : measured) MeasureRuns(vntfix, &size);
  }
  for (Size& size : measured) MeasureRepetition(vntfix, &size);
  for (const Size& size : measured) CompareResults(size);
  for (const Size& size : measured) PrintSize(size);
  for (std::size_t i = 1; i < measured.size(); ++i) PrintGrowth(measured[i - 1], measured[i]);
  for (const Size& size : measured) fs::remove_all(size.folder);
  return 0;
}
