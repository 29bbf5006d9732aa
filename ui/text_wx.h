// UTF-8 texts of the program as texts of the toolkit, and back.
#pragma once

#include <wx/string.h>

#include <string>
#include <string_view>

namespace vnt::ui {

inline wxString ToWx(std::string_view text) { return wxString::FromUTF8(text.data(), text.size()); }

inline std::string FromWx(const wxString& text) {
  const auto bytes = text.utf8_str();
  return {bytes.data(), bytes.length()};
}

}  // namespace vnt::ui
