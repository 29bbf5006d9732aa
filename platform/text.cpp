#include "platform/text.h"

#include <utf8.h>

#include <cstdint>

#include "access/base/text.h"

namespace vnt::platform {
std::string TextFromBytes(std::string_view bytes) {
  if (utf8::is_valid(bytes.begin(), bytes.end())) return std::string(bytes);
  std::string text;
  for (const char c : bytes) {
    jet::AppendCodePoint(jet::FromWindows1252(static_cast<std::uint8_t>(c)), &text);
  }
  return text;
}

std::string FirstCharacters(std::string_view text, std::size_t count) {
  const std::string valid = TextFromBytes(text);
  auto it = valid.begin();
  for (; count > 0 && it != valid.end(); --count) utf8::next(it, valid.end());
  return {valid.begin(), it};
}

std::size_t CharacterCount(std::string_view text) {
  const std::string valid = TextFromBytes(text);
  return static_cast<std::size_t>(utf8::distance(valid.begin(), valid.end()));
}

}  // namespace vnt::platform
