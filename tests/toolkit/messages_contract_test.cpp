#include <atomic>
#include <fstream>
#include <map>
#include <sstream>
#include <thread>

#include "base/system.h"
#include "gui_fixture.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

using MessagesTest = GuiTest;

TEST(MessageNumbers, AreThoseOfTheTable) {
  const std::map<std::string, uint32_t> numbers = {
      {"NXMSG_LBUTTONDOWN", NXMSG_LBUTTONDOWN},
      {"NXMSG_LBUTTONUP", NXMSG_LBUTTONUP},
      {"NXMSG_MOUSEMOVE", NXMSG_MOUSEMOVE},
      {"NXMSG_CLICKED", NXMSG_CLICKED},
      {"NXMSG_SLIDERMOVED", NXMSG_SLIDERMOVED},
      {"NXMSG_KEYDOWN", NXMSG_KEYDOWN},
      {"NXMSG_TEXTCHANGED", NXMSG_TEXTCHANGED},
      {"NXMSG_NUMBERCHANGED", NXMSG_NUMBERCHANGED},
      {"NXMSG_SELCHANGED", NXMSG_SELCHANGED},
      {"NXMSG_APPACTIVATE", NXMSG_APPACTIVATE},
      {"NXMSG_SLIDERPRESSED", NXMSG_SLIDERPRESSED},
      {"NXMSG_SLIDERRELEASED", NXMSG_SLIDERRELEASED},
      {"NXMSG_VIDEOEXPOSED", NXMSG_VIDEOEXPOSED},
      {"NXMSG_FOCUSGAINED", NXMSG_FOCUSGAINED},
      {"NXMSG_FOCUSLOST", NXMSG_FOCUSLOST},
      {"NXMSG_VIDEOBUTTONDOWN", NXMSG_VIDEOBUTTONDOWN},
      {"NXMSG_VIDEOBUTTONUP", NXMSG_VIDEOBUTTONUP},
      {"NXMSG_VIDEOMOUSEMOVE", NXMSG_VIDEOMOUSEMOVE},
      {"NXMSG_MOUSEWHEEL", NXMSG_MOUSEWHEEL},
  };
  std::ifstream golden(DataPath("golden/toolkit_messages.txt"));
  ASSERT_TRUE(golden.is_open());
  size_t lines = 0;
  std::string number;
  std::string name;
  while (golden >> number >> name) {
    ++lines;
    ASSERT_EQ(1u, numbers.count(name)) << name;
    EXPECT_EQ(std::stoul(number, nullptr, 16), numbers.at(name)) << name;
  }
  EXPECT_EQ(numbers.size(), lines);
  EXPECT_EQ(100000u, APPMSG_CAPTURE_ENDED);
}

TEST_F(MessagesTest, ASendOnTheMainThreadIsDeliveredAtOnce) {
  int word = 0;
  root.result = static_cast<NxErr>(77);
  EXPECT_EQ(77, NXSendMessage(root.nxNode, 5, 1, 2, &word, &root));
  const std::vector<Received> expected = {{5, 1, 2, &word, &root}};
  EXPECT_EQ(expected, root.Take());
}

TEST_F(MessagesTest, TheApplicationsOwnMessagePassesThrough) {
  EXPECT_EQ(NxErrSuccess, NXSendMessage(root.nxNode, APPMSG_CAPTURE_ENDED, 0, 0, nullptr, nullptr));
  EXPECT_EQ(NxErrSuccess, NXPostMessage(root.nxNode, APPMSG_CAPTURE_ENDED, 3, 0, nullptr, nullptr));
  hands->Settle();
  const std::vector<Received> expected = {{100000, 0, 0, nullptr, nullptr},
                                          {100000, 3, 0, nullptr, nullptr}};
  EXPECT_EQ(expected, root.Take());
}

TEST_F(MessagesTest, AWindowSendsToAnother) {
  RecordingWindow child;
  Add(child);
  child.result = static_cast<NxErr>(9);
  EXPECT_EQ(9, root.SendNXMessage(&child, 200000, 1, 0, nullptr, nullptr));
  EXPECT_EQ(1u, child.Take().size());
  EXPECT_EQ(NxErrFailure, root.SendNXMessage(nullptr, 1, 0, 0, nullptr, nullptr));
}

TEST_F(MessagesTest, PostedMessagesComeLaterAndInOrder) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(NxErrSuccess, NXPostMessage(root.nxNode, 1, i, 0, nullptr, nullptr));
  }
  EXPECT_TRUE(root.received.empty());
  hands->Settle();
  const std::vector<Received> messages = root.Take();
  ASSERT_EQ(3u, messages.size());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(i, messages[static_cast<size_t>(i)].a);
}

TEST_F(MessagesTest, AHandlerThatPostsAgainDoesNotKeepTheLoop) {
  int count = 0;
  root.onMessage = [&](const Received&) {
    if (++count < 1000) NXPostMessage(root.nxNode, 1, 0, 0, nullptr, nullptr);
  };
  NXPostMessage(root.nxNode, 1, 0, 0, nullptr, nullptr);
  NXDispatchGUI(false);
  EXPECT_LT(count, 1000);
  for (int round = 0; round < 2000 && count < 1000; ++round) NXDispatchGUI(false);
  EXPECT_EQ(1000, count);
}

