// Cards in another machine: the driver interface, card control and test patterns on their remote
// road.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "device/boards.h"
#include "device/nub_exchange.h"
#include "device/nub_fake.h"
#include "device/test_pattern.h"
#include "device/win_driver_interface.h"
#include "support/message_recorder.h"

namespace morvane {
namespace {

using test::Bytes;
using test::Header;
using test::kNubHost;
using test::NameOf;
using test::NubFake;
using test::OpenReply;
using test::Packet;
using test::PayloadOf;
using test::ReadReply;
using test::Wire;
using test::WriteReply;

using Texts = std::vector<std::string>;

// A card on the other side that is its registers, with the masked write; version 3.
class RemoteRegisters {
 public:
  explicit RemoteRegisters(uint32_t identity) : fake_(NubFake::Answering(Answers())) {
    Put(50, identity);
  }

  [[nodiscard]] uint32_t At(uint32_t number) {
    std::lock_guard lock(mutex_);
    return registers_[number];
  }
  void Put(uint32_t number, uint32_t value) {
    std::lock_guard lock(mutex_);
    registers_[number] = value;
  }
  // Ends the other side.
  [[nodiscard]] std::vector<Bytes> Requests() { return fake_->Requests(); }

 private:
  [[nodiscard]] NubFake::Answer Answers() {
    return [this](const Bytes& request) { return AnswerOf(request); };
  }

  [[nodiscard]] Bytes AnswerOf(const Bytes& request) {
    std::lock_guard lock(mutex_);
    const std::string name = NameOf(request);
    const Bytes payload = PayloadOf(request);
    const auto word = [&payload](size_t i) { return LoadBe32(&payload[4 * i]); };
    if (name == "I didn't expect a kind of Spanish Inquisition.") return OpenReply(3, 7);
    if (name == "Read1Q") {
      const uint32_t value = (registers_[word(1)] & word(3)) >> word(4);
      return Packet(3, 5, "Read1R", Wire({7, word(1), value, word(3), word(4), 1}));
    }
    if (name == "Write1Q") {
      uint32_t& value = registers_[word(1)];
      value = (value & ~word(3)) | ((word(2) << word(4)) & word(3));
      return Packet(3, 7, "Write1R", Wire({7, word(1), word(2), word(3), word(4), 1}));
    }
    if (name == "GetACQ") {
      Bytes status = Wire({7, 1, 0, word(3), 0});
      status.resize(104, 0);
      return Packet(3, 9, "GetACR", status);
    }
    if (name == "ACCtrlQ") {
      Bytes result = Wire({7, 1});
      result.resize(72, 0);
      return Packet(3, 21, "ACCtrlR", result);
    }
    if (name == "WaitIntQ") return Packet(3, 11, "WaitIntR", Wire({7, 1, 0, 0}));
    return Header(3, 99, 0);
  }

