#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>

#include <fstream>
#include <sstream>

#include "desktop.h"
#include "support/test_environment.h"

// Who has the board, between the application and other programs on the same screen.
namespace morvane::test {
namespace {

class BoardsDesktopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("MORVANE_SETTINGS", (FreshFolder("settings") + "/settings.db").c_str(), 1);
    ASSERT_TRUE(desktop.Stands());
  }

  static bool Says(MorvaneProgram& program, const std::string& member, const std::string& text) {
    return Eventually([&] { return program.Control(member)["text"] == text; });
  }
  // Until this program has the keyboard again.
  bool GiveKeyboardTo(const Program& program) {
    return Eventually([&] {
      desktop.Do("windowfocus " + program.Window());
      return program.HasKeyboard();
    });
  }
  static void ShowTab(MorvaneProgram& program, const char* tab) {
    program.ClickOn(tab);
    ASSERT_TRUE(Eventually([&] { return program.Control(tab)["checked"] == 1; }))
        << program.Describe();
  }
  // One board whose driver writes down what it is asked.
  std::string TracedMachine() const {
    return WriteMachine("trace = \"" + trace + "\"\n[[card]]\nboard = \"Elm\"\n");
  }
  // How many requests were made, and how many of them set anything.
  [[nodiscard]] std::array<int, 2> Requests() const {
    std::ifstream file(trace);
    std::array<int, 2> count{};
    for (std::string line; std::getline(file, line);) {
      ++count[0];
      if (line.starts_with("set ")) ++count[1];
    }
    return count;
  }

  const std::string trace = FreshFolder("trace") + "/trace.txt";
  Desktop desktop{1280, 1024};
};

TEST_F(BoardsDesktopTest, TheBoardIsLentWhileAnotherProgramHasTheKeyboard) {
  MorvaneProgram program(desktop, "first");
  ASSERT_TRUE(program.Started()) << program.Describe();
  EXPECT_TRUE(Eventually([&] { return program.HasKeyboard(); })) << program.Describe();
  EXPECT_TRUE(program.Holds("SornCard0")) << program.Describe();
  {
    // Another program: a second copy that has nothing to do with the first one's boards.
    MorvaneProgram other(desktop, "second", {{"MORVANE_LOCKS", FreshFolder("elsewhere")}});
    ASSERT_TRUE(other.Started()) << other.Describe();
    EXPECT_TRUE(Eventually([&] { return other.HasKeyboard(); })) << other.Describe();
    EXPECT_TRUE(other.Holds("SornCard0")) << other.Describe();
    EXPECT_TRUE(Eventually([&] { return !program.Holds("SornCard0"); })) << program.Describe();
    EXPECT_TRUE(LockIsFree("SornCard0"));
    EXPECT_TRUE(LockIsFree("SornControl0"));
    EXPECT_TRUE(LockIsFree("SornAudio0"));
  }
  ASSERT_TRUE(GiveKeyboardTo(program)) << program.Describe();
  EXPECT_TRUE(Eventually([&] { return program.Holds("SornCard0"); })) << program.Describe();
  EXPECT_TRUE(Says(program, "activity", "Active")) << program.Describe();
}

TEST_F(BoardsDesktopTest, ABoardInManualIsKeptWhileAnotherProgramHasTheKeyboard) {
  MorvaneProgram program(desktop, "manual");
  ASSERT_TRUE(program.Started()) << program.Describe();
  ShowTab(program, "setupTab");
  const size_t windows = program.Windows().size();
  program.ClickOn("activationMode");
  ASSERT_TRUE(Eventually([&] { return program.Windows().size() > windows; })) << "no list";
  desktop.Do("key Down key Return");
  ASSERT_TRUE(Eventually([&] { return program.Control("activationMode")["selected"] == 1; }))
      << program.Describe();

  const Program other(desktop, MORVANE_PROBE);
  ASSERT_TRUE(Eventually([&] { return other.HasKeyboard(); }));
  ASSERT_TRUE(Eventually([&] { return program.Dump()["active"] == false; })) << program.Describe();
  for (const char* family : {"SornCard0", "SornControl0", "SornAudio0"}) {
    EXPECT_TRUE(program.Holds(family)) << program.Describe();
  }
  EXPECT_EQ("Active", program.Control("boardStatus")["text"]) << program.Describe();
}

