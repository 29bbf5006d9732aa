#include "access/base/calendar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace jet {
namespace {

TEST(Calendar, DaysCarryOver) {
  const struct {
    int year, month, day;
    double days;
  } cases[] = {
      {1899, 12, 30, 0},
      {1900, 1, 1, 2},
      {1900, 3, 1, 61},  // 1900 had no 29 February
      {2000, 2, 30, 36586},
      {2000, 3, 1, 36586},
      {2005, 0, 1, 38322},  // December 2004
      {2005, -11, 1, 37987},
      {2005, 13, 1, 38718},
      {2005, 3, 0, 38411},
      {100, 1, 1, -657434},
      {9999, 12, 31, 2958465},
      {0, 3, 1, -693899},
      {-400, 3, 1, -693899 - 146097},
      {40000, 1, 1, 13915741},  // past the years that the library's calendar has
  };
  for (const auto& c : cases) EXPECT_EQ(DaysOf(c.year, c.month, c.day), c.days) << c.year << '-' << c.month;
}

TEST(Calendar, EveryDayThereAndBack) {
  for (int day = -657434; day <= 2958465; day += 13) {
    CalendarTime t;
    ASSERT_TRUE(ToCalendar(day, &t));
    ASSERT_EQ(JoinDate(t), day);
    ASSERT_TRUE(IsValidDate(t.year, t.month, t.day));
  }
}

TEST(Calendar, TimeCountsAwayFromDayZero) {
  CalendarTime t;
  ASSERT_TRUE(ToCalendar(-1.25, &t));
  EXPECT_EQ(t.day, 29);
  EXPECT_EQ(t.hour, 6);
  EXPECT_EQ(JoinDate(t), -1.25);
  ASSERT_TRUE(ToCalendar(38454.9999999, &t)) << "half a second before midnight is the next day";
  EXPECT_EQ(t.day, 13);
  EXPECT_EQ(t.hour, 0);
}

TEST(Calendar, WhatIsNoDateIsRefused) {
  CalendarTime t{2005, 4, 12};
  for (const double number : {-657435.0, 2958466.0, 1e300, -1e300, std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_FALSE(IsDateNumber(number)) << number;
    EXPECT_FALSE(ToCalendar(number, &t)) << number;
  }
  EXPECT_EQ(t.year, 2005);
  EXPECT_TRUE(IsDateNumber(-657434.75)) << "the first day, in the evening";
  const int no_days[][3] = {{99, 12, 31}, {10000, 1, 1}, {1900, 2, 29}, {2001, 4, 31}, {2001, 13, 1},
                            {2001, 0, 1}, {2001, 1, 0},  {2001, 1, 32}, {2001, 257, 1}};
  for (const auto& [year, month, day] : no_days) EXPECT_FALSE(IsValidDate(year, month, day)) << year;
  EXPECT_TRUE(IsValidDate(2000, 2, 29));
}

}  // namespace
}  // namespace jet
