// vntfix as a function, and a folder of databases for it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli.h"
#include "tests/process.h"

namespace vnt::cli {

using Arguments = std::vector<std::string>;

struct Outcome {
  int code;
  std::string out, err;
};

inline Outcome RunCli(const Arguments& arguments, std::istream& in) {
  std::ostringstream out, err;
  const int code = Run(arguments, {in, out, err});
  // Whatever is said, it is plain who says it. Beside a document of differences there are lines of the run
  // too.
  std::istringstream said(std::ranges::find(arguments, "--diff") == arguments.end() ? err.str() : "");
  for (std::string line; std::getline(said, line);) EXPECT_TRUE(line.starts_with("vntfix")) << line;
  return {code, out.str(), err.str()};
}

inline Outcome RunCli(const Arguments& arguments, const std::string& input = "") {
  std::istringstream in(input);
  return RunCli(arguments, in);
}

inline std::string Slurp(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

class FolderTest : public testing::Test {
 protected:
  FolderTest() {
    // No settings file of this machine may leak into a test.
    test::SetVariable("VNTFIX_WINDIR", test::Utf8Of(folder_));
    test::SetVariable("VNTFIX_CDRIVE", test::Utf8Of(folder_ / "c"));
  }
  ~FolderTest() override { std::filesystem::remove_all(folder_); }

  std::string At(const std::string& name) const { return test::Utf8Of(folder_ / test::PathOf(name)); }
  std::string Make(const std::string& name, const std::string& script) {
    const std::string path = At(name);
    Arguments create = {"new", path};
    if (name.ends_with(".accdb")) create.insert(create.end(), {"--format", "ace14"});
    EXPECT_EQ(RunCli(create).code, kOk);
    const Outcome made = RunCli({"sql", path}, script);
    EXPECT_EQ(made.code, kOk) << made.err;
    return path;
  }
  std::string NewDatabase(const char* name = "a.mdb") { return Make(name, ""); }
  void MakeSample(const char* notices = "20") {
    const Outcome made = RunCli({"sample", test::Utf8Of(folder_), "--notices", notices});
    ASSERT_EQ(made.code, kOk) << made.err;
  }
  // Every file of the folder, by name, but the one of that name.
  std::map<std::string, std::string> Files(const std::string& without = "") const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
      const std::string name = test::Utf8Of(entry.path().filename());
      if (entry.is_regular_file() && name != without) files[name] = Slurp(entry.path());
    }
    return files;
  }

  std::filesystem::path folder_ = test::NewFolder("vntfix-cli-");
};

}  // namespace vnt::cli
