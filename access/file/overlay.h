// Files that can be changed without a byte of the original being written: the dry run.
#pragma once

#include <cstddef>
#include <memory>

#include "access/file/file.h"

namespace jet {

// Bytes of changes that an overlay keeps in memory; what goes beyond stands in temporary files.
inline constexpr std::size_t kOverlayMemory = 64u << 20;

// Reads through to another file system and keeps every change aside. What was changed is seen by whoever
// opens the file through the overlay again, until the overlay is destroyed; no File of it may outlive it.
// Originals are opened for reading, which keeps others from changing them; kLocked when another program is
// writing to one that is to be changed.
std::unique_ptr<FileSystem> MakeOverlay(FileSystem& base, std::size_t memory = kOverlayMemory);

}  // namespace jet
