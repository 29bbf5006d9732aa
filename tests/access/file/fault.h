// A failure of the file system in memory, as the tests of interruptions give it.
#pragma once

#include "access/file/test_files.h"

namespace jet {

struct Fault {
  MemoryFileSystem::Failure failure;
  bool from_then_on;
  bool power_loss;
  std::uint64_t keep_seed;
};

}  // namespace jet
