// A message where nobody has said where messages go, and the time for which the program waits for its user.

#include "platform/messages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

#include "platform/in_force.h"
#include "platform/services.h"

namespace vnt::platform {
namespace {

using namespace std::chrono_literals;

class MessagesTest : public ::testing::Test {
 protected:
  Services services_;
  Scoped<Services> in_force_{services_};
};

TEST_F(MessagesTest, StandardErrorHasTheExplanationOnALineOfItsOwn) {
  ::testing::internal::CaptureStderr();
  ShowMessage("No.", MessageStyle::kCritical);
  ShowMessage("No.", MessageStyle::kCritical, "It is closed.");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "No.\nNo.\nIt is closed.\n");
}

// Shows each message for a while, through another way as a run's messages go.
TEST_F(MessagesTest, TheTimeOfAMessageIsCountedOnce) {
  class Reader : public Messages {
   public:
    void Show(std::string_view text, MessageStyle style) override {
      if (text == "outer") return ShowMessage("inner", style);
      std::this_thread::sleep_for(20ms);
    }
  } reader;
  services_.messages = &reader;
  const auto began = std::chrono::steady_clock::now();
  ShowMessage("outer", MessageStyle::kPlain, "why");
  const auto taken = std::chrono::steady_clock::now() - began;
  EXPECT_GE(TimeWaited(), 20ms);
  EXPECT_LE(TimeWaited(), taken);
  const auto before = TimeWaited();
  ShowMessage("inner", MessageStyle::kPlain);
  EXPECT_GE(TimeWaited() - before, 20ms) << "and so is the next";
}

}  // namespace
}  // namespace vnt::platform
