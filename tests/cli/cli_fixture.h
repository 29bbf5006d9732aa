// The command line run within the test, in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "access/store/database.h"
#include "cli/cli.h"
#include "tests/process.h"

namespace vnt::cli {

namespace fs = std::filesystem;

struct Outcome {
  int code;
  std::string out, err;
};

inline Outcome RunCli(const std::vector<std::string>& arguments, std::istream& in) {
  std::ostringstream out, err;
  const int code = Run(arguments, {in, out, err});
  return {code, out.str(), err.str()};
}

inline Outcome RunCli(const std::vector<std::string>& arguments, const std::string& input = "") {
  std::istringstream in(input);
  return RunCli(arguments, in);
}

inline std::string Slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class CliTest : public testing::Test {
 protected:
  CliTest() {
    // No settings file of this machine may leak into a test.
    test::SetVariable("VNTFIX_WINDIR", test::Utf8Of(folder_));
    test::SetVariable("VNTFIX_CDRIVE", test::Utf8Of(folder_ / "c"));
  }
  ~CliTest() override { fs::remove_all(folder_); }

  std::string At(const std::string& name) const { return test::Utf8Of(folder_ / test::PathOf(name)); }
  std::string NewDatabase(const char* name = "a.mdb") {
    const std::string path = At(name);
    EXPECT_EQ(RunCli({"new", path}).code, kOk);
    return path;
  }
  void MakeSample(const char* notices = "20") {
    const Outcome made = RunCli({"sample", folder_.string(), "--notices", notices});
    ASSERT_EQ(made.code, kOk) << made.err;
  }

  fs::path folder_ = test::NewFolder("vntfix-cli-");
};

}  // namespace vnt::cli
