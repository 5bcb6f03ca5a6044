// Tape control of a deck in another machine: a nub server over the simulated card, in real time.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "session/tape_rig.h"
#include "simulator/nub_server.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

class ControlOfAFarDeck : public testing::Test {
 protected:
  ControlOfAFarDeck() : driver_(test::ElmWithDeck()) {
    InstallDriverPort(&driver_);
    NubServerOptions options;
    options.port = 0;
    server_ = std::make_unique<NubServer>(&driver_, options);
    std::string error;
    EXPECT_TRUE(server_->Listen(&error)) << error;
    setenv("MORVANE_NUB_PORT", std::to_string(server_->Port()).c_str(), 1);
    thread_ = std::thread([this] { server_->Run(); });
    EXPECT_TRUE(control_.Open(0, false, BOARDTYPE_OEM2K, "127.0.0.1"));
  }
  ~ControlOfAFarDeck() override {
    control_.Close();
    server_->Stop();
    thread_.join();
    server_.reset();
    unsetenv("MORVANE_NUB_PORT");
    InstallDriverPort(nullptr);
  }

  std::string Status() {
    std::string text;
    (void)control_.GetStatusText(&text);
    return text;
  }

  SimulatedDriver driver_;
  std::unique_ptr<NubServer> server_;
  std::thread thread_;
  CRQD5Control control_;
};

TEST_F(ControlOfAFarDeck, CommandsStatusAndTimecodeAsOnTheSpot) {
  ASSERT_TRUE(control_.IsRemote());
  EXPECT_TRUE(control_.IsControlAvailable());
  EXPECT_EQ(Status(), "Stop");
  EXPECT_TRUE(control_.CueUp("00:59:52:07"));
  std::string text = "Seeking";
  while (text == "Seeking") text = Status();
  EXPECT_EQ(text, "Cue Up");
  EXPECT_TRUE(control_.GetTimecode(&text));
  EXPECT_EQ(text, "00:59:52:07");
  EXPECT_TRUE(control_.Play());
  EXPECT_EQ(Status(), "Play");
  EXPECT_EQ(control_.GetSpeed(), 1);
  EXPECT_TRUE(control_.Stop());
  EXPECT_EQ(Status(), "Stop");
  EXPECT_EQ(control_.GetLastError(), "None");
}

TEST_F(ControlOfAFarDeck, DeckThatIsOffLineIsSaidToBe) {
  EXPECT_TRUE(control_.Play());
  DeckFaultDescription faults;
  faults.offLine = true;
  driver_.SetDeckFaults(0, faults);
  EXPECT_EQ(Status(), "Offline");
  EXPECT_FALSE(control_.Stop());
  driver_.SetDeckFaults(0, {});
  EXPECT_TRUE(control_.Stop());
}

}  // namespace
}  // namespace morvane
