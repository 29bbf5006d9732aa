// The places in memory that pages are read into: up to a ceiling, then taken from other pages by a clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "access/file/large_memory.h"
#include "access/file/page_frame.h"

namespace jet::internal {

class Frames {
 public:
  Frames(std::uint32_t page_size, std::size_t cache_bytes);

  // A frame that stands for no page; null when the ceiling is reached.
  Frame* Take();
  // Past the ceiling, the frame of a page that nobody holds, which goes next; null when all are held.
  Frame* FindVictim();
  // Only then does the cache grow beyond the ceiling.
  Frame* TakeBeyond();
  // One that is at hand, or null.
  Frame* TakeFree();
  void Free(Frame* frame) { free_.push_back(frame); }

  // Calls use(frame) for the places that the clock comes to next, `count` of them.
  template <typename Use>
  void ForEachAhead(std::size_t count, Use use) const {
    std::size_t next = hand_;
    for (std::size_t step = 0; step < count && step < frames_.size(); ++step) {
      Frame* const frame = frames_[next];
      next = next + 1 == frames_.size() ? 0 : next + 1;
      use(frame);
    }
  }

  static void Attach(Frame* frame, PageNo page, PageEntry& entry);
  static void Detach(Frame* frame, PageEntry& entry);
  // Every page in memory has room before it for what the journal puts there.
  static std::uint8_t* Record(Frame* frame);

 private:
  struct Block {
    LargeBytes data;
    std::unique_ptr<Frame[]> frames;
  };

  void AddBlock(std::size_t count);

  std::uint32_t page_size_;
  std::size_t limit_;
  std::vector<Block> blocks_;
  std::vector<Frame*> frames_;  // all of them, in the order of the clock
  std::vector<Frame*> free_;
  std::size_t hand_ = 0;
};

}  // namespace jet::internal
