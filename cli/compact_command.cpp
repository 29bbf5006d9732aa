// compact: gives back the space that a file does not need.
#include <ostream>

#include <fmt/format.h>

#include "access/check/compact_file.h"
#include "cli/commands.h"
#include "cli/interruptible.h"

namespace vnt::cli {

int Compact(const std::string& file, Streams& streams) {
  const Interruptible interruptible;
  const jet::CompactedSizes sizes = jet::CompactFile(jet::PlatformFileSystem(), file);
  streams.out << fmt::format("{}: {} bytes before, {} bytes after\n", file, sizes.before, sizes.after);
  return kOk;
}

}  // namespace vnt::cli
