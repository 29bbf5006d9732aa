// Changes of the shape of a tree that grows: splits, new pages, separators.
//
// A split moves the lower half to a new page that stands before the old one, so that the old page keeps its
// place (entry or tail) in the parent, and only an entry for the new page is added. Keys that are appended
// leave the old page full and go to a fresh page on the right. Parents are found by searching for the
// separator from the root: that is cheap beside a split, and right whatever was split above meanwhile.
//
// Leaves are linked along the whole tree, nodes only with the other children of the same parent.
#include <algorithm>
#include <cstring>

#include "access/base/error.h"
#include "access/index/btree.h"
#include "access/index/index_page.h"
#include "access/index/node_entry.h"

namespace jet {

using internal::AsTarget;
using internal::EntryList;
using internal::IndexPageEditor;
using internal::IndexPageView;
using internal::kJet4Geometry;
using internal::NodeEntry;
using internal::Slot;
using internal::Target;
using internal::WithoutChild;

namespace {

// The place nearest to the middle of the bytes, between `low` and `high`, that `fits`; `high + 1` when none.
template <typename Fits>
std::size_t NearestToMiddle(const EntryList& entries, std::size_t low, std::size_t high, Fits fits) {
  std::size_t total = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) total += entries[i].size();
  std::size_t middle = 0;
  for (std::size_t sum = 0; middle < entries.size() && sum < total / 2; ++middle)
    sum += entries[middle].size();
  middle = std::clamp(middle, low, high);
  for (std::size_t distance = 0; distance <= high - low; ++distance) {
    if (middle + distance <= high && fits(middle + distance)) return middle + distance;
    if (middle >= low + distance && fits(middle - distance)) return middle - distance;
  }
  return high + 1;
}

}  // namespace

void BTree::Link(PageNo left, PageNo right) {
  if (left != 0) internal::SetNext(pages_.Write(left).mutable_bytes(), right);
  if (right != 0) internal::SetPrevious(pages_.Write(right).mutable_bytes(), left);
}

// Takes a page out of the chain of its level. A neighbour that does not point back is damage: nothing is
// written into it.
void BTree::Unlink(PageNo page) {
  PageNo left, right;
  {
    const PageRef ref = pages_.Read(page);
    left = View(ref).previous();
    right = View(ref).next();
  }
  if (left != 0) {
    const PageRef ref = pages_.Read(left);
    if (View(ref).next() != page) ThrowCorrupt("an index page is not linked to its right neighbour", left);
  }
  if (right != 0) {
    const PageRef ref = pages_.Read(right);
    if (View(ref).previous() != page)
      ThrowCorrupt("an index page is not linked to its left neighbour", right);
  }
  Link(left, right);
}

// Two neighbouring children get linked, or their link is cut, when they are nodes; leaves always stay linked.
void BTree::LinkNodes(PageNo left, PageNo right, bool linked) {
  {
    const PageRef ref = pages_.Read(left);
    if (View(ref).is_leaf()) return;
    const PageRef other = pages_.Read(right);
    if (View(other).is_leaf()) ThrowCorrupt("an index has leaves at different depths", right);
  }
  internal::SetNext(pages_.Write(left).mutable_bytes(), linked ? right : 0);
  internal::SetPrevious(pages_.Write(right).mutable_bytes(), linked ? left : 0);
}

bool BTree::InsertIntoFullLeaf(const Path& path, const Target& target) {
  const PageNo leaf = path.leaf();
  const Bytes entry{target.data, target.size()};
  MutablePageRef page = pages_.Write(leaf);
  const IndexPageView view = View(page);
  EntryList entries(view);
  const std::size_t at = entries.IndexOf(view.Search(target).start);
  entries.Insert(at, entry);
  if (entries.PackedSize(0, entries.size()) <= kJet4Geometry.area_size) {
    entries.Write(0, entries.size(), page.mutable_bytes());
    return true;
  }
  if (path.depth == 1) {
    PushRootDown();
    return false;
  }
  if (at + 1 == entries.size() && view.next() == 0) {
    const PageRef parent = pages_.Read(path.pages[path.depth - 2]);
    if (View(parent).tail() == leaf) {
      AppendLeaf(entries, leaf);
      return true;
    }
  }
  const auto fits = [&](std::size_t split) {
    return entries.PackedSize(0, split) <= kJet4Geometry.area_size &&
           entries.PackedSize(split, entries.size()) <= kJet4Geometry.area_size;
  };
  const std::size_t split = NearestToMiddle(entries, 1, entries.size() - 1, fits);
  if (split < entries.size()) {
    SplitLeaf(entries, split, leaf);
    return true;
  }
  // A very long key between long keys: it fits with neither of its sides, but it will fit a page with one of
  // them once they are apart.
  entries.Remove(at);
  SplitLeaf(entries, at, leaf);
  return false;
}

void BTree::SplitLeaf(const EntryList& entries, std::size_t at, PageNo leaf) {
  PageNo lower;
  {
    MutablePageRef fresh = allocator_->AllocateIndexPage();
    MutablePageRef old = pages_.Write(leaf);
    lower = fresh.page_no();
    const PageNo left = View(old).previous();
    if (left != 0) {
      const PageRef ref = pages_.Read(left);
      if (View(ref).next() != leaf) ThrowCorrupt("an index page is not linked to its right neighbour", left);
    }
    internal::InitIndexPage(fresh.mutable_bytes(), internal::kLeafPage, owner_, 0);
    entries.Write(0, at, fresh.mutable_bytes());
    entries.Write(at, entries.size(), old.mutable_bytes());
    Link(left, lower);
    Link(lower, leaf);
  }
  InsertChild(entries[at - 1], 1, lower, 0);
}

