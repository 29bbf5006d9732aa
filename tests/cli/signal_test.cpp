// The real program and real signals, at moments that differ from run to run: it ends soon, with the status of
// the signal, says so in one line, and leaves a sound file in which the next run completes.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>
#include <thread>

namespace vnt::cli {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

class SignalTest : public ::testing::Test {
 protected:
  SignalTest() {
    std::string name = (fs::temp_directory_path() / "vntfix-signal-XXXXXX").string();
    folder_ = mkdtemp(name.data());
    setenv("VNTFIX_WINDIR", folder_.c_str(), 1);
    setenv("VNTFIX_CDRIVE", (folder_ / "c").c_str(), 1);
    EXPECT_EQ(Wait(Start({"sample", At("s"), "--notices", "60"})), 0);
  }
  ~SignalTest() override { fs::remove_all(folder_); }

  std::string At(const std::string& name) const { return (folder_ / name).string(); }

  // Standard output goes to `out`; below 0: to a file.
  pid_t Start(std::vector<std::string> arguments, int out = -1) const {
    arguments.insert(arguments.begin(), VNTFIX);
    std::vector<char*> words;
    for (std::string& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    for (const auto& [file, descriptor] :
         {std::pair("out", STDOUT_FILENO), std::pair("err", STDERR_FILENO)}) {
      dup2(open(At(file).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), descriptor);
    }
    if (out >= 0) dup2(out, STDOUT_FILENO);
    execv(VNTFIX, words.data());
    _exit(127);
  }
  // The exit status; 1000 and the signal when one ended the process.
  static int Wait(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
  }
  std::string Written(const char* file) const {
    std::ifstream in(At(file));
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::vector<std::string> FixArguments(const std::string& file) const {
    return {"fix", file, "--reference", At("s/reference.mdb"), "--template", At("s/template.mdb"), "--all"};
  }

  fs::path folder_;
};

TEST_F(SignalTest, EndARunBetweenTwoFixes) {
  fs::copy_file(At("s/notices.mdb"), At("whole.mdb"));
  const auto start = Clock::now();
  const int whole = Wait(Start(FixArguments(At("whole.mdb"))));
  const auto length = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
  const std::random_device::result_type seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  int interrupted = 0;
  for (int round = 0; round < 12; ++round) {
    const int signal = std::array{SIGINT, SIGTERM, SIGHUP}[static_cast<std::size_t>(round % 3)];
    const std::string file = At("notices.mdb");
    fs::copy_file(At("s/notices.mdb"), file, fs::copy_options::overwrite_existing);
    const pid_t child = Start(FixArguments(file));
    std::this_thread::sleep_for(milliseconds(30 + random() % static_cast<unsigned>(length.count())));
    kill(child, signal);
    const auto asked = Clock::now();
    const int status = Wait(child);
    EXPECT_LT(Clock::now() - asked, milliseconds(3000));
    const std::string err = Written("err");
    if (status == 1000 + signal) {
      // Before the run, or after its end.
      const std::string out = Written("out");
      EXPECT_TRUE(out.empty() || out.find(" fixes run, ") != std::string::npos) << out;
    } else if (status != whole) {
      EXPECT_EQ(status, 128 + signal) << err;
      EXPECT_THAT(err, ::testing::HasSubstr("interrupted"));
      if (const std::string out = Written("out"); !out.empty()) {  // else while the file was being opened
        ++interrupted;
        EXPECT_THAT(err, ::testing::HasSubstr("No history was written."));
        EXPECT_THAT(out, ::testing::HasSubstr(file + ": ended early, "));
      }
    }
    EXPECT_EQ(Wait(Start({"check", file})), 0) << Written("out");
    EXPECT_EQ(Wait(Start(FixArguments(file))), whole) << Written("err");
  }
  EXPECT_GT(interrupted, 2);
}

// Nobody reads any more, or the disk is full: only the latter is told.
TEST_F(SignalTest, APipeThatIsLeftIsNoFaultAndAFullDiskIsOne) {
  const std::string file = At("s/notices.mdb");
  const std::vector<std::vector<std::string>> commands = {
      {"export", file, "assgn"}, {"diff", file, file}, {"sql", file, "select * from grp"}, {"list"}};
  for (const auto& command : commands) {
    for (const bool is_piped : {true, false}) {
      int ends[2];
      ASSERT_EQ(pipe(ends), 0);
      close(ends[0]);
      const int out = is_piped ? ends[1] : open("/dev/full", O_WRONLY);
      const int status = Wait(Start(command, out));
      const std::string err = Written("err");
      if (is_piped) {
        EXPECT_TRUE(status == 4 || status == 1000 + SIGPIPE) << status;
        EXPECT_EQ(err, "");
      } else {
        EXPECT_EQ(status, 4);
        EXPECT_EQ(err, "vntfix: the output could not be written.\n");
        close(out);
      }
      close(ends[1]);
    }
  }
}

// The second one does not wait.
TEST_F(SignalTest, TwiceEndsAtOnce) {
  const std::string file = At("s/notices.mdb");
  const pid_t child = Start(FixArguments(file));
  while (Written("out").empty()) std::this_thread::sleep_for(milliseconds(1));
  kill(child, SIGSTOP);
  kill(child, SIGINT);
  kill(child, SIGTERM);
  kill(child, SIGCONT);
  const int status = Wait(child);
  // Both wait when it goes on: the first of them to be taken lets the other one end the process.
  EXPECT_TRUE(status == 1000 + SIGTERM || status == 1000 + SIGINT) << status;
  EXPECT_EQ(Wait(Start({"check", file})), 0) << Written("out");
}

TEST_F(SignalTest, EndOtherCommands) {
  const std::string file = At("s/notices.mdb");
  const std::vector<std::string> count = {"sql", file, "--csv",
                                          "select count(*) as n from assgn where freq_mhz = -1"};
  EXPECT_EQ(Wait(Start(count)), 0);
  const std::string before = Written("out");
  const std::string condition = "a.freq_mhz + b.freq_mhz + c.freq_mhz = 1";
  const std::string slow =
      "update assgn set freq_mhz = -1 where exists (select a.seq_no from assgn a, assgn b, assgn c where " +
      condition + ")";
  for (const std::string& statement :
       {slow, "select count(*) from assgn a, assgn b, assgn c where " + condition}) {
    const pid_t child = Start({"sql", file, statement});
    std::this_thread::sleep_for(milliseconds(400));
    kill(child, SIGTERM);
    const auto asked = Clock::now();
    EXPECT_EQ(Wait(child), 128 + SIGTERM) << Written("err");
    EXPECT_LT(Clock::now() - asked, milliseconds(3000));
  }
  EXPECT_EQ(Wait(Start(count)), 0);
  EXPECT_EQ(Written("out"), before);
  EXPECT_EQ(Wait(Start({"check", file})), 0);
}

// It is interrupted, or killed, at moments that differ from run to run: the rows are there, the file is
// sound, and the next one completes.
TEST_F(SignalTest, EndCompact) {
  fs::copy_file(At("s/notices.mdb"), At("whole.mdb"));
  Wait(Start({"sql", At("whole.mdb"), "DELETE FROM freq", "DELETE FROM provn"}));
  const std::vector<std::string> rows = {"export", At("notices.mdb"), "assgn"};
  fs::copy_file(At("whole.mdb"), At("notices.mdb"));
  EXPECT_EQ(Wait(Start(rows)), 0);
  const std::string before = Written("out");
  const auto start = Clock::now();
  EXPECT_EQ(Wait(Start({"compact", At("notices.mdb")})), 0);
  const auto length = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
  const std::random_device::result_type seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  int ended = 0;
  for (int round = 0; round < 20; ++round) {
    const int signal = std::array{SIGINT, SIGKILL}[static_cast<std::size_t>(round % 2)];
    fs::copy_file(At("whole.mdb"), At("notices.mdb"), fs::copy_options::overwrite_existing);
    const pid_t child = Start({"compact", At("notices.mdb")});
    std::this_thread::sleep_for(milliseconds(random() % static_cast<unsigned>(length.count())));
    kill(child, signal);
    const int status = Wait(child);
    if (status == 128 + signal) {
      EXPECT_THAT(Written("err"), ::testing::HasSubstr("interrupted"));
    }
    EXPECT_TRUE(status == 0 || status == 128 + signal || status == 1000 + signal) << status;
    ended += status != 0 ? 1 : 0;
    EXPECT_EQ(Wait(Start({"check", At("notices.mdb")})), 0) << Written("out");
    EXPECT_EQ(Wait(Start({"compact", At("notices.mdb")})), 0) << Written("err");
    EXPECT_EQ(Wait(Start({"check", At("notices.mdb")})), 0) << Written("out");
    EXPECT_EQ(Wait(Start(rows)), 0);
    EXPECT_EQ(Written("out"), before);
    EXPECT_FALSE(fs::exists(At("notices.mdb-vntjournal")));
  }
  EXPECT_GT(ended, 5);
}

// Past the size that a file may have here: a failure like a full disk, with its message.
class LimitedFileSize {
 public:
  explicit LimitedFileSize(rlim_t bytes) {
    EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &former_), 0);
    const rlimit limit = {bytes, former_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~LimitedFileSize() { setrlimit(RLIMIT_FSIZE, &former_); }
  LimitedFileSize(const LimitedFileSize&) = delete;
  LimitedFileSize& operator=(const LimitedFileSize&) = delete;

 private:
  rlimit former_{};
};

TEST_F(SignalTest, OfAFileThatIsTooLargeDoesNotEndARun) {
  const std::string file = At("s/notices.mdb");
  for (const rlim_t size : {rlim_t{200000}, static_cast<rlim_t>(fs::file_size(file)) / 2}) {
    pid_t child = 0;
    {
      const LimitedFileSize limit(size);
      child = Start(FixArguments(file));
    }
    EXPECT_EQ(Wait(child), 1);
    EXPECT_THAT(Written("err"), ::testing::HasSubstr("File too large"));
    EXPECT_EQ(Wait(Start({"check", file})), 0) << Written("out");
  }
}

// Whether the journal, the new file or the grown one is what does not fit.
TEST_F(SignalTest, OfAFileThatIsTooLargeLeavesTheTargetOfACopyAsItWas) {
  const std::string from = At("s/notices.mdb");
  const std::string before = Written("s/reference.mdb");
  for (const char* name : {"s/reference.mdb", "made.mdb"}) {
    const std::string to = At(name);
    const bool is_new = !fs::exists(to);
    int refused = 0;
    for (rlim_t size = 50000;; size += size / 3) {
      SCOPED_TRACE(to + " " + std::to_string(size));
      pid_t child = 0;
      {
        const LimitedFileSize limit(size);
        child = Start({"copy", from, to});
      }
      const int status = Wait(child);
      if (status == 0) break;
      if (status == 1) {
        // All of it waits in the journal.
        ASSERT_EQ(Wait(Start({"diff", from, to})), is_new ? 0 : 1) << Written("out");
        ASSERT_THAT(Written("out"), ::testing::Not(::testing::HasSubstr("removed")));
        fs::remove(to + "-vntjournal");
        if (is_new) fs::remove(to);
        continue;
      }
      ++refused;
      ASSERT_EQ(status, 3) << Written("err");
      ASSERT_FALSE(fs::exists(to + "-vntjournal"));
      ASSERT_EQ(Written(name), is_new ? "" : before);
      ASSERT_EQ(fs::exists(to), !is_new);
    }
    EXPECT_GT(refused, 2);
    EXPECT_EQ(Wait(Start({"check", to})), 0) << Written("out");
  }
}

}  // namespace
}  // namespace vnt::cli
