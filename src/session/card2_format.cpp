// Bringing the card to a video format, and a channel into a state.
#include <cstring>
#include <utility>

#include "device/boards.h"
#include "device/formats.h"
#include "session/card2.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

// Boards whose SDI outputs have transmit and standard-definition bits of their own.
bool HasSdiTransmitBits(uint32_t treatedAs) {
  return treatedAs == BoardElm || treatedAs == BoardAlder || treatedAs == BoardLarch;
}

uint32_t PixelFormatClass(uint32_t videoFormat, uint32_t geometry) {
  if (IsStandardDefinition(videoFormat)) return 0;
  return geometry >= Geometry2048x1080 && geometry <= Geometry2048x1112 ? 2 : 1;
}

uint32_t FieldFlag(ItemScan scan, uint32_t standard) {
  if (scan == ItemScan::Segmented || scan == ItemScan::Progressive) return 0;
  return standard == Standard525 ? 2 : 1;
}

}  // namespace

void CRQD5Card2::FillDesc(uint32_t id, RQD5VideoFormatDesc* desc) const {
  std::memset(desc, 0, sizeof *desc);
  if (id >= kVideoFormatItems) return;
  const VideoFormatItem& item = VideoFormatItems()[id];
  const VideoFormatRow* row = FindVideoFormat(item.videoFormat);
  if (row == nullptr) return;
  const RQD5FormatDescriptor shape = GetFormatDescriptor(row->standard, FrameBuffer8BitUyvy, false,
                                                         row->geometry == Geometry2048x1080, false);

  std::strncpy(desc->name, item.text, sizeof desc->name - 1);
  desc->standard = row->standard;
  desc->pixelFormatClass = PixelFormatClass(item.videoFormat, row->geometry);
  desc->frameScale = item.scale;
  desc->frameDuration = item.duration;
  desc->width = shape.numPixels;
  desc->height = shape.numLines;
  desc->displayWidth = shape.numPixels;
  desc->displayHeight = item.displayHeight;
  desc->fieldCount = item.scan == ItemScan::Progressive ? 1 : 2;
  desc->fieldScale = static_cast<double>(item.scale * desc->fieldCount);
  desc->fieldDuration = item.duration;
  desc->fieldFlag = FieldFlag(item.scan, row->standard);
  desc->progressive = item.scan == ItemScan::Segmented || item.scan == ItemScan::Progressive;
  desc->wide = item.wide;
  desc->segmented = item.scan == ItemScan::Segmented ||
                    (item.scan == ItemScan::InterlacedOrSegmented && row->picture != 0);
  desc->dualStream = row->level != 0;
  desc->cadence = item.cadence;
  desc->videoFormat = item.videoFormat;
}

bool CRQD5Card2::GetVideoFormatDesc(uint32_t index, RQD5VideoFormatDesc* desc) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::VideoFormat, index, &id)) return Fail("Video Format Not Found");
  FillDesc(id, desc);
  return desc->videoFormat != 0 || Fail("Failed to Get Video Format Description");
}

bool CRQD5Card2::SetVideoFormat(uint32_t index, bool reapply) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::VideoFormat, index, &id)) return Fail("Video Format Not Found");
  RQD5VideoFormatDesc desc;
  FillDesc(id, &desc);
  if (desc.videoFormat == 0) return Fail("Failed to Get Video Format Description");

  RQD5VideoFormat present = 0;
  CRQD5Card::GetVideoFormat(&present);
  const bool unchanged = present == formatDesc_.videoFormat &&
                         std::memcmp(&desc, &formatDesc_, kComparedDescBytes) == 0;
  if (unchanged) {
    WriteFrontPanel();
    return true;
  }

  if (!CRQD5Card::SetVideoFormat(desc.videoFormat, keepTiming_)) {
    return Fail("Set Video Format Failed");
  }
  Select(SessionFamily::VideoFormat, id);
  formatDesc_ = desc;
  SetInputOffset(0);
  SetOutputOffset(0);
  RefreshOutputEnables();
  WriteFrontPanel();
  if (reapply) Reapply();
  return true;
}

// 1 for interlaced, 0 for progressive.
bool CRQD5Card2::WriteFrontPanel() {
  return SetFrontPanel(IsProgressivePicture() ? 0 : 1);
}

// The selections whose lists depend on the format. All are found again before the first is set.
bool CRQD5Card2::Reapply() {
  constexpr SessionFamily kOrder[] = {SessionFamily::SecondFormatOut, SessionFamily::SecondFormatIn,
                                      SessionFamily::ConvertMode,     SessionFamily::VideoInput,
                                      SessionFamily::SDIOutput,       SessionFamily::HDMIOutput,
                                      SessionFamily::AnalogOutput,    SessionFamily::AudioInput};
  uint32_t index[std::size(kOrder)];
  bool offered[std::size(kOrder)];
  for (size_t i = 0; i < std::size(kOrder); ++i) {
    offered[i] = FindSelection(kOrder[i], SelectionOf(kOrder[i]).text, 0, false, &index[i]);
  }
  bool good = true;
  for (size_t i = 0; i < std::size(kOrder); ++i) {
    if (offered[i]) good &= SetItem(kOrder[i], index[i]);
  }
  RebuildRouting();
  return good;
}

