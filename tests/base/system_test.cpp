#include "base/system.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "child_process.h"
#include "support/test_environment.h"
#include "thread_facts.h"

namespace morvane {
namespace {

TEST(Folder, IsMadeOnce) {
  const std::string path = test::FreshFolder("folder") + "/clip";
  EXPECT_EQ(NxCreateFolder(path.c_str()), NxErrSuccess);
  EXPECT_TRUE(std::filesystem::is_directory(path));
  EXPECT_EQ(NxCreateFolder(path.c_str()), NxErrFailure);
}

TEST(Folder, IsNotMadeWithoutItsParent) {
  const std::string path = test::FreshFolder("folder") + "/no/clip";
  EXPECT_EQ(NxCreateFolder(path.c_str()), NxErrFailure);
}

TEST(Folder, IsRemovedOnlyWhenEmpty) {
  const std::string path = test::FreshFolder("folder") + "/clip";
  ASSERT_EQ(NxCreateFolder(path.c_str()), NxErrSuccess);
  ASSERT_EQ(NxCreateFolder((path + "/inside").c_str()), NxErrSuccess);
  EXPECT_EQ(NxRemoveFolder(path.c_str()), NxErrFailure);
  EXPECT_TRUE(std::filesystem::exists(path + "/inside"));
  EXPECT_EQ(NxRemoveFolder((path + "/inside").c_str()), NxErrSuccess);
  EXPECT_EQ(NxRemoveFolder(path.c_str()), NxErrSuccess);
  EXPECT_EQ(NxRemoveFolder(path.c_str()), NxErrFailure);
}

class FileSize : public testing::Test {
 protected:
  void SetUp() override {
    const std::string path = test::FreshFolder("size") + "/file";
    descriptor_ = open(path.c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_GE(descriptor_, 0);
  }
  void TearDown() override { close(descriptor_); }
  int descriptor_ = -1;
};

TEST_F(FileSize, ComesInTwoHalves) {
  ASSERT_EQ(ftruncate(descriptor_, off_t{5} << 30), 0);  // sparse
  uint32_t high = 77;
  EXPECT_EQ(NxFileSize(descriptor_, &high), 0x40000000u);
  EXPECT_EQ(high, 1u);
  EXPECT_EQ(NxFileSize(descriptor_, nullptr), 0x40000000u);
}

TEST_F(FileSize, HighHalfIsZeroForASmallFile) {
  ASSERT_EQ(ftruncate(descriptor_, 1234), 0);
  uint32_t high = 77;
  EXPECT_EQ(NxFileSize(descriptor_, &high), 1234u);
  EXPECT_EQ(high, 0u);
}

TEST_F(FileSize, FailureIsAllOnesAndLeavesTheHighHalf) {
  uint32_t high = 77;
  EXPECT_EQ(NxFileSize(-1, &high), 0xFFFFFFFFu);
  EXPECT_EQ(high, 77u);
}

TEST(ModulePath, IsTheExecutable) {
  char path[4096];
  ASSERT_EQ(NxModulePath(path, sizeof path), NxErrSuccess);
  EXPECT_EQ(std::string(path), std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST(ModulePath, NeedsRoomForItsTerminator) {
  char whole[4096];
  ASSERT_EQ(NxModulePath(whole, sizeof whole), NxErrSuccess);
  const size_t length = std::strlen(whole);
  std::vector<char> path(length + 2, 'x');
  EXPECT_EQ(NxModulePath(path.data(), length), NxErrFailure);
  EXPECT_EQ(path[length], 'x');
  EXPECT_EQ(NxModulePath(path.data(), length + 1), NxErrSuccess);
  EXPECT_STREQ(path.data(), whole);
  EXPECT_EQ(path[length + 1], 'x');
  EXPECT_EQ(NxModulePath(path.data(), 0), NxErrFailure);
}

TEST(Screen, IsNoneUntilTheProgramTellsIt) {
  EXPECT_EQ(NxScreenWidth(), 0u);
  EXPECT_EQ(NxScreenHeight(), 0u);
  NxSetScreenSize(1280, 1024);
  EXPECT_EQ(NxScreenWidth(), 1280u);
  EXPECT_EQ(NxScreenHeight(), 1024u);
  NxSetScreenSize(0, 0);
}

TEST(Processors, AreThoseThatTheProcessMayRunOn) {
  const std::string all = test::ProcessorsOfCaller();
  const int count = static_cast<int>(NxProcessorCount());
  EXPECT_GE(count, 1);
  EXPECT_NE(test::OneProcessor(all, count - 1), "none");
  EXPECT_EQ(test::OneProcessor(all, count), "none");
}

TEST(Processors, ArePositionsInTheSetThatTheProcessStartedWith) {
  const std::string second = test::OneProcessor(test::ProcessorsOfCaller(), 1);
  if (second == "none") GTEST_SKIP() << "needs two processors";
  test::ChildProcess child({"processors"}, {"taskset", "-c", second});
  // One processor; mask 1 is that one; a mask outside the set leaves the whole set.
  EXPECT_EQ(child.ReadLine(), "1 " + second + ", " + second + ",");
  EXPECT_EQ(child.Wait(), 0);
}

}  // namespace
}  // namespace morvane
