// What each request of a nub client does, as bytes; no socket is involved.
#include <algorithm>
#include <cstring>

#include "simulator/nub_session_fixture.h"

namespace morvane::test {
namespace {

constexpr uint32_t kElm = 0x10196500;
constexpr int64_t kMs = 1'000'000;
constexpr uint32_t kPatternFrame = 3;  // where channel 1 shows a pattern

TEST_F(NubSessionTest, AnOpenReplyToTheByte) {
  const Bytes reply = Ask(Packet(3, 2, kOpenName, Words({0, 8, 0})));
  EXPECT_EQ(reply, Packet(3, 3, kOpenReplyName, Words({0, 8, 1})));
  EXPECT_EQ(reply.size(), 116u);
}

TEST_F(NubSessionTest, AReadReplyToTheByte) {
  const uint32_t handle = OpenBoard();
  const Bytes reply = Ask(Packet(3, 4, "Read1Q", Words({handle, 50, 0, 0xFFFF0000, 16, 0})));
  EXPECT_EQ(reply, Packet(3, 5, "Read1R", Words({handle, 50, 0x1019, 0xFFFF0000, 16, 1})));
  EXPECT_EQ(reply.size(), 95u);
}

TEST_F(NubSessionTest, TheServerChoosesTheVersionByAnsweringWithIt) {
  for (const uint32_t version : {1u, 2u, 3u}) {
    Begin(version);
    const Parsed reply = AskParsed(Packet(3, 2, kOpenName, Words({0, 8, 0})));
    EXPECT_EQ(reply.version, version);
    EXPECT_EQ(reply.type, 3u);
    EXPECT_EQ(reply.name, kOpenReplyName);
  }
}

TEST_F(NubSessionTest, HandlesCountUpAndABoardThatIsNotThereHasNone) {
  EXPECT_EQ(OpenBoard(), 1u);
  EXPECT_EQ(OpenBoard(), 2u);
  EXPECT_EQ(OpenBoard(1), kNoHandle);
  EXPECT_EQ(OpenBoard(0xFFFF), kNoHandle);
  for (const uint32_t type : {0u, 1u, 2u, 4u, 16u, 64u, 128u, 0xFFFFu}) {
    EXPECT_EQ(OpenBoard(0, type), kNoHandle) << type;
  }
  // Only the low 16 bits of number and type count.
  EXPECT_EQ(OpenBoard(0xABCD0000, 0x00010008), 3u);
}

TEST_F(NubSessionTest, BothHandlesOfABoardThatWasOpenedAgainAreGood) {
  const uint32_t first = OpenBoard();
  const uint32_t second = OpenBoard();
  EXPECT_EQ(ReadRegister(first, 50), kElm);
  EXPECT_EQ(ReadRegister(second, 50), kElm);
}

TEST_F(NubSessionTest, AClientThatOpensForEverKeepsItsLastHandles) {
  std::vector<uint32_t> handles;
  for (size_t i = 0; i < NubSession::kMaxHandles + 1; ++i) handles.push_back(OpenBoard());
  EXPECT_EQ(session_->HandleCount(), NubSession::kMaxHandles);
  EXPECT_EQ(Word(0, 4, "Read1Q", {handles[0], 50, 0, kAllBits, 0, 0}), kNoHandle);
  EXPECT_EQ(ReadRegister(handles[1], 50), kElm);
  EXPECT_EQ(ReadRegister(handles.back(), 50), kElm);
}

TEST_F(NubSessionTest, AHandleIsGoodForItsOwnClientAlone) {
  const uint32_t handle = OpenBoard();
  Begin(3);
  EXPECT_EQ(Word(0, 4, "Read1Q", {handle, 50, 0, kAllBits, 0, 0}), kNoHandle);
  EXPECT_EQ(OpenBoard(), handle + 1) << "handles are not given out twice";
}

struct Asked {
  uint32_t type;
  const char* name;
  size_t requestBytes;
  const char* replyName;
  size_t replyBytes;
  uint32_t command;  // word 2
};
// clang-format off
constexpr Asked kAsked[] = {
  {4,  "Read1Q",   24,   "Read1R",   24,   0},
  {6,  "Write1Q",  24,   "Write1R",  24,   0},
  {8,  "GetACQ",   104,  "GetACR",   104,  4},
  {10, "WaitIntQ", 16,   "WaitIntR", 16,   0},
  {12, "GetBFIQ",  1036, "GetBFIR",  1036, 0},
  {14, "DLTPQ",    28,   "DLTPR",    28,   1},
  {16, "ReadMQ",   16,   "ReadMR",   16,   0},
  {18, "GetDVQ",   4,    "GetDVR",   12,   0},
  {20, "ACCtrlQ",  72,   "ACCtrlR",  72,   2},
  {22, "GetBIQ",   2056, "GetBIR",   2056, 0},
};
// clang-format on

TEST_F(NubSessionTest, EveryReplyHasItsNumberItsNameAndItsLength) {
  const uint32_t handle = OpenBoard();
  for (const Asked& asked : kAsked) {
    const Bytes payload =
        Padded(asked.requestBytes == 4 ? Words({handle}) : Words({handle, 0, asked.command, 0}),
               asked.requestBytes);
    const Parsed reply = AskParsed(Packet(3, asked.type, asked.name, payload));
    EXPECT_EQ(reply.version, 3u) << asked.name;
    EXPECT_EQ(reply.type, asked.type + 1) << asked.name;
    EXPECT_EQ(reply.name, asked.replyName);
    EXPECT_EQ(reply.payload.size(), asked.replyBytes) << asked.name;
    EXPECT_EQ(WordAt(reply.payload, 0), handle) << asked.name;
  }
}

TEST_F(NubSessionTest, AHandleThatNobodyHasComesBackAsMinusOne) {
  for (const Asked& asked : kAsked) {
    for (const uint32_t handle : {0u, 7u, kNoHandle}) {
      const Bytes payload =
          Padded(asked.requestBytes == 4 ? Words({handle}) : Words({handle, 0, asked.command, 0}),
                 asked.requestBytes);
      const Parsed reply = AskParsed(Packet(3, asked.type, asked.name, payload));
      EXPECT_EQ(WordAt(reply.payload, 0), kNoHandle) << asked.name << " " << handle;
    }
  }
}

TEST_F(NubSessionTest, AVersionAboveThreeHasTheNamesOfThree) {
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Ask(Packet(7, 4, "Read1Q", Words({handle, 50, 0, kAllBits, 0, 0}))),
            Packet(7, 5, "Read1R", Words({handle, 50, kElm, kAllBits, 0, 1})));
}

TEST_F(NubSessionTest, VersionOneTellsStatusFromControlByTheNameAlone) {
  Begin(1);
  const uint32_t handle = OpenBoard();
  const Parsed status =
      AskParsed(Packet(1, 8, "Right! How do you plead?", Padded(Words({handle, 0, 4, 1}), 104)));
  EXPECT_EQ(status.type, 9u);
  EXPECT_EQ(status.name, "Innocent.");
  EXPECT_EQ(status.payload.size(), 104u);
  const Parsed control = AskParsed(
      Packet(1, 8, "Biggles! Fetch...THE SOFT CUSHIONS!", Padded(Words({handle, 0, 2, 1}), 72)));
  EXPECT_EQ(control.type, 9u);
  EXPECT_EQ(control.name, "Here they are, lord.");
  EXPECT_EQ(control.payload.size(), 72u);
  EXPECT_EQ(WordAt(control.payload, 4), 1u) << "a stop of an idle channel succeeds";
}

TEST_F(NubSessionTest, LongNamesOfVersionOne) {
  Begin(1);
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Ask(Packet(1, 4, "Cardinal Fang! Fetch...THE COMFY CHAIR!",
                       Words({handle, 50, 0, kAllBits, 0, 0}))),
            Packet(1, 5, "The...Comfy Chair?", Words({handle, 50, kElm, kAllBits, 0, 1})));
}

