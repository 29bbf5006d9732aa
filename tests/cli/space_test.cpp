// The size of a file: what repeated runs do to it, and what compact gives back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "cli/cli.h"
#include "tests/process.h"

namespace vnt::cli {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class SpaceTest : public testing::Test {
 protected:
  SpaceTest() {
    test::SetVariable("VNTFIX_WINDIR", test::Utf8Of(folder_));
    test::SetVariable("VNTFIX_CDRIVE", test::Utf8Of(folder_ / "c"));
  }
  ~SpaceTest() override { fs::remove_all(folder_); }

  int RunCli(const Arguments& arguments) {
    std::istringstream in;
    out_.str("");
    err_.str("");
    return cli::Run(arguments, {in, out_, err_});
  }
  std::string At(const char* name) const { return (folder_ / name).string(); }
  void MakeSample() { ASSERT_EQ(RunCli({"sample", folder_.string(), "--notices", "30"}), kOk); }
  void Fix(const std::string& file, const Arguments& options) {
    Arguments arguments = {"fix", file, "--reference", At("reference.mdb"), "--template", At("template.mdb")};
    arguments.insert(arguments.end(), options.begin(), options.end());
    ASSERT_EQ(RunCli(arguments), kOk) << err_.str();
  }
  Arguments Lines(const std::string& text) {
    std::istringstream in(text);
    Arguments lines;
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
  static std::string Slurp(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  fs::path folder_ = test::NewFolder("vntfix-space-");
  std::ostringstream out_, err_;
};

TEST_F(SpaceTest, TenRunsLeaveTheFileAtMostFivePercentLargerThanTheFirst) {
  MakeSample();
  ASSERT_EQ(RunCli({"sql", At("notices.mdb"), "--csv", "SELECT ntc_id FROM notice"}), kOk);
  Arguments notices = Lines(out_.str());
  ASSERT_EQ(notices.size(), 31U);
  notices.erase(notices.begin());
  for (const Arguments& options : {Arguments{}, Arguments{"--all"}}) {
    for (const bool by_notice : {false, true}) {
      SCOPED_TRACE(std::to_string(options.size()) + (by_notice ? " by notice" : " whole"));
      const std::string file = At("work.mdb");
      fs::remove(file);  // the C++ library of some systems does not overwrite
      fs::copy_file(At("notices.mdb"), file);
      std::uintmax_t first = 0;
      for (int run = 1; run <= 10; ++run) {
        if (!by_notice) Fix(file, options);
        for (std::size_t i = 0; by_notice && i < notices.size(); i += 3) {
          Arguments one = options;
          one.insert(one.end(), {"--notice", notices[i]});
          Fix(file, one);
        }
        if (run == 1) first = fs::file_size(file);
      }
      EXPECT_LE(fs::file_size(file), first + first / 20);
      EXPECT_EQ(RunCli({"check", file}), kOk) << out_.str();
    }
  }
}

TEST_F(SpaceTest, CompactGivesBackSpaceAndPrintsBothSizes) {
  MakeSample();
  const std::string file = At("notices.mdb");
  Fix(file, {"--all"});
  ASSERT_EQ(RunCli({"sql", file, "DELETE FROM assgn WHERE seq_no > 1", "DELETE FROM freq"}), kOk)
      << err_.str();
  const auto tables = [&] {
    RunCli({"tables", file, "--all"});
    std::string text = out_.str();
    RunCli({"schema", file});
    text += out_.str();
    for (const char* table : {"notice", "grp", "assgn", "history", "e_as_stn"}) {
      RunCli({"export", file, table});
      text += out_.str();
    }
    return text;
  };
  const std::string before = tables();
  const std::uintmax_t size = fs::file_size(file);
  ASSERT_EQ(RunCli({"compact", file}), kOk) << err_.str();
  EXPECT_LT(fs::file_size(file), size);
  EXPECT_EQ(out_.str(), file + ": " + std::to_string(size) + " bytes before, " +
                            std::to_string(fs::file_size(file)) + " bytes after\n");
  EXPECT_TRUE(tables() == before);
  EXPECT_EQ(RunCli({"check", file}), kOk) << out_.str();
  Fix(file, {});
}

TEST_F(SpaceTest, CompactRefusesWithThree) {
  EXPECT_EQ(RunCli({"compact", At("missing.mdb")}), kRefused);
  EXPECT_EQ(RunCli({"compact"}), kUsage);
  std::ofstream(At("empty.mdb"));
  std::ofstream(At("text.mdb")) << std::string(8192, 'x');
  for (const char* name : {"empty.mdb", "text.mdb"}) {
    const std::string content = Slurp(At(name));
    EXPECT_EQ(RunCli({"compact", At(name)}), kRefused) << name;
    EXPECT_FALSE(err_.str().empty());
    EXPECT_EQ(Slurp(At(name)), content);
  }
  ASSERT_EQ(RunCli({"new", At("new.mdb")}), kOk);
  const std::string content = Slurp(At("new.mdb"));
  EXPECT_EQ(RunCli({"compact", At("new.mdb")}), kOk);
  EXPECT_EQ(Slurp(At("new.mdb")), content);
}

}  // namespace
}  // namespace vnt::cli
