// Verifies the shape of one index tree and hands out its entries in order.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "access/base/finding.h"
#include "access/base/types.h"
#include "access/file/page_store.h"

namespace jet {

struct IndexTreeReport {
  std::vector<PageNo> pages;  // every page of the tree that could be reached, the root first
  std::uint64_t entries = 0;
  int depth = 0;
  bool complete = true;  // false: parts could not be read, so entries are missing
};

// Walks the tree below `root`, which belongs to the table at tdef page `owner`. Invariants: page type and
// owner; every entry parses; entries strictly ascend along the whole tree; a separator is not less than what
// lies below it; all leaves equally deep; leaves linked both ways in order. Each page is visited once, so the
// walk ends whatever the pages hold.
IndexTreeReport CheckIndexTree(PageStore& pages, PageNo root, PageNo owner, bool jet3,
                               const std::function<void(std::string_view key, RowId row)>& on_entry,
                               std::vector<Finding>* findings);

}  // namespace jet
