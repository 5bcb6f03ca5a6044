#include "device/test_pattern.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "base/message_hook.h"
#include "device/boards.h"
#include "device/driver_records.h"

namespace morvane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr uint32_t kWindowBase = 0x40000000;

// A card that is its registers and its frame memory, at the driver's records. Slots have the size
// of the present geometry and format.
class FakeCard : public DriverPort {
 public:
  explicit FakeCard(uint32_t identity, uint32_t windowBytes = 32u << 20)
      : window_(windowBytes, 0xEE), memory_(256u << 20, 0xEE) {
    registers_[50] = identity;
    InstallDriverPort(this);
  }
  ~FakeCard() override { InstallDriverPort(nullptr); }

  bool Enumerate(const PropertySetId&, uint32_t index, DriverDevice* device) override {
    device->path = "card";
    return index == 0;
  }
  DriverHandle Open(const std::string&, bool) override { return 1; }
  void Close(DriverHandle) override {}
  bool Request(DriverHandle, const void* in, size_t inBytes, void* out, size_t) override {
    PropertyHeader header;
    std::memcpy(&header, in, sizeof header);
    const bool set = header.flags == kPropertySet;
    if (set) ++sets;
    if (header.number == PropertyRegister && inBytes == sizeof(RegisterRecord)) {
      return Register(set, in, out);
    }
    if (header.number == PropertyDma && inBytes == sizeof(DmaRecord)) return set && Dma(in);
    if (header.number == PropertyMap && inBytes == sizeof(MapRecord)) return Map(set, in, out);
    return false;
  }
  DriverEvent CreateEvent() override { return 0; }
  void CloseEvent(DriverEvent) override {}
  bool WaitEvent(DriverEvent, uint32_t) override { return false; }
  void* MappedMemory(DriverHandle, uint32_t base, size_t bytes) override {
    return base == kWindowBase && bytes <= window_.size() ? window_.data() : nullptr;
  }
  UserMemory& Memory() override { return userMemory_; }

  uint32_t& Word(uint32_t number) { return registers_[number]; }
  uint8_t* Memory(uint32_t frame) { return memory_.data() + size_t{frame} * Stride(); }
  uint8_t* Window() { return window_.data(); }

  int sets = 0;
  int dmas = 0;
  bool refuseDma = false;
  std::vector<uint32_t> written;  // registers, in order

 private:
  uint32_t Stride() {
    return FrameBufferSize(registers_[50], registers_[0] >> 3 & 15,
                           (registers_[1] >> 1 & 15) | (registers_[1] >> 6 & 1) << 4);
  }
  bool Register(bool set, const void* in, void* out) {
    RegisterRecord record;
    std::memcpy(&record, in, sizeof record);
    uint32_t& word = registers_[record.registerNumber];
    if (set) {
      word = (word & ~record.mask) | ((record.value << record.shift) & record.mask);
      written.push_back(record.registerNumber);
    } else {
      record.value = (word & record.mask) >> record.shift;
      std::memcpy(out, &record, sizeof record);
    }
    return true;
  }
  bool Dma(const void* in) {
    ++dmas;
    DmaRecord record;
    std::memcpy(&record, in, sizeof record);
    const void* buffer = userMemory_.Find(record.buffer, record.bytes);
    if (refuseDma || buffer == nullptr || record.engine != kDmaEngineFrame) return false;
    const size_t at = size_t{record.frameNumber} * Stride() + record.offset;
    if (at + record.bytes > memory_.size()) return false;
    std::memcpy(memory_.data() + at, buffer, record.bytes);
    return true;
  }
  bool Map(bool set, const void* in, void* out) {
    MapRecord record;
    std::memcpy(&record, in, sizeof record);
    if (record.kind != kMapKindFrames) return false;
    if (set) return true;
    record.base = kWindowBase;
    record.size = static_cast<uint32_t>(window_.size());
    std::memcpy(out, &record, sizeof record);
    return true;
  }

  std::map<uint32_t, uint32_t> registers_;
  std::vector<uint8_t> window_;
  std::vector<uint8_t> memory_;
  UserMemory userMemory_;
};

class TestPatternObject : public testing::Test {
 protected:
  TestPatternObject() {
    SetMessageHook(
        [](void* context, const char*, const char* text) {
          static_cast<std::vector<std::string>*>(context)->emplace_back(text);
        },
        &messages);
    EXPECT_TRUE(pattern.Open(0, true, BOARDTYPE_OEM2K, nullptr));
    card.sets = 0;
    card.written.clear();
  }
  ~TestPatternObject() override {
    pattern.Close();
    SetMessageHook(nullptr, nullptr);
  }
  // Standard in bits 7-9 of register 0, geometry in 3-6.
  void SetRaster(uint32_t standard, uint32_t geometry) {
    ASSERT_TRUE(pattern.SetStandard(standard));
    ASSERT_TRUE(pattern.SetFrameGeometry(geometry));
    card.sets = 0;
    card.written.clear();
  }
  std::vector<uint8_t> Want(uint32_t number) {
    PatternRaster raster;
    EXPECT_TRUE(pattern.ReadRaster(&raster));
    std::vector<uint8_t> frame(PatternDescriptor(raster).FrameBytes());
    EXPECT_EQ(DrawTestPattern(number, raster, frame), nullptr);
    return frame;
  }

