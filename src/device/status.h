#pragma once

#include "device/card.h"

namespace morvane {

// A driver object of its own for looking at a card beside its other users: the board scan and the
// test patterns work through one.
class CRQD5Status : public CRQD5Card {
 public:
  CRQD5Status();
  ~CRQD5Status() override;
};

}  // namespace morvane
