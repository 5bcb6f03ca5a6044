// Waits for interrupts over the nub, in stepped time.
#include "simulator/nub_session_fixture.h"

namespace morvane::test {
namespace {

constexpr int64_t kMs = 1'000'000;

class NubWaitTest : public NubSessionTest {
 protected:
  void SetUp() override {
    NubSessionTest::SetUp();
    handle_ = OpenBoard();
  }
  NubSession::Outcome Wait(uint32_t type, uint32_t timeoutMs) {
    return Execute(Packet(3, 10, "WaitIntQ", Words({handle_, 0, type, timeoutMs})));
  }
  [[nodiscard]] uint32_t Result() const { return WordAt(Parse(Reply()).payload, 4); }

  uint32_t handle_ = 0;
};

TEST_F(NubWaitTest, ABoundaryEndsAWait) {
  PortClient(&machine_.Driver(), BOARDTYPE_OEM2K).SetFormat(2);
  ASSERT_EQ(Wait(0, 1000), NubSession::Outcome::kWaiting);
  EXPECT_TRUE(session_->IsWaiting());
  clock_.Advance(20 * kMs);
  EXPECT_FALSE(session_->LookAtWait());
  clock_.Advance(20 * kMs);
  ASSERT_TRUE(session_->LookAtWait());
  EXPECT_FALSE(session_->IsWaiting());
  EXPECT_EQ(Reply(), Packet(3, 11, "WaitIntR", Words({handle_, 1, 0, 1000})));
}

TEST_F(NubWaitTest, ABoundaryFromBeforeTheWaitDoesNotCount) {
  PortClient(&machine_.Driver(), BOARDTYPE_OEM2K).SetFormat(2);
  ASSERT_EQ(Wait(0, 1000), NubSession::Outcome::kWaiting);
  clock_.Advance(40 * kMs);
  ASSERT_TRUE(session_->LookAtWait());
  clock_.Advance(100 * kMs);
  EXPECT_EQ(Wait(0, 1000), NubSession::Outcome::kWaiting);
}

TEST_F(NubWaitTest, ABoundaryThatWasDueInTimeCountsThoughNobodyLooked) {
  PortClient(&machine_.Driver(), BOARDTYPE_OEM2K).SetFormat(2);
  ASSERT_EQ(Wait(0, 40), NubSession::Outcome::kWaiting);
  clock_.Advance(500 * kMs);
  ASSERT_TRUE(session_->LookAtWait());
  EXPECT_EQ(Result(), 1u);
}

TEST_F(NubWaitTest, ABoundaryThatIsDueLaterIsTooLate) {
  PortClient(&machine_.Driver(), BOARDTYPE_OEM2K).SetFormat(2);
  ASSERT_EQ(Wait(0, 20), NubSession::Outcome::kWaiting);
  clock_.Advance(500 * kMs);
  ASSERT_TRUE(session_->LookAtWait());
  EXPECT_EQ(Result(), 0u);
}

TEST_F(NubWaitTest, ItIsDueWhenTheCardIs) {
  PortClient(&machine_.Driver(), BOARDTYPE_OEM2K).SetFormat(2);
  const int64_t now = NxClockNowNs();
  ASSERT_EQ(Wait(0, 1000), NubSession::Outcome::kWaiting);
  // Never later than 20 ms, as another client may change the rate meanwhile.
  EXPECT_EQ(session_->WaitDueNs(), now + 20 * kMs);
  clock_.Advance(20 * kMs);
  ASSERT_FALSE(session_->LookAtWait());
  EXPECT_GE(session_->WaitDueNs(), now + 33 * kMs);
  EXPECT_LE(session_->WaitDueNs(), now + 34 * kMs);
}

TEST_F(NubWaitTest, NoWaitIsLongerThanAClientHasPatience) {
  // No format was set, so nothing ever comes.
  ASSERT_EQ(Wait(0, 0xFFFFFFFF), NubSession::Outcome::kWaiting);
  clock_.Advance(1499 * kMs);
  EXPECT_FALSE(session_->LookAtWait());
  clock_.Advance(1 * kMs);
  ASSERT_TRUE(session_->LookAtWait());
  EXPECT_EQ(Result(), 0u);
}

TEST_F(NubWaitTest, AWaitOfNothingIsAnsweredAtOnce) {
  EXPECT_EQ(Wait(0, 0), NubSession::Outcome::kReply);
  EXPECT_EQ(Result(), 0u);
}

TEST_F(NubWaitTest, AnInterruptThatNobodyCanSubscribeTakesTheWholeTime) {
  for (const uint32_t type : {1u, 12u, 13u, 16u, 26u, 0xFFFFFFFFu}) {
    ASSERT_EQ(Wait(type, 50), NubSession::Outcome::kWaiting) << type;
    clock_.Advance(49 * kMs);
    EXPECT_FALSE(session_->LookAtWait()) << type;
    clock_.Advance(1 * kMs);
    EXPECT_TRUE(session_->LookAtWait()) << type;
    EXPECT_EQ(Result(), 0u) << type;
  }
}

TEST_F(NubWaitTest, WhatTheControlPortDidBeforeTheWaitEndsIt) {
  // A byte goes out; the interrupt that tells comes long before anybody waits for it.
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  ASSERT_TRUE(card.Write(70, 0x10));
  clock_.Advance(10 * kMs);
  EXPECT_EQ(Wait(14, 100), NubSession::Outcome::kReply);
  EXPECT_EQ(Result(), 1u);
  EXPECT_EQ(Wait(14, 100), NubSession::Outcome::kWaiting) << "once for each";
}

TEST_F(NubWaitTest, AClientThatVanishesInAWaitLeavesNothingBehind) {
  PortClient(&machine_.Driver(), BOARDTYPE_OEM2K).SetFormat(2);
  ASSERT_EQ(Wait(0, 1000), NubSession::Outcome::kWaiting);
  session_.reset();
  clock_.Advance(100 * kMs);
  Begin(3);
  handle_ = OpenBoard();
  ASSERT_EQ(Wait(0, 1000), NubSession::Outcome::kWaiting);
  clock_.Advance(40 * kMs);
  EXPECT_TRUE(session_->LookAtWait());
}

}  // namespace
}  // namespace morvane::test
