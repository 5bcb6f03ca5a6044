#include <cctype>
#include <cstring>

#include "simulator/input_source.h"

namespace morvane {

bool SourceTimecode::IsTimecodeText(const std::string& text) {
  if (text.size() != 11) return false;
  for (size_t i = 0; i < text.size(); ++i) {
    const bool separator = i % 3 == 2;
    if (separator ? text[i] != ':' && text[i] != ';'
                  : std::isdigit(static_cast<unsigned char>(text[i])) == 0) {
      return false;
    }
  }
  return text.substr(0, 2) < "24" && text[3] < '6' && text[6] < '6' && text[9] < '3';
}

SourceTimecode::SourceTimecode(const std::string& first, uint32_t scale, uint32_t duration) {
  if (!IsTimecodeText(first) || scale == 0) return;
  present_ = true;
  pairs_ = scale / duration >= 40;
  // The numbers count at half the rate of the high rates, and in 24 at the lowest.
  const uint32_t counted = pairs_ ? scale / 2 : scale;
  scale_ = counted == 15000 ? 24000 : static_cast<int32_t>(counted);
  rate_ = static_cast<int32_t>(duration);
  dropFrame_ = scale_ == 30000 && first.find(';') != std::string::npos;
  uint32_t frame = 0;
  TimecodeTextToFrame(first.c_str(), scale_, rate_, dropFrame_ ? 1 : 0, &frame);
  first_ = static_cast<int32_t>(frame);
  dayFrames_ = dropFrame_ ? 2589408 : static_cast<int64_t>(86400) * (scale_ / 1000);
}

Rp188Timecode SourceTimecode::At(int64_t frame) const {
  if (!present_) return {};
  const int64_t at = (first_ + (pairs_ ? frame / 2 : frame)) % dayFrames_;
  char text[kTimecodeTextBytes];
  FrameToTimecodeText(static_cast<int32_t>(at), scale_, rate_, dropFrame_ ? 1 : 0, text);
  return PackRp188(text);
}

}  // namespace morvane
