// What the tool tells of the boards of a machine and of their signals.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "support/test_environment.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

class BoardsCommand : public ::testing::Test {
 protected:
  void Machine(const std::string& text) { WriteFile(folder_ + "/m.toml", text); }
  ToolRun Run(const std::string& line) { return RunTool(folder_, "--machine m.toml " + line); }
  Json Document(const std::string& line) {
    const ToolRun run = Run("--json " + line);
    EXPECT_EQ(run.exitCode, 0) << run.err;
    return Json::accept(run.out) ? Json::parse(run.out) : Json();
  }

  const std::string folder_ = FreshFolder("boards");
};

using StatusCommand = BoardsCommand;

TEST_F(BoardsCommand, ALineOfABoardHasTheFactsOfItsDocument) {
  Machine("[[card]]\nboard = \"Elm\"\n[[card]]\nboard = \"Larch\"\n");
  const ToolRun run = Run("boards");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out,
            "0  Elm  - 0  0x10196500  type 8 number 0; video in 2, out 2; analog in 0, out 1; "
            "HDMI in 0, out 0; audio systems 1\n"
            "1  Larch  - 1  0x10266400  type 8 number 1; video in 1, out 1; analog in 1, out 1; "
            "HDMI in 1, out 1; audio systems 1\n");
}

TEST_F(BoardsCommand, AScanThatFindsNothingIsNoFailure) {
  Machine("[[card]]\nboard = \"Rowan\"\n");  // its type is reached from another machine alone
  EXPECT_EQ(Document("boards"), Json::array());
  const ToolRun run = Run("boards");
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_EQ(run.out, "No Sorn Boards are detected.\n");
  EXPECT_EQ(run.err, "");
  // What needs a board fails there.
  const ToolRun status = Run("status");
  EXPECT_EQ(status.exitCode, 1);
  EXPECT_EQ(status.err, "morvanectl: error 200006: No Sorn Boards are detected.\n");
}

TEST_F(StatusCommand, NothingConnectedIsNull) {
  Machine(
      "[[card]]\nboard = \"Elm\"\nreference = \"none\"\n"
      "[card.input1]\nsource = \"none\"\n");
  const Json nothing{{"format", nullptr}, {"text", nullptr}};
  const Json status = Document("status");
  EXPECT_EQ(status["input"], (Json{{"format", nullptr}, {"text", nullptr}, {"valid", false}}));
  EXPECT_EQ(status["reference"], nothing);
  EXPECT_EQ(status["output"], nothing);
  EXPECT_EQ(status["vtr"]["present"], true);
  EXPECT_EQ(status["lastError"], nullptr);
}

TEST_F(StatusCommand, TellsTheBoardThatIsAskedFor) {
  Machine(
      "[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"bars\"\nformat = \"625 50.00\"\n"
      "[[card]]\nboard = \"Hazel2\"\nreference = \"525 59.94\"\n");
  EXPECT_EQ(Document("status")["input"]["format"], 33);
  const Json second = Document("status --board 1");
  EXPECT_EQ(second["input"]["valid"], false);
  EXPECT_EQ(second["reference"], (Json{{"format", 32}, {"text", "525 59.94"}}));
  EXPECT_EQ(second["vtr"]["present"], false);  // this board has no serial port
  const ToolRun run = Run("status --board 2");
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.err,
            "morvanectl: error -2: --board 2: this machine has boards 0 to 1; "
            "see morvanectl boards.\n");
}

TEST_F(StatusCommand, TheLastErrorIsToldInBothForms) {
  Machine("[[card]]\nboard = \"Basil\"\n");  // a board without formats to choose from
  EXPECT_EQ(Document("status")["lastError"], "Unknown Board Type");
  EXPECT_NE(Run("status").out.find("last error Unknown Board Type\n"), std::string::npos);
}

TEST_F(StatusCommand, TheTextHasTheFactsOfTheDocument) {
  Machine(
      "[[card]]\nboard = \"Elm\"\nreference = \"525 59.94\"\n"
      "[card.input1]\nsource = \"bars\"\nformat = \"720p 59.94\"\n");
  const std::string text = Run("status").out;
  for (const char* line : {"input      720p 59.94\n", "reference  525 59.94\n", "output     none\n",
                           "last error none\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << "in\n" << text;
  }
}

}  // namespace
}  // namespace morvane::test
