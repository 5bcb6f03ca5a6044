// What the engines ask of the session.
#include "device/boards.h"
#include "device/formats.h"
#include "session/card2.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

enum CheckInputResult : uint32_t { kInputSame = 0, kInputOther = 1, kInputNone = 2 };

bool IsRgbFrameBuffer(uint32_t frameBufferFormat) {
  switch (frameBufferFormat) {
    case FrameBuffer8BitArgb:
    case FrameBuffer8BitRgba:
    case FrameBuffer10BitRgb:
    case FrameBuffer8BitAbgr:
    case FrameBuffer10BitRgbDpx:
    case FrameBuffer8BitRgb:
    case FrameBuffer8BitBgr:
    case FrameBuffer10BitRgbDpxLittle:
    case FrameBuffer48BitRgb:
    case FrameBuffer10BitRgbPacked:
    case FrameBuffer10BitArgb:
    case FrameBuffer16BitArgb:
      return true;
    default:
      return false;
  }
}

// HDMI and the analog connectors report through the status word of the third input.
bool IsSdiInput(uint32_t id) {
  const bool hdmi = id == InputHDMI || id == InputHDMIPrimary || id == InputHDMISecondary;
  return !hdmi && (id < InputAnalogFirst || id > InputAnalogLast);
}

RQD5FormatDescriptor ShapeOf(uint32_t videoFormat, uint32_t frameBufferFormat) {
  const VideoFormatRow* row = FindVideoFormat(videoFormat);
  if (row == nullptr) return {};
  return GetFormatDescriptor(row->standard, frameBufferFormat, false,
                             row->geometry == Geometry2048x1080, false);
}

bool Is1080(uint32_t standard) {
  return standard == Standard1080 || standard == Standard1080p;
}

// Whether a signal that reads as `seen` is the one that a card set to `wanted` takes. What an input
// reports does not tell all formats apart:
//  - A segmented picture travels as an interlaced one, and an input that reports its scan takes it
//    for a progressive one.
//  - `bare`: nothing but raster and rate is told, as on HDMI and analog connectors, and on SDI for
//    a picture of two streams without a 3 Gbit/s input: it comes as two links of half the rate.
bool SameSignal(uint32_t wanted, uint32_t seen, bool bare) {
  const VideoFormatRow* a = FindVideoFormat(wanted);
  const VideoFormatRow* b = FindVideoFormat(seen);
  if (a == nullptr || b == nullptr) return false;
  if (a->rate != b->rate || a->geometry != b->geometry) return false;
  if (a->standard == b->standard && a->level == b->level) return true;
  if (!Is1080(a->standard) || !Is1080(b->standard)) return false;
  if (bare) return true;
  const bool segmented = a->standard == Standard1080 && a->picture != 0 && a->level == 0;
  return segmented && b->standard == Standard1080p;
}

}  // namespace

RQD5VideoFormat CRQD5Card2::DetectSelectedInput() {
  if (!RequireOpen()) return 0;
  const uint32_t id = SelectionOf(SessionFamily::VideoInput).id;
  if (!IsSdiInput(id)) return DetectInput3();
  const bool second =
      id == InputSingle2 || id == InputSingle2Primary || id == InputSingle2Secondary;
  return DetectInput(second ? 2 : 1);
}

uint32_t CRQD5Card2::CheckInput() {
  if (!RequireOpen()) return kInputNone;
  const RQD5VideoFormat seen = DetectSelectedInput();
  if (seen == 0) return kInputNone;
  const uint32_t converted = SecondFormatOf(SelectionOf(SessionFamily::SecondFormatIn).id);
  // The cast copies a field that need not be aligned.
  const uint32_t wanted =
      converted != 0 ? converted : static_cast<uint32_t>(formatDesc_.videoFormat);
  const bool links = IsDualStream(wanted) && !BoardHas3GInput(identity_);
  const bool bare = links || !IsSdiInput(SelectionOf(SessionFamily::VideoInput).id);
  return SameSignal(wanted, seen, bare) ? kInputSame : kInputOther;
}

uint32_t CRQD5Card2::GetFrameBytes(uint32_t frameBufferFormat) const {
  return ShapeOf(formatDesc_.videoFormat, frameBufferFormat).FrameBytes();
}

bool CRQD5Card2::HasRgbFrameBuffer() const {
  return identity_ != BoardKapok && identity_ != BoardMaple;
}

