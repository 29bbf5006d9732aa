// The ODBC headers as each platform has them, and the conversions between their 16-bit texts and UTF-8.
#pragma once

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#endif
#include <sql.h>
#include <sqlext.h>

#include <string>
#include <string_view>

namespace vnt::db {

// Text of the wide functions: UTF-16 in SQLWCHAR on both platforms (unixODBC's default build).
using WideText = std::basic_string<SQLWCHAR>;
static_assert(sizeof(SQLWCHAR) == 2);

// Bytes that are no UTF-8, and lone surrogates, become U+FFFD.
WideText ToWide(std::string_view utf8);
std::string ToUtf8(const SQLWCHAR* text, std::size_t units);

}  // namespace vnt::db
