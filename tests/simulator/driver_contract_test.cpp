#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <thread>

#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"
#include "support/clock_pump.h"
#include "support/test_environment.h"

// What any driver port must do, asked of the simulated one. Only MakePort() knows which it is.
namespace morvane {
namespace {

using test::ElmWithBars;
using test::PortClient;

std::unique_ptr<DriverPort> MakePort(const MachineDescription& machine) {
  return std::make_unique<SimulatedDriver>(machine);
}

MachineDescription TwoCards() {
  MachineDescription machine = ElmWithBars();
  machine.cards.push_back(machine.cards[0]);
  machine.cards[1].identity = BoardLarch;
  machine.cards[1].inputs.clear();
  machine.cards[1].slot = "Magma 3";
  return machine;
}

SubscriptionRecord SubscriptionOf(const PortClient& card, uint32_t flags, uint32_t type,
                                  DriverEvent event) {
  SubscriptionRecord record = {};
  record.header = card.Header(PropertySubscription, flags);
  record.interruptType = type;
  record.event = event;
  return record;
}

TEST(DriverContract, DevicesAreListedByTheirClass) {
  const auto port = MakePort(TwoCards());
  DriverDevice device;
  ASSERT_TRUE(port->Enumerate(kPropertySetOem2K, 0, &device));
  EXPECT_EQ(device.location, "PCI bus 2, device 0");
  EXPECT_EQ(device.uiNumber, 1u);
  const std::string first = device.path;
  ASSERT_TRUE(port->Enumerate(kPropertySetOem2K, 1, &device));
  EXPECT_NE(device.path, first);
  EXPECT_EQ(device.location, "Magma 3");
  EXPECT_EQ(device.uiNumber, 2u);
  EXPECT_FALSE(port->Enumerate(kPropertySetOem2K, 2, &device));
  EXPECT_FALSE(port->Enumerate(kPropertySetHdCard, 0, &device));
  EXPECT_FALSE(port->Enumerate(kPropertySetSdCard, 0, &device));
  EXPECT_EQ(port->Open("nothing", true), 0u);
}

TEST(DriverContract, AnExclusiveOpenToleratesNoOther) {
  const auto port = MakePort(TwoCards());
  DriverDevice device;
  ASSERT_TRUE(port->Enumerate(kPropertySetOem2K, 0, &device));
  const DriverHandle first = port->Open(device.path, true);
  const DriverHandle second = port->Open(device.path, true);
  EXPECT_NE(first, 0u);
  EXPECT_NE(second, 0u);
  EXPECT_NE(first, second);
  EXPECT_EQ(port->Open(device.path, false), 0u);
  port->Close(first);
  EXPECT_EQ(port->Open(device.path, false), 0u);
  port->Close(second);
  const DriverHandle alone = port->Open(device.path, false);
  EXPECT_NE(alone, 0u);
  EXPECT_EQ(port->Open(device.path, true), 0u);
  port->Close(alone);
  const DriverHandle again = port->Open(device.path, true);
  EXPECT_NE(again, 0u);
  port->Close(again);
}

TEST(DriverContract, UnknownNumbersWrongSizesAndForeignSetsFailAndLeaveTheRecord) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  uint8_t record[1100];
  for (uint32_t number = 0; number < 24; ++number) {
    for (const uint32_t flags : {0u, 1u, 2u, 3u, 4u}) {
      for (const size_t bytes : {0u, 8u, 24u, 25u, 39u, 41u, 63u, 100u, 337u, 1047u, 1100u}) {
        std::memset(record, 0xA5, sizeof record);
        const PropertyHeader header = card.Header(number, flags);
        std::memcpy(record, &header, sizeof header);
        const std::vector<uint8_t> before(record, record + sizeof record);
        ASSERT_FALSE(card.Request(record, bytes)) << number << " " << flags << " " << bytes;
        ASSERT_EQ(std::memcmp(record, before.data(), sizeof record), 0) << number;
      }
    }
  }
  RegisterRecord foreign{{kPropertySetHdCard, PropertyRegister, kPropertyGet}, 50, 0, ~0u, 0};
  EXPECT_FALSE(card.Request(&foreign, sizeof foreign));
  RegisterRecord good{card.Header(PropertyRegister, kPropertyGet), 50, 0, ~0u, 0};
  EXPECT_FALSE(port->Request(card.Handle() + 77, &good, sizeof good, &good, sizeof good));
  EXPECT_TRUE(card.Request(&good, sizeof good));
}

// The first half of a request is right; the size of its answer is not.
TEST(DriverContract, AWrongSizeOfTheAnswerFailsAndChangesNothing) {
  ManualClock clock;
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  card.SetFormat(1);
  const auto send = [&](const auto& record, size_t outBytes) {
    uint8_t out[1100];
    std::memset(out, 0xA5, sizeof out);
    const bool done = port->Request(card.Handle(), &record, sizeof record, out, outBytes);
    const auto touched = std::count_if(out, out + sizeof out, [](uint8_t b) { return b != 0xA5; });
    EXPECT_TRUE(done || touched == 0);
    return done;
  };
  // Once with four bytes too few, once with four too many, and then as it should be.
  const auto refused = [&](const auto& record) {
    return !send(record, sizeof record - 4) && !send(record, sizeof record + 4);
  };

  const RegisterRecord write{card.Header(PropertyRegister, kPropertySet), 200, 7, ~0u, 0};
  EXPECT_TRUE(refused(write));
  EXPECT_EQ(card.Get(200), 0u);
  EXPECT_TRUE(send(write, sizeof write));
  EXPECT_EQ(card.Get(200), 7u);
  EXPECT_TRUE(refused(RegisterRecord{card.Header(PropertyRegister, kPropertyGet), 50, 0, ~0u, 0}));

  MapRecord map{card.Header(PropertyMap, kPropertyGet), 0, 0, kMapKindRegisters, 0};
  EXPECT_TRUE(refused(map));
  ASSERT_TRUE(card.Request(&map, sizeof map));
  map.header.flags = kPropertySet;
  EXPECT_TRUE(refused(map));
  EXPECT_TRUE(send(map, sizeof map));

  const DriverEvent event = port->CreateEvent();
  SubscriptionRecord subscribe = SubscriptionOf(card, kPropertyGet, InterruptOutput, event);
  EXPECT_TRUE(refused(subscribe));
  clock.Advance(40000000);
  EXPECT_FALSE(port->WaitEvent(event, 0));
  ASSERT_TRUE(send(subscribe, sizeof subscribe));
  const SubscriptionRecord leave = SubscriptionOf(card, kPropertySet, InterruptOutput, event);
  EXPECT_TRUE(refused(leave));
  clock.Advance(40000000);
  EXPECT_TRUE(port->WaitEvent(event, 0));
  subscribe.code = kInterruptCountCode;
  EXPECT_TRUE(refused(subscribe));

  const InterruptRecord disable = {card.Header(PropertyInterrupt, kPropertySet), 0,
                                   InterruptOutput};
  EXPECT_TRUE(refused(disable));
  clock.Advance(40000000);
  EXPECT_TRUE(port->WaitEvent(event, 0));

  uint32_t word = 0xCAFE;
  DmaRecord dma = {};
  dma.header = card.Header(PropertyDma, kPropertySet);
  dma.engine = kDmaEngineFrame;
  dma.buffer = port->Memory().Pin(&word, sizeof word);
  dma.bytes = sizeof word;
  EXPECT_TRUE(refused(dma));
  uint32_t back = 1;
  ASSERT_TRUE(card.Dma(kDmaEngineFrame, true, 0, &back, sizeof back));
  EXPECT_EQ(back, 0u);
  port->Memory().Unpin(dma.buffer);

  AutoCirculateControlRecord control = {};
  control.header = card.Header(PropertyAutoCirculateControl, kPropertySet);
  control.channelSpec = 1;
  control.value2 = 28;
  EXPECT_TRUE(refused(control));
  AutoCirculateControlWideRecord wide = {};
  wide.header = card.Header(PropertyAutoCirculateControlWide, kPropertySet);
  wide.channelSpec = 1;
  wide.value2 = 28;
  wide.value4 = 2;
  EXPECT_TRUE(refused(wide));
  EXPECT_EQ(card.Status(1).state, ACStateIdle);
  ASSERT_TRUE(send(wide, sizeof wide));
  EXPECT_EQ(card.Status(1).state, ACStateInitialised);

  AutoCirculateStatusRecord status = {};
  status.header = card.Header(PropertyAutoCirculateStatus, kPropertyGet);
  status.command = ACStatus;
  status.channelSpec = 1;
  EXPECT_TRUE(refused(status));
  FrameStampRecord stamp = {};
  stamp.header = card.Header(PropertyFrameStamp, kPropertyGet);
  stamp.channelSpec = 1;
  EXPECT_TRUE(refused(stamp));

  TransferRequestRecord transfer = {};
  transfer.header = card.Header(PropertyTransfer, kPropertyGet);
  transfer.command = ACTransfer;
  transfer.transfer.channelSpec = 1;
  transfer.transfer.frameRequest = -1;
  EXPECT_FALSE(send(transfer, sizeof transfer.status - 4));
  EXPECT_FALSE(send(transfer, sizeof transfer.status + 4));
  EXPECT_EQ(card.Status(1).bufferLevel, 0u);
  EXPECT_TRUE(send(transfer, sizeof transfer.status));
  EXPECT_EQ(card.Status(1).bufferLevel, 1u);
}

TEST(DriverContract, RandomRecordsNeverSucceedIntoTheBlue) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  uint32_t seed = 12345;
  const auto random = [&seed] { return seed = seed * 1664525u + 1013904223u; };
  const size_t sizes[] = {32, 40, 56, 64, 88, 112, 168, 208, 336, 584, 616, 1048};
  uint8_t record[1048];
  for (int i = 0; i < 20000; ++i) {
    for (uint8_t& byte : record) byte = static_cast<uint8_t>(random() >> 24);
    const PropertyHeader header = card.Header(random() >> 27, 1 + (random() >> 31));
    std::memcpy(record, &header, sizeof header);
    const size_t bytes = sizes[(random() >> 8) % std::size(sizes)];
    // No buffer is pinned: nothing may be copied whatever the record says.
    (void)card.Request(record, bytes);
    uint8_t status[160];
    (void)port->Request(card.Handle(), record, bytes, status, sizeof status);
  }
  EXPECT_EQ(card.Get(50), 0x10196500u);
}

