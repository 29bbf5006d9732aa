// The catalogue against golden/catalogue.txt, a line a fix in order of execution:
// step|index|caption|tooltip|routines, joined by commas.

#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "run/fix_runner.h"

namespace vnt::test {
namespace {

TEST(Catalogue, CaptionsTooltipsAndRoutinesInOrder) {
  std::vector<std::string> expected;
  std::ifstream file(std::string(VNT_GOLDEN_FOLDER) + "/catalogue.txt");
  for (std::string line; std::getline(file, line);) expected.push_back(line);
  std::vector<std::string> lines;
  for (const FixEntry& fix : FixCatalogue()) {
    std::string line = std::to_string(fix.step) + "|" + std::to_string(fix.index) + "|" +
                       std::string(fix.caption) + "|" + std::string(fix.tooltip) + "|";
    for (int i = 0; i < fix.routine_count; ++i) {
      const FixRoutine& routine = fix.routines[static_cast<std::size_t>(i)];
      line += (i == 0 ? "" : ",") + std::string(routine.name);
      EXPECT_NE(routine.run, nullptr) << routine.name;
    }
    lines.push_back(line);
    EXPECT_EQ(&FixByIndex(fix.index), &fix);
    EXPECT_FALSE(fix.summary.empty());
  }
  EXPECT_EQ(lines, expected);
}

TEST(Catalogue, ThreeColumnsOfWhichTheRightOneIsUnticked) {
  std::set<std::pair<FixColumn, int>> places;
  for (const FixEntry& fix : FixCatalogue()) {
    EXPECT_TRUE(places.insert({fix.column, fix.row}).second) << fix.index;
    EXPECT_EQ(fix.ticked, fix.column != FixColumn::kRight) << fix.index;
  }
  const auto place = [](int index) { return std::pair(FixByIndex(index).column, FixByIndex(index).row); };
  EXPECT_EQ(place(0), std::pair(FixColumn::kLeft, 0));
  EXPECT_EQ(place(35), std::pair(FixColumn::kLeft, 8));
  EXPECT_EQ(place(5), std::pair(FixColumn::kLeft, 17));
  EXPECT_EQ(place(15), std::pair(FixColumn::kMiddle, 0));
  EXPECT_EQ(place(39), std::pair(FixColumn::kMiddle, 17));
  EXPECT_EQ(place(16), std::pair(FixColumn::kRight, 0));
  EXPECT_EQ(place(25), std::pair(FixColumn::kRight, 1));
  EXPECT_EQ(place(19), std::pair(FixColumn::kRight, 2));
  EXPECT_EQ(place(24), std::pair(FixColumn::kRight, 3));
  EXPECT_EQ(DefaultSelection().count(), 36U);
}

}  // namespace
}  // namespace vnt::test
