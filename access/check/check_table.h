// Verifies one table: definition, maps, rows, long values, indexes.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "access/check/check_context.h"
#include "access/store/row_codec.h"
#include "access/store/tdef.h"

namespace jet {

class TableChecker {
 public:
  TableChecker(CheckContext& context, PageNo tdef_page, std::string name);

  // Reads the definition; false when it cannot be read.
  bool ReadDefinition();
  // What the columns take from the properties that the catalog holds for the table. Needs ReadDefinition().
  void ApplyProperties(const std::string& blob);
  // Everything else. Needs ReadDefinition().
  void Check();

  const std::string& name() const { return name_; }
  PageNo tdef_page() const { return tdef_page_; }
  const Definition& definition() const { return definition_; }

  // Calls `use` for each live row that can be reached; with `report`, tells what cannot.
  void ForEachRow(bool report, const std::function<void(RowId, const RowView&)>& use);
  // A column's value by name, Null when there is no such column.
  Value Get(const RowView& row, const char* column);
  // The same for a row that is still to be read; Null when it is gone.
  Value Get(RowId id, const char* column);

 private:
  // Pages of long values of one column, and which of their slots rows refer to.
  struct LongPages {
    std::vector<PageNo> pages;
    std::vector<std::array<std::uint64_t, 4>> used;
  };
  // A sum over entries that does not depend on their order. Equal sums: equal entries, but for chance of
  // about one in 2^128.
  struct Digest {
    std::uint64_t count = 0, a = 0, b = 0;
    void Add(std::string_view key, RowId row);
    bool operator==(const Digest&) const = default;
  };
  struct IndexState {
    std::vector<KeyColumn> columns;
    bool by_key = false;  // false: keys cannot be built, so only the rows are compared
    Digest rows, entries;
    std::string null_key;  // key of a row whose columns are all null
  };

  void CheckDefinition();
  void ClaimPages();
  void CheckDataPage(PageNo page, std::uint32_t owner);
  void CheckRows();
  void CheckRow(RowId id, const RowView& row);
  void CheckRowShape(const RowView& row);
  void CheckColumns(const RowView& row);
  void CheckFixedPart(const RowView& row);
  void CheckLength(std::size_t at, Bytes raw, const RowView& row);
  void CheckText(const ColumnDef& column, Bytes raw, const RowView& row);
  void CheckLongValue(const ColumnDef& column, Bytes raw, const RowView& row);
  void WalkLongValue(const ColumnDef& column, Bytes raw, const RowView& row,
                     const std::function<void(Bytes)>& use);
  bool UsePiece(const ColumnDef& column, LongPages* pages, RowPointer at, const RowView& row, Bytes* bytes,
                PageRef* page);
  void CheckUnusedLongValues();
  // The key of a row; false when the row has no entry in the index. Sets *has_null when a column is null.
  bool BuildKey(std::size_t index, const RowView& row, std::string* key, bool* has_null);
  const Value& IndexedValue(std::size_t column, const RowView& row);
  void CheckIndex(std::size_t index);
  void ExplainIndex(std::size_t index);
  std::optional<RowView> LiveRow(RowId id, PageRef* page);
  std::optional<RowView> FollowPointer(PageNo page_no, unsigned slot, PageRef* page, bool report);
  bool Owns(PageNo page) const;
  std::string IndexName(std::size_t index) const;
  std::string RowPlace(RowId id) const;

  CheckContext& context_;
  FindingSink& sink_;
  PageNo tdef_page_;
  std::string name_;
  std::uint16_t number_ = 0;  // in the page claims
  std::string stream_;
  RawTdef raw_;
  Definition definition_;
  RowFormat row_format_;
  std::vector<PageNo> owned_;
  std::map<std::uint16_t, LongPages> long_pages_;  // by column number
  std::vector<IndexState> indexes_;
  std::vector<bool> indexed_column_;
  // Columns whose values can be wrong where their place is right; for the others CheckFixedPart is enough.
  std::vector<std::size_t> examined_columns_;
  std::uint32_t fixed_bytes_ = 0;  // of a row that has all columns
  std::vector<Value> values_;      // of the row at hand
  std::vector<bool> has_value_;
  std::vector<std::uint32_t> pointer_targets_, bodies_;  // packed row identifiers
  std::uint64_t row_count_ = 0;
  std::uint64_t short_rows_ = 0;
  std::string key_, scratch_;
};

}  // namespace jet
