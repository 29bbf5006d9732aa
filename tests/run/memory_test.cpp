// Every allocation of a run, of the opening and of a check fails in turn, of the program's own and of
// SQLite's: nothing aborts, the file is at a border between two fixes, and no fault is found where there is
// none.
//
// This program replaces operator new.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>

#include "access/check/check.h"
#include "access/store/database.h"
#include "run/fix_runner.h"
#include "run/guards.h"
#include "samples/sample_database.h"
#include "tests/run/sample_databases.h"

namespace {

// Allocations from `from` on, `how_many` of them, fail; counted while armed.
struct Allocations {
  bool armed = false;
  std::uint64_t count = 0;
  std::uint64_t from = 0;
  std::uint64_t how_many = 0;

  bool NextFails() {
    if (!armed) return false;
    ++count;
    return from != 0 && count >= from && count - from < how_many;
  }
};
Allocations own, of_sqlite;

sqlite3_mem_methods system_methods;

void* SqliteAllocate(int size) { return of_sqlite.NextFails() ? nullptr : system_methods.xMalloc(size); }
void* SqliteReallocate(void* old, int size) {
  return of_sqlite.NextFails() ? nullptr : system_methods.xRealloc(old, size);
}

void* Allocate(std::size_t size, std::size_t alignment) {
  if (own.NextFails()) return nullptr;
  if (alignment <= alignof(std::max_align_t)) return std::malloc(size == 0 ? 1 : size);
#ifdef _WIN32
  return _aligned_malloc(size, alignment);
#else
  return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
#endif
}

// Of what was allocated with an alignment above the usual one, which alone is asked for in so many words.
void FreeAligned(void* p) {
#ifdef _WIN32
  _aligned_free(p);
#else
  std::free(p);
#endif
}

}  // namespace

