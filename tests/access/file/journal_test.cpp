// What stands between a journal and the file it is for: damage, other files, other programs.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "access/file/journal.h"
#include "tests/access/file/interrupted_work.h"

namespace jet {
namespace {

TEST(Journal, IsNotAppliedToAnotherFileNorWhenDamaged) {
  const auto overwrite = [](std::string text, std::size_t at, const std::string& with) {
    return text.replace(at, with.size(), with);
  };
  const auto in_journal_pages = [&](const MemoryFileSystem& f, std::string copy, const std::string& with) {
    const std::string journal = f.Content(kJournal);
    constexpr std::size_t kRecord = internal::Journal::kPrefixBytes + kPage;
    for (std::size_t at = 8192; at + kRecord <= journal.size(); at += kRecord) {
      const auto page = LoadLe<PageNo>(reinterpret_cast<const std::uint8_t*>(journal.data()) + at);
      if (page < kPages) copy = overwrite(copy, page * kPage + 1000, with);
    }
    return copy;
  };
  const struct {
    const char* what;
    bool applying;
    std::function<void(MemoryFileSystem&)> change;
  } cases[] = {
      {"a longer file", true, [&](auto& f) { f.SetContent(kPath, std::string((kPages + 41) * kPage, 'x')); }},
      {"a file that has grown", false,
       [&](auto& f) { f.SetContent(kPath, State(0) + std::string(kPage, 'x')); }},
      {"a shorter file", true, [&](auto& f) { f.SetContent(kPath, State(0).substr(kPage)); }},
      {"another file of that size", true,
       [&](auto& f) { f.SetContent(kPath, std::string(State(0).size(), 'x')); }},
      {"a page changed since", true,
       [&](auto& f) { f.SetContent(kPath, overwrite(f.Content(kPath), kPage + 17, "changed")); }},
      {"a byte of a page of the journal changed in a file that was not touched", false,
       [&](auto& f) { f.SetContent(kPath, overwrite(f.Content(kPath), 8 * kPage + 17, "!")); }},
      {"an older copy, which differs in the pages of the journal only", true,
       [&](auto& f) { f.SetContent(kPath, in_journal_pages(f, State(0), "older")); }},
      {"a record changed", false,
       [&](auto& f) { f.SetContent(kJournal, overwrite(f.Content(kJournal), 15000, "changed")); }},
      {"a record changed while the file was being written", true,
       [&](auto& f) { f.SetContent(kJournal, overwrite(f.Content(kJournal), 15000, "changed")); }},
      {"a journal cut short", false,
       [&](auto& f) {
         f.SetContent(kJournal, f.Content(kJournal).substr(0, f.Content(kJournal).size() - 1));
       }},
      {"a journal cut off in its first header, of a file half written", true,
       [&](auto& f) { f.SetContent(kJournal, f.Content(kJournal).substr(0, 300)); }},
      {"a journal of another version", false,
       [&](auto& f) {
         f.SetContent(kJournal, overwrite(overwrite(f.Content(kJournal), 4096 + 7, "\x03"), 7, "\x03"));
       }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    MemoryFileSystem files;
    Interrupt(files, c.applying);
    c.change(files);
    const std::string content = files.Content(kPath);
    EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt);
    EXPECT_EQ(OpenFails(files, OpenMode::kRead), ErrorKind::kCorrupt);
    EXPECT_TRUE(files.Content(kPath) == content);
    EXPECT_TRUE(files.Exists(kJournal));
  }
}

// A program was killed while it brought the file up to date; the disk keeps what it was given.
void KillHalfway(MemoryFileSystem& files) {
  const std::string before = State(0);
  for (std::uint64_t more = 1; more < 100; ++more) {
    files.SetContent(kPath, before);
    auto store = OpenStore(files);
    FirstWork(*store);
    files.FailAt(files.operations() + more, MemoryFileSystem::Failure::kIo, true);
    EXPECT_THROW(store->Checkpoint(), Error);
    store.reset();
    files.FailAt(0, MemoryFileSystem::Failure::kIo);
    if (files.Content(kPath) != before) return;
    if (files.Exists(kJournal)) files.Remove(kJournal);
  }
  FAIL() << "the file was never touched";
}

// Headers that are lost are not taken for those of a journal that has nothing to keep.
TEST(Journal, IsKeptWithoutItsHeadersWhenTheFileIsHalfWritten) {
  const std::string zeros(512, '\0');
  const struct {
    const char* what;
    std::function<std::string(std::string)> change;
  } cases[] = {
      {"cut off behind the first header", [](const std::string& j) { return j.substr(0, 512); }},
      {"cut off before the second header", [](const std::string& j) { return j.substr(0, 4096); }},
      {"without it, and cut short",
       [&](std::string j) { return j.replace(4096, 512, zeros).substr(0, j.size() - 1); }},
      {"without it, and with a damaged record",
       [&](std::string j) { return j.replace(4096, 512, zeros).replace(15000, 3, "bad"); }},
      {"without both", [&](std::string j) { return j.replace(0, 512, zeros).replace(4096, 512, zeros); }},
      {"with nothing but zeros", [](const std::string& j) { return std::string(j.size(), '\0'); }},
      {"cut off within its first header", [](const std::string& j) { return j.substr(0, 40); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    MemoryFileSystem files;
    KillHalfway(files);
    const std::string content = files.Content(kPath);
    const std::string changed = c.change(files.Content(kJournal));
    files.SetContent(kJournal, changed);
    EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt);
    EXPECT_EQ(OpenFails(files, OpenMode::kRead), ErrorKind::kCorrupt);
    EXPECT_TRUE(files.Content(kPath) == content);
    EXPECT_TRUE(files.Content(kJournal) == changed);
  }
  MemoryFileSystem files;
  KillHalfway(files);
  files.SetContent(kJournal, files.Content(kJournal).replace(4096, 512, zeros));
  EXPECT_NO_THROW(OpenStore(files));
  EXPECT_EQ(StateOf(files.Content(kPath)), 1) << "one header is enough";
}

// A program was killed when it had written the records, and no header.
std::string JournalWithoutAState() {
  for (std::uint64_t more = 1; more < 100; ++more) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    auto store = OpenStore(files);
    FirstWork(*store);
    files.FailAt(files.operations() + more, MemoryFileSystem::Failure::kIo, true);
    EXPECT_THROW(store->Persist(), Error);
    if (files.Exists(kJournal) && files.Content(kJournal).size() > 8192 + kPage)
      return files.Content(kJournal);
  }
  ADD_FAILURE() << "no record was written";
  return std::string(8192, 'x');
}

// Before there is room for a record, both headers say that there is nothing.
TEST(Journal, IsRemovedOnlyWhenItWasNeverCommitted) {
  const std::string written = JournalWithoutAState();
  const std::string nothing = written.substr(0, 512), made = written.substr(0, 4096 + 512);
  ASSERT_EQ(nothing, written.substr(4096, 512));
  const struct {
    std::string journal;
    bool removed;
  } cases[] = {
      {std::string(), true},
      {std::string(4608, '\0'), true},
      {made, true},
      {nothing, true},
      {made.substr(0, 300), true},
      {made.substr(0, 4096 + 300), true},
      {std::string(4096, '\0') + nothing, true},
      {written, true},
      {written + "x", true},
      {std::string(4609, '\0'), false},
      {written.substr(0, 300) + std::string(9000, '\0'), false},
      {std::string(511, 'x'), false},
      {std::string("pgjrnl\x1A\x05") + std::string(600, 'x'), false},
      {std::string("pgjrnl\x1A\x03") + std::string(600, 'x'), false},
      {std::string(20000, 'x'), false},
      {std::string(4096, '\0') + "x", false},
  };
  for (const auto& c : cases) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    files.SetContent(kJournal, c.journal);
    if (c.removed) {
      EXPECT_NO_THROW(OpenStore(files, OpenMode::kRead));
      EXPECT_NO_THROW(OpenStore(files));
    } else {
      EXPECT_EQ(OpenFails(files, OpenMode::kRead), ErrorKind::kCorrupt);
      EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt);
    }
    EXPECT_EQ(files.Exists(kJournal), !c.removed);
    EXPECT_TRUE(files.Content(kPath) == OldContent());
  }
}

