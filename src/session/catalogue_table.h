#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "session/session_blocks.h"

// What each board offers, as data: the items of every family in their fixed order, and the rules
// that make a board's list under a video format. A list is a 64-bit mask over item ids; item i of
// the list is the i-th set bit.
// Threads: any; all is constant.
namespace morvane {

struct RQD5BoardInfo;

// How the picture of a video format item is scanned, by the letter in its text.
enum class ItemScan : uint8_t { Interlaced, InterlacedOrSegmented, Segmented, Progressive };

struct VideoFormatItem {
  uint32_t id;
  const char* text;
  uint32_t videoFormat;  // RQD5VideoFormat that the card runs
  uint32_t scale;        // clip frames a second: scale / duration
  uint32_t duration;
  uint32_t displayHeight;  // lines of the clip's picture
  ItemScan scan;
  uint8_t wide;
  uint8_t cadence;  // clip frames on card frames: 0 one to one, 1 2:3, 2 each twice
};
inline constexpr uint32_t kVideoFormatItems = 37;
[[nodiscard]] std::span<const VideoFormatItem> VideoFormatItems();
// Text of the item whose card format is `videoFormat`, "Unknown Video Format" for any other.
[[nodiscard]] const char* VideoFormatItemText(uint32_t videoFormat);

struct FamilyRow {
  SessionFamily family;
  const char* name;                    // "MixMode" ...
  std::span<const char* const> texts;  // by item id
  const char* notFound;                // error of a selection past the end
  const char* notValid;                // text out of a description past the end
};
[[nodiscard]] const FamilyRow& FamilyOf(SessionFamily family);

// All that a list depends on.
struct CatalogueContext {
  uint32_t identity = 0;  // the board itself: its hardware
  uint32_t mode = 0;      // SessionMode
  bool hasKeyer = false;
  uint32_t videoFormat = 0;  // of the selected video format item
  uint32_t fieldScale = 0;   // fields a second of that item: fieldScale / 1000 or 1001
};

[[nodiscard]] uint64_t CatalogueMask(SessionFamily family, const CatalogueContext& context);
// The default item. Returns: false for an empty list, and for the video format of a board type
// without a default.
[[nodiscard]] bool CatalogueDefault(SessionFamily family, const CatalogueContext& context,
                                    uint32_t* id);

[[nodiscard]] constexpr uint32_t ListCount(uint64_t mask) {
  return static_cast<uint32_t>(std::popcount(mask));
}
// Id of list item `index`. Returns: false past the end.
[[nodiscard]] bool ListItemId(uint64_t mask, uint32_t index, uint32_t* id);
// Position of item `id`. Returns: false when the list has it not.
[[nodiscard]] bool ListIndexOf(uint64_t mask, uint32_t id, uint32_t* index);

// The formats under which boards with primary and secondary paths offer both.
[[nodiscard]] bool IsDualFormat(uint32_t videoFormat, uint32_t fieldScale);
[[nodiscard]] bool IsDualStream(uint32_t videoFormat);          // 18, 19, 20
[[nodiscard]] bool IsFullAperture(uint32_t videoFormat);        // 64, 65
[[nodiscard]] bool IsStandardDefinition(uint32_t videoFormat);  // 32 to 37
// Boards that have a converter; by the board as the session treats it.
[[nodiscard]] bool BoardHasConverter(uint32_t identity);
[[nodiscard]] bool BoardIsDualCapable(uint32_t identity);
[[nodiscard]] bool BoardHasAudioLevels(uint32_t identity);
[[nodiscard]] bool BoardOffersHd(uint32_t identity);  // has a list with 1080 or 720 lines
// Card format of a second format item; 0 for "None" and "Not Available".
[[nodiscard]] uint32_t SecondFormatOf(uint32_t id);

// Item ids that setters test.
enum SDIOutputId : uint32_t {
  SDISingle,
  SDISinglePrimary,
  SDISingleSecondary,
  SDIDual,
  SDIDualPrimary,
  SDIDualSecondary,
  SDIVideoOfKey,
  SDIKeyOfKey,
  SDIHsdl,
  SDIOutputIds
};
// The SDI items follow behind the HDMI ones, for a connector that is shared.
enum HDMIOutputId : uint32_t { HDMIPlain, HDMIPrimary, HDMISecondary, HDMI3G, HDMISharedSDI };
enum VideoInputId : uint32_t {
  InputSingle,
  InputSinglePrimary,
  InputSingle2,
  InputSingle2Primary,
  InputHDMI,
  InputHDMIPrimary,
  InputDual,
  InputDualPrimary,
  InputSingleSecondary,
  InputSingle2Secondary,
  InputHDMISecondary,
  InputDualSecondary,
  InputHsdl,
  InputAnalogFirst,
  InputAnalogLast = InputAnalogFirst + 14
};
enum TimecodeInputId : uint32_t {
  TimecodeRS422,
  TimecodeLtc,
  TimecodeVitc1,
  TimecodeVitc2,
  TimecodeExternal,
  TimecodeNone
};
enum AudioInputId : uint32_t {
  AudioEmbeddedSDI,
  AudioEmbeddedHDMI,
  AudioAnalog,
  AudioAesFirst,
  AudioNone = 10
};
enum AudioLevelId : uint32_t { LevelNone, LevelGain0, LevelGain6 };
enum ReferenceId : uint32_t {
  ReferenceFreeRun,
  ReferenceExternal,
  ReferenceInput,
  ReferenceInput1,
  ReferenceInput2,
  ReferenceHDMI,
  ReferenceAnalog
};
inline constexpr uint32_t kSecondFormatNone = 0;
inline constexpr uint32_t kSecondFormatNotAvailable = 19;
inline constexpr uint32_t kConvertNone = 0;
inline constexpr uint32_t kConvertNotAvailable = 12;
inline constexpr uint32_t kMixModeNone = 3;

}  // namespace morvane