// The last of `entries` goes to a new page on the right; the leaf stays as it is.
void BTree::AppendLeaf(const EntryList& entries, PageNo leaf) {
  PageNo right;
  {
    MutablePageRef fresh = allocator_->AllocateIndexPage();
    right = fresh.page_no();
    internal::InitIndexPage(fresh.mutable_bytes(), internal::kLeafPage, owner_, 0);
    entries.Write(entries.size() - 1, entries.size(), fresh.mutable_bytes());
    Link(leaf, right);
  }
  InsertChild(entries[entries.size() - 2], 1, leaf, right);
}

// Adds an entry for `child`, whose greatest entry is `separator`, to the node `height` levels above the
// leaves. With `new_tail` the child is the node's tail until now, and `new_tail` takes that place.
void BTree::InsertChild(Bytes separator, int height, PageNo child, PageNo new_tail) {
  const NodeEntry entry(separator, child);
  const Target target = AsTarget(separator);
  for (;;) {
    Path path;
    Descend(target, &path);
    const int index = path.index_at(height);
    if (index < 0) ThrowCorrupt("an index has leaves at different depths", path.leaf());
    const PageNo node = path.pages[index];
    MutablePageRef page = pages_.Write(node);
    IndexPageView view = View(page);
    const Slot slot = view.Search(target);
    if (slot.exact) ThrowCorrupt("a node of an index has two equal entries", node);
    if (IndexPageEditor(page.mutable_bytes(), &view).Insert(slot.start, entry.bytes())) {
      if (new_tail != 0) internal::SetTail(page.mutable_bytes(), new_tail);
      return;
    }
    EntryList entries(view);
    const std::size_t at = entries.IndexOf(slot.start);
    entries.Insert(at, entry.bytes());
    if (entries.PackedSize(0, entries.size()) <= kJet4Geometry.area_size) {
      entries.Write(0, entries.size(), page.mutable_bytes());
      if (new_tail != 0) internal::SetTail(page.mutable_bytes(), new_tail);
      return;
    }
    if (index == 0) {
      PushRootDown();
      continue;
    }
    SplitNode(entries, at, path, index, new_tail);
    return;
  }
}

// Of `entries` one becomes the separator, and its child the tail of the lower page.
void BTree::SplitNode(const EntryList& entries, std::size_t inserted, const Path& path, int index,
                      PageNo new_tail) {
  const int height = path.depth - 1 - index;
  const PageNo node = path.pages[index];
  const std::size_t count = entries.size();
  MutablePageRef old = pages_.Write(node);
  const IndexPageView view = View(old);
  const PageNo last_tail = new_tail != 0 ? new_tail : view.tail();
  const std::uint8_t level = view.level();
  const PageNo left = view.previous();
  bool append = false;
  if (new_tail != 0 && inserted + 1 == count && count >= 3 && view.next() == 0) {
    const PageRef parent = pages_.Read(path.pages[index - 1]);
    append = View(parent).tail() == node;
  }
  const auto fits = [&](std::size_t middle) {
    return entries.PackedSize(0, middle) <= kJet4Geometry.area_size &&
           entries.PackedSize(middle + 1, count) <= kJet4Geometry.area_size;
  };
  std::size_t split = count - 2;
  if (!append) {
    // No page should be left without an entry; with the longest of keys there is no choice.
    split = count >= 3 ? NearestToMiddle(entries, 1, count - 2, fits) : count;
    if (split > count - 2 || !fits(split)) split = inserted;
  }
  MutablePageRef fresh = allocator_->AllocateIndexPage();
  internal::InitIndexPage(fresh.mutable_bytes(), internal::kNodePage, owner_, level);
  MutablePageRef& lower = append ? old : fresh;
  MutablePageRef& upper = append ? fresh : old;
  const PageNo lower_no = lower.page_no();
  const PageNo upper_no = upper.page_no();
  entries.Write(split + 1, count, upper.mutable_bytes());
  entries.Write(0, split, lower.mutable_bytes());
  internal::SetTail(upper.mutable_bytes(), last_tail);
  internal::SetTail(lower.mutable_bytes(), entries.child(split));
  if (append) {
    Link(lower_no, upper_no);
  } else {
    Link(left, lower_no);
    Link(lower_no, upper_no);
  }
  const PageNo first_of_upper = split + 1 < count ? entries.child(split + 1) : last_tail;
  if (first_of_upper != 0) LinkNodes(entries.child(split), first_of_upper, false);
  InsertChild(WithoutChild(entries[split]), height + 1, lower_no, append ? upper_no : 0);
}

// The root page keeps its number: its content moves to a new page, and it becomes a node over that page.
void BTree::PushRootDown() {
  MutablePageRef child = allocator_->AllocateIndexPage();
  MutablePageRef root = pages_.Write(root_);
  const IndexPageView view = View(root);
  const std::uint8_t level = view.is_leaf() ? 1 : std::max<int>(view.level(), 1) + 1;
  std::memcpy(child.mutable_data(), root.data(), root.bytes().size());
  internal::SetPrevious(child.mutable_bytes(), 0);
  internal::SetNext(child.mutable_bytes(), 0);
  internal::InitIndexPage(root.mutable_bytes(), internal::kNodePage, owner_, level);
  internal::SetTail(root.mutable_bytes(), child.page_no());
}

}  // namespace jet
