// The platform's file system, and what the overlay promises on top of any file system.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <random>

#include "access/file/overlay.h"
#include "access/file/page_store.h"
#include "access/file/test_files.h"
#include "tests/access/file/kind_of.h"
#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#endif

namespace jet {
namespace {

Bytes AsBytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string ReadText(File& file, std::uint64_t offset, std::size_t size) {
  std::string text(size, '\0');
  file.Read(offset, {reinterpret_cast<std::uint8_t*>(text.data()), size});
  return text;
}

class PlatformFiles : public testing::Test {
 protected:
  PlatformFiles() {
    folder_ = std::filesystem::temp_directory_path() / fmt::format("jet-files-{}", std::random_device()());
    std::filesystem::create_directories(folder_);
  }
  ~PlatformFiles() override { std::filesystem::remove_all(folder_); }
  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  void Put(const std::string& name, const std::string& content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
  }

  FileSystem& files_ = PlatformFileSystem();
  std::filesystem::path folder_;
};

TEST_F(PlatformFiles, ReadsWritesAndResizes) {
  const auto file = files_.Open(Path("größe.mdb"), OpenMode::kCreateNew);
  file->Write(10, AsBytes("0123456789"));
  file->Sync();
  files_.SyncFolder(Path("größe.mdb"));
  EXPECT_EQ(file->Size(), 20u);
  EXPECT_EQ(ReadText(*file, 8, 4), std::string("\0\0", 2) + "01");
  EXPECT_EQ(KindOf([&] { ReadText(*file, 15, 6); }), ErrorKind::kCorrupt);
  file->Truncate(12);
  EXPECT_EQ(file->Size(), 12u);
  const auto temporary = files_.OpenTemporary();
  temporary->Write(1u << 20, AsBytes("x"));
  EXPECT_EQ(ReadText(*temporary, 1u << 20, 1), "x");
}

// As systems differ in it, a journal that one wrote was refused by another.
TEST_F(PlatformFiles, TimesAreTheSameOnEverySystem) {
  Put("a.mdb", "content");
  const auto time = std::chrono::file_clock::now() - std::chrono::hours(24 * 365);
  std::filesystem::last_write_time(Path("a.mdb"), time);
  const std::int64_t modified = files_.Open(Path("a.mdb"), OpenMode::kRead)->Stamp().modified;
  const auto year_ago = std::chrono::system_clock::now() - std::chrono::hours(24 * 365);
  const auto since_1970 = std::chrono::duration_cast<std::chrono::nanoseconds>(year_ago.time_since_epoch());
  EXPECT_LT(std::abs(since_1970.count() - modified), 60'000'000'000) << modified;
  EXPECT_EQ(modified % 100, 0);
}

TEST_F(PlatformFiles, ConflictsWithinTheProcess) {
  Put("a.mdb", "content");
  const std::string a = Path("a.mdb");
  const struct {
    OpenMode held, wanted;
    ErrorKind expected;  // kFailed: opens
  } cases[] = {
      {OpenMode::kRead, OpenMode::kRead, ErrorKind::kFailed},
      {OpenMode::kRead, OpenMode::kReadWrite, ErrorKind::kFailed},
      {OpenMode::kReadWrite, OpenMode::kRead, ErrorKind::kFailed},
      {OpenMode::kReadWrite, OpenMode::kReadWrite, ErrorKind::kLocked},
      {OpenMode::kReadWrite, OpenMode::kCreateNew, ErrorKind::kExists},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(fmt::format("{} then {}", static_cast<int>(c.held), static_cast<int>(c.wanted)));
    const auto held = files_.Open(a, c.held);
    EXPECT_EQ(KindOf([&] { files_.Open(a, c.wanted); }), c.expected);
    // A refused attempt must not have dropped the lock.
    const bool writing = c.held == OpenMode::kReadWrite;
    EXPECT_EQ(KindOf([&] { files_.Open(a, OpenMode::kReadWrite); }),
              writing ? ErrorKind::kLocked : ErrorKind::kFailed);
    EXPECT_EQ(files_.Open(a, OpenMode::kRead)->HasWriter(), writing);
    if (!writing) continue;
    EXPECT_TRUE(held->LockContent(false));
    held->ShareContent();
    const auto reader = files_.Open(a, OpenMode::kRead);
    EXPECT_FALSE(held->LockContent(false));
  }
  EXPECT_NO_THROW(files_.Open(a, OpenMode::kReadWrite));
}

TEST_F(PlatformFiles, RefusalsAndNames) {
  Put("a.mdb", "content");
  EXPECT_EQ(KindOf([&] { files_.Open(Path("missing.mdb"), OpenMode::kRead); }), ErrorKind::kNotFound);
  EXPECT_EQ(KindOf([&] { files_.Open(Path("no/such/folder.mdb"), OpenMode::kCreateNew); }),
            ErrorKind::kNotFound);
  EXPECT_EQ(KindOf([&] { files_.Open(folder_.string(), OpenMode::kRead); }), ErrorKind::kNotFound);
  EXPECT_EQ(KindOf([&] { files_.Identity(Path("missing.mdb")); }), ErrorKind::kNotFound);
  EXPECT_EQ(KindOf([&] { files_.Remove(Path("missing.mdb")); }), ErrorKind::kNotFound);
  EXPECT_EQ(files_.Identity(Path("a.mdb")),
            files_.Identity(Path("../") + folder_.filename().string() + "/a.mdb"));
  std::filesystem::create_hard_link(Path("a.mdb"), Path("link.mdb"));
  EXPECT_EQ(files_.Identity(Path("a.mdb")), files_.Identity(Path("link.mdb")));
  Put("b.mdb", "other");
  EXPECT_NE(files_.Identity(Path("a.mdb")), files_.Identity(Path("b.mdb")));
  files_.Rename(Path("b.mdb"), Path("a.mdb"));
  EXPECT_FALSE(files_.Exists(Path("b.mdb")));
  EXPECT_EQ(ReadText(*files_.Open(Path("a.mdb"), OpenMode::kRead), 0, 5), "other");
}

// A journal that cannot be seen may be there.
TEST_F(PlatformFiles, WhatCannotBeLookedAtIsNotCalledMissing) {
  Put("a.mdb", "content");
  const auto file = files_.Open(Path("a.mdb"), OpenMode::kRead);
  std::filesystem::remove(Path("a.mdb"));
  EXPECT_FALSE(file->IsInPlace());
  std::filesystem::create_symlink("a.mdb", Path("a.mdb"));  // leads to itself
  EXPECT_EQ(KindOf([&] { files_.Exists(Path("a.mdb")); }), ErrorKind::kIo);
  EXPECT_EQ(KindOf([&] { file->IsInPlace(); }), ErrorKind::kIo);
}

TEST_F(PlatformFiles, TellsWhyNoFileCanBeMade) {
  EXPECT_EQ(files_.WhyNotCreate(Path("new")), "");
  EXPECT_NE(files_.WhyNotCreate(Path("no/new")), "");
  EXPECT_NE(files_.WhyNotCreate(Path(std::string(256, 'x').c_str())), "");
}

TEST_F(PlatformFiles, NoFileIsMadeThroughALinkToNothing) {
  std::filesystem::create_symlink("nothing", Path("link"));
  EXPECT_NE(files_.WhyNotCreate(Path("link")), "");
}

TEST_F(PlatformFiles, RoomIsThatOfTheFolder) {
  const std::uint64_t room = files_.FreeBytes(Path("new"));
  const std::uint64_t known = std::filesystem::space(folder_).available;
  EXPECT_NEAR(static_cast<double>(room), static_cast<double>(known), 1e9) << "others write there, too";
  EXPECT_NE(files_.FreeBytes("new"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(files_.FreeBytes(Path("no/new")), std::numeric_limits<std::uint64_t>::max());
}

// Holds for the superuser too, whom the system would let write.
TEST_F(PlatformFiles, FileMarkedReadOnlyIsNotWritten) {
  Put("a.mdb", "content");
  std::filesystem::permissions(Path("a.mdb"), std::filesystem::perms::owner_read);
  EXPECT_EQ(KindOf([&] { files_.Open(Path("a.mdb"), OpenMode::kReadWrite); }), ErrorKind::kReadOnly);
  EXPECT_NO_THROW(files_.Open(Path("a.mdb"), OpenMode::kRead));
  std::filesystem::permissions(Path("a.mdb"), std::filesystem::perms::owner_all);
}

#ifndef _WIN32

// Runs `body` in another process; its return value is the exit code.
int InAnotherProcess(const std::function<int()>& body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000;
}

TEST_F(PlatformFiles, ConflictsBetweenProcesses) {
  Put("a.mdb", "content");
  const auto kind_there = [&](OpenMode mode) {
    return static_cast<ErrorKind>(InAnotherProcess(
        [&] { return static_cast<int>(KindOf([&] { files_.Open(Path("a.mdb"), mode); })); }));
  };
  {
    const auto held = files_.Open(Path("a.mdb"), OpenMode::kReadWrite);
    EXPECT_EQ(kind_there(OpenMode::kRead), ErrorKind::kFailed);
    EXPECT_EQ(kind_there(OpenMode::kReadWrite), ErrorKind::kLocked);
    ASSERT_TRUE(held->LockContent(false));
    EXPECT_EQ(kind_there(OpenMode::kRead), ErrorKind::kLocked);
    // The refusal says who.
    EXPECT_EQ(InAnotherProcess([&] {
                try {
                  files_.Open(Path("a.mdb"), OpenMode::kReadWrite);
                } catch (const Error& error) {
                  const std::string process = fmt::format("process {})", getppid());
                  return std::string_view(error.what()).find(process) == std::string_view::npos ? 1 : 0;
                }
                return 2;
              }),
              0);
  }
  {
    const auto held = files_.Open(Path("a.mdb"), OpenMode::kRead);
    EXPECT_EQ(kind_there(OpenMode::kRead), ErrorKind::kFailed);
    EXPECT_EQ(kind_there(OpenMode::kReadWrite), ErrorKind::kFailed);
  }
  EXPECT_EQ(kind_there(OpenMode::kReadWrite), ErrorKind::kFailed);
}

// A journal has the rights of its database, whatever the umask; what is no file of its own is not used.
TEST_F(PlatformFiles, CompanionsHaveTheRightsOfTheirFile) {
  for (const unsigned mode : {0600u, 0640u, 0666u}) {
    Put("a.mdb", "content");
    std::filesystem::permissions(Path("a.mdb"), static_cast<std::filesystem::perms>(mode));
    const auto owner = files_.Open(Path("a.mdb"), OpenMode::kReadWrite);
    const mode_t umask_before = umask(027);
    files_.OpenCompanion(Path("a-j"), OpenMode::kCreateNew, *owner)->Write(0, AsBytes("x"));
    umask(umask_before);
    EXPECT_EQ(std::filesystem::status(Path("a-j")).permissions(), static_cast<std::filesystem::perms>(mode));
    if (geteuid() == 0) {
      ASSERT_EQ(chown(Path("a.mdb").c_str(), 1234, 4321), 0);
      files_.OpenCompanion(Path("of-somebody"), OpenMode::kCreateNew, *owner);
      struct stat st;
      ASSERT_EQ(stat(Path("of-somebody").c_str(), &st), 0);
      EXPECT_EQ(st.st_uid, 1234u);
      EXPECT_EQ(st.st_gid, 4321u);
      files_.Remove(Path("of-somebody"));
    }
    std::filesystem::create_symlink(Path("a-j"), Path("symbolic"));
    std::filesystem::create_hard_link(Path("a-j"), Path("hard"));
    for (const char* name : {"symbolic", "hard", "a-j"}) {
      EXPECT_EQ(KindOf([&] { files_.OpenCompanion(Path(name), OpenMode::kReadWrite, *owner); }),
                ErrorKind::kCorrupt);
    }
    for (const char* name : {"symbolic", "hard", "a-j", "a.mdb"}) files_.Remove(Path(name));
  }
}

TEST_F(PlatformFiles, AFileIsCreatedWholeOrNotAtAll) {
  files_.CreateWhole(Path("new.mdb"), AsBytes("whole"));
  EXPECT_EQ(ReadText(*files_.Open(Path("new.mdb"), OpenMode::kRead), 0, 5), "whole");
  EXPECT_EQ(KindOf([&] { files_.CreateWhole(Path("new.mdb"), AsBytes("other")); }), ErrorKind::kExists);
  EXPECT_EQ(ReadText(*files_.Open(Path("new.mdb"), OpenMode::kRead), 0, 5), "whole");
  EXPECT_EQ(KindOf([&] { files_.CreateWhole(Path("no/new.mdb"), AsBytes("x")); }), ErrorKind::kNotFound);
  const auto count = std::distance(std::filesystem::directory_iterator(folder_), {});
  EXPECT_EQ(count, 1) << "nothing else is left";
}

// A limit of the file size stands for a full disk: the checkpoint fails, the file is the old one, and once
// there is space what was done gets to it.
TEST_F(PlatformFiles, FullDiskLeavesTheOldFileAndTheJournal) {
  const std::string old_content(4096 * 20, 'o');
  Put("a.mdb", old_content);
  const int result = InAnotherProcess([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {4096 * 24, 4096 * 24};
    setrlimit(RLIMIT_FSIZE, &limit);
    PageStore store(files_, files_.Open(Path("a.mdb"), OpenMode::kReadWrite), Path("a.mdb-journal"), true,
                    4096);
    store.Write(3).mutable_data()[0] = 1;
    for (int i = 0; i < 10; ++i) store.Append();
    return static_cast<int>(KindOf([&] { store.Checkpoint(); }));
  });
  EXPECT_EQ(static_cast<ErrorKind>(result), ErrorKind::kIo);
  {
    const auto file = files_.Open(Path("a.mdb"), OpenMode::kRead);
    ASSERT_EQ(file->Size(), old_content.size());
    EXPECT_TRUE(ReadText(*file, 0, old_content.size()) == old_content);
  }
  PageStore store(files_, files_.Open(Path("a.mdb"), OpenMode::kReadWrite), Path("a.mdb-journal"), true,
                  4096);
  EXPECT_EQ(store.page_count(), 30u);
  EXPECT_EQ(store.Read(3).data()[0], 1);
  EXPECT_EQ(store.Read(4).data()[0], 'o');
  EXPECT_FALSE(files_.Exists(Path("a.mdb-journal")));
}

// A process is killed at any moment, while it persists its work or brings it to the file.
TEST_F(PlatformFiles, KilledProcessLeavesWhatItPersisted) {
  constexpr PageNo kPages = 600;
  Put("a.mdb", std::string(4096 * kPages, '\0'));
  for (int round = 0; round < 12; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      PageStore store(files_, files_.Open(Path("a.mdb"), OpenMode::kReadWrite), Path("a.mdb-journal"), true,
                      4096);
      for (;;) {
        for (PageNo i = 0; i < kPages; i += 2) ++store.Write(i).mutable_data()[5];
        ++store.Append().mutable_data()[5];
        if (store.page_count() % 4 == 0) {
          store.Checkpoint();
        } else {
          store.Persist();
        }
      }
    }
    usleep(static_cast<useconds_t>(3000 + 7919 * round));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    PageStore store(files_, files_.Open(Path("a.mdb"), OpenMode::kReadWrite), Path("a.mdb-journal"), true,
                    4096);
    const int generation = store.Read(0).data()[5];
    for (PageNo i = 0; i < kPages; ++i) {
      ASSERT_EQ(store.Read(i).data()[5], i % 2 == 0 ? generation : 0) << "page " << i;
    }
    ASSERT_EQ((store.page_count() - kPages) % 256, static_cast<PageNo>(generation));
  }
}

std::string Entry(const std::string& computer, const std::string& user) {
  std::string entry(64, '\0');
  entry.replace(0, computer.size(), computer);
  entry.replace(32, user.size(), user);
  return entry;
}

TEST_F(PlatformFiles, AccessUsersAreThoseWhoLockTheirEntry) {
  const std::string content = Entry("PC7", "Admin") + Entry("PC8", "Jos\xE9") + Entry("PC9", "");
  Put("a.mdb", "");
  Put("A.LDB", content);
  Put("b.accdb", "");
  Put("b.laccdb", content);
  Put("c.mdb", "");
  const auto users_with_locks = [&](const std::string& database, const std::string& lock_file,
                                    std::vector<int> entries) {
    const int fd = open(Path(lock_file).c_str(), O_RDWR);
    for (const int entry : entries) {
      struct flock lock = {};
      lock.l_type = F_WRLCK;
      lock.l_start = 0x10000001 + entry;
      lock.l_len = 1;
      EXPECT_EQ(fcntl(fd, F_OFD_SETLK, &lock), 0);
    }
    std::string users = files_.AccessUsers(Path(database));
    close(fd);
    return users;
  };
  EXPECT_EQ(users_with_locks("a.mdb", "A.LDB", {}), "") << "a leftover does not count";
  EXPECT_EQ(users_with_locks("a.mdb", "A.LDB", {0}), "Admin on PC7");
  EXPECT_EQ(users_with_locks("a.mdb", "A.LDB", {0, 1}), "Admin on PC7, José on PC8");
  EXPECT_EQ(users_with_locks("b.accdb", "b.laccdb", {2}), "somebody on PC9");
  EXPECT_EQ(users_with_locks("b.accdb", "b.laccdb", {200}), "somebody")
      << "an entry beyond the end of the file";
  EXPECT_EQ(files_.AccessUsers(Path("c.mdb")), "");
  EXPECT_EQ(files_.AccessUsers(Path("missing/d.mdb")), "");
}

#endif

// Random writes and size changes, through the overlay and on a plain string.
TEST(Overlay, ChangesAreSeenThroughItAndNowhereElse) {
  for (std::uint64_t seed = 1; seed <= 20; ++seed) {
    std::mt19937_64 random(seed);
    MemoryFileSystem base;
    std::string model(20000 + random() % 9000, 'b');
    const std::string original = model;
    base.SetContent("/a.mdb", original);
    base.SetReadOnly("/a.mdb", true);
    const std::unique_ptr<FileSystem> overlay = MakeOverlay(base);
    auto file = overlay->Open("/a.mdb", OpenMode::kReadWrite);
    for (int step = 0; step < 300; ++step) {
      const std::size_t offset = random() % (model.size() + 5000);
      switch (random() % 6) {
        case 0: {
          const std::size_t size = random() % 3 == 0 ? offset : model.size() / 2 + random() % model.size();
          file->Truncate(size);
          model.resize(size);
          break;
        }
        case 1:
          file.reset();
          file = overlay->Open("/a.mdb", OpenMode::kReadWrite);
          break;
        default: {
          const std::string data(1 + random() % 9000, static_cast<char>(random()));
          file->Write(offset, AsBytes(data));
          if (model.size() < offset + data.size()) model.resize(offset + data.size());
          model.replace(offset, data.size(), data);
        }
      }
      if (model.empty()) model.resize(1), file->Truncate(1);
      ASSERT_EQ(file->Size(), model.size());
      const std::size_t from = random() % model.size();
      const std::size_t size = random() % (model.size() - from);
      ASSERT_TRUE(ReadText(*file, from, size) == model.substr(from, size))
          << "seed " << seed << " step " << step;
    }
    EXPECT_TRUE(base.Content("/a.mdb") == original);
  }
}

TEST(Overlay, NamesAndLocks) {
  MemoryFileSystem base;
  base.SetContent("/a.mdb", "aaa");
  const std::unique_ptr<FileSystem> overlay = MakeOverlay(base);
  overlay->Open("/new", OpenMode::kCreateNew)->Write(0, AsBytes("new"));
  EXPECT_FALSE(base.Exists("/new"));
  overlay->Rename("/new", "/b");
  EXPECT_EQ(ReadText(*overlay->Open("/b", OpenMode::kRead), 0, 3), "new");
  overlay->Remove("/b");
  EXPECT_EQ(KindOf([&] { overlay->Open("/b", OpenMode::kRead); }), ErrorKind::kNotFound);
  EXPECT_EQ(KindOf([&] { overlay->Open("/a.mdb", OpenMode::kCreateNew); }), ErrorKind::kExists);
  {
    const auto held = overlay->Open("/a.mdb", OpenMode::kReadWrite);
    EXPECT_EQ(KindOf([&] { overlay->Open("/a.mdb", OpenMode::kReadWrite); }), ErrorKind::kLocked);
    EXPECT_NO_THROW(overlay->Open("/a.mdb", OpenMode::kRead));
  }
  overlay->Remove("/a.mdb");
  EXPECT_FALSE(overlay->Exists("/a.mdb"));
  EXPECT_TRUE(base.Exists("/a.mdb"));
}

// What the crash tests stand on: a power loss takes exactly what was not synced.
TEST(MemoryFiles, PowerLossDropsWhatWasNotSynced) {
  MemoryFileSystem files;
  auto a = files.Open("/d/a", OpenMode::kCreateNew);
  a->Write(0, AsBytes("synced"));
  a->Sync();
  files.SyncFolder("/d/a");
  a->Write(3, AsBytes("lost"));
  auto b = files.Open("/d/b", OpenMode::kCreateNew);
  b->Sync();  // the content, not the name
  files.LosePower();
  EXPECT_EQ(files.Content("/d/a"), "synced");
  EXPECT_FALSE(files.Exists("/d/b"));
  EXPECT_EQ(KindOf([&] { a->Write(0, AsBytes("x")); }), ErrorKind::kIo);
  EXPECT_NO_THROW(files.Open("/d/a", OpenMode::kReadWrite)) << "the lock went with the power";
  files.Remove("/d/a");
  files.LosePower();
  EXPECT_TRUE(files.Exists("/d/a"));
}

}  // namespace
}  // namespace jet
