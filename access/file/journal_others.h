// What a journal notes of the pages that it does not hold, so that it is not applied to another file: some of
// them as witnesses, or a digest of all.
#pragma once

#include <cstdint>
#include <vector>

#include "access/file/journal_header.h"

namespace jet::internal {

// Of all pages of the file that are not in `changed` (ascending).
std::uint64_t DigestOfOthers(File& database, std::uint32_t page_size, PageNo file_pages,
                             const std::vector<JournalPage>& changed);

// Pages spread over the file, none of which is in `changed` (ascending).
std::vector<JournalHeader::Witness> PickWitnesses(File& database, std::uint32_t page_size, PageNo file_pages,
                                                  const std::vector<JournalPage>& changed);

}  // namespace jet::internal
