#include "access/file/copy_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "access/base/hash.h"

namespace jet {
namespace {

constexpr std::size_t kPiece = 1u << 20;
// So much goes to the disk at a time: nobody waits long for any step.
constexpr std::uint64_t kSyncBytes = 32u << 20;

template <typename Use>
void ForEachPiece(File& file, const CopyProgress& progress, Use use) {
  std::vector<std::uint8_t> piece(kPiece);
  const std::uint64_t size = file.Size();
  for (std::uint64_t at = 0; at < size; at += kPiece) {
    const std::size_t bytes = std::min<std::uint64_t>(kPiece, size - at);
    file.Read(at, MutableBytes(piece.data(), bytes));
    use(at, piece.data(), bytes);
    if (progress) progress(at + bytes, size);
  }
}

// Makes the file `path` under another name, with the rights of `owner` and what `fill` writes, durably. Gives
// that name; kExists where somebody is at work on it.
template <typename Fill>
std::string MakeUnfinished(FileSystem& files, const std::string& path, File& owner, Fill fill) {
  std::string unfinished = path + kUnfinished;
  RemoveUnfinished(files, path);
  bool made = false;
  try {
    const auto file = files.OpenCompanion(unfinished, OpenMode::kCreateNew, owner);
    made = true;
    fill(*file);
    file->SyncAll();
  } catch (...) {
    // By here the file is closed.
    if (made && files.Exists(unfinished)) files.Remove(unfinished);
    throw;
  }
  return unfinished;
}

// A complete copy beside `to`, under a name of its own, with the rights of `owner`.
std::string CopyBeside(FileSystem& files, File& from, const std::string& to, File& owner,
                       const CopyProgress& progress) {
  return MakeUnfinished(files, to, owner, [&](File& copy) {
    if (copy.ShareBlocks(from)) return;
    const std::uint64_t size = from.Size();
    if (files.FreeBytes(to) < size) {
      throw Error(ErrorKind::kIo, fmt::format("There is no room for a copy of {} bytes at {}.", size, to));
    }
    ForEachPiece(from, progress, [&](std::uint64_t at, const std::uint8_t* data, std::size_t bytes) {
      copy.Write(at, Bytes(data, bytes));
      if ((at + bytes) % kSyncBytes == 0) copy.Sync();
    });
  });
}

void Rename(FileSystem& files, const std::string& unfinished, const std::string& path) {
  try {
    files.Rename(unfinished, path);
  } catch (const Error&) {
    files.Remove(unfinished);
    throw;
  }
}

void GiveName(FileSystem& files, const std::string& unfinished, const std::string& path) {
  Rename(files, unfinished, path);
  files.SyncFolder(path);
}

// The copy for the place of `path` has a name that is given here alone.
std::string PlaceOf(const std::string& path) { return path + ".undo"; }

void RefuseExisting(FileSystem& files, const std::string& path) {
  if (files.Exists(path)) throw Error(ErrorKind::kExists, fmt::format("The file {} exists already.", path));
}

}  // namespace

void CopyFile(FileSystem& files, File& from, const std::string& to, const CopyProgress& progress) {
  RefuseExisting(files, to);
  GiveName(files, CopyBeside(files, from, to, from, progress), to);
}

void CreateBeside(FileSystem& files, const std::string& path, Bytes content, File& owner) {
  RefuseExisting(files, path);
  GiveName(files, MakeUnfinished(files, path, owner, [&](File& file) { file.Write(0, content); }), path);
}

bool RemoveUnfinished(FileSystem& files, const std::string& path) {
  const std::string unfinished = path + kUnfinished;
  if (!files.Exists(unfinished)) return true;
  try {
    // Whoever is at work on it holds the writer's lock.
    files.Open(unfinished, OpenMode::kReadWrite);
  } catch (const Error& error) {
    if (error.kind() == ErrorKind::kLocked) return false;
    throw;
  }
  files.Remove(unfinished);
  return true;
}

bool Replacement::RemoveUnfinished(FileSystem& files, const std::string& path) {
  return jet::RemoveUnfinished(files, PlaceOf(files.ResolveLinks(path)));
}

Replacement::Replacement(FileSystem& files, const std::string& path, File& with, File& former,
                         const CopyProgress& progress)
    : files_(files),
      path_(files.ResolveLinks(path)),
      unfinished_(CopyBeside(files, with, PlaceOf(path_), former, progress)) {}

Replacement::~Replacement() {
  if (unfinished_.empty()) return;
  try {
    files_.Remove(unfinished_);
  } catch (const Error&) {
    // It stands in nobody's way: the next copy removes it.
  }
}

bool Replacement::Commit() {
  Rename(files_, std::exchange(unfinished_, {}), path_);
  try {
    files_.SyncFolder(path_);
    return true;
  } catch (const Error&) {
    return false;
  }
}

std::string Fingerprint(File& file, const CopyProgress& progress) {
  constexpr std::uint64_t kSeeds[] = {1, 0x9E3779B97F4A7C15u};
  std::uint64_t hashes[] = {file.Size(), file.Size()};
  std::vector<std::uint8_t> padded;
  ForEachPiece(file, progress, [&](std::uint64_t at, const std::uint8_t* data, std::size_t bytes) {
    constexpr std::size_t kUnit = sizeof(std::uint64_t);
    if (bytes % kUnit != 0) {
      padded.assign(data, data + bytes);
      padded.resize((bytes + kUnit - 1) / kUnit * kUnit);
      data = padded.data();
      bytes = padded.size();
    }
    for (std::size_t i = 0; i < 2; ++i) {
      hashes[i] = internal::MixHash(hashes[i], Hash(kSeeds[i] + at, data, bytes));
    }
  });
  return fmt::format("{:016x}{:016x}", hashes[0], hashes[1]);
}

}  // namespace jet
