#include "access/store/names.h"

#include <fmt/format.h>

#include <algorithm>

#include "access/base/text.h"
#include "access/index/key.h"
#include "access/store/text_codec.h"

namespace jet {
namespace {

bool IsPlain(std::string_view s) {
  return std::all_of(s.begin(), s.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

}  // namespace

std::string DecodeName(Bytes stored, const FormatInfo& format) {
  std::string out;
  // The letters of plain names are the same in all ANSI code pages, so the commonest one serves for all.
  if (!DecodeText(stored, format.unicode, 1252, &out))
    ThrowCorrupt("a name ends within a character", Error::kNoPlace);
  return out;
}

std::string EncodeName(std::string_view utf8) {
  std::string out;
  if (!EncodeText(utf8, false, 0, &out)) {
    throw Error(ErrorKind::kInvalid, "A name is not valid UTF-8, or cannot be stored.");
  }
  return out;
}

std::string NameKey(std::string_view utf8) {
  std::string key;
  AppendTextKey(Collation::kGeneralLegacy, utf8, &key);
  return key;
}

bool SameName(std::string_view a, std::string_view b) {
  if (IsPlain(a) && IsPlain(b)) {
    const auto end = [](std::string_view name) { return name.find_last_not_of(' ') + 1; };
    return EqualWords(a.substr(0, end(a)), b.substr(0, end(b)));
  }
  return NameKey(a) == NameKey(b);
}

void CheckName(std::string_view what, std::string_view name) {
  const auto fail = [&](std::string_view why) {
    throw Error(ErrorKind::kInvalid, fmt::format("{} \"{}\" {}.", what, name, why));
  };
  const std::size_t characters = EncodeName(name).size() / 2;
  if (characters == 0) fail("is empty");
  if (characters > kMaxNameCharacters) fail("is longer than 64 characters");
  if (name[0] == ' ') fail("begins with a blank");
  for (const char c : name) {
    if (static_cast<unsigned char>(c) < 0x20) fail("contains a control character");
    if (std::string_view(".![]`").find(c) != std::string_view::npos) {
      fail(fmt::format("contains the character {}, which names may not contain", c));
    }
  }
}

}  // namespace jet
