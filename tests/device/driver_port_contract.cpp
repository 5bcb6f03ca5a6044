#include "device/driver_port_contract.h"

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "base/clock.h"

namespace morvane::test {
namespace {

constexpr uint32_t kOutput = 1;
constexpr uint32_t kInput = 1 | kACInput;
constexpr uint32_t kUyvyBytes = 1920 * 1080 * 2;
constexpr int64_t kFrameNs = 33'366'667;  // of 30000 / 1001
constexpr bool kOptions[8] = {true};

}  // namespace

void DriverPortContract::SetUp() {
  subject_ = GetParam().make();
  InstallDriverPort(&subject_->Port());
  ASSERT_TRUE(card_.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  SetFormat();
}

void DriverPortContract::TearDown() {
  card_.Close();
  InstallDriverPort(nullptr);
  subject_.reset();
}

void DriverPortContract::SetFormat() {
  ASSERT_TRUE(card_.SetVideoFormat(2));
  ASSERT_TRUE(card_.SetFrameBufferFormat(1, FrameBuffer8BitUyvy));
  ASSERT_TRUE(card_.SetAudioChannels(8, 1));
  subject_->PassNanoseconds(kFrameNs / 2);
}

void DriverPortContract::PassFrames(int frames) {
  for (int i = 0; i < frames; ++i) subject_->PassNanoseconds(kFrameNs);
}

bool DriverPortContract::StopWhileTimePasses(uint32_t channelSpec) {
  std::atomic<bool> done{false};
  bool result = false;
  std::thread stopper([&] {
    result = card_.StopAutoCirculate(channelSpec);
    done = true;
  });
  while (!done) {
    subject_->PassNanoseconds(1'000'000);
    std::this_thread::yield();
  }
  stopper.join();
  return result;
}

bool DriverPortContract::Init(uint32_t channelSpec, int32_t lastFrame) {
  return card_.InitAutoCirculate(channelSpec, 0, lastFrame, kOptions, true);
}

int32_t DriverPortContract::Send(uint32_t userData, const RQD5Rp188& rp188,
                                 RQD5RoutingTable* extra) {
  uint8_t pixels[64] = {};
  RQD5AutoCirculateTransfer transfer;
  transfer.channelSpec = kOutput;
  transfer.videoBuffer = pixels;
  transfer.videoSize = sizeof pixels;
  transfer.frameRequest = -1;
  transfer.userData = userData;
  transfer.rp188 = rp188;
  RQD5AutoCirculateTransferStatus status{};
  const bool good = extra != nullptr
                        ? card_.TransferAutoCirculateExtended(&transfer, &status, extra)
                        : card_.TransferAutoCirculate(&transfer, &status);
  return good ? status.transferFrame : -2;
}

DriverPortContract::Captured DriverPortContract::Take() {
  std::vector<uint8_t> video(kUyvyBytes), audio(1 << 20);
  RQD5AutoCirculateTransfer transfer;
  transfer.channelSpec = kInput;
  transfer.videoBuffer = video.data();
  transfer.videoSize = kUyvyBytes;
  transfer.audioBuffer = audio.data();
  transfer.audioSize = static_cast<uint32_t>(audio.size());
  transfer.frameRequest = -1;
  RQD5AutoCirculateTransferStatus status{};
  Captured captured;
  if (!card_.TransferAutoCirculate(&transfer, &status)) return captured;
  captured.frame = status.transferFrame;
  if (captured.frame >= 0) captured.picture = subject_->PictureNumber(video.data());
  captured.audioBytes = status.audioBytes;
  captured.timecode = status.stamp.rp188;
  return captured;
}

RQD5AutoCirculateStatus DriverPortContract::Status(uint32_t channelSpec) {
  RQD5AutoCirculateStatus status{};
  EXPECT_TRUE(card_.GetAutoCirculate(channelSpec, &status));
  return status;
}

namespace {

// ---- door ----

TEST_P(DriverPortContract, IdentityIsReadAndNotWritten) {
  EXPECT_EQ(card_.GetBoardID(), uint32_t{BoardElm});
  EXPECT_TRUE(card_.WriteRegister(50, 0x1234));
  EXPECT_EQ(card_.GetBoardID(), uint32_t{BoardElm});
}

TEST_P(DriverPortContract, OpenEndsWithTheLastBoardAndKeepsTheSharing) {
  CRQD5Card other;
  EXPECT_FALSE(other.Open(1, false, BOARDTYPE_OEM2K, nullptr));
  EXPECT_FALSE(other.Open(0, false, BOARDTYPE_HDCARD, nullptr));
  EXPECT_TRUE(other.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  other.Close();
  other.SetSharedAccess(false);
  EXPECT_FALSE(other.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  card_.Close();
  EXPECT_TRUE(other.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  EXPECT_FALSE(card_.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  other.Close();
  EXPECT_TRUE(card_.Open(0, false, BOARDTYPE_OEM2K, nullptr));
}

TEST_P(DriverPortContract, MaskedWriteIsOneStepOfTheDriver) {
  EXPECT_TRUE(card_.WriteRegister(200, 0xFFFFFFFF));
  EXPECT_TRUE(card_.WriteRegister(200, 3, 0x1E, 1));
  uint32_t value = 0;
  EXPECT_TRUE(card_.ReadRegister(200, &value));
  EXPECT_EQ(value, 0xFFFFFFE7u);
  EXPECT_TRUE(card_.ReadRegister(200, &value, 0x1E, 1));
  EXPECT_EQ(value, 3u);
}

TEST_P(DriverPortContract, TwoObjectsSeeOneCard) {
  CRQD5Card other;
  ASSERT_TRUE(other.Open(0, false, BOARDTYPE_OEM2K, nullptr));
  EXPECT_TRUE(card_.WriteRegister(10021, 32));
  EXPECT_EQ(other.FieldOr(RegisterField::PrimaryFormat, 0), 32u);
}

TEST_P(DriverPortContract, RegistersBetweenHardwareAndDriverFail) {
  uint32_t value = 7;
  for (const uint32_t number : {4096u, 5000u, 9999u}) {
    EXPECT_FALSE(card_.ReadRegister(number, &value));
    EXPECT_FALSE(card_.WriteRegister(number, 1));
  }
  EXPECT_EQ(value, 7u);
  EXPECT_TRUE(card_.ReadRegister(4095, &value));
  EXPECT_TRUE(card_.ReadRegister(10000, &value));
}

TEST_P(DriverPortContract, MultipleReadStopsAtTheFirstFailure) {
  RQD5RegisterEntry entries[] = {
      {50, 1, 0xFFFFFFFF, 0}, {5000, 2, 0xFFFFFFFF, 0}, {0, 3, 0xFFFFFFFF, 0}};
  uint32_t failed = 0;
  EXPECT_FALSE(card_.ReadRegisterMulti(3, &failed, entries));
  EXPECT_EQ(failed, 5000u);
  EXPECT_EQ(entries[0].value, uint32_t{BoardElm});
  EXPECT_EQ(entries[2].value, 3u);
}

TEST_P(DriverPortContract, UnknownNumbersAndWrongSizesAreRefused) {
  DriverPort& port = subject_->Port();
  DriverDevice device;
  ASSERT_TRUE(port.Enumerate(kPropertySetOem2K, 0, &device));
  const DriverHandle handle = port.Open(device.path, true);
  ASSERT_NE(handle, 0u);
  RegisterRecord record{{kPropertySetOem2K, PropertyRegister, kPropertyGet}, 50, 9, ~0u, 0};
  ASSERT_TRUE(port.Request(handle, &record, sizeof record, &record, sizeof record));
  EXPECT_EQ(record.value, uint32_t{BoardElm});
  uint8_t longer[48] = {};
  std::memcpy(longer, &record, sizeof record);
  EXPECT_FALSE(port.Request(handle, longer, sizeof longer, longer, sizeof longer));
  EXPECT_FALSE(port.Request(handle, &record, sizeof record - 4, &record, sizeof record - 4));
  EXPECT_FALSE(port.Request(handle, &record, 23, &record, 23));
  for (const uint32_t number : {1u, 10u, 13u, 19u, 1000u}) {
    record.header.number = number;
    EXPECT_FALSE(port.Request(handle, &record, sizeof record, &record, sizeof record)) << number;
  }
  record.header.number = PropertyRegister;
  EXPECT_FALSE(port.Request(handle + 1000, &record, sizeof record, &record, sizeof record));
  port.Close(handle);
  EXPECT_FALSE(port.Request(handle, &record, sizeof record, &record, sizeof record));
}

TEST_P(DriverPortContract, DriverVersionHasTheNewSubscriptionForm) {
  uint32_t version = 0;
  EXPECT_TRUE(card_.GetDriverVersion(&version));
  EXPECT_EQ(version, 0x2401u);
}

TEST_P(DriverPortContract, WindowsMapAndTheRegisterWindowHas4096Words) {
  ASSERT_TRUE(card_.MapRegisters());
  const uint32_t base = card_.RegisterBase();
  EXPECT_EQ(card_.RegisterWindowBytes(), 16384u);
  EXPECT_NE(card_.MappedMemory(base, 16384), nullptr);
  uint32_t address = 0;
  EXPECT_TRUE(card_.GetRegisterAddress(4095, &address));
  EXPECT_EQ(address, base + 16380);
  EXPECT_FALSE(card_.GetRegisterAddress(4096, &address));
  EXPECT_TRUE(card_.UnmapRegisters());
  EXPECT_TRUE(card_.MapRegisters());
  EXPECT_EQ(card_.RegisterBase(), base);
  ASSERT_TRUE(card_.MapFrameBuffers());
  EXPECT_EQ(card_.Channel2FrameBase(), card_.FrameBaseAddress());
  EXPECT_NE(card_.MappedMemory(card_.FrameBaseAddress(), 1920 * 1080 * 2), nullptr);
  EXPECT_TRUE(card_.UnmapFrameBuffers());
  EXPECT_TRUE(card_.MapFlash());
  EXPECT_TRUE(card_.UnmapFlash());
}

// ---- frame memory ----

TEST_P(DriverPortContract, DmaMovesBytesAtFrameAndOffset) {
  std::vector<uint8_t> sent(8192), got(8192, 0xEE);
  for (size_t i = 0; i < sent.size(); ++i) sent[i] = static_cast<uint8_t>(i * 7 + 1);
  ASSERT_TRUE(card_.DmaTransfer(1, false, 2, sent.data(), 512, 8192, true));
  ASSERT_TRUE(card_.DmaTransfer(1, true, 2, got.data(), 512, 8192, true));
  EXPECT_EQ(got, sent);
  ASSERT_TRUE(card_.DmaTransfer(1, true, 2, got.data(), 1024, 4096, true));
  EXPECT_EQ(std::memcmp(got.data(), sent.data() + 512, 4096), 0);
  EXPECT_EQ(std::memcmp(got.data() + 4096, sent.data() + 4096, 4096), 0);
}

TEST_P(DriverPortContract, MappedFramesAreTheFramesOfDma) {
  ASSERT_TRUE(card_.MapFrameBuffers());
  auto* window = static_cast<uint8_t*>(card_.MappedMemory(card_.FrameBaseAddress(), 4096));
  ASSERT_NE(window, nullptr);
  std::memset(window, 0x5A, 4096);
  std::vector<uint8_t> got(4096);
  ASSERT_TRUE(card_.DmaTransfer(1, true, 0, got.data(), 0, 4096, true));
  EXPECT_EQ(got, std::vector<uint8_t>(4096, 0x5A));
}

TEST_P(DriverPortContract, DmaOutsideTheMemoryFailsAndNothingIsNothing) {
  std::vector<uint8_t> buffer(4096);
  EXPECT_FALSE(card_.DmaTransfer(1, true, 100000, buffer.data(), 0, 4096, true));
  EXPECT_FALSE(card_.DmaTransfer(1, true, 0, buffer.data(), 0xFFFFF000, 4096, true));
  EXPECT_FALSE(card_.DmaTransfer(1, true, 0, nullptr, 0, 4096, true));
  EXPECT_TRUE(card_.DmaTransfer(1, true, 0, buffer.data(), 0, 0, true));
}

TEST_P(DriverPortContract, BuffersLockAndUnlock) {
  std::vector<uint8_t> a(4096), b(8192);
  EXPECT_TRUE(card_.DmaLock(a.data(), 4096));
  EXPECT_TRUE(card_.DmaLock(b.data(), 8192));
  EXPECT_TRUE(card_.DmaUnlock(a.data()));
  EXPECT_TRUE(card_.DmaUnlockAll());
  EXPECT_TRUE(card_.DmaLock(a.data(), 4096));
  EXPECT_TRUE(card_.Close());
}

// ---- interrupts ----

TEST_P(DriverPortContract, ASubscribedOutputInterruptComesWithTheBoundary) {
  uint32_t before = 0, after = 0;
  ASSERT_TRUE(card_.ConfigureInterrupt(true, InterruptOutput));
  ASSERT_TRUE(card_.ConfigureSubscription(true, InterruptOutput, nullptr));
  ASSERT_TRUE(card_.GetInterruptCount(InterruptOutput, &before));
  EXPECT_FALSE(card_.WaitForInterrupt(InterruptOutput, 0));
  PassFrames(1);
  EXPECT_TRUE(card_.WaitForInterrupt(InterruptOutput, 0));
  EXPECT_FALSE(card_.WaitForInterrupt(InterruptOutput, 0));
  PassFrames(3);
  ASSERT_TRUE(card_.GetInterruptCount(InterruptOutput, &after));
  EXPECT_EQ(after - before, 4u);
  EXPECT_TRUE(card_.WaitForInterrupt(InterruptOutput, 0));
  EXPECT_EQ(card_.WaitCount(InterruptOutput), 2u);
  EXPECT_TRUE(card_.ConfigureSubscription(false, InterruptOutput, nullptr));
}

TEST_P(DriverPortContract, ADownloadEnablesAgainWhatStillHasASubscriber) {
  ASSERT_TRUE(card_.ConfigureInterrupt(true, InterruptOutput));
  ASSERT_TRUE(card_.ConfigureSubscription(true, InterruptOutput, nullptr));
  ASSERT_TRUE(card_.SwitchBitfile(BoardElm, 9));
  subject_->PassNanoseconds(kFrameNs / 2);
  (void)card_.WaitForInterrupt(InterruptOutput, 0);
  PassFrames(1);
  EXPECT_TRUE(card_.WaitForInterrupt(InterruptOutput, 0));
  RQD5BitFileInfo info{};
  EXPECT_TRUE(card_.DriverGetBitFileInformation(&info, 0));
  EXPECT_EQ(info.kind, 9u);
  EXPECT_EQ(info.recordSize, 1024u);
}

// Deliberate: a download disables every interrupt, and the serial port must hear again after it.
TEST_P(DriverPortContract, TheSerialPortsInterruptsOutliveADownload) {
  for (const uint32_t type : {InterruptUartReceive, InterruptUartTransmit}) {
    ASSERT_TRUE(card_.ConfigureInterrupt(true, type));
    ASSERT_TRUE(card_.ConfigureSubscription(true, type, nullptr));
  }
  ASSERT_TRUE(card_.SwitchBitfile(BoardElm, 9));
  EXPECT_FALSE(card_.WaitForInterrupt(InterruptUartTransmit, 0));
  ASSERT_TRUE(card_.WriteField(RegisterField::UartTransmit, 0x61));
  EXPECT_FALSE(card_.WaitForInterrupt(InterruptUartTransmit, 0));
  subject_->PassNanoseconds(1'000'000);
  EXPECT_TRUE(card_.WaitForInterrupt(InterruptUartTransmit, 0));
}

TEST_P(DriverPortContract, SwitchBitfileKeepsTheFormat) {
  ASSERT_TRUE(card_.SwitchBitfile(BoardElm, 10));
  uint32_t format = 0;
  EXPECT_TRUE(card_.GetVideoFormat(&format));
  EXPECT_EQ(format, 2u);
}

// ---- inputs and timing ----

TEST_P(DriverPortContract, InputsTellTheirSignal) {
  EXPECT_EQ(card_.DetectInput(1), 2u);
  EXPECT_EQ(card_.DetectInput(2), 0u);
}

TEST_P(DriverPortContract, TheLineCounterStandsStillForTwoReadings) {
  ASSERT_TRUE(card_.SetOutputTimingHorizontal(5));
  EXPECT_TRUE(card_.SetOutputTimingHorizontal(6));
  EXPECT_EQ(card_.FieldOr(RegisterField::OutputTimingHorizontal, 0), 4102u);
}

}  // namespace
}  // namespace morvane::test
