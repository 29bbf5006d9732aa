// The surroundings of a test with a program state of its own in force.
#pragma once

#include "program/program_state.h"
#include "tests/platform/surroundings.h"

namespace vnt::testing {

class ProgramSurroundings : public Surroundings {
 protected:
  ProgramSurroundings() { state_.platform_services.messages = &messages_; }

  ProgramState state_;

 private:
  ScopedProgramState state_in_force_{state_};
};

}  // namespace vnt::testing
