#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace morvane {

// How the tape machine counts and starts, as it lies in the settings of capture and playback.
#pragma pack(push, 1)
struct VtrSettingsBlock {
  uint32_t framesPerSecond;  // whole frames of the time base
  uint8_t dropFrame;         // 1: drop-frame timecode, ";" as separator
  uint32_t formatIndex;      // row of the time base table, 0 to 6
  char formatName[32];       // its text
  uint32_t baseFramesPerSecond;
  double scale;  // frames a second are scale / duration
  double duration;
  uint32_t source;          // timecode source: 0 LTC, 1 VITC, 2 both
  uint32_t prerollSeconds;  // 0 to 15
  char controlType[24];
};
#pragma pack(pop)

static_assert(sizeof(VtrSettingsBlock) == 93);
static_assert(offsetof(VtrSettingsBlock, dropFrame) == 4);
static_assert(offsetof(VtrSettingsBlock, formatName) == 9);
static_assert(offsetof(VtrSettingsBlock, baseFramesPerSecond) == 41);
static_assert(offsetof(VtrSettingsBlock, scale) == 45);
static_assert(offsetof(VtrSettingsBlock, source) == 61);
static_assert(offsetof(VtrSettingsBlock, prerollSeconds) == 65);
static_assert(offsetof(VtrSettingsBlock, controlType) == 69);

// "Base 30 NDF", LTC, five seconds of preroll, no control type.
[[nodiscard]] inline VtrSettingsBlock DefaultVtrSettings() {
  VtrSettingsBlock block;
  std::memset(&block, 0, sizeof block);
  block.framesPerSecond = 30;
  block.formatIndex = 3;
  std::memcpy(block.formatName, "Base 30 NDF", 11);
  block.baseFramesPerSecond = 30;
  block.scale = 30000;
  block.duration = 1001;
  block.prerollSeconds = 5;
  std::memcpy(block.controlType, "No Type.", 8);
  return block;
}

}  // namespace morvane
