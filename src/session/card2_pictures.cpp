// Pictures that the session moves itself: stills, the live input, the overlay, the colour table.
#include <cmath>
#include <vector>

#include "base/byte_order.h"
#include "device/boards.h"
#include "device/formats.h"
#include "device/pattern_drawing.h"
#include "device/test_pattern.h"
#include "processing/convert.h"
#include "session/card2.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

// The output colour table lies in the register window, its control word behind it.
constexpr uint32_t kColourTableRegister = 512;
constexpr uint32_t kColourTableWords = kColourTableBytes / 4;
constexpr uint32_t kColourTableControl = kColourTableRegister + kColourTableWords;
constexpr uint32_t kColourTableBank = 0x1;  // shift 0
constexpr uint32_t kColourTableOn = 0x2;    // shift 1

// Three tables in which each of the 1024 levels stands for itself, two levels a word.
void FillIdentityTable(uint8_t* table) {
  for (uint32_t word = 0; word < kColourTableWords; ++word) {
    const uint32_t first = word % 512 * 2;
    StoreLe32(table + word * 4, (first + 1) << 22 | first << 6);
  }
}

// Code of the pixels that a frame of this layout holds; 0 where the conversion core has none.
FourCCCode FourCCOfFrameBuffer(uint32_t frameBufferFormat) {
  switch (frameBufferFormat) {
    case FrameBuffer10BitYCbCr:
      return FourCC("v219");
    case FrameBuffer8BitUyvy:
      return FourCC("2vuy");
    case FrameBuffer8BitArgb:
      return FourCC("bgrA");
    case FrameBuffer8BitRgba:
      return FourCC("argB");
    case FrameBuffer8BitYuy2:
      return FourCC("yuy2");
    case FrameBuffer8BitAbgr:
      return FourCC("rgba");
    case FrameBuffer10BitRgbDpx:
      return FourCC("10rb");
    case FrameBuffer8BitRgb:
      return FourCC("rgb ");
    case FrameBuffer8BitBgr:
      return FourCC("bgr ");
    case FrameBuffer10BitRgbDpxLittle:
      return FourCC("10rl");
    case FrameBuffer48BitRgb:
      return FourCC("RGB ");
    default:
      return 0;
  }
}

constexpr uint32_t kMixerFullScale = 65536;
constexpr uint32_t kNextStillFrame = 0xFFFFFFFF;
constexpr uint32_t kDefaultPattern = 0;  // full bars

}  // namespace

bool CRQD5Card2::DmaWriteFrame(uint32_t frame, const void* buffer, uint32_t bytes) {
  if (!RequireOpen()) return false;
  if (buffer == nullptr) return Fail("Frame Buffer is NULL");
  return DmaWriteWithOffset(kDmaEngineFrame, frame, buffer, 0, bytes, true) ||
         Fail("DMA Write Frame Failed");
}

bool CRQD5Card2::DmaReadFrame(uint32_t frame, void* buffer, uint32_t bytes) {
  if (!RequireOpen()) return false;
  if (buffer == nullptr) return Fail("Frame Buffer is NULL");
  return DmaReadWithOffset(kDmaEngineFrame, frame, buffer, 0, bytes, true) ||
         Fail("DMA Read Frame Failed");
}

bool CRQD5Card2::SetLiveInput(bool on) {
  if (!RequireOpen()) return false;
  if (!on) return SetChannelMode(channel_, 0, keepTiming_);
  bool good = SetChannelMode(channel_, 1, keepTiming_);
  good &= SetAccessFrame(channel_, 0);
  good &= SetInputFrame(channel_, 0);
  return good;
}

bool CRQD5Card2::SetIdleOutput(IdleOutput idle) {
  if (!RequireOpen()) return false;
  if (idle == IdleOutput::EToE) return SetLiveInput(true);
  const uint32_t bytes = GetFrameBytes(FrameBuffer8BitUyvy);
  std::vector<uint8_t> black(bytes);
  for (size_t i = 0; i < black.size(); ++i) black[i] = i % 2 == 0 ? 0x80 : 0x10;
  SessionPicture picture;
  picture.data = black.data();
  picture.bytes = bytes;
  picture.frameBufferFormat = FrameBuffer8BitUyvy;
  return ShowStill(picture);
}

