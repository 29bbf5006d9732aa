// Conversions between kinds of values as the run-time does them, dates, and the compact list of rows.
#include "db/value.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "db/error.h"
#include "db/row_list.h"

namespace vnt::db {
namespace {

std::int32_t ErrorOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const DbError& error) {
    return error.number();
  }
  return 0;
}

TEST(Value, ConvertsToWholeNumbers) {
  struct Case {
    Value value;
    std::int32_t number;
    std::int32_t error16, error32;
  };
  const std::vector<Case> cases = {
      {Value(), 0, 0, 0},
      {Value::Null(), 0, 94, 94},
      {Value::Int16(-7), -7, 0, 0},
      {Value::Int32(40000), 40000, 6, 0},
      {Value::Int64(3000000000), 0, 6, 6},
      {Value::Boolean(true), -1, 0, 0},
      {Value::Double(0.5), 0, 0, 0},
      {Value::Double(1.5), 2, 0, 0},
      {Value::Double(2.5), 2, 0, 0},
      {Value::Double(-2.5), -2, 0, 0},
      {Value::Double(-3.5), -4, 0, 0},
      {Value::Double(32767.4), 32767, 0, 0},
      {Value::Double(32767.5), 32768, 6, 0},
      {Value::Double(-32768.5), -32768, 0, 0},
      {Value::Double(2147483647.5), 0, 6, 6},
      {Value::Double(std::numeric_limits<double>::quiet_NaN()), 0, 6, 6},
      {Value::Single(2.5f), 2, 0, 0},
      {Value::Currency(25000), 2, 0, 0},
      {Value::Currency(25001), 3, 0, 0},
      {Value::Currency(-35000), -4, 0, 0},
      {Value::Decimal("12.50"), 12, 0, 0},
      {Value::Date(2.75), 3, 0, 0},
      {Value::Text("12"), 12, 0, 0},
      {Value::Text("  -3.5 "), -4, 0, 0},
      {Value::Text("+1e3"), 1000, 0, 0},
      {Value::Text(".5"), 0, 0, 0},
      {Value::Text("TRUE"), -1, 0, 0},
      {Value::Text(""), 0, 13, 13},
      {Value::Text("12a"), 0, 13, 13},
      {Value::Text("inf"), 0, 13, 13},
      {Value::Text("--1"), 0, 13, 13},
      {Value::Text("1e400"), 0, 6, 6},
      {Value::Text("1e-400"), 0, 0, 0},
      {Value::Binary("12"), 0, 13, 13},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    const Case& c = cases[i];
    EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(c.value.ToInt16(), c.number); }), c.error16);
    EXPECT_EQ(ErrorOf([&] { EXPECT_EQ(c.value.ToInt32(), c.number); }), c.error32);
  }
}