TEST(DriverContract, ASubscribedEventIsSignalledOnceABoundary) {
  ManualClock clock;
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  card.SetFormat(1);
  const DriverEvent event = port->CreateEvent();
  ASSERT_NE(event, 0u);
  EXPECT_FALSE(port->WaitEvent(event, 0));
  SubscriptionRecord record = SubscriptionOf(card, kPropertyGet, InterruptOutput, event);
  ASSERT_TRUE(card.Request(&record, sizeof record));
  EXPECT_FALSE(port->WaitEvent(event, 0));
  clock.Advance(40000000);
  EXPECT_TRUE(port->WaitEvent(event, 0));
  EXPECT_FALSE(port->WaitEvent(event, 0));  // it resets itself
  clock.Advance(120000000);
  EXPECT_TRUE(port->WaitEvent(event, 0));
  EXPECT_FALSE(port->WaitEvent(event, 0));

  record.code = kInterruptCountCode;
  ASSERT_TRUE(card.Request(&record, sizeof record));
  EXPECT_EQ(record.count, 4u);

  SubscriptionRecord leave = SubscriptionOf(card, kPropertySet, InterruptOutput, event);
  EXPECT_TRUE(card.Request(&leave, sizeof leave));
  EXPECT_FALSE(card.Request(&leave, sizeof leave));
  clock.Advance(40000000);
  EXPECT_FALSE(port->WaitEvent(event, 0));
  port->CloseEvent(event);
  EXPECT_FALSE(port->WaitEvent(event, 0));
}

