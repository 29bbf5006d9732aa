// What the parts of the checker share: where findings go, and who uses which page.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "access/check/check.h"
#include "access/store/file_header.h"
#include "access/store/layout.h"

namespace jet {

// Collects findings up to a limit, so that a file full of damage is not listed byte by byte.
class FindingSink {
 public:
  void Fatal(std::int64_t page, std::string text) { Add({true, page, std::move(text)}); }
  void Untidy(std::int64_t page, std::string text) { Add({false, page, std::move(text)}); }
  void Add(Finding finding);
  // Runs one part of the check. What it throws becomes a finding, false then; but what kept it from looking
  // (see Error::is_obstacle(), no memory) is no finding and goes on to the caller.
  bool Guard(std::int64_t page, const std::function<void()>& part);
  std::vector<Finding> Take();

 private:
  static constexpr std::size_t kLimit = 400;  // of each kind
  std::vector<Finding> findings_;
  std::size_t count_[2] = {0, 0};
};

enum class PageUse : std::uint8_t {
  kNone,
  kHeader,
  kGlobalMap,
  kDefinition,
  kMapRows,
  kMapBits,
  kRows,
  kLongValues,
  kIndex,
};

// Every page has at most one use; pages of map rows may serve several tables.
class PageClaims {
 public:
  PageClaims(PageNo page_count, FindingSink& sink) : uses_(page_count), tables_(page_count), sink_(sink) {}

  // Reports a second use, and pages that do not exist. False then: the page must not be followed.
  bool Claim(PageNo page, PageUse use, std::uint16_t table);
  // Names a table for messages; returns its number.
  std::uint16_t AddTable(const std::string& name);
  PageUse use(PageNo page) const { return uses_[page]; }
  PageNo page_count() const { return uses_.size(); }

 private:
  std::string Describe(PageUse use, std::uint16_t table) const;

  std::vector<PageUse> uses_;
  std::vector<std::uint16_t> tables_;
  std::vector<std::string> names_{""};
  FindingSink& sink_;
};

struct CheckContext {
  Database& database;
  PageStore& pages;
  const FormatInfo& format;
  FileHeader header;
  StoreContext store;
  FindingSink& sink;
  PageClaims& claims;
};

// Pages of a usage map, claimed together with the pages that the map itself needs. Damage is reported; the
// pages that could be found are returned in ascending order.
std::vector<PageNo> ClaimMap(CheckContext& context, RowPointer map, std::uint16_t table,
                             const std::string& what);

}  // namespace jet
