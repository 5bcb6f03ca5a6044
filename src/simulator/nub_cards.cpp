#include "simulator/nub_cards.h"

#include "device/boards.h"
#include "device/driver_records.h"
#include "device/nub_payloads.h"
#include "simulator/simulated_driver.h"

namespace morvane {

NubCards::NubCards(SimulatedDriver* driver) : driver_(driver) {
  for (const uint32_t type : {BOARDTYPE_SDCARD, BOARDTYPE_HDCARD, BOARDTYPE_OEM2K}) {
    for (uint32_t number = 0;; ++number) {
      Board board{Open(type, number)};
      if (board.card == nullptr) break;
      board.card->ConfigureSubscription(true, InterruptUartTransmit, &board.transmitted);
      board.card->ConfigureSubscription(true, InterruptUartReceive, &board.received);
      boards_.push_back(std::move(board));
    }
  }
}

NubCards::~NubCards() = default;

std::unique_ptr<CRQD5TestPattern> NubCards::Open(uint32_t boardType, uint32_t boardNumber) {
  if (boardNumber > 0xFFFF || PropertySetOfBoardType(boardType) == nullptr) return nullptr;
  auto card = std::make_unique<CRQD5TestPattern>();
  if (!card->Open(static_cast<uint16_t>(boardNumber), false, boardType, nullptr)) return nullptr;
  return card;
}

uint32_t NubCards::NextHandle() {
  const uint32_t handle = nextHandle_++;
  if (nextHandle_ == kNubInvalidHandle) nextHandle_ = 1;
  return handle;
}

DriverEvent NubCards::ControlPortEvent(const CRQD5TestPattern& card, uint32_t interruptType) const {
  for (const Board& board : boards_) {
    if (board.card->BoardType() != card.BoardType()) continue;
    if (board.card->BoardNumber() != card.BoardNumber()) continue;
    return interruptType == InterruptUartTransmit ? board.transmitted : board.received;
  }
  return 0;
}

}  // namespace morvane