// One bit, anywhere in a header or record, and bytes of records here and there: what was committed is found
// exactly, or everything stays as it is.
TEST(Journal, ABitFlippedIsRecoveredFromOrRefused) {
  int recovered = 0, refused = 0;
  for (const bool applying : {false, true}) {
    MemoryFileSystem before;
    Interrupt(before, applying);
    const std::string journal = before.Content(kJournal);
    std::vector<std::size_t> places;
    for (const std::size_t header : {0u, 4096u}) {
      for (std::size_t i = 0; i < 512; i += applying ? 1 : 7) places.push_back(header + i);
    }
    for (std::size_t i = 0; i < internal::Journal::kPrefixBytes; i += 3) places.push_back(8192 + i);
    for (std::size_t at = 8192; at < journal.size(); at += 9973) places.push_back(at);
    for (const std::size_t place : places) {
      SCOPED_TRACE(place);
      MemoryFileSystem files;
      files.CopyFrom(before, kPath);
      std::string flipped = journal;
      flipped[place] = static_cast<char>(flipped[place] ^ (1 << place % 8));
      files.SetContent(kJournal, flipped);
      try {
        OpenStore(files);
        ++recovered;
        ASSERT_EQ(StateOf(files.Content(kPath)), 1);
        ASSERT_FALSE(files.Exists(kJournal));
      } catch (const Error& error) {
        ++refused;
        ASSERT_EQ(error.kind(), ErrorKind::kCorrupt);
        ASSERT_TRUE(files.Content(kPath) == before.Content(kPath));
        ASSERT_TRUE(files.Content(kJournal) == flipped);
      }
    }
  }
  EXPECT_GT(recovered, 1000) << "one header is enough";
  EXPECT_GT(refused, 100);
}