bool CRQD5Card2::RefreshOutputEnables() {
  const uint32_t board = SessionIdentity(sessionBoardId_);
  const bool dualStream = IsDualStream(formatDesc_.videoFormat);
  const bool transmitBits = HasSdiTransmitBits(board);
  bool good = true;
  if (board == BoardElm || board == BoardLarch) {
    good &= SetLevelFlag(dualStream && !singleLink15G_ ? 1 : 0);
    good &= WriteField(RegisterField::Channel2Link, dualStream ? 0 : 1);
  }
  if (transmitBits) {
    const uint32_t sd = IsStandardDefinition(formatDesc_.videoFormat) ? 1 : 0;
    good &= WriteField(RegisterField::SdiStandardDefinition, sd, 0);
    good &= WriteField(RegisterField::SdiStandardDefinition, sd, 1);
  }
  good &= WriteField(RegisterField::ChannelOutputLevel, 1, 0);
  good &= WriteField(RegisterField::ChannelOutputLevel, 1, 1);
  if (transmitBits) {
    good &= WriteField(RegisterField::SdiTransmitEnable, 1, 0);
    good &= WriteField(RegisterField::SdiTransmitEnable, 1, 1);
    good &= WriteField(RegisterField::SdiTransmitBits, 1, 1);  // register 143
    good &= WriteField(RegisterField::SdiTransmitBits, 1, 3);  // register 148
  }
  good &= WriteField(RegisterField::ChannelEnable, 1, 0);
  good &= WriteField(RegisterField::ChannelEnable, 1, 1);
  if (transmitBits) {
    good &= WriteField(RegisterField::SdiTransmitBits, 0, 0);  // register 142
    good &= WriteField(RegisterField::SdiTransmitBits, 0, 2);  // register 147
  }
  return good;
}

bool CRQD5Card2::SetInputOffset(uint32_t offset) {
  if (!RequireOpen()) return false;
  if (!WriteField(RegisterField::AudioOffset, offset, ChannelIndex(channel_))) return false;
  inputOffset_ = offset;
  return true;
}

bool CRQD5Card2::SetOutputOffset(uint32_t offset) {
  if (!RequireOpen()) return false;
  outputOffset_ = offset;
  return true;
}

bool CRQD5Card2::SetTimingOffsets(int32_t horizontal, int32_t vertical) {
  if (!RequireOpen()) return false;
  bool good = SetOutputTimingHorizontal(horizontal);
  good &= SetOutputTimingVertical(vertical);
  if (!good) return false;
  horizontalOffset_ = horizontal;
  verticalOffset_ = vertical;
  return true;
}

void CRQD5Card2::GetTimingOffsets(int32_t* horizontal, int32_t* vertical) const {
  *horizontal = horizontalOffset_;
  *vertical = verticalOffset_;
}

// --- A channel's state ---------------------------------------------------------------------------

bool CRQD5Card2::SetupForOutput(bool withTestPattern, uint32_t frame) {
  if (!RequireOpen()) return false;
  bool good = SetChannelMode(channel_, 0, keepTiming_);
  good &= SetAccessFrame(channel_, 0);
  good &= WriteField(RegisterField::FramePulse1, 1);
  good &= WriteField(RegisterField::FramePulse2, 1);
  // Full scale; the field keeps one bit of it.
  good &= WriteField(RegisterField::ChannelOutputLevel, 255, 0);
  good &= WriteField(RegisterField::ChannelOutputLevel, 255, 1);
  good &= CRQD5Card::SetVideoFormat(formatDesc_.videoFormat, keepTiming_);
  good &= RefreshOutputEnables();
  uint32_t reference = 0;
  GetItem(SessionFamily::Reference, &reference);
  good &= SetReference(reference);
  good &= SetInputOffset(inputOffset_);
  good &= SetOutputOffset(outputOffset_);
  good &= WriteField(RegisterField::FrameOrientation, 0, ChannelIndex(channel_));
  WriteFrontPanel();
  if (withTestPattern) good &= ShowBars(frame);
  return good;
}

bool CRQD5Card2::StopOutput() {
  return RequireOpen() && StopAutoCirculate(channel_);
}

