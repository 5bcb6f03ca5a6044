#include <atomic>
#include <thread>

#include "base/system.h"
#include "gui_fixture.h"

namespace morvane::test {
namespace {

using InputTest = GuiTest;

TEST_F(InputTest, AHotKeyReachesItsWindowWhateverHasTheFocus) {
  RecordingWindow tab;
  NXButton button;
  Add(tab);
  Add(button);
  EXPECT_EQ(NxErrSuccess, NXRegisterHotKey(tab.nxNode, 'j', 0));
  EXPECT_EQ(NxErrSuccess, NXRegisterHotKey(tab.nxNode, NXKEY_LEFT, 0));
  EXPECT_EQ(NxErrSuccess, NXRegisterHotKey(tab.nxNode, NXKEY_ESCAPE, 0));
  ASSERT_TRUE(hands->Focus(button));
  hands->Key('j');
  hands->Key(NXKEY_LEFT);
  hands->Key(NXKEY_ESCAPE);
  const std::vector<Received> expected = {{NXMSG_KEYDOWN, 'j', 0, nullptr, nullptr},
                                          {NXMSG_KEYDOWN, -1, NXKEY_LEFT, nullptr, nullptr},
                                          {NXMSG_KEYDOWN, NXKEY_ESCAPE, 0, nullptr, nullptr}};
  EXPECT_EQ(expected, tab.Take());
  EXPECT_EQ(NxErrSuccess, NXUnRegisterHotKey(tab.nxNode, 'j'));
  EXPECT_EQ(NxErrFailure, NXUnRegisterHotKey(tab.nxNode, 'j'));
  hands->Key('j');
  EXPECT_TRUE(tab.Take().empty());
}

TEST_F(InputTest, TheWindowThatRegisteredAKeyLastGetsIt) {
  RecordingWindow first, second;
  Add(first);
  Add(second);
  NXRegisterHotKey(first.nxNode, 'k', 0);
  NXRegisterHotKey(second.nxNode, 'k', 0);
  hands->Key('k');
  EXPECT_TRUE(first.Take().empty());
  EXPECT_EQ(1u, second.Take().size());
  second.DestroyNXWindow();
  hands->Key('k');
  EXPECT_EQ(1u, first.Take().size());
}

TEST_F(InputTest, AnEditTakesEveryKeyButEscape) {
  NXText text;
  NXNumber number;
  Add(text, "old");
  Add(number, "12");
  const struct {
    NXWindow* control;
    const char* typed;
  } kEdits[] = {{&text, "i"}, {&number, "3"}};
  for (const int key : {int{'i'}, int{NXKEY_SPACE}, int{NXKEY_LEFT}, int{NXKEY_ESCAPE}}) {
    NXRegisterHotKey(root.nxNode, key, 0);
  }
  for (const auto& edit : kEdits) {
    ASSERT_TRUE(hands->BeginTyping(*edit.control, edit.typed));
    root.Take();
    hands->Key('i');
    hands->Key(NXKEY_SPACE);
    hands->Key(NXKEY_LEFT);
    EXPECT_TRUE(root.Take().empty()) << edit.typed;
    EXPECT_TRUE(toolkit::IsHotKey(NXKEY_ESCAPE, 0, 0));
    EXPECT_FALSE(toolkit::IsHotKey('i', 0, 0));
    hands->Blur();
    root.Take();
    hands->Key('i');
    EXPECT_EQ(1u, root.Take().size()) << edit.typed;
  }
}

TEST_F(InputTest, AnArrowIsNoCharacter) {
  NXRegisterHotKey(root.nxNode, NXKEY_LEFT, 0);
  EXPECT_FALSE(toolkit::IsHotKey('%', 0, 0));  // the same number
  EXPECT_TRUE(toolkit::IsHotKey(-1, NXKEY_LEFT, 0));
  EXPECT_FALSE(toolkit::IsHotKey(-1, NXKEY_LEFT, NXMOD_CONTROL));
}

TEST_F(InputTest, ThereAreNoHotKeysWhileABoxIsOpen) {
  NXRegisterHotKey(root.nxNode, 'j', 0);
  static bool wasHotKey;
  wasHotKey = true;
  hands->OnNextBox([](void*) { wasHotKey = toolkit::IsHotKey('j', 0, 0); }, nullptr);
  EXPECT_EQ(NxErrSuccess, NXShowMB("Error", "No Video Input is detected."));
  EXPECT_FALSE(wasHotKey);
  EXPECT_TRUE(toolkit::IsHotKey('j', 0, 0));
}

TEST_F(InputTest, APlainWindowWithTheFocusGetsItsKeys) {
  RecordingWindow pane;
  Add(pane);
  ASSERT_EQ(NxErrSuccess, pane.SetNXFocus());
  hands->Key('z');
  const std::vector<Received> expected = {{NXMSG_KEYDOWN, 'z', 0, nullptr, nullptr}};
  EXPECT_EQ(expected, pane.Take());
}

TEST_F(InputTest, TheFocusIsToldToTheParent) {
  NXNumber number;
  NXButton button;
  Add(number);
  Add(button);
  EXPECT_EQ(NxErrSuccess, number.SetNXFocus());
  hands->Settle();
  ASSERT_TRUE(hands->Focus(button));
  const std::vector<Received> expected = {{NXMSG_FOCUSGAINED, 0, 0, &number, nullptr},
                                          {NXMSG_FOCUSLOST, 0, 0, &number, nullptr},
                                          {NXMSG_FOCUSGAINED, 0, 0, &button, nullptr}};
  EXPECT_EQ(expected, root.Take());
  button.EnableNXWindow(0, true);
  EXPECT_EQ(NxErrFailure, button.SetNXFocus());
}

TEST_F(InputTest, TheMouseIsToldToTheWindowItself) {
  RecordingWindow pane;
  const NxRECT rect = {20, 30, 100, 50};
  ASSERT_EQ(NxErrSuccess, pane.CreateNXWindow("pane", 0, 1, 0, &rect, &root));
  EXPECT_TRUE(hands->Mouse(pane, NXMSG_LBUTTONDOWN, 3, 4));
  EXPECT_TRUE(hands->Mouse(pane, NXMSG_LBUTTONUP, 5, 6));
  EXPECT_TRUE(hands->Mouse(root, NXMSG_LBUTTONDOWN, 200, 290));
  EXPECT_TRUE(hands->Mouse(root, NXMSG_LBUTTONUP, 200, 290));
  std::vector<Received> ofPane;
  for (const Received& received : pane.Take()) {
    if (received.message != NXMSG_MOUSEMOVE) ofPane.push_back(received);
  }
  const std::vector<Received> expected = {{NXMSG_LBUTTONDOWN, 3, 4, nullptr, nullptr},
                                          {NXMSG_LBUTTONUP, 5, 6, nullptr, nullptr}};
  EXPECT_EQ(expected, ofPane);
  const std::vector<Received> ofRoot = root.Take();
  ASSERT_FALSE(ofRoot.empty());
  EXPECT_EQ((Received{NXMSG_LBUTTONDOWN, 200, 290, nullptr, nullptr}), ofRoot.front());
}

TEST_F(InputTest, AWindowThatCapturedTheMouseGetsAllOfIt) {
  RecordingWindow pane;
  const NxRECT rect = {20, 30, 100, 50};
  ASSERT_EQ(NxErrSuccess, pane.CreateNXWindow("pane", 0, 1, 0, &rect, &root));
  EXPECT_EQ(NxErrSuccess, NXCaptureMouse(root.nxNode));
  EXPECT_TRUE(hands->Mouse(pane, NXMSG_MOUSEMOVE, 1, 2));
  const std::vector<Received> expected = {{NXMSG_MOUSEMOVE, 21, 32, nullptr, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_TRUE(pane.Take().empty());
  EXPECT_EQ(NxErrSuccess, NXReleaseMouse());
  EXPECT_TRUE(hands->Mouse(pane, NXMSG_LBUTTONDOWN, 1, 2));
  EXPECT_TRUE(root.Take().empty());
  hands->Mouse(pane, NXMSG_LBUTTONUP, 1, 2);
  EXPECT_EQ(NxErrFailure, NXCaptureMouse(nullptr));
}

// The button is released in the dialog, which keeps that to itself.
TEST_F(InputTest, ADialogTakesTheMouseAwayAsIfTheButtonWereReleased) {
  RecordingWindow pane;
  const NxRECT rect = {20, 30, 100, 50};
  ASSERT_EQ(NxErrSuccess, pane.CreateNXWindow("pane", 0, 1, 0, &rect, &root));
  ASSERT_TRUE(hands->Mouse(pane, NXMSG_LBUTTONDOWN, 3, 4));
  EXPECT_EQ(NxErrSuccess, NXCaptureMouse(pane.nxNode));
  ASSERT_TRUE(hands->Mouse(root, NXMSG_MOUSEMOVE, 200, 150));
  pane.Take();
  root.Take();
  struct State {
    RecordingWindow* pane;
    std::vector<Received> before;
  } state = {&pane, {}};
  hands->OnNextBox(
      [](void* self) {
        auto* seen = static_cast<State*>(self);
        seen->before = seen->pane->Take();
      },
      &state);
  EXPECT_EQ(NxErrSuccess, NXShowMB("Error", "text"));
  const std::vector<Received> released = {{NXMSG_LBUTTONUP, 180, 120, nullptr, nullptr}};
  EXPECT_EQ(released, state.before);
  ASSERT_TRUE(hands->Mouse(root, NXMSG_MOUSEMOVE, 210, 160));
  EXPECT_TRUE(pane.Take().empty());
  const std::vector<Received> moved = {{NXMSG_MOUSEMOVE, 210, 160, nullptr, nullptr}};
  EXPECT_EQ(moved, root.Take());
  // Nobody has it: nobody is told.
  hands->OnNextBox([](void*) {}, nullptr);
  EXPECT_EQ(NxErrSuccess, NXShowMB("Error", "text"));
  EXPECT_TRUE(pane.Take().empty());
}

TEST_F(InputTest, ADialogTakesTheMouseFromAVideoWindowToo) {
  const NxRECT rect = {20, 30, 100, 50};
  NXVideoWindowNode* video = NXCreateVideoWindow(root.nxNode, "video", &rect, 0);
  ASSERT_NE(nullptr, video);
  NXShowVideoWindow(video, 1);
  hands->Settle();
  ASSERT_TRUE(hands->Mouse(video, NXMSG_LBUTTONDOWN, 3, 4));
  EXPECT_EQ(NxErrSuccess, NXVCaptureMouse(video));
  root.Take();
  hands->OnNextBox([](void*) {}, nullptr);
  EXPECT_EQ(NxErrSuccess, NXShowMB("Error", "text"));
  const std::vector<Received> released = {{NXMSG_VIDEOBUTTONUP, 3, 4, video, nullptr}};
  EXPECT_EQ(released, root.Take());
  ASSERT_TRUE(hands->Mouse(root, NXMSG_MOUSEMOVE, 210, 160));
  const std::vector<Received> moved = {{NXMSG_MOUSEMOVE, 210, 160, nullptr, nullptr}};
  EXPECT_EQ(moved, root.Take());
  NXDestroyVideoWindow(video);
}

TEST_F(InputTest, TheWheelGoesToTheRoot) {
  RecordingWindow pane;
  Add(pane);
  EXPECT_TRUE(hands->Wheel(-2, 1));
  const std::vector<Received> expected = {{NXMSG_MOUSEWHEEL, -2, 1, nullptr, nullptr}};
  EXPECT_EQ(expected, root.Take());
  EXPECT_TRUE(pane.Take().empty());
}

TEST_F(InputTest, FocusOfTheProgramIsToldWhenItChanges) {
  hands->Activate(true);  // it starts as gained
  EXPECT_TRUE(root.Take().empty());
  hands->Activate(false);
  hands->Activate(false);
  hands->Activate(true);
  const std::vector<Received> expected = {{NXMSG_APPACTIVATE, 0, 0, nullptr, nullptr},
                                          {NXMSG_APPACTIVATE, 1, 0, nullptr, nullptr}};
  EXPECT_EQ(expected, root.Take());
}

TEST_F(InputTest, FocusOfTheProgramIsHeldBackWhileABoxIsOpen) {
  hands->Activate(true);
  root.Take();
  hands->OnNextBox([](void*) { toolkit::UserActive(false); }, nullptr);
  NXShowMB("Error", "text");
  EXPECT_TRUE(root.Take().empty());
  hands->Settle();
  // Told behind the box, as it still holds.
  const std::vector<Received> lost = {{NXMSG_APPACTIVATE, 0, 0, nullptr, nullptr}};
  EXPECT_EQ(lost, root.Take());
  hands->Activate(true);
  root.Take();
  hands->OnNextBox(
      [](void*) {
        toolkit::UserActive(false);
        toolkit::UserActive(true);
      },
      nullptr);
  NXShowMB("Error", "text");
  hands->Settle();
  EXPECT_TRUE(root.Take().empty());
}

// A window that stops its threads when the program loses the focus waits for them: also for the one
// whose message shows the box.
TEST_F(InputTest, FocusOfTheProgramIsToldOnceTheThreadBehindTheBoxIsFree) {
  hands->Activate(true);
  std::atomic<bool> sent{false};
  bool sentBefore = false;
  bool inHandler = false;
  int lost = 0;
  root.onMessage = [&](const Received& received) {
    if (received.message == NXMSG_APPACTIVATE && received.a == 0) {
      ++lost;
      EXPECT_FALSE(inHandler);
      for (int round = 0; round < 1011 && !sent; ++round) NxSleep(5);
      sentBefore = sent;
    }
    if (received.message != 1) return;
    inHandler = true;
    for (int box = 0; box < 2; ++box) {  // also with a box behind the one that held it back
      hands->OnNextBox([](void*) { toolkit::UserActive(false); }, nullptr);
      EXPECT_EQ(NxErrSuccess, NXShowMB("Error", "Capture Aborted. Frames Dropped."));
    }
    inHandler = false;
  };
  std::thread status([&] {
    NXSendMessage(root.nxNode, 1, 0, 0, nullptr, nullptr);
    sent = true;
  });
  while (lost == 0) NXDispatchGUI(true);
  status.join();
  hands->Settle();
  EXPECT_EQ(1, lost);
  EXPECT_TRUE(sentBefore);
}

TEST_F(InputTest, AProgramThatIsNotClosedHearsOfItsFocusAfterAll) {
  int calls = 0;
  NXSetCloseRoutine([](void* context) { ++*static_cast<int*>(context); }, &calls);
  hands->Activate(true);
  root.Take();
  hands->OnNextBox(
      [](void*) {
        toolkit::UserActive(false);
        toolkit::UserClose();
      },
      nullptr);
  NXShowMB("Error", "text");
  EXPECT_EQ(0, calls);
  hands->Settle();
  hands->Settle();
  EXPECT_EQ(1, calls);
  const std::vector<Received> lost = {{NXMSG_APPACTIVATE, 0, 0, nullptr, nullptr}};
  EXPECT_EQ(lost, root.Take());
}

TEST_F(InputTest, ABoxFromAThreadDoesNotHoldIt) {
  static int boxes;
  boxes = 0;
  hands->OnNextBox([](void*) { ++boxes; }, nullptr);
  NxErr result = NxErrFailure;
  std::thread other([&] { result = NXShowMB("Error", "from a thread"); });
  other.join();
  EXPECT_EQ(NxErrSuccess, result);
  EXPECT_EQ(0, boxes);
  hands->Settle();
  EXPECT_EQ(1, boxes);
}

TEST_F(InputTest, TheDesktopsWishToCloseReachesTheRoutine) {
  int calls = 0;
  NXSetCloseRoutine([](void* context) { ++*static_cast<int*>(context); }, &calls);
  toolkit::UserClose();
  EXPECT_EQ(1, calls);
  NXSetCloseRoutine(nullptr, nullptr);
  toolkit::UserClose();
  EXPECT_EQ(1, calls);
}

// What the handler of a box does, and what the close routine saw.
struct Closing {
  static void Ask(void* self) {
    toolkit::UserClose();
    EXPECT_EQ(0, static_cast<Closing*>(self)->calls);
    ++static_cast<Closing*>(self)->boxes;
  }
  static void Routine(void* self) { ++static_cast<Closing*>(self)->calls; }
  int calls = 0;
  int boxes = 0;
};

TEST_F(InputTest, AWishToCloseWaitsForTheBoxAndItsHandler) {
  Closing closing;
  NXSetCloseRoutine(Closing::Routine, &closing);
  root.onMessage = [&](const Received& received) {
    if (received.message != 1) return;
    hands->OnNextBox(Closing::Ask, &closing);
    EXPECT_EQ(NxErrSuccess, NXShowMB("Error", "text"));
    EXPECT_EQ(0, closing.calls);
    // One more box is not in its way.
    EXPECT_EQ(NxErrSuccess, NXShowMB("Error", "another"));
    std::string path;
    EXPECT_EQ(NxErrFailure, NXChooseFolder("Folder", "/", &path));
    EXPECT_EQ(1, closing.boxes);
    EXPECT_EQ(0, closing.calls);
  };
  NXSendMessage(root.nxNode, 1, 0, 0, nullptr, nullptr);
  EXPECT_EQ(0, closing.calls);
  NXDispatchGUI(true);
  EXPECT_EQ(1, closing.calls);
  EXPECT_EQ(1, closing.boxes);
  // The program goes on: now the other box comes.
  hands->OnNextBox([](void* self) { ++static_cast<Closing*>(self)->boxes; }, &closing);
  hands->Settle();
  EXPECT_EQ(2, closing.boxes);
  EXPECT_EQ(1, closing.calls);
}

// The thread whose message shows the box is free before the application is asked to close.
TEST_F(InputTest, AWishToCloseWaitsForTheThreadBehindTheBox) {
  struct State : Closing {
    std::atomic<bool> sent{false};
    bool sentBefore = false;
  } state;
  NXSetCloseRoutine(
      [](void* self) {
        auto* closing = static_cast<State*>(self);
        // As a window that stops its thread waits for it.
        for (int round = 0; round < 1011 && !closing->sent; ++round) NxSleep(5);
        closing->sentBefore = closing->sent;
        ++closing->calls;
      },
      &state);
  root.onMessage = [&](const Received& received) {
    if (received.message != 1) return;
    hands->OnNextBox(Closing::Ask, static_cast<Closing*>(&state));
    NXShowMB("Error", "Capture Aborted. Frames Dropped.");
  };
  std::thread status([&] {
    NXSendMessage(root.nxNode, 1, 0, 0, nullptr, nullptr);
    state.sent = true;
  });
  while (state.calls == 0) NXDispatchGUI(true);
  status.join();
  EXPECT_EQ(1, state.calls);
  EXPECT_TRUE(state.sentBefore);
}

}  // namespace
}  // namespace morvane::test
