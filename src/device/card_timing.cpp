// Reference and output timing of the card control.
#include <algorithm>

#include "device/card.h"

namespace morvane {
namespace {

using Limits = CRQD5Card::TimingLimits;

// clang-format off
constexpr Limits kLimits525     = { 1600, 0,    1715,  266,  1,    525 };
constexpr Limits kLimits625     = { 1592, 0,    1727,  313,  1,    625 };
constexpr Limits kLimitsGinkgo  = { 4096, 0,    12288, 2048, 0,    6144 };
constexpr Limits kLimitsOthers  = { 4096, 2048, 6144,  2048, 1024, 3072 };
// clang-format on

// Limits of a raster with luma and chroma words interleaved on the line.
constexpr Limits RasterLimits(int32_t active, int32_t totalPixels, int32_t totalLines) {
  return {2 * active + 160, 0, 2 * totalPixels - 1, (totalLines + 1) / 2, 1, totalLines};
}

Limits LimitsOfStandard(uint32_t standard) {
  switch (standard) {
    case Standard525:
      return kLimits525;
    case Standard625:
      return kLimits625;
    case Standard720:
      return RasterLimits(1280, 1650, 750);
    default:
      return RasterLimits(1920, 2200, 1125);
  }
}

bool HasLimitsByFormat(uint32_t boardType, uint32_t identity) {
  return boardType == BOARDTYPE_SDCARD || boardType == BOARDTYPE_HDCARD ||
         identity == BoardDogwood || identity == BoardBirch || identity == BoardBirch2;
}

constexpr uint32_t kReferenceInput2 = 2;

}  // namespace

bool CRQD5Card::SetReference(uint32_t source, bool useDriver) {
  if (useDriver) {
    return WriteField(RegisterField::ReferenceDriverForm, source == 0 ? 1 : source == 3 ? 0 : 2);
  }
  uint32_t value = source;
  if (boardID_ == BoardCedar || boardID_ == BoardDogwood || boardID_ == BoardGinkgo) {
    const uint32_t first = FieldOr(RegisterField::InputSelectFirst, 0);
    if (source == kReferenceInput2 && first == 1) value = 1;
  }
  return WriteField(RegisterField::ReferenceSource, value);
}

bool CRQD5Card::GetTimingLimits(TimingLimits* limits) {
  if (boardID_ == BoardDexel || boardID_ == BoardRowan) return false;
  if (boardID_ == BoardGinkgo) {
    *limits = kLimitsGinkgo;
    return true;
  }
  if (boardID_ == BoardCedar || HasLimitsByFormat(boardType_, boardID_)) {
    uint32_t standard = 0;
    if (!GetStandard(&standard)) return false;
    if (boardID_ == BoardCedar) {
      *limits = standard == Standard625 ? kLimits625 : kLimits525;
    } else {
      *limits = LimitsOfStandard(standard);
    }
    return true;
  }
  *limits = kLimitsOthers;
  return true;
}

namespace {

int32_t Target(int32_t offset, bool normalSense, int32_t centre, int32_t minimum, int32_t maximum) {
  const int64_t target = normalSense ? int64_t{centre} + offset : int64_t{centre} - offset;
  return static_cast<int32_t>(std::clamp<int64_t>(target, minimum, maximum));
}

// Deliberate: the reading counts from the half word itself and not from the centre.
int32_t Reading(uint32_t half, bool normalSense) {
  const auto value = static_cast<int32_t>(half);
  return normalSense ? value + 1 : -1 - value;
}

}  // namespace

bool CRQD5Card::SetOutputTimingHorizontal(int32_t offset) {
  TimingLimits limits;
  if (!GetTimingLimits(&limits)) return false;
  return WriteHorizontalTiming(static_cast<uint32_t>(
      Target(offset, BoardTimingNormalSense(boardID_), limits.horizontalDefault,
             limits.horizontalMinimum, limits.horizontalMaximum)));
}

// A step of one count is not taken by the hardware: it goes past the target and comes back.
bool CRQD5Card::WriteHorizontalTiming(uint32_t target) {
  uint32_t low = 0;
  if (!ReadField(RegisterField::OutputTimingHorizontal, &low)) return false;
  if (low == target) return true;
  bool good = true;
  if (boardID_ != BoardIlex && (low + 1 == target || low == target + 1)) {
    const uint32_t past = low + 1 == target ? target + 2 : target - 2;
    good = WriteField(RegisterField::OutputTimingHorizontal, past);
    WaitForStillLine();
  }
  return WriteField(RegisterField::OutputTimingHorizontal, target) && good;
}

// Until two readings of the line counter are equal, however long that takes; a failing read ends
// it.
void CRQD5Card::WaitForStillLine() {
  uint32_t last = 0, line = 0;
  if (!ReadField(RegisterField::OutputLine, &last)) return;
  while (ReadField(RegisterField::OutputLine, &line) && line != last) last = line;
}

bool CRQD5Card::SetOutputTimingVertical(int32_t offset) {
  TimingLimits limits;
  if (!GetTimingLimits(&limits)) return false;
  const int32_t target = Target(offset, BoardTimingNormalSense(boardID_), limits.verticalDefault,
                                limits.verticalMinimum, limits.verticalMaximum);
  return WriteField(RegisterField::OutputTimingVertical, static_cast<uint32_t>(target));
}

bool CRQD5Card::GetOutputTimingHorizontal(int32_t* offset) {
  uint32_t half = 0;
  if (!ReadField(RegisterField::OutputTimingHorizontal, &half)) return false;
  *offset = Reading(half, BoardTimingNormalSense(boardID_));
  return true;
}

bool CRQD5Card::GetOutputTimingVertical(int32_t* offset) {
  uint32_t half = 0;
  if (!ReadField(RegisterField::OutputTimingVertical, &half)) return false;
  *offset = Reading(half, BoardTimingNormalSense(boardID_));
  return true;
}

}  // namespace morvane
