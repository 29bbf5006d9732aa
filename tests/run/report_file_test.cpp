// Reports are written whole, or what was there stays.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#ifndef _WIN32
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include "access/base/error.h"
#include "access/file/copy_file.h"
#include "access/file/test_files.h"
#include "platform/environment.h"
#include "platform/paths.h"
#include "run/report_file.h"
#include "tests/process.h"

namespace vnt {
namespace {

namespace fs = std::filesystem;

const std::string kFormer(5000, 'a'), kLater(9000, 'b');

TEST(ReportFile, IsWholeOrWhatItWasWhateverFailsAtEachOperation) {
  using Failure = jet::MemoryFileSystem::Failure;
  for (const bool had_former : {true, false}) {
    for (const Failure failure : {Failure::kIo, Failure::kFull, Failure::kShortWrite}) {
      bool failed = true;
      for (std::uint64_t operation = 1; failed; ++operation) {
        ASSERT_LT(operation, 50U);
        jet::MemoryFileSystem files;
        if (had_former) files.SetContent("report", kFormer);
        files.FailAt(files.operations() + operation, failure);
        try {
          ReplaceWhole(files, "report", kLater);
          failed = false;
        } catch (const jet::Error&) {
        }
        SCOPED_TRACE(operation);
        const auto content = [&] { return files.Exists("report") ? files.Content("report") : ""; };
        EXPECT_TRUE(content() == kLater || (failed && content() == (had_former ? kFormer : "")));
        files.LosePower();
        EXPECT_TRUE(content() == kLater || (failed && content() == (had_former ? kFormer : "")));
        // The next one is in nobody's way.
        ReplaceWhole(files, "report", kLater);
        EXPECT_EQ(content(), kLater);
        for (const char* left : {"report.new", "report.new.part", "report.part"}) {
          EXPECT_FALSE(files.Exists(left)) << left;
        }
      }
    }
  }
}

class ReportFileTest : public ::testing::Test {
 protected:
  ~ReportFileTest() override { fs::remove_all(folder_); }
  std::string At(const char* name) const { return test::Utf8Of(folder_ / name); }
  std::string Read(const char* name) const {
    std::ifstream in(folder_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::size_t Files() const {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }

  fs::path folder_ = test::NewFolder("vnt-report-");
};

TEST_F(ReportFileTest, GoesWhereItsNameLeads) {
  EXPECT_TRUE(WriteReportFile(At("report"), kFormer));
  EXPECT_EQ(Read("report"), kFormer);
  EXPECT_TRUE(WriteReportFile(At("report"), kLater));
  EXPECT_EQ(Read("report"), kLater);
  EXPECT_FALSE(WriteReportFile(At("missing/report"), kLater));
  fs::create_directory(folder_ / "folder");
  EXPECT_FALSE(WriteReportFile(At("folder"), kLater));
  EXPECT_FALSE(BeginReportFile(At("missing/report"), kFormer));
  EXPECT_TRUE(BeginReportFile(At("report"), kFormer));
  EXPECT_EQ(Read("report"), kFormer);
  EXPECT_EQ(Files(), 2U);
}

// It was somebody's report when the run began.
TEST_F(ReportFileTest, NoDatabaseIsOverwrittenThatCameMeanwhile) {
  for (const std::string& head :
       {std::string("\0\1\0\0Standard Jet DB", 19), std::string("\0\1\0\0Sxandxrd ACE DB", 19),
        std::string("SQLite format 3\0", 16), std::string("pgjrnl\032\005", 8)}) {
    EXPECT_TRUE(BeginReportFile(At("report"), kFormer));
    std::ofstream(folder_ / "report", std::ios::binary)
        .write(head.data(), static_cast<std::streamsize>(head.size()));
    EXPECT_FALSE(WriteReportFile(At("report"), kLater));
    EXPECT_EQ(Read("report"), head);
    fs::remove(folder_ / "report");
  }
  EXPECT_FALSE(WriteReportFile(At("a.mdb-vntjournal"), kLater));
  EXPECT_EQ(Files(), 0U);
}

#ifndef _WIN32
TEST_F(ReportFileTest, LinksDevicesAndRightsStayWhatTheyAre) {
  fs::create_symlink("report", folder_ / "link");
  fs::create_symlink("later", folder_ / "to_nothing");
  EXPECT_TRUE(WriteReportFile(At("report"), kFormer));
  fs::permissions(folder_ / "report", fs::perms(0640));
  EXPECT_TRUE(WriteReportFile(At("link"), kLater));
  EXPECT_TRUE(WriteReportFile(At("to_nothing"), kLater));
  EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
  EXPECT_TRUE(fs::is_symlink(folder_ / "to_nothing"));
  EXPECT_EQ(Read("report"), kLater);
  EXPECT_EQ(Read("later"), kLater);
  EXPECT_EQ(fs::status(folder_ / "report").permissions(), fs::perms(0640));
  EXPECT_TRUE(WriteReportFile("/dev/null", kLater));
  EXPECT_FALSE(WriteReportFile("/dev/full", kLater));
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  // Marked as read-only: whoever marked it meant something.
  fs::permissions(folder_ / "report", fs::perms(0444));
  EXPECT_FALSE(WriteReportFile(At("report"), kFormer));
  EXPECT_EQ(Read("report"), kLater);
}

// Nobody is at the other end yet.
TEST_F(ReportFileTest, NoPipeIsWaitedForBeforeThereIsAReport) {
  ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
  EXPECT_FALSE(WouldOverwriteDatabase(At("pipe")));
  EXPECT_TRUE(BeginReportFile(At("pipe"), kFormer));
  EXPECT_FALSE(WriteReportFile(At("pipe"), kLater));
  const int reader = open(At("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  EXPECT_TRUE(WriteReportFile(At("pipe"), kLater));
  std::string read(kLater.size(), ' ');
  EXPECT_EQ(::read(reader, read.data(), read.size()), static_cast<ssize_t>(kLater.size()));
  EXPECT_EQ(read, kLater);
  close(reader);
  for (const auto& [content, is_database] :
       {std::pair("\0\1\0\0Standard Jet DB", true), {"a report", false}}) {
    std::ofstream(folder_ / "file", std::ios::binary).write(content, is_database ? 19 : 8);
    EXPECT_EQ(WouldOverwriteDatabase(At("file")), is_database);
  }
}

TEST_F(ReportFileTest, StaysWhenTheNewOneDoesNotFit) {
  platform::LetLargeFilesFail();
  EXPECT_TRUE(WriteReportFile(At("report"), kFormer));
  rlimit former;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &former), 0);
  const rlimit limit = {kLater.size() / 2, former.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_FALSE(WriteReportFile(At("report"), kLater));
  EXPECT_FALSE(WriteReportFile(At("other"), kLater));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &former), 0);
  EXPECT_EQ(Read("report"), kFormer);
  EXPECT_EQ(Files(), 1U);
}
#endif

}  // namespace
}  // namespace vnt