TEST_F(BoardsDesktopTest, ABoardThatIsHeldElsewhereIsLeftAlone) {
  auto elsewhere = std::make_unique<OutsideLock>("SornCard0");
  ASSERT_TRUE(elsewhere->Taken());
  MorvaneProgram program(desktop, "without", {{"MORVANE_MACHINE", TracedMachine()}});
  ASSERT_TRUE(program.Started()) << program.Describe();
  EXPECT_EQ("Not Active", program.Control("activity")["text"]) << program.Describe();
  ShowTab(program, "captureTab");
  ShowTab(program, "setupTab");
  EXPECT_TRUE(Says(program, "boardStatus", "Not Active")) << program.Describe();
  // It was looked at, and nothing else.
  EXPECT_GT(Requests()[0], 0);
  EXPECT_EQ(0, Requests()[1]);

  // Free, it is taken with the next gain of the keyboard, and then it is written to.
  elsewhere.reset();
  {
    const Program other(desktop, MORVANE_PROBE);
    ASSERT_TRUE(Eventually([&] { return other.HasKeyboard(); }));
    ASSERT_TRUE(Eventually([&] { return program.Dump()["active"] == false; }));
  }
  ASSERT_TRUE(GiveKeyboardTo(program)) << program.Describe();
  EXPECT_TRUE(Says(program, "boardStatus", "Active")) << program.Describe();
  EXPECT_GT(Requests()[1], 0);
}

TEST_F(BoardsDesktopTest, WithItsSoundHeldElsewhereABoardIsGivenBackWhole) {
  const OutsideLock elsewhere("SornAudio0");
  ASSERT_TRUE(elsewhere.Taken());
  MorvaneProgram program(desktop, "silent", {{"MORVANE_MACHINE", TracedMachine()}});
  ASSERT_TRUE(program.Started()) << program.Describe();
  ShowTab(program, "setupTab");
  EXPECT_TRUE(Says(program, "boardStatus", "Not Active")) << program.Describe();
  EXPECT_TRUE(LockIsFree("SornCard0"));
  EXPECT_TRUE(LockIsFree("SornControl0"));
  EXPECT_GT(Requests()[0], 0);
  EXPECT_EQ(0, Requests()[1]);
}

TEST_F(BoardsDesktopTest, AKilledProgramLeavesItsBoardToTheNext) {
  {
    MorvaneProgram program(desktop, "killed");
    ASSERT_TRUE(program.Started()) << program.Describe();
    EXPECT_TRUE(program.Holds("SornCard0")) << program.Describe();
    program.Signal(SIGKILL);
    EXPECT_EQ(-SIGKILL, program.Wait());
  }
  EXPECT_TRUE(LockIsFree("SornCard0"));
  MorvaneProgram next(desktop, "next");
  ASSERT_TRUE(next.Started()) << next.Describe();
  EXPECT_TRUE(next.Holds("SornCard0")) << next.Describe();
}

// The number of the row that was written last.
int LastRow() {
  sqlite3* database = nullptr;
  sqlite3_stmt* rows = nullptr;
  int last = -1;
  constexpr int kPatienceMs = 10000;
  if (sqlite3_open_v2(getenv("MORVANE_SETTINGS"), &database, SQLITE_OPEN_READONLY, nullptr) ==
      SQLITE_OK) {
    sqlite3_busy_timeout(database, kPatienceMs);
    sqlite3_prepare_v2(database, "SELECT max(rowid) FROM settings", -1, &rows, nullptr);
    if (sqlite3_step(rows) == SQLITE_ROW) last = sqlite3_column_int(rows, 0);
    sqlite3_finalize(rows);
  }
  sqlite3_close(database);
  return last;
}

TEST_F(BoardsDesktopTest, TheCloseButtonSavesAndGivesEverythingBack) {
  MorvaneProgram program(desktop, "closed");
  ASSERT_TRUE(program.Started()) << program.Describe();
  ShowTab(program, "captureTab");  // whose settings are saved, too
  EXPECT_TRUE(Says(program, "activity", "Active")) << program.Describe();
  const int before = LastRow();
  program.ClickOn("closeButton");
  EXPECT_EQ(0, program.Wait());
  EXPECT_GT(LastRow(), std::max(before, 0));
  for (int board = 0; board < 8; ++board) {
    for (const char* family : {"SornCard", "SornAudio", "SornControl"}) {
      EXPECT_TRUE(LockIsFree(family + std::to_string(board)));
    }
  }
}

}  // namespace
}  // namespace morvane::test
