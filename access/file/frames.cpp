#include "access/file/frames.h"

#include <algorithm>
#include <utility>

#include "access/file/journal.h"

namespace jet::internal {
namespace {

// Frames come in blocks: the first one is small, as many a file is.
constexpr std::size_t kFirstFrames = 64;

}  // namespace

Frames::Frames(std::uint32_t page_size, std::size_t cache_bytes)
    : page_size_(page_size), limit_(std::max<std::size_t>(cache_bytes / page_size, 8)) {}

void Frames::AddBlock(std::size_t count) {
  const std::size_t stride = Journal::kPrefixBytes + page_size_;
  Block block{NewLargeBytes(count * stride), std::make_unique<Frame[]>(count)};
  for (std::size_t i = count; i-- > 0;) {
    Frame* frame = &block.frames[i];
    frame->data = block.data.get() + i * stride + Journal::kPrefixBytes;
    frame->size = page_size_;
    frames_.push_back(frame);
    free_.push_back(frame);
  }
  blocks_.push_back(std::move(block));
}

Frame* Frames::TakeFree() {
  if (free_.empty()) return nullptr;
  Frame* frame = free_.back();
  free_.pop_back();
  return frame;
}

Frame* Frames::Take() {
  if (free_.empty() && frames_.size() < limit_) {
    const std::size_t count =
        frames_.empty() ? kFirstFrames : kLargePage / (Journal::kPrefixBytes + page_size_);
    AddBlock(std::min(count, limit_ - frames_.size()));
  }
  return TakeFree();
}

Frame* Frames::TakeBeyond() {
  AddBlock(8);
  return TakeFree();
}

Frame* Frames::FindVictim() {
  // `use` has at most three bits: after four rounds every frame that nobody holds has been at 0.
  for (std::size_t step = 0; step < frames_.size() * 4; ++step) {
    Frame* frame = frames_[hand_];
    hand_ = hand_ + 1 == frames_.size() ? 0 : hand_ + 1;
    if (frame->pins != 0) continue;
    if (!frame->attached || frame->use == 0) return frame;
    frame->use >>= 1;
  }
  return nullptr;
}

void Frames::Detach(Frame* frame, PageEntry& entry) {
  entry.frame = nullptr;
  frame->attached = false;
  frame->unsaved = false;
  frame->write_epoch = 0;
}

void Frames::Attach(Frame* frame, PageNo page, PageEntry& entry) {
  entry.frame = frame;
  frame->page = page;
  frame->attached = true;
  frame->unsaved = false;
  frame->write_epoch = 0;
  frame->use = 1;
}

std::uint8_t* Frames::Record(Frame* frame) { return frame->data - Journal::kPrefixBytes; }

}  // namespace jet::internal
