// Changes of the shape of a tree: splits, new and vanishing pages, separators.
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

namespace jet {

using internal::EntryBuffer;
using internal::EntryList;
using internal::IndexPageEditor;
using internal::IndexPageView;
using internal::kChildBytes;
using internal::kJet4Geometry;
using internal::kRowBytes;
using internal::Slot;
using internal::Target;

namespace {

// Key and row of a node's entry, or of a leaf's, with a child behind it.
class NodeEntry {
 public:
  NodeEntry(Bytes separator, PageNo child) : size_(separator.size() + kChildBytes) {
    if (size_ > room_.size()) throw Error(ErrorKind::kTooLarge, "The key of an index entry is too long.");
    std::memcpy(room_.data(), separator.data(), separator.size());
    StoreBe32(room_.data() + separator.size(), child);
  }
  Bytes bytes() const { return {room_.data(), size_}; }

 private:
  std::array<std::uint8_t, 4096> room_;
  std::size_t size_;
};

Bytes WithoutChild(Bytes entry) { return entry.first(entry.size() - kChildBytes); }

// A separator (key and row) as something to search for.
Target AsTarget(Bytes separator) {
  return {separator.data(), static_cast<unsigned>(separator.size() - kRowBytes)};
}

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

// While the root has one child only, that child's content becomes the root's.
void BTree::PullChildIntoRoot() {
  for (int steps = 0; steps < kMaxDepth; ++steps) {
    PageNo child_no;
    {
      MutablePageRef root = pages_.Write(root_);
      const IndexPageView view = View(root);
      if (view.is_leaf() || !view.empty() || view.tail() == 0) return;
      child_no = view.tail();
      const PageRef child = pages_.Read(child_no);
      const IndexPageView below = View(child);
      if (child_no == root_ || below.previous() != 0 || below.next() != 0) {
        ThrowCorrupt("the only child of an index root has neighbours", child_no);
      }
      std::memcpy(root.mutable_data(), child.data(), child.bytes().size());
    }
    allocator_->FreeIndexPage(child_no);
  }
}

// Removes the page at path.pages[index], which has become empty, and its mention in the parent.
void BTree::RemovePage(const Path& path, int index, const Target& target) {
  const PageNo page = path.pages[index];
  Unlink(page);
  const PageNo parent_no = path.pages[index - 1];
  EntryBuffer new_last;
  bool childless = false;
  bool single = false;
  {
    MutablePageRef parent = pages_.Write(parent_no);
    IndexPageView view = View(parent);
    const Slot slot = view.Search(target);
    if (!view.IsEnd(slot)) {
      if (view.Child(slot) != page) ThrowCorrupt("a node of an index does not lead to its child", parent_no);
      IndexPageEditor(parent.mutable_bytes(), &view).Erase(slot);
      childless = view.empty() && view.tail() == 0;
    } else {
      if (view.tail() != page) ThrowCorrupt("a node of an index does not lead to its child", parent_no);
      childless = view.empty();
      PageNo new_tail = 0;
      if (!childless) {
        const Slot last = view.Last();
        view.Copy(last, &new_last);
        new_tail = view.Child(last);
        IndexPageEditor(parent.mutable_bytes(), &view).Erase(last);
      }
      internal::SetTail(parent.mutable_bytes(), new_tail);
    }
    single = !childless && view.empty();
    if (childless && index == 1) {
      internal::InitIndexPage(parent.mutable_bytes(), internal::kLeafPage, owner_, 0);
    }
  }
  allocator_->FreeIndexPage(page);
  if (childless) {
    if (index > 1) RemovePage(path, index - 1, target);
    return;
  }
  if (new_last.size != 0 && index >= 2) {
    UpdateSeparator(path, index - 2, target, {new_last.data.data(), new_last.size - kChildBytes});
  }
  if (single) {
    if (index == 1) {
      PullChildIntoRoot();
    } else {
      RepairSingleChild(parent_no);
    }
  }
}

// The greatest entry below path.pages[index + 1] was `old_last` and is `new_last`: the nearest ancestor that
// leads there by an entry gets the new separator.
void BTree::UpdateSeparator(const Path& path, int index, const Target& old_last, Bytes new_last) {
  for (; index >= 0; --index) {
    const PageRef page = pages_.Read(path.pages[index]);
    const IndexPageView view = View(page);
    const Slot slot = view.Search(old_last);
    if (view.IsEnd(slot)) continue;
    ReplaceSeparator(path.pages[index], slot, new_last, path.depth - 1 - index);
    return;
  }
}

void BTree::ReplaceSeparator(PageNo node, const Slot& slot, Bytes separator, int height) {
  PageNo child;
  {
    MutablePageRef page = pages_.Write(node);
    IndexPageView view = View(page);
    child = view.Child(slot);
    const NodeEntry entry(separator, child);
    IndexPageEditor editor(page.mutable_bytes(), &view);
    if (editor.Replace(slot, entry.bytes())) return;
    EntryList entries(view);
    const std::size_t at = entries.IndexOf(slot.start);
    entries.Remove(at);
    entries.Insert(at, entry.bytes());
    if (entries.PackedSize(0, entries.size()) <= kJet4Geometry.area_size) {
      entries.Write(0, entries.size(), page.mutable_bytes());
      return;
    }
    editor.Erase(slot);
  }
  // The longer separator asks for a split. Until the entry is back, the child to its right covers its range.
  InsertChild(separator, height, child, 0);
}

// A node that is not the root is left with a tail and no entry. Access never writes that, so the node joins
// its neighbour, or takes a child over from it. Where the neighbours are odd themselves it stays as it is: it
// can be read.
void BTree::RepairSingleChild(PageNo node) {
  // The way to the node, found anew: separators may have changed.
  EntryBuffer last;
  PageNo below = node;
  for (int depth = 0; last.size == 0 && depth < kMaxDepth; ++depth) {
    const PageRef page = pages_.Read(below);
    const IndexPageView view = View(page);
    if (view.is_leaf()) {
      if (view.empty()) return;
      view.Copy(view.Last(), &last);
    } else if (view.tail() != 0) {
      below = view.tail();
    } else {
      return;
    }
  }
  Path path;
  Descend({last.data.data(), last.size - kRowBytes}, &path);
  const int index = std::find(path.pages, path.pages + path.depth, node) - path.pages;
  if (index == 0 || index >= path.depth - 1) return;

  const PageNo parent_no = path.pages[index - 1];
  const int height = path.depth - index;  // of the parent
  std::size_t position = 0;
  {
    const PageRef parent = pages_.Read(parent_no);
    const EntryList separators(View(parent));
    while (position < separators.size() && separators.child(position) != node) ++position;
    if (separators.size() == 0) return;
  }
  if (position > 0) {
    JoinLeft(node, parent_no, height, position);
  } else {
    JoinRight(node, parent_no, height);
  }
  bool parent_single;
  {
    const PageRef parent = pages_.Read(parent_no);
    parent_single = View(parent).empty();
  }
  if (!parent_single) return;
  if (parent_no == root_) {
    PullChildIntoRoot();
  } else {
    RepairSingleChild(parent_no);
  }
}

// What became of the attempt to give a node without entries to its neighbour: done, or separated anew.
struct BTree::Join {
  bool done = false;
  Slot slot;  // of the separator between the two, in the parent
  EntryBuffer separator;

