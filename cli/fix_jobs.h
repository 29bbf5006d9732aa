// All notices of a data source, one by one, on several connections.
#pragma once

#include <string>

#include "cli/commands.h"
#include "run/fix_runner.h"

namespace vnt::cli {

// Fixes that change nothing beyond a notice run for each notice by itself; the others once, for all, in their
// place in the order. Jobs are processes; where there is no fork() there is one.
//
// What is done is kept in the table vnt_jobs until all is: a run that did not end is taken up by the next one
// of the same fixes.
int FixAllNotices(const std::string& source, const FixOptions& options, const FixSelection& selection,
                  Streams& streams);

}  // namespace vnt::cli