// ---- registers ----

TEST_F(NubSessionTest, AWriteTouchesItsMaskAlone) {
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Word(5, 6, "Write1Q", {handle, 68, 0x11223344, kAllBits, 0, 0}), 1u);
  EXPECT_EQ(Word(5, 6, "Write1Q", {handle, 68, 0xAB, 0x0000FF00, 8, 0}), 1u);
  EXPECT_EQ(ReadRegister(handle, 68), 0x1122AB44u);
  PortClient local(&machine_.Driver(), BOARDTYPE_OEM2K);
  EXPECT_EQ(local.Get(68), 0x1122AB44u) << "it is the same card";
}

TEST_F(NubSessionTest, ARegisterThatIsNotThereIsResultZero) {
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Word(5, 4, "Read1Q", {handle, 5000, 0, kAllBits, 0, 0}), 0u);
  EXPECT_EQ(Word(5, 6, "Write1Q", {handle, 5000, 1, kAllBits, 0, 0}), 0u);
}

TEST_F(NubSessionTest, SeveralRegistersEachWithItsMask) {
  const uint32_t handle = OpenBoard();
  const Parsed reply = AskParsed(
      Packet(3, 16, "ReadMQ", Words({handle, 2, 0, 0, 50, 0, 0xFF00, 8, 50, 0, kAllBits, 0})));
  EXPECT_EQ(WordAt(reply.payload, 8), 1u);
  EXPECT_EQ(WordAt(reply.payload, 12), 0u);
  EXPECT_EQ(WordAt(reply.payload, 16), 50u);
  EXPECT_EQ(WordAt(reply.payload, 20), 0x65u);
  EXPECT_EQ(WordAt(reply.payload, 32), 50u);
  EXPECT_EQ(WordAt(reply.payload, 36), kElm);
}

