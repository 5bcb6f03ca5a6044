#pragma once

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <string>

#include "base/clock.h"
#include "simulator/nub_packets.h"
#include "simulator/nub_session.h"
#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"
#include "simulator/simulated_machine.h"

namespace morvane::test {

inline constexpr uint32_t kAllBits = 0xFFFFFFFF;
inline constexpr uint32_t kNoHandle = 0xFFFFFFFF;

// One client's session over a machine of one "Elm", in stepped time. Requests go in as bytes.
class NubSessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    machine_.Install();
    cards_ = std::make_unique<NubCards>(&machine_.Driver());
    Begin(3);
  }

  // A new client, which the server answers in `protocol`.
  void Begin(uint32_t protocol) {
    session_ = std::make_unique<NubSession>(cards_.get(), protocol, "built for a test");
  }

  NubSession::Outcome Execute(const Bytes& packet) { return session_->Execute(packet); }
  [[nodiscard]] Bytes Reply() const { return {session_->Reply().begin(), session_->Reply().end()}; }
  // A request that is answered at once.
  Bytes Ask(const Bytes& packet) {
    EXPECT_EQ(Execute(packet), NubSession::Outcome::kReply) << session_->Refusal();
    return Reply();
  }
  Parsed AskParsed(const Bytes& packet) {
    const Bytes reply = Ask(packet);
    if (reply.size() < 65) return {};
    Parsed parsed = Parse(reply);
    EXPECT_EQ(reply.size(), 64 + parsed.dataLength);
    return parsed;
  }
  uint32_t OpenBoard(uint32_t number = 0, uint32_t type = 8) {
    return WordAt(AskParsed(Packet(3, 2, kOpenName, Words({number, type, 0}))).payload, 8);
  }
  // Word `index` of the reply to a request of whole words.
  uint32_t Word(size_t index, uint32_t type, const std::string& name,
                std::initializer_list<uint32_t> words, size_t bytes = 0) {
    Bytes payload = Words(words);
    if (bytes > payload.size()) payload.resize(bytes, 0);
    return WordAt(AskParsed(Packet(3, type, name, payload)).payload, 4 * index);
  }
  uint32_t ReadRegister(uint32_t handle, uint32_t number) {
    return Word(2, 4, "Read1Q", {handle, number, 0, kAllBits, 0, 0});
  }
  // Returns: the result word.
  uint32_t Control(uint32_t handle, uint32_t command, uint32_t channel) {
    return Word(1, 20, "ACCtrlQ", {handle, 0, command, channel}, 72);
  }

  ManualClock clock_;
  FrameStepper step_{&clock_, 30000, 1001};
  SimulatedMachine machine_{BuiltInMachine()};
  std::unique_ptr<NubCards> cards_;
  std::unique_ptr<NubSession> session_;
};

// A painter that is held up by a first drawing until Open().
class HeldPainter {
 public:
  HeldPainter()
      : first_(painter_.Draw([gate = gate_.get_future().share()] {
          gate.wait();
          return true;
        })) {}
  [[nodiscard]] NubPainter* Get() { return &painter_; }
  // Lets it go on, and waits until it has done all that was ordered before.
  void Open() {
    gate_.set_value();
    EXPECT_TRUE(painter_.Draw([] { return true; }).get());
  }

 private:
  std::promise<void> gate_;
  NubPainter painter_{[] {}};
  std::future<bool> first_;
};

}  // namespace morvane::test
