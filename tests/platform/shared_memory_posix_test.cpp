// What stands in the machine's shared memory under a name, and what others can do with it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "platform/posix/shared_memory.h"
#include "platform/shared_block.h"
#include "support/child_process.h"

namespace sc3xxmon::platform {
namespace {

namespace fs = std::filesystem;

class SharedMemoryTest : public ::testing::Test {
 protected:
  test::UniqueWord word;
  std::wstring name = word.Text() + L"block";
  fs::path path = SharedMemoryPath(name);
};

TEST_F(SharedMemoryTest, ANewBlockIsZero) {
  const SharedBlock block = OpenSharedBlock(name, 1048);
  ASSERT_NE(block.view, nullptr);
  const std::string zeros(1048, '\0');
  EXPECT_EQ(std::memcmp(block.view, zeros.data(), zeros.size()), 0);
  CloseSharedBlock(block, 1048);
}

TEST_F(SharedMemoryTest, OneNameIsOneBlock) {
  const SharedBlock one = OpenSharedBlock(name, 1048);
  const SharedBlock two = OpenSharedBlock(name, 1048);
  ASSERT_NE(two.view, nullptr);
  EXPECT_NE(one.view, two.view);
  *static_cast<char*>(one.view) = 'x';
  EXPECT_EQ(*static_cast<char*>(two.view), 'x');
}

TEST_F(SharedMemoryTest, ABlockThatACrashLeftBehindIsBegunAnew) {
  {
    test::ChildProcess child([this](test::ProcessChannel& parent) {
      *static_cast<char*>(OpenSharedBlock(name, 1048).view) = 'x';
      parent.Tell('d');
      parent.Hear();
    });
    ASSERT_EQ(child.Channel().Hear(), 'd');
  }
  ASSERT_TRUE(fs::exists(path));
  const SharedBlock block = OpenSharedBlock(name, 1048);
  ASSERT_NE(block.view, nullptr);
  EXPECT_EQ(*static_cast<char*>(block.view), '\0');
}

TEST_F(SharedMemoryTest, OnlyThisUserHasAccess) {
  OpenSharedBlock(name, 1048);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(SharedMemoryTest, ALinkInItsPlaceIsRefused) {
  const fs::path target = fs::temp_directory_path() / ("sc3xxmon-target-" + std::to_string(test::ProcessId()));
  std::ofstream(target) << "text";
  fs::create_symlink(target, path);
  EXPECT_EQ(OpenSharedBlock(name, 1048).view, nullptr);
  EXPECT_EQ(fs::file_size(target), 4U);
  fs::remove(target);
}

TEST_F(SharedMemoryTest, AnotherUsersFileIsRefused) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a file to another user";
  }
  std::ofstream(path) << std::string(2000, 'x');
  constexpr uid_t kNobody = 65534;
  ASSERT_EQ(chown(path.c_str(), kNobody, static_cast<gid_t>(-1)), 0);
  EXPECT_EQ(OpenSharedBlock(name, 1048).view, nullptr);
  EXPECT_EQ(fs::file_size(path), 2000U);
}

TEST_F(SharedMemoryTest, AFolderInItsPlaceIsRefused) {
  fs::create_directory(path);
  EXPECT_EQ(OpenSharedBlock(name, 1048).view, nullptr);
}

}  // namespace
}  // namespace sc3xxmon::platform
