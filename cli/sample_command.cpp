#include <filesystem>
#include <ostream>

#include <fmt/format.h>

#include "access/store/file_kind.h"
#include "cli/commands.h"
#include "samples/sample_database.h"

namespace vnt::cli {

int Sample(const SampleCommandOptions& options, Streams& streams) {
  jet::RequireNoJournalName(options.folder);
  const std::u8string utf8(options.folder.begin(), options.folder.end());
  std::error_code error;
  std::filesystem::create_directories(std::filesystem::path(utf8), error);
  if (error) {
    throw jet::Error(jet::ErrorKind::kIo,
                     fmt::format("The folder '{}' cannot be made: {}.", options.folder, error.message()));
  }
  samples::SampleOptions sample;
  sample.notices = options.notices;
  sample.seed = options.seed;
  sample.format = options.format;
  const auto progress = [&](int notices) {
    if (streams.progress && notices % 500 == 0)
      streams.err << fmt::format("\r{} of {} notices", notices, options.notices) << std::flush;
  };
  const samples::SampleFiles files =
      samples::MakeSample(jet::PlatformFileSystem(), options.folder, sample, progress);
  if (streams.progress) streams.err << '\r';
  streams.out << fmt::format("{}  {} notices, {} rows\n{}\n{}\n", files.notice, options.notices, files.rows,
                             files.reference, files.empty_template);
  return kOk;
}

}  // namespace vnt::cli
