// What the options of fix put into the state of a run.
#pragma once

#include "cli/commands.h"
#include "cli/fix_printer.h"
#include "program/program_state.h"

namespace vnt::cli {

// Messages, settings, and how servers are logged on to as in the process so far.
void PrepareState(const FixOptions& options, Speaker& speaker, ProgramState& state);

}  // namespace vnt::cli
