// Surroundings of a test: a folder that goes with it, variables of the environment put back, messages of its
// own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/in_force.h"
#include "platform/messages.h"
#include "platform/services.h"
#include "tests/process.h"

namespace vnt::platform {

inline void PrintTo(MessageStyle style, std::ostream* out) {
  *out << (style == MessageStyle::kPlain         ? "plain"
           : style == MessageStyle::kInformation ? "information"
                                                 : "critical");
}

}  // namespace vnt::platform

namespace vnt::testing {

namespace fs = std::filesystem;
using platform::MessageStyle;

using ShownMessage = std::pair<std::string, MessageStyle>;

class RecordedMessages : public platform::Messages {
 public:
  void Show(std::string_view text, MessageStyle style) override { ShowExplained(text, style, {}); }
  void ShowExplained(std::string_view text, MessageStyle style, std::string_view explanation) override {
    shown.emplace_back(text, style);
    explanations.emplace_back(explanation);
  }
  std::vector<ShownMessage> shown;
  std::vector<std::string> explanations;  // one for each message, in order; empty: none
};

class Surroundings : public ::testing::Test {
 protected:
  Surroundings() {
    SetEnvironment("VNTFIX_WINDIR", (folder_ / "windows").string());
    SetEnvironment("VNTFIX_CDRIVE", (folder_ / "c").string());
    SetEnvironment("XDG_CONFIG_HOME", (folder_ / "config").string());
    SetEnvironment("VNTFIX_OPEN", "");
  }
  ~Surroundings() override {
    for (const auto& [name, value] : former_environment_) test::SetVariable(name, value);
    fs::remove_all(folder_);
  }

  // An empty value unsets the variable.
  void SetEnvironment(const std::string& name, const std::string& value) {
    const char* former = getenv(name.c_str());
    former_environment_.try_emplace(name, former ? former : "");
    test::SetVariable(name, value);
  }

  fs::path WriteFile(const fs::path& relative, std::string_view content) const {
    const fs::path file = folder_ / relative;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

  std::string ReadFile(const std::string& name) const {
    std::ifstream stream(folder_ / name);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  // A program named xdg-open that runs `script`, and nothing else on the search path but /bin.
  void InstallOpener(const std::string& script) { InstallProgram("xdg-open", script); }
  void InstallProgram(const std::string& name, const std::string& script) {
    const auto file = WriteFile("bin/" + name, "#!/bin/sh\n" + script);
    fs::permissions(file, fs::perms::owner_all);
    SetEnvironment("PATH", (folder_ / "bin").string() + ":/bin");
  }

  void WriteSettings(std::string_view content) const { WriteFile("windows/KV_SOFT.ini", content); }

  fs::path folder_ = test::NewFolder("vnt-test-");
  RecordedMessages messages_;

 private:
  std::map<std::string, std::string> former_environment_;
  platform::Services services_{&messages_, {}};
  platform::Scoped<platform::Services> services_in_force_{services_};
};

}  // namespace vnt::testing