bool CRQD5Card2::SetupForCapture() {
  if (!RequireOpen()) return false;
  StopOutput();
  uint32_t frame = 0;
  GetOutputFrame(channel_, &frame);
  // Deliberate: 3 whatever the reference list says, and the channel is left an output; the start
  // of the capture turns it round.
  bool good = CRQD5Card::SetReference(3, keepTiming_);
  good &= SetChannelMode(channel_, 0, keepTiming_);
  return good;
}

bool CRQD5Card2::SetupForIdle() {
  if (!RequireOpen()) return false;
  bool good = true;
  if (hasKeyer_) {
    good &= WriteField(RegisterField::MixerControl, 5, 0);
    good &= WriteField(RegisterField::MixerControl, 0, 1);
    good &= WriteField(RegisterField::MixerControl, 65536, 2);
    good &= WriteField(RegisterField::Channel2Link, 1);
  }
  good &= SetupForCapture();
  return good;
}

bool CRQD5Card2::SetChannelFormat(uint32_t frameBufferFormat) {
  if (!RequireOpen()) return false;
  bool good = SetFrameBufferFormat(channel_, frameBufferFormat);
  uint32_t second = 0;
  if (IsDualStream(formatDesc_.videoFormat)) {
    second = frameBufferFormat;
    secondStreamFormat_ = second;
  } else if (!TakesBackSecondStream(frameBufferFormat, &second)) {
    return good;
  }
  return SetFrameBufferFormat(RQD5Channel2, second) && good;
}

// Whether channel 2 still has what this session gave it for two streams, and that leaves fewer
// slots than the format of one stream does.
bool CRQD5Card2::TakesBackSecondStream(uint32_t frameBufferFormat, uint32_t* format) {
  uint32_t geometry = 0, present = 0;
  if (!secondStreamFormat_ || channel_ == RQD5Channel2) return false;
  if (!GetFrameGeometry(&geometry) || !GetFrameBufferFormat(RQD5Channel2, &present)) return false;
  // Channel 2 does not take format 10.
  *format =
      frameBufferFormat == FrameBuffer8BitQRez ? uint32_t{FrameBuffer8BitUyvy} : frameBufferFormat;
  return present == *secondStreamFormat_ &&
         FrameCount(identity_, geometry, present) < FrameCount(identity_, geometry, *format);
}

bool CRQD5Card2::ChannelFormatMovesSlots(uint32_t frameBufferFormat, bool* moves) {
  uint32_t second = frameBufferFormat;
  if (!SlotsMoveWith(channel_, frameBufferFormat, moves)) return false;
  const bool both =
      IsDualStream(formatDesc_.videoFormat) || TakesBackSecondStream(frameBufferFormat, &second);
  if (*moves || !both) return true;
  return SlotsMoveWith(RQD5Channel2, second, moves);
}

void CRQD5Card2::Settle() {
  constexpr uint32_t kOneFrameMs = 42;
  for (int i = 0; i < 2 && IsOpen(); ++i) WaitForInterrupt(InterruptOutput, kOneFrameMs);
}

// --- Routing -------------------------------------------------------------------------------------

bool CRQD5Card2::ApplyRoutingTable(const RQD5RoutingTable& table) {
  if (!RequireOpen()) return false;
  if (table.count >= kRoutingTableLimit) return false;
  bool good = true;
  for (uint32_t i = 0; i < table.count; ++i) {
    const RQD5RoutingEntry& entry = table.entries[i];
    good &= WriteRegister(entry.registerNumber, entry.value, entry.mask, entry.shift);
  }
  return good;
}

// The crosspoints of these boards follow from the writes of the setters; none are left over for a
// table.
bool CRQD5Card2::BuildRoutingOutput(RQD5RoutingTable* table, uint32_t /*frameBufferFormatClass*/,
                                    bool /*flag*/) {
  table->count = 0;
  return true;
}

bool CRQD5Card2::BuildRoutingInput(RQD5RoutingTable* table, uint32_t /*frameBufferFormatClass*/) {
  table->count = 0;
  return true;
}

bool CRQD5Card2::BuildRouting(RQD5RoutingTable* table) {
  uint32_t format = 0;
  GetFrameBufferFormat(channel_, &format);
  const bool rgb = format != FrameBuffer10BitYCbCr && format != FrameBuffer8BitUyvy &&
                   format != FrameBuffer8BitYuy2 && format != FrameBuffer10BitYCbCrDpx;
  const uint32_t frameBufferFormatClass = rgb ? 1 : 0;
  if (sessionIsInput_) {
    return BuildRoutingInput(table, frameBufferFormatClass);
  }
  return BuildRoutingOutput(table, frameBufferFormatClass, IsDualStream(formatDesc_.videoFormat));
}

bool CRQD5Card2::RebuildRouting() {
  routingTable_ = {};
  return BuildRouting(&routingTable_) && ApplyRoutingTable(routingTable_);
}

}  // namespace morvane