bool CRQD5Card2::CanUseFrameBufferFormat(uint32_t frameBufferFormat) {
  if (!RequireOpen()) return false;
  if (IsRgbFrameBuffer(frameBufferFormat) && !HasRgbFrameBuffer()) return false;
  const VideoFormatRow* row = FindVideoFormat(formatDesc_.videoFormat);
  const uint32_t bytes = GetFrameBytes(frameBufferFormat);
  if (row == nullptr || bytes == 0) return false;
  const uint32_t slots = FrameCount(identity_, row->geometry, frameBufferFormat);
  if (slots == 0) return false;
  const uint64_t memory = uint64_t{FrameTotal(identity_)} * FrameSlotSize(identity_);
  return bytes <= memory / slots;
}

uint32_t CRQD5Card2::GetFrameLatency(SessionDirection direction) {
  if (!RequireOpen()) return 0;
  const uint32_t convert = SelectionOf(SessionFamily::ConvertMode).id;
  const uint32_t second =
      SelectionOf(direction == SessionDirection::In ? SessionFamily::SecondFormatIn
                                                    : SessionFamily::SecondFormatOut)
          .id;
  const bool converting = convert != kConvertNone && convert != kConvertNotAvailable;
  return (converting ? 1u : 0u) + (SecondFormatOf(second) != 0 ? 1u : 0u);
}

float CRQD5Card2::GetAudioLatency(SessionDirection direction) {
  const float frames = static_cast<float>(GetFrameLatency(direction));
  return formatDesc_.cadence == 2 ? frames / 2 : frames;
}

bool CRQD5Card2::CarriesTimecode() {
  return RequireOpen() && BoardOffersHd(identity_);
}

uint32_t CRQD5Card2::GetTimecodeInputKind() {
  if (!RequireOpen()) return 0;
  switch (SelectionOf(SessionFamily::TimecodeInput).id) {
    case TimecodeLtc:
    case TimecodeVitc1:
    case TimecodeVitc2:
      return 1;
    case TimecodeExternal:
      return 2;
    default:
      return 0;
  }
}

void CRQD5Card2::GetRaster(uint32_t* width, uint32_t* height) const {
  *width = formatDesc_.displayWidth;
  *height = formatDesc_.displayHeight;
}

void CRQD5Card2::GetFrameRaster(uint32_t* width, uint32_t* height) const {
  *width = formatDesc_.width;
  *height = formatDesc_.height;
}

void CRQD5Card2::GetPixelAspect(int32_t* x, int32_t* y) const {
  *x = *y = 1;
  if (formatDesc_.displayWidth != 720) return;
  const bool wide = formatDesc_.wide != 0;
  if (formatDesc_.displayHeight == 576) {
    *x = wide ? 16 : 12;
    *y = 11;
  } else {
    *x = wide ? 40 : 10;
    *y = wide ? 33 : 11;
  }
}

void CRQD5Card2::GetRate(uint32_t* scale, uint32_t* duration) const {
  *scale = static_cast<uint32_t>(formatDesc_.frameScale);
  *duration = static_cast<uint32_t>(formatDesc_.frameDuration);
}

void CRQD5Card2::GetCardRate(uint32_t* scale, uint32_t* duration) const {
  GetRate(scale, duration);
  const VideoFormatRow* row = FindVideoFormat(formatDesc_.videoFormat);
  if (row == nullptr || !FrameRatePair(row->rate, scale, duration)) return;
  if (row->level != 0) *scale *= 2;  // two streams of half the rate
}

uint32_t CRQD5Card2::GetPadBytes(uint32_t frameBufferFormat) const {
  constexpr uint32_t kPadLines = 4;
  if (formatDesc_.displayHeight != 480) return 0;
  return kPadLines * ShapeOf(formatDesc_.videoFormat, frameBufferFormat).linePitch * 4;
}

uint32_t CRQD5Card2::GetExtraBytes(uint32_t frameBufferFormat) const {
  const uint32_t lines = formatDesc_.height - formatDesc_.displayHeight;
  return lines * ShapeOf(formatDesc_.videoFormat, frameBufferFormat).linePitch * 4;
}

bool CRQD5Card2::CanFlip(uint32_t frameBufferFormat) const {
  return frameBufferFormat == FrameBuffer8BitArgb || frameBufferFormat == FrameBuffer8BitRgba ||
         frameBufferFormat == FrameBuffer8BitAbgr;
}

bool CRQD5Card2::NeedsExtendedTransfer() {
  return RequireOpen() && routingTable_.count != 0;
}

bool CRQD5Card2::FillRoute(RQD5RoutingTable* route) {
  *route = {};
  if (!RequireOpen()) return false;
  *route = routingTable_;
  return true;
}

}  // namespace morvane
