// One index: a B-tree of (key bytes, row) entries on index pages.
//
// The layout of a page stands in index_page.h. The root page number never changes, all leaves are equally
// deep and linked both ways, and every node written here has a tail child: the last child, which has no
// entry. The entry of any other child holds the greatest key below that child. Entries are strictly ascending
// by (key, page, slot).
//
// No function trusts the pages: damage raises kCorrupt naming the page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "access/base/types.h"
#include "access/file/page_store.h"

namespace jet {

// Where an index gets its pages from; the owner keeps the index's page map and the global map. A page that is
// freed begins an era of the store (PageStore::era).
class IndexPageAllocator {
 public:
  virtual ~IndexPageAllocator() = default;
  virtual MutablePageRef AllocateIndexPage() = 0;
  virtual void FreeIndexPage(PageNo page) = 0;
};

namespace internal {
class EntryList;
class IndexPageView;
struct Slot;
struct Target;
class TargetBuffer;
}  // namespace internal

class BTree {
 public:
  // `owner` is the tdef page of the table, written into every page. `jet3` selects the older page layout
  // (reading only).
  BTree(PageStore& pages, IndexPageAllocator* allocator, PageNo root, PageNo owner, bool jet3 = false);

  // Makes `page` an empty leaf.
  static void InitRoot(const MutablePageRef& page, PageNo owner);

  // The largest key Insert accepts, in bytes.
  static constexpr std::size_t kMaxKeyBytes = 3600;

  // Adds an entry. kTooLarge when the key does not fit a page. The caller has tested uniqueness. With
  // `is_new`, tells whether no other entry has the key.
  void Insert(std::string_view key, RowId row, bool* is_new = nullptr);
  // Removes an entry; false when there is none.
  bool Erase(std::string_view key, RowId row);
  // Whether any entry has exactly these key bytes (no matter which row).
  bool Contains(std::string_view key);

  // A position in leaf order. It stays usable while the tree changes underneath: Next() goes on with the
  // first entry greater than the one it stood on.
  class Cursor {
   public:
    explicit Cursor(BTree& tree);
    ~Cursor();
    Cursor(Cursor&&) noexcept;

    void SeekFirst();
    // First entry whose key bytes are >= `lower`.
    void Seek(std::string_view lower);
    bool valid() const;
    std::string_view key() const;  // valid until the next call on this cursor
    RowId row() const;
    void Next();

   private:
    struct State;
    std::unique_ptr<State> state_;
  };

 private:
  friend class Cursor;

  // Pages from the root to a leaf.
  static constexpr int kMaxDepth = 16;
  struct Path {
    PageNo pages[kMaxDepth];
    int depth = 0;
    PageNo without_tail = 0;  // a node whose last entry was taken though it is less than the target
    PageNo leaf() const { return pages[depth - 1]; }
    // Node that lies `height` levels above the leaf.
    int index_at(int height) const { return depth - 1 - height; }
  };
  internal::IndexPageView View(const PageRef& page) const;
  // Finds the first entry that is not less than the target, or the end of the leaf that would have it. Rows
  // that are read or changed one after the other tend to be neighbours in an index: the place that was found
  // last is looked at before the tree is.
  PageRef Find(const internal::Target& target, internal::Slot* slot);
  bool InsertIntoLeaf(const PageRef& leaf, const internal::Slot& slot, const internal::TargetBuffer& target,
                      bool* is_new);
  bool EraseWithin(const internal::TargetBuffer& target);
  // Walks down to the leaf that has, or would have, the target.
  void Descend(const internal::Target& target, Path* path);
  // The same, after every node on the way has got a tail child.
  void DescendForChange(const internal::Target& target, Path* path);

  // btree_grow.cpp, btree_shrink.cpp
  // False when the tree has only been prepared, and the insertion must start over.
  bool InsertIntoFullLeaf(const Path& path, const internal::Target& target);
  void SplitLeaf(const internal::EntryList& entries, std::size_t at, PageNo leaf);
  void AppendLeaf(const internal::EntryList& entries, PageNo leaf);
  void InsertChild(Bytes separator, int height, PageNo child, PageNo new_tail);
  void SplitNode(const internal::EntryList& entries, std::size_t inserted, const Path& path, int index,
                 PageNo new_tail);
  void PushRootDown();
  void PullChildIntoRoot();
  void RemovePage(const Path& path, int index, const internal::Target& target);
  void UpdateSeparator(const Path& path, int index, const internal::Target& old_last, Bytes new_last);
  void ReplaceSeparator(PageNo node, const internal::Slot& slot, Bytes separator, int height);
  void RepairSingleChild(PageNo node);
  void JoinLeft(PageNo node, PageNo parent_no, int height, std::size_t position);
  void JoinRight(PageNo node, PageNo parent_no, int height);
  struct Join;
  void FinishJoin(const Join& join, PageNo node, PageNo parent_no, int height);
  void Link(PageNo left, PageNo right);
  void Unlink(PageNo page);
  void LinkNodes(PageNo left, PageNo right, bool linked);

  PageStore& pages_;
  IndexPageAllocator* allocator_;
  PageNo root_;
  PageNo owner_;
  bool jet3_;
  // The leaf that was reached last, by a way of nodes with tails, and the era of the store then: as long as
  // it lasts, no page has left a tree, and so the page, if it is a leaf, is one of this tree.
  PageNo last_leaf_ = 0;
  unsigned last_place_ = 0;  // of the entry in it
  std::uint64_t era_ = 0;
};

}  // namespace jet
