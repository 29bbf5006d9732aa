// Whole databases in memory, and the samples that Access wrote.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "access/file/test_files.h"
#include "access/store/database.h"

namespace jet::testing {

inline constexpr const char* kFile = "t.mdb";

// The kind and text of the error that `action` raises; the test fails when it raises none.
inline std::pair<ErrorKind, std::string> ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& e) {
    return {e.kind(), e.what()};
  }
  ADD_FAILURE() << "no error";
  return {ErrorKind::kInvalid, ""};
}

inline NewColumn Col(const std::string& name, ColumnType type, std::uint16_t characters = 255) {
  NewColumn c;
  c.name = name;
  c.type = type;
  c.characters = characters;
  return c;
}

inline NewIndex Idx(const std::string& name, const std::vector<std::string>& columns, bool unique = false,
                    bool primary = false) {
  NewIndex i;
  i.name = name;
  for (const std::string& c : columns) i.columns.emplace_back(c, false);
  i.unique = unique;
  i.primary = primary;
  return i;
}

// An empty database, open for writing.
class OpenDatabase {
 public:
  explicit OpenDatabase(Format format = Format::kJet4) {
    Database::Create(files, kFile, format);
    Open();
  }
  void Open(OpenMode mode = OpenMode::kReadWrite) {
    db.reset();
    db = Database::Open(files, kFile, mode);
  }
  void CheckpointAndReopen() {
    db->Checkpoint();
    Open();
  }
  void InStatement(const std::function<void()>& action) {
    StatementScope scope(*db);
    action();
    scope.Commit();
  }
  Database* operator->() { return db.get(); }

  MemoryFileSystem files;
  std::unique_ptr<Database> db;
};

// All row identifiers of an index, through the index.
inline std::vector<RowId> WalkIndex(Table& table, int index) {
  IndexCursor cursor(table, index, {});
  std::vector<RowId> rows;
  for (RowId id; cursor.Next(&id);) rows.push_back(id);
  return rows;
}

// The files in a folder of the samples, path and content; empty when ACCESS_SAMPLES is not set.
inline std::vector<std::filesystem::path> Samples(const std::string& folder) {
  std::vector<std::filesystem::path> paths;
  const char* root = std::getenv("ACCESS_SAMPLES");
  if (root == nullptr) return paths;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(root) / folder)) {
    paths.push_back(entry.path());
  }
  return paths;
}
inline std::string ReadWhole(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace jet::testing
