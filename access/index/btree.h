// One index: a B-tree of (key bytes, row) entries on index pages.
//
// Page layout: header, prefix length, a bitmap that marks where entries end, the entry area; the format's
// description stands in btree.cpp. The root page number never changes. Entries are strictly ascending by
// (key, page, slot).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "access/base/types.h"
#include "access/file/page_store.h"

namespace jet {

// Where an index gets its pages from; the owner keeps the index's page map and the global map.
class IndexPageAllocator {
 public:
  virtual ~IndexPageAllocator() = default;
  virtual MutablePageRef AllocateIndexPage() = 0;
  virtual void FreeIndexPage(PageNo page) = 0;
};

class BTree {
 public:
  // `owner` is the tdef page of the table, written into every page. `jet3` selects the older page layout
  // (reading only).
  BTree(PageStore& pages, IndexPageAllocator* allocator, PageNo root, PageNo owner, bool jet3 = false);

  // Makes `page` an empty leaf.
  static void InitRoot(MutablePageRef page, PageNo owner);

  // The largest key Insert accepts, in bytes.
  static constexpr std::size_t kMaxKeyBytes = 3600;

  // Adds an entry. kTooLong when the key does not fit a page. The caller has tested uniqueness.
  void Insert(std::string_view key, RowId row);
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
  PageStore& pages_;
  IndexPageAllocator* allocator_;
  PageNo root_;
  PageNo owner_;
  bool jet3_;
  std::uint64_t version_ = 0;  // counts changes, so that cursors notice them
};

}  // namespace jet
