#include "access/file/journal_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace jet::internal {
namespace {

constexpr std::size_t kHeaderBytes = Journal::kHeaderBytes;
constexpr char kMagic[8] = {'p', 'g', 'j', 'r', 'n', 'l', '\x1A', '\x05'};
constexpr std::size_t kVersionByte = 7;
constexpr std::uint64_t kHeadersEnd = kHeaderOffsets[1] + kHeaderBytes;

// Whether a header that says that there is nothing was being written here, or was to be.
bool IsBeginOfNothing(const std::uint8_t* bytes) {
  std::uint8_t nothing[kHeaderBytes];
  JournalHeader().Encode(nothing);
  std::size_t same = 0;
  while (same < kHeaderBytes && bytes[same] == nothing[same]) ++same;
  return std::all_of(bytes + same, bytes + kHeaderBytes, [](std::uint8_t byte) { return byte == 0; });
}

std::optional<JournalHeader> StateOf(std::optional<JournalHeader> header) {
  if (header && header->phase == Journal::Phase::kNothing) return std::nullopt;
  return header;
}

}  // namespace

std::uint64_t JournalHeader::RecordHash(const std::uint8_t* record) const {
  const std::uint64_t start = Hash(salt, record, 8);
  return Hash(start, record + kNumberOffset, Journal::kPrefixBytes - kNumberOffset + page_size);
}

void JournalHeader::Encode(std::uint8_t* out) const {
  std::memset(out, 0, kHeaderBytes);
  std::memcpy(out, kMagic, sizeof kMagic);
  StoreLe(out + 8, page_size);
  StoreLe(out + 12, static_cast<std::uint32_t>(phase));
  StoreLe(out + 16, file_pages);
  StoreLe(out + 20, pages);
  StoreLe(out + 24, records);
  StoreLe(out + 32, salt);
  StoreLe(out + 40, sequence);
  StoreLe(out + 48, changed);
  StoreLe<std::uint32_t>(out + 52, witnesses.size());
  StoreLe(out + 56, digest);
  StoreLe(out + 64, last_number);
  StoreLe(out + 72, modified);
  StoreLe(out + 80, others);
  StoreLe(out + 88, std::uint32_t{has_others});
  for (std::size_t i = 0; i < witnesses.size(); ++i) {
    StoreLe(out + 96 + 16 * i, witnesses[i].page);
    StoreLe(out + 104 + 16 * i, witnesses[i].hash);
  }
  StoreLe(out + 504, Hash(0, out, 504));
}

std::optional<JournalHeader> JournalHeader::Decode(const std::uint8_t* in) {
  const auto witness_count = LoadLe<std::uint32_t>(in + 52);
  if (std::memcmp(in, kMagic, sizeof kMagic) != 0 || LoadLe<std::uint64_t>(in + 504) != Hash(0, in, 504) ||
      witness_count > kMaxWitnesses) {
    return std::nullopt;
  }
  JournalHeader h;
  h.page_size = LoadLe<std::uint32_t>(in + 8);
  h.phase = static_cast<Journal::Phase>(LoadLe<std::uint32_t>(in + 12));
  h.file_pages = LoadLe<std::uint32_t>(in + 16);
  h.pages = LoadLe<std::uint32_t>(in + 20);
  h.records = LoadLe<std::uint32_t>(in + 24);
  h.salt = LoadLe<std::uint64_t>(in + 32);
  h.sequence = LoadLe<std::uint64_t>(in + 40);
  h.changed = LoadLe<std::uint32_t>(in + 48);
  h.digest = LoadLe<std::uint64_t>(in + 56);
  h.last_number = LoadLe<std::uint64_t>(in + 64);
  h.modified = LoadLe<std::int64_t>(in + 72);
  h.others = LoadLe<std::uint64_t>(in + 80);
  h.has_others = LoadLe<std::uint32_t>(in + 88) != 0;
  for (std::uint32_t i = 0; i < witness_count; ++i) {
    h.witnesses.push_back(
        {LoadLe<std::uint32_t>(in + 96 + 16 * i), LoadLe<std::uint64_t>(in + 104 + 16 * i)});
  }
  return h;
}

void ThrowDamaged(const std::string& path, const char* what) {
  throw Error(ErrorKind::kCorrupt,
              fmt::format("The journal {} is damaged: {}. Nothing was changed. Restore it together with the "
                          "database from a copy; or move it away, which gives up what it holds, and let the "
                          "database be checked: it may be half written.",
                          path, what));
}

JournalHeaders ReadHeaders(File& journal, const std::string& path) {
  std::optional<JournalHeader> places[std::size(kHeaderOffsets)];
  bool other_version = false, never_made = true;
  const std::uint64_t size = journal.Size();
  for (std::size_t i = 0; i < std::size(kHeaderOffsets); ++i) {
    const std::uint64_t offset = kHeaderOffsets[i];
    std::uint8_t bytes[kHeaderBytes] = {};
    if (size > offset) {
      journal.Read(offset, MutableBytes(bytes, std::min<std::uint64_t>(size - offset, kHeaderBytes)));
    }
    places[i] = JournalHeader::Decode(bytes);
    other_version |= !places[i] && std::memcmp(bytes, kMagic, kVersionByte) == 0 &&
                     bytes[kVersionByte] != kMagic[kVersionByte];
    never_made &= IsBeginOfNothing(bytes);
  }
  auto& [first, second] = places;
  if (!first && !second) {
    if (other_version) {
      throw Error(ErrorKind::kCorrupt,
                  fmt::format("The journal {} was written by another version of this program, or is damaged. "
                              "Nothing was changed. Open the database with that version first; or move the "
                              "journal away, which gives up what it holds.",
                              path));
    }
    if (!never_made || size > kHeadersEnd) ThrowDamaged(path, "neither of its headers is whole");
    return {};
  }
  JournalHeaders headers;
  if (first && (!second || first->sequence > second->sequence)) {
    headers.cut_short = second.has_value();
    headers.before = StateOf(std::move(second));
    headers.newest = StateOf(std::move(first));
  } else {
    headers.newest = StateOf(std::move(second));
  }
  return headers;
}

}  // namespace jet::internal
