// The registers commands against a machine that goes away in the middle.
#include <gtest/gtest.h>

#include <string>

#include "device/nub_fake.h"
#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

constexpr uint32_t kElm = 0x10196500;

// Lends a card until a request of `type` comes, then closes.
NubFake::Script LendUntil(uint8_t type) {
  return [type](NubFake& fake) {
    if (!fake.Accept()) return;
    for (Bytes request = fake.Receive(); !request.empty(); request = fake.Receive()) {
      if (request.at(7) == type) {
        fake.Close();
        return;
      }
      const bool identity = request.size() == 95 && request.at(64 + 7 + 7) == 50;
      fake.Send(request.at(7) == 2 ? OpenReply(3, 7) : ReadReply(7, identity ? kElm : 0, 1));
    }
  };
}

struct Row {
  const char* line;
  uint8_t type;
};
constexpr Row kRows[] = {
    {"registers wait 0 3600000", 10},
    {"registers multi 50 126", 16},
    {"registers autocirculate 1", 8},
};

TEST(NubBrokenPeer, IsToldAsSuch) {
  for (const Row& row : kRows) {
    NubFake fake(LendUntil(row.type));
    const ToolRun run = RunTool(PrivateFolder(), std::string(row.line) + " --host 127.0.0.1");
    EXPECT_EQ(run.exitCode, 1) << row.line;
    EXPECT_NE(run.err.find("error -2: 127.0.0.1 does not answer any more"), std::string::npos)
        << row.line << ": " << run.err;
  }
}

}  // namespace
}  // namespace morvane::test
