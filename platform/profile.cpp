#include "platform/profile.h"

#include <utf8.h>

#include <cstdint>

#include "access/base/text.h"
#include "platform/text.h"

namespace vnt::platform {
namespace {

// 0x1A ended text files in the days of DOS and is still found at the end of some.
constexpr std::string_view kBlanks = " \t\v\f\x1A";

std::string_view TrimBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string DecodeUtf16(std::string_view bytes, bool big_endian) {
  std::string text;
  char16_t high = 0;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<std::uint8_t>(bytes[i]);
    const auto second = static_cast<std::uint8_t>(bytes[i + 1]);
    const auto unit = static_cast<char16_t>(big_endian ? first << 8 | second : second << 8 | first);
    const bool is_low = unit >= 0xDC00 && unit < 0xE000;
    if (is_low && high != 0) {
      utf8::append(0x10000 + ((high - 0xD800U) << 10) + (unit - 0xDC00U), std::back_inserter(text));
    }
    high = unit >= 0xD800 && unit < 0xDC00 ? unit : u'\0';
    // Lone surrogates are dropped.
    if (high == 0 && !is_low) utf8::append(static_cast<char32_t>(unit), std::back_inserter(text));
  }
  return text;
}

std::string DecodeContent(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) return DecodeUtf16(bytes.substr(2), false);
  if (bytes.starts_with("\xFE\xFF")) return DecodeUtf16(bytes.substr(2), true);
  if (bytes.starts_with("\xEF\xBB\xBF")) bytes.remove_prefix(3);
  return TextFromBytes(bytes);
}

std::string_view NextLine(std::string_view& rest) {
  const std::size_t end = rest.find_first_of("\r\n");
  const std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return TrimBlanks(line);
}

std::string_view DropQuotes(std::string_view value) {
  if (value.size() < 2) return value;
  const char quote = value.front();
  if ((quote == '"' || quote == '\'') && value.back() == quote) return value.substr(1, value.size() - 2);
  return value;
}

}  // namespace

std::optional<std::string> FindProfileValue(std::string_view content, std::string_view section,
                                            std::string_view key) {
  const std::string text = DecodeContent(content);
  const std::string wanted_section = jet::UpperText(TrimBlanks(section));
  const std::string wanted_key = jet::UpperText(TrimBlanks(key));
  bool inside = false;
  for (std::string_view rest = text; !rest.empty();) {
    const std::string_view line = NextLine(rest);
    if (line.empty() || line.front() == ';') continue;
    if (line.front() == '[') {
      if (inside) return std::nullopt;
      const std::size_t close = line.rfind(']');
      if (close == std::string_view::npos) continue;
      inside = jet::UpperText(TrimBlanks(line.substr(1, close - 1))) == wanted_section;
      continue;
    }
    const std::size_t equals = line.find('=');
    if (!inside || equals == std::string_view::npos) continue;
    if (jet::UpperText(TrimBlanks(line.substr(0, equals))) != wanted_key) continue;
    return std::string(DropQuotes(TrimBlanks(line.substr(equals + 1))));
  }
  return std::nullopt;
}

std::int32_t ParseProfileInt(std::string_view value) {
  value = TrimBlanks(value);
  const bool negative = value.starts_with('-');
  if (negative || value.starts_with('+')) value.remove_prefix(1);
  std::uint32_t number = 0;
  for (const char c : value) {
    if (c < '0' || c > '9') break;
    number = number * 10 + static_cast<std::uint32_t>(c - '0');
  }
  return static_cast<std::int32_t>(negative ? 0U - number : number);
}

}  // namespace vnt::platform