bool CRQD5Card2::ShowStill(const SessionPicture& picture) {
  return ShowStillIn(kNextStillFrame, picture);
}

bool CRQD5Card2::ShowStillIn(uint32_t frame, const SessionPicture& picture) {
  if (!RequireOpen()) return false;
  if (picture.data == nullptr) return Fail("Frame Buffer is NULL");
  if (!CanUseFrameBufferFormat(picture.frameBufferFormat)) return Fail("DMA Write Frame Failed");
  if (!picture.topDown && !CanFlip(picture.frameBufferFormat)) {
    return Fail("DMA Write Frame Failed");
  }
  if (frame == kNextStillFrame) {
    uint32_t shown = 0;
    GetOutputFrame(channel_, &shown);
    frame = shown == 0 ? 1 : 0;
  }
  // A frame lies where the format of its time puts it: where that changes, the format comes first.
  // Else it comes last, so that the picture on the output stays whole until the new one is there.
  bool first = false;
  if (!ChannelFormatMovesSlots(picture.frameBufferFormat, &first)) return false;
  bool good = !first || SetChannelFormat(picture.frameBufferFormat);
  if (!DmaWriteFrame(frame, picture.data, picture.bytes)) return false;
  if (!first) good &= SetChannelFormat(picture.frameBufferFormat);
  good &=
      WriteField(RegisterField::FrameOrientation, picture.topDown ? 0 : 1, ChannelIndex(channel_));
  good &= SetChannelMode(channel_, 0, keepTiming_);
  good &= SetOutputFrame(channel_, frame);
  return good;
}

bool CRQD5Card2::SetTestPattern(uint32_t index) {
  if (!RequireOpen()) return false;
  if (index >= kTestPatterns) return Fail("Test Pattern Not Found");
  uint32_t format = 0;
  if (!GetFrameBufferFormat(channel_, &format)) return false;
  CRQD5TestPattern pattern;
  if (!pattern.Open(BoardNumber(), false, BoardType(), nullptr)) {
    return Fail("Could Not Open Board");
  }
  pattern.SetChannel(channel_);
  pattern.SetFrameBufferFormat(format);
  pattern.SetAutoRoute(true, [this](RQD5RoutingTable* table) { BuildRouting(table); });
  PatternRaster raster;
  if (!pattern.ReadRaster(&raster)) return false;
  if (const char* refusal = PatternRefusal(index, raster)) return Fail(refusal);
  bool good = WriteField(RegisterField::FrameOrientation, 0, ChannelIndex(channel_));
  good &= SetChannelMode(channel_, 0, keepTiming_);
  return good && pattern.DownloadTestPattern(index);
}

// Draws in the layout that the channel has.
bool CRQD5Card2::ShowBars(uint32_t frame) {
  const VideoFormatRow* row = FindVideoFormat(formatDesc_.videoFormat);
  uint32_t format = 0;
  if (row == nullptr || !GetFrameBufferFormat(channel_, &format)) return false;
  PatternRaster raster;
  raster.standard = row->standard;
  raster.frameBufferFormat = format;
  raster.wide2K = row->geometry == Geometry2048x1080;
  std::vector<uint8_t> pixels(PatternDescriptor(raster).FrameBytes());
  if (const char* refusal = DrawTestPattern(kDefaultPattern, raster, pixels)) return Fail(refusal);
  SetDualLink(0);
  SessionPicture picture;
  picture.data = pixels.data();
  picture.bytes = static_cast<uint32_t>(pixels.size());
  picture.frameBufferFormat = format;
  return ShowStillIn(frame, picture);
}

