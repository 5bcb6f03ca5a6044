// The memory of a card through the driver's door.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

using test::ElmWithBars;
using test::PortClient;

std::unique_ptr<DriverPort> MakePort(const MachineDescription& machine) {
  return std::make_unique<SimulatedDriver>(machine);
}

TEST(DriverMemory, FramesOfMemoryAreReadAsTheyWereWritten) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  std::vector<uint8_t> out(100000);
  for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(i * 7);
  std::vector<uint8_t> in(out.size(), 0xEE);
  ASSERT_TRUE(card.Dma(1, false, 5, out.data(), 100000, 512));
  ASSERT_TRUE(card.Dma(1, true, 5, in.data(), 100000, 512));
  EXPECT_EQ(in, out);
  ASSERT_TRUE(card.Dma(1, true, 6, in.data(), 100000, 512));
  EXPECT_EQ(in, std::vector<uint8_t>(100000, 0));
  // Another engine sees the same memory.
  ASSERT_TRUE(card.Dma(3, true, 5, in.data(), 16, 512));
  EXPECT_EQ(std::memcmp(in.data(), out.data(), 16), 0);
}

TEST(DriverMemory, TransfersOutOfRangeFailAndEmptyOnesSucceed) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  std::vector<uint8_t> buffer(64);
  EXPECT_TRUE(card.Dma(1, false, 31, buffer.data(), 64, (8u << 20) - 64));
  EXPECT_FALSE(card.Dma(1, false, 31, buffer.data(), 64, (8u << 20) - 63));
  EXPECT_FALSE(card.Dma(1, false, 32, buffer.data(), 64));
  EXPECT_FALSE(card.Dma(1, true, 0xFFFFFFFF, buffer.data(), 64, 0xFFFFFFFF));
  EXPECT_TRUE(card.Dma(1, false, 0, buffer.data(), 0));
  // A buffer that was pinned shorter than the transfer.
  DmaRecord record = {};
  record.header = card.Header(PropertyDma, kPropertySet);
  record.engine = 1;
  record.buffer = port->Memory().Pin(buffer.data(), 64);
  record.bytes = 65;
  EXPECT_FALSE(card.Request(&record, sizeof record));
  port->Memory().Unpin(record.buffer);
}

TEST(DriverMemory, TheAudioRingLiesBesideFrameMemory) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  std::vector<uint8_t> sound(4096, 0x55);
  std::vector<uint8_t> back(4096);
  ASSERT_TRUE(card.Dma(7, false, 31, sound.data(), 4096, 0xFF000 - 4096));
  EXPECT_FALSE(card.Dma(7, false, 31, sound.data(), 4096, 0xFF000 - 4095));
  ASSERT_TRUE(card.Dma(7, true, 31, back.data(), 4096, 0xFF000 - 4096));
  EXPECT_EQ(back, sound);
  ASSERT_TRUE(card.Dma(1, true, 31, back.data(), 4096, 0xFF000 - 4096));
  EXPECT_EQ(back, std::vector<uint8_t>(4096, 0));
  card.Write(24, 1, 1u << 31, 31);
  EXPECT_TRUE(card.Dma(7, false, 31, sound.data(), 4096, 0x3FC000 - 4096));
  // With any other frame the engine reaches frame memory.
  ASSERT_TRUE(card.Dma(7, false, 30, sound.data(), 4096, 512));
  ASSERT_TRUE(card.Dma(1, true, 30, back.data(), 4096, 512));
  EXPECT_EQ(back, sound);
}

TEST(DriverMemory, SlotsGrowWithGeometryAndFormat) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  std::vector<uint8_t> buffer(64, 9);
  card.SetFrameBufferFormat(1, FrameBuffer48BitRgb);  // 16 slots of 16 MiB
  EXPECT_TRUE(card.Dma(1, false, 15, buffer.data(), 64, (16u << 20) - 64));
  EXPECT_FALSE(card.Dma(1, false, 16, buffer.data(), 64));
  EXPECT_FALSE(card.Init(1, 0, 16));
  EXPECT_TRUE(card.Init(1, 0, 15));
}

