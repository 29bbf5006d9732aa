// What the file system of Windows does that others do not: share modes of other programs, locks that name
// their holder, Access's lock files, links, long paths.
#include <windows.h>
// after windows.h
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "access/file/file.h"
#include "tests/access/file/kind_of.h"
#include "tests/process.h"

namespace jet {
namespace {

namespace fs = std::filesystem;

// The text of the error that `action` throws; empty when it throws none.
std::string FailureOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return error.what();
  }
  return {};
}
// A file as another program has it open.
class Held {
 public:
  Held(const fs::path& path, DWORD access, DWORD share)
      : handle_(CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                            nullptr)) {
    EXPECT_NE(handle_, INVALID_HANDLE_VALUE) << GetLastError();
  }
  ~Held() { CloseHandle(handle_); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;
  void LockByte(DWORD offset) const {
    OVERLAPPED at = {};
    at.Offset = offset;
    EXPECT_NE(LockFileEx(handle_, LOCKFILE_EXCLUSIVE_LOCK | LOCKFILE_FAIL_IMMEDIATELY, 0, 1, 0, &at), 0);
  }

 private:
  HANDLE handle_;
};

class WindowsFiles : public testing::Test {
 protected:
  ~WindowsFiles() override { fs::remove_all(folder_); }
  std::string Path(const std::string& name) const { return vnt::test::Utf8Of(folder_) + "\\" + name; }
  void Put(const std::string& name, const std::string& content) const {
    std::ofstream(vnt::test::PathOf(Path(name)), std::ios::binary) << content;
  }

  FileSystem& files_ = PlatformFileSystem();
  fs::path folder_ = vnt::test::NewFolder("jet-files-win-");
};

TEST_F(WindowsFiles, ShareModesOfOtherProgramsAreRespected) {
  Put("a.mdb", "content");
  const fs::path a = vnt::test::PathOf(Path("a.mdb"));
  constexpr DWORD kAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const struct {
    DWORD access, share;
    bool may_read, may_write;
  } cases[] = {
      {GENERIC_READ | GENERIC_WRITE, 0, false, false},
      {GENERIC_READ, FILE_SHARE_READ, true, false},
      {GENERIC_READ, kAll, true, true},
      {GENERIC_READ | GENERIC_WRITE, kAll, true, false},  // it may write while we would
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(fmt::format("access {:x}, share {}", c.access, c.share));
    const Held other(a, c.access, c.share);
    EXPECT_EQ(KindOf([&] { files_.Open(Path("a.mdb"), OpenMode::kRead); }),
              c.may_read ? ErrorKind::kFailed : ErrorKind::kLocked);
    EXPECT_EQ(KindOf([&] { files_.Open(Path("a.mdb"), OpenMode::kReadWrite); }),
              c.may_write ? ErrorKind::kFailed : ErrorKind::kLocked);
  }
  const auto ours = files_.Open(Path("a.mdb"), OpenMode::kReadWrite);
  EXPECT_EQ(CreateFileW(a.c_str(), GENERIC_WRITE, kAll, nullptr, OPEN_EXISTING, 0, nullptr),
            INVALID_HANDLE_VALUE)
      << "while we write nobody else does";
  EXPECT_EQ(DeleteFileW(a.c_str()), 0);
}

TEST_F(WindowsFiles, RefusalNamesTheProcessThatWrites) {
  Put("a.mdb", "content");
  const auto held = files_.Open(Path("a.mdb"), OpenMode::kReadWrite);
  const std::string refusal = FailureOf([&] { files_.Open(Path("a.mdb"), OpenMode::kReadWrite); });
  const std::string who = fmt::format("test_access_file, process {})", GetCurrentProcessId());
  EXPECT_NE(refusal.find(who), std::string::npos) << refusal;
}

