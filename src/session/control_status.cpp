// What the machine tells: timecode, status, speed.
#include <algorithm>
#include <cmath>

#include "session/control.h"

namespace morvane {
namespace {

constexpr size_t kStatusReply = 13;  // two command bytes, ten status bytes, checksum
constexpr size_t kSpeedReply = 4;
constexpr size_t kReplyHeader = 2;

// What to ask for, by timecode source.
constexpr uint8_t kSenseSource[] = {1, 2, 3};

}  // namespace

bool CRQD5Control::GetTimecode(std::string* text) {
  const bool dropFrame = GetTimeBase().dropFrame;
  *text = NoVtrTimeText(dropFrame);
  if (!Exchange({0x61, 0x0C, kSenseSource[tcSourceIndex_]}) || replyLength_ == 0) return false;
  VtrTime time;
  for (size_t i = 0; i < time.size(); ++i) time[i] = reply_[kReplyHeader + i];
  *text = VtrTimeText(time, dropFrame);
  return true;
}

VtrStatusData CRQD5Control::StatusData() const {
  return std::span(reply_).subspan<kReplyHeader, kVtrStatusBytes>();
}

bool CRQD5Control::ReadStatus() {
  return Exchange({0x61, 0x20, 0x0A}) && replyLength_ == kStatusReply;
}

bool CRQD5Control::GetStatus(RQD5VtrStatus* status) {
  *status = {};
  if (!ReadStatus()) {
    status->entries[VtrNoReply] = true;
    return false;
  }
  *status = DecodeVtrStatus(StatusData());
  return true;
}

bool CRQD5Control::GetStatusText(std::string* text) {
  *text = "Offline";
  if (!ReadStatus()) return false;
  std::array<uint8_t, kVtrStatusBytes> data;
  const VtrStatusData received = StatusData();
  std::copy(received.begin(), received.end(), data.begin());
  if (!VtrMovesBySpeed(data)) {
    *text = VtrStatusText(data);
    return true;
  }
  const bool told =
      Exchange({0x60, 0x2E}) && (replyLength_ == kSpeedReply || replyLength_ == kSpeedReply + 1);
  // Deliberate: the number is the speed that was asked for, not the one that the reply holds.
  *text = told ? VtrSpeedText(data, commandedSpeed_) : VtrUnknownSpeedText(data);
  return true;
}

double CRQD5Control::GetSpeed() {
  if (!Exchange({0x60, 0x2E}) || replyLength_ != kSpeedReply) return 0;
  // Deliberate: as above.
  const double speed = std::fabs(commandedSpeed_);
  RQD5VtrStatus status;
  if (!GetStatus(&status) || status.Is(VtrStopped)) return 0;
  return status.Is(VtrReverse) ? -speed : speed;
}

}  // namespace morvane
