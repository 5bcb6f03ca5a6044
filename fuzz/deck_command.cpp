// Any bytes on the line to a tape machine: manner and faults, then a row of bursts, each as it is
// or with its sum behind it, and a pause. Whatever was said, the machine stays on its tape, says
// nothing longer than a reply can be, and understands the next good command.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "simulator/card_uart.h"
#include "simulator/deck_line.h"
#include "simulator/deck_machine.h"

using namespace morvane;

namespace {

constexpr size_t kMaxBursts = 48;
constexpr size_t kLongestReply = 18;  // two bytes, fifteen of data, a sum
constexpr int64_t kMs = 1'000'000;
constexpr int64_t kPausesNs[] = {0, 3 * kMs, 12 * kMs, 40 * kMs, 600 * kMs, 5000 * kMs, kMs, 0};

void Require(bool claim) {
  if (!claim) std::abort();
}

// A card's port with the machine behind it.
class Line {
 public:
  Line(const PlainTrack& track, bool padded, const DeckFaults& faults)
      : track_(track), deck_(&track_), line_(&deck_, padded) {
    deck_.SetFaults(faults);
    line_.SetFaults(faults.line);
    uart_.Connect(&line_);
  }

  void Say(const std::vector<uint8_t>& bytes, bool withSum) {
    for (const uint8_t byte : bytes) uart_.Transmit(byte, nowNs_);
    if (withSum) uart_.Transmit(DeckSum(bytes), nowNs_);
    Pass(0);
  }

  // Returns: what was answered.
  std::vector<uint8_t> Pass(int64_t ns) {
    nowNs_ += ns;
    (void)uart_.AdvanceTo(nowNs_);
    deck_.AdvanceTo(nowNs_);
    std::vector<uint8_t> reply;
    while ((uart_.Status() & 0x10) != 0) reply.push_back(uart_.Receive());
    const DeckTransport& transport = deck_.Transport();
    Require(transport.Picture() >= 0 && transport.Picture() < track_.Pictures());
    Require(deck_.Count() >= 0 && deck_.Count() < track_.Rate().DayCount());
    Require(transport.Recording() == 0 || !deck_.Faults().recordInhibit);
    Require(transport.Recording() <= kDeckAll);
    return reply;
  }

  void Recover() {
    DeckFaults faults = deck_.Faults();
    faults.line = {};
    line_.SetFaults({});
    deck_.SetFaults(faults);
    (void)Pass(40 * kMs);
    Say({0x61, 0x20, 0x0A}, true);
    const std::vector<uint8_t> status = Pass(20 * kMs);
    Require(status.size() == 13 && status[0] == 0x7A && status[1] == 0x20);
    const std::vector<uint8_t> body(status.begin(), status.end() - 1);
    Require(DeckSum(body) == status.back());
    Say({0x61, 0x0C, 0x01}, true);
    Require(Pass(20 * kMs).size() == 7);
  }

 private:
  PlainTrack track_;
  DeckMachine deck_;
  DeckLine line_;
  CardUart uart_;
  int64_t nowNs_ = 0;
};

TapeRate RateOf(unsigned choice) {
  TapeRate rate;
  if (choice == 1) rate = {25000, 1000, 25, false, false};
  if (choice == 2) rate.dropFrame = true;
  if (choice == 3) rate = {60000, 1001, 30, true, true};
  return rate;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  DeckFaults faults;
  faults.local = (data[0] & 0x08) != 0;
  faults.tapeOut = (data[0] & 0x10) != 0;
  faults.recordInhibit = (data[0] & 0x20) != 0;
  faults.line.wrongSum = (data[0] & 0x40) != 0;
  faults.line.cutReply = data[0] >> 7;
  if ((data[1] & 0x80) != 0) {
    faults.jumpCount = 107700 + (data[1] & 0x0F);
    faults.jumpPictures = (data[1] & 0x40) != 0 ? -100 : 100000;
  }
  const TapeRate rate = RateOf(data[0] >> 1 & 3);
  Line line(PlainTrack(rate, 3590 * rate.base, 20000), (data[0] & 1) != 0, faults);
  const uint8_t* const end = data + size;
  data += 2;
  for (size_t burst = 0; burst < kMaxBursts && data < end; ++burst) {
    const uint8_t head = *data++;
    const size_t bytes = std::min<size_t>(head & 0x0F, static_cast<size_t>(end - data));
    line.Say({data, data + bytes}, (head & 0x10) != 0);
    data += bytes;
    const std::vector<uint8_t> reply = line.Pass(kPausesNs[head >> 5]);
    Require(reply.size() <= kLongestReply);
  }
  line.Recover();
  return 0;
}
