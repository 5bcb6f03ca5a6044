// Commands that move the tape.
#include <cmath>

#include "session/control.h"

namespace morvane {
namespace {

constexpr size_t kAck = 3;
constexpr size_t kLongAck = 4;    // of shuttle and reverse play
constexpr size_t kPresetAck = 7;  // of preset and cue

// Speed as the line takes it: 32 steps a decade, 64 is play.
uint8_t ShuttleCode(double speed) {
  if (speed == 0) return 0;
  const double code = std::trunc((std::log10(std::fabs(speed)) + 2) * 32 + 0.5);
  return static_cast<uint8_t>(std::fmin(std::fmax(code, 0), 255));
}

}  // namespace

bool CRQD5Control::Transport(Bytes bytes, size_t ackLength, double speed) {
  if (!Exchange(bytes)) return false;
  commandedSpeed_ = speed;
  return IsAck(ackLength);
}

bool CRQD5Control::Stop() {
  return Transport({0x20, 0x00}, kAck, 0);
}

bool CRQD5Control::Play() {
  return Transport({0x20, 0x01}, kAck, 1);
}

bool CRQD5Control::Record() {
  return Transport({0x20, 0x02}, kAck, 1);
}

bool CRQD5Control::FastForward() {
  return Transport({0x20, 0x10}, kAck, 50);
}

bool CRQD5Control::Rewind() {
  return Transport({0x20, 0x20}, kAck, -50);
}

bool CRQD5Control::Preview() {
  return Transport({0x20, 0x40}, kAck, 1);
}

bool CRQD5Control::AutoEdit() {
  return Transport({0x20, 0x42}, kAck, 1);
}

bool CRQD5Control::PerformEdit() {
  if (!Exchange({0x20, 0x42}, false)) return false;
  commandedSpeed_ = 1;
  return true;
}

bool CRQD5Control::ReversePlay() {
  return Transport({0x21, 0x21, 0x40}, kLongAck, -1);
}

bool CRQD5Control::Shuttle8x() {
  return Transport({0x21, 0x11, 0x5D}, kAck, 8);
}

bool CRQD5Control::Shuttle8xReverse() {
  return Transport({0x21, 0x21, 0x5D}, kAck, -8);
}

bool CRQD5Control::ShuttleStill() {
  return Transport({0x21, 0x13, 0x00}, kLongAck, 0);
}

bool CRQD5Control::Shuttle(double speed) {
  if (!RequireActivated()) return false;
  if (!std::isfinite(speed)) return Fail("Shuttle Speed Invalid");
  const uint8_t direction = speed < 0 ? 0x23 : 0x13;
  return Transport({0x21, direction, ShuttleCode(speed)}, kLongAck, speed);
}

bool CRQD5Control::CueUp(const std::string& time) {
  if (!RequireActivated()) return false;
  const auto packed = PackVtrTime(time);
  if (!packed) return Fail("Timecode Invalid");
  return ExchangeTime(0x24, 0x31, *packed) && IsAck(kPresetAck);
}

bool CRQD5Control::SetPreset(const std::string& time) {
  if (!RequireActivated()) return false;
  auto packed = PackVtrTime(time);
  if (!packed) return Fail("Timecode Invalid");
  if (GetTimeBase().dropFrame) (*packed)[0] |= 0x40;
  return ExchangeTime(0x44, 0x04, *packed) && IsAck(kPresetAck);
}

bool CRQD5Control::Step() {
  return StepTo(true);
}

bool CRQD5Control::StepBack() {
  return StepTo(false);
}

bool CRQD5Control::StepTo(bool forward) {
  std::string text;
  if (!RequireActivated()) return false;
  GetStatusText(&text);
  if (text != "Still") ShuttleStill();
  // Without a time there is nowhere to step from; a cue to the neighbour of zero would run off.
  if (!GetTimecode(&text)) return false;
  return CueUp(forward ? NextVtrTime(text, GetTimeBase()) : PreviousVtrTime(text, GetTimeBase()));
}

}  // namespace morvane
