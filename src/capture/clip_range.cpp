#include <algorithm>
#include <cstdint>

#include "capture/capture_settings.h"
#include "processing/timecode.h"

// The texts of a job that follow from each other: in, out and duration; this clip's name and the
// next one's.
namespace morvane {
namespace {

constexpr size_t kTimecodeBytes = 32;

// A stored number may be anything; what no rate can be reads as 0, which every rate table refuses.
int32_t Whole(double value) {
  return value >= 0 && value <= 1e6 ? static_cast<int32_t>(value) : 0;
}

// The tape machine's rate as the in and out points count it: 50 and 60 frames as 25 and 30.
struct PointRate {
  int32_t scale = 30000;
  int32_t duration = 1001;
  uint8_t dropFrame = 0;

  explicit PointRate(const VtrSettingsBlock& vtr)
      : scale(Whole(vtr.scale)), duration(Whole(vtr.duration)), dropFrame(vtr.dropFrame) {
    if (scale == 50000 || scale == 60000) scale /= 2;
  }
  // 0 for 24 frames, 1 for 25, else 2.
  [[nodiscard]] int32_t Class() const { return scale == 24000 ? 0 : scale == 25000 ? 1 : 2; }
};

int32_t FrameOf(const std::string& text, const PointRate& rate) {
  char buffer[kTimecodeBytes] = {};
  text.copy(buffer, sizeof buffer - 1);
  uint32_t frame = 0;
  (void)TimecodeTextToFrame(buffer, rate.scale, rate.duration, rate.dropFrame, &frame);
  return static_cast<int32_t>(frame);
}

std::string TextOf(int32_t frame, const PointRate& rate) {
  char text[kTimecodeBytes] = {};
  (void)FrameToTimecodeText(frame, rate.scale, rate.duration, rate.dropFrame, text);
  return text;
}

std::string Normalized(const std::string& typed, const PointRate& rate) {
  char input[kTimecodeBytes] = {};
  typed.copy(input, sizeof input - 1);
  char output[kTimecodeBytes] = {};
  (void)NormalizeTimecodeText(input, output, rate.Class(), rate.dropFrame);
  return output;
}

void SetDurationFromPoints(CaptureSettings* settings, const PointRate& rate) {
  const int32_t in = FrameOf(settings->inPoint.Get(), rate);
  const int32_t out = FrameOf(settings->outPoint.Get(), rate);
  settings->inOutDuration.Set(TextOf(out - in + 1, rate));
}

bool InIsAfterOut(const CaptureSettings& settings, const PointRate& rate) {
  return FrameOf(settings.inPoint.Get(), rate) > FrameOf(settings.outPoint.Get(), rate);
}

}  // namespace

void SetInPoint(CaptureSettings* settings, const std::string& text) {
  const PointRate rate(settings->vtr);
  settings->inPoint.Set(Normalized(text, rate));
  if (InIsAfterOut(*settings, rate)) settings->outPoint = settings->inPoint;
  SetDurationFromPoints(settings, rate);
}

void SetOutPoint(CaptureSettings* settings, const std::string& text) {
  const PointRate rate(settings->vtr);
  settings->outPoint.Set(Normalized(text, rate));
  if (InIsAfterOut(*settings, rate)) settings->inPoint = settings->outPoint;
  SetDurationFromPoints(settings, rate);
}

void SetInOutDuration(CaptureSettings* settings, const std::string& text) {
  const PointRate rate(settings->vtr);
  const int32_t frames = std::max(1, FrameOf(Normalized(text, rate), rate));
  const int32_t in = FrameOf(settings->inPoint.Get(), rate);
  settings->outPoint.Set(TextOf(in + frames - 1, rate));
  SetDurationFromPoints(settings, rate);
}

void ResetInOut(CaptureSettings* settings) {
  const bool drop = settings->vtr.dropFrame != 0;
  settings->inPoint.Set(drop ? "00;00;00;00" : "00:00:00:00");
  settings->outPoint = settings->inPoint;
  settings->inOutDuration.Set(drop ? "00;00;00;01" : "00:00:00:01");
}

std::u16string NextClipName(std::u16string_view name) {
  size_t digits = name.size();
  while (digits > 0 && name[digits - 1] >= u'0' && name[digits - 1] <= u'9') --digits;
  std::u16string next(name);
  if (digits == name.size()) {
    next += u" 01";
  } else {
    size_t place = next.size();
    while (place > digits && next[place - 1] == u'9') next[--place] = u'0';
    if (place > digits) {
      next[place - 1] = static_cast<char16_t>(next[place - 1] + 1);
    } else {
      next.insert(digits, 1, u'1');
    }
  }
  if (next.size() > kClipNameCharacters) next.resize(kClipNameCharacters);
  return next;
}

}  // namespace morvane
