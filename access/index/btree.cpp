#include "access/index/btree.h"

#include <algorithm>
#include <cstring>

#include "access/base/error.h"
#include "access/index/index_page.h"

namespace jet {

using internal::EntryBuffer;
using internal::IndexPageEditor;
using internal::IndexPageView;
using internal::Slot;
using internal::Target;
using internal::TargetBuffer;

BTree::BTree(PageStore& pages, IndexPageAllocator* allocator, PageNo root, PageNo owner, bool jet3)
    : pages_(pages), allocator_(allocator), root_(root), owner_(owner), jet3_(jet3) {}

void BTree::InitRoot(const MutablePageRef& page, PageNo owner) {
  internal::InitIndexPage(page.mutable_bytes(), internal::kLeafPage, owner, 0);
}

IndexPageView BTree::View(const PageRef& page) const {
  return IndexPageView(page.bytes(), page.page_no(), owner_, jet3_);
}

void BTree::Descend(const Target& target, Path* path) {
  path->depth = 0;
  path->without_tail = 0;
  PageNo page_no = root_;
  for (;;) {
    if (path->depth == kMaxDepth) ThrowCorrupt("an index is too deep, or its pages form a loop", page_no);
    path->pages[path->depth++] = page_no;
    const PageRef page = pages_.Read(page_no);
    const IndexPageView view = View(page);
    if (view.is_leaf()) return;
    const Slot slot = view.Search(target);
    if (!view.IsEnd(slot)) {
      page_no = view.Child(slot);
    } else if (view.tail() != 0) {
      page_no = view.tail();
    } else if (!view.empty()) {
      // Some writers leave a node without a tail: its last entry then names the last child.
      path->without_tail = page_no;
      page_no = view.Child(view.Last());
    } else {
      ThrowCorrupt("a node of an index has no children", page_no);
    }
  }
}

void BTree::DescendForChange(const Target& target, Path* path) {
  for (Descend(target, path); path->without_tail != 0; Descend(target, path)) {
    MutablePageRef page = pages_.Write(path->without_tail);
    IndexPageView view = View(page);
    const Slot last = view.Last();
    internal::SetTail(page.mutable_bytes(), view.Child(last));
    IndexPageEditor(page.mutable_bytes(), &view).Erase(last);
  }
}

void BTree::Insert(std::string_view key, RowId row) {
  if (key.size() > kMaxKeyBytes) throw Error(ErrorKind::kTooLarge, "The key of an index entry is too long.");
  const TargetBuffer target(key, row);
  for (;;) {
    Path path;
    DescendForChange(target, &path);
    {
      MutablePageRef leaf = pages_.Write(path.leaf());
      IndexPageView view = View(leaf);
      const Slot slot = view.Search(target);
      if (slot.exact) ThrowCorrupt("an index holds an entry of a row already", path.leaf());
      if (IndexPageEditor(leaf.mutable_bytes(), &view).Insert(slot.start, target.bytes())) return;
    }
    if (InsertIntoFullLeaf(path, target)) return;
  }
}

bool BTree::Erase(std::string_view key, RowId row) {
  if (key.size() > kMaxKeyBytes) return false;
  const TargetBuffer target(key, row);
  Path path;
  Descend(target, &path);
  EntryBuffer new_last;
  {
    const PageRef page = pages_.Read(path.leaf());
    if (!View(page).Search(target).exact) return false;
  }
  if (path.without_tail != 0) DescendForChange(target, &path);
  bool emptied = false;
  {
    MutablePageRef leaf = pages_.Write(path.leaf());
    IndexPageView view = View(leaf);
    const Slot slot = view.Search(target);
    const bool was_last = slot.end == view.used();
    IndexPageEditor(leaf.mutable_bytes(), &view).Erase(slot);
    if (path.depth == 1 || !was_last) return true;
    emptied = view.empty();
    if (!emptied) view.Copy(view.Last(), &new_last);
  }
  if (emptied) {
    RemovePage(path, path.depth - 1, target);
  } else {
    UpdateSeparator(path, path.depth - 2, target, {new_last.data.data(), new_last.size});
  }
  return true;
}

bool BTree::Contains(std::string_view key) {
  if (key.size() > kMaxKeyBytes) return false;
  const TargetBuffer target(key, RowId());
  Path path;
  Descend(target, &path);
  const PageRef page = pages_.Read(path.leaf());
  const IndexPageView view = View(page);
  const Slot slot = view.Search(target);
  if (!view.IsEnd(slot)) return view.KeyEquals(slot, target);
  if (view.next() == 0) return false;
  // A separator may be greater than what is left below it: then the next leaf begins with the candidate.
  Cursor cursor(*this);
  cursor.Seek(key);
  return cursor.valid() && cursor.key() == key;
}

// Stands on `entry`, which was found at `slot` of `page`. Nothing is pinned: before moving on the page is
// read again, and when the entry is not there any more, it is searched for from the root.
struct BTree::Cursor::State {
  explicit State(BTree& owner) : tree(&owner) {}

