#include <algorithm>
#include <limits>

#include "simulator/simulated_card.h"

// The serial port, and the tape machine behind it.
namespace morvane {
namespace {

constexpr int64_t kNever = std::numeric_limits<int64_t>::max();

}  // namespace

void SimulatedCard::AdvanceLine() {
  const CardUart::Events events = uart_.AdvanceTo(nowNs_);
  if (events.transmitEmpty) Raise(InterruptUartTransmit, 1);
  if (events.received > 0) Raise(InterruptUartReceive, events.received);
}

// The deck's cables hang on output 1, and outputs have shown what they show from now on.
void SimulatedCard::AdvanceDeck() {
  if (!deck_) return;
  if (deck_->RecordsOrWill()) DrainSound(nowNs_);
  deck_->AdvanceTo(nowNs_);
  if (deck_->WantsPicture()) deck_->PushPicture(OutputNow(1).picture);
}

// When the line or the tape machine next does something that must not be skipped.
int64_t SimulatedCard::NextDeckNs() const {
  const int64_t line = uart_.NextEventNs();
  return deck_ ? std::min(line, deck_->NextEventNs()) : line;
}

bool SimulatedCard::AdvanceDeckToNow() {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  if (NextDeckNs() == kNever) return false;
  Advance();
  return NextDeckNs() != kNever;
}

void SimulatedCard::SetDeckFaults(const DeckFaultDescription& faults) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  if (deck_) deck_->SetFaults(faults, nowNs_);
}

}  // namespace morvane