TEST(DriverMemory, TheLargestFrameOfAnyChannelDecidesTheSlots) {
  for (const uint32_t channel : {1u, 2u, 9u, 10u}) {
    SCOPED_TRACE(channel);
    MachineDescription machine = ElmWithBars();
    machine.cards[0].identity = BoardQuince;  // 64 slots of 8 MiB
    const auto port = MakePort(machine);
    PortClient card(port.get(), BOARDTYPE_OEM2K);
    std::vector<uint8_t> buffer(64, 9);
    EXPECT_TRUE(card.Dma(1, false, 63, buffer.data(), 64));
    card.SetFrameBufferFormat(channel, FrameBuffer48BitRgb);
    EXPECT_FALSE(card.Dma(1, false, 32, buffer.data(), 64));
    EXPECT_TRUE(card.Dma(1, false, 31, buffer.data(), 64, (16u << 20) - 64));
    EXPECT_FALSE(card.Init(channel, 0, 32));
    EXPECT_TRUE(card.Init(channel, 0, 31));
  }
  // A register of a channel that the board does not have is a plain word.
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  card.SetFrameBufferFormat(9, FrameBuffer48BitRgb);
  EXPECT_TRUE(card.Init(1, 0, 31));
}

TEST(DriverMemory, WindowsAreMappedAtTheSameBaseEachTime) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  MapRecord record = {};
  record.header = card.Header(PropertyMap, kPropertyGet);
  record.kind = kMapKindRegisters;
  ASSERT_TRUE(card.Request(&record, sizeof record));
  EXPECT_EQ(record.size, 16384u);
  const uint32_t base = record.base;
  record.base = 0;
  ASSERT_TRUE(card.Request(&record, sizeof record));
  EXPECT_EQ(record.base, base);
  card.Write(200, 0xCAFE);
  const auto* words = static_cast<const uint32_t*>(port->MappedMemory(card.Handle(), base, 16384));
  ASSERT_NE(words, nullptr);
  EXPECT_EQ(words[200], 0xCAFEu);
  EXPECT_EQ(words[50], 0x10196500u);
  EXPECT_EQ(port->MappedMemory(card.Handle(), base, 16385), nullptr);
  record.header.flags = kPropertySet;
  EXPECT_TRUE(card.Request(&record, sizeof record));

  MapRecord frames = {};
  frames.header = card.Header(PropertyMap, kPropertyGet);
  ASSERT_TRUE(card.Request(&frames, sizeof frames));
  EXPECT_EQ(frames.size, 32u << 20);
  std::vector<uint8_t> buffer(16, 3);
  ASSERT_TRUE(card.Dma(1, false, 1, buffer.data(), 16));
  const auto* bytes =
      static_cast<const uint8_t*>(port->MappedMemory(card.Handle(), frames.base, frames.size));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(bytes[8u << 20], 3);
}

// ---- what the frame windows reach ----

struct WindowCase {
  const char* board;
  uint32_t identity;
  uint32_t told;   // MiB
  uint32_t reach;  // MiB from the base on
};

TEST(FrameWindow, ReachesAsFarAsItIsTold) {
  // clang-format off
  constexpr WindowCase kCases[] = {
    { "Elm",    BoardElm,    32, 32 },
    { "Larch",  BoardLarch,  32, 32 },
    { "Cedar",  BoardCedar,   8,  8 },
    { "Maple",  BoardMaple,   0,  0 },
    { "Ilex",   BoardIlex,    0,  0 },
    { "Hazel",  BoardHazel,   0,  0 },
    { "Fennel", BoardFennel,  8, 16 },  // channel 2's window lies behind
    { "Laurel", BoardLaurel, 32, 64 },
    { "Kale2",  BoardKale2,  32, 64 },
  };
  // clang-format on
  for (const WindowCase& row : kCases) {
    MachineDescription machine;
    machine.cards.resize(1);
    machine.cards[0].identity = row.identity;
    SimulatedDriver driver(machine);
    PortClient card(&driver, FindBoard(row.identity)->boardType);
    ASSERT_TRUE(card.IsOpen()) << row.board;
    MapRecord frames = {};
    frames.header = card.Header(PropertyMap, kPropertyGet);
    ASSERT_TRUE(card.Request(&frames, sizeof frames)) << row.board;
    EXPECT_EQ(frames.size, row.told << 20) << row.board;
    const uint32_t reach = row.reach << 20;
    const auto mapped = [&](uint32_t offset, size_t bytes) {
      return driver.MappedMemory(card.Handle(), frames.base + offset, bytes) != nullptr;
    };
    EXPECT_EQ(mapped(0, 1), reach > 0) << row.board;
    EXPECT_FALSE(mapped(0, size_t{reach} + 1)) << row.board;
    EXPECT_FALSE(mapped(reach, 1)) << row.board;
    if (reach == 0) continue;
    EXPECT_TRUE(mapped(0, reach)) << row.board;
    EXPECT_TRUE(mapped(reach - 4096, 4096)) << row.board;
    EXPECT_FALSE(mapped(reach - 4096, 4097)) << row.board;
  }
}

}  // namespace
}  // namespace morvane
