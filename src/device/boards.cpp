#include "device/boards.h"

#include <algorithm>
#include <iterator>

#include "device/boards_table.h"
#include "device/formats.h"

namespace morvane {
namespace {

using board_table::kBoards;

static_assert(std::size(kBoards) == 39);

constexpr bool IdentitiesRise() {
  for (size_t i = 1; i < std::size(kBoards); ++i) {
    if (kBoards[i].identity <= kBoards[i - 1].identity) return false;
  }
  return true;
}
static_assert(IdentitiesRise());

constexpr uint32_t kMebibyte = 1024 * 1024;
constexpr uint32_t kSmallAudioBuffer = 65536;
constexpr uint32_t kLargeAudioBuffer = 524288;

bool Has(uint32_t identity, BoardCapability capability) {
  const BoardRow* row = FindBoard(identity);
  return row != nullptr && (row->capabilities & capability) != 0;
}

bool IsTallOrWide(uint32_t geometry) {
  switch (geometry) {
    case Geometry1920x1112:
    case Geometry2048x1080:
    case Geometry2048x1556:
    case Geometry2048x1588:
    case Geometry2048x1112:
      return true;
    default:
      return false;
  }
}

uint32_t FourChannelFactor(uint32_t geometry, uint32_t format) {
  if (IsTallOrWide(geometry)) return format == FrameBuffer16BitArgb ? 4 : 2;
  const bool wide = format == 16 || format == 21 || format == 22;
  if (geometry == Geometry1920x1080) return wide ? 2 : 1;
  if (geometry == GeometryQuad1920x1080) return wide ? 8 : 4;
  if (geometry != GeometryQuad2048x1080) return 1;
  // Deliberate: another set of formats than at the other quad geometry.
  switch (format) {
    case 2:
    case 3:
    case 4:
    case 6:
    case 7:
    case 15:
    case 16:
    case 21:
      return 8;
    default:
      return 4;
  }
}

uint32_t SlotFactor(SlotLayout layout, uint32_t geometry, uint32_t format) {
  switch (layout) {
    case SlotLayout::FourChannel:
      return FourChannelFactor(geometry, format);
    case SlotLayout::Doubled:
      return IsTallOrWide(geometry) ? 2 : 1;
    case SlotLayout::Older:
      return geometry == Geometry2048x1080 ? 2 : 1;
    case SlotLayout::Fixed:
      break;
  }
  return 1;
}

// By how much the slots become fewer. Deliberate: with doubled slots the two deep formats count
// here although they do not change the slot's size.
uint32_t CountDivisor(SlotLayout layout, uint32_t geometry, uint32_t format) {
  const uint32_t factor = SlotFactor(layout, geometry, format);
  if (layout != SlotLayout::Doubled) return factor;
  return factor * (format == FrameBuffer48BitRgb ? 2 : format == FrameBuffer16BitArgb ? 4 : 1);
}

}  // namespace

std::span<const BoardRow> BoardRows() {
  return kBoards;
}

const BoardRow* FindBoard(uint32_t identity) {
  const auto row = std::lower_bound(
      std::begin(kBoards), std::end(kBoards), identity,
      [](const BoardRow& candidate, uint32_t value) { return candidate.identity < value; });
  return row != std::end(kBoards) && row->identity == identity ? row : nullptr;
}

uint32_t SessionIdentity(uint32_t identity) {
  switch (identity) {
    case BoardOak:
    case BoardWayxt:
      return BoardElm;
    case BoardSpruce:
      return BoardDogwood;
    default:
      return identity;
  }
}

const char* BoardName(uint32_t identity) {
  if (identity == kNoBoardIdentity) return "BOARD NOT FOUND ";
  const BoardRow* row = FindBoard(identity);
  return row != nullptr ? row->name : "";
}

uint32_t FrameMemorySize(uint32_t identity) {
  const BoardRow* row = FindBoard(identity);
  return row != nullptr ? row->memoryMiB * kMebibyte : 0;
}

bool BoardHasSecondFrameWindow(uint32_t identity) {
  return identity == BoardFennel || identity == BoardLaurel || identity == BoardKale2;
}

uint32_t FrameSlotSize(uint32_t identity) {
  const BoardRow* row = FindBoard(identity);
  return row != nullptr ? row->slotMiB * kMebibyte : 0;
}

uint32_t FrameTotal(uint32_t identity) {
  const BoardRow* row = FindBoard(identity);
  return row != nullptr ? row->frames : 0;
}

uint32_t RegisterCount(uint32_t identity) {
  const BoardRow* row = FindBoard(identity);
  return row != nullptr ? row->registers : 0;
}

uint32_t AudioSystemCount(uint32_t identity) {
  const BoardRow* row = FindBoard(identity);
  return row != nullptr ? row->audioSystems : 0;
}

uint32_t AudioBufferSize(uint32_t identity) {
  return Has(identity, CapabilitySmallAudioBuffer) ? kSmallAudioBuffer : kLargeAudioBuffer;
}

bool BoardHasQuadGeometry(uint32_t identity) {
  return Has(identity, CapabilityQuadGeometry);
}
bool BoardHas3GInput(uint32_t identity) {
  return Has(identity, Capability3GInput);
}
bool BoardTimingNormalSense(uint32_t identity) {
  return Has(identity, CapabilityTimingNormalSense);
}
bool BoardSwitchableSlotSize(uint32_t identity) {
  return Has(identity, CapabilitySwitchableSlotSize);
}
bool BoardHasAudio(uint32_t identity) {
  return Has(identity, CapabilityAudio);
}
bool BoardHasAnalogAudioIn(uint32_t identity) {
  return Has(identity, CapabilityAnalogAudioIn);
}
bool BoardHasAudio96k(uint32_t identity) {
  return Has(identity, CapabilityAudio96k);
}
bool BoardHasTwoChannelAudio(uint32_t identity) {
  return Has(identity, CapabilityTwoChannelAudio);
}
bool BoardHasSixChannelAudio(uint32_t identity) {
  return Has(identity, CapabilitySixChannelAudio);
}
bool BoardHasEightChannelAudio(uint32_t identity) {
  return Has(identity, CapabilityEightChannelAudio);
}
bool BoardHasSettleWait(uint32_t identity) {
  return Has(identity, CapabilitySettleWait);
}
bool BoardBitfileInFlash(uint32_t identity) {
  return Has(identity, CapabilityBitfileInFlash);
}
bool BoardHasUart(uint32_t identity) {
  return Has(identity, CapabilityUart);
}
bool BoardHasKeyer(uint32_t identity) {
  return Has(identity, CapabilityKeyer);
}

uint32_t FrameBufferSize(uint32_t identity, uint32_t geometry, uint32_t frameBufferFormat) {
  const BoardRow* row = FindBoard(identity);
  if (row == nullptr) return 0;
  return row->slotMiB * kMebibyte * SlotFactor(row->layout, geometry, frameBufferFormat);
}

uint32_t FrameCount(uint32_t identity, uint32_t geometry, uint32_t frameBufferFormat) {
  const BoardRow* row = FindBoard(identity);
  if (row == nullptr) return 0;
  return row->frames / CountDivisor(row->layout, geometry, frameBufferFormat);
}

}  // namespace morvane
