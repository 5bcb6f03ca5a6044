#include <atomic>
#include <thread>

#include "gui_fixture.h"

// What threads may do to the nodes, all at once; the sanitizer's part of the contract.
namespace morvane::test {
namespace {

using ThreadsTest = GuiTest;

// A setter stores and goes on. Nothing of the toolkit is served here, as while the main thread
// waits for these very threads to pause: one that waited for the main thread would hang for ever.
TEST_F(ThreadsTest, TenThousandTextsEndWithoutTheMainThread) {
  NXStatic text;
  Add(text);
  hands->Settle();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2500; ++i) text.SetWindowNXText(std::to_string(i).c_str(), true);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ("2499", TextOf(text));
  EXPECT_EQ("control", hands->Text(text));  // the screen is the main thread's
  hands->Settle();
  EXPECT_EQ("2499", hands->Text(text));
}

TEST_F(ThreadsTest, SendersSettersAndTheLoopDoNotDisturbEachOther) {
  NXNumber number;
  NXSlider slider;
  NXCheckBox box;
  NXComboButton combo;
  Add(number);
  Add(slider);
  Add(box);
  Add(combo);
  number.PutNXNumberType(2, 25000, 1000, 0);
  std::atomic<int> running{5};
  std::atomic<int> refused{0};
  auto leave = [&] {
    --running;
    NXWakeGUI();
  };
  std::vector<std::thread> threads;
  threads.emplace_back([&] {
    for (int i = 0; i < 300; ++i) number.PutNXNumberTC("00:00:01:00", true);
    leave();
  });
  threads.emplace_back([&] {
    for (int i = 0; i < 300; ++i) slider.PutNXSliderPos(i % 100, true);
    leave();
  });
  threads.emplace_back([&] {
    for (int i = 0; i < 300; ++i) {
      box.SetNXCheck(i & 1);
      combo.InsertNXItem(-1, "item", true);
      box.EnableNXWindow(i & 1, true);
      box.ShowNXWindow(i & 1, true);
    }
    leave();
  });
  threads.emplace_back([&] {
    for (int i = 0; i < 100; ++i) {
      if (NXSendMessage(root.nxNode, 1, i, 0, nullptr, nullptr) != NxErrSuccess) ++refused;
    }
    leave();
  });
  threads.emplace_back([&] {
    for (int i = 0; i < 100; ++i) {
      NXPostMessage(root.nxNode, 2, i, 0, nullptr, nullptr);
      NXRePaint();
    }
    leave();
  });
  while (running > 0) NXDispatchGUI(true);
  for (std::thread& thread : threads) thread.join();
  hands->Settle();
  EXPECT_EQ(0, refused);
  int sends = 0;
  int posts = 0;
  for (const Received& received : root.Take()) {
    if (received.message == 1) {
      EXPECT_EQ(sends++, received.a);
    }
    if (received.message == 2) {
      EXPECT_EQ(posts++, received.a);
    }
  }
  EXPECT_EQ(100, sends);
  EXPECT_EQ(100, posts);
  EXPECT_EQ(300, hands->Items(combo));
  EXPECT_EQ("00:00:01:00", hands->Text(number));
  EXPECT_EQ(99, hands->Position(slider));
  EXPECT_EQ(1, hands->Checked(box));
}

TEST_F(ThreadsTest, WindowsGoWhileThreadsStillReachForThem) {
  std::atomic<bool> stop{false};
  RecordingWindow child;
  const NxRECT rect = {0, 0, 40, 30};
  NXVideoWindowNode* video = NXCreateVideoWindow(root.nxNode, "v", &rect, 0);
  ASSERT_NE(nullptr, video);
  std::thread setter([&] {
    while (!stop) {
      child.SetWindowNXText("text", true);
      (void)child.IsVisible();
    }
  });
  std::thread preview([&] {
    const std::vector<uint8_t> bytes(16 * 16 * 4, 0x40);
    NXVideoFrame frame;
    frame.picture = bytes.data();
    frame.width = frame.height = 16;
    frame.rowBytes = 64;
    frame.fourcc = FourCC("bgrA");
    while (!stop) {
      NXStartDisplayVideoFrame(video, 16, 16, NXDISPLAY_TEXTURE, nullptr);
      NXDisplayVideoFrame(video, &frame, nullptr);
      NXStopDisplayVideoFrame(video);
    }
  });
  for (int round = 0; round < 50; ++round) {
    EXPECT_EQ(NxErrSuccess, child.CreateNXWindow("c", 0, 1, 0, &rect, &root));
    NXBlackenVideoWindow(video);
    NXShowVideoWindow(video, round & 1);
    NXDispatchGUI(false);
    EXPECT_EQ(NxErrSuccess, child.DestroyNXWindow());
  }
  NXDestroyVideoWindow(video);
  stop = true;
  setter.join();
  preview.join();
}

TEST_F(ThreadsTest, ManyChangesAreOneEvent) {
  NXStatic text;
  Add(text);
  std::thread setter([&] {
    for (int i = 0; i < 1000; ++i) text.SetWindowNXText(std::to_string(i).c_str(), true);
  });
  setter.join();
  NXDispatchGUI(false);
  EXPECT_EQ("999", hands->Text(text));
}

}  // namespace
}  // namespace morvane::test
