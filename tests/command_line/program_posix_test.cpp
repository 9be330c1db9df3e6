// The program itself, as a shell starts it: exit codes, Ctrl-C, closed pipes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

extern char** environ;

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;

const std::string kSample = std::string(SC3XXMON_SOURCE_DIR) + "/samples/address-label.kpl";

// A child process with its standard output on a pipe.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    output_ = ends[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    posix_spawn_file_actions_addclose(&actions, ends[1]);
    arguments.insert(arguments.begin(), SC3XX_PROGRAM);
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
      pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    EXPECT_EQ(posix_spawn(&process_, SC3XX_PROGRAM, &actions, nullptr, pointers.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
  }
  ~Program() {
    CloseOutput();
    if (process_ > 0) {
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
    }
  }

  // Reads until `words` have come out; false when the output ends without them.
  bool WaitFor(const std::string& words) {
    char bytes[256];
    while (text.find(words) == std::string::npos) {
      const ssize_t count = read(output_, bytes, sizeof(bytes));
      if (count <= 0) {
        return false;
      }
      text.append(bytes, static_cast<std::size_t>(count));
    }
    return true;
  }

  void Interrupt() const { kill(process_, SIGINT); }

  void CloseOutput() {
    if (output_ >= 0) {
      close(output_);
      output_ = -1;
    }
  }

  // The exit code, or minus the signal that ended it.
  int Wait() {
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  std::string text;

 private:
  pid_t process_ = -1;
  int output_ = -1;
};

TEST(ProgramTest, PrintsAndExitsWithZero) {
  Program program({"print", kSample});
  EXPECT_TRUE(program.WaitFor("Printed 1 label")) << program.text;
  EXPECT_EQ(program.Wait(), 0);
}

TEST(ProgramTest, WrongUseExitsWithTwo) {
  Program program({"print", kSample, "--model", "none"});
  EXPECT_EQ(program.Wait(), 2);
}

TEST(ProgramTest, ADeviceThatIsNotThereExitsWithOne) {
  Program program({"print", kSample, "--port", "usb:/dev/usb/no-such-printer"});
  EXPECT_EQ(program.Wait(), 1);
}

TEST(ProgramTest, CtrlCDeletesAJobThatWaitsForLabelsAndExitsWithThree) {
  Program program({"print", kSample, "--fault", "bay=2"});
  ASSERT_TRUE(program.WaitFor("Out of labels")) << program.text;
  program.Interrupt();
  EXPECT_TRUE(program.WaitFor("Deleted, with 0 of 1 label")) << program.text;
  EXPECT_EQ(program.Wait(), 3);
}

TEST(ProgramTest, ASecondCtrlCLeavesAtOnce) {
  Program program({"print", kSample, "--speed", "0.01"});  // the label takes hours
  ASSERT_TRUE(program.WaitFor("1 label")) << program.text;
  program.Interrupt();
  ASSERT_TRUE(program.WaitFor("deleting the job")) << program.text;
  program.Interrupt();
  EXPECT_EQ(program.Wait(), 130);
}

TEST(ProgramTest, AReaderThatGoesAwayDoesNotEndTheJob) {
  const fs::path folder =
      fs::path(::testing::TempDir()) / ("sc3xx_program_" + std::to_string(static_cast<long>(getpid())));
  Program program({"print", kSample, "--out", folder.string()});
  program.CloseOutput();
  EXPECT_EQ(program.Wait(), 0);
  EXPECT_TRUE(fs::exists(folder / "label-001.png"));
  fs::remove_all(folder);
}

}  // namespace
}  // namespace sc3xx::test
