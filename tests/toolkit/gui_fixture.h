#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "hands.h"
#include "toolkit/controls.h"
#include "toolkit/gui.h"
#include "toolkit/video_window.h"

namespace morvane::test {

// A message as it reached a window.
struct Received {
  uint32_t message = 0;
  int a = 0;
  int b = 0;
  void* c = nullptr;
  void* d = nullptr;

  friend bool operator==(const Received&, const Received&) = default;
};

inline std::ostream& operator<<(std::ostream& out, const Received& received) {
  return out << std::hex << received.message << std::dec << " a " << received.a << " b "
             << received.b << " c " << received.c << " d " << received.d;
}

// A window that writes down what it receives.
class RecordingWindow : public NXWindow {
 public:
  NxErr ReceiveNXMessage(uint32_t message, int a, int b, void* c, void* d) override {
    received.push_back({message, a, b, c, d});
    if (onMessage) onMessage(received.back());
    NXWindow::ReceiveNXMessage(message, a, b, c, d);
    return result;
  }
  NxErr OnNXCreate() override {
    events += "create ";
    if (onCreate) onCreate();
    return result;
  }
  NxErr OnNXResize() override {
    events += "resize ";
    return NxErrSuccess;
  }
  NxErr OnNXDestroy() override {
    events += "destroy ";
    return NxErrSuccess;
  }

  // The messages since the last call.
  std::vector<Received> Take() { return std::exchange(received, {}); }

  std::vector<Received> received;
  std::function<void(const Received&)> onMessage;
  std::function<void()> onCreate;
  std::string events;
  NxErr result = NxErrSuccess;
};

// A toolkit with a started GUI of 400 by 300 and its root window.
class GuiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    hands = MakeHands();
    ASSERT_EQ(NxErrSuccess, NXInitGUI(10, 20, 400, 300, nullptr, "Test", "icon", nullptr, 0));
    const NxRECT rect = {0, 0, 400, 300};
    ASSERT_EQ(NxErrSuccess, root.CreateNXWindow("root", 0, 1, 0, &rect, nullptr));
    ASSERT_EQ(NxErrSuccess, NXStartGUI());
    hands->Settle();
    root.Take();
  }
  void TearDown() override {
    NXStopGUI();
    root.DestroyNXWindow();
    NXKillGUI();
    hands.reset();
  }

  // Makes a control in the root, each below the one before.
  void Add(NXWindow& control, const char* name = "control", uint32_t visible = 1) {
    const NxRECT rect = {10, 270 - 30 * count_, 120, 24};
    ++count_;
    ASSERT_EQ(NxErrSuccess, control.CreateNXWindow(name, 0, visible, 0, &rect, &root));
  }

  std::unique_ptr<Hands> hands;
  RecordingWindow root;

 private:
  int count_ = 0;
};

// The text of a window, at most 255 bytes.
inline std::string TextOf(NXWindow& window) {
  char text[256] = {};
  window.GetWindowNXText(text, sizeof(text));
  return text;
}

template <typename List>
std::string ItemOf(List& list, int index) {
  char text[256] = "untouched";
  list.GetNXItemText(index, text, sizeof(text));
  return text;
}

inline std::string NumberTextOf(NXNumber& number) {
  char text[16] = {};
  number.GetNXNumberTC(text);
  return text;
}

}  // namespace morvane::test
