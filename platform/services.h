// What platform/ needs to be told for the whole process; see in_force.h.
#pragma once

#include <chrono>

#include "platform/messages.h"
#include "platform/settings.h"

namespace vnt::platform {

struct Services {
  Messages* messages = nullptr;  // null: standard error
  SettingOverrides settings;
  // For the user: see TimeWaited().
  std::chrono::steady_clock::duration time_waited{};
  bool waits = false;
};

}  // namespace vnt::platform
