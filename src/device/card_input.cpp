// Inputs, reference status and the converter of the card control.
#include <iterator>

#include "device/card.h"

namespace morvane {
namespace {

// Places of one input's fields in the input status register.
struct InputBits {
  uint32_t rate, rateHigh, geometryClass, classHigh, scan;
};
constexpr InputBits kInputBits[] = {
    {0, 28, 4, 30, 7},
    {8, 29, 12, 31, 15},
};

uint32_t BitOf(uint32_t word, uint32_t bit) {
  return word >> bit & 1;
}

// A dual-stream picture reports scan as well, but is not progressive in the 1080p sense.
bool IsDualStreamRate(uint32_t rate) {
  return rate == FrameRate3000 || rate == FrameRate2997 || rate == FrameRate2500;
}

struct ConversionRow {
  uint8_t mode, input, output, level, segmented, bitfileAlder, bitfileOthers;
};
// clang-format off
constexpr ConversionRow kConversions[] = {
  // mode in out level segm  A   B
  {  0,   0, 2,  0,    0,    3,  9 },
  {  1,   0, 3,  0,    0,    3,  9 },
  {  2,   1, 2,  0,    0,    3,  9 },
  {  3,   1, 3,  0,    0,    3,  9 },
  {  4,   2, 0,  0,    0,    4, 10 },
  {  5,   2, 1,  0,    0,    4, 10 },
  {  6,   3, 0,  0,    0,    4, 10 },
  {  7,   3, 1,  0,    0,    4, 10 },
  {  8,   1, 0,  0,    0,    0, 12 },
  {  9,   1, 0,  0,    0,    0, 12 },
  { 10,   1, 0,  0,    0,    0, 12 },
  { 11,   0, 2,  0,    0,    0,  9 },
  { 12,   0, 2,  1,    0,    0,  9 },
  { 13,   0, 2,  0,    0,    0,  9 },
  { 14,   0, 2,  0,    0,    0,  9 },
  { 15,   0, 2,  1,    0,    0,  9 },
  { 16,   0, 2,  0,    0,    0,  9 },
  { 17,   0, 1,  0,    0,    0, 11 },
  { 18,   0, 1,  0,    0,    0, 11 },
  { 19,   0, 1,  0,    0,    0, 11 },
  { 20,   0, 1,  0,    0,    0, 11 },
  { 21,   1, 0,  0,    0,    0, 12 },
  { 22,   2, 0,  0,    0,    4, 10 },
  { 23,   2, 2,  0,    0,    3,  9 },
  { 24,   3, 3,  0,    0,    3,  9 },
  { 25,   2, 2,  0,    1,    3,  9 },
  { 26,   3, 3,  0,    1,    3,  9 },
  { 27,   0, 0,  0,    1,    0,  0 },
  { 28,   0, 0,  0,    1,    0,  0 },
  { 29,   0, 0,  0,    1,    0,  0 },
};
// clang-format on

static_assert(std::size(kConversions) == 30);
constexpr bool ModesAreInOrder() {
  for (size_t i = 0; i < std::size(kConversions); ++i) {
    if (kConversions[i].mode != i) return false;
  }
  return true;
}
static_assert(ModesAreInOrder());

constexpr uint32_t kIlexBitfileDistance = 8;  // Ilex numbers its four from 17 instead of 9

}  // namespace

RQD5VideoFormat CRQD5Card::DetectInput(uint32_t input) {
  if (input == 3) return DetectInput3();
  if (input != 1 && input != 2) return 0;
  uint32_t word = 0;
  if (!ReadField(RegisterField::InputStatus, &word)) return 0;
  const InputBits& bits = kInputBits[input - 1];
  const uint32_t rate = (word >> bits.rate & 7) | BitOf(word, bits.rateHigh) << 3;
  const uint32_t geometryClass = (word >> bits.geometryClass & 7) | BitOf(word, bits.classHigh)
                                                                        << 3;
  const bool scan = BitOf(word, bits.scan) != 0;
  const bool level3G = BoardHas3GInput(boardID_) && Has3GSignal(input);
  const bool progressive = scan && !(level3G && IsDualStreamRate(rate));
  return InputFormat(rate, StandardOfGeometryClass(geometryClass, progressive), level3G,
                     geometryClass, scan);
}

bool CRQD5Card::Has3GSignal(uint32_t input) {
  const uint32_t flags = FieldOr(RegisterField::Input3G, 0);
  if (input == 1) return BitOf(flags, 0) != 0;
  // Deliberate: on this board the second input's flag is both of the first input's bits.
  if (boardID_ == BoardLarch) return (flags & 3) == 3;
  return BitOf(flags, 8) != 0;
}

// Valid bit 0, class bits 24 to 26, rate bits 28 to 31.
RQD5VideoFormat CRQD5Card::DecodeStatusWord(uint32_t word) {
  if ((word & 1) == 0) return 0;
  const uint32_t geometryClass = word >> 24 & 7;
  return InputFormat(word >> 28, StandardOfGeometryClass(geometryClass, false), false,
                     geometryClass, false);
}

RQD5VideoFormat CRQD5Card::DetectReference() {
  return DecodeStatusWord(FieldOr(RegisterField::ReferenceStatus, 0));
}

RQD5VideoFormat CRQD5Card::DetectInput3() {
  return DecodeStatusWord(FieldOr(RegisterField::Input3Status, 0));
}

bool CRQD5Card::SetInputSelect(uint32_t select) {
  uint32_t first = 0, second = 0;
  const uint32_t identity = SessionIdentity(boardID_);
  if (identity == BoardCedar || identity == BoardDogwood) {
    if (select > 1) return false;
    second = select;
  } else {
    switch (select) {
      case 1:
        first = 1;
        break;
      case 2:
        second = 1;
        break;
      case 4:
        break;
      case 5:
        first = second = 1;
        break;
      default:
        return false;
    }
  }
  const bool good = WriteField(RegisterField::InputSelectSecond, second);
  return WriteField(RegisterField::InputSelectFirst, first) && good;
}

uint32_t CRQD5Card::ConversionBitfile(uint32_t identity, uint32_t mode) {
  const ConversionRow& row = kConversions[mode];
  if (identity == BoardAlder) return row.bitfileAlder;
  const bool hasIlexNumber = identity == BoardIlex && row.bitfileOthers != 0;
  return row.bitfileOthers + (hasIlexNumber ? kIlexBitfileDistance : 0);
}

bool CRQD5Card::SetConversionMode(uint32_t mode) {
  if (mode >= std::size(kConversions)) return false;
  const ConversionRow& row = kConversions[mode];
  bool good = WriteField(RegisterField::ConverterInput, row.input);
  good = WriteField(RegisterField::ConverterOutput, row.output) && good;
  good = WriteField(RegisterField::ConverterLevel, row.level) && good;
  good = WriteField(RegisterField::ConverterSegmented, row.segmented) && good;

  RQD5BitFileInfo info{};
  const uint32_t present = DriverGetBitFileInformation(&info, 0) ? info.kind : 0;
  const uint32_t identity = GetBoardID();
  const uint32_t wanted = ConversionBitfile(identity, mode);
  if (wanted == present) return good;
  switch (identity) {
    case BoardAlder:
      return (wanted == 0 || SwitchBitfile(BoardAlder, wanted)) && good;
    // Deliberate: Ilex goes by Elm's identity here.
    case BoardElm:
    case BoardIlex:
      return SwitchBitfile(BoardElm, wanted) && good;
    default:
      return good;
  }
}

}  // namespace morvane
