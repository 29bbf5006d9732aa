#include "compare/json_output.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "compare/value_text.h"

namespace vnt::compare {

void AppendJsonText(std::string_view text, std::string* out) {
  const auto is_plain = [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\';
  };
  if (std::ranges::all_of(text, is_plain)) {
    out->append("\"").append(text).append("\"");
    return;
  }
  using nlohmann::json;
  out->append(json(text).dump(-1, ' ', false, json::error_handler_t::replace));
}

void AppendJson(const jet::Value& value, jet::ColumnType type, std::string* out) {
  switch (value.kind()) {
    case jet::ValueKind::kNull:
      out->append("null");
      break;
    case jet::ValueKind::kInteger:
      if (type == jet::ColumnType::kBoolean) {
        out->append(value.integer() != 0 ? "true" : "false");
      } else {
        out->append(std::to_string(value.integer()));
      }
      break;
    case jet::ValueKind::kReal: {
      const bool is_number = type != jet::ColumnType::kDateTime && std::isfinite(value.real());
      if (!is_number) out->push_back('"');
      AppendCsv(value, type, out);
      if (!is_number) out->push_back('"');
      break;
    }
    case jet::ValueKind::kDecimal:
      out->append("\"").append(value.decimal().ToText()).append("\"");
      break;
    case jet::ValueKind::kText:
      AppendJsonText(value.bytes(), out);
      break;
    case jet::ValueKind::kBlob:
      out->push_back('"');
      AppendHex(value.bytes(), out);
      out->push_back('"');
      break;
  }
}

}  // namespace vnt::compare
