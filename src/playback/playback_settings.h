#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/nx_err.h"
#include "base/text_fields.h"
#include "session/session_blocks.h"
#include "session/vtr_settings.h"

// What the user chose on the play tab, as it lies in the settings store: one packed record of a
// board model, guarded by three magic numbers.
namespace morvane {

inline constexpr int kPlaybackTracks = 16;

enum class PlayRange : uint32_t { Infinity = 0, Marks = 1 };
enum class PlayLoop : uint32_t { Straight = 0, Loop = 1, Bounce = 2 };
enum class PrintType : uint32_t { Video = 0, InsertEdit = 1, PunchInAssemble = 2, Blacken = 3 };
enum class TimeBaseDisplay : uint32_t { Frames = 0, NonDropFrame = 1, DropFrame = 2 };

#pragma pack(push, 1)

struct PlaybackSettings {
  uint32_t magic;  // kSettingsMagic
  uint8_t header[280];
  uint32_t channel;  // the session's
  uint8_t header2[4];
  SessionConfigurationBlock session;  // rewritten after each setter that the session accepted
  VtrSettingsBlock vtr;
  AudioSettingsBlock audio;
  uint8_t padding0[2];
  uint32_t activationMode;  // 0 "Auto", 1 "Manual"
  uint8_t enforceAlignment;
  uint8_t padding1[3];
  uint32_t reserved0;
  uint32_t displayToDesktop;  // 0 "Off", 1 "While Scrubbing Only", 2 "While Playing Only", 3 always
  uint32_t displaySpeed;      // 0 full, 1 half, 2 quarter
  uint32_t timeBaseDisplay;   // TimeBaseDisplay
  uint32_t playType;          // 0 "Edit", 1 "Output"
  uint32_t printType;         // PrintType
  uint32_t rangeType;         // PlayRange
  uint8_t audioAutoSearch;
  uint8_t audioScrubbing;
  uint8_t audioVariSpeed;  // sound at speeds other than 1
  uint8_t padding2;
  uint32_t loopType;  // PlayLoop
  uint8_t videoEnable;
  uint8_t lutEnable;
  WideField<2048> lutFile;
  uint8_t trackEnable[kPlaybackTracks];
  uint8_t barsEnable;
  uint8_t padding3;
  uint32_t toneLevel;    // percent
  uint32_t barsSeconds;  // 0 to 120, as the next ones
  uint8_t leaderEnable;
  uint8_t padding4[3];
  uint32_t leaderSeconds;
  uint8_t trailerEnable;
  uint8_t padding5[3];
  uint32_t trailerSeconds;
  uint32_t printDelay;  // frames, 0 to 120
  uint32_t printLoop;   // 0 to 120
  uint8_t previewEdit;
  uint8_t editVideo;
  uint8_t editAudio[32];
  WideField<2048> videoDirectory;
  WideField<2048> audioDirectory;
  uint8_t padding6[2];
  int32_t handles;      // frames, 0 to 60
  int32_t tcOffsetOut;  // frames, -30 to 30
  uint32_t displayType;
  uint32_t displaySize;  // 0 "Fit" to 8 "Custom"
  uint8_t reserved1[8];
  uint8_t frameFlagA;  // these seven go unchanged into every preview frame
  uint8_t frameFlagB;
  uint8_t padding7[2];
  float frameValueA;
  float frameValueB;
  uint8_t frameFlagC;
  uint8_t padding8[3];
  float frameValueC;
  float frameValueD;
  uint8_t overlayEnable;
  uint8_t padding9;
  WideField<2048> overlayFile;
  uint8_t padding10[2];
};

#pragma pack(pop)

static_assert(sizeof(PlaybackSettings) == 42412);
static_assert(offsetof(PlaybackSettings, channel) == 284);
static_assert(offsetof(PlaybackSettings, session) == 292);
static_assert(offsetof(PlaybackSettings, vtr) == 25665);
static_assert(offsetof(PlaybackSettings, audio) == 25758);
static_assert(offsetof(PlaybackSettings, activationMode) == 25844);
static_assert(offsetof(PlaybackSettings, enforceAlignment) == 25848);
static_assert(offsetof(PlaybackSettings, displayToDesktop) == 25856);
static_assert(offsetof(PlaybackSettings, rangeType) == 25876);
static_assert(offsetof(PlaybackSettings, audioAutoSearch) == 25880);
static_assert(offsetof(PlaybackSettings, loopType) == 25884);
static_assert(offsetof(PlaybackSettings, videoEnable) == 25888);
static_assert(offsetof(PlaybackSettings, lutFile) == 25890);
static_assert(offsetof(PlaybackSettings, trackEnable) == 29986);
static_assert(offsetof(PlaybackSettings, barsEnable) == 30002);
static_assert(offsetof(PlaybackSettings, toneLevel) == 30004);
static_assert(offsetof(PlaybackSettings, leaderEnable) == 30012);
static_assert(offsetof(PlaybackSettings, trailerEnable) == 30020);
static_assert(offsetof(PlaybackSettings, printDelay) == 30028);
static_assert(offsetof(PlaybackSettings, previewEdit) == 30036);
static_assert(offsetof(PlaybackSettings, editAudio) == 30038);
static_assert(offsetof(PlaybackSettings, videoDirectory) == 30070);
static_assert(offsetof(PlaybackSettings, audioDirectory) == 34166);
static_assert(offsetof(PlaybackSettings, handles) == 38264);
static_assert(offsetof(PlaybackSettings, displayType) == 38272);
static_assert(offsetof(PlaybackSettings, frameFlagA) == 38288);
static_assert(offsetof(PlaybackSettings, frameValueA) == 38292);
static_assert(offsetof(PlaybackSettings, frameFlagC) == 38300);
static_assert(offsetof(PlaybackSettings, frameValueC) == 38304);
static_assert(offsetof(PlaybackSettings, overlayEnable) == 38312);
static_assert(offsetof(PlaybackSettings, overlayFile) == 38314);

// Fills `settings` with the defaults for a board: channel and session as the open session gives
// them, directories in the user's video folder.
void ResetPlaybackSettings(uint32_t channel, const SessionConfigurationBlock& session,
                           PlaybackSettings* settings);

// Key of a board model's settings.
[[nodiscard]] std::string PlaybackSettingsKey(std::string_view boardSuffix);

// Reads the settings of the board model. Nothing there, or numbers that are not ours: `defaults`,
// written to the store. Numbers that are ours but a record that cannot be read in whole:
// `defaults`, with the store untouched.
void LoadPlaybackSettings(std::string_view boardSuffix, const PlaybackSettings& defaults,
                          PlaybackSettings* settings);

// Writes the settings in one transaction; a store that cannot be written is ignored.
void SavePlaybackSettings(std::string_view boardSuffix, const PlaybackSettings& settings);

}  // namespace morvane
