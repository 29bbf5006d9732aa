#include "access/store/file_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numeric>

#include "access/store/data_page.h"

namespace jet {
namespace {

constexpr std::size_t kMaskStart = 0x18;
constexpr std::size_t kNameOffset = 4;
constexpr std::size_t kVersionOffset = 0x14;
constexpr std::size_t kKeyOffset = 0x3E;
constexpr std::size_t kPasswordOffset = 0x42;
constexpr std::size_t kCreatedOffset = 0x72;
constexpr std::string_view kMoneyName = "MSISAM Database";

// RC4 with the 4-byte key that every file shares; applying it twice is the identity.
void ApplyMask(MutableBytes header, std::size_t count) {
  constexpr std::array<std::uint8_t, 4> key = {0xC7, 0xDA, 0x39, 0x6B};
  std::array<std::uint8_t, 256> s;
  std::iota(s.begin(), s.end(), std::uint8_t{0});
  for (unsigned i = 0, j = 0; i < 256; ++i) {
    j = (j + s[i] + key[i % key.size()]) & 0xFF;
    std::swap(s[i], s[j]);
  }
  for (unsigned n = 0, i = 0, j = 0; n < count; ++n) {
    i = (i + 1) & 0xFF;
    j = (j + s[i]) & 0xFF;
    std::swap(s[i], s[j]);
    header[kMaskStart + n] ^= s[(s[i] + s[j]) & 0xFF];
  }
}

std::uint32_t PasswordMask(double created) {
  // A date out of any sensible range is no date: a damaged header, not a password.
  if (!(std::abs(created) < 3e6)) return 0;
  return static_cast<std::int32_t>(std::floor(created));
}

bool HasPassword(Bytes header, const FormatInfo& format, double created) {
  const std::uint32_t mask = format.jet3 ? 0 : PasswordMask(created);
  for (std::size_t i = 0; i < format.password_bytes; ++i) {
    if (header[kPasswordOffset + i] != static_cast<std::uint8_t>(mask >> (8 * (i % 4)))) return true;
  }
  return false;
}

[[noreturn]] void Refuse(ErrorKind kind, const std::string& path, std::string_view why) {
  throw Error(kind, fmt::format("\"{}\" {}.", path, why), 0);
}

const FormatInfo& DetectFormat(Bytes header, const std::string& path, bool* read_only_version) {
  constexpr std::array<std::uint8_t, 4> kStart = {0, 1, 0, 0};
  const auto named = [&](std::string_view name) {
    return std::memcmp(header.data() + kNameOffset, name.data(), name.size()) == 0;
  };
  if (std::memcmp(header.data(), kStart.data(), kStart.size()) != 0) {
    Refuse(ErrorKind::kNotSupported, path, "is not an Access database");
  }
  if (named(kMoneyName))
    Refuse(ErrorKind::kNotSupported, path, "is a Microsoft Money file, not an Access database");
  if (!named(GetFormatInfo(Format::kJet4).engine_name) && !named(GetFormatInfo(Format::kAce12).engine_name)) {
    Refuse(ErrorKind::kNotSupported, path, "is not an Access database");
  }
  const std::uint8_t version = header[kVersionOffset];
  // 4 is said to be written by some editions of Access 2013; nobody here has seen one.
  *read_only_version = version == 4;
  const FormatInfo* format = FindFormatByVersionByte(*read_only_version ? 3 : version);
  if (format == nullptr) {
    Refuse(ErrorKind::kNotSupported, path,
           fmt::format("has the unsupported Access format version {}", version));
  }
  return *format;
}

void RefuseProtected(Bytes header, const FormatInfo& format, double created, const std::string& path) {
  if (LoadLe<std::uint32_t>(&header[kKeyOffset]) != 0) {
    Refuse(ErrorKind::kNotSupported, path,
           format.ace ? "is encrypted with a password and cannot be opened"
                      : "is encoded (encrypted) and cannot be opened");
  }
  if (HasPassword(header, format, created)) {
    Refuse(ErrorKind::kNotSupported, path,
           "is protected by a database password (password required) and cannot be opened");
  }
}

}  // namespace

FileHeader ReadFileHeader(File& file, const std::string& path) {
  const std::uint64_t size = file.Size();
  if (size == 0) Refuse(ErrorKind::kNotSupported, path, "is empty, not an Access database");
  std::vector<std::uint8_t> page(4096);
  const std::size_t have = std::min<std::uint64_t>(size, page.size());
  file.Read(0, MutableBytes(page.data(), have));
  if (have < kVersionOffset + 1) Refuse(ErrorKind::kNotSupported, path, "is not an Access database");

  FileHeader h;
  h.format = &DetectFormat(page, path, &h.read_only_version);
  const FormatInfo& format = *h.format;
  // Shorter than header, map page and catalog: nothing can be in it.
  if (size < 3ull * format.page_size)
    Refuse(ErrorKind::kCorrupt, path, "is cut short: it ends before its catalog");
  page.resize(format.page_size);

  ApplyMask(page, format.masked_bytes);
  if (!format.jet3) h.created = LoadLe<double>(&page[kCreatedOffset]);
  RefuseProtected(page, format, h.created, path);

  h.global_map = LoadPointer(&page[0x18]);
  h.objects = LoadLe<std::uint32_t>(&page[0x20]);
  h.aces = LoadLe<std::uint32_t>(&page[0x24]);
  h.queries = LoadLe<std::uint32_t>(&page[0x28]);
  h.relationships = LoadLe<std::uint32_t>(&page[0x2C]);
  h.code_page = LoadLe<std::uint16_t>(&page[0x3C]);
  h.lcid = LoadLe<std::uint16_t>(&page[format.sort_order_offset]);
  h.sort_version = format.jet3 ? 0 : page[format.sort_order_offset + 3];
  for (std::size_t i = 0; i < 256; ++i) {
    const std::uint8_t* pair = &page[format.commit_bytes_offset + 2 * i];
    if (pair[0] == 0 && pair[1] == 0) h.unfinished_write = true;
  }
  return h;
}

std::vector<std::uint8_t> MakeHeaderPage(const FormatInfo& format, double created) {
  std::vector<std::uint8_t> page(format.page_size);
  std::uint8_t* p = page.data();
  p[1] = 1;
  std::memcpy(p + kNameOffset, format.engine_name.data(), format.engine_name.size());
  p[kVersionOffset] = format.version_byte;
  p[0x18 + 1] = 1;  // global map: row 0 of page 1
  p[0x1C] = 1;      // second map: row 1 of page 1
  p[0x1C + 1] = 1;
  for (std::uint32_t i = 0; i < 4; ++i) StoreLe<std::uint32_t>(p + 0x20 + 4 * i, 2 + i);
  StoreLe<std::uint16_t>(p + 0x3C, 1252);
  const std::uint32_t mask = PasswordMask(created);
  for (std::size_t i = 0; i < format.password_bytes; i += 4) StoreLe(p + kPasswordOffset + i, mask);
  // Build numbers of engines that were seen to write such files.
  StoreLe<std::uint32_t>(p + 0x6A, format.ace ? 4518 : 8618);
  StoreLe<std::uint16_t>(p + format.sort_order_offset, format.default_lcid);
  p[format.sort_order_offset + 3] = format.default_sort_version;
  StoreLe(p + kCreatedOffset, created);
  ApplyMask(page, format.masked_bytes);

  StoreLe<std::uint32_t>(p + 0x98, 1620);
  std::memcpy(p + 0x9C, "4.0", 4);
  std::uint8_t* commit = p + format.commit_bytes_offset;
  for (std::size_t i = 0; i < 256; ++i) commit[2 * i + 1] = 1;
  commit[0] = 1;
  return page;
}

}  // namespace jet
