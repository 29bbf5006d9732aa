// Filling an index that is empty from the rows of its table.
#pragma once

#include <cstdint>

namespace jet {

class BTree;
class KeyChanges;
class RowWriter;
class StoredTable;

// Returns the number of distinct keys. kConstraint, kDuplicate when the index is unique and the rows are not.
std::uint32_t FillIndex(StoredTable& table, const KeyChanges& keys, const RowWriter& row, int index);

}  // namespace jet
