#include "platform/file_rights.h"

namespace vnt::platform {

FileRights FileRights::Of(const std::filesystem::path&) { return {}; }

bool FileRights::GiveTo(const std::filesystem::path&) const { return true; }

bool FileRights::GiveToOpen(int) const { return true; }

}  // namespace vnt::platform