TEST(DriverContract, AWaitSleepsUntilTheEventIsDue) {
  ManualClock clock;
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  card.SetFormat(1);
  const DriverEvent event = port->CreateEvent();
  SubscriptionRecord record = SubscriptionOf(card, kPropertyGet, InterruptInput1, event);
  ASSERT_TRUE(card.Request(&record, sizeof record));
  const int64_t start = NxClockNowNs();
  test::ClockPump pump(&clock, 1);
  EXPECT_TRUE(port->WaitEvent(event, 1000));
  EXPECT_EQ(NxClockNowNs() - start, 40000000);
  EXPECT_TRUE(port->WaitEvent(event, 1000));
  EXPECT_EQ(NxClockNowNs() - start, 80000000);
  EXPECT_FALSE(port->WaitEvent(event, 30));
  EXPECT_EQ(NxClockNowNs() - start, 110000000);
}

TEST(DriverContract, AnEventThatWasDueInTimeCountsHoweverLateTheThreadWakes) {
  ManualClock clock;
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  card.SetFormat(1);
  const DriverEvent event = port->CreateEvent();
  SubscriptionRecord record = SubscriptionOf(card, kPropertyGet, InterruptOutput, event);
  ASSERT_TRUE(card.Request(&record, sizeof record));
  bool woken = false;
  std::thread waiter([&] { woken = port->WaitEvent(event, 60); });
  clock.WaitForSleepers(1);
  clock.Advance(5000000000);  // long past the deadline at 60 ms; due was 40 ms
  waiter.join();
  EXPECT_TRUE(woken);

  // The other way round: due at 5040 ms, deadline 10 ms after 5000.
  bool early = true;
  while (port->WaitEvent(event, 0)) {
  }
  std::thread second([&] { early = port->WaitEvent(event, 10); });
  clock.WaitForSleepers(1);
  clock.Advance(5000000000);
  second.join();
  EXPECT_FALSE(early);
}

