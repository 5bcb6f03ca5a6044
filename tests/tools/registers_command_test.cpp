// The door to a card, run as a script runs it.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

Json Registers(const std::string& arguments) {
  const ToolRun run = RunTool(PrivateFolder(), "--json registers " + arguments);
  EXPECT_EQ(run.exitCode, 0) << arguments << ": " << run.err;
  return Json::accept(run.out) ? Json::parse(run.out) : Json();
}

TEST(RegistersCommand, ReadsWhatTheBoardIs) {
  // Register 50 holds the identity; mask and shift cut a field out of it.
  EXPECT_EQ(Registers("read 50"), (Json{{"result", 0}, {"value", 0x10196500}}));
  EXPECT_EQ(Registers("read 50 --mask 0xFF00 --shift 8")["value"], 0x65);
  EXPECT_EQ(Registers("multi 50 50 --mask 0xFFFF0000 --shift 16")["value"], (Json{0x1019, 0x1019}));
}

TEST(RegistersCommand, WritesAFieldAndTellsTheRegister) {
  const int before = Registers("read 2")["value"];
  EXPECT_EQ(Registers("write 2 1 --mask 2 --shift 1")["value"], before | 2);
  EXPECT_EQ(Registers("read 2")["value"], before) << "a simulated card ends with its process";
}

TEST(RegistersCommand, AWaitThatEndsInVainFails) {
  // No format was ever set on a card that has just come up, so its outputs do not run.
  for (const char* line : {"wait 0 1", "wait 5 1"}) {
    const ToolRun run = RunTool(PrivateFolder(), std::string("--json registers ") + line);
    EXPECT_EQ(run.exitCode, 1) << line;
    EXPECT_EQ(Json::parse(run.out)["error"], -2) << line;
  }
}

TEST(RegistersCommand, TellsTheRingOfAnIdleChannel) {
  const Json status = Registers("autocirculate 1")["value"];
  EXPECT_EQ(status["state"], 0);
  EXPECT_EQ(status["framesProcessed"], 0);
}

TEST(RegistersCommand, TellsTheLogicOfTheCard) {
  const Json value = Registers("bitfile 0")["value"];
  EXPECT_TRUE(value["designName"].is_string());
  EXPECT_TRUE(value["byteCount"].is_number());
}

TEST(RegistersCommand, DrawsAPattern) {
  EXPECT_EQ(Registers("pattern 0"), (Json{{"result", 0}, {"name", "100% ColorBars"}}));
  EXPECT_EQ(RunTool(PrivateFolder(), "registers pattern 13").exitCode, 1);
}

TEST(RegistersCommand, WrongLineIsExitCodeTwo) {
  for (const char* line : {"registers", "registers read", "registers read x", "registers write 1",
                           "registers multi", "registers wait 26 5", "registers read 0 --shift 32",
                           "registers build", "registers read 0 --host there"}) {
    EXPECT_EQ(RunTool(PrivateFolder(), line).exitCode, 2) << line;
  }
  EXPECT_EQ(RunTool(PrivateFolder(), "registers read 0 --board 3").exitCode, 1);
}

}  // namespace
}  // namespace morvane::test
