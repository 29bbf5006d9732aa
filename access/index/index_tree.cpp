#include "access/index/index_tree.h"

#include <string>

#include "access/base/error.h"
#include "access/base/interruption.h"
#include "access/index/index_page.h"

namespace jet {
namespace {

using internal::EntryBuffer;
using internal::IndexPageView;
using internal::Slot;
using internal::Target;

constexpr int kMaxDepth = 16;
constexpr std::size_t kMaxFindings = 200;

class TreeWalk {
 public:
  TreeWalk(PageStore& pages, PageNo owner, bool jet3,
           const std::function<void(std::string_view, RowId)>& on_entry, std::vector<Finding>* findings)
      : pages_(pages),
        owner_(owner),
        jet3_(jet3),
        on_entry_(on_entry),
        findings_(findings),
        seen_(pages.page_count()) {}

  IndexTreeReport Run(PageNo root) {
    Visit(root, 1, 0, 0);
    if (report_.complete && last_leaf_ != 0 && expected_next_ != 0) {
      Report(true, last_leaf_, "the last leaf of an index names a leaf that follows it");
    }
    return std::move(report_);
  }

 private:
  void Report(bool fatal, PageNo page, const std::string& what) {
    if (findings_->size() < kMaxFindings) {
      findings_->push_back({fatal, page, "Page " + std::to_string(page) + ": " + what + "."});
    }
  }
  void Incomplete(PageNo page, const std::string& what) {
    report_.complete = false;
    Report(true, page, what);
  }

  void Visit(PageNo page_no, int depth, PageNo left, PageNo right) {
    if (page_no >= seen_.size()) return Incomplete(page_no, "an index names a page past the end of the file");
    if (seen_[page_no]) return Incomplete(page_no, "an index page has two parents");
    if (depth > kMaxDepth) return Incomplete(page_no, "an index is too deep");
    seen_[page_no] = true;
    ThrowIfInterrupted();
    report_.pages.push_back(page_no);
    try {
      const PageRef page = pages_.Read(page_no);
      const IndexPageView view(page.bytes(), page_no, owner_, jet3_);
      if (view.free_field() != view.geometry().area_size - view.used()) {
        Report(false, page_no, "the free bytes of an index page are not what its entries leave");
      }
      if (view.HighestBit() != view.used()) {
        Report(true, page_no, "the bitmap of an index page marks entries where there are none");
      }
      if (view.is_leaf()) {
        VisitLeaf(view, depth);
      } else {
        VisitNode(view, depth, left, right);
      }
    } catch (const Error& error) {
      if (error.is_obstacle()) throw;
      report_.complete = false;
      if (findings_->size() < kMaxFindings) findings_->push_back({true, page_no, error.what()});
    }
  }

  void VisitLeaf(const IndexPageView& view, int depth) {
    const PageNo page = view.page_no();
    if (report_.depth == 0) report_.depth = depth;
    if (report_.depth != depth) Report(true, page, "the leaves of an index are not equally deep");
    if (view.empty() && depth > 1) Report(false, page, "a leaf of an index is empty");
    if (view.previous() != last_leaf_ || (last_leaf_ != 0 && expected_next_ != page)) {
      // After a part that could not be read the neighbour is unknown.
      if (report_.complete) Report(true, page, "the leaves of an index are not linked in their order");
    }
    last_leaf_ = page;
    expected_next_ = view.next();
    for (Slot slot = view.First(); !view.IsEnd(slot); slot = view.After(slot)) {
      EntryBuffer& next = buffers_[1 - current_];
      view.Copy(slot, &next);
      const unsigned key_size = next.size - internal::kRowBytes;
      if (report_.entries > 0 && view.Compare(slot, Last()) <= 0) {
        Report(true, page, "the entries of an index are not in ascending order");
      }
      current_ = 1 - current_;
      ++report_.entries;
      on_entry_({reinterpret_cast<const char*>(next.data.data()), key_size},
                RowId::FromPacked(LoadBe32(next.data.data() + key_size)));
    }
  }

  void VisitNode(const IndexPageView& view, int depth, PageNo left, PageNo right) {
    const PageNo page = view.page_no();
    if (view.empty() && view.tail() == 0) return Incomplete(page, "a node of an index has no children");
    if (view.empty()) Report(false, page, "a node of an index has only one child");
    if ((view.previous() != 0 && view.previous() != left) || (view.next() != 0 && view.next() != right)) {
      Report(false, page, "a node of an index is linked to a page that is not its neighbour");
    }
    PageNo before = 0;
    for (Slot slot = view.First(); !view.IsEnd(slot); slot = view.After(slot)) {
      const PageNo child = view.Child(slot);
      const Slot following = view.After(slot);
      const PageNo after = view.IsEnd(following) ? view.tail() : view.Child(following);
      Visit(child, depth + 1, before, after);
      before = child;
      if (report_.entries == 0 || !report_.complete) continue;
      const int order = view.Compare(slot, Last());
      if (order < 0) {
        Report(true, page, "a separator of an index is less than the last entry below it");
      } else if (order > 0) {
        Report(false, page, "a separator of an index is greater than the last entry below it");
      }
    }
    if (view.tail() != 0) Visit(view.tail(), depth + 1, before, 0);
  }

  Target Last() const {
    const EntryBuffer& entry = buffers_[current_];
    return MakeTarget(entry);
  }
  static Target MakeTarget(const EntryBuffer& entry) {
    Target target;
    target.data = entry.data.data();
    target.key_size = entry.size - internal::kRowBytes;
    return target;
  }

  PageStore& pages_;
  PageNo owner_;
  bool jet3_;
  const std::function<void(std::string_view, RowId)>& on_entry_;
  std::vector<Finding>* findings_;
  std::vector<bool> seen_;
  IndexTreeReport report_;
  PageNo last_leaf_ = 0;
  PageNo expected_next_ = 0;
  EntryBuffer buffers_[2];  // the last entry met, and the next
  int current_ = 0;
};

}  // namespace

IndexTreeReport CheckIndexTree(PageStore& pages, PageNo root, PageNo owner, bool jet3,
                               const std::function<void(std::string_view key, RowId row)>& on_entry,
                               std::vector<Finding>* findings) {
  return TreeWalk(pages, owner, jet3, on_entry, findings).Run(root);
}

}  // namespace jet
