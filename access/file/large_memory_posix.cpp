#include <sys/mman.h>

#include "access/file/large_memory.h"

namespace jet::internal {

void WishForLargePages(std::uint8_t* data, std::size_t size) { madvise(data, size, MADV_HUGEPAGE); }

}  // namespace jet::internal
