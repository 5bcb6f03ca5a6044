#pragma once

#include <cstddef>
#include <cstdint>

#include "session/video_format_desc.h"
#include "session/vtr_settings.h"

// The session's state as it lies, byte for byte, in the settings of capture and playback.
// All blocks are zero filled before their fields are set.
namespace morvane {

// The selection families in the order of their slots in the block.
enum class SessionFamily : uint32_t {
  MixMode = 0,
  VideoFormat = 1,
  SDIOutput = 2,
  HDMIOutput = 3,
  AnalogOutput = 4,
  SecondFormatOut = 5,
  SecondFormatIn = 6,
  ConvertMode = 7,
  VideoInput = 8,
  InputStatus = 9,
  TimecodeInput = 10,
  AudioInput = 11,
  AudioLevel = 12,
  Reference = 13,
  VideoLimit = 14,
  RGBLevel = 15,
  VideoSyncOutput = 16,
};
inline constexpr uint32_t kSessionFamilies = 17;
inline constexpr uint32_t kSessionFamilySlots = 20;  // the last three are spare and zero
inline constexpr uint32_t kSessionBlockVersion = 1;
inline constexpr size_t kColourTableBytes = 6144;

#pragma pack(push, 1)

struct SessionIdentityBlock {
  uint32_t identity;
  uint32_t type;
  uint32_t number;
  uint32_t boardIndex;
  char boardText[256];
  uint8_t spare[8];
  uint32_t channel;  // RQD5Channel
  uint8_t spare2[4];
};

struct SessionSelection {
  uint32_t id;    // row of the family's item table, not the position in a list
  char text[64];  // the item's text; what is looked for first when a block is read back
};

struct SessionConfigurationBlock {
  uint32_t version;   // kSessionBlockVersion
  uint32_t identity;  // of the board that it was taken from
  uint32_t formatId;  // row of the video format table
  RQD5VideoFormatDesc format;
  SessionSelection selections[kSessionFamilySlots];
  int32_t horizontalOffset;  // reference timing, samples from the default
  int32_t verticalOffset;    // reference timing, lines from the default
  float mixerLevel;          // 0 to 1
  uint8_t mixerEnable;       // the overlay is mixed in
  uint8_t colourTableEnable;
  uint8_t keepTiming;
  uint8_t singleLink15G;                   // an "HSDL" item keeps the links at 1.5 Gbit/s
  uint8_t colourTable[kColourTableBytes];  // 1536 words: three tables of 512
  uint8_t spare[17736];
};

struct AudioSettingsBlock {
  char name[32];   // "48kHz" or "96kHz"
  float rate;      // samples a second
  uint32_t index;  // 0 or 1
  char levelText[32];
  uint32_t levelIndex;
  uint32_t flags[2];
};

#pragma pack(pop)

static_assert(sizeof(SessionIdentityBlock) == 288);
static_assert(offsetof(SessionIdentityBlock, boardText) == 16);
static_assert(offsetof(SessionIdentityBlock, channel) == 280);

static_assert(sizeof(SessionSelection) == 68);
static_assert(sizeof(SessionConfigurationBlock) == 25373);
static_assert(offsetof(SessionConfigurationBlock, format) == 12);
static_assert(offsetof(SessionConfigurationBlock, selections) == 117);
static_assert(offsetof(SessionConfigurationBlock, horizontalOffset) == 1477);
static_assert(offsetof(SessionConfigurationBlock, mixerLevel) == 1485);
static_assert(offsetof(SessionConfigurationBlock, mixerEnable) == 1489);
static_assert(offsetof(SessionConfigurationBlock, colourTable) == 1493);

static_assert(sizeof(AudioSettingsBlock) == 84);
static_assert(offsetof(AudioSettingsBlock, rate) == 32);
static_assert(offsetof(AudioSettingsBlock, levelText) == 40);
static_assert(offsetof(AudioSettingsBlock, levelIndex) == 72);
static_assert(offsetof(AudioSettingsBlock, flags) == 76);

}  // namespace morvane
