#include "access/file/journal_others.h"

#include <algorithm>

namespace jet::internal {
namespace {

// Calls use(page, content) for all pages of the file that are not in `changed` (ascending).
template <typename Use>
void ForEachOther(File& database, std::uint32_t page_size, PageNo file_pages,
                  const std::vector<JournalPage>& changed, Use use) {
  constexpr PageNo kRun = 256;
  std::vector<std::uint8_t> content(std::size_t{std::min(kRun, file_pages)} * page_size);
  auto next = changed.begin();
  for (PageNo page = 0; page < file_pages;) {
    while (next != changed.end() && next->page < page) ++next;
    if (next != changed.end() && next->page == page) {
      ++page;
      continue;
    }
    PageNo end = std::min(page + kRun, file_pages);
    if (next != changed.end()) end = std::min(end, next->page);
    const std::size_t bytes = std::size_t{end - page} * page_size;
    database.Read(std::uint64_t{page} * page_size, MutableBytes(content.data(), bytes));
    for (const std::uint8_t* at = content.data(); page < end; ++page, at += page_size) use(page, at);
  }
}

}  // namespace

std::uint64_t DigestOfOthers(File& database, std::uint32_t page_size, PageNo file_pages,
                             const std::vector<JournalPage>& changed) {
  std::uint64_t digest = 0;
  ForEachOther(database, page_size, file_pages, changed,
               [&](PageNo page, const std::uint8_t* content) { digest += Hash(page, content, page_size); });
  return digest;
}

std::vector<JournalHeader::Witness> PickWitnesses(File& database, std::uint32_t page_size, PageNo file_pages,
                                                  const std::vector<JournalPage>& changed) {
  std::vector<JournalHeader::Witness> witnesses;
  std::vector<std::uint8_t> content(page_size);
  PageNo page = 0;
  for (std::uint32_t i = 0; i < kMaxWitnesses; ++i) {
    page = std::max<PageNo>(page, std::uint64_t{file_pages} * i / kMaxWitnesses);
    for (auto it = std::lower_bound(changed.begin(), changed.end(), page,
                                    [](const JournalPage&item, PageNo value) { return item.page < value; });
         it != changed.end() && it->page == page; ++it) {
      ++page;
    }
    if (page >= file_pages) break;
    database.Read(std::uint64_t{page} * page_size, content);
    witnesses.push_back({page, Hash(page, content.data(), page_size)});
    ++page;
  }
  return witnesses;
}

}  // namespace jet::internal
