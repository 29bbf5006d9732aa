#include "access/file/copy_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "access/base/hash.h"

namespace jet {
namespace {

constexpr std::size_t kPiece = 1u << 20;

template <typename Use>
void ForEachPiece(File& file, Use use) {
  std::vector<std::uint8_t> piece(kPiece);
  const std::uint64_t size = file.Size();
  for (std::uint64_t at = 0; at < size; at += kPiece) {
    const std::size_t bytes = std::min<std::uint64_t>(kPiece, size - at);
    file.Read(at, MutableBytes(piece.data(), bytes));
    use(at, piece.data(), bytes);
  }
}

// A complete copy beside `to`, under a name of its own, with the rights of `owner`.
std::string CopyBeside(FileSystem& files, File& from, const std::string& to, File& owner) {
  std::string unfinished = to + ".part";
  if (files.Exists(unfinished)) files.Remove(unfinished);  // of a copy that was killed
  const std::uint64_t size = from.Size();
  try {
    const auto copy = files.OpenCompanion(unfinished, OpenMode::kCreateNew, owner);
    if (!copy->ShareBlocks(from)) {
      if (files.FreeBytes(to) < size) {
        throw Error(ErrorKind::kIo, fmt::format("There is no room for a copy of {} bytes at {}.", size, to));
      }
      ForEachPiece(from, [&](std::uint64_t at, const std::uint8_t* data, std::size_t bytes) {
        copy->Write(at, Bytes(data, bytes));
      });
    }
    copy->SyncAll();
  } catch (const Error&) {
    if (files.Exists(unfinished)) files.Remove(unfinished);
    throw;
  }
  return unfinished;
}

void GiveName(FileSystem& files, const std::string& unfinished, const std::string& path) {
  try {
    files.Rename(unfinished, path);
  } catch (const Error&) {
    files.Remove(unfinished);
    throw;
  }
  files.SyncFolder(path);
}

}  // namespace

void CopyFile(FileSystem& files, File& from, const std::string& to) {
  if (files.Exists(to)) throw Error(ErrorKind::kExists, fmt::format("The file {} exists already.", to));
  GiveName(files, CopyBeside(files, from, to, from), to);
}

Replacement::Replacement(FileSystem& files, const std::string& path, File& with, File& former)
    : files_(files), path_(files.ResolveLinks(path)), unfinished_(CopyBeside(files, with, path_, former)) {}

Replacement::~Replacement() {
  if (unfinished_.empty()) return;
  try {
    files_.Remove(unfinished_);
  } catch (const Error&) {
    // It stands in nobody's way: the next copy removes it.
  }
}

void Replacement::Commit() { GiveName(files_, std::exchange(unfinished_, {}), path_); }

std::string Fingerprint(File& file) {
  constexpr std::uint64_t kSeeds[] = {1, 0x9E3779B97F4A7C15u};
  std::uint64_t hashes[] = {file.Size(), file.Size()};
  std::vector<std::uint8_t> padded;
  ForEachPiece(file, [&](std::uint64_t at, const std::uint8_t* data, std::size_t bytes) {
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