TEST(DriverContract, ADisabledInterruptSignalsNobodyUntilABitfileIsLoaded) {
  ManualClock clock;
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  card.SetFormat(1);
  const DriverEvent event = port->CreateEvent();
  SubscriptionRecord record = SubscriptionOf(card, kPropertyGet, InterruptOutput, event);
  ASSERT_TRUE(card.Request(&record, sizeof record));
  InterruptRecord interrupt = {card.Header(PropertyInterrupt, kPropertySet), 0, InterruptOutput};
  ASSERT_TRUE(card.Request(&interrupt, sizeof interrupt));
  clock.Advance(100000000);
  EXPECT_FALSE(port->WaitEvent(event, 0));
  card.Write(10050, 9);
  clock.Advance(100000000);
  EXPECT_TRUE(port->WaitEvent(event, 0));
  BitFileRecord bitfile = {};
  bitfile.header = card.Header(PropertyBitFile, kPropertyGet);
  bitfile.info.checksum = 77;
  ASSERT_TRUE(card.Request(&bitfile, sizeof bitfile));
  EXPECT_EQ(bitfile.info.recordSize, 1024u);
  EXPECT_EQ(bitfile.info.kind, 9u);
  EXPECT_EQ(bitfile.info.checksum, 77u);  // the caller's own
}

TEST(DriverContract, TheTransmitInterruptComesWhenTheLastByteHasLeft) {
  ManualClock clock;
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  const DriverEvent event = port->CreateEvent();
  SubscriptionRecord record = SubscriptionOf(card, kPropertyGet, InterruptUartTransmit, event);
  ASSERT_TRUE(card.Request(&record, sizeof record));
  for (int i = 0; i < 4; ++i) card.Write(70, 0x61);
  clock.Advance(1145000);  // four bytes take 1.146 ms
  EXPECT_FALSE(port->WaitEvent(event, 0));
  clock.Advance(2000);
  EXPECT_TRUE(port->WaitEvent(event, 0));
}

TEST(DriverContract, OldDriversKnowTheOldSubscriptionAlone) {
  MachineDescription machine = ElmWithBars();
  machine.cards[0].oldSubscriptions = true;
  const auto port = MakePort(machine);
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  const DriverEvent event = port->CreateEvent();
  SubscriptionRecord record = SubscriptionOf(card, kPropertyGet, 0, event);
  EXPECT_FALSE(card.Request(&record, sizeof record));
  record.header.number = PropertySubscriptionOld;
  EXPECT_TRUE(card.Request(&record, sizeof record));
}

TEST(DriverContract, ATraceHoldsEveryRequest) {
  MachineDescription machine = ElmWithBars();
  machine.trace = test::FreshFolder("trace") + "/trace.txt";
  {
    const auto port = MakePort(machine);
    PortClient card(port.get(), BOARDTYPE_OEM2K);
    card.Write(5, 3, 0x1E, 1);
    (void)card.Get(50);
    uint32_t value = 0;
    EXPECT_FALSE(card.Read(5000, &value));
  }
  std::ifstream file(machine.trace);
  std::string line;
  ASSERT_TRUE(std::getline(file, line));
  const std::string header = "6916fa2bf717f94c8e05500b8cb8149700000000";
  const std::string write = header + "02000000" + "05000000" + "03000000" + "1e000000" + "01000000";
  EXPECT_EQ(line, "set 0 40 " + write + " -> " + write);
  ASSERT_TRUE(std::getline(file, line));
  EXPECT_EQ(line, "get 0 40 " + header + "01000000" + "32000000" + "00000000" + "ffffffff" +
                      "00000000 -> " + header + "01000000" + "32000000" + "00651910" + "ffffffff" +
                      "00000000");
  ASSERT_TRUE(std::getline(file, line));
  EXPECT_EQ(line.substr(line.size() - 10), " -> failed");
  EXPECT_FALSE(std::getline(file, line));
}

TEST(DriverContract, ManyThreadsMayAskAtOnce) {
  const auto port = MakePort(ElmWithBars());
  PortClient card(port.get(), BOARDTYPE_OEM2K);
  card.SetFormat(4);
  std::vector<std::thread> threads;
  for (uint32_t t = 0; t < 4; ++t) {
    threads.emplace_back([&port, t] {
      PortClient own(port.get(), BOARDTYPE_OEM2K);
      for (uint32_t i = 0; i < 2000; ++i) {
        own.Write(300, i, 0xFFu << (8 * t), 8 * t);
        EXPECT_EQ(own.Get(300, 0xFFu << (8 * t), 8 * t), i & 0xFF);
        (void)own.Get(18);
        (void)own.Get(26);
        (void)own.Status(1);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace morvane
