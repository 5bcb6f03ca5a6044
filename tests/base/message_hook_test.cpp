#include "base/message_hook.h"

#include <gtest/gtest.h>

#include <string>

#include "support/message_recorder.h"

namespace morvane {
namespace {

using Message = test::MessageRecorder::Message;

TEST(MessageHook, GetsCaptionAndTextInOrder) {
  test::MessageRecorder recorder;
  ShowMessage("Error", "No Sorn Boards are detected.");
  ShowMessage("Morvane", "");
  EXPECT_EQ(recorder.Take(),
            (std::vector<Message>{{"Error", "No Sorn Boards are detected."}, {"Morvane", ""}}));
}

TEST(MessageHook, WithoutOneTheMessageIsDropped) {
  {
    test::MessageRecorder recorder;
    ShowMessage("a", "b");
    EXPECT_EQ(recorder.Take().size(), 1u);
  }
  ShowMessage("a", "nobody sees this");
  test::MessageRecorder recorder;
  EXPECT_TRUE(recorder.Take().empty());
}

TEST(MessageHook, MayShowAMessageItself) {
  static int depth = 0;
  depth = 0;
  SetMessageHook(
      [](void*, const char* caption, const char* text) {
        if (++depth < 3) ShowMessage(caption, text);
      },
      nullptr);
  ShowMessage("a", "b");
  SetMessageHook(nullptr, nullptr);
  EXPECT_EQ(depth, 3);
}

}  // namespace
}  // namespace morvane