  void Separate(Bytes entry) {
    separator.size = entry.size();
    std::memcpy(separator.data.data(), entry.data(), entry.size());
  }
};

void BTree::FinishJoin(const Join& join, PageNo node, PageNo parent_no, int height) {
  if (join.done) {
    allocator_->FreeIndexPage(node);
  } else {
    ReplaceSeparator(parent_no, join.slot, WithoutChild({join.separator.data.data(), join.separator.size}),
                     height);
  }
}

// The node at `position` among the parent's children has only a tail. The neighbour on the left takes it over
// (its own tail gets an entry), or, being full, gives its last child.
void BTree::JoinLeft(PageNo node, PageNo parent_no, int height, std::size_t position) {
  Join join;
  {
    MutablePageRef parent = pages_.Write(parent_no);
    IndexPageView parent_view = View(parent);
    const EntryList separators(parent_view);
    const PageNo left_no = separators.child(position - 1);
    const Bytes left_separator = WithoutChild(separators[position - 1]);
    MutablePageRef left = pages_.Write(left_no);
    MutablePageRef page = pages_.Write(node);
    const IndexPageView left_view = View(left);
    const IndexPageView view = View(page);
    const PageNo left_tail = left_view.tail();
    const PageNo only = view.tail();
    if (left_view.is_leaf() || left_tail == 0 || left_view.empty()) return;
    EntryList entries(left_view);
    const std::size_t count = entries.size();
    const NodeEntry moved(left_separator, left_tail);
    entries.Insert(count, moved.bytes());
    join.slot = parent_view.Search(AsTarget(left_separator));
    join.done = entries.PackedSize(0, count + 1) <= kJet4Geometry.area_size;
    if (join.done) {
      entries.Write(0, count + 1, left.mutable_bytes());
      internal::SetTail(left.mutable_bytes(), only);
      IndexPageEditor editor(parent.mutable_bytes(), &parent_view);
      editor.Erase(join.slot);
      if (position == separators.size()) {
        internal::SetTail(parent.mutable_bytes(), left_no);
      } else {
        const Bytes own = WithoutChild(separators[position]);
        editor.Replace(parent_view.Search(AsTarget(own)), NodeEntry(own, left_no).bytes());
      }
      Unlink(node);
    } else {
      const Bytes given = entries[count - 1];
      join.Separate(given);
      EntryList own(view);
      own.Insert(0, moved.bytes());
      own.Write(0, 1, page.mutable_bytes());
      entries.Write(0, count - 1, left.mutable_bytes());
      internal::SetTail(left.mutable_bytes(), entries.child(count - 1));
      LinkNodes(entries.child(count - 1), left_tail, false);
    }
    LinkNodes(left_tail, only, true);
  }
  FinishJoin(join, node, parent_no, height);
}

// The same for a first child, with its neighbour on the right.
void BTree::JoinRight(PageNo node, PageNo parent_no, int height) {
  Join join;
  {
    MutablePageRef parent = pages_.Write(parent_no);
    IndexPageView parent_view = View(parent);
    const EntryList separators(parent_view);
    const PageNo right_no = separators.size() > 1 ? separators.child(1) : parent_view.tail();
    if (right_no == 0) return;
    MutablePageRef right = pages_.Write(right_no);
    MutablePageRef page = pages_.Write(node);
    const IndexPageView right_view = View(right);
    const IndexPageView view = View(page);
    const PageNo only = view.tail();
    if (right_view.is_leaf() || right_view.empty()) return;
    EntryList entries(right_view);
    const std::size_t count = entries.size();
    const NodeEntry moved(WithoutChild(separators[0]), only);
    const PageNo first_child = entries.child(0);
    entries.Insert(0, moved.bytes());
    join.slot = parent_view.First();
    join.done = entries.PackedSize(0, count + 1) <= kJet4Geometry.area_size;
    if (join.done) {
      entries.Write(0, count + 1, right.mutable_bytes());
      IndexPageEditor(parent.mutable_bytes(), &parent_view).Erase(join.slot);
      Unlink(node);
    } else {
      const Bytes given = entries[1];
      join.Separate(given);
      EntryList own(view);
      own.Insert(0, moved.bytes());
      own.Write(0, 1, page.mutable_bytes());
      internal::SetTail(page.mutable_bytes(), first_child);
      entries.Write(2, count + 1, right.mutable_bytes());
      const PageNo next_child = count > 1 ? entries.child(2) : right_view.tail();
      if (next_child != 0) LinkNodes(first_child, next_child, false);
    }
    LinkNodes(only, first_child, true);
  }
  FinishJoin(join, node, parent_no, height);
}

}  // namespace jet