// Sectors all over the file, changed by somebody after the crash: pages in the journal that are old, new or
// half written, pages that are not in it, and what was appended.
TEST(Journal, NoForeignSectorIsOverwritten) {
  for (const bool applying : {false, true}) {
    MemoryFileSystem before;
    Interrupt(before, applying);
    const std::string content = before.Content(kPath);
    for (std::size_t sector = 0; sector * 512 < content.size(); sector += applying ? 3 : 19) {
      SCOPED_TRACE(sector);
      MemoryFileSystem files;
      files.CopyFrom(before, kPath);
      files.CopyFrom(before, kJournal);
      const std::size_t place = sector * 512 + sector * 7 % 512;
      files.ChangeBehind(kPath, place, std::string(1, static_cast<char>(content[place] ^ 0x10)));
      const std::string changed = files.Content(kPath);
      ASSERT_EQ(OpenFails(files, sector % 2 == 0 ? OpenMode::kReadWrite : OpenMode::kRead),
                ErrorKind::kCorrupt);
      ASSERT_TRUE(files.Content(kPath) == changed);
      ASSERT_TRUE(files.Content(kJournal) == before.Content(kJournal));
    }
  }
}

// Numbers that nothing stands behind, in a header whose checksum is right, make nothing large.
TEST(Journal, ItsNumbersAreBoundedByWhatThereIs) {
  MemoryFileSystem before;
  Interrupt(before, true);
  std::string journal = before.Content(kJournal);
  for (const std::size_t field : {16u, 20u, 24u, 48u}) {
    MemoryFileSystem files;
    files.CopyFrom(before, kPath);
    std::string planted = journal;
    for (const std::size_t header : {0u, 4096u}) {
      auto* bytes = reinterpret_cast<std::uint8_t*>(planted.data()) + header;
      StoreLe<std::uint32_t>(bytes + field, 0x7FFFFFFF);
      StoreLe<std::uint64_t>(bytes + 504, internal::Journal::HeaderChecksum(bytes));
    }
    files.SetContent(kJournal, planted);
    EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kCorrupt) << field;
    EXPECT_EQ(files.Content(kPath).size(), before.Content(kPath).size());
  }
}

// Between opening and saving the file is replaced, moved, deleted or changed: the work is lost, and what is
// there stays as it is, without a journal that waits for it.
TEST(Replaced, TheFileThatWasOpenedIsTheOneThatIsChanged) {
  const struct {
    const char* what;
    std::function<void(MemoryFileSystem&)> change;
  } cases[] = {
      {"replaced", [](auto& f) { f.SetContent(kPath, std::string(5 * kPage, 'r')); }},
      {"deleted", [](auto& f) { f.Remove(kPath); }},
      {"moved", [](auto& f) { f.Rename(kPath, "/data/b.mdb"); }},
      {"copied over", [](auto& f) { f.ChangeBehind(kPath, 0, std::string(kPages * kPage, 'c')); }},
      {"changed by a byte", [](auto& f) { f.ChangeBehind(kPath, 399 * kPage, "!"); }},
  };
  for (const auto& c : cases) {
    for (const bool persisted : {false, true}) {
      for (const bool by_persist : {false, true}) {
        SCOPED_TRACE(fmt::format("{}, {}, {}", c.what, persisted, by_persist));
        MemoryFileSystem files;
        files.SetContent(kPath, OldContent());
        auto store = OpenStore(files);
        FirstWork(*store);
        if (persisted) {
          store->Persist();
          SecondWork(*store);
        }
        c.change(files);
        const bool there = files.Exists(kPath);
        const std::string content = there ? files.Content(kPath) : "";
        try {
          if (by_persist) {
            store->Persist();
          } else {
            store->Checkpoint();
          }
          ADD_FAILURE() << "nothing was said";
        } catch (const Error& error) {
          EXPECT_EQ(error.kind(), ErrorKind::kIo);
          EXPECT_NE(std::string(error.what()).find("by another program"), std::string::npos) << error.what();
        }
        EXPECT_EQ(store->durability(), Durability::kLost);
        EXPECT_THROW(store->Write(3), Error);
        EXPECT_THROW(store->RevertToMark(), Error);
        store.reset();
        EXPECT_EQ(files.Exists(kPath), there);
        if (there) {
          EXPECT_TRUE(files.Content(kPath) == content);
        }
        EXPECT_FALSE(files.Exists(kJournal));
      }
    }
  }
}

