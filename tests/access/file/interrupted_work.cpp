#include "tests/access/file/interrupted_work.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace jet {

void Fill(MutableBytes out, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  for (std::size_t i = 0; i < out.size(); i += 8) StoreLe<std::uint64_t>(out.data() + i, random());
}

std::string OldContent() {
  std::string content(kPages * kPage, '\0');
  Fill({reinterpret_cast<std::uint8_t*>(content.data()), content.size()}, 7);
  return content;
}

void FirstWork(PageStore& store) {
  std::uint64_t seed = 11;
  const auto fill = [&](const MutablePageRef& page) { Fill(page.mutable_bytes(), ++seed); };
  for (const PageNo page : {0u, 5u, 7u, 8u, kPages - 1}) fill(store.Write(page));
  for (PageNo page = 100; page < 360; ++page) fill(store.Write(page));
  for (int i = 0; i < 40; ++i) fill(store.Append());
  store.BeginStatement();
  fill(store.Write(5));
  fill(store.Append());
  store.RollbackStatement();
}

void SecondWork(PageStore& store) {
  std::uint64_t seed = 5000;
  const auto fill = [&](const MutablePageRef& page) { Fill(page.mutable_bytes(), ++seed); };
  store.BeginStatement();
  for (PageNo page = 20; page < 370; ++page) fill(store.Write(page));
  for (int i = 0; i < 30; ++i) fill(store.Append());
  store.RollbackStatement();
  for (PageNo page = 340; page < 420; ++page) fill(store.Write(page));
  for (int i = 0; i < 5; ++i) fill(store.Append());
}

void WriteAll(PageStore& store, std::uint64_t seed) {
  for (PageNo page = 0; page < store.page_count(); ++page) {
    Fill(store.Write(page).mutable_bytes(), seed + page);
  }
}

std::unique_ptr<PageStore> OpenStore(FileSystem& files, OpenMode mode) {
  PageStoreOptions options;
  options.cache_bytes = 64 * kPage;
  return std::make_unique<PageStore>(files, files.Open(kPath, mode), kJournal, mode == OpenMode::kReadWrite,
                                     kPage, options);
}

const std::string& State(int persisted) {
  static const std::vector<std::string> states = [] {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    std::vector<std::string> made = {files.Content(kPath)};
    const auto store = OpenStore(files);
    FirstWork(*store);
    store->Checkpoint();
    made.push_back(files.Content(kPath));
    SecondWork(*store);
    store->Checkpoint();
    made.push_back(files.Content(kPath));
    return made;
  }();
  return states[persisted];
}

int StateOf(const std::string& content) {
  for (int i = 0; i < 3; ++i) {
    if (content == State(i)) return i;
  }
  return -1;
}

std::string Content(PageStore& store) {
  std::string content;
  for (PageNo page = 0; page < store.page_count(); ++page) {
    content.append(reinterpret_cast<const char*>(store.Read(page).data()), kPage);
  }
  return content;
}

std::string ContentThroughStore(MemoryFileSystem& files) {
  const std::uint64_t operations = files.operations();
  const auto store = OpenStore(files, OpenMode::kRead);
  const std::string content = Content(*store);
  EXPECT_EQ(files.operations(), operations);
  return content;
}

int DoAll(PageStore& store) {
  int persisted = 0;
  try {
    FirstWork(store);
    store.Persist();
    ++persisted;
    SecondWork(store);
    store.Checkpoint();
    ++persisted;
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), ErrorKind::kIo);
  }
  return persisted;
}

void Interrupt(MemoryFileSystem& files, bool applying) {
  files.SetContent(kPath, State(0));
  auto store = OpenStore(files);
  FirstWork(*store);
  store->Persist();
  if (applying) {
    // Header, sync; then appended pages and the first old ones.
    files.FailAt(files.operations() + 5, MemoryFileSystem::Failure::kIo, true);
    EXPECT_THROW(store->Checkpoint(), Error);
  }
  files.LosePower(99);
  ASSERT_TRUE(files.Exists(kJournal));
}

ErrorKind OpenFails(FileSystem& files, OpenMode mode) {
  try {
    OpenStore(files, mode);
  } catch (const Error& error) {
    return error.kind();
  }
  ADD_FAILURE() << "the file opened";
  return ErrorKind::kFailed;
}

}  // namespace jet