  BTree* tree;
  PageNo page = 0;
  Slot slot;
  EntryBuffer entry;
  bool valid = false;

  Target target() const { return {entry.data.data(), entry.size - internal::kRowBytes}; }

  // The first entry not less than the target, or, with `after`, greater than it.
  void Seek(const Target& wanted, bool after) {
    Path path;
    tree->Descend(wanted, &path);
    page = path.leaf();
    PageRef ref = tree->pages_.Read(page);
    const IndexPageView view = tree->View(ref);
    Slot found = view.Search(wanted);
    if (after && found.exact) found = view.After(found);
    valid = false;
    Settle(view, found, after);
  }

  void Next() {
    if (page < tree->pages_.page_count()) {
      const PageRef ref = tree->pages_.Read(page);
      if (IndexPageView::IsLeafOf(ref.bytes(), tree->owner_)) {
        const IndexPageView view = tree->View(ref);
        if (view.Holds(slot, {entry.data.data(), entry.size})) {
          Settle(view, view.After(slot), true);
          return;
        }
      }
    }
    TargetBuffer wanted(target());
    Seek(wanted, true);
  }

 private:
  // Takes the entry at `found`, or, behind the end, the first of the leaves to the right. Demanding ascending
  // entries also ends a walk through leaves that are linked in a circle.
  void Settle(const IndexPageView& view, const Slot& found, bool ascending) {
    if (!view.IsEnd(found)) {
      if (ascending && view.Compare(found, target()) <= 0) {
        ThrowCorrupt("the entries of an index are not in ascending order", view.page_no(), found.start);
      }
      slot = found;
      view.Copy(found, &entry);
      page = view.page_no();
      valid = true;
      return;
    }
    PageNo next = view.next();
    for (PageNo steps = 0; next != 0; ++steps) {
      if (steps > tree->pages_.page_count()) ThrowCorrupt("the leaves of an index form a loop", next);
      const PageRef ref = tree->pages_.Read(next);
      const IndexPageView other = tree->View(ref);
      if (!other.is_leaf()) ThrowCorrupt("a leaf of an index is followed by a node", next);
      if (!other.empty()) {
        Settle(other, other.First(), ascending);
        return;
      }
      next = other.next();
    }
    valid = false;
  }
};

BTree::Cursor::Cursor(BTree& tree) : state_(std::make_unique<State>(tree)) {}
BTree::Cursor::~Cursor() = default;
BTree::Cursor::Cursor(Cursor&&) noexcept = default;

void BTree::Cursor::SeekFirst() { Seek({}); }

void BTree::Cursor::Seek(std::string_view lower) {
  // No entry is longer than kMaxKeyBytes, so what follows cannot matter.
  const TargetBuffer target(lower.substr(0, kMaxKeyBytes + 64), RowId());
  state_->Seek(target, false);
}

bool BTree::Cursor::valid() const { return state_->valid; }

std::string_view BTree::Cursor::key() const {
  return {reinterpret_cast<const char*>(state_->entry.data.data()), state_->entry.size - internal::kRowBytes};
}

RowId BTree::Cursor::row() const {
  return RowId::FromPacked(LoadBe32(state_->entry.data.data() + state_->entry.size - internal::kRowBytes));
}

void BTree::Cursor::Next() { state_->Next(); }

}  // namespace jet
