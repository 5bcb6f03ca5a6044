// Formats, geometries and reference of the card control.
#include <algorithm>

#include "device/card.h"

namespace morvane {
namespace {

// Centre of the output timing counters, as the whole register.
constexpr uint32_t kCentredTiming = 0x8001000;

bool ResetsTimingByOffsets(uint32_t boardType, uint32_t identity) {
  return boardType == BOARDTYPE_SDCARD || boardType == BOARDTYPE_HDCARD || identity == BoardBirch ||
         identity == BoardCedar || identity == BoardBirch2 || identity == BoardDogwood;
}

bool IsExternal(uint32_t boardType) {
  return boardType == BOARDTYPE_SYNCBOX || boardType == BOARDTYPE_HULLEN;
}

}  // namespace

bool CRQD5Card::SetVideoFormat(RQD5VideoFormat format, bool keepTiming) {
  const VideoFormatRow* row = FindVideoFormat(format);
  if (row == nullptr || row->standard == StandardUnknown) return false;
  uint32_t horizontal = 0, vertical = 0;
  bool good = true;
  if (keepTiming) {
    good = ReadField(RegisterField::OutputTimingHorizontal, &horizontal);
    good = ReadField(RegisterField::OutputTimingVertical, &vertical) && good;
  }
  const bool timingKnown = good;
  SwitchToRequiredBitfile();
  good = SetStandard(row->standard) && good;
  good = SetFrameGeometry(row->geometry) && good;
  good = SetFrameRate(row->rate) && good;
  good = SetLevelFlag(row->level) && good;
  good = WriteField(RegisterField::PictureFlag, row->picture) && good;
  if (keepTiming) {
    if (!timingKnown) return false;
    // The raw halves, since what the timing members read is not what they write.
    good = WriteField(RegisterField::OutputTimingHorizontal, horizontal) && good;
    return WriteField(RegisterField::OutputTimingVertical, vertical) && good;
  }
  if (ResetsTimingByOffsets(boardType_, boardID_)) {
    good = SetOutputTimingHorizontal(0) && good;
    return SetOutputTimingVertical(0) && good;
  }
  if (IsExternal(boardType_)) return good;
  return WriteField(RegisterField::OutputTiming, kCentredTiming) && good;
}

bool CRQD5Card::GetVideoFormat(RQD5VideoFormat* format) {
  uint32_t standard = 0, geometry = 0, rate = 0, level = 0, picture = 0;
  if (!GetStandard(&standard) || !GetFrameGeometry(&geometry) || !GetFrameRate(&rate) ||
      !ReadField(RegisterField::LevelFlag, &level) ||
      !ReadField(RegisterField::PictureFlag, &picture)) {
    return false;
  }
  *format = FormatFromColumns(standard, geometry, rate, level, picture);
  if (*format != 0) return true;
  DisplayRqd5Error(UnsupportedFormatText(standard));
  return false;
}

bool CRQD5Card::SetStandard(uint32_t standard) {
  return WriteField(RegisterField::Standard, standard);
}

bool CRQD5Card::GetStandard(uint32_t* standard) {
  return ReadField(RegisterField::Standard, standard);
}

bool CRQD5Card::IsSDStandard() {
  const uint32_t standard = FieldOr(RegisterField::Standard, StandardUnknown);
  return standard == Standard525 || standard == Standard625;
}

bool CRQD5Card::IsProgressivePicture() {
  const uint32_t standard = FieldOr(RegisterField::Standard, StandardUnknown);
  return standard == Standard720 || standard == Standard1080p ||
         FieldOr(RegisterField::LevelFlag, 0) != 0;
}

bool CRQD5Card::SetFrameRate(uint32_t rate) {
  const bool low = WriteField(RegisterField::FrameRateLow, rate & 7);
  return WriteField(RegisterField::FrameRateHigh, rate >> 3 & 1) && low;
}

bool CRQD5Card::GetFrameRate(uint32_t* rate) {
  uint32_t low = 0, high = 0;
  if (!ReadField(RegisterField::FrameRateLow, &low) ||
      !ReadField(RegisterField::FrameRateHigh, &high)) {
    return false;
  }
  *rate = low | high << 3;
  return true;
}

bool CRQD5Card::SetFrameGeometry(uint32_t geometry, bool) {
  uint32_t before = 0, format1 = 0, format2 = 0;
  bool good = GetFrameGeometry(&before);
  good = GetFrameBufferFormat(RQD5Channel1, &format1) && good;
  good = GetFrameBufferFormat(RQD5Channel2, &format2) && good;
  const uint32_t size1 = FrameBufferSize(boardID_, before, format1);
  const uint32_t size2 = FrameBufferSize(boardID_, before, format2);
  const uint32_t largerFormat = size2 > size1 ? format2 : format1;
  const uint32_t sizeBefore = std::max(size1, size2);

  uint32_t written = geometry;
  if (HasQuadBit()) {
    const bool quad = geometry == GeometryQuad1920x1080 || geometry == GeometryQuad2048x1080;
    good = WriteField(RegisterField::QuadGeometry, quad ? 1 : 0) && good;
    written = GeometryForQuad(geometry);
  }
  good = WriteField(RegisterField::FrameGeometry, written) && good;
  if (good && BoardSwitchableSlotSize(boardID_) &&
      FrameBufferSize(boardID_, geometry, largerFormat) != sizeBefore) {
    SetMemoryFigures(geometry, largerFormat);
  }
  return good;
}

bool CRQD5Card::GetFrameGeometry(uint32_t* geometry) {
  uint32_t field = 0;
  if (!ReadField(RegisterField::FrameGeometry, &field)) return false;
  uint32_t quad = 0;
  if (HasQuadBit() && !ReadField(RegisterField::QuadGeometry, &quad)) return false;
  *geometry = quad != 0 ? QuadForGeometry(field) : field;
  return true;
}

bool CRQD5Card::HasQuadBit() {
  return BoardHasQuadGeometry(boardID_);
}

bool CRQD5Card::SetLevelFlag(uint32_t level) {
  return WriteField(RegisterField::LevelFlag, level);
}

bool CRQD5Card::SetDualLink(uint32_t on) {
  return WriteField(RegisterField::DualLinkOutput, on & 0xFF);
}

bool CRQD5Card::SetFrameBufferFormat(uint32_t channel, uint32_t format, bool keepBitfile) {
  if (channel == RQD5Channel2 && format == FrameBuffer8BitQRez) return false;
  const uint32_t index = ChannelIndex(channel);
  uint32_t geometry = 0, before = 0;
  bool good = GetFrameGeometry(&geometry);
  good = GetFrameBufferFormat(channel, &before) && good;
  // A slot holds the largest frame of the first two channels and this one.
  uint32_t others = 0, othersSize = 0;
  for (const uint32_t beside : {RQD5Channel1, RQD5Channel2}) {
    uint32_t itsFormat = 0;
    if (ChannelIndex(beside) == index) continue;
    good = GetFrameBufferFormat(beside, &itsFormat) && good;
    const uint32_t itsSize = FrameBufferSize(boardID_, geometry, itsFormat);
    if (itsSize > othersSize) {
      others = itsFormat;
      othersSize = itsSize;
    }
  }
  good = WriteField(RegisterField::FrameBufferFormatLow, format & 0xF, index) && good;
  good = WriteField(RegisterField::FrameBufferFormatHigh, format >> 4 & 1, index) && good;
  if (!keepBitfile) SwitchToRequiredBitfile();
  // Deliberate: only the slot's size counts; a format that changes the number alone leaves the
  // cached figures as they are until RefreshMemoryFigures().
  const uint32_t size = FrameBufferSize(boardID_, geometry, format);
  const uint32_t sizeBefore = std::max(FrameBufferSize(boardID_, geometry, before), othersSize);
  if (good && BoardSwitchableSlotSize(boardID_) && std::max(size, othersSize) != sizeBefore) {
    SetMemoryFigures(geometry, othersSize > size ? others : format);
  }
  return good;
}

bool CRQD5Card::GetFrameBufferFormat(uint32_t channel, uint32_t* format) {
  const uint32_t index = ChannelIndex(channel);
  uint32_t low = 0, high = 0;
  if (!ReadField(RegisterField::FrameBufferFormatLow, &low, index) ||
      !ReadField(RegisterField::FrameBufferFormatHigh, &high, index)) {
    return false;
  }
  *format = low | high << 4;
  return true;
}

bool CRQD5Card::RefreshMemoryFigures() {
  uint32_t geometry = 0, largest = 0;
  if (!GetFrameGeometry(&geometry) || !GetFrameBufferFormat(RQD5Channel1, &largest)) return false;
  const BoardRow* row = FindBoard(boardID_);
  const bool four = row != nullptr && row->videoOut > 2;
  for (const uint32_t channel : {RQD5Channel2, RQD5Channel9, RQD5Channel10}) {
    uint32_t format = 0;
    if (channel != RQD5Channel2 && !four) continue;
    if (!GetFrameBufferFormat(channel, &format)) return false;
    if (FrameCount(boardID_, geometry, format) < FrameCount(boardID_, geometry, largest)) {
      largest = format;
    }
  }
  SetMemoryFigures(geometry, largest);
  return true;
}

bool CRQD5Card::SlotsMoveWith(uint32_t channel, uint32_t format, bool* moves) {
  uint32_t geometry = 0, present = 0;
  if (!GetFrameGeometry(&geometry) || !GetFrameBufferFormat(channel, &present)) return false;
  // The number counts beside the size: deep formats may take two slots of the same size each.
  *moves =
      FrameCount(boardID_, geometry, format) != FrameCount(boardID_, geometry, present) ||
      FrameBufferSize(boardID_, geometry, format) != FrameBufferSize(boardID_, geometry, present);
  return true;
}

bool CRQD5Card::GetVancMode(bool* vanc, bool* tall) {
  *vanc = *tall = false;
  uint32_t standard = 0, geometry = 0;
  if (!GetStandard(&standard) || !GetFrameGeometry(&geometry)) return false;
  switch (standard) {
    case Standard1080:
    case Standard1080p:
      *vanc = geometry == Geometry1920x1112 || geometry == Geometry2048x1112;
      return true;
    case Standard720:
      *vanc = geometry == Geometry1280x740;
      return true;
    case Standard525:
      *tall = geometry == Geometry720x514;
      *vanc = *tall || geometry == Geometry720x508;
      return true;
    case Standard625:
      *tall = geometry == Geometry720x612;
      *vanc = *tall || geometry == Geometry720x598;
      return true;
    case Standard2K:
      *vanc = geometry == Geometry2048x1588;
      return true;
    default:
      DisplayRqd5Error("CRQD5Card::GetEnableVANCData(): Unsupported RQD5Standard requested.");
      return false;
  }
}

}  // namespace morvane
