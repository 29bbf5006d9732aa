// Damaged journals, and files changed under a waiting journal: whatever is found beside a database, what was
// committed is recovered exactly, or nothing is touched.
//
// ACCESS_FUZZ_JOURNALS and ACCESS_FUZZ_SEED choose how many are tried and which.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>

#include "access/file/journal.h"
#include "access/file/page_store.h"
#include "access/file/test_files.h"
#include "tests/access/fuzz/seeds.h"

namespace jet {
namespace {

constexpr std::uint32_t kPage = 2048;
constexpr PageNo kPages = 40;
constexpr std::size_t kHeader = internal::Journal::kHeaderBytes;
constexpr std::size_t kSecondHeader = 4096;
constexpr std::size_t kRecords = 8192;
constexpr std::size_t kRecord = internal::Journal::kPrefixBytes + kPage;
const std::string kPath = "/data/a.mdb";
const std::string kJournal = "/data/a.mdb-journal";

using Random = std::mt19937_64;

std::unique_ptr<PageStore> OpenStore(FileSystem& files, OpenMode mode = OpenMode::kReadWrite) {
  PageStoreOptions options;
  options.cache_bytes = 8 * kPage;
  return std::make_unique<PageStore>(files, files.Open(kPath, mode), kJournal, mode == OpenMode::kReadWrite,
                                     kPage, options);
}

void Work(PageStore& store) {
  const auto fill = [](const MutablePageRef& page, std::uint8_t value) {
    std::fill_n(page.mutable_bytes().data(), kPage, value);
  };
  for (const PageNo page : {0u, 3u, 4u, 5u, 20u, kPages - 1}) fill(store.Write(page), 1);
  for (int i = 0; i < 3; ++i) fill(store.Append(), 2);
  for (PageNo page = 4; page < 16; ++page) fill(store.Write(page), 3);
}

std::string OldContent() {
  std::string content;
  for (PageNo page = 0; page < kPages; ++page) content.append(kPage, static_cast<char>('a' + page % 26));
  return content;
}

struct Waiting {
  MemoryFileSystem files;
  std::string content, journal;

