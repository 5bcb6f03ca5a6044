#include "base/board_locks.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <set>
#include <string>
#include <utility>

#include "base/paths.h"
#include "child_process.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

class BoardLocksTest : public testing::Test {
 protected:
  void SetUp() override { setenv("MORVANE_LOCKS", folder_.c_str(), 1); }

  // Whether somebody holds the machine-wide semaphore `name`.
  static bool IsTaken(const char* name) {
    NxHandle semaphore = NxCreateSemaphore(1, 1, name);
    const bool taken = NxWait(semaphore, 0) != NxErrSuccess;
    NxCloseHandle(semaphore);
    return taken;
  }

  // Writes down what happens: "+SornCard0" taken, "?" refused, "-" given back, "x" closed.
  void Record(BoardLocks* locks) {
    locks->Watch([this](const std::string& name, BoardLockStep step) {
      constexpr char kSigns[] = {'+', '?', '-', 'x'};
      steps_ += std::string(1, kSigns[static_cast<size_t>(step)]) + name + " ";
    });
  }
  std::string TakeSteps() { return std::exchange(steps_, {}); }

  std::string folder_ = test::FreshFolder("locks");
  std::string steps_;
};

TEST_F(BoardLocksTest, MakesThreeFamiliesOfEight) {
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
    files.insert(entry.path().filename());
  }
  std::set<std::string> expected;
  for (int i = 0; i < 8; ++i) {
    for (const char* family : {"SornCard", "SornAudio", "SornControl"}) {
      expected.insert("morvane-" + (family + std::to_string(i)));
    }
  }
  EXPECT_EQ(files, expected);
}

TEST_F(BoardLocksTest, TakesAndGivesBackAllThree) {
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  EXPECT_FALSE(locks.IsHeld(3));
  EXPECT_EQ(locks.Acquire(3), NxErrSuccess);
  EXPECT_TRUE(locks.IsHeld(3));
  for (const char* name : {"SornCard3", "SornControl3", "SornAudio3"}) EXPECT_TRUE(IsTaken(name));
  EXPECT_FALSE(IsTaken("SornCard2"));
  EXPECT_EQ(locks.Acquire(3), NxErrSuccess);  // again: nothing happens
  locks.Release(3);
  EXPECT_FALSE(locks.IsHeld(3));
  for (const char* name : {"SornCard3", "SornControl3", "SornAudio3"}) EXPECT_FALSE(IsTaken(name));
  locks.Release(3);
}

TEST_F(BoardLocksTest, TheOrderIsCardControlAudioAndBackwards) {
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  Record(&locks);
  EXPECT_EQ(locks.Acquire(3), NxErrSuccess);
  EXPECT_EQ(TakeSteps(), "+SornCard3 +SornControl3 +SornAudio3 ");
  locks.Release(3);
  EXPECT_EQ(TakeSteps(), "-SornAudio3 -SornControl3 -SornCard3 ");
  EXPECT_EQ(locks.Acquire(3, false, true), NxErrSuccess);
  EXPECT_EQ(TakeSteps(), "+SornCard3 +SornAudio3 ");
  locks.Release(3);
  EXPECT_EQ(TakeSteps(), "-SornAudio3 -SornCard3 ");
}

TEST_F(BoardLocksTest, ARefusalGivesBackWhatWasTakenAndNothingMore) {
  const struct {
    const char* busy;
    const char* steps;
  } kRows[] = {
      {"SornCard3", "?SornCard3 "},
      {"SornControl3", "+SornCard3 ?SornControl3 -SornCard3 "},
      {"SornAudio3", "+SornCard3 +SornControl3 ?SornAudio3 -SornControl3 -SornCard3 "},
  };
  for (const auto& row : kRows) {
    NxHandle holder = NxCreateSemaphore(1, 1, row.busy);
    ASSERT_EQ(NxWait(holder, 0), NxErrSuccess);
    BoardLocks locks;
    ASSERT_TRUE(locks.Create());
    Record(&locks);
    TakeSteps();
    EXPECT_EQ(locks.Acquire(3), NxErrBoardBusy);
    EXPECT_EQ(TakeSteps(), row.steps);
    for (const char* name : {"SornCard3", "SornControl3", "SornAudio3"}) {
      EXPECT_EQ(IsTaken(name), std::string(name) == row.busy) << name;
    }
    // No flag is left: there is nothing to give back.
    locks.Release(3);
    EXPECT_EQ(TakeSteps(), "");
    NxCloseHandle(holder);
  }
}

