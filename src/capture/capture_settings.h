#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/nx_err.h"
#include "base/text_fields.h"
#include "session/session_blocks.h"
#include "session/vtr_settings.h"

// What the user chose on the capture tab, as it lies in the settings store: one packed record of a
// board model, guarded by three magic numbers.
namespace morvane {

inline constexpr uint32_t kCaptureFileTypes = 8;
inline constexpr size_t kClipNameCharacters = 250;
inline constexpr int32_t kMaximumHandles = 60;         // frames; the least is 0
inline constexpr int32_t kMaximumTimecodeOffset = 30;  // frames, to both sides

enum class CaptureMode : int32_t { Now = 0, Duration = 1, InOut = 2 };

#pragma pack(push, 1)

// The choices that are kept for each file type.
struct CaptureFileChoice {
  int32_t style;         // index into the styles that the file type offers
  int32_t videoSubtype;  // index into the file class's video formats
  int32_t audioSubtype;  // index into the 48 kHz half of its audio formats
  int32_t audioTracks;   // index; the count is one more
  int32_t videoQuality;  // -1 until a subtype with a quality range was chosen
};

struct CaptureSettings {
  uint32_t magic;  // kSettingsMagic; never read back
  SessionIdentityBlock identity;
  SessionConfigurationBlock session;
  VtrSettingsBlock vtr;
  uint8_t padding0[2];
  int32_t activationMode;  // 0 "Auto", 1 "Manual"
  uint8_t enforceAlignment;
  uint8_t audioAutoSearch;
  uint8_t audioScrubbing;
  uint8_t audioVarispeed;
  uint8_t reserved1;
  uint8_t padding1[3];
  int32_t displayToDesktop;  // 0 "Off", 1 "While Idle Only", 2 "While Capture Only", 3 "Always"
  int32_t fileType;          // index; 8 and more read as 0
  CaptureFileChoice files[kCaptureFileTypes];
  int32_t captureMode;
  WideField<2048> videoDirectory;
  WideField<2048> audioDirectory;
  WideField<2048> clipName;
  WideField<32> sequenceOffset;  // number of an image sequence's first frame, as text
  NarrowField<32> reelName;
  int32_t handles;         // frames
  int32_t timecodeOffset;  // frames
  NarrowField<32> inPoint;
  NarrowField<32> outPoint;
  NarrowField<32> inOutDuration;
  int32_t durationFrames;  // length of a "Capture Duration" job
  uint8_t folderPerSequence;
  uint8_t abortOnDrop;
  uint8_t reserved2;
  uint8_t queuedWrites;
  int32_t queuedWriteDepth;
  int32_t displayType;  // 0 "OpenGL DrawPixels", 1 "OpenGL Texture"
  int32_t displaySize;  // index, 0 to 8
  uint8_t overlayEnable;
  uint8_t padding2;
  WideField<2049> overlayFile;
};

#pragma pack(pop)

static_assert(sizeof(CaptureFileChoice) == 20);
static_assert(sizeof(CaptureSettings) == 42552);
static_assert(offsetof(CaptureSettings, identity) == 4);
static_assert(offsetof(CaptureSettings, session) == 292);
static_assert(offsetof(CaptureSettings, vtr) == 25665);
static_assert(offsetof(CaptureSettings, activationMode) == 25760);
static_assert(offsetof(CaptureSettings, enforceAlignment) == 25764);
static_assert(offsetof(CaptureSettings, displayToDesktop) == 25772);
static_assert(offsetof(CaptureSettings, fileType) == 25776);
static_assert(offsetof(CaptureSettings, files) == 25780);
static_assert(offsetof(CaptureSettings, captureMode) == 25940);
static_assert(offsetof(CaptureSettings, videoDirectory) == 25944);
static_assert(offsetof(CaptureSettings, audioDirectory) == 30040);
static_assert(offsetof(CaptureSettings, clipName) == 34136);
static_assert(offsetof(CaptureSettings, sequenceOffset) == 38232);
static_assert(offsetof(CaptureSettings, reelName) == 38296);
static_assert(offsetof(CaptureSettings, handles) == 38328);
static_assert(offsetof(CaptureSettings, timecodeOffset) == 38332);
static_assert(offsetof(CaptureSettings, inPoint) == 38336);
static_assert(offsetof(CaptureSettings, outPoint) == 38368);
static_assert(offsetof(CaptureSettings, inOutDuration) == 38400);
static_assert(offsetof(CaptureSettings, durationFrames) == 38432);
static_assert(offsetof(CaptureSettings, folderPerSequence) == 38436);
static_assert(offsetof(CaptureSettings, abortOnDrop) == 38437);
static_assert(offsetof(CaptureSettings, queuedWrites) == 38439);
static_assert(offsetof(CaptureSettings, queuedWriteDepth) == 38440);
static_assert(offsetof(CaptureSettings, displayType) == 38444);
static_assert(offsetof(CaptureSettings, displaySize) == 38448);
static_assert(offsetof(CaptureSettings, overlayEnable) == 38452);
static_assert(offsetof(CaptureSettings, overlayFile) == 38454);

// Fills `settings` with the defaults for a board: `identity` and `session` as the open session
// gives them, directories in the user's video folder. A null `settings` does nothing.
void RestoreCaptureDefaults(const SessionIdentityBlock& identity,
                            const SessionConfigurationBlock& session, CaptureSettings* settings);

// Key of a board model's settings: two boards of one model share them.
[[nodiscard]] std::string CaptureSettingsKey(std::string_view boardName);

enum class SettingsLoad {
  Stored,           // the record came out of the store
  DefaultsSaved,    // nothing there, or its numbers were not ours: defaults, written to the store
  DefaultsUnsaved,  // the numbers are ours and the record cannot be read: defaults, store untouched
};

// Reads the settings of board model `boardName`. `defaults` is what takes their place; a stored
// record that is shorter than ours leaves the rest of `settings` as it was.
SettingsLoad LoadCaptureSettings(std::string_view boardName, const CaptureSettings& defaults,
                                 CaptureSettings* settings);

// Writes the settings in one transaction. Returns: 0, also when the store cannot be written; -2
// for an empty board name.
NxErr SaveCaptureSettings(std::string_view boardName, const CaptureSettings& settings);

// The file type of the record; what is out of range reads as 0.
[[nodiscard]] uint32_t FileTypeOf(const CaptureSettings& settings);
// The choices of that file type.
[[nodiscard]] CaptureFileChoice& ChoicesOf(CaptureSettings* settings);
[[nodiscard]] const CaptureFileChoice& ChoicesOf(const CaptureSettings& settings);

// The name of the next clip: trailing digits count up and keep their width ("09" to "10", "99" to
// "100"), a name without any gets " 01" behind it. At most 250 characters.
[[nodiscard]] std::u16string NextClipName(std::u16string_view name);

// In, out and duration at the rate of the record's tape machine. Each keeps the three consistent;
// `text` may be anything that a user types.
void SetInPoint(CaptureSettings* settings, const std::string& text);
void SetOutPoint(CaptureSettings* settings, const std::string& text);
void SetInOutDuration(CaptureSettings* settings, const std::string& text);
// Zeros, and a duration of one frame, in the form of the tape machine's timecode.
void ResetInOut(CaptureSettings* settings);

}  // namespace morvane
