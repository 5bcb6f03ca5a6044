#include "tools/deck_door.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "device/formats.h"
#include "session/card2.h"

namespace morvane::tools {
namespace {

constexpr uint8_t kDropFrameFlag = 0x40;  // in the frames of a timecode reply
constexpr size_t kTimecodeReplyBytes = 7;
constexpr size_t kReplyHeader = 2;
constexpr size_t kSpeedReplyBytes = 4;
constexpr uint8_t kSenseSpeed[] = {2, 0x60, 0x2E};
constexpr double kSpeedByteError = 0.0367;  // half a step of the speed byte

// The row of the time base table that counts pictures of `format`; the default without one.
uint32_t TimeBaseOf(uint32_t format, bool dropFrame) {
  const VideoFormatRow* row = FindVideoFormat(format);
  uint32_t scale = 0;
  uint32_t duration = 1;
  if (format != 0 && row != nullptr) (void)FrameRatePair(row->rate, &scale, &duration);
  const auto bases = VtrTimeBases();
  for (uint32_t i = 0; i < bases.size(); ++i) {
    if (bases[i].scale == scale && bases[i].dropFrame == dropFrame) return i;
  }
  return dropFrame ? kDefaultTimeBase + 1 : kDefaultTimeBase;
}

// 10^(n / 32 - 2) plays of a speed byte, 0 for none. Speeds that have a name are taken for it: the
// byte is too coarse to say 8 exactly.
double SpeedOfByte(uint8_t n) {
  if (n == 0) return 0;
  const double speed = std::pow(10.0, n / 32.0 - 2);
  for (const double named : {0.25, 0.5, 1.0, 2.0, 3.0, 4.0, 8.0, 16.0, 32.0, 50.0}) {
    if (std::fabs(speed / named - 1) < kSpeedByteError) return named;
  }
  return speed;
}

// What the machine itself tells of its speed, and the word for it.
void AskSpeed(CRQD5Control* control, DeckReport* report) {
  RQD5VtrStatus status;
  if (!control->GetStatus(&status) || status.Is(VtrStopped)) return;
  std::array<uint8_t, kVtrStatusBytes> data = {};
  std::copy_n(control->Reply().begin() + kReplyHeader, data.size(), data.begin());
  if (!control->SendCommand(kSenseSpeed, true)) return;
  const auto reply = control->Reply();
  if (reply.size() != kSpeedReplyBytes || reply[1] != kSenseSpeed[2]) return;
  const double speed = SpeedOfByte(reply[kReplyHeader]);
  report->speed = status.Is(VtrReverse) ? -speed : speed;
  if (VtrMovesBySpeed(data)) report->status = VtrSpeedText(data, speed);
}

}  // namespace

bool OpenDeck(const RQD5BoardInfo& board, CRQD5Control* control) {
  uint32_t format = 0;
  CRQD5Card2 session;
  if (session.OpenSession(board.boardIndex, board, kSessionCaptureAndPlay)) {
    format = session.DetectSelectedInput();
    if (format == 0) format = session.DetectReference();
    session.Close();
  }
  if (!control->Open(static_cast<uint16_t>(board.boardNumber), false, board.boardType, nullptr)) {
    return false;
  }
  CountTapeAs(format, control);
  return true;
}

void CountTapeAs(uint32_t format, CRQD5Control* control) {
  std::string ignored;
  const bool dropFrame = control->GetTimecode(&ignored) &&
                         control->Reply().size() == kTimecodeReplyBytes &&
                         (control->Reply()[2] & kDropFrameFlag) != 0;
  // A rate that has no drop frame of its own counts as it is.
  (void)control->SetTimeBase(TimeBaseOf(format, dropFrame));
}

DeckReport AskDeck(CRQD5Control* control) {
  DeckReport report;
  report.answers = control->GetStatusText(&report.status);
  if (!report.answers) return report;
  std::string text;
  if (control->GetTimecode(&text)) report.timecode = text;
  // The control knows the speed that it commanded; a machine that another process set running is
  // asked for its own.
  report.speed = control->GetSpeed();
  if (control->CommandedSpeed() == 0) AskSpeed(control, &report);
  return report;
}

}  // namespace morvane::tools
