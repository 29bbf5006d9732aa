#include "platform/file_rights.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <vector>

namespace vnt::platform {
namespace {

constexpr const char* kAccessList = "system.posix_acl_access";
constexpr std::size_t kLongestList = 65536;
constexpr mode_t kMode = 07777;
// Reading and writing, of one of the three classes of a mode.
constexpr mode_t kUse = 6;
enum Class { kOthers = 0, kGroup = 3, kOwner = 6 };

mode_t UseOf(mode_t mode, Class of) { return mode >> of & kUse; }

bool IsMember(uid_t user, gid_t group) {
  const passwd* const entry = getpwuid(user);
  if (entry == nullptr) return false;
  int count = 1024;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  if (getgrouplist(entry->pw_name, entry->pw_gid, groups.data(), &count) < 0) return false;
  const auto end = groups.begin() + count;
  return std::find(groups.begin(), end, group) != end;
}

}  // namespace

FileRights FileRights::Of(const std::filesystem::path& file) {
  FileRights rights;
  struct stat st;
  if (stat(file.c_str(), &st) != 0) return rights;
  rights.known_ = true;
  rights.owner_ = st.st_uid;
  rights.group_ = st.st_gid;
  rights.mode_ = st.st_mode & kMode;
  std::string list(kLongestList, '\0');
  const ssize_t size = getxattr(file.c_str(), kAccessList, list.data(), list.size());
  if (size > 0) rights.access_list_ = list.substr(0, static_cast<std::size_t>(size));
  return rights;
}

// The new file got owner and group when it was made, when nobody else could have put another one in its
// place.
bool FileRights::GiveTo(const std::filesystem::path& file) const {
  std::error_code ignored;
  const auto target = std::filesystem::canonical(file, ignored);
  const int descriptor = open(target.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return true;
  const bool given = GiveToOpen(descriptor);
  close(descriptor);
  return given;
}

bool FileRights::GiveToOpen(int file) const {
  struct stat st;
  if (!known_ || fstat(file, &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink != 1) return true;
  const bool has_owner = st.st_uid == owner_, has_group = st.st_gid == group_;
  mode_t mode = mode_;
  if (!has_owner) mode &= ~static_cast<mode_t>(S_ISUID);
  if (!has_group) {
    // Another group than that which had them: its members had the rights of others, if not fewer.
    const mode_t use = UseOf(mode, kGroup) & UseOf(mode, kOthers);
    mode = (mode & ~static_cast<mode_t>(S_ISGID | S_IRWXG)) | use << kGroup;
  }
  bool given = mode == (st.st_mode & kMode) || fchmod(file, mode) == 0;
  if (has_group && !access_list_.empty()) {
    given &= fsetxattr(file, kAccessList, access_list_.data(), access_list_.size(), 0) == 0;
  }
  const mode_t group = UseOf(mode, kGroup), others = UseOf(mode, kOthers);
  const mode_t as_owner = IsMember(owner_, st.st_gid) ? group : others;
  const bool owner_can = has_owner || owner_ == 0 || (UseOf(mode_, kOwner) & ~as_owner) == 0;
  // Members of the former group are others now, and others may be members of the new one.
  const bool group_can = has_group || ((UseOf(mode_, kGroup) & ~others) == 0 && (others & ~group) == 0);
  return given && owner_can && group_can;
}

}  // namespace vnt::platform