  std::mutex mutex_;
  std::map<uint32_t, uint32_t> registers_;
  std::unique_ptr<NubFake> fake_;
};

Texts TextsOf(test::MessageRecorder* messages) {
  Texts texts;
  for (const auto& message : messages->Take()) texts.push_back(message.text);
  return texts;
}

// ---- opening and closing ----

TEST(NubDoor, AnOpenReadsIdentityGeometryAndFormatOverThere) {
  RemoteRegisters remote(BoardElm);
  remote.Put(0, 10 << 3);
  remote.Put(1, 0x02 | 0x40);
  CRQD5WinDriverInterface door;
  ASSERT_TRUE(door.Open(0, true, 8, kNubHost));
  EXPECT_TRUE(door.IsOpen());
  EXPECT_TRUE(door.IsRemote());
  EXPECT_EQ(door.RemoteHandle(), 7);
  EXPECT_EQ(door.RemoteHost(), kNubHost);
  EXPECT_EQ(door.GetNubProtocolVersion(), 3u);
  EXPECT_EQ(door.BoardID(), BoardElm);
  EXPECT_EQ(door.FrameSlotBytes(), 16u << 20);
  EXPECT_TRUE(door.Close());
  const auto requests = remote.Requests();
  ASSERT_EQ(requests.size(), 5u);
  EXPECT_EQ(PayloadOf(requests[0]), Wire({0, 8, 0}));
  EXPECT_EQ(PayloadOf(requests[1]), Wire({7, 50, 0, 0xFFFFFFFF, 0, 0}));
  EXPECT_EQ(PayloadOf(requests[2]), Wire({7, 0, 0, 0x78, 3, 0}));
  EXPECT_EQ(PayloadOf(requests[3]), Wire({7, 1, 0, 0x1E, 1, 0}));
  EXPECT_EQ(PayloadOf(requests[4]), Wire({7, 1, 0, 0x40, 6, 0}));
}

TEST(NubDoor, BoardTypesThatAreNotHereCanBeThere) {
  for (const uint32_t type : {64u, 128u}) {
    RemoteRegisters remote(0);
    CRQD5WinDriverInterface door;
    EXPECT_TRUE(door.Open(0, true, type, kNubHost));
    EXPECT_TRUE(door.IsRemote());
  }
}

TEST(NubDoor, ARemoteObjectKeepsTheNumberItHadAndConnectsAnew) {
  RemoteRegisters remote(BoardElm);
  CRQD5WinDriverInterface door;
  ASSERT_TRUE(door.Open(3, true, 8, kNubHost));
  EXPECT_EQ(door.BoardNumber(), 0u);
  ASSERT_TRUE(door.Open(3, true, 8, kNubHost));  // not the number it has: closed and opened again
  ASSERT_TRUE(door.Open(0, true, 2, kNubHost));  // the number it has: nothing happens
  EXPECT_EQ(door.BoardType(), 8u);
  const auto requests = remote.Requests();
  ASSERT_EQ(requests.size(), 10u);
  EXPECT_EQ(PayloadOf(requests[5]), Wire({3, 8, 0}));
}

TEST(NubDoor, CloseIsFalseWithoutAConnectionAndForgetsAllWithOne) {
  RemoteRegisters remote(BoardElm);
  CRQD5WinDriverInterface door;
  EXPECT_FALSE(door.CloseRemote());
  ASSERT_TRUE(door.Open(0, true, 8, kNubHost));
  EXPECT_TRUE(door.CloseRemote());
  EXPECT_FALSE(door.IsOpen());
  EXPECT_FALSE(door.IsRemote());
  EXPECT_EQ(door.GetNubProtocolVersion(), 0u);
  EXPECT_EQ(door.RemoteHost(), "");
  EXPECT_FALSE(door.CloseRemote());
}

TEST(NubDoor, CloseWithoutAConnectionForgetsThatTheBoardIsOpen) {
  CRQD5WinDriverInterface door;
  // A label too long for any name server to be asked.
  (void)door.Open(0, true, 8, std::string(64, 'h').c_str());  // says so and still opens
  ASSERT_TRUE(door.IsOpen());
  EXPECT_FALSE(door.CloseRemote());
  EXPECT_FALSE(door.IsOpen());
}

TEST(NubDoor, AFailedOpenSaysSoAndStillOpens) {
  NubFake fake({OpenReply(3, 0xFFFFFFFF)});
  test::MessageRecorder messages;
  CRQD5WinDriverInterface door;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(door.Open(0, true, 8, kNubHost));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Got invalid handle on open response.\n");
  EXPECT_TRUE(door.IsOpen());
  EXPECT_FALSE(door.IsRemote());
  EXPECT_EQ(door.BoardID(), 0u);
  EXPECT_EQ(TextsOf(&messages), Texts{"Failed to open board on remote host."});
  uint32_t value = 0x55;
  EXPECT_FALSE(door.ReadRegister(50, &value));
  EXPECT_EQ(value, 0x55u);
  EXPECT_EQ(fake.Requests().size(), 1u);
}

TEST(NubDoor, NobodyThereSaysSoAndStillOpens) {
  { const NubFake gone(std::vector<Bytes>{}); }
  setenv("MORVANE_NUB_PORT", "1", 1);
  test::MessageRecorder messages;
  CRQD5WinDriverInterface door;
  EXPECT_TRUE(door.Open(0, true, 8, kNubHost));
  unsetenv("MORVANE_NUB_PORT");
  EXPECT_EQ(TextsOf(&messages), Texts{"Failed to open board on remote host."});
  uint32_t value = 0;
  EXPECT_FALSE(door.ReadRegister(50, &value));
}

// ---- what is refused over there ----

TEST(NubDoor, EachRemoteFailureHasItsText) {
  NubFake fake(NubFake::Script([](NubFake& peer) {
    for (Bytes request; !(request = peer.ReceiveOfAny()).empty();) {
      const bool open = request[7] == 2;
      peer.Send(open ? OpenReply(3, 7) : Header(3, 99, 0));
    }
  }));
  test::MessageRecorder messages;
  CRQD5TestPattern door;
  ASSERT_TRUE(door.Open(0, true, 8, kNubHost));
  EXPECT_EQ(TextsOf(&messages), Texts(4, "RQD5ReadRegisterRemote failed"));
  uint32_t value = 0x55;
  EXPECT_FALSE(door.ReadRegister(50, &value));
  EXPECT_EQ(TextsOf(&messages), Texts{"RQD5ReadRegisterRemote failed"});
  EXPECT_FALSE(door.WriteRegister(50, 1));
  EXPECT_EQ(TextsOf(&messages), Texts{"RQD5WriteRegisterRemote failed"});
  EXPECT_FALSE(door.StartAutoCirculate(1));
  EXPECT_EQ(TextsOf(&messages), Texts{"RQD5AutoCirculateRemote failed"});
  RQD5BitFileInfo info{};
  EXPECT_FALSE(door.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(TextsOf(&messages), Texts{"RQD5DriverGetBitFileInformationRemote failed"});
  EXPECT_FALSE(door.DownloadTestPattern(0));
  EXPECT_EQ(TextsOf(&messages), Texts{"RQD5DownloadTestPatternRemote failed"});
  // These have none.
  RQD5RegisterEntry entry{50, 0, 0xFFFFFFFF, 0};
  RQD5BuildInfo build{};
  EXPECT_FALSE(door.ReadRegisterMulti(1, &value, &entry));
  EXPECT_FALSE(door.WaitForInterrupt(0, 42));
  EXPECT_FALSE(door.DriverGetBuildInformation(&build));
  EXPECT_EQ(TextsOf(&messages), Texts{});
}

TEST(NubDoor, ARefusedWriteIsTrueToItsCaller) {
  NubFake fake({OpenReply(3, 7), ReadReply(7, BoardElm, 1), ReadReply(7, 0, 1), ReadReply(7, 0, 1),
                ReadReply(7, 0, 1), WriteReply(7, 0)});
  test::MessageRecorder messages;
  CRQD5WinDriverInterface door;
  ASSERT_TRUE(door.Open(0, true, 8, kNubHost));
  testing::internal::CaptureStdout();
  EXPECT_TRUE(door.WriteRegister(68, 1));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Write Register 68 failed on remote side.\n");
  EXPECT_EQ(TextsOf(&messages), Texts{});
}

TEST(NubDoor, WhatIsLocalOnlyIsRefusedAndNothingIsSent) {
  RemoteRegisters remote(BoardElm);
  CRQD5Card card;
  ASSERT_TRUE(card.Open(0, false, 8, kNubHost));
  uint8_t buffer[64] = {};
  uint32_t word = 0;
  DriverEvent event = 0;
  EXPECT_FALSE(card.MapRegisters());
  EXPECT_FALSE(card.UnmapRegisters());
  EXPECT_FALSE(card.MapFrameBuffers());
  EXPECT_FALSE(card.UnmapFrameBuffers());
  EXPECT_FALSE(card.MapFlash());
  EXPECT_FALSE(card.UnmapFlash());
  EXPECT_FALSE(card.GetRegisterAddress(0, &word));
  EXPECT_FALSE(card.DmaTransfer(1, true, 0, buffer, 0, sizeof buffer, true));
  EXPECT_FALSE(card.DmaReadWithOffset(1, 0, buffer, 0, sizeof buffer, true));
  EXPECT_FALSE(card.DmaLock(buffer, sizeof buffer));
  EXPECT_FALSE(card.DmaUnlock(buffer));
  EXPECT_FALSE(card.DmaUnlockAll());
  EXPECT_FALSE(card.ConfigureInterrupt(true, 14));
  EXPECT_FALSE(card.ConfigureSubscription(true, 14, &event));
  EXPECT_FALSE(card.GetInterruptCount(14, &word));
  const bool flags[8] = {};
  EXPECT_FALSE(card.InitAutoCirculate(1, 0, 9, flags, false));
  RQD5AutoCirculateTransfer transfer;
  RQD5AutoCirculateTransferStatus status{};
  EXPECT_FALSE(card.TransferAutoCirculate(&transfer, &status));
  RQD5FrameStamp stamp{};
  EXPECT_FALSE(card.GetFrameStamp(1, 0, &stamp));
  EXPECT_EQ(remote.Requests().size(), 5u);  // the open's
}

TEST(NubDoor, RefusedRingCommandsHaveTheRemoteText) {
  RemoteRegisters remote(BoardElm);
  test::MessageRecorder messages;
  CRQD5Card card;
  ASSERT_TRUE(card.Open(0, true, 8, kNubHost));
  const bool flags[8] = {};
  EXPECT_FALSE(card.InitAutoCirculate(1, 0, 9, flags, false));
  EXPECT_EQ(TextsOf(&messages), Texts{"RQD5AutoCirculateRemote failed"});
  RQD5AutoCirculateData unknown;
  unknown.command = 99;
  EXPECT_FALSE(card.AutoCirculate(unknown));
  EXPECT_EQ(TextsOf(&messages), Texts{"RQD5AutoCirculateRemote failed"});
}

// ---- card control over there ----

TEST(NubDoor, AStopWaitsTwiceAndLooksAtTheState) {
  RemoteRegisters remote(BoardElm);
  CRQD5Card card;
  ASSERT_TRUE(card.Open(0, false, 8, kNubHost));
  EXPECT_TRUE(card.StopAutoCirculate(2));
  const auto requests = remote.Requests();
  ASSERT_EQ(requests.size(), 9u);
  EXPECT_EQ(NameOf(requests[5]), "ACCtrlQ");
  EXPECT_EQ(PayloadOf(requests[6]), Wire({7, 0, 0, 42}));
  EXPECT_EQ(PayloadOf(requests[7]), Wire({7, 0, 0, 42}));
  EXPECT_EQ(NameOf(requests[8]), "GetACQ");
}

TEST(NubDoor, CardControlWorksByRegistersAlone) {
  RemoteRegisters remote(BoardElm);
  CRQD5Card card;
  ASSERT_TRUE(card.Open(0, false, 8, kNubHost));
  EXPECT_EQ(card.GetBoardID(), BoardElm);
  ASSERT_TRUE(card.SetVideoFormat(2));
  uint32_t format = 0;
  EXPECT_TRUE(card.GetVideoFormat(&format));
  EXPECT_EQ(format, 2u);
  EXPECT_TRUE(card.SetOutputFrame(1, 9));
  EXPECT_EQ(remote.At(2), 9u);
  EXPECT_TRUE(card.SetChannelMode(1, 1));
  uint32_t mode = 0;
  EXPECT_TRUE(card.GetChannelMode(1, &mode));
  EXPECT_EQ(mode, 1u);
  EXPECT_TRUE(card.NotifyDriverRegisters());
  uint32_t version = 0;
  remote.Put(10002, 0x2401);
  EXPECT_TRUE(card.GetDriverVersion(&version));
  EXPECT_EQ(version, 0x2401u);
}

// ---- test patterns over there ----

TEST(NubDoor, APatternIsAskedForAndNotDrawn) {
  NubFake fake(NubFake::Script([](NubFake& peer) {
    for (Bytes request; !(request = peer.ReceiveOfAny()).empty();) {
      const std::string name = NameOf(request);
      Bytes result = Wire({7, 1});
      result.resize(28, 0);
      peer.Send(name == "DLTPQ"    ? Packet(3, 15, "DLTPR", result)
                : name == "Read1Q" ? ReadReply(7, 0, 1)
                                   : OpenReply(3, 7));
    }
  }));
  CRQD5TestPattern pattern;
  ASSERT_TRUE(pattern.Open(0, true, 8, kNubHost));
  EXPECT_TRUE(pattern.DownloadTestPattern(0));
  pattern.SetChannel(2);
  pattern.SetSignalMask(0xFFFD);
  pattern.SetFrameBufferFormat(10);
  pattern.SetDmaEnable(false);
  EXPECT_TRUE(pattern.DownloadTestPattern(13));  // the other side's to know
  const auto requests = fake.Requests();
  ASSERT_EQ(requests.size(), 7u);
  EXPECT_EQ(PayloadOf(requests[5]), Wire({7, 0, 1, 1, 7, 1, 0}));
  EXPECT_EQ(PayloadOf(requests[6]), Wire({7, 0, 2, 10, 5, 0, 13}));
}

}  // namespace
}  // namespace morvane