TEST_F(BoardLocksTest, ClosesControlThenAudioThenCard) {
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  Record(&locks);
  locks.Close();
  std::string expected;
  for (const char* family : {"SornControl", "SornAudio", "SornCard"}) {
    for (int i = 0; i < 8; ++i) expected += std::string("x") + family + std::to_string(i) + " ";
  }
  EXPECT_EQ(TakeSteps(), expected);
  locks.Close();
  EXPECT_EQ(TakeSteps(), "");
}

TEST_F(BoardLocksTest, SecondCopyFindsTheBoardBusy) {
  BoardLocks first;
  BoardLocks second;
  ASSERT_TRUE(first.Create());
  ASSERT_TRUE(second.Create());
  EXPECT_EQ(first.Acquire(0), NxErrSuccess);
  EXPECT_EQ(second.Acquire(0), NxErrBoardBusy);
  EXPECT_FALSE(second.IsHeld(0));
  EXPECT_EQ(second.Acquire(1), NxErrSuccess);
  second.Release(0);  // not its own: nothing happens
  EXPECT_EQ(second.Acquire(0), NxErrBoardBusy);
  first.Release(0);
  EXPECT_EQ(second.Acquire(0), NxErrSuccess);
}

TEST_F(BoardLocksTest, OneBusyFamilyGivesTheOthersBack) {
  for (const char* busy : {"SornControl5", "SornAudio5"}) {
    NxHandle holder = NxCreateSemaphore(1, 1, busy);
    ASSERT_EQ(NxWait(holder, 0), NxErrSuccess);
    BoardLocks locks;
    ASSERT_TRUE(locks.Create());
    EXPECT_EQ(locks.Acquire(5), NxErrBoardBusy);
    EXPECT_FALSE(IsTaken("SornCard5"));
    EXPECT_TRUE(IsTaken(busy));
    NxCloseHandle(holder);
    EXPECT_EQ(locks.Acquire(5), NxErrSuccess);
  }
}

TEST_F(BoardLocksTest, LeavesAloneWhatTheBoardHasNot) {
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  EXPECT_EQ(locks.Acquire(1, false, true), NxErrSuccess);
  EXPECT_TRUE(IsTaken("SornCard1"));
  EXPECT_FALSE(IsTaken("SornControl1"));
  EXPECT_TRUE(IsTaken("SornAudio1"));
  locks.Release(1);
  EXPECT_EQ(locks.Acquire(1, true, false), NxErrSuccess);
  EXPECT_TRUE(IsTaken("SornControl1"));
  EXPECT_FALSE(IsTaken("SornAudio1"));
}

TEST_F(BoardLocksTest, ClosedLocksAreFreeAndCanBeMadeAgain) {
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  EXPECT_EQ(locks.Acquire(1), NxErrSuccess);
  locks.Close();
  EXPECT_FALSE(locks.IsHeld(1));
  EXPECT_FALSE(IsTaken("SornCard1"));
  EXPECT_EQ(locks.Acquire(1), NxErrBoardBusy);
  ASSERT_TRUE(locks.Create());
  EXPECT_EQ(locks.Acquire(1), NxErrSuccess);
}

TEST_F(BoardLocksTest, DestructorGivesBack) {
  {
    BoardLocks locks;
    ASSERT_TRUE(locks.Create());
    ASSERT_EQ(locks.Acquire(7), NxErrSuccess);
  }
  EXPECT_FALSE(IsTaken("SornCard7"));
}

TEST_F(BoardLocksTest, HolderThatWasKilledFreesTheBoard) {
  test::ChildProcess other({"hold", "SornCard3"});
  ASSERT_EQ(other.ReadLine(), "0");
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  EXPECT_EQ(locks.Acquire(3), NxErrBoardBusy);
  other.Kill();
  other.Wait();
  EXPECT_EQ(locks.Acquire(3), NxErrSuccess);
}

TEST_F(BoardLocksTest, WithoutAFolderForItsFilesNothingCanBeHeld) {
  setenv("MORVANE_LOCKS", (folder_ + "/none").c_str(), 1);
  BoardLocks locks;
  EXPECT_FALSE(locks.Create());
  EXPECT_EQ(locks.Acquire(0), NxErrBoardBusy);
  locks.Release(0);
}

TEST_F(BoardLocksTest, IndexOutsideIsRefused) {
  BoardLocks locks;
  ASSERT_TRUE(locks.Create());
  for (const int index : {-1, 8}) {
    EXPECT_EQ(locks.Acquire(index), NxErrFailure);
    EXPECT_FALSE(locks.IsHeld(index));
    locks.Release(index);
  }
}

}  // namespace
}  // namespace morvane