bool CRQD5Card2::ReadInputFrame(void* bgra, size_t bytes) {
  if (!RequireOpen()) return false;
  uint32_t mode = 0;
  uint32_t frame = 0;
  uint32_t format = 0;
  if (!GetChannelMode(channel_, &mode) || mode != 1) return Fail("DMA Read Frame Failed");
  if (!GetInputFrame(channel_, &frame) || !GetFrameBufferFormat(channel_, &format)) {
    return Fail("DMA Read Frame Failed");
  }
  uint32_t width = 0;
  uint32_t height = 0;
  GetFrameRaster(&width, &height);
  const FourCCCode code = FourCCOfFrameBuffer(format);
  const uint32_t frameBytes = GetFrameBytes(format);
  if (bgra == nullptr || code == 0 || frameBytes == 0 || bytes < size_t{width} * height * 4) {
    return Fail("DMA Read Frame Failed");
  }
  if (code == FourCC("bgrA")) {
    return bytes >= frameBytes ? DmaReadFrame(frame, bgra, frameBytes)
                               : Fail("DMA Read Frame Failed");
  }
  inputFrame_.resize(frameBytes);
  if (!DmaReadFrame(frame, inputFrame_.data(), frameBytes)) return false;

  const auto w = static_cast<int32_t>(width);
  const auto h = static_cast<int32_t>(height);
  const auto pitch = static_cast<int32_t>(frameBytes / height);
  ConvertContext context;
  NxColorContext colour;
  colour.matrix =
      IsStandardDefinition(formatDesc_.videoFormat) ? ColorMatrix601Video : ColorMatrix709Video;
  const NxErr result =
      ConvertImage(&context, inputFrame_.data(), w, h, code, pitch, static_cast<uint8_t*>(bgra), w,
                   h, FourCC("bgrA"), w * 4, false, &colour, false, nullptr);
  return result == NxErrSuccess || Fail("DMA Read Frame Failed");
}

// The overlay lies in the last slot but one, which a player's ring leaves free.
bool CRQD5Card2::SetMixer(const SessionPicture& picture, float level, bool enable) {
  if (!RequireOpen() || !hasKeyer_) return false;
  level = level < 0 ? 0 : level > 1 ? 1 : level;
  bool good = true;
  if (picture.data != nullptr) {
    bool first = false;
    if (!SlotsMoveWith(RQD5Channel2, picture.frameBufferFormat, &first)) return false;
    if (first) good &= SetFrameBufferFormat(RQD5Channel2, picture.frameBufferFormat);
    if (!RefreshMemoryFigures() || FrameSlots() < 2) return false;
    const uint32_t frame = FrameSlots() - 2;
    if (!DmaWriteFrame(frame, picture.data, picture.bytes)) return false;
    if (!first) good &= SetFrameBufferFormat(RQD5Channel2, picture.frameBufferFormat);
    good &= WriteField(RegisterField::FrameOrientation, picture.topDown ? 0 : 1,
                       ChannelIndex(RQD5Channel2));
    good &= SetOutputFrame(RQD5Channel2, frame);
  }
  const auto coefficient =
      enable ? static_cast<uint32_t>(std::lround(level * kMixerFullScale)) : 0u;
  good &= WriteField(RegisterField::MixerForeground, SelectionOf(SessionFamily::MixMode).id);
  good &= WriteField(RegisterField::MixerControl, coefficient, 1);
  good &= WriteField(RegisterField::MixerControl, kMixerFullScale - coefficient, 2);
  if (good) {
    mixerLevel_ = level;
    mixerEnable_ = enable;
  }
  return good;
}

bool CRQD5Card2::HasColourTable() const {
  const uint32_t board = SessionIdentity(identity_);
  return board == BoardDogwood || board == BoardElm || board == BoardLarch;
}

bool CRQD5Card2::LoadColourTable(const void* table, bool enable) {
  if (!RequireOpen() || !HasColourTable()) return false;
  if (table != nullptr) {
    std::memmove(colourTable_, table, kColourTableBytes);
  } else {
    FillIdentityTable(colourTable_);
  }
  if (!enable) {
    if (!WriteRegister(kColourTableControl, 0, kColourTableOn, 1)) {
      return Fail("Could Not Turn Off CC Mode");
    }
    colourTableEnable_ = false;
    RebuildRouting();
    return true;
  }
  bool good = true;
  for (uint32_t word = 0; word < kColourTableWords && good; ++word) {
    good = WriteRegister(kColourTableRegister + word, LoadLe32(colourTable_ + word * 4));
  }
  good = good && WriteRegister(kColourTableControl, 0, kColourTableBank, 0);
  good = good && WriteRegister(kColourTableControl, 1, kColourTableOn, 1);
  if (good) colourTableEnable_ = true;
  RebuildRouting();
  return good;
}

}  // namespace morvane
