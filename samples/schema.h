// The tables of the three kinds of database, as Access DDL.
#pragma once

#include <string_view>
#include <vector>

namespace vnt::samples {

enum class Schema { kNotice, kReference, kTemplate };

// The statements of a schema, one by one, without comments and semicolons.
std::vector<std::string_view> SchemaStatements(Schema schema);

}  // namespace vnt::samples
