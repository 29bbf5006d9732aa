// diff: what two databases differ in.
#include <ostream>

#include <fmt/format.h>

#include "cli/commands.h"
#include "cli/interruptible.h"
#include "cli/server.h"

namespace vnt::cli {

int Diff(const DiffOptions& options, Streams& streams) {
  const Interruptible interruptible;
  const ReadableDatabase old_database(options.old_file, options.compare.tables);
  const ReadableDatabase new_database(options.new_file, options.compare.tables);
  const std::int32_t notice = options.compare.notice;
  if (notice > 0 && !compare::HasNotice(*old_database, notice) &&
      !compare::HasNotice(*new_database, notice)) {
    streams.err << fmt::format("vntfix: neither {} nor {} has a notice {}.\n", options.old_file,
                               options.new_file, notice);
    return kRefused;
  }
  try {
    const auto writer = MakeDiffWriter(
        options.format, {options.old_file, options.new_file, notice, options.compare.only_counts},
        streams.out);
    const compare::Summary summary = compare::Compare(*old_database, *new_database, options.compare, *writer);
    writer->Finish(summary);
    streams.out.flush();
    // Exit status 1 says that the output holds the differences.
    if (!streams.out) return kUnwritten;
    return summary.equal() ? kOk : kDifferent;
  } catch (const OutputFailed&) {
    return kUnwritten;
  } catch (const jet::Error& error) {
    if (error.kind() == jet::ErrorKind::kInvalid) {
      streams.err << "vntfix: " << error.what() << '\n';
      return kUsage;
    }
    if (error.is_environment()) throw;
    // Whatever else it is: it must not be taken for a difference.
    streams.err << "vntfix: " << error.what() << '\n';
    return kRefused;
  }
}

}  // namespace vnt::cli