TEST_F(WindowsFiles, AccessUsersAreThoseWhoLockTheirEntry) {
  std::string content(128, '\0');
  content.replace(0, 3, "PC7").replace(32, 5, "Admin").replace(64, 3, "PC8").replace(96, 4, "Jos\xE9");
  Put("a.mdb", "");
  Put("A.LDB", content);
  Put("b.accdb", "");
  Put("b.laccdb", content);
  constexpr DWORD kAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  constexpr DWORD kFirstEntry = 0x10000001;
  EXPECT_EQ(files_.AccessUsers(Path("a.mdb")), "") << "a leftover does not count";
  {
    const Held access(vnt::test::PathOf(Path("a.ldb")), GENERIC_READ | GENERIC_WRITE, kAll);
    EXPECT_EQ(files_.AccessUsers(Path("a.mdb")), "") << "open, but no entry is locked";
    access.LockByte(kFirstEntry);
    EXPECT_EQ(files_.AccessUsers(Path("a.mdb")), "Admin on PC7");
    access.LockByte(kFirstEntry + 1);
    EXPECT_EQ(files_.AccessUsers(Path("a.mdb")), "Admin on PC7, José on PC8");
  }
  {
    const Held access(vnt::test::PathOf(Path("b.laccdb")), GENERIC_READ | GENERIC_WRITE, kAll);
    access.LockByte(kFirstEntry + 200);
    EXPECT_EQ(files_.AccessUsers(Path("b.accdb")), "somebody") << "an entry beyond the end of the file";
  }
  const Held access(vnt::test::PathOf(Path("b.laccdb")), GENERIC_READ, 0);
  EXPECT_EQ(files_.AccessUsers(Path("b.accdb")), "somebody") << "a lock file that may not be read";
}

TEST_F(WindowsFiles, CompanionMustBeAFileOfItsOwn) {
  Put("a.mdb", "content");
  const auto owner = files_.Open(Path("a.mdb"), OpenMode::kReadWrite);
  Put("journal", "x");
  EXPECT_NO_THROW(files_.OpenCompanion(Path("journal"), OpenMode::kReadWrite, *owner));
  fs::create_hard_link(vnt::test::PathOf(Path("journal")), vnt::test::PathOf(Path("hard")));
  for (const char* name : {"journal", "hard"}) {
    EXPECT_EQ(files_.LinkCount(Path(name)), 2U);
    EXPECT_EQ(KindOf([&] { files_.OpenCompanion(Path(name), OpenMode::kReadWrite, *owner); }),
              ErrorKind::kCorrupt);
  }
  fs::create_directory(vnt::test::PathOf(Path("folder")));
  EXPECT_EQ(KindOf([&] { files_.OpenCompanion(Path("folder"), OpenMode::kReadWrite, *owner); }),
            ErrorKind::kCorrupt);
}

TEST_F(WindowsFiles, AFileIsCreatedWholeOrNotAtAll) {
  const std::string whole = "whole";
  const Bytes content(reinterpret_cast<const std::uint8_t*>(whole.data()), whole.size());
  files_.CreateWhole(Path("new.mdb"), content);
  EXPECT_EQ(files_.Open(Path("new.mdb"), OpenMode::kRead)->Size(), whole.size());
  EXPECT_EQ(KindOf([&] { files_.CreateWhole(Path("new.mdb"), content); }), ErrorKind::kExists);
  EXPECT_EQ(KindOf([&] { files_.CreateWhole(Path("no\\new.mdb"), content); }), ErrorKind::kNotFound);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1) << "nothing else is left";
}

TEST_F(WindowsFiles, LongPathsNeedNoSettingOfTheSystem) {
  std::string folder = Path("");
  while (folder.size() < 400) {
    folder += "Длинное имя папки 漢字\\";
    CreateDirectoryW((L"\\\\?\\" + vnt::test::PathOf(folder).wstring()).c_str(), nullptr);
  }
  const std::string file = folder + "a.mdb";
  ASSERT_TRUE(files_.Open(file, OpenMode::kCreateNew) != nullptr);
  EXPECT_TRUE(files_.Exists(file));
  std::string mixed = file;
  std::replace(mixed.begin(), mixed.end(), '\\', '/');
  EXPECT_EQ(files_.Identity(mixed), files_.Identity(file));
  EXPECT_EQ(files_.WhyNotCreate(file + "-journal"), "");
  EXPECT_FALSE(files_.ResolveLinks(file).starts_with("\\\\?\\")) << "users are told of it";
  EXPECT_EQ(files_.Identity(files_.ResolveLinks(file)), files_.Identity(file));
  files_.Remove(file);
  EXPECT_FALSE(files_.Exists(file));
}

}  // namespace
}  // namespace jet
