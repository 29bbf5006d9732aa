// Pages in memory, and what a page store knows of each page wherever it stands.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "access/base/bytes.h"

namespace jet::internal {

// A place in the cache. `pins` counts the handles; a frame with none may be given to another page.
struct Frame {
  std::uint8_t* data = nullptr;
  std::uint64_t write_epoch = 0;  // Write() has nothing left to note while this is the store's epoch
  std::uint32_t size = 0;
  PageNo page = 0;
  std::uint32_t pins = 0;
  std::uint8_t use = 0;   // the clock shifts it right; a frame at 0 is the next to go
  bool attached = false;  // the page table points here
  bool unsaved = false;   // differs from what `stored` of its page names
};

// What the store knows of a page. Where a slot is 0, the content is that of the file.
struct PageEntry {
  Frame* frame = nullptr;
  std::uint32_t stored = 0;     // journal slot of the content, but for an unsaved frame
  std::uint32_t persisted = 0;  // journal slot of the content at the last Persist()
  std::uint32_t statement = 0;  // last statement that noted how to undo the page
  std::uint32_t mark : 30 = 0;  // last mark for which that was noted
  bool held : 1 = false;        // `stored` is what the running statement goes back to
  bool marked : 1 = false;      // `stored` is what the page was at the mark

  // From what was persisted last.
  bool is_changed() const { return stored != persisted || (frame != nullptr && frame->unsaved); }
};

// By page, grown on demand.
using PageTable = std::vector<PageEntry>;

// The pages that may differ from the file, in runs: what is done for all of them at a commit does not pass by
// every page of a large file.
class ChangedRuns {
 public:
  void Note(PageNo page) {
    const std::size_t run = page / kPages;
    if (run >= runs_.size()) runs_.resize(run + 1);
    runs_[run] = true;
  }
  void Clear() { runs_.clear(); }

  // Calls use(page) for those below `end`, and for their neighbours.
  template <typename Use>
  void ForEach(std::size_t end, Use use) const {
    for (std::size_t run = 0; run < runs_.size(); ++run) {
      if (!runs_[run]) continue;
      const std::size_t last = std::min((run + 1) * kPages, end);
      for (std::size_t page = run * kPages; page < last; ++page) use(static_cast<PageNo>(page));
    }
  }

 private:
  static constexpr std::size_t kPages = 64;

  std::vector<bool> runs_;
};

struct PageCounts {
  PageNo pages = 0;
  PageNo changed = 0;  // from what was persisted last
};

}  // namespace jet::internal
