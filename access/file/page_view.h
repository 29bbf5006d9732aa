// A file that is a view of the pages of an open store: to be read only; the store has opened and locked it.
#pragma once

#include <string>

#include "access/file/file.h"
#include "access/file/page_store.h"

namespace jet {

class PageView : public File {
 public:
  explicit PageView(PageStore& pages)
      : pages_(pages), size_(std::uint64_t{pages.page_count()} * pages.page_size()) {}

  const std::string& path() const override { return path_; }
  void Write(std::uint64_t, Bytes) override { Refuse(); }
  void Sync() override {}
  void SyncAll() override {}
  std::uint64_t Size() override { return size_; }
  void Truncate(std::uint64_t) override { Refuse(); }
  FileStamp Stamp() override { return {}; }
  bool IsInPlace() override { return true; }
  bool LockContent(bool) override { return false; }
  void ShareContent() override {}
  bool HasWriter() override { return false; }

 protected:
  PageStore& pages_;

 private:
  [[noreturn]] static void Refuse() {
    throw Error(ErrorKind::kReadOnly, "A view of a database is for reading.");
  }

  std::string path_;
  std::uint64_t size_;
};

}  // namespace jet
