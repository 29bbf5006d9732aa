// Changes of the shape of a tree that shrinks: pages that vanish, separators that change with them, nodes
// that join a neighbour. How pages are linked stands in btree_grow.cpp.
#include <algorithm>
#include <cstring>

#include "access/base/error.h"
#include "access/index/btree.h"
#include "access/index/index_page.h"
#include "access/index/node_entry.h"

namespace jet {

using internal::AsTarget;
using internal::EntryBuffer;
using internal::EntryList;
using internal::IndexPageEditor;
using internal::IndexPageView;
using internal::kChildBytes;
using internal::kJet4Geometry;
using internal::kRowBytes;
using internal::NodeEntry;
using internal::Slot;
using internal::Target;
using internal::WithoutChild;

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
