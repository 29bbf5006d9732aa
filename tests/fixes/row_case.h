// Rows before, the routines of a fix, and rows after.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace vnt::test {

using Lines = std::vector<std::string>;

struct RowCase {
  const char* name;
  const char* before;
  std::vector<void (*)()> routines;
  const char* query;
  Lines after;
  std::int32_t ntc_id = 0;
  Lines messages = {};
};

inline void PrintTo(const RowCase& row_case, std::ostream* out) { *out << row_case.name; }

class Rows : public ::testing::TestWithParam<RowCase> {};

inline std::string Name(const ::testing::TestParamInfo<RowCase>& info) { return info.param.name; }

}  // namespace vnt::test
