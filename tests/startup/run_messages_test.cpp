// When messages of a run are shown, when they come with a check mark, and what becomes of the others.
#include "startup/run_messages.h"

#include <optional>

#include "tests/program/program_surroundings.h"

namespace vnt {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::MessageStyle;
using ::testing::SizeIs;

// Sets the check mark at the message of that number, from 1.
class Boxes : public platform::Messages {
 public:
  void Show(std::string_view text, MessageStyle) override { shown.emplace_back(text); }
  void ShowExplained(std::string_view text, MessageStyle, std::string_view explanation) override {
    shown.push_back(std::string(text) + (explanation.empty() ? "" : ", because ") + std::string(explanation));
  }
  bool ShowWithCheck(std::string_view text, MessageStyle, std::string_view explanation,
                     std::string_view caption) override {
    EXPECT_EQ(caption, "Show no more messages of this run; list them at the end");
    EXPECT_EQ(explanation, text == "because" ? "of this" : "");
    shown.push_back("[ ] " + std::string(text));
    return static_cast<int>(shown.size()) == set_at;
  }
  std::vector<std::string> shown;
  int set_at = 0;
};

class RunMessagesTest : public testing::ProgramSurroundings {
 protected:
  RunMessagesTest() { state_.platform_services.messages = &boxes_; }
  static void Error(const std::string& text) { platform::ShowMessage(text, MessageStyle::kCritical); }

  Boxes boxes_;
};

TEST_F(RunMessagesTest, TheThirdErrorHasACheckMark) {
  {
    RunMessages messages;
    platform::ShowMessage("hello", MessageStyle::kInformation);
    for (const char* text : {"a", "b", "c", "d"}) Error(text);
    messages.RunEnds();
    Error("after the run");
  }
  Error("elsewhere");
  EXPECT_THAT(boxes_.shown, ElementsAre("hello", "a", "b", "[ ] c", "[ ] d", "after the run", "elsewhere"));
}

TEST_F(RunMessagesTest, WhatExplainsAMessageGoesWithIt) {
  RunMessages messages;
  const auto error = [] { platform::ShowMessage("because", MessageStyle::kCritical, "of this"); };
  for (int i = 0; i < 3; ++i) error();
  EXPECT_THAT(boxes_.shown,
              ElementsAre("because, because of this", "because, because of this", "[ ] because"));
}

TEST_F(RunMessagesTest, WhatWasNotShownIsListedAtTheEnd) {
  boxes_.set_at = 3;
  int before = 0;
  RunMessages messages([&] { ++before; });
  for (const char* text : {"a", "b", "c", "d", "e", "d"}) Error(text);
  EXPECT_THAT(boxes_.shown, SizeIs(3));
  messages.RunEnds();
  Error("The disk is full.");
  EXPECT_THAT(boxes_.shown, ElementsAre("a", "b", "[ ] c", "3 messages were not shown:\nd (2 times)\ne",
                                        "The disk is full."));
  EXPECT_EQ(before, 5);
}

TEST_F(RunMessagesTest, ALongListIsCut) {
  boxes_.set_at = 3;
  RunMessages messages;
  for (int i = 0; i < 28; ++i) Error("error " + std::to_string(i));
  messages.RunEnds();
  ASSERT_THAT(boxes_.shown, SizeIs(4));
  EXPECT_THAT(boxes_.shown.back(), HasSubstr("25 messages were not shown:\nerror 3\n"));
  EXPECT_THAT(boxes_.shown.back(), HasSubstr("error 22\nand 5 others; the report has them all."));
  messages.RunEnds();
  EXPECT_THAT(boxes_.shown, SizeIs(4)) << "told once";
}

TEST_F(RunMessagesTest, WhoHasNoCheckMarkShowsTheText) {
  state_.platform_services.messages = &messages_;
  RunMessages messages;
  for (const char* text : {"a", "b", "c", "d"}) Error(text);
  messages.RunEnds();
  EXPECT_THAT(messages_.shown, SizeIs(4));
}

}  // namespace
}  // namespace vnt
