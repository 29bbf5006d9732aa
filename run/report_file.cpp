#include "run/report_file.h"

#include <filesystem>
#include <fstream>

#include "access/base/error.h"
#include "access/file/copy_file.h"
#include "access/store/file_kind.h"
#include "platform/device.h"
#include "platform/paths.h"

namespace vnt {
namespace {

namespace fs = std::filesystem;
using platform::PathOf;

// What follows the name of a file that is complete and has yet to take its place.
constexpr const char* kNew = ".new";

bool HasRoomBeside(jet::FileSystem& files, const std::string& path) {
  return files.WhyNotCreate(files.ResolveLinks(path) + kNew + jet::kUnfinished).empty();
}

// Whether the name is, or will be, that of a file which can be replaced.
bool IsReplaceable(const std::string& path) {
  std::error_code ignored;
  const fs::file_status status = fs::status(PathOf(path), ignored);
  // A link to nothing stays a link.
  if (!fs::exists(status)) return !fs::is_symlink(fs::symlink_status(PathOf(path), ignored));
  return fs::is_regular_file(status) && HasRoomBeside(jet::PlatformFileSystem(), path);
}

// Whoever opens one to look may wait for the other end.
bool IsDeviceOrPipe(const std::string& path) {
  std::error_code ignored;
  return fs::is_other(fs::status(PathOf(path), ignored));
}

}  // namespace

void ReplaceWhole(jet::FileSystem& files, const std::string& path, std::string_view content) {
  const jet::Bytes bytes(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
  const std::string file = files.ResolveLinks(path);
  if (!files.Exists(file)) {
    files.CreateWhole(file, bytes);
    return;
  }
  const std::string complete = file + kNew;
  {
    // Whoever may not write to it may not replace it either. Some systems replace no file that is open.
    const auto former = files.Open(file, jet::OpenMode::kReadWrite);
    // Of one who was killed: nobody else has the former one now.
    if (files.Exists(complete)) files.Remove(complete);
    jet::CreateBeside(files, complete, bytes, *former);
  }
  try {
    files.Rename(complete, file);
  } catch (const jet::Error&) {
    files.Remove(complete);
    throw;
  }
  files.SyncFolder(file);
}

bool WriteReportFile(const std::string& path, std::string_view text) {
  if (IsDeviceOrPipe(path)) return platform::WriteToDevice(PathOf(path), text);
  // One may have come to this place since it was looked at before the run.
  if (WouldOverwriteDatabase(path)) return false;
  if (IsReplaceable(path)) {
    try {
      ReplaceWhole(jet::PlatformFileSystem(), path, text);
      return true;
    } catch (const jet::Error&) {
      return false;
    }
  }
  std::ofstream out(PathOf(path), std::ios::binary);
  out << text;
  out.close();
  return !out.fail();
}

bool BeginReportFile(const std::string& path, std::string_view text) {
  return IsDeviceOrPipe(path) || WriteReportFile(path, text);
}

bool WouldOverwriteDatabase(const std::string& path) {
  return !IsDeviceOrPipe(path) && jet::IsDatabaseOrJournal(PathOf(path));
}

}  // namespace vnt
