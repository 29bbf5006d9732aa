#include "access/file/file_at_mark.h"

#include <algorithm>

#include "access/base/error.h"

namespace jet::internal {

FileAtMark::FileAtMark(const PageUndo& undo, StoredPages& stored, const PageTable& entries,
                       std::uint32_t page_size)
    : changed_(undo.ChangedSinceMark()),
      stored_(stored),
      entries_(entries),
      page_size_(page_size),
      pages_(undo.pages_at_mark()),
      record_(Journal::kPrefixBytes + page_size) {}

void FileAtMark::Refuse() {
  throw Error(ErrorKind::kReadOnly, "What a file was at a mark can be read only.");
}

void FileAtMark::ReadPage(PageNo page) {
  std::uint8_t* const data = record_.data() + Journal::kPrefixBytes;
  const auto changed = changed_.find(page);
  if (changed != changed_.end()) {
    const PageUndo::Source& source = changed->second;
    if (source.images != nullptr) {
      source.images->Read(source.slot, data);
    } else {
      stored_.ReadSlot(page, source.slot, record_.data());
    }
    return;
  }
  const PageEntry entry = page < entries_.size() ? entries_[page] : PageEntry();
  if (entry.frame != nullptr) {
    std::copy_n(entry.frame->data, page_size_, data);
  } else {
    stored_.ReadSlot(page, entry.stored, record_.data());
  }
}

void FileAtMark::Read(std::uint64_t offset, MutableBytes out) {
  if (offset + out.size() > Size()) ThrowCorrupt("it lies past the end of the file", offset / page_size_);
  for (std::size_t done = 0; done < out.size();) {
    const std::uint64_t at = offset + done;
    const std::size_t in_page = at % page_size_;
    const std::size_t count = std::min<std::size_t>(page_size_ - in_page, out.size() - done);
    ReadPage(at / page_size_);
    std::copy_n(record_.data() + Journal::kPrefixBytes + in_page, count, out.data() + done);
    done += count;
  }
}

}  // namespace jet::internal
