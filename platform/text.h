// Texts of unknown origin: what files of older tools and the system hand over. Texts are UTF-8; a "character"
// is a code point.
#pragma once

#include <string>
#include <string_view>

namespace vnt::platform {

// `bytes` when they are valid UTF-8, else the same bytes read as Windows-1252. Files of older tools hold
// either.
std::string TextFromBytes(std::string_view bytes);

// The first `count` characters.
std::string FirstCharacters(std::string_view text, std::size_t count);
std::size_t CharacterCount(std::string_view text);

}  // namespace vnt::platform
