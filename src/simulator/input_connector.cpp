#include "simulator/input_connector.h"

#include "device/formats.h"

namespace morvane {

SignalFormat SignalFormatOf(uint32_t videoFormat) {
  SignalFormat format;
  format.videoFormat = videoFormat;
  const VideoFormatRow* row = FindVideoFormat(videoFormat);
  if (row == nullptr || videoFormat == 0) return format;
  const bool wide = BaseGeometry(GeometryForQuad(row->geometry)) == Geometry2048x1080;
  const RQD5FormatDescriptor descriptor =
      GetFormatDescriptor(row->standard, FrameBuffer10BitYCbCr, false, wide, false);
  format.width = descriptor.numPixels;
  format.height = descriptor.numLines;
  (void)FrameRatePair(row->rate, &format.scale, &format.duration);
  return format;
}

namespace {

// How far behind an idle source may lag before it skips.
constexpr int64_t kIdleLag = 16;

}  // namespace

InputConnector::InputConnector(const InputDescription& description)
    : description_(description),
      format_(SignalFormatOf(description.videoFormat)),
      timecode_(description.timecode, format_.scale, format_.duration) {
  if (format_.scale == 0) return;
  if (description.source == SignalSource::kBars) {
    source_ = MakeBarsSource(format_, description.sound);
  } else if (description.source == SignalSource::kClip) {
    source_ = MakeClipSource(format_, description.clip, description.sound);
  }
}

void InputConnector::Cue(uint32_t sampleRate) {
  loopSound.clear();
  if (source_ == nullptr) return;
  source_->Restart(sampleRate);
  lastIdle_ = -1;
  cued_ = source_->StartsWithCapture();
}

void InputConnector::Roll(int64_t boundary) {
  if (!cued_) return;
  firstBoundary_ = boundary;
  cued_ = false;
}

void InputConnector::Retime(int64_t oldBoundary) {
  // What starts with a capture keeps its place; what runs with the card starts over with it.
  firstBoundary_ = StartsWithCapture() ? firstBoundary_ - oldBoundary : 0;
}

int64_t InputConnector::FrameNumber(int64_t boundary) const {
  return cued_ ? 0 : boundary - firstBoundary_;
}

SignalFrameRef InputConnector::IdleFrame(int64_t boundary, uint32_t sampleRate) {
  if (source_ == nullptr) return nullptr;
  if (!source_->StartsWithCapture()) return source_->Frame(boundary);
  if (lastIdle_ < 0) {
    source_->Restart(sampleRate);
    cued_ = false;
    firstBoundary_ = boundary;
    lastIdle_ = 0;
  }
  int64_t number = boundary - firstBoundary_;
  if (number > lastIdle_ + kIdleLag) {
    number = lastIdle_ + 1;
    firstBoundary_ = boundary - number;
  }
  lastIdle_ = number;
  return source_->Frame(number);
}

}  // namespace morvane