  std::vector<std::string> messages;
  FakeCard card{BoardElm};
  CRQD5TestPattern pattern;
};

TEST_F(TestPatternObject, Setters) {
  EXPECT_EQ(pattern.Channel(), 1u);
  EXPECT_EQ(pattern.SignalMask(), 7);
  for (const uint32_t channel : {0u, 3u, 8u, 11u, 0xFFFFFFFFu}) {
    pattern.SetChannel(channel);
    EXPECT_EQ(pattern.Channel(), 1u) << channel;
  }
  for (const uint32_t channel : {1u, 2u, 9u, 10u}) {
    pattern.SetChannel(channel);
    EXPECT_EQ(pattern.Channel(), channel);
  }
  pattern.SetSignalMask(15);
  EXPECT_EQ(pattern.SignalMask(), 7);
  pattern.SetSignalMask(8);
  EXPECT_EQ(pattern.SignalMask(), 0);
  ASSERT_EQ(pattern.GetPatternNames().size(), 13u);
  EXPECT_EQ(pattern.GetPatternNames()[12], "Zone Plate");
}

TEST_F(TestPatternObject, NumberPastTheLastDoesNothing) {
  for (const uint32_t number : {13u, 14u, 0xFFFFFFFFu}) {
    EXPECT_TRUE(pattern.DownloadTestPattern(number));
  }
  EXPECT_EQ(card.sets, 0);
  EXPECT_THAT(card.written, IsEmpty());
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(TestPatternObject, DrawsByDmaAndShowsTheFrame) {
  SetRaster(Standard1080, Geometry1920x1080);
  card.Word(0) |= 1u << 27;  // dual link
  ASSERT_TRUE(pattern.DownloadTestPattern(0));
  EXPECT_EQ(card.dmas, 1);
  const auto want = Want(0);
  EXPECT_EQ(std::memcmp(card.Memory(3), want.data(), want.size()), 0);
  EXPECT_EQ(card.Memory(3)[-1], 0xEE);
  EXPECT_EQ(card.Memory(3)[want.size()], 0xEE);
  EXPECT_EQ(card.Word(2), 3u);             // output frame
  EXPECT_EQ(card.Word(3), 0u);             // input frame
  EXPECT_EQ(card.Word(0) & 1u << 27, 0u);  // dual link
  EXPECT_EQ(card.Word(1) >> 1 & 15, 1u);   // frame-buffer format
  EXPECT_THAT(messages, IsEmpty());
}

TEST_F(TestPatternObject, OutputFrameIsSetBeforeThePictureIsSent) {
  SetRaster(Standard525, Geometry720x486);
  card.refuseDma = true;
  card.Word(2) = 17;
  EXPECT_FALSE(pattern.DownloadTestPattern(8));
  EXPECT_EQ(card.Word(2), 3u);
  EXPECT_EQ(card.Word(3), 0u);
}

TEST_F(TestPatternObject, EachChannelShowsItsOwnFrame) {
  SetRaster(Standard525, Geometry720x486);
  const auto want = Want(1);
  pattern.SetChannel(RQD5Channel2);
  ASSERT_TRUE(pattern.DownloadTestPattern(1));
  EXPECT_EQ(std::memcmp(card.Memory(7), want.data(), want.size()), 0);
  EXPECT_EQ(card.Word(6), 7u);
  for (const uint32_t channel : {RQD5Channel9, RQD5Channel10}) {
    pattern.SetChannel(channel);
    ASSERT_TRUE(pattern.DownloadTestPattern(1));
    const uint32_t last = pattern.FrameSlots() - 1;
    EXPECT_EQ(std::memcmp(card.Memory(last), want.data(), want.size()), 0);
    uint32_t shown = 0;
    ASSERT_TRUE(pattern.GetOutputFrame(channel, &shown));
    EXPECT_EQ(shown, last);
  }
}

TEST_F(TestPatternObject, MappedWindowIsUsedWhereItReaches) {
  SetRaster(Standard720, Geometry1280x720);
  pattern.SetDmaEnable(false);
  ASSERT_TRUE(pattern.DownloadTestPattern(4));
  EXPECT_EQ(card.dmas, 0);
  const auto want = Want(4);
  const uint8_t* frame = card.Window() + size_t{3} * (8u << 20);
  EXPECT_EQ(std::memcmp(frame, want.data(), want.size()), 0);
  EXPECT_EQ(frame[-1], 0xEE);
  EXPECT_EQ(frame[want.size()], 0xEE);
  EXPECT_EQ(card.Word(2), 3u);
  // Frame 7 lies behind a window of 32 MiB.
  pattern.SetChannel(RQD5Channel2);
  ASSERT_TRUE(pattern.DownloadTestPattern(4));
  EXPECT_EQ(card.dmas, 1);
  EXPECT_EQ(std::memcmp(card.Memory(7), want.data(), want.size()), 0);
}

TEST_F(TestPatternObject, UserBufferLeavesTheCardAlone) {
  SetRaster(Standard625, Geometry720x576);
  pattern.SetFrameBufferFormat(FrameBuffer8BitArgb);
  const auto want = Want(0);
  std::vector<uint8_t> buffer(want.size() + 16, 0xEE);
  pattern.SetUserBuffer(std::span(buffer).first(want.size()));
  ASSERT_TRUE(pattern.DownloadTestPattern(0));
  EXPECT_EQ(std::memcmp(buffer.data(), want.data(), want.size()), 0);
  EXPECT_EQ(buffer[want.size()], 0xEE);
  EXPECT_EQ(card.sets, 0);
  EXPECT_EQ(card.dmas, 0);

  pattern.SetUserBuffer(std::span(buffer).first(want.size() - 1));
  EXPECT_FALSE(pattern.DownloadTestPattern(0));
  EXPECT_EQ(messages.size(), 1u);
}

TEST_F(TestPatternObject, UnsupportedCombinationsTellAndDrawNothing) {
  SetRaster(Standard525, Geometry720x486);
  pattern.SetFrameBufferFormat(FrameBuffer8BitDvcPro);
  EXPECT_TRUE(pattern.DownloadTestPattern(0));
  pattern.SetFrameBufferFormat(FrameBuffer10BitYCbCrCompressed);
  EXPECT_TRUE(pattern.DownloadTestPattern(0));
  EXPECT_TRUE(pattern.DownloadTestPattern(TestPatternBorder));
  SetRaster(Standard1080p, Geometry2048x1080);
  pattern.SetFrameBufferFormat(FrameBuffer48BitRgb);
  EXPECT_TRUE(pattern.DownloadTestPattern(0));
  EXPECT_THAT(
      messages,
      ElementsAre("DVCPro, HDV, and QRez framebuffer formats not supported in 525 and 625.",
                  "Unsupported framebuffer standard requested.",
                  "DownloadBorderTestPattern(): Unsupported framebuffer standard requested.",
                  "Unsupported framebuffer standard requested."));
  EXPECT_EQ(card.sets, 0);
  EXPECT_EQ(card.dmas, 0);
}

TEST_F(TestPatternObject, SlotsThatGrowAreSetBeforeDrawing) {
  // 48-bit pixels double the slots of this board; the frame must lie where the card will look.
  card.Word(50) = BoardOak;
  pattern.Close();
  ASSERT_TRUE(pattern.Open(0, true, BOARDTYPE_OEM2K, nullptr));
  SetRaster(Standard1080p, Geometry1920x1080);
  ASSERT_EQ(pattern.FrameSlotBytes(), 8u << 20);
  pattern.SetFrameBufferFormat(FrameBuffer48BitRgb);
  ASSERT_TRUE(pattern.DownloadTestPattern(0));
  const auto want = Want(0);
  ASSERT_EQ(want.size(), 1920u * 1080 * 6);
  EXPECT_EQ(pattern.FrameSlotBytes(), 16u << 20);
  EXPECT_EQ(std::memcmp(card.Memory(3), want.data(), want.size()), 0);
}

TEST_F(TestPatternObject, AncillaryLinesOfTheGeometryAreKept) {
  SetRaster(Standard1080, Geometry1920x1112);
  ASSERT_TRUE(pattern.DownloadTestPattern(6));
  uint32_t geometry = 0;
  ASSERT_TRUE(pattern.GetFrameGeometry(&geometry));
  EXPECT_EQ(geometry, uint32_t{Geometry1920x1112});
  EXPECT_EQ(card.Memory(3)[0], 0x80);
  EXPECT_EQ(card.Memory(3)[1], 0x10);
  EXPECT_EQ(card.Memory(3)[32 * 3840 + 1], 502 >> 2);
}

TEST_F(TestPatternObject, RouteIsBuiltOnAClearedTable) {
  SetRaster(Standard525, Geometry720x486);
  uint32_t countBefore = 99;
  const auto builder = [&](RQD5RoutingTable* table) {
    countBefore = table->count;
    table->entries[table->count++] = {136, 0xFF00, 8, 0x2B};
  };
  pattern.SetAutoRoute(false, builder);
  ASSERT_TRUE(pattern.DownloadTestPattern(8));
  EXPECT_EQ(countBefore, 99u);
  pattern.SetAutoRoute(true, builder);
  card.Word(136) = 0xFFFFFFFF;
  ASSERT_TRUE(pattern.DownloadTestPattern(8));
  EXPECT_EQ(countBefore, 0u);
  EXPECT_EQ(card.Word(136), 0xFFFF2BFFu);
  // A full table is refused and nothing of it written.
  card.Word(136) = 0;
  pattern.SetAutoRoute(true, [](RQD5RoutingTable* table) {
    table->count = 15;
    for (auto& entry : table->entries) entry = {136, 0xFF, 0, 1};
  });
  EXPECT_FALSE(pattern.DownloadTestPattern(8));
  EXPECT_EQ(card.Word(136), 0u);
}

}  // namespace
}  // namespace morvane
