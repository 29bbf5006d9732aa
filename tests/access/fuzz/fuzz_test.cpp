// Damaged files: pages cut off, exchanged, or with random bytes changed. Whatever is done with such a file
// ends in an Error or a finding; never in a crash, an endless loop or an access outside of a page (which the
// build with sanitizers shows).
//
// ACCESS_FUZZ_ITERATIONS (per base file) and ACCESS_FUZZ_SEED choose what is tried; with
// ACCESS_FUZZ_VERBOSE set every seed is printed before it is tried, which names the culprit of a crash.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>

#include "access/check/check.h"
#include "access/file/test_files.h"
#include "access/sql/session.h"
#include "access/store/database.h"
#include "tests/access/crash/work_database.h"
#include "tests/access/fuzz/seeds.h"

namespace jet {
namespace {

const std::string kPath = "/data/a.mdb";

using Random = std::mt19937_64;

// Changes a few bytes, mostly to values that mean something: small numbers, page numbers, all ones.
void ChangeBytes(std::string& content, std::size_t page_size, Random& random) {
  const std::size_t pages = content.size() / page_size;
  // Half of the time the pages in front, where the catalog and the definitions are.
  const std::size_t page = random() % (random() % 2 == 0 ? std::min<std::size_t>(pages, 30) : pages);
  for (std::uint64_t n = 1 + random() % 4; n > 0; --n) {
    // Half of the time in the header of the page.
    std::size_t at = page * page_size + random() % (random() % 2 == 0 ? 64 : page_size);
    const std::uint64_t values[] = {0,
                                    1,
                                    0xFF,
                                    0xFFFF,
                                    0xFFFFFFFF,
                                    0x7FFF,
                                    random() % 256,
                                    random(),
                                    random() % pages,
                                    page,
                                    (page << 8) | random() % 8,
                                    page_size - random() % 4};
    const std::uint64_t value = values[random() % std::size(values)];
    const std::size_t size = std::size_t{1} << random() % 3;
    for (std::size_t i = 0; i < size && at < content.size(); ++i, ++at)
      content[at] = static_cast<char>(value >> 8 * i);
  }
}

void Damage(std::string& content, std::size_t page_size, Random& random) {
  const auto any_page = [&] { return random() % (content.size() / page_size) * page_size; };
  switch (random() % 12) {
    case 0:
      content.resize(random() % content.size());
      if (random() % 4 != 0) content.resize(std::max(content.size() / page_size, std::size_t{1}) * page_size);
      break;
    case 1: {
      const std::string page = content.substr(any_page(), page_size);
      content.replace(any_page(), page_size, page);
      break;
    }
    case 2: {
      const std::size_t at = any_page();
      for (std::size_t i = random() % page_size; i < page_size; ++i)
        content[at + i] = static_cast<char>(random());
      break;
    }
    case 3:
      content.replace(any_page(), page_size, std::string(page_size, random() % 2 == 0 ? '\0' : '\xFF'));
      break;
    default:
      for (std::uint64_t n = 1 + random() % 3; n > 0; --n) ChangeBytes(content, page_size, random);
  }
}

// Runs something that may fail with an Error and with nothing else.
template <typename Action>
void Try(Action action) {
  try {
    action();
  } catch (const Error&) {
  }
}

void ReadEverything(Table& table) {
  Try([&] {
    TableCursor cursor(table);
    Row row;
    RowId id;
    while (cursor.Next(&row, &id)) {
      for (std::size_t c = 0; c < table.def().columns.size(); ++c) Try([&] { row.Get(static_cast<int>(c)); });
    }
  });
  for (std::size_t i = 0; i < table.def().indexes.size(); ++i) {
    Try([&] {
      IndexCursor cursor(table, static_cast<int>(i), {});
      RowId id;
      Row row;
      for (int n = 0; n < 100000 && cursor.Next(&id); ++n) Try([&] { table.Fetch(id, &row); });
    });
  }
}

void ChangeRows(Database& database, Table& table, Random& random) {
  std::vector<RowId> ids;
  std::vector<Value> values;
  Try([&] {
    TableCursor cursor(table);
    Row row;
    RowId id;
    while (ids.size() < 200 && cursor.Next(&row, &id)) {
      ids.push_back(id);
      if (!values.empty()) continue;
      for (std::size_t c = 0; c < table.def().columns.size(); ++c)
        values.push_back(row.Get(static_cast<int>(c)));
    }
  });
  const auto in_scope = [&](auto action) {
    Try([&] {
      StatementScope scope(database);
      action();
      if (random() % 4 != 0) scope.Commit();
    });
  };
  if (values.size() == table.def().columns.size()) {
    in_scope([&] { table.Insert(values); });
    in_scope([&] { table.Insert(std::vector<Value>(values.size())); });
    for (std::size_t i = 0; i < values.size() && i < 8; ++i) {
      values[i] = values[i].kind() == ValueKind::kText
                      ? Value::Text(std::string(1 + random() % 40, 'z'))
                      : Value::Integer(static_cast<std::int64_t>(random() % 3000));
    }
    for (int i = 0; i < 20; ++i) in_scope([&] { table.Insert(values); });
  }
  for (std::size_t i = 0; i < ids.size(); i += 5) {
    for (std::size_t c = 0; c < table.def().columns.size(); c += 1 + random() % 3) {
      in_scope([&] { table.Update(ids[i], {{static_cast<int>(c), Value::Null()}}); });
      in_scope([&] { table.Update(ids[i], {{static_cast<int>(c), Value::Integer(static_cast<int>(i))}}); });
      in_scope([&] {
        table.Update(ids[i], {{static_cast<int>(c), Value::Text(std::string(random() % 6000, 'y'))}});
      });
    }
  }
  for (std::size_t i = 0; i < ids.size(); i += 3) in_scope([&] { table.Delete(ids[i]); });
}

void ChangeDefinitions(Database& database, const std::string& table) {
  const auto in_scope = [&](auto action) {
    Try([&] {
      StatementScope scope(database);
      action();
      scope.Commit();
    });
  };
  NewColumn column;
  column.name = "fuzzed";
  in_scope([&] { database.AddColumn(table, column); });
  in_scope([&] { database.CreateIndex(table, {.name = "fuzzed", .columns = {{"fuzzed", false}}}); });
  in_scope([&] { database.CreateTable("fuzzed table", {column}, {}); });
  in_scope([&] { database.DropIndex(table, "fuzzed"); });
  in_scope([&] { database.DropTable(table); });
}

void RunSql(const std::shared_ptr<Database>& database, const std::string& table) {
  Try([&] {
    sql::Session session(database);
    Try([&] {
      const auto query = session.Open(fmt::format("SELECT * FROM [{}]", table));
      while (query->Step()) {
        for (std::size_t c = 0; c < query->columns().size(); ++c) query->Get(static_cast<int>(c));
      }
    });
    const auto def = database->FindTable(table);
    if (def == nullptr || def->def().columns.empty()) return;
    const std::string column = def->def().columns[0].name;
    Try([&] {
      session.Execute(fmt::format("UPDATE [{0}] SET [{1}] = [{1}] WHERE [{1}] > 3", table, column));
    });
    Try([&] {
      session.Execute(fmt::format("INSERT INTO [{0}] SELECT * FROM [{0}] WHERE [{1}] < 3", table, column));
    });
    Try([&] { session.Execute(fmt::format("DELETE FROM [{}] WHERE [{}] = 2", table, column)); });
  });
}

void UseDatabase(FileSystem& files, Random& random) {
  const std::shared_ptr<Database> database = Database::Open(files, kPath, OpenMode::kReadWrite);
  CheckDatabase(*database);
  std::vector<CatalogEntry> catalog;
  Try([&] { catalog = database->Catalog(); });
  for (const CatalogEntry& entry : catalog) {
    Try([&] {
      const auto table = database->FindTable(entry.name);
      if (table != nullptr) ReadEverything(*table);
    });
  }
  for (const CatalogEntry& entry : catalog) {
    if (entry.type != 1 || entry.system()) continue;
    Try([&] {
      const auto table = database->FindTable(entry.name);
      if (table != nullptr) ChangeRows(*database, *table, random);
    });
    RunSql(database, entry.name);
    if (random() % 3 == 0) ChangeDefinitions(*database, entry.name);
  }
  CheckDatabase(*database);
  Try([&] { database->Checkpoint(); });
}

void Fuzz(const std::string& name, const std::string& content, std::size_t page_size,
          std::uint64_t iterations) {
  const std::uint64_t first = FromEnvironment("ACCESS_FUZZ_SEED", 1);
  for (std::uint64_t seed = first; seed < first + iterations; ++seed) {
    if (std::getenv("ACCESS_FUZZ_VERBOSE") != nullptr) std::cerr << name << " seed " << seed << std::endl;
    Random random(seed);
    std::string damaged = content;
    Damage(damaged, page_size, random);
    MemoryFileSystem files;
    files.SetContent(kPath, damaged);
    const auto start = std::chrono::steady_clock::now();
    try {
      Try([&] { UseDatabase(files, random); });
      Try([&] { CheckDatabase(*Database::Open(files, kPath, OpenMode::kRead)); });
    } catch (const std::exception& error) {
      ADD_FAILURE() << name << ", seed " << seed << ": " << error.what();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20))
        << name << ", seed " << seed;
  }
}

TEST(Fuzz, OwnFiles) {
  const std::uint64_t iterations = FromEnvironment("ACCESS_FUZZ_ITERATIONS", 150);
  Fuzz("Jet 4", testing::MakeWorkDatabase(Format::kJet4), 4096, iterations);
  Fuzz("ACE 14", testing::MakeWorkDatabase(Format::kAce14), 4096, iterations);
}

TEST(Fuzz, FilesOfAccess) {
  const char* folder = std::getenv("ACCESS_SAMPLES");
  if (folder == nullptr) GTEST_SKIP() << "ACCESS_SAMPLES does not name the folder of sample files.";
  const std::uint64_t iterations = FromEnvironment("ACCESS_FUZZ_ITERATIONS", 4);
  int files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    const std::string extension = entry.path().extension().string();
    if ((extension != ".mdb" && extension != ".accdb") || entry.file_size() > (1u << 20)) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    const bool jet3 = content.size() > 0x14 && content[0x14] == 0;
    Fuzz(entry.path().filename().string(), content, jet3 ? 2048 : 4096, iterations);
    ++files;
  }
  EXPECT_GT(files, 0) << folder;
}

}  // namespace
}  // namespace jet
