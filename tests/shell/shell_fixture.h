#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <utility>

#include "base/clock.h"
#include "base/system.h"
#include "capture/capture_engine.h"
#include "device/board_scan.h"
#include "driver_watch.h"
#include "playback/playback_engine.h"
#include "session/card2.h"
#include "shell/main_window.h"
#include "shell/process_objects.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_machine.h"
#include "support/test_environment.h"
#include "toolkit/gui.h"
#include "toolkit/headless/headless_toolkit.h"

namespace morvane::test {

inline constexpr char kOneBoard[] =
    "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\nformat = \"525 59.94\"\n";
inline constexpr char kTwoBoards[] = "[[card]]\nboard = \"Elm\"\n[[card]]\nboard = \"Elm\"\n";
inline constexpr char kNoBoard[] = "card = []\n";

// A lock as another program holds it.
class HeldLock {
 public:
  explicit HeldLock(const char* name) : handle_(NxCreateSemaphore(1, 1, name)) {
    taken_ = NxWait(handle_, 0) == NxErrSuccess;
  }
  ~HeldLock() { NxCloseHandle(handle_); }
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;
  [[nodiscard]] bool Taken() const { return taken_; }

 private:
  NxHandle handle_;
  bool taken_ = false;
};

// Whether somebody holds the machine-wide lock.
inline bool IsLocked(const char* name) {
  return !HeldLock(name).Taken();
}

// The main window over the toolkit without a screen and a simulated machine; the steps of the start
// but for the message loop.
class ShellTest : public ::testing::Test {
 protected:
  void SetUp() override {
    setenv("MORVANE_LOCKS", FreshFolder("locks").c_str(), 1);
    setenv("MORVANE_SETTINGS", (FreshFolder("settings") + "/settings.db").c_str(), 1);
  }
  void TearDown() override { End(); }

  void BuildMachine(const std::string& text) {
    MachineDescription description;
    std::string error;
    ASSERT_TRUE(ParseMachineDescription(text, "test.toml", PrivateFolder(), &description, &error))
        << error;
    machine = std::make_unique<SimulatedMachine>(description);
    machine->Install();
    driver = std::make_unique<DriverWatch>();
  }

  void Start(int screenWidth = 1280, int screenHeight = 1024) {
    toolkit = std::make_unique<HeadlessToolkit>(screenWidth, screenHeight);
    objects = std::make_unique<ProcessObjects>();
    objects->moduleFolder = FreshFolder("module");
    ASSERT_TRUE(objects->locks.Create());
    objects->locks.Watch([this](const std::string& name, BoardLockStep step) {
      constexpr char kSigns[] = {'+', '?', '-', 'x'};  // taken, refused, given back, closed
      journal += std::string(1, kSigns[static_cast<size_t>(step)]) + name + " ";
    });
    window = std::make_unique<MorvaneWnd>(objects.get());
    NXInitGUI(screenWidth / 2 - 515, screenHeight / 2 - 384, 1030, 768, nullptr, "Morvane",
              "morvaneicon.ico", nullptr, 0);
    const NxRECT rect = {0, 0, 1030, 768};
    ASSERT_EQ(NxErrSuccess, window->CreateNXWindow("morvane", 0, 1, 0, &rect, nullptr));
    NXStartGUI();
    NXDispatchGUI(false);
    if (window->Setup().IsHeld()) ChooseSmallPictures();
  }

  // The capture engine's format, so that a round of the preview is short under a sanitizer too.
  void ChooseSmallPictures() {
    CaptureEngine* engine = window->Setup().CurrentCapture();
    uint32_t index = 0;
    ASSERT_TRUE(engine->Session().FindItem(SessionFamily::VideoFormat, "720x486 @ 29.97i", &index));
    ASSERT_TRUE(engine->Session().SetItem(SessionFamily::VideoFormat, index));
    ASSERT_EQ(NxErrSuccess, engine->KeepSessionChoices());
  }