TEST_F(NubSessionTest, SeveralRegistersStopAtTheFirstThatFails) {
  const uint32_t handle = OpenBoard();
  const Parsed reply = AskParsed(Packet(3, 16, "ReadMQ",
                                        Words({handle, 3, 0, 0, 50, 0, kAllBits, 0,  //
                                               5000, 0, kAllBits, 0, 50, 0, kAllBits, 0})));
  EXPECT_EQ(reply.payload.size(), 64u);
  EXPECT_EQ(WordAt(reply.payload, 8), 0u);
  EXPECT_EQ(WordAt(reply.payload, 12), 5000u);
  EXPECT_EQ(WordAt(reply.payload, 20), kElm);
  EXPECT_EQ(WordAt(reply.payload, 52), 0u) << "the one behind it was not read";
}

Bytes ManyRegisters(uint32_t handle, uint32_t count) {
  Bytes payload = Words({handle, count, 0, 0});
  for (uint32_t i = 0; i < count; ++i) {
    const Bytes entry = Words({50, 0, kAllBits, 0});
    payload.insert(payload.end(), entry.begin(), entry.end());
  }
  return payload;
}

TEST_F(NubSessionTest, SeveralRegistersUpToTheLimitOfEachVersion) {
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Ask(Packet(3, 16, "ReadMQ", ManyRegisters(handle, 510))).size(), 8247u);
  EXPECT_EQ(Ask(Packet(1, 16, "Surprise and...", ManyRegisters(handle, 507))).size(), 8249u);
  // The request would still fit in version 1, and its reply no more.
  EXPECT_EQ(Execute(Packet(1, 16, "Surprise and...", ManyRegisters(handle, 508))),
            NubSession::Outcome::kRefused);
  EXPECT_EQ(Execute(Packet(3, 16, "ReadMQ", Words({handle, 0xFFFFFFFF, 0, 0}))),
            NubSession::Outcome::kRefused);
  EXPECT_EQ(Execute(Packet(3, 16, "ReadMQ", Words({handle, 2, 0, 0, 50, 0, kAllBits, 0}))),
            NubSession::Outcome::kRefused);
}

