#include "simulator/deck_client.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace morvane::test {
namespace {

constexpr int64_t kSliceNs = 20000;

SubscriptionRecord SubscriptionOf(const PortClient& card, uint32_t type, DriverEvent event) {
  SubscriptionRecord record = {};
  record.header = card.Header(PropertySubscription, kPropertyGet);
  record.interruptType = type;
  record.event = event;
  return record;
}

}  // namespace

Bytes BytesOf(const std::string& hex) {
  Bytes bytes;
  std::istringstream words(hex);
  unsigned word = 0;
  while (words >> std::hex >> word) bytes.push_back(static_cast<uint8_t>(word));
  return bytes;
}

std::string HexOf(const Bytes& bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    char word[4];
    std::snprintf(word, sizeof word, "%s%02X", text.empty() ? "" : " ", byte);
    text += word;
  }
  return text;
}

DeckClient::DeckClient(SimulatedDriver* driver, ManualClock* clock)
    : driver_(driver),
      clock_(clock),
      startNs_(NxClockNowNs()),
      card_(driver, BOARDTYPE_OEM2K),
      sent_(driver->CreateEvent()),
      received_(driver->CreateEvent()) {
  for (const auto& [type, event] :
       {std::pair{InterruptUartTransmit, sent_}, std::pair{InterruptUartReceive, received_}}) {
    SubscriptionRecord record = SubscriptionOf(card_, type, event);
    (void)card_.Request(&record, sizeof record);
  }
  card_.Write(72, card_.Get(72) | 0xC9);
}

DeckClient::~DeckClient() {
  driver_->CloseEvent(sent_);
  driver_->CloseEvent(received_);
}

void DeckClient::Write(const Bytes& bytes) {
  for (const uint8_t byte : bytes) card_.Write(70, byte);
}

Bytes DeckClient::Read() {
  Bytes bytes;
  while ((card_.Get(72) & 0x10) != 0) bytes.push_back(static_cast<uint8_t>(card_.Get(71)));
  return bytes;
}

bool DeckClient::WaitFor(DriverEvent event, int64_t ns) {
  for (int64_t passed = 0; passed <= ns; passed += kSliceNs) {
    if (driver_->WaitEvent(event, 0)) return true;
    clock_->Advance(kSliceNs);
  }
  return false;
}

Bytes DeckClient::Send(const std::string& hex) {
  Bytes command = BytesOf(hex);
  uint8_t sum = 0;
  for (const uint8_t byte : command) sum = static_cast<uint8_t>(sum + byte);
  command.push_back(sum);
  Write(command);
  if (!WaitFor(sent_, 15000000)) return {};
  Bytes reply;
  while (WaitFor(received_, 5000000)) {
    const Bytes more = Read();
    reply.insert(reply.end(), more.begin(), more.end());
  }
  return reply;
}

void DeckClient::Pass(int pictures) {
  for (int i = 0; i < pictures; ++i) {
    clock_->Advance(33366667);
    (void)card_.Get(72);
  }
}

void DeckClient::PassTo(int64_t picture) {
  const int64_t at = startNs_ + picture * 1001000000 / 30 + 5000000;
  clock_->Advance(std::max<int64_t>(at - NxClockNowNs(), 0));
}

int64_t DeckClient::Boundary() const {
  return (NxClockNowNs() - startNs_) * 30 / 1001000000;
}

std::string DeckClient::Timecode() {
  const Bytes reply = Send("61 0C 01");
  if (reply.size() != 7) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X", reply[5], reply[4], reply[3],
                reply[2] & 0x3F);
  return text;
}

std::string DeckClient::Status() {
  const Bytes reply = Send("61 20 0A");
  return reply.size() == 13 ? HexOf(Bytes(reply.begin() + 2, reply.end() - 1)) : "";
}

}  // namespace morvane::test