  // `operation`, counted from the beginning of the checkpoint, is where the power went; 0: before it.
  explicit Waiting(std::uint64_t operation) {
    files.SetContent(kPath, OldContent());
    auto store = OpenStore(files);
    Work(*store);
    store->Persist();
    if (operation != 0) {
      files.FailAt(files.operations() + operation, MemoryFileSystem::Failure::kIo, true);
      EXPECT_THROW(store->Checkpoint(), Error);
    }
    files.LosePower(operation);
    content = files.Content(kPath);
    journal = files.Content(kJournal);
  }
};

std::size_t AnyPlace(const std::string& text, Random& random) { return random() % text.size(); }

void ChangeBytes(std::string* text, std::size_t at, Random& random) {
  const std::uint64_t values[] = {0, 1, 0xFF, 0xFFFFFFFF, random(), random() % 64};
  const std::uint64_t value = values[random() % std::size(values)];
  const std::size_t size = std::size_t{1} << random() % 4;
  for (std::size_t i = 0; i < size && at + i < text->size(); ++i) {
    (*text)[at + i] = static_cast<char>(value >> 8 * i);
  }
}

void DamageJournal(std::string* journal, Random& random) {
  const auto record = [&] {
    return kRecords + random() % ((journal->size() - kRecords) / kRecord) * kRecord;
  };
  switch (random() % 8) {
    case 0:
      journal->resize(random() % journal->size());
      break;
    case 1:  // a record where another one was
      journal->replace(record(), kRecord, journal->substr(record(), kRecord));
      break;
    case 2: {  // a sector that was not written
      const std::size_t at = AnyPlace(*journal, random) / 512 * 512;
      const std::size_t size = std::min<std::size_t>(512, journal->size() - at);
      journal->replace(at, size, std::string(size, random() % 2 == 0 ? '\0' : '\xFF'));
      break;
    }
    case 3:
      ChangeBytes(journal, random() % kHeader, random);
      [[fallthrough]];
    case 4:
      ChangeBytes(journal, kSecondHeader + random() % kHeader, random);
      break;
    case 5:
      ChangeBytes(journal, record() + random() % internal::Journal::kPrefixBytes, random);
      break;
    default:
      for (std::uint64_t n = 1 + random() % 3; n > 0; --n) {
        ChangeBytes(journal, AnyPlace(*journal, random), random);
      }
  }
}

// Headers that vouch for themselves, with numbers that nobody wrote.
void PlantNumbers(std::string* journal, Random& random) {
  const std::size_t field = 8 + 4 * (random() % 124);
  const std::uint64_t values[] = {0, 1, kPages, kPages + 3, 0x7FFFFFFF, 0xFFFFFFFF, random()};
  const auto value = static_cast<std::uint32_t>(values[random() % std::size(values)]);
  for (const std::size_t header : {std::size_t{0}, kSecondHeader}) {
    auto* bytes = reinterpret_cast<std::uint8_t*>(journal->data()) + header;
    StoreLe(bytes + field, value);
    StoreLe<std::uint64_t>(bytes + kHeader - 8, internal::Journal::HeaderChecksum(bytes));
  }
}

// As a journal that was being made when the power went.
bool WasNeverBegun(const std::string& journal) {
  return journal.size() <= kSecondHeader + kHeader &&
         std::all_of(journal.begin(), journal.end(), [](char c) { return c == 0; });
}

TEST(Fuzz, Journals) {
  const std::uint64_t first = FromEnvironment("ACCESS_FUZZ_SEED", 1);
  const std::uint64_t count = FromEnvironment("ACCESS_FUZZ_JOURNALS", 4000);
  const Waiting states[] = {Waiting(0), Waiting(3), Waiting(5), Waiting(6)};
  std::string whole;
  {
    MemoryFileSystem files;
    files.SetContent(kPath, OldContent());
    const auto store = OpenStore(files);
    Work(*store);
    store->Checkpoint();
    whole = files.Content(kPath);
  }
  std::uint64_t recovered = 0, refused = 0, removed = 0;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    SCOPED_TRACE(seed);
    Random random(seed);
    const Waiting& before = states[random() % std::size(states)];
    MemoryFileSystem files;
    files.CopyFrom(before.files, kPath);
    std::string journal = before.journal, content = before.content;
    const bool planted = random() % 4 == 0;
    if (planted) {
      PlantNumbers(&journal, random);
    } else if (random() % 4 != 0) {
      DamageJournal(&journal, random);
    } else {
      const std::size_t at = AnyPlace(content, random);
      files.ChangeBehind(kPath, at, std::string(1 + random() % 3, static_cast<char>(random())));
      content = files.Content(kPath);
    }
    files.SetContent(kJournal, journal);
    if (random() % 2 == 0) {
      try {
        OpenStore(files, OpenMode::kRead);
      } catch (const Error&) {
      }
      ASSERT_TRUE(files.Content(kPath) == content && files.Content(kJournal) == journal) << "readers write";
    }
    try {
      OpenStore(files);
    } catch (const Error& error) {
      ++refused;
      ASSERT_EQ(error.kind(), ErrorKind::kCorrupt) << error.what();
      ASSERT_TRUE(files.Content(kPath) == content && files.Content(kJournal) == journal);
      continue;
    }
    ASSERT_FALSE(files.Exists(kJournal));
    const std::string found = files.Content(kPath);
    if (found == whole) {
      ++recovered;
      continue;
    }
    ++removed;
    ASSERT_TRUE(planted || (found == content && WasNeverBegun(journal)));
    ASSERT_LE(found.size(), whole.size());
  }
  EXPECT_GT(recovered, count / 20);
  EXPECT_GT(refused, count / 4);
  EXPECT_LT(removed, count / 10);
  RecordProperty("recovered", static_cast<int>(recovered));
  RecordProperty("refused", static_cast<int>(refused));
  RecordProperty("removed", static_cast<int>(removed));
}

}  // namespace
}  // namespace jet
