#include "samples/schema.h"

namespace vnt::samples {
namespace {

#include "schema_texts.inc"

std::string_view Text(Schema schema) {
  switch (schema) {
    case Schema::kNotice:
      return kNoticeSchema;
    case Schema::kReference:
      return kReferenceSchema;
    case Schema::kTemplate:
      return kTemplateSchema;
  }
  return {};
}

}  // namespace

std::vector<std::string_view> SchemaStatements(Schema schema) {
  std::vector<std::string_view> statements;
  std::string_view rest = Text(schema);
  for (;;) {
    // Comments stand on lines of their own, before a statement.
    const std::size_t start = rest.find_first_not_of(" \r\n");
    if (start == std::string_view::npos) return statements;
    rest.remove_prefix(start);
    if (rest.starts_with("--")) {
      const std::size_t line_end = rest.find('\n');
      if (line_end == std::string_view::npos) return statements;
      rest.remove_prefix(line_end);
      continue;
    }
    const std::size_t end = rest.find(';');
    statements.push_back(rest.substr(0, end));
    if (end == std::string_view::npos) return statements;
    rest.remove_prefix(end + 1);
  }
}

}  // namespace vnt::samples
