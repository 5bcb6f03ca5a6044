#include "base/nx_err.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "support/test_environment.h"

namespace morvane {
namespace {

std::string TextOf(int32_t code) {
  char text[kNxErrTextBytes];
  EXPECT_TRUE(NxErrText(code, text)) << code;
  return text;
}

// The whole table: every code near the bands that has a text of its own, then the rest.
std::string Dump() {
  std::string dump;
  for (const int32_t band : {0, 10000, 100000, 200000}) {
    for (int32_t code = band - 100; code <= band + 1000; ++code) {
      const std::string text = TextOf(code);
      if (text != "Unknown Failure.") dump += std::to_string(code) + " \"" + text + "\"\n";
    }
  }
  return dump + "any other value \"" + TextOf(123456789) + "\"\n";
}

TEST(NxErrText, EveryRowReadsAsWritten) {
  std::ifstream file(test::DataPath("golden/error_table.txt"));
  const std::string golden((std::istreambuf_iterator<char>(file)), {});
  ASSERT_FALSE(golden.empty());
  EXPECT_EQ(Dump(), golden);
}

TEST(NxErrText, CodesWithoutARowReadUnknownFailure) {
  for (const int32_t code :
       {-2, 100009, 100016, 200004, 200009, 4, 9999, 10004, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(TextOf(code), "Unknown Failure.") << code;
  }
}

TEST(NxErrText, OddWordingsStay) {
  EXPECT_EQ(TextOf(0), "Success");
  EXPECT_EQ(TextOf(3), "Unknown Error: ");
  EXPECT_EQ(TextOf(10001), "Undefinged Handle Error.");
  EXPECT_EQ(TextOf(200012), "Duration is 0");
}

TEST(NxErrText, LongestTextLeavesTheBytesAfterItAlone) {
  char text[kNxErrTextBytes];
  std::memset(text, 0x5A, sizeof text);
  EXPECT_TRUE(NxErrText(NxErrVtrLocal, text));
  EXPECT_EQ(std::strlen(text), 66u);
  for (int i = 67; i < kNxErrTextBytes; ++i) EXPECT_EQ(text[i], 0x5A) << i;
}

TEST(NxErrText, ShortTextWritesNoMoreThanItself) {
  char text[kNxErrTextBytes];
  std::memset(text, 0x5A, sizeof text);
  EXPECT_TRUE(NxErrText(NxErrSuccess, text));
  EXPECT_EQ(text[7], '\0');
  for (int i = 8; i < kNxErrTextBytes; ++i) EXPECT_EQ(text[i], 0x5A) << i;
}

TEST(NxErrText, MayBeAskedFromAnyThread) {
  const std::string expected = Dump();
  std::vector<std::string> dumps(8);
  std::vector<std::thread> threads;
  for (std::string& dump : dumps) threads.emplace_back([&dump] { dump = Dump(); });
  for (std::thread& thread : threads) thread.join();
  for (const std::string& dump : dumps) EXPECT_EQ(dump, expected);
}

}  // namespace
}  // namespace morvane
