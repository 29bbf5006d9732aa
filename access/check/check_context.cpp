#include "access/check/check_context.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <new>
#include <stdexcept>

#include "access/store/usage_map.h"

namespace jet {

void FindingSink::Add(Finding finding) {
  std::size_t& count = count_[finding.fatal ? 1 : 0];
  ++count;
  if (count > kLimit) return;
  findings_.push_back(std::move(finding));
}

bool FindingSink::Guard(std::int64_t page, const std::function<void()>& part) {
  try {
    part();
    return true;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const Error& error) {
    if (error.is_obstacle()) throw;
    Fatal(error.page() == Error::kNoPlace ? page : error.page(), error.what());
  } catch (const std::exception& error) {
    Fatal(page, fmt::format("Page {} could not be examined: {}.", page, error.what()));
  }
  return false;
}

std::vector<Finding> FindingSink::Take() {
  for (const bool fatal : {true, false}) {
    const std::size_t count = count_[fatal ? 1 : 0];
    if (count > kLimit) {
      findings_.push_back(
          {fatal, Error::kNoPlace,
           fmt::format("{} further {} are not listed.", count - kLimit, fatal ? "faults" : "untidy places")});
    }
  }
  std::stable_partition(findings_.begin(), findings_.end(), [](const Finding& f) { return f.fatal; });
  return std::move(findings_);
}

std::uint16_t PageClaims::AddTable(const std::string& name) {
  if (names_.size() < 0xFFFF) names_.push_back(name);
  return names_.size() - 1;
}

std::string PageClaims::Describe(PageUse use, std::uint16_t table) const {
  const char* what = "";
  switch (use) {
    case PageUse::kNone:
      what = "nothing";
      break;
    case PageUse::kHeader:
      return "the file header";
    case PageUse::kGlobalMap:
      return "the map of free pages";
    case PageUse::kDefinition:
      what = "the definition";
      break;
    case PageUse::kMapRows:
      what = "the page maps";
      break;
    case PageUse::kMapBits:
      what = "bits of a page map";
      break;
    case PageUse::kRows:
      what = "the rows";
      break;
    case PageUse::kLongValues:
      what = "long values";
      break;
    case PageUse::kIndex:
      what = "an index";
      break;
  }
  if (table == 0) return what;
  return fmt::format("{} of table \"{}\"", what, names_[table]);
}

bool PageClaims::Claim(PageNo page, PageUse use, std::uint16_t table) {
  if (page >= uses_.size()) {
    sink_.Fatal(page, fmt::format("Page {}, named for {}, lies past the end of the file.", page,
                                  Describe(use, table)));
    return false;
  }
  if (uses_[page] == PageUse::kNone) {
    uses_[page] = use;
    tables_[page] = table;
    return true;
  }
  if (use == PageUse::kMapRows && uses_[page] == PageUse::kMapRows) return true;
  // Page 1 may hold map rows of tables beside the global one.
  if (use == PageUse::kMapRows && uses_[page] == PageUse::kGlobalMap) return true;
  sink_.Fatal(page, fmt::format("Page {} is used twice: for {} and for {}.", page,
                                Describe(uses_[page], tables_[page]), Describe(use, table)));
  return false;
}

std::vector<PageNo> ClaimMap(CheckContext& context, RowPointer map, std::uint16_t table,
                             const std::string& what) {
  std::vector<PageNo> pages;
  if (map.page == 0) return pages;
  if (!context.claims.Claim(map.page, PageUse::kMapRows, table)) return pages;
  context.sink.Guard(map.page, [&] {
    const UsageMap usage(context.store, map);
    for (const PageNo page : usage.BitmapPages()) context.claims.Claim(page, PageUse::kMapBits, table);
    for (auto page = usage.Next(0); page; page = usage.Next(*page + 1)) pages.push_back(*page);
  });
  for (const PageNo page : pages) {
    if (page < 2) context.sink.Fatal(page, fmt::format("The map of {} names page {}.", what, page));
  }
  return pages;
}

}  // namespace jet
