#include "shell/entry.h"

#include <filesystem>
#include <functional>
#include <set>

#include "base/paths.h"
#include "shell_fixture.h"

namespace morvane::test {
namespace {

TEST(ModulePath, LosesTwelveCharactersAndNoMore) {
  EXPECT_EQ("C:\\prog", CutModulePath("C:\\prog\\Morvane.exe"));
  EXPECT_EQ("/opt/morvane/bin", CutModulePath("/opt/morvane/bin/morvane-gui"));
  EXPECT_EQ("123456789012", CutModulePath("123456789012"));
  EXPECT_EQ("1", CutModulePath("1234567890123"));
  EXPECT_EQ("", CutModulePath(""));
}

TEST(ModulePath, ThatCannotBeHadIsTheRoot) {
  EXPECT_EQ("/", ModuleFolderOf(NxErrFailure, ""));
  EXPECT_EQ("/", ModuleFolderOf(NxErrFailure, "/opt/morvane/bin/morvane-gui"));
  EXPECT_EQ("/opt/morvane/bin", ModuleFolderOf(NxErrSuccess, "/opt/morvane/bin/morvane-gui"));
}

TEST(ModulePath, OfThisProcessIsCutWithoutLookingForASeparator) {
  char path[4096] = {};
  ASSERT_EQ(NxErrSuccess, NxModulePath(path, sizeof(path)));
  EXPECT_EQ(std::string(path).substr(0, std::string(path).size() - 12), ModuleFolder());
}

TEST(ColorTables, AreFourMatricesAtEightBitsAndFourAtTen) {
  ProcessObjects objects;
  EXPECT_EQ(nullptr, objects.PreviewTable(8));
  BuildColorTables(&objects);
  for (int i = 0; i < kColorTables; ++i) {
    const NxColorTables* table = objects.colorTables[static_cast<size_t>(i)].get();
    ASSERT_NE(nullptr, table);
    EXPECT_EQ(i % 4, table->matrix);
    EXPECT_EQ(i < 4 ? 8 : 10, table->bits);
    EXPECT_NE(nullptr, table->yToR);
    EXPECT_EQ(nullptr, table->rToY);
  }
  EXPECT_EQ(objects.colorTables[3].get(), objects.PreviewTable(8));
  EXPECT_EQ(objects.colorTables[7].get(), objects.PreviewTable(10));
}

class EntryTest : public ShellTest {
 protected:
  // Runs the application; `meanwhile` is done in its loop.
  int Run(const std::function<void()>& meanwhile) {
    toolkit = std::make_unique<HeadlessToolkit>();
    toolkit->Later(meanwhile);
    objects = std::make_unique<ProcessObjects>();
    return RunMorvane(objects.get());
  }
};

TEST_F(EntryTest, RunsFromStartToEnd) {
  BuildMachine(kOneBoard);
  std::set<std::string> files;
  HeadlessToolkit::TopLevel top;
  bool held = false;
  const int result = Run([&] {
    for (const auto& entry : std::filesystem::directory_iterator(LockFolder())) {
      files.insert(entry.path().filename());
    }
    held = IsLocked("SornCard0");
    top = toolkit->Window();
    Click("closeButton");
  });
  EXPECT_EQ(0, result);
  std::set<std::string> expected;
  for (int i = 0; i < 8; ++i) {
    for (const char* family : {"SornCard", "SornAudio", "SornControl"}) {
      expected.insert("morvane-" + (family + std::to_string(i)));
    }
  }
  EXPECT_EQ(expected, files);
  EXPECT_TRUE(held);
  EXPECT_FALSE(IsLocked("SornCard0"));
  EXPECT_EQ(125, top.x);
  EXPECT_EQ(128, top.y);
  EXPECT_TRUE(top.started);
  EXPECT_FALSE(toolkit->Window().made);
}

// How many of the machine-wide locks this process has open, held or not.
int OpenLocks() {
  int count = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    const std::filesystem::path file = std::filesystem::read_symlink(entry.path(), error);
    count += !error && file.filename().string().starts_with("morvane-Sorn") ? 1 : 0;
  }
  return count;
}

// What the process has once is there before the toolkit and is given back when that is gone.
TEST_F(EntryTest, StartsAndEndsInOrder) {
  BuildMachine(kOneBoard);
  toolkit = std::make_unique<HeadlessToolkit>();
  objects = std::make_unique<ProcessObjects>();
  const auto tables = [&] {
    int count = 0;
    for (const auto& table : objects->colorTables) count += table != nullptr ? 1 : 0;
    return count;
  };
  const auto note = [&](const std::string& what) {
    const bool windows = !toolkit::AllWindows().empty();
    journal += what + (windows ? " windows " : " ") + std::to_string(OpenLocks()) + " " +
               std::to_string(tables()) + ", ";
  };
  toolkit->BeforeStage([&](HeadlessToolkit::Stage stage) {
    constexpr const char* kNames[] = {"init", "start", "stop", "kill"};
    note(kNames[static_cast<size_t>(stage)]);
    if (stage == HeadlessToolkit::Stage::Init) {
      EXPECT_EQ(ModuleFolder(), objects->moduleFolder);
    }
  });
  std::string closed;
  toolkit->Later([&] {
    note("loop");
    objects->locks.Watch([&](const std::string& name, BoardLockStep step) {
      if (step != BoardLockStep::Closed) return;
      closed += name + " ";
      EXPECT_FALSE(toolkit->Window().made) << name;
      EXPECT_EQ(8, tables()) << name;
    });
    Click("closeButton");
  });
  EXPECT_EQ(0, RunMorvane(objects.get()));
  note("end");
  EXPECT_EQ(
      "init 24 8, start windows 24 8, loop windows 24 8, stop windows 24 8, kill 24 8, end 0 0, ",
      TakeJournal());
  std::string expected;
  for (const char* family : {"SornControl", "SornAudio", "SornCard"}) {
    for (int i = 0; i < 8; ++i) expected += family + std::to_string(i) + " ";
  }
  EXPECT_EQ(expected, closed);
}

TEST_F(EntryTest, TheDesktopsCloseIsTheCloseButton) {
  BuildMachine(kOneBoard);
  EXPECT_EQ(0, Run([&] { toolkit->Close(); }));
}

TEST_F(EntryTest, ASecondCopyDoesNotGetTheBoard) {
  for (const bool first : {true, false}) {
    BuildMachine(kOneBoard);
    std::unique_ptr<HeldLock> other;
    if (first) other = std::make_unique<HeldLock>("SornCard0");
    std::string status;
    bool enabled = first;
    EXPECT_EQ(0, Run([&] {
                Click("setupTab");
                status = Text("boardStatus");
                enabled = Control("activationMode").IsEnabled();
                Click("closeButton");
              }));
    EXPECT_EQ(first ? "Not Active" : "Active", status);
    EXPECT_EQ(!first, enabled);
    EXPECT_EQ(first, driver->Writes() == 0);
    End();
  }
}

TEST_F(EntryTest, RunsTwiceInOneProcess) {
  BuildMachine(kOneBoard);
  EXPECT_EQ(0, Run([&] { Click("closeButton"); }));
  toolkit.reset();
  EXPECT_EQ(0, Run([&] { Click("closeButton"); }));
}

}  // namespace
}  // namespace morvane::test
