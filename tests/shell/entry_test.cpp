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
    return RunMorvane();
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