TEST_F(MessagesTest, APostedMessageForAWindowThatIsGoneIsDropped) {
  auto child = std::make_unique<RecordingWindow>();
  Add(*child);
  NXPostMessage(child->nxNode, 1, 0, 0, nullptr, nullptr);
  child.reset();
  // Another window, perhaps at the same address, must not get it.
  child = std::make_unique<RecordingWindow>();
  Add(*child);
  hands->Settle();
  EXPECT_TRUE(child->Take().empty());
}

TEST_F(MessagesTest, ASendFromAThreadReturnsWhenItWasHandled) {
  root.result = static_cast<NxErr>(42);
  std::atomic<bool> handled{false};
  std::atomic<bool> returned{false};
  NxErr result = NxErrSuccess;
  bool handledBefore = false;
  root.onMessage = [&](const Received&) { handled = true; };
  std::thread sender([&] {
    result = NXSendMessage(root.nxNode, 5, 0, 0, nullptr, nullptr);
    handledBefore = handled;
    returned = true;
    NXWakeGUI();
  });
  while (!returned) NXDispatchGUI(true);
  sender.join();
  EXPECT_TRUE(handledBefore);
  EXPECT_EQ(42, result);
  EXPECT_EQ(1u, root.Take().size());
}

// The main thread waits for a thread that sits in a send: the wait's own loop delivers it.
TEST_F(MessagesTest, AWaitThatServesSendsLetsTheSenderGo) {
  std::atomic<bool> returned{false};
  std::thread sender([&] {
    NXPostMessage(root.nxNode, 6, 0, 0, nullptr, nullptr);
    NXSendMessage(root.nxNode, 5, 0, 0, nullptr, nullptr);
    returned = true;
  });
  int rounds = 0;
  while (!returned && rounds < 1011) {
    NXServiceSends();
    NxSleep(5);
    ++rounds;
  }
  EXPECT_TRUE(returned);
  EXPECT_LT(rounds, 1011);
  sender.join();
  // Only sends: what was posted waits for the loop.
  ASSERT_EQ(1u, root.received.size());
  EXPECT_EQ(5u, root.received[0].message);
  hands->Settle();
  EXPECT_EQ(2u, root.received.size());
}

TEST_F(MessagesTest, StoppingReleasesAllWhoWait) {
  std::atomic<int> waiting{0};
  std::vector<NxErr> results(4, NxErrSuccess);
  std::vector<std::thread> senders;
  for (NxErr& result : results) {
    senders.emplace_back([&] {
      ++waiting;
      result = NXSendMessage(root.nxNode, 5, 0, 0, nullptr, nullptr);
    });
  }
  while (waiting < 4) std::this_thread::yield();
  EXPECT_EQ(NxErrSuccess, NXStopGUI());
  for (std::thread& sender : senders) sender.join();
  for (const NxErr result : results) EXPECT_EQ(NxErrFailure, result);
  EXPECT_TRUE(root.Take().empty());
  EXPECT_EQ(NxErrFailure, NXPostMessage(root.nxNode, 1, 0, 0, nullptr, nullptr));
}

TEST_F(MessagesTest, ASendToAWindowThatGoesMeanwhileFails) {
  RecordingWindow child;
  Add(child);
  NXWindowNode* node = child.nxNode;
  std::atomic<bool> about{false};
  std::atomic<bool> returned{false};
  NxErr result = NxErrSuccess;
  std::thread sender([&] {
    about = true;
    result = NXSendMessage(node, 5, 0, 0, nullptr, nullptr);
    returned = true;
  });
  while (!about) std::this_thread::yield();
  child.DestroyNXWindow();
  while (!returned) {
    NXServiceSends();
    std::this_thread::yield();
  }
  sender.join();
  EXPECT_EQ(NxErrFailure, result);
  EXPECT_TRUE(child.Take().empty());
}

TEST_F(MessagesTest, WindowsAreMadeAndGoOnTheMainThreadOnly) {
  RecordingWindow child;
  const NxRECT rect = {0, 0, 10, 10};
  NxErr create{}, destroy{}, resize{}, focus{}, minimize{}, kill{};
  std::thread other([&] {
    create = child.CreateNXWindow("c", 0, 1, 0, &rect, &root);
    destroy = root.DestroyNXWindow();
    resize = root.ResizeNXWindow(&rect, true);
    focus = root.SetNXFocus();
    minimize = NXMinimizeGUI();
    kill = NXKillGUI();
  });
  other.join();
  for (const NxErr result : {create, destroy, resize, focus, minimize, kill}) {
    EXPECT_EQ(NxErrFailure, result);
  }
  EXPECT_NE(nullptr, root.nxNode);
}

TEST_F(MessagesTest, WhatAThreadSetsIsTrueAtOnceAndShownSoon) {
  NXStatic text;
  NXButton button;
  Add(text, "old");
  Add(button);
  std::thread other([&] {
    text.SetWindowNXText("new", true);
    button.EnableNXWindow(0, true);
  });
  other.join();
  EXPECT_EQ("new", TextOf(text));
  EXPECT_EQ("old", hands->Text(text));
  EXPECT_TRUE(hands->IsEnabled(button));
  EXPECT_FALSE(hands->Click(button));  // the true state counts, not the screen's
  hands->Settle();
  EXPECT_EQ("new", hands->Text(text));
  EXPECT_FALSE(hands->IsEnabled(button));
}

}  // namespace
}  // namespace morvane::test
