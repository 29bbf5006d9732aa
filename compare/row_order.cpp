#include "compare/row_order.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "access/base/bytes.h"

namespace vnt::compare {
namespace {

constexpr std::size_t kHead = 8;
constexpr std::size_t kRunBuffer = 64u << 10;

std::uint32_t LoadU32(const char* at) {
  std::uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

void AppendU32(std::uint32_t value, std::string* out) {
  out->append(reinterpret_cast<const char*>(&value), sizeof value);
}

}  // namespace

// One sorted run of the temporary file, read in pieces.
class SortedOrder::Run {
 public:
  Run(jet::File& file, std::uint64_t begin, std::uint64_t end) : file_(file), next_(begin), end_(end) {}

  // Goes to the next entry; false behind the last one.
  bool Next() {
    position_ += length_;
    length_ = 0;
    if (!Have(kHead)) return false;
    const std::size_t bytes = kHead + LoadU32(buffer_.data() + position_);
    Have(bytes);
    length_ = bytes;
    return true;
  }
  std::string_view key() const {
    return std::string_view(buffer_).substr(position_ + kHead, length_ - kHead);
  }
  jet::RowId id() const { return jet::RowId::FromPacked(LoadU32(buffer_.data() + position_ + 4)); }

 private:
  bool Have(std::size_t bytes) {
    if (buffer_.size() - position_ >= bytes) return true;
    buffer_.erase(0, position_);
    position_ = 0;
    const std::size_t old = buffer_.size();
    const std::size_t more = std::min<std::uint64_t>(std::max(kRunBuffer, bytes) - old, end_ - next_);
    if (more == 0) return false;
    buffer_.resize(old + more);
    file_.Read(next_, jet::MutableBytes(reinterpret_cast<std::uint8_t*>(buffer_.data()) + old, more));
    next_ += more;
    return true;
  }

  jet::File& file_;
  std::uint64_t next_, end_;
  std::string buffer_;
  std::size_t position_ = 0, length_ = 0;
};

SortedOrder::SortedOrder(jet::FileSystem& files, std::size_t memory_bytes)
    : files_(files), memory_bytes_(memory_bytes) {}
SortedOrder::~SortedOrder() = default;

std::string_view SortedOrder::KeyAt(std::size_t entry) const {
  const char* at = entries_.data() + offsets_[entry];
  return {at + kHead, LoadU32(at)};
}

jet::RowId SortedOrder::IdAt(std::size_t entry) const {
  return jet::RowId::FromPacked(LoadU32(entries_.data() + offsets_[entry] + 4));
}

void SortedOrder::Add(std::string_view key, jet::RowId id) {
  const std::size_t used = entries_.size() + offsets_.size() * sizeof offsets_[0];
  if (!offsets_.empty() && used + kHead + key.size() > memory_bytes_) Spill();
  offsets_.push_back(entries_.size());
  AppendU32(key.size(), &entries_);
  AppendU32(id.packed, &entries_);
  entries_.append(key);
}

void SortedOrder::Sort() {
  const auto entry = [&](std::uint32_t offset) {
    const char* at = entries_.data() + offset;
    return std::pair(std::string_view(at + kHead, LoadU32(at)), LoadU32(at + 4));
  };
  std::ranges::sort(offsets_, [&](std::uint32_t a, std::uint32_t b) { return entry(a) < entry(b); });
}

void SortedOrder::Spill() {
  if (file_ == nullptr) file_ = files_.OpenTemporary();
  Sort();
  const std::uint64_t begin = file_bytes_;
  std::string out;
  const auto flush = [&] {
    file_->Write(file_bytes_, jet::Bytes(reinterpret_cast<const std::uint8_t*>(out.data()), out.size()));
    file_bytes_ += out.size();
    out.clear();
  };
  for (const std::uint32_t offset : offsets_) {
    out.append(entries_, offset, kHead + LoadU32(entries_.data() + offset));
    if (out.size() >= kRunBuffer) flush();
  }
  flush();
  runs_.push_back(std::make_unique<Run>(*file_, begin, file_bytes_));
  entries_.clear();
  offsets_.clear();
}

bool SortedOrder::Next() {
  const auto later = [](const Run* a, const Run* b) {
    return std::pair(a->key(), a->id()) > std::pair(b->key(), b->id());
  };
  if (!sorted_) {
    sorted_ = true;
    if (runs_.empty()) {
      Sort();
    } else {
      if (!offsets_.empty()) Spill();
      std::string().swap(entries_);
      std::vector<std::uint32_t>().swap(offsets_);
      for (const auto& run : runs_) {
        if (run->Next()) heap_.push_back(run.get());
      }
      std::ranges::make_heap(heap_, later);
    }
  }
  if (runs_.empty()) return NextInMemory();
  if (heap_.empty()) return false;
  std::ranges::pop_heap(heap_, later);
  Run& first = *heap_.back();
  key_.assign(first.key());
  id_ = first.id();
  if (first.Next()) {
    std::ranges::push_heap(heap_, later);
  } else {
    heap_.pop_back();
  }
  return true;
}

bool SortedOrder::NextInMemory() {
  if (next_ == offsets_.size()) return false;
  key_.assign(KeyAt(next_));
  id_ = IdAt(next_++);
  return true;
}

}  // namespace vnt::compare
