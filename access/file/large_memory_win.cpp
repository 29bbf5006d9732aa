#include "access/file/large_memory.h"

namespace jet::internal {

// Large pages need a right there that users do not have.
void WishForLargePages(std::uint8_t* /*data*/, std::size_t /*size*/) {}

}  // namespace jet::internal
