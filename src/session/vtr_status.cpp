#include "session/vtr_status.h"

#include <cmath>

namespace morvane {
namespace {

// clang-format off
constexpr VtrStatusRow kRows[] = {
  // entry, byte, bit
  { 1, 0, 5}, { 2, 0, 4}, { 3, 0, 0},
  { 4, 1, 7}, { 5, 1, 5}, { 6, 1, 4}, { 7, 1, 3}, { 8, 1, 2}, { 9, 1, 1}, {10, 1, 0},
  {11, 2, 7}, {12, 2, 6}, {13, 2, 5}, {14, 2, 4}, {15, 2, 3}, {16, 2, 2}, {17, 2, 1}, {18, 2, 0},
  // Deliberate: one bit three times over.
  {19, 3, 5}, {20, 3, 5}, {21, 3, 5},
  {22, 4, 7}, {23, 4, 6}, {24, 4, 4}, {25, 4, 3}, {26, 4, 2}, {27, 4, 1}, {28, 4, 0},
  {29, 5, 6}, {30, 5, 5}, {31, 5, 4}, {32, 5, 3}, {33, 5, 2}, {34, 5, 1}, {35, 5, 0},
  {36, 6, 6}, {37, 6, 5}, {38, 6, 4}, {39, 6, 3}, {40, 6, 2}, {41, 6, 1}, {42, 6, 0},
  {43, 7, 5}, {44, 7, 4}, {45, 7, 2}, {46, 7, 0},
  {47, 8, 7}, {48, 8, 6}, {49, 8, 5}, {50, 8, 4}, {51, 8, 3}, {52, 8, 2}, {53, 8, 1}, {54, 8, 0},
  {55, 9, 7},
};
// clang-format on
static_assert(std::size(kRows) == 55);
static_assert([] {
  for (uint32_t i = 0; i < std::size(kRows); ++i) {
    if (kRows[i].entry != i + 1 || kRows[i].byte >= kVtrStatusBytes) return false;
  }
  return true;
}());

struct Word {
  uint32_t byte;
  uint32_t bit;
  const char* text;
};

// The first that holds is the word, whether the machine moves by speed or not.
constexpr Word kFirstWords[] = {
    {0, 5, "Tape Out"}, {0, 0, "Local"},        {1, 5, "Stop"},   {1, 1, "Record"},
    {1, 0, "Play"},     {1, 2, "Fast Forward"}, {1, 3, "Rewind"}, {4, 0, "Seeking"},
};
// The same behind them, for a machine that does not move by speed.
constexpr Word kStillWords[] = {
    {1, 4, "Eject"}, {2, 3, "Variable"}, {2, 1, "Still"}, {2, 0, "Cue Up"}, {1, 7, "StandBy"},
};

bool Bit(VtrStatusData data, uint32_t byte, uint32_t bit) {
  return (data[byte] >> bit & 1) != 0;
}

template <size_t kCount>
const char* FirstWord(VtrStatusData data, const Word (&words)[kCount]) {
  for (const Word& word : words) {
    if (Bit(data, word.byte, word.bit)) return word.text;
  }
  return nullptr;
}

}  // namespace

std::span<const VtrStatusRow> VtrStatusRows() {
  return kRows;
}

RQD5VtrStatus DecodeVtrStatus(VtrStatusData data) {
  RQD5VtrStatus status;
  for (const VtrStatusRow& row : kRows) status.entries[row.entry] = Bit(data, row.byte, row.bit);
  return status;
}

bool VtrMovesBySpeed(VtrStatusData data) {
  return FirstWord(data, kFirstWords) == nullptr && (Bit(data, 2, 4) || Bit(data, 2, 5));
}

std::string VtrStatusText(VtrStatusData data) {
  const char* word = FirstWord(data, kFirstWords);
  if (word == nullptr) word = FirstWord(data, kStillWords);
  return word != nullptr ? word : "";
}

std::string VtrSpeedText(VtrStatusData data, double speed) {
  const bool reverse = Bit(data, 2, 2);
  const std::string play = reverse ? "Reverse Play" : "Play";
  const std::string wind = reverse ? "Rewind" : "Fast Forward";
  const double s = std::fabs(speed);
  const double rounded = std::round(s);
  const double whole = std::trunc(s);
  if (s > 0.05 && s < 1) return play + (s >= 0.5 ? " 1/2x" : " 1/4x");
  if (whole == 0) return "Still";
  if (rounded == 1) return play;
  if (rounded == 2) return play + " 2x";
  if (rounded == 3) return play + " 3x";
  if (whole == 4) return play + " 4x";
  if (whole == 8) return wind + " 8x";
  if (whole == 16) return wind + " 16x";
  if (whole == 32) return wind + " 32x";
  return VtrUnknownSpeedText(data);
}

std::string VtrUnknownSpeedText(VtrStatusData data) {
  return Bit(data, 1, 4) ? "Jog" : "Shuttle";
}

}  // namespace morvane
