#include "session/catalogue_table.h"

#include <array>
#include <iterator>

namespace morvane {
namespace {

constexpr ItemScan kI = ItemScan::Interlaced;
constexpr ItemScan kISF = ItemScan::InterlacedOrSegmented;
constexpr ItemScan kSF = ItemScan::Segmented;
constexpr ItemScan kP = ItemScan::Progressive;

// clang-format off
constexpr VideoFormatItem kVideoFormatRows[] = {
  // id  text                    format  rate       lines  scan wide cadence
  {  0, "1920x1080 @ 29.97i",         2, 30000, 1001, 1080, kI,   0, 0 },
  {  1, "1920x1080 @ 25.00i",         1, 25000, 1000, 1080, kI,   0, 0 },
  {  2, "1920x1080 @ 30.00i/sF",      3, 30000, 1000, 1080, kISF, 0, 0 },
  {  3, "1920x1080 @ 29.97i/sF",     29, 30000, 1001, 1080, kISF, 0, 0 },
  {  4, "1920x1080 @ 25.00i/sF",     28, 25000, 1000, 1080, kISF, 0, 0 },
  {  5, "1920x1080 @ 30.00sF",       30, 30000, 1000, 1080, kSF,  0, 0 },
  {  6, "1920x1080 @ 25.00sF",       28, 25000, 1000, 1080, kSF,  0, 0 },
  {  7, "1920x1080 @ 24.00sF",        7, 24000, 1000, 1080, kSF,  0, 0 },
  {  8, "1920x1080 @ 23.976sF",       6, 24000, 1001, 1080, kSF,  0, 0 },
  {  9, "1920x1080 @ 60.00p",        20, 60000, 1000, 1080, kP,   0, 0 },
  { 10, "1920x1080 @ 59.94p",        19, 60000, 1001, 1080, kP,   0, 0 },
  { 11, "1920x1080 @ 50.00p",        18, 50000, 1000, 1080, kP,   0, 0 },
  { 12, "1920x1080 @ 30.00p",         9, 30000, 1000, 1080, kP,   0, 0 },
  { 13, "1920x1080 @ 29.97p",         8, 30000, 1001, 1080, kP,   0, 0 },
  { 14, "1920x1080 @ 25.00p",        10, 25000, 1000, 1080, kP,   0, 0 },
  { 15, "1920x1080 @ 24.00p",        12, 24000, 1000, 1080, kP,   0, 0 },
  { 16, "1920x1080 @ 23.976p",       11, 24000, 1001, 1080, kP,   0, 0 },
  { 17, "1280x720 @ 60.00p",          5, 60000, 1000,  720, kP,   0, 0 },
  { 18, "1280x720 @ 59.94p",          4, 60000, 1001,  720, kP,   0, 0 },
  { 19, "1280x720 @ 50.00p",         17, 50000, 1000,  720, kP,   0, 0 },
  { 20, "1280x720 @ 30.00p",          5, 30000, 1000,  720, kP,   0, 2 },
  { 21, "1280x720 @ 29.97p",          4, 30000, 1001,  720, kP,   0, 2 },
  { 22, "1280x720 @ 25.00p",         17, 25000, 1000,  720, kP,   0, 2 },
  { 23, "1280x720 @ 24.00p",          5, 24000, 1000,  720, kP,   0, 1 },
  { 24, "1280x720 @ 23.976p",         4, 24000, 1001,  720, kP,   0, 1 },
  { 25, "720x486 @ 29.97i",          32, 30000, 1001,  486, kI,   0, 0 },
  { 26, "720x480 @ 29.97i",          32, 30000, 1001,  480, kI,   0, 0 },
  { 27, "720x576 @ 25.00i",          33, 25000, 1000,  576, kI,   0, 0 },
  { 28, "720x486 (Wide) @ 29.97i",   32, 30000, 1001,  486, kI,   1, 0 },
  { 29, "720x480 (Wide) @ 29.97i",   32, 30000, 1001,  480, kI,   1, 0 },
  { 30, "720x576 (Wide) @ 25.00i",   33, 25000, 1000,  576, kI,   1, 0 },
  { 31, "2048x1080 @ 24.00p",        14, 24000, 1000, 1080, kP,   0, 0 },
  { 32, "2048x1080 @ 23.976p",       13, 24000, 1001, 1080, kP,   0, 0 },
  { 33, "2048x1080 @ 24.00sF",       16, 24000, 1000, 1080, kSF,  0, 0 },
  { 34, "2048x1080 @ 23.976sF",      15, 24000, 1001, 1080, kSF,  0, 0 },
  { 35, "2048x1556 @ 15.00sF",       65, 15000, 1000, 1556, kSF,  0, 0 },
  { 36, "2048x1556 @ 14.98sF",       64, 15000, 1001, 1556, kSF,  0, 0 },
};
// clang-format on

constexpr auto kVideoFormatTexts = [] {
  std::array<const char*, kVideoFormatItems> texts{};
  for (uint32_t i = 0; i < kVideoFormatItems; ++i) texts[i] = kVideoFormatRows[i].text;
  return texts;
}();
// clang-format off

constexpr const char* kMixModeTexts[] = { "Full Image", "Pre-Mult Alpha", "UnShaped", "None" };
constexpr const char* kSDIOutputTexts[] = {
  "Single Link SDI", "Single Link SDI - Primary", "Single Link SDI - Secondary",
  "Dual Link SDI", "Dual Link SDI - Primary", "Dual Link SDI - Secondary",
  "Video + Key (V)", "Video + Key (K)", "HSDL",
};
constexpr const char* kHDMIOutputTexts[] = {
  "HDMI", "HDMI - Primary", "HDMI - Secondary", "3G HDMI",
  "Single Link SDI", "Single Link SDI - Primary", "Single Link SDI - Secondary",
  "Dual Link SDI", "Dual Link SDI - Primary", "Dual Link SDI - Secondary",
  "Video + Key (V)", "Video + Key (K)", "HSDL",
};
constexpr const char* kAnalogOutputTexts[] = {
  "No Analog Output",
  "Composite + S-Video NTSC", "Composite + S-Video NTSC-J",
  "Component Betacam NTSC", "Component Betacam NTSC-J",
  "Component SMPTE (SD)", "Component SMPTE", "Component RGB (SD)", "Component RGB",
  "Composite + S-Video NTSC (2)", "Composite + S-Video NTSC-J 2)",
  "Component Betacam NTSC 2)", "Component Betacam NTSC-J (2)",
  "Component SMPTE (2)", "Component RGB (2)", "Component SMPTE (HD)", "Component RGB (HD)",
  "Component XVGA", "Composite + S-Video", "Composite + S-Video (2)",
  "Component SMPTE (720)", "Component XVGA (720)", "Component XVGA (HD)",
  "Component SMPTE (1080)", "Component RGB (1080)", "Component XVGA (1080)",
  "Component RGB (720)", "Not Available",
};
constexpr const char* kSecondFormatTexts[] = {
  "None",
  "1920x1080 @ 29.97i (I)", "1920x1080 @ 25.00i (I)", "1920x1080 @ 30.00i (I)",
  "1920x1080 @ 23.976sF (I)", "1280x720 @ 59.94p (I)", "1280x720 @ 50.00p (I)",
  "1280x720 @ 60.00p (I)", "720x486 @ 29.97i (I)", "720x576 @ 25.00i (I)",
  "1920x1080 @ 29.97i (O)", "1920x1080 @ 25.00i (O)", "1920x1080 @ 30.00i (O)",
  "1920x1080 @ 23.976sF (O)", "1280x720 @ 59.94p (O)", "1280x720 @ 50.00p (O)",
  "1280x720 @ 60.00p (O)", "720x486 @ 29.97i (O)", "720x576 @ 25.00i (O)",
  "Not Available",
};
// Card formats of the nine, for input and again for output.
constexpr uint32_t kSecondFormats[] = { 2, 1, 3, 6, 4, 17, 5, 32, 33 };
constexpr const char* kConvertModeTexts[] = {
  "None", "LetterBox", "Crop", "Anamorphic",
  "16x9->4x3 LetterBox", "16x9->4x3 H-Crop", "4x3->16x9 PillarBox", "4x3->16x9 V-Crop",
  "Pillarbox 4x3", "Zoom 14x9", "Zoom Letterbox", "Zoom Wide", "Not Available",
};
constexpr const char* kVideoInputTexts[] = {
  "Single Link SDI", "Single Link SDI - Primary",
  "Single Link SDI 2", "Single Link SDI 2 - Primary",
  "HDMI", "HDMI - Primary", "Dual Link SDI", "Dual Link SDI - Primary",
  "Single Link SDI - Secondary", "Single Link SDI 2 - Secondary", "HDMI - Secondary",
  "Dual Link SDI - Secondary", "HSDL",
  "Composite", "Composite NTSC", "Composite NTSC-J", "S-Video", "S-Video NTSC", "S-Video NTSC-J",
  "Component", "Component Betacam", "Component Betacam NTSC", "Component Betacam NTSC-J",
  "Component SMPTE", "Component SMPTE NTSC", "Component SMPTE NTSC-J", "Component SMPTE PAL",
  "Component SMPTE HD",
};
constexpr const char* kInputStatusTexts[] = { "Video Input Not Detected", "Video Input Valid" };
constexpr const char* kTimecodeInputTexts[] = {
  "RS422", "Embedded  LTC (RP188)", "Embedded  VITC #1 (RP188)", "Embedded  VITC #2 (RP188)",
  "External LTC Port", "No TimeCode Inputs.",
};
constexpr const char* kAudioInputTexts[] = {
  "Embedded SDI", "Embedded HDMI", "Analog", "Digital AES/EBU",
  "Digital AES/EBU - XLR", "Digital AES/EBU - BNC",
  "Digital AES/EBU - XLR (48)", "Digital AES/EBU - BNC (48)",
  "Digital AES/EBU - XLR (96)", "Digital AES/EBU - BNC (96)", "No Audio Inputs.",
};
constexpr const char* kAudioLevelTexts[] = { "None", "Gain @ 0 dB", "Gain @ 6 dB" };
constexpr const char* kReferenceTexts[] = {
  "Free Run", "External", "Input", "Input 1", "Input 2", "Input HDMI", "Input Analog",
};
constexpr const char* kVideoLimitTexts[] = { "All Values", "Legal SDI", "Legal Broadcast" };
constexpr const char* kRGBLevelTexts[] = { "SMPTE", "Full" };
constexpr const char* kVideoSyncOutputTexts[] = { "Primary", "Secondary (if present)" };

constexpr FamilyRow kFamilies[] = {
  { SessionFamily::MixMode, "MixMode", kMixModeTexts, "", "" },
  { SessionFamily::VideoFormat, "VideoFormat", kVideoFormatTexts,
    "Video Format Not Found", "Unknown Video Format" },
  { SessionFamily::SDIOutput, "SDIOutput", kSDIOutputTexts,
    "Not a Valid SDI Output.", "Not a Valid SDI Output." },
  { SessionFamily::HDMIOutput, "HDMIOutput", kHDMIOutputTexts,
    "HDMI Format Not Found", "Not a Valid HDMI Output." },
  { SessionFamily::AnalogOutput, "AnalogOutput", kAnalogOutputTexts,
    "Analog Format Not Found", "Analog Format Not Found" },
  { SessionFamily::SecondFormatOut, "SecondFormatOut", kSecondFormatTexts,
    "Second Video Format Not Found", "Second Video Format Not Found" },
  { SessionFamily::SecondFormatIn, "SecondFormatIn", kSecondFormatTexts,
    "Second Video Format Not Found", "Video Input Format Not Found" },
  { SessionFamily::ConvertMode, "ConvertMode", kConvertModeTexts,
    "Convert Video Mode Not Found", "Convert Video Mode Not Found" },
  { SessionFamily::VideoInput, "VideoInput", kVideoInputTexts,
    "Video Input Format Not Found", "Not a Valid Input." },
  { SessionFamily::InputStatus, "InputStatus", kInputStatusTexts, "", "" },
  { SessionFamily::TimecodeInput, "TimecodeInput", kTimecodeInputTexts,
    "Not a Valid TimeCode Input.", "Not a Valid TimeCode Input." },
  { SessionFamily::AudioInput, "AudioInput", kAudioInputTexts,
    "Not a Valid Audio Input.", "Not a Valid Audio Input." },
  { SessionFamily::AudioLevel, "AudioLevel", kAudioLevelTexts,
    "Audio Level Not Found", "Audio Level Not Found" },
  { SessionFamily::Reference, "Reference", kReferenceTexts,
    "Reference Input Format Not Found", "Reference Input Format Not Found" },
  { SessionFamily::VideoLimit, "VideoLimit", kVideoLimitTexts,
    "Video Limit Format Not Found", "Video Limit Format Not Found" },
  { SessionFamily::RGBLevel, "RGBLevel", kRGBLevelTexts,
    "RGB Level Format Not Found", "RGB Level Format Not Found" },
  { SessionFamily::VideoSyncOutput, "VideoSyncOutput", kVideoSyncOutputTexts,
    "Not a Valid Video Sync Output.", "Not a Valid Video Sync Output." },
};
// clang-format on

static_assert(std::size(kVideoFormatRows) == kVideoFormatItems);
static_assert([] {
  for (uint32_t i = 0; i < kVideoFormatItems; ++i) {
    if (kVideoFormatRows[i].id != i) return false;
  }
  return true;
}());
static_assert(std::size(kFamilies) == kSessionFamilies);
static_assert(std::size(kHDMIOutputTexts) == uint32_t{HDMISharedSDI} + uint32_t{SDIOutputIds});
static_assert(std::size(kVideoInputTexts) == InputAnalogLast + 1);
static_assert(std::size(kSecondFormatTexts) == kSecondFormatNotAvailable + 1);

}  // namespace

std::span<const VideoFormatItem> VideoFormatItems() {
  return kVideoFormatRows;
}

const char* VideoFormatItemText(uint32_t videoFormat) {
  for (const VideoFormatItem& item : kVideoFormatRows) {
    if (item.videoFormat == videoFormat) return item.text;
  }
  return "Unknown Video Format";
}

const FamilyRow& FamilyOf(SessionFamily family) {
  return kFamilies[static_cast<uint32_t>(family)];
}

uint32_t SecondFormatOf(uint32_t id) {
  if (id == kSecondFormatNone || id >= kSecondFormatNotAvailable) return 0;
  return kSecondFormats[(id - 1) % std::size(kSecondFormats)];
}

}  // namespace morvane