void* operator new(std::size_t size) {
  if (void* p = Allocate(size, 1)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  if (void* p = Allocate(size, static_cast<std::size_t>(alignment))) return p;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return operator new(size, alignment); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size, 1); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { FreeAligned(p); }
void operator delete[](void* p, std::align_val_t) noexcept { FreeAligned(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { FreeAligned(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { FreeAligned(p); }

namespace vnt::test {
namespace {

class Memory : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &system_methods);
    sqlite3_mem_methods methods = system_methods;
    methods.xMalloc = SqliteAllocate;
    methods.xRealloc = SqliteReallocate;
    ASSERT_EQ(sqlite3_config(SQLITE_CONFIG_MALLOC, &methods), SQLITE_OK);
  }

  // Runs `work` with allocations failing; gives how many it made.
  static std::uint64_t Failing(Allocations& which, std::uint64_t from, std::uint64_t how_many,
                               const std::function<void()>& work) {
    which = {true, 0, from, how_many};
    try {
      work();
    } catch (...) {
      which.armed = false;
      throw;
    }
    which.armed = false;
    return which.count;
  }
};

// Fixes of each kind: lists of statements, walks, SELECT INTO, a build.
const FixSelection kFixes = FixSelection().set(7).set(38).set(22).set(33).set(16).set(5);

// The rows after each of the fixes, and at first.
class Borders : public RunObserver {
 public:
  Borders() {
    rows.push_back(NoticeRows());
    RunFixes(kFixes, *this);
  }
  void FixEnds(const FixResult& result) override {
    if (result.fix != nullptr) rows.push_back(NoticeRows());
  }
  std::vector<std::string> rows;
};

// `during` runs its work with the n-th allocation failing (0: none), and gives how many there were.
using During = std::function<std::uint64_t(std::uint64_t n, const std::function<void()>& work)>;

void FailEachAllocationOfARun(std::uint64_t points, std::uint64_t how_many, const During& during) {
  std::vector<std::string> borders;
  std::uint64_t count = 0;
  {
    SampleDatabases databases;
    borders = Borders().rows;
  }
  {
    SampleDatabases databases;
    RunObserver observer;
    count = during(0, [&] { RunFixes(kFixes, observer); });
  }
  ASSERT_GT(count, 500U);
  std::uint64_t ended = 0;
  // Half of them where the run begins: there each is another one.
  const std::uint64_t stride = std::max<std::uint64_t>(1, count / (points / 2)) | 1;
  for (std::uint64_t n = 1; n <= count; n += n < points / 2 ? 1 : stride) {
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(count));
    SampleDatabases databases;
    RunObserver observer;
    RunResult result;
    bool refused = false;
    try {
      during(n, [&] { result = RunFixes(kFixes, observer); });
    } catch (const std::bad_alloc&) {
      refused = true;  // before the first fix
    }
    const std::vector<std::string> shown = databases.messages.shown;
    const SampleDatabases::Content content = databases.Reopened();
    EXPECT_EQ(content.faults, "");
    if (refused || result.refused) {
      EXPECT_TRUE(content.rows == borders[0]);
      continue;
    }
    const auto kept = static_cast<std::size_t>(std::ranges::count_if(result.fixes, [](const FixResult& fix) {
      return fix.fix != nullptr && (fix.status == FixStatus::kDone || fix.status == FixStatus::kFailed);
    }));
    // Where there was no memory to take a failed saving back either, the fix is told to be in doubt.
    const bool in_doubt = std::ranges::any_of(
        result.fixes, [](const FixResult& fix) { return fix.status == FixStatus::kInDoubt; });
    EXPECT_TRUE(content.rows == borders[kept] || (in_doubt && content.rows == borders[kept + 1]))
        << "not the rows after " << kept << " fixes";
    // The message itself may find no memory when many allocations fail.
    if (how_many == 1) {
      EXPECT_EQ(shown.size(), result.ended_early ? 1U : 0U) << (shown.empty() ? "" : shown.front());
    }
    ended += result.ended_early ? 1 : 0;
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GT(ended, points / 3);
}

TEST_F(Memory, EachAllocationOfARunFails) {
  for (const std::uint64_t how_many : {1, 100}) {
    FailEachAllocationOfARun(200, how_many, [&](std::uint64_t n, const std::function<void()>& work) {
      return Failing(own, n, how_many, work);
    });
  }
}

TEST_F(Memory, EachAllocationOfSqliteFails) {
  FailEachAllocationOfARun(200, 1, [&](std::uint64_t n, const std::function<void()>& work) {
    return Failing(of_sqlite, n, 1, work);
  });
}

TEST_F(Memory, CheckFindsNoFaultForWantOfMemory) {
  SampleDatabases databases;
  const std::string file = databases.state.current_database;
  databases.CloseAll();
  const auto faults_found = [&] {
    const auto database = jet::Database::Open(databases.files, file, jet::OpenMode::kRead);
    std::size_t faults = 0;
    for (const jet::Finding& finding : jet::CheckDatabase(*database)) faults += finding.fatal ? 1 : 0;
    return faults;
  };
  const std::uint64_t count = Failing(own, 0, 0, [&] { faults_found(); });
  ASSERT_GT(count, 1000U);
  std::uint64_t refused = 0, tried = 0;
  for (std::uint64_t n = 1; n <= count; n += n < 1000 ? 1 : std::max<std::uint64_t>(1, count / 1000)) {
    ++tried;
    try {
      Failing(own, n, 1, [&] { EXPECT_EQ(faults_found(), 0U) << "allocation " << n; });
    } catch (const std::bad_alloc&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, tried / 2);
}

TEST_F(Memory, EachAllocationOfTheOpeningFails) {
  SampleDatabases databases;
  const auto open = [&] {
    databases.CloseAll();
    OpenAccessDatabase();
  };
  const std::uint64_t count = Failing(own, 0, 0, open);
  for (std::uint64_t n = 1; n <= count; n += std::max<std::uint64_t>(1, count / 300)) {
    try {
      Failing(own, n, 1, open);
    } catch (const std::bad_alloc&) {
    }
    EXPECT_FALSE(databases.state.read_only) << "allocation " << n;
  }
  EXPECT_TRUE(databases.messages.shown.empty());
  EXPECT_EQ(databases.Reopened().faults, "");
}

}  // namespace
}  // namespace vnt::test
