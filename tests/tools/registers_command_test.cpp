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
  for (const char* line : {"wait 0 200", "wait 5 200"}) {
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

TEST(RegistersCommand, ARegisterThatIsNoneIsNamed) {
  for (const char* line : {"read 5000", "multi 50 5000"}) {
    const ToolRun run = RunTool(PrivateFolder(), std::string("--json registers ") + line);
    EXPECT_EQ(run.exitCode, 1) << line;
    EXPECT_EQ(Json::parse(run.out),
              (Json{{"error", -2}, {"text", "Register 5000 cannot be read."}}));
    EXPECT_EQ(run.err, "morvanectl: error -2: Register 5000 cannot be read.\n");
  }
}

TEST(RegistersCommand, AnInterruptWithoutSubscriptionIsNamed) {
  const ToolRun run = RunTool(PrivateFolder(), "registers wait 1 1");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err, "morvanectl: error -2: Interrupt 1 cannot be subscribed.\n");
}

TEST(RegistersCommand, TellsTheLogicThatLiesInFlash) {
  WriteFile(PrivateFolder() + "/larch.toml", "[[card]]\nboard = \"Larch\"\n");
  const ToolRun run = RunTool(PrivateFolder(), "--machine larch.toml --json registers bitfile 0");
  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(Json::parse(run.out)["value"], (Json{{"checksum", 0},
                                                 {"recordVersion", 0},
                                                 {"recordSize", 1024},
                                                 {"byteCount", 0x123456},
                                                 {"date", "2009/06/18"},
                                                 {"time", "14:25:07"},
                                                 {"designName", "larch01"},
                                                 {"kind", 0},
                                                 {"partName", "5vlx50tff1136"},
                                                 {"projectNumber", 0}}));
}

TEST(RegistersCommand, DrawsAPattern) {
  EXPECT_EQ(Registers("pattern 0"), (Json{{"result", 0}, {"name", "100% ColorBars"}}));
  EXPECT_EQ(RunTool(PrivateFolder(), "registers pattern 13").exitCode, 1);
}

TEST(RegistersCommand, WrongLineIsExitCodeTwo) {
  for (const char* line : {"registers", "registers read", "registers read x", "registers write 1",
                           "registers multi", "registers wait 26 5", "registers read 0 --shift 32",
                           "registers read 0 --host", "registers read 0 --number 1"}) {
    EXPECT_EQ(RunTool(PrivateFolder(), line).exitCode, 2) << line;
  }
  EXPECT_EQ(RunTool(PrivateFolder(), "registers read 0 --board 3").exitCode, 1);
}

}  // namespace
}  // namespace morvane::test
