#include "platform/device.h"

#include <fstream>

namespace vnt::platform {

bool WriteToDevice(const std::filesystem::path& path, std::string_view text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  out.close();
  return !out.fail();
}

}  // namespace vnt::platform
