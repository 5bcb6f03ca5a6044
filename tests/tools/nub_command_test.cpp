// morvane-nub and the commands that use it, run as a user runs them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "simulator/nub_raw_client.h"
#include "support/test_environment.h"
#include "tools/nub_process.h"
#include "tools/tool_runner.h"

namespace morvane::test {
namespace {

using Json = nlohmann::json;

// One "Elm" with bars on its first input.
std::string Machine() {
  return WriteFile(PrivateFolder() + "/nub.toml",
                   "[[card]]\nboard = \"Elm\"\nreference = \"1080i 59.94\"\nrs422 = true\n"
                   "[card.input1]\nsource = \"bars\"\nformat = \"1080i 59.94\"\n");
}

Json Asked(const std::string& arguments) {
  const ToolRun run = RunTool(PrivateFolder(), "--json " + arguments);
  EXPECT_EQ(run.exitCode, 0) << arguments << ": " << run.err;
  return Json::accept(run.out) ? Json::parse(run.out) : Json();
}

// A card elsewhere as the command line names it.
constexpr char kThere[] = " --host 127.0.0.1 --board-type 8 --number 0";

class NubCommand : public ::testing::Test {
 protected:
  void Serve(const std::string& arguments = "") {
    nub_.reset();  // it holds the boards
    nub_ = std::make_unique<NubProcess>("--machine '" + Machine() + "' " + arguments);
    ASSERT_NE(nub_->Port(), 0) << nub_->Errors();
    nub_->BecomeTheServer();
  }
  std::unique_ptr<NubProcess> nub_;
};

TEST_F(NubCommand, ACardOfAnotherMachineIsAsOneOfThisMachine) {
  Serve();
  const std::string here = "--machine '" + Machine() + "' ";
  for (const char* line :
       {"registers read 50", "registers read 50 --mask 0xFF00 --shift 8",
        "registers multi 50 126 22 10002", "registers write 2 1 --mask 2 --shift 1",
        "registers bitfile 0", "registers autocirculate 1", "registers autocirculate 0x101",
        "registers pattern 4", "status"}) {
    EXPECT_EQ(Asked(line + std::string(kThere)), Asked(here + line)) << line;
  }
}

TEST_F(NubCommand, ACardKeepsItsStateAsLongAsItIsServed) {
  Serve();
  Asked(std::string("registers write 68 0x1234") + kThere);
  EXPECT_EQ(Asked(std::string("registers read 68") + kThere)["value"], 0x1234);
}

TEST_F(NubCommand, WaitsForABoundaryThere) {
  Serve();
  // 1080i 59.94: standard 0, rate 4, geometry 0.
  Asked(std::string("registers write 0 4 --mask 7") + kThere);
  EXPECT_EQ(Asked(std::string("registers wait 0 3000") + kThere),
            (Json{{"result", 0}, {"value", nullptr}}));
  const ToolRun run = RunTool(PrivateFolder(), std::string("--json registers wait 5 1") + kThere);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(Json::parse(run.out)["error"], -2);
}

TEST_F(NubCommand, AWaitThereEndsWhenItIsStopped) {
  Serve();
  // No format is set, so nothing ever comes.
  BackgroundTool tool(PrivateFolder(), std::string("registers wait 5 3600000") + kThere);
  while (nub_->Errors().empty()) usleep(1000);
  tool.Signal(SIGTERM);
  EXPECT_EQ(tool.Wait(), 1);
}

TEST_F(NubCommand, MoreRegistersThanAPacketHoldsAreReadInSeveral) {
  std::string numbers;
  for (int i = 0; i < 600; ++i) numbers += i % 2 == 0 ? " 50" : " 126";
  const std::string line = "registers multi" + numbers;
  const Json here = Asked("--machine '" + Machine() + "' " + line);
  ASSERT_EQ(here["value"].size(), 600u);
  for (const char* version : {"1", "3"}) {
    Serve(std::string("--protocol ") + version);
    EXPECT_EQ(Asked(line + kThere), here) << version;
  }
  const ToolRun run = RunTool(PrivateFolder(), line + " 5001" + kThere);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_NE(run.err.find("Register 5001 cannot be read."), std::string::npos) << run.err;
}

TEST_F(NubCommand, AChannelThatIsNotThereHasNoRingThereEither) {
  Serve();
  const ToolRun run =
      RunTool(PrivateFolder(), std::string("--json registers autocirculate 77") + kThere);
  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(Json::parse(run.out)["text"], "Channel 0x0000004D has no frame ring.");
}

TEST_F(NubCommand, TellsTheBuildOfAnotherMachineAlone) {
  Serve();
  const Json value = Asked(std::string("registers build") + kThere)["value"];
  EXPECT_EQ(value["word0"], 0x10196500);
  EXPECT_EQ(value["text"].get<std::string>().rfind("morvane-nub ", 0), 0u) << value;
  EXPECT_EQ(RunTool(PrivateFolder(), "registers build").exitCode, 1);
}

TEST_F(NubCommand, EveryProtocolVersionReadsTheSame) {
  for (const char* version : {"1", "2", "3"}) {
    Serve(std::string("--protocol ") + version);
    EXPECT_EQ(Asked(std::string("registers multi 50 126") + kThere)["value"],
              (Json{0x10196500, 0x44000C01}));
    EXPECT_EQ(Asked(std::string("registers autocirculate 1") + kThere)["value"]["state"], 0);
    const ToolRun build = RunTool(PrivateFolder(), std::string("registers build") + kThere);
    EXPECT_EQ(build.exitCode, version[0] == '3' ? 0 : 1);
  }
}

TEST_F(NubCommand, WhatIsRefusedThereIsOneDocumentHere) {
  Serve();
  // The refusal of a write is told in words, and they do not get between the lines of the document.
  for (const char* line : {"registers write 5000 1", "registers read 5000",
                           "registers multi 50 5000", "registers read 50 --number 7"}) {
    const std::string there =
        std::string(line).find("--number") == std::string::npos ? kThere : " --host 127.0.0.1";
    const ToolRun run = RunTool(PrivateFolder(), "--json " + (line + there));
    EXPECT_EQ(run.exitCode, 1) << line;
    ASSERT_TRUE(Json::accept(run.out)) << run.out;
    EXPECT_EQ(Json::parse(run.out)["error"], -2);
    EXPECT_NE(run.err.find("morvanectl: error -2: "), std::string::npos) << run.err;
  }
}

TEST_F(NubCommand, AHostThatIsNotThereIsTold) {
  setenv("MORVANE_NUB_PORT", "1", 1);
  // The second is too long a name for any name server to be asked.
  for (const std::string& host : {std::string("127.0.0.1"), std::string(64, 'h')}) {
    const ToolRun run = RunTool(PrivateFolder(), "registers read 50 --host " + host);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.err.find(host + " cannot be reached"), std::string::npos) << run.err;
  }
  EXPECT_EQ(RunTool(PrivateFolder(), "status --host 127.0.0.1").exitCode, 1);
}

TEST_F(NubCommand, WrongLinesAreExitCodeTwo) {
  for (const char* line :
       {"registers read 50 --host", "registers read 50 --host ''",
        "registers read 50 --board 0 --host 127.0.0.1", "registers read 50 --board-type 8",
        "registers read 50 --number 0", "status --board 0 --host 127.0.0.1", "registers build 1"}) {
    EXPECT_EQ(RunTool(PrivateFolder(), line).exitCode, 2) << line;
  }
}

// ---- the server's own command line ----

TEST_F(NubCommand, EndsCleanlyWhenAsked) {
  for (const int number : {SIGTERM, SIGINT}) {
    Serve();
    EXPECT_EQ(Asked(std::string("registers read 50") + kThere)["value"], 0x10196500);
    nub_->Signal(number);
    EXPECT_EQ(nub_->Wait(), 0);
    // Exactly one line a connection, and none besides.
    const std::string said = nub_->Errors();
    EXPECT_EQ(said.rfind("morvane-nub: 127.0.0.1:", 0), 0u) << said;
    EXPECT_EQ(said.find('\n'), said.size() - 1) << said;
  }
}

TEST_F(NubCommand, EndsCleanlyWithClientsInTheMiddleOfSomething) {
  Serve();
  RawClient waiting(nub_->Port());
  ASSERT_TRUE(waiting.Send(OpenRequest()));
  ASSERT_EQ(waiting.TakeWaiting().size(), 116u);
  ASSERT_TRUE(waiting.Send(WaitRequest(1, 1500)));
  RawClient half(nub_->Port());
  Bytes request = OpenRequest();
  request.resize(70);
  ASSERT_TRUE(half.Send(request));
  RawClient last(nub_->Port());  // when it is answered, those before it were taken in
  ASSERT_TRUE(last.Send(OpenRequest()));
  ASSERT_EQ(last.TakeWaiting().size(), 116u);
  nub_->Signal(SIGTERM);
  EXPECT_EQ(nub_->Wait(), 0);
  (void)waiting.TakeWaiting();  // its wait may have been over first
  for (RawClient* client : {&waiting, &half, &last}) {
    EXPECT_TRUE(client->TakeWaiting().empty());
    EXPECT_TRUE(client->IsClosed());
  }
}

// A pipe that nobody reads is full after some hundred lines.
TEST_F(NubCommand, ServesOnWhenNobodyTakesItsLines) {
  const std::string pipe = PrivateFolder() + "/full";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDWR | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  const Bytes junk(4096, 'x');
  while (write(reader, junk.data(), junk.size()) > 0) {
  }
  NubProcess nub("--machine '" + Machine() + "' 2>'" + pipe + "' #");
  ASSERT_NE(nub.Port(), 0);
  RawClient client(nub.Port());
  ASSERT_TRUE(client.Send(OpenRequest()));
  EXPECT_EQ(client.TakeWaiting().size(), 116u);
  nub.Signal(SIGTERM);
  EXPECT_EQ(nub.Wait(), 0);
  close(reader);
}

TEST_F(NubCommand, ServesThisMachineAloneUnlessTold) {
  Serve();
  const int other = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in there = {};
  there.sin_family = AF_INET;
  there.sin_port = htons(nub_->Port());
  inet_pton(AF_INET, "127.0.0.2",
            &there.sin_addr);  // of this machine, and not the one it serves on
  EXPECT_NE(connect(other, reinterpret_cast<const sockaddr*>(&there), sizeof there), 0);
  EXPECT_EQ(errno, ECONNREFUSED);
  close(other);
}

TEST_F(NubCommand, HoldsTheBoardsThatItServes) {
  Serve();
  const NubProcess second;
  EXPECT_EQ(second.Port(), 0);
  EXPECT_NE(second.Errors().find("morvane-nub: error 200000: "), std::string::npos)
      << second.Errors();
  EXPECT_EQ(RunTool(PrivateFolder(), "pattern 0").exitCode, 1);
  nub_.reset();
  EXPECT_NE(NubProcess().Port(), 0);
}

TEST_F(NubCommand, ServesWhomItIsTold) {
  Serve("--allow 10.0.0.0/8 --allow 127.0.0.9");
  EXPECT_EQ(RunTool(PrivateFolder(), std::string("registers read 50") + kThere).exitCode, 1);
  EXPECT_NE(nub_->Errors().find("not in an allowed range"), std::string::npos);
  Serve("--allow 10.0.0.0/8 --allow 127.0.0.0/8");
  EXPECT_EQ(RunTool(PrivateFolder(), std::string("registers read 50") + kThere).exitCode, 0);
}

TEST_F(NubCommand, SaysThatAnOpenDoorIsOpen) {
  Serve("--bind 0.0.0.0");
  EXPECT_NE(nub_->Errors().find("whoever reaches 0.0.0.0 owns the cards"), std::string::npos);
  Serve("--bind 0.0.0.0 --allow 127.0.0.1");
  EXPECT_EQ(nub_->Errors(), "");
  Serve("--bind 127.0.0.1");
  EXPECT_EQ(nub_->Errors(), "");
}

TEST_F(NubCommand, WrongOptionsOfTheServer) {
  for (const char* line : {"--protocol 0", "--protocol 4", "--port 65536", "--port x",
                           "--bind here", "--allow 10.0.0.0/33", "--allow", "--what", "also"}) {
    NubProcess nub(line);
    EXPECT_EQ(nub.Port(), 0) << line;
    EXPECT_EQ(nub.Wait(), 2) << line;
  }
  NubProcess noFile("--machine /no/such/file.toml");
  EXPECT_EQ(noFile.Wait(), 1);
  EXPECT_NE(noFile.Errors().find("morvane-nub: error -2: "), std::string::npos);
  Serve();
  const std::string locks = FreshFolder("other-locks");
  NubProcess taken("--port " + std::to_string(nub_->Port()), "MORVANE_LOCKS='" + locks + "'");
  EXPECT_EQ(taken.Wait(), 1);
  EXPECT_NE(taken.Errors().find("Address already in use"), std::string::npos) << taken.Errors();
}

// ---- two machines ----

// Two network namespaces joined by a pair of interfaces, one the server's, one the client's.
TEST_F(NubCommand, TwoMachinesShareACard) {
  if (RunShell(PrivateFolder(), "unshare -Urn ip link add veth0 type veth peer name veth1")
          .exitCode != 0) {
    GTEST_SKIP() << "network namespaces cannot be made here (user namespaces, or ip of iproute2)";
  }
  const ToolRun run =
      RunShell(PrivateFolder(), "unshare -Urn bash '" + DataPath("support/two_machines.sh") +
                                    "' " MORVANE_NUB " " MORVANE_TOOL " '" + Machine() + "'");
  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_NE(run.out.find("1140853761"), std::string::npos) << run.out;  // 0x44000C01, the reference
  EXPECT_NE(run.out.find("\"value\": 99"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("1080i 59.94"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("morvane-nub "), std::string::npos) << run.out;
}

}  // namespace
}  // namespace morvane::test
