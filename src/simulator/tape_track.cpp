#include "simulator/tape_track.h"

#include <algorithm>
#include <cstdio>

#include "device/formats.h"

namespace morvane {
namespace {

constexpr int64_t kNumbersPer10Minutes = 17982;  // of drop frame
constexpr uint8_t kDropFrameFlag = 0x40;

uint8_t ToBcd(int value) {
  return static_cast<uint8_t>(value / 10 << 4 | value % 10);
}

int FromBcd(uint8_t byte, uint8_t mask) {
  return (byte & mask) / 16 * 10 + (byte & mask) % 16;
}

int64_t Wrapped(int64_t count, int64_t day) {
  const int64_t rest = count % day;
  return rest < 0 ? rest + day : rest;
}

}  // namespace

TapeRate TapeRate::Of(uint32_t videoFormat, bool dropFrame) {
  TapeRate rate;
  const VideoFormatRow* row = FindVideoFormat(videoFormat);
  if (row == nullptr || !FrameRatePair(row->rate, &rate.scale, &rate.duration)) return rate;
  rate.pairs = rate.scale / rate.duration >= 40;
  const uint32_t counted = (rate.pairs ? rate.scale / 2 : rate.scale) / 1000;
  rate.base = counted == 15 ? 24 : counted;
  rate.dropFrame = dropFrame && rate.base == 30;
  return rate;
}

int64_t TapeRate::DayCount() const {
  return dropFrame ? kNumbersPer10Minutes * 144 : base * 86400;
}

TimecodeFields TapeTimecode(const TapeRate& rate, int64_t count) {
  int64_t number = Wrapped(count, rate.DayCount());
  if (rate.dropFrame) {
    // Two numbers are left out at the head of each minute but every tenth.
    const int64_t tens = number / kNumbersPer10Minutes;
    const int64_t rest = number % kNumbersPer10Minutes;
    number += 18 * tens + (rest < 2 ? 0 : 2 * ((rest - 2) / 1798));
  }
  TimecodeFields fields;
  fields.dropFrame = rate.dropFrame;
  fields.frames = static_cast<int>(number % rate.base);
  number /= rate.base;
  fields.seconds = static_cast<int>(number % 60);
  fields.minutes = static_cast<int>(number / 60 % 60);
  fields.hours = static_cast<int>(number / 3600 % 24);
  return fields;
}

std::string TapeTimecodeText(const TapeRate& rate, int64_t count) {
  const TimecodeFields f = TapeTimecode(rate, count);
  const char mark = rate.dropFrame ? ';' : ':';
  char text[64];
  std::snprintf(text, sizeof text, "%02d%c%02d%c%02d%c%02d", f.hours, mark, f.minutes, mark,
                f.seconds, mark, f.frames);
  return text;
}

int64_t TapeCount(const TapeRate& rate, const TimecodeFields& f) {
  const int64_t minutes = f.hours * 60 + f.minutes;
  int64_t frames = f.frames;
  if (rate.dropFrame && minutes % 10 != 0 && f.seconds == 0 && frames < 2) frames = 2;
  int64_t count = (minutes * 60 + f.seconds) * rate.base + frames;
  if (rate.dropFrame) count -= 2 * (minutes - minutes / 10);
  return Wrapped(count, rate.DayCount());
}

int64_t TapeCountOfText(const TapeRate& rate, const std::string& text) {
  TimecodeFields fields;
  const auto two = [&](size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  fields.hours = two(0);
  fields.minutes = two(3);
  fields.seconds = two(6);
  fields.frames = two(9);
  return TapeCount(rate, fields);
}

bool IsTapeNumber(const TapeRate& rate, const std::string& text) {
  std::string counted = TapeTimecodeText(rate, TapeCountOfText(rate, text));
  for (const size_t at : {2, 5, 8}) counted[at] = text[at];
  return counted == text;
}

std::vector<uint8_t> TapeTimecodeBytes(const TapeRate& rate, int64_t count) {
  const TimecodeFields f = TapeTimecode(rate, count);
  const uint8_t flag = rate.dropFrame ? kDropFrameFlag : 0;
  return {static_cast<uint8_t>(ToBcd(f.frames) | flag), ToBcd(f.seconds), ToBcd(f.minutes),
          ToBcd(f.hours)};
}

int64_t TapeCountOfBytes(const TapeRate& rate, std::span<const uint8_t> bytes) {
  TimecodeFields fields;
  if (bytes.size() >= 4) {
    fields.frames = FromBcd(bytes[0], 0x3F);
    fields.seconds = FromBcd(bytes[1], 0x7F);
    fields.minutes = FromBcd(bytes[2], 0x7F);
    fields.hours = FromBcd(bytes[3], 0x3F);
  }
  return TapeCount(rate, fields);
}

int64_t PlainTrack::CountAt(int64_t picture) const {
  return Wrapped(first_ + rate_.Numbers(picture), rate_.DayCount());
}

int64_t PlainTrack::Find(int64_t count) const {
  const int64_t day = rate_.DayCount();
  const int64_t picture = rate_.Pictures(Wrapped(count - first_, day));
  if (picture < pictures_) return picture;
  // Beyond the tape: forwards to its end or backwards to its beginning, whichever is nearer.
  const int64_t beyond = picture - (pictures_ - 1);
  const int64_t before = rate_.Pictures(day) - picture;
  return beyond <= before ? pictures_ - 1 : 0;
}

}  // namespace morvane