TEST_F(NubSessionTest, EachHandlePollsTheLineForItself) {
  const uint32_t first = OpenBoard();
  const uint32_t second = OpenBoard();
  PortClient(&machine_.Driver(), BOARDTYPE_OEM2K).SetFormat(2);
  // Every other read of one opener repeats the sample before it, whatever others do between.
  for (int i = 0; i < 4; ++i) {
    const uint32_t line = ReadRegister(first, 18);
    clock_.Advance(1'000'000);
    const uint32_t other = ReadRegister(second, 18);
    clock_.Advance(1'000'000);
    EXPECT_EQ(ReadRegister(first, 18), line) << i;
    EXPECT_EQ(ReadRegister(second, 18), other) << i;
    EXPECT_NE(line, other) << i;
  }
}

// ---- logic, build, patterns ----

TEST_F(NubSessionTest, TheLogicOfTheCard) {
  const uint32_t handle = OpenBoard();
  Bytes request = Padded(Words({handle, 0, 0}), 1036);
  request[99] = 5;  // project number
  const Parsed reply = AskParsed(Packet(3, 12, "GetBFIQ", request));
  CRQD5TestPattern local;
  ASSERT_TRUE(local.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  RQD5BitFileInfo info = {};
  info.projectNumber = 5;
  ASSERT_TRUE(local.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(WordAt(reply.payload, 4), 1u);
  EXPECT_EQ(WordAt(reply.payload, 20), uint32_t{info.recordSize});
  EXPECT_EQ(WordAt(reply.payload, 24), uint32_t{info.byteCount});
  EXPECT_EQ(std::memcmp(reply.payload.data() + 28, info.date, 48), 0);
  EXPECT_EQ(WordAt(reply.payload, 76), uint32_t{info.kind});
  EXPECT_EQ(WordAt(reply.payload, 96), uint32_t{info.projectNumber});
}

TEST_F(NubSessionTest, TheBuildTellsBoardLogicAndServer) {
  const uint32_t handle = OpenBoard();
  Word(5, 6, "Write1Q", {handle, 10050, 3, kAllBits, 0, 0});
  Bytes request = Padded(Words({handle}), 2056);
  request[2055] = 9;  // whatever a client leaves there does not come back
  const Parsed reply = AskParsed(Packet(3, 22, "GetBIQ", request));
  EXPECT_EQ(WordAt(reply.payload, 4), 1u);
  EXPECT_EQ(WordAt(reply.payload, 8), kElm);
  EXPECT_EQ(WordAt(reply.payload, 12), 3u);
  EXPECT_STREQ(reinterpret_cast<const char*>(reply.payload.data() + 16), "built for a test");
  EXPECT_EQ(Bytes(reply.payload.begin() + 1040, reply.payload.end()), Bytes(1016, 0));
  for (const uint32_t version : {1u, 2u}) {
    EXPECT_EQ(Execute(Packet(version, 22, "GetBIQ", request)), NubSession::Outcome::kRefused);
  }
}

TEST_F(NubSessionTest, APatternIsDrawnAsOneOfOurOwn) {
  constexpr uint32_t kBytes = 1920 * 1080 * 2;
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  card.SetFormat(2);
  const uint32_t handle = OpenBoard();
  ASSERT_EQ(Word(1, 14, "DLTPQ", {handle, 0, 1, FrameBuffer8BitUyvy, 7, 1, 4}), 1u);
  Bytes far(kBytes, 0xEE);
  ASSERT_TRUE(card.Dma(kDmaEngineFrame, true, kPatternFrame, far.data(), kBytes));

  CRQD5TestPattern local;
  ASSERT_TRUE(local.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  local.SetChannel(2);  // into another frame
  ASSERT_TRUE(local.DownloadTestPattern(4));
  Bytes near(kBytes, 0xDD);
  ASSERT_TRUE(card.Dma(kDmaEngineFrame, true, 7, near.data(), kBytes));
  EXPECT_TRUE(far == near);
  EXPECT_TRUE(std::any_of(far.begin(), far.end(), [](uint8_t byte) { return byte != 0xEE; }));
}

TEST_F(NubSessionTest, APatternIsAnsweredWhenThePainterHasDrawnIt) {
  HeldPainter painter;
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  card.SetFormat(2);
  session_ = std::make_unique<NubSession>(cards_.get(), 3, "", painter.Get());
  const uint32_t handle = OpenBoard();
  ASSERT_EQ(Execute(Packet(3, 14, "DLTPQ", Words({handle, 0, 1, FrameBuffer8BitUyvy, 7, 1, 4}))),
            NubSession::Outcome::kWaiting);
  EXPECT_TRUE(session_->IsWaiting());
  EXPECT_FALSE(session_->LookAtWait());
  EXPECT_EQ(session_->WaitDueNs(), NxClockNowNs() + 1500 * kMs) << "or when the painter tells";
  painter.Open();
  ASSERT_TRUE(session_->LookAtWait());
  EXPECT_FALSE(session_->IsWaiting());
  EXPECT_EQ(Reply(), Packet(3, 15, "DLTPR", Words({handle, 1, 1, FrameBuffer8BitUyvy, 7, 1, 4})));
  EXPECT_EQ(Word(0, 14, "DLTPQ", {99, 0, 1, FrameBuffer8BitUyvy, 7, 1, 4}), kNoHandle)
      << "what needs no drawing needs no painter";
}

TEST_F(NubSessionTest, APatternThatIsNotDrawnInTimeIsRefusedAndForgotten) {
  HeldPainter painter;
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  card.SetFormat(2);
  session_ = std::make_unique<NubSession>(cards_.get(), 3, "", painter.Get());
  const uint32_t handle = OpenBoard();
  const Bytes request = Packet(3, 14, "DLTPQ", Words({handle, 0, 1, FrameBuffer8BitUyvy, 7, 1, 4}));
  ASSERT_EQ(Execute(request), NubSession::Outcome::kWaiting);
  clock_.Advance(1500 * kMs - 1);
  EXPECT_FALSE(session_->LookAtWait());
  clock_.Advance(1);
  ASSERT_TRUE(session_->LookAtWait());
  EXPECT_FALSE(session_->IsWaiting());
  EXPECT_EQ(Reply(), Packet(3, 15, "DLTPR", Words({handle, 0, 1, FrameBuffer8BitUyvy, 7, 1, 4})));
  EXPECT_EQ(ReadRegister(handle, 50), kElm) << "and the client is served on";
  painter.Open();
  Bytes frame(4096, 0xEE);
  ASSERT_TRUE(card.Dma(kDmaEngineFrame, true, kPatternFrame, frame.data(), 4096));
  EXPECT_EQ(frame, Bytes(4096, 0)) << "what was answered with a refusal is not drawn later";
  ASSERT_EQ(Execute(request), NubSession::Outcome::kWaiting);
  EXPECT_TRUE(painter.Get()->Draw([] { return true; }).get());
  ASSERT_TRUE(session_->LookAtWait());
  EXPECT_EQ(WordAt(Parse(Reply()).payload, 4), 1u) << "the next one is";
}

TEST_F(NubSessionTest, APatternOfAVanishedClientIsNotDrawn) {
  HeldPainter painter;
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  card.SetFormat(2);
  session_ = std::make_unique<NubSession>(cards_.get(), 3, "", painter.Get());
  const uint32_t handle = OpenBoard();
  ASSERT_EQ(Execute(Packet(3, 14, "DLTPQ", Words({handle, 0, 1, FrameBuffer8BitUyvy, 7, 1, 4}))),
            NubSession::Outcome::kWaiting);
  session_.reset();
  painter.Open();
  Bytes frame(4096, 0xEE);
  ASSERT_TRUE(card.Dma(kDmaEngineFrame, true, kPatternFrame, frame.data(), 4096));
  EXPECT_EQ(frame, Bytes(4096, 0));
}

TEST_F(NubSessionTest, AQueryAndTheDriverVersionAreAnsweredForOthers) {
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Ask(Packet(3, 0, "Our chief weapons are?", {})),
            Packet(3, 1, "Fear and surprise!", {}));
  EXPECT_EQ(Ask(Packet(3, 18, "GetDVQ", Words({handle}))),
            Packet(3, 19, "GetDVR", Words({handle, 1, 0x2401})));
}

// ---- the frame ring ----

TEST_F(NubSessionTest, TheStatusOfARunningRing) {
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  card.SetFormat(2);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  ASSERT_TRUE(card.Init(0x101, 2, 9));
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Control(handle, 1, 0x101), 1u);
  step_.Step(3);
  const Parsed reply = AskParsed(Packet(3, 8, "GetACQ", Padded(Words({handle, 0, 4, 0x101}), 104)));
  const RQD5AutoCirculateStatus status = card.Status(0x101);
  const Bytes& payload = reply.payload;
  EXPECT_EQ(WordAt(payload, 4), 1u);
  EXPECT_EQ(WordAt(payload, 12), 0x101u);
  EXPECT_EQ(WordAt(payload, 16), 5u) << "running";
  EXPECT_EQ(WordAt(payload, 20), 2u);
  EXPECT_EQ(WordAt(payload, 24), 9u);
  EXPECT_EQ(WordAt(payload, 28), uint32_t{status.activeFrame});
  // The stamps are bytes of memory: least significant first.
  EXPECT_EQ(std::memcmp(payload.data() + 32, &status.startTime, 32), 0);
  EXPECT_EQ(WordAt(payload, 64), uint32_t{status.framesProcessed});
  EXPECT_GT(WordAt(payload, 64), 0u);
  EXPECT_EQ(WordAt(payload, 68), uint32_t{status.framesDropped});
  EXPECT_EQ(WordAt(payload, 72), uint32_t{status.bufferLevel});
  EXPECT_EQ(WordAt(payload, 76), 1u) << "audio is on";
  EXPECT_EQ(WordAt(payload, 80), 1u) << "the first option";
  EXPECT_EQ(WordAt(payload, 84), 0u);
  EXPECT_EQ(WordAt(payload, 88), 0u);
  EXPECT_EQ(WordAt(payload, 92), 0u);
  EXPECT_EQ(WordAt(payload, 96), uint32_t{status.timecodePresent});
  EXPECT_EQ(WordAt(payload, 100), 0u);
}

TEST_F(NubSessionTest, OnlyStartStopAbortAndTwoMoreAreCarriedOut) {
  const uint32_t handle = OpenBoard();
  for (uint32_t command = 0; command < 16; ++command) {
    // A start without an initialisation is refused by the card itself.
    const bool good = command == 2 || command == 3 || command == 6 || command == 9;
    EXPECT_EQ(Control(handle, command, 1), good ? 1u : 0u) << command;
    if (command == 4) continue;
    EXPECT_EQ(Word(1, 8, "GetACQ", {handle, 0, command, 1}, 104), 0u) << command;
  }
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  EXPECT_EQ(card.Status(1).state, 0u) << "nothing was initialised";
}

TEST_F(NubSessionTest, WhatAVanishedClientStartedIsStoppedByTheNext) {
  PortClient card(&machine_.Driver(), BOARDTYPE_OEM2K);
  card.SetFormat(2);
  ASSERT_TRUE(card.Init(1, 0, 9));
  EXPECT_EQ(Control(OpenBoard(), 1, 1), 1u);
  step_.Step(2);
  session_.reset();
  EXPECT_EQ(card.Status(1).state, 5u) << "a ring outlives the client that started it";
  Begin(3);
  const uint32_t handle = OpenBoard();
  EXPECT_EQ(Control(handle, 2, 1), 1u);
  step_.Step(2);
  EXPECT_EQ(Word(4, 8, "GetACQ", {handle, 0, 4, 1}, 104), 0u) << "idle";
}

}  // namespace
}  // namespace morvane::test
