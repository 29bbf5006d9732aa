#include "access/index/btree.h"

#include <algorithm>
#include <cstring>
#include <string>

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
    if (view.is_leaf()) {
      last_leaf_ = path->without_tail == 0 ? page_no : 0;
      era_ = pages_.era();
      return;
    }
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

PageRef BTree::Find(const Target& target, Slot* slot) {
  PageRef page;
  bool found = false;
  if (last_leaf_ != 0 && era_ == pages_.era()) {
    page = pages_.Read(last_leaf_);
    if (IndexPageView::IsLeafOf(page.bytes(), owner_)) {
      const IndexPageView view = View(page);
      found = view.SearchNear(target, last_place_, slot);
      if (!found && view.Spans(target)) {
        *slot = view.Search(target);
        found = true;
      }
    }
  }
  if (!found) {
    Path path;
    Descend(target, &path);
    page = pages_.Read(path.leaf());
    *slot = View(page).Search(target);
  }
  last_place_ = slot->start;
  return page;
}

void BTree::Insert(std::string_view key, RowId row, bool* is_new) {
  if (key.size() > kMaxKeyBytes) throw Error(ErrorKind::kTooLarge, "The key of an index entry is too long.");
  const TargetBuffer target(key, row);
  {
    Slot slot;
    const PageRef leaf = Find(target, &slot);
    // Not so below nodes without tail.
    if (last_leaf_ == leaf.page_no() && InsertIntoLeaf(leaf, slot, target, is_new)) return;
  }
  for (;;) {
    Path path;
    DescendForChange(target, &path);
    const PageRef leaf = pages_.Read(path.leaf());
    if (InsertIntoLeaf(leaf, View(leaf).Search(target), target, is_new)) return;
    if (InsertIntoFullLeaf(path, target)) return;
  }
}

// False when it is full.
bool BTree::InsertIntoLeaf(const PageRef& leaf, const Slot& slot, const TargetBuffer& target, bool* is_new) {
  IndexPageView view = View(leaf);
  if (slot.exact) ThrowCorrupt("an index holds an entry of a row already", leaf.page_no());
  if (is_new != nullptr) {
    const IndexPageView::Presence presence = view.FindKey(slot, target);
    *is_new = presence == IndexPageView::Presence::kAbsent ||
              (presence == IndexPageView::Presence::kUnknown && !Contains(target.key()));
  }
  const MutablePageRef page = pages_.Write(leaf.page_no());
  return IndexPageEditor(page.mutable_bytes(), &view).Insert(slot.start, target.bytes());
}

bool BTree::Erase(std::string_view key, RowId row) {
  if (key.size() > kMaxKeyBytes) return false;
  const TargetBuffer target(key, row);
  if (EraseWithin(target)) return true;
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

// The usual case: an entry that is followed by another one of its leaf, so that no node mentions it.
bool BTree::EraseWithin(const TargetBuffer& target) {
  Slot slot;
  const PageRef page = Find(target, &slot);
  if (last_leaf_ != page.page_no()) return false;  // below nodes without tail
  IndexPageView view = View(page);
  if (!slot.exact || slot.end == view.used()) return false;
  const MutablePageRef leaf = pages_.Write(page.page_no());
  IndexPageEditor(leaf.mutable_bytes(), &view).Erase(slot);
  return true;
}

bool BTree::Contains(std::string_view key) {
  if (key.size() > kMaxKeyBytes) return false;
  const TargetBuffer target(key, RowId());
  Slot slot;
  const PageRef page = Find(target, &slot);
  const IndexPageView view = View(page);
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
  std::string entry;  // key and row
  bool valid = false;

  Bytes bytes() const { return {reinterpret_cast<const std::uint8_t*>(entry.data()), entry.size()}; }
  unsigned key_size() const { return entry.size() - internal::kRowBytes; }
  Target target() const { return {bytes().data(), key_size()}; }

  // The first entry not less than the target, or, with `after`, greater than it.
  void Seek(const Target& wanted, bool after) {
    Slot found;
    const PageRef ref = tree->Find(wanted, &found);
    page = ref.page_no();
    const IndexPageView view = tree->View(ref);
    if (after && found.exact) found = view.After(found);
    valid = false;
    Settle(view, found, after);
  }

  void Next() {
    if (page < tree->pages_.page_count()) {
      const PageRef ref = tree->pages_.Read(page);
      if (IndexPageView::IsLeafOf(ref.bytes(), tree->owner_)) {
        const IndexPageView view = tree->View(ref);
        if (view.Holds(slot, bytes())) {
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
      EntryBuffer whole;
      view.Copy(found, &whole);
      entry.assign(reinterpret_cast<const char*>(whole.data.data()), whole.size);
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
  return std::string_view(state_->entry).substr(0, state_->key_size());
}

RowId BTree::Cursor::row() const {
  return RowId::FromPacked(LoadBe32(state_->bytes().data() + state_->key_size()));
}

void BTree::Cursor::Next() { state_->Next(); }

}  // namespace jet
