// What platform/ needs to be told for the whole process; see in_force.h.
#pragma once

#include "platform/messages.h"
#include "platform/settings.h"

namespace vnt::platform {

struct Services {
  Messages* messages = nullptr;  // null: standard error
  SettingOverrides settings;
};

}  // namespace vnt::platform
