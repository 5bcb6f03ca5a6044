#include "device/test_pattern.h"

#include <utility>

#include "base/page_memory.h"
#include "device/boards.h"

namespace morvane {

CRQD5TestPattern::CRQD5TestPattern() {
  for (uint32_t i = 0; i < kTestPatterns; ++i) patternNames_.emplace_back(TestPatternName(i));
}

CRQD5TestPattern::~CRQD5TestPattern() = default;

void CRQD5TestPattern::SetChannel(uint32_t channel) {
  const bool known = channel == RQD5Channel2 || channel == RQD5Channel9 || channel == RQD5Channel10;
  channel_ = known ? channel : RQD5Channel1;
}

void CRQD5TestPattern::SetSignalMask(uint16_t mask) {
  signalMask_ = mask & 7;
}

void CRQD5TestPattern::SetFrameBufferFormat(uint32_t format) {
  frameBufferFormat_ = format;
}

void CRQD5TestPattern::SetDmaEnable(bool enable) {
  dmaEnable_ = enable;
}

void CRQD5TestPattern::SetAutoRoute(bool enable, RouteBuilder builder) {
  autoRoute_ = enable;
  routeBuilder_ = std::move(builder);
}

void CRQD5TestPattern::SetUserBuffer(std::span<uint8_t> buffer) {
  userBuffer_ = buffer;
}

bool CRQD5TestPattern::ReadRaster(PatternRaster* raster) {
  uint32_t standard = StandardUnknown, geometry = 0;
  if (!GetStandard(&standard) || !GetFrameGeometry(&geometry)) return false;
  bool vanc = false, tall = false;
  // A standard without a raster has no ancillary lines either, and is refused by the drawing.
  if (standard < StandardUnknown && !GetVancMode(&vanc, &tall)) return false;
  raster->standard = standard;
  raster->frameBufferFormat = frameBufferFormat_;
  raster->vanc = vanc;
  raster->tallVanc = tall;
  raster->wide2K = geometry == Geometry2048x1080;
  raster->signalMask = signalMask_;
  return true;
}

bool CRQD5TestPattern::DownloadTestPattern(uint32_t number) {
  if (RemoteHandle() != -1) {
    if (NubDownloadTestPattern(channel_, frameBufferFormat_, signalMask_, dmaEnable_, number)) {
      return true;
    }
    DisplayRqd5Error("RQD5DownloadTestPatternRemote failed");
    return false;
  }
  if (number >= kTestPatterns) return true;
  PatternRaster raster;
  if (!ReadRaster(&raster)) return false;
  if (const char* refusal = PatternRefusal(number, raster)) {
    DisplayRqd5Error(refusal);
    return true;
  }
  if (userBuffer_.empty()) return DrawOnCard(number, raster);
  const char* refusal = DrawTestPattern(number, raster, userBuffer_);
  if (refusal != nullptr) DisplayRqd5Error(refusal);
  return refusal == nullptr;
}

// The frame that is drawn into is the one that ToggleFrames() shows; on channels 9 and 10 it shows
// one that no board has, so there the last frame is taken.
uint32_t CRQD5TestPattern::ShownFrame() {
  switch (channel_) {
    case RQD5Channel1:
      return 3;
    case RQD5Channel2:
      return 7;
    default:
      return FrameSlots() != 0 ? FrameSlots() - 1 : 0;
  }
}

bool CRQD5TestPattern::DrawOnCard(uint32_t number, const PatternRaster& raster) {
  // Slots that change with the format move: then the format comes first, or the picture would be
  // drawn where the card does not look for it.
  bool moves = false;
  if (!SlotsMoveWith(channel_, frameBufferFormat_, &moves)) return false;
  if (moves && !SetFrameBufferFormat(channel_, frameBufferFormat_)) return false;
  if (!RefreshMemoryFigures()) return false;
  uint32_t frame = ShownFrame();
  if (!SetOutputFrame(channel_, frame) || !GetOutputFrame(channel_, &frame)) return false;

  const uint32_t bytes = PatternDescriptor(raster).FrameBytes();
  uint8_t* window = dmaEnable_ ? nullptr : FrameWindow(frame, bytes);
  if (window != nullptr) {
    if (DrawTestPattern(number, raster, std::span(window, bytes)) != nullptr) return false;
  } else if (!DrawByDma(number, raster, frame)) {
    return false;
  }
  return ShowFrame(frame);
}

bool CRQD5TestPattern::DrawByDma(uint32_t number, const PatternRaster& raster, uint32_t frame) {
  const uint32_t bytes = PatternDescriptor(raster).FrameBytes();
  PageBuffer picture;
  if (!picture.Allocate(bytes)) return false;
  if (DrawTestPattern(number, raster, std::span(picture.Data(), bytes)) != nullptr) return false;
  return DmaWriteWithOffset(kDmaEngineFrame, frame, picture.Data(), 0, bytes, true);
}

// Frames count from the start of the memory, also those that channel 2 shows: where it has a
// window of its own, that is the continuation of the first.
// Returns: null when the window does not reach the frame, and when the memory that is shared out
// among the slots leaves another distance between them than the slot's size.
uint8_t* CRQD5TestPattern::FrameWindow(uint32_t frame, uint32_t bytes) {
  const uint64_t memoryBytes = uint64_t{FrameTotal(boardID_)} * FrameSlotSize(boardID_);
  if (memoryBytes != uint64_t{FrameSlots()} * FrameSlotBytes()) return nullptr;
  if (!MapFrameBuffers()) return nullptr;
  const size_t offset = size_t{frame} * FrameSlotBytes();
  void* memory = MappedMemory(FrameBaseAddress(), offset + bytes);
  return memory != nullptr ? static_cast<uint8_t*>(memory) + offset : nullptr;
}

bool CRQD5TestPattern::ShowFrame(uint32_t frame) {
  uint32_t geometry = 0;
  bool good = SetDualLink(0);
  good &= SetFrameBufferFormat(channel_, frameBufferFormat_);
  // The ancillary lines are part of the geometry.
  good &= GetFrameGeometry(&geometry) && SetFrameGeometry(geometry);
  if (autoRoute_ && routeBuilder_) {
    RQD5RoutingTable table{};
    routeBuilder_(&table);
    good &= table.count < kRoutingTableLimit;
    for (uint32_t i = 0; good && i < table.count; ++i) {
      const RQD5RoutingEntry& entry = table.entries[i];
      good = WriteRegister(entry.registerNumber, entry.value, entry.mask, entry.shift);
    }
  }
  good &= ToggleFrames(channel_);
  if (channel_ == RQD5Channel9 || channel_ == RQD5Channel10) {
    good &= SetOutputFrame(channel_, frame);
  }
  return good;
}

}  // namespace morvane
