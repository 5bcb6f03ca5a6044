#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "device/autocirculate.h"
#include "device/driver_records.h"
#include "simulator/input_source.h"
#include "simulator/signal_picture.h"

namespace morvane {

// The signal of one frame's time, as an input ring takes it in.
struct CapturedFrame {
  bool signal = false;
  SignalFrameRef frame;
  int64_t soundPosition = 0;  // of the source's sound
  int64_t soundFrames = 0;
  Rp188Timecode timecode;
  int64_t boundaryNs = 0;  // card time at which it began
};

// One frame slot of card memory as a ring sees it.
struct RingSlot {
  enum class State { kFree, kFilling, kWaiting, kActive, kReading };
  State state = State::kFree;
  RQD5FrameStamp stamp = {};

  // Output: what was transferred.
  FrameLayout layout;
  uint32_t flip = 0;
  uint32_t pictureBytes = 0;
  std::string md5;     // with a log only
  PictureRef picture;  // with a recorder or a loop only
  RQD5RoutingTable routing = {};

  // Input: what was captured; its pixels are made when they are asked for.
  CapturedFrame captured;
};

// The state of AutoCirculate on one channel and direction. Threads: the card's lock.
struct AutoCirculateRing {
  uint32_t channelSpec = 0;
  bool input = false;
  uint32_t state = ACStateIdle;
  uint32_t first = 0;
  uint32_t last = 0;
  bool audio = false;
  bool options[3] = {};
  uint32_t active = kACNoFrame;  // input: the slot that is being filled
  uint32_t next = 0;             // output: the slot that the next transfer takes
  uint32_t processed = 0;
  uint32_t dropped = 0;
  uint64_t generation = 0;  // counts Init and the way back to idle
  int64_t runFrame = 0;     // boundaries since the run began
  int64_t transfers = 0;
  int64_t startNs = 0;
  int64_t boundaryNs = 0;
  int64_t soundBase = 0;  // input: source sample at which the run began
  bool timecodePresent = false;
  CapturedFrame incoming;  // input: what fills the active slot now
  std::deque<uint32_t> waiting;
  std::map<uint32_t, RingSlot> slots;

  [[nodiscard]] uint32_t Channel() const { return channelSpec & 0xFF; }
  // True while boundaries change it.
  [[nodiscard]] bool Moves() const {
    return state == ACStateStarting || state == ACStateRunning || state == ACStateStopping;
  }
  [[nodiscard]] uint32_t After(uint32_t slot) const { return slot >= last ? first : slot + 1; }
  [[nodiscard]] RingSlot& Slot(uint32_t slot) { return slots[slot]; }
  [[nodiscard]] bool IsFree(uint32_t slot) { return Slot(slot).state == RingSlot::State::kFree; }
};

}  // namespace morvane
