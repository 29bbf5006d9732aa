// The database file as it was at the last mark of its page store (see PageStore::Mark), to be read.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "access/file/file.h"
#include "access/file/page_undo.h"
#include "access/file/stored_pages.h"

namespace jet::internal {

// Good until the store changes a page.
class FileAtMark final : public File {
 public:
  FileAtMark(const PageUndo& undo, StoredPages& stored, const PageTable& entries, std::uint32_t page_size);

  const std::string& path() const override { return stored_.file().path(); }
  void Read(std::uint64_t offset, MutableBytes out) override;
  std::uint64_t Size() override { return std::uint64_t{pages_} * page_size_; }
  FileStamp Stamp() override { return {path(), Size(), 0}; }
  bool IsInPlace() override { return true; }
  bool LockContent(bool) override { return true; }
  void ShareContent() override {}
  bool HasWriter() override { return false; }
  void Write(std::uint64_t, Bytes) override { Refuse(); }
  void Sync() override { Refuse(); }
  void SyncAll() override { Refuse(); }
  void Truncate(std::uint64_t) override { Refuse(); }

 private:
  [[noreturn]] static void Refuse();
  // Puts a page behind the first bytes of record_.
  void ReadPage(PageNo page);

  const std::unordered_map<PageNo, PageUndo::Source> changed_;
  StoredPages& stored_;
  const PageTable& entries_;
  const std::uint32_t page_size_;
  const PageNo pages_;
  std::vector<std::uint8_t> record_;
};

}  // namespace jet::internal