  void End() {
    if (window != nullptr) {
      NXStopGUI();
      window->DestroyNXWindow();
      NXKillGUI();
    }
    if (NxAnyThreadAbandoned()) {
      ADD_FAILURE() << "a thread did not end in time";
      (void)window.release();  // it may still be in there
      (void)objects.release();
    }
    window.reset();
    objects.reset();
    toolkit.reset();
    driver.reset();
    machine.reset();
  }

  NXWindow& Control(const char* name) {
    NXWindow* found = toolkit->Find(name);
    EXPECT_NE(nullptr, found) << name;
    return *found;
  }
  bool Click(const char* name) { return toolkit->Click(Control(name)); }
  std::string Text(const char* name) {
    char text[256] = {};
    Control(name).GetWindowNXText(text, sizeof(text));
    return text;
  }
  int Checked(const char* tab) { return static_cast<NXTabButton&>(Control(tab)).GetNXTabCheck(); }
  // "PCS": which tabs are checked; small letters are those that are not. Then who is activated and
  // whose window shows, the same way.
  std::string Tabs() {
    const auto letter = [](bool on, char c) { return on ? c : static_cast<char>(c + 32); };
    std::string text;
    text += letter(Checked("playTab") != 0, 'P');
    text += letter(Checked("captureTab") != 0, 'C');
    text += letter(Checked("setupTab") != 0, 'S');
    text += ' ';
    text += letter(window->Playback().IsActivated(), 'P');
    text += letter(window->Capture().IsActivated(), 'C');
    text += letter(window->Setup().IsActivated(), 'S');
    text += ' ';
    text += letter(window->Playback().IsVisible(), 'P');
    text += letter(window->Capture().IsVisible(), 'C');
    text += letter(window->Setup().IsVisible(), 'S');
    return text;
  }
  // What has happened in this order since the last call: board locks and, where a test adds them,
  // other things.
  std::string TakeJournal() { return std::exchange(journal, {}); }
  // Everything that a user sees, as text.
  std::string Dump() {
    std::string text;
    for (const toolkit::WindowState& state : toolkit::AllWindows()) {
      text += state.member + "|" + state.text + "|" + std::to_string(state.visible) +
              std::to_string(state.enabled) + std::to_string(state.check) + "\n";
    }
    return text;
  }

  // Runs the loop until `done`.
  template <typename Done>
  [[nodiscard]] bool LoopUntil(Done done) {
    constexpr int64_t kPatienceNs = 60'000'000'000;
    const int64_t deadline = NxClockNowNs() + kPatienceNs;
    while (!done()) {
      if (NxClockNowNs() > deadline) return false;
      NXDispatchGUI(false);
      NxSleep(2);
    }
    return true;
  }

  // A capture of the current board, as the capture tab's record control makes it. The capture tab
  // is shown.
  void BeginCapture() {
    CaptureEngine* engine = window->Setup().CurrentCapture();
    ASSERT_NE(nullptr, engine);
    ASSERT_TRUE(Click("captureTab"));
    ASSERT_TRUE(window->Capture().IsActivated());
    folder = FreshFolder("clips");
    window->Capture().PauseThreads();
    EXPECT_EQ(NxErrSuccess, engine->SetVideoDirectory(folder));
    EXPECT_EQ(NxErrSuccess, engine->SetAudioDirectory(folder));
    EXPECT_EQ(NxErrSuccess, engine->SetFileType(7));
    const NxErr prepared = engine->Prepare();
    const NxErr started = prepared == NxErrSuccess ? engine->Start() : prepared;
    window->Capture().ResumeThreads();
    ASSERT_EQ(NxErrSuccess, prepared);
    ASSERT_EQ(NxErrSuccess, started);
    ASSERT_TRUE(window->Capture().IsBusy());
  }
  void EndCapture() {
    window->Capture().PauseThreads();
    window->Setup().CurrentCapture()->Stop();
    window->Capture().ResumeThreads();
  }

  std::unique_ptr<SimulatedMachine> machine;
  std::unique_ptr<DriverWatch> driver;
  std::unique_ptr<HeadlessToolkit> toolkit;
  std::unique_ptr<ProcessObjects> objects;
  std::unique_ptr<MorvaneWnd> window;
  std::string folder;
  std::string journal;
};

}  // namespace morvane::test