// A file that is replaced when the n-th piece is written to it.
class ReplacedFile : public File {
 public:
  ReplacedFile(MemoryFileSystem& files, int write)
      : files_(files), file_(files.Open(kPath, OpenMode::kReadWrite)), left_(write) {}
  const std::string& path() const override { return file_->path(); }
  void Read(std::uint64_t offset, MutableBytes out) override { file_->Read(offset, out); }
  void Write(std::uint64_t offset, Bytes data) override {
    if (--left_ == 0) {
      files_.Remove(kPath);
      files_.SetContent(kPath, "another");
    }
    file_->Write(offset, data);
  }
  void Sync() override { file_->Sync(); }
  void SyncAll() override { file_->SyncAll(); }
  std::uint64_t Size() override { return file_->Size(); }
  void Truncate(std::uint64_t size) override { file_->Truncate(size); }
  FileStamp Stamp() override { return file_->Stamp(); }
  bool IsInPlace() override { return file_->IsInPlace(); }
  bool LockContent(bool patiently) override { return file_->LockContent(patiently); }
  void ShareContent() override { file_->ShareContent(); }
  bool HasWriter() override { return file_->HasWriter(); }

 private:
  MemoryFileSystem& files_;
  std::unique_ptr<File> file_;
  int left_;
};

TEST(Replaced, WhileItIsBroughtUpToDate) {
  for (const int write : {1, 3}) {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    {
      PageStore store(files, std::make_unique<ReplacedFile>(files, write), kJournal, true, kPage);
      FirstWork(store);
      try {
        store.Checkpoint();
        ADD_FAILURE() << "nothing was said";
      } catch (const Error& error) {
        EXPECT_EQ(error.kind(), ErrorKind::kIo);
      }
      EXPECT_EQ(store.durability(), Durability::kLost);
    }
    EXPECT_EQ(files.Content(kPath), "another");
    EXPECT_FALSE(files.Exists(kJournal));
  }
}

// While a run works, readers see the last saved state. They hold off the file's being brought up to date;
// what was done waits in the journal.
TEST(Readers, SeeTheLastSavedStateWhileAnotherWrites) {
  MemoryFileSystem files;
  files.SetContent(kPath, State(0));
  auto store = OpenStore(files);
  FirstWork(*store);
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 0);
  store->Persist();
  auto reader = OpenStore(files, OpenMode::kRead);
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 0);
  SecondWork(*store);
  EXPECT_EQ(OpenFails(files, OpenMode::kReadWrite), ErrorKind::kLocked);
  try {
    store->Checkpoint();
    ADD_FAILURE() << "somebody is reading";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kLocked);
  }
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 0);
  MemoryFileSystem killed;
  killed.CopyFrom(files, kPath);
  killed.CopyFrom(files, kJournal);
  EXPECT_EQ(StateOf(ContentThroughStore(killed)), 2) << "nothing is lost";
  reader.reset();
  store->Checkpoint();
  EXPECT_EQ(StateOf(files.Content(kPath)), 2);
  EXPECT_EQ(StateOf(ContentThroughStore(files)), 2);
  EXPECT_FALSE(files.Exists(kJournal));
}

// Only after it was opened does a journal appear beside the file, such as one of another program that opened
// another file of that name.
TEST(Journal, AForeignOneIsNotOverwritten) {
  MemoryFileSystem other;
  Interrupt(other, false);
  MemoryFileSystem files;
  files.SetContent(kPath, OldContent());
  auto store = OpenStore(files);
  store->Write(3).mutable_data()[0] ^= 1;
  files.SetContent(kJournal, other.Content(kJournal));
  EXPECT_THROW(store->Checkpoint(), Error);
  store.reset();
  EXPECT_TRUE(files.Content(kPath) == OldContent());
  EXPECT_TRUE(files.Content(kJournal) == other.Content(kJournal));
}

}  // namespace
}  // namespace jet