TEST(Value, ConvertsToText) {
  const std::vector<std::pair<Value, std::string>> cases = {
      {Value(), ""},
      {Value::Int16(-12), "-12"},
      {Value::Int64(9007199254740993), "9007199254740993"},
      {Value::Double(14250), "14250"},
      {Value::Double(0.1), "0.1"},
      {Value::Double(-0.0), "0"},
      {Value::Double(1.0 / 3), "0.3333333333333333"},
      {Value::Double(123456789012345), "123456789012345"},
      {Value::Double(1e15), "1E+15"},
      {Value::Double(0.0001), "0.0001"},
      {Value::Double(0.00001), "1E-05"},
      {Value::Single(0.1f), "0.1"},
      {Value::Single(11700.5f), "11700.5"},
      {Value::Currency(-12345), "-1.2345"},
      {Value::Currency(100000), "10"},
      {Value::Currency(std::numeric_limits<std::int64_t>::min()), "-922337203685477.5808"},
      {Value::Decimal("120.500"), "120.5"},
      {Value::Decimal("100"), "100"},
      {Value::Decimal("-0.00"), "0"},
      {Value::Boolean(true), "True"},
      {Value::Date(JoinDate({2005, 4, 12})), "2005-04-12"},
      {Value::Date(JoinDate({2005, 4, 12, 7, 8, 9})), "2005-04-12 07:08:09"},
      {Value::Text(" a "), " a "},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(value.ToText(), text);
  EXPECT_EQ(ErrorOf([] { Value::Null().ToText(); }), kErrInvalidUseOfNull);
}

TEST(Value, ConvertsToDateAndBoolean) {
  const double april = JoinDate({2005, 4, 12});
  const std::vector<std::pair<Value, double>> dates = {
      {Value::Text("2005-04-12"), april},
      {Value::Text("4/12/2005"), april},
      {Value::Text("12/4/2005"), JoinDate({2005, 12, 4})},
      {Value::Text("13/4/2005"), april + 1},  // no 13th month: day first
      {Value::Text("2005-04-12 12:00:00.000000"), april + 0.5},
      {Value::Text("38454"), 38454},
      {Value::Int32(2), 2},
      {Value(), 0},
  };
  for (const auto& [value, days] : dates) EXPECT_EQ(value.ToDate(), days) << value.ToText();
  for (const char* text : {"30/30/2005", "2005-02-29", "2005-04-12 24:00", "2005-04-12x", "soon"})
    EXPECT_EQ(ErrorOf([&] { Value::Text(text).ToDate(); }), kErrTypeMismatch) << text;
  EXPECT_EQ(ErrorOf([] { Value::Double(2958466).ToDate(); }), kErrOverflow);
  EXPECT_EQ(ErrorOf([] { Value::Double(-657435).ToDate(); }), kErrOverflow);

  EXPECT_TRUE(Value::Double(0.1).ToBoolean());
  EXPECT_TRUE(Value::Text("True").ToBoolean());
  EXPECT_FALSE(Value().ToBoolean());
  EXPECT_EQ(ErrorOf([] { Value::Null().ToBoolean(); }), kErrInvalidUseOfNull);
}

TEST(Value, NullEmptyAndEmptyTextDiffer) {
  EXPECT_FALSE(Value::Null() == Value());
  EXPECT_FALSE(Value::Text("") == Value());
  EXPECT_FALSE(Value::Text("") == Value::Null());
  EXPECT_FALSE(Value::Int32(0) == Value::Null());
  EXPECT_TRUE(Value::Null() == Value::Null());
}

TEST(Date, SplitsAndJoins) {
  struct Case {
    double days;
    DateParts parts;
  };
  const std::vector<Case> cases = {
      {0, {1899, 12, 30}},
      {1, {1899, 12, 31}},
      {-1, {1899, 12, 29}},
      {2, {1900, 1, 1}},
      {61, {1900, 3, 1}},
      {36585, {2000, 2, 29}},
      {38454.75, {2005, 4, 12, 18}},
      {-657434, {100, 1, 1}},
      {2958465, {9999, 12, 31}},
      {-1.25, {1899, 12, 29, 6}},  // the time of day counts away from zero
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.days);
    const DateParts p = SplitDate(c.days);
    EXPECT_EQ(p.year, c.parts.year);
    EXPECT_EQ(p.month, c.parts.month);
    EXPECT_EQ(p.day, c.parts.day);
    EXPECT_EQ(p.hour, c.parts.hour);
    EXPECT_EQ(JoinDate(c.parts), c.days);
  }
  // A fraction just below midnight is midnight of the next day.
  EXPECT_EQ(SplitDate(38454.9999999).day, 13);
  EXPECT_TRUE(IsValidDate(2000, 2, 29));
  EXPECT_FALSE(IsValidDate(1900, 2, 29));
  EXPECT_FALSE(IsValidDate(2001, 4, 31));
  EXPECT_FALSE(IsValidDate(2001, 13, 1));
}

TEST(RowList, KeepsEveryKindOfValue) {
  const std::vector<Value> row = {Value(),
                                  Value::Null(),
                                  Value::Int16(-1),
                                  Value::Int32(1 << 30),
                                  Value::Int64(-5),
                                  Value::Single(0.1f),
                                  Value::Double(1e300),
                                  Value::Currency(-12345),
                                  Value::Decimal("1.50"),
                                  Value::Boolean(true),
                                  Value::Date(38454.5),
                                  Value::Text(std::string("a\0b", 3)),
                                  Value::Binary(std::string(70000, '\xff'))};
  RowList rows;
  rows.Append(std::vector<Value>(row.size(), Value::Text("other")));
  rows.Append(row);
  std::vector<Value> read(row.size());
  rows.Read(1, &read);
  EXPECT_TRUE(read == row);
  rows.Replace(0, row);
  rows.Read(0, &read);
  EXPECT_TRUE(read == row);
}

}  // namespace
}  // namespace vnt::db
