// What each selection does to the card.
#include "device/boards.h"
#include "device/formats.h"
#include "session/card2.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

bool IsDualLinkItem(uint32_t id) {
  return id == SDIDual || id == SDIDualPrimary || id == SDIDualSecondary || id == SDIHsdl;
}

// Raster family of one side of the converter, as its registers number it.
enum ConverterRaster : uint32_t { k1080, k720, k525, k625, kNoRaster };

ConverterRaster RasterOf(uint32_t videoFormat) {
  const VideoFormatRow* row = FindVideoFormat(videoFormat);
  if (row == nullptr) return kNoRaster;
  switch (row->standard) {
    case Standard1080:
    case Standard1080p:
      return k1080;
    case Standard720:
      return k720;
    case Standard525:
      return k525;
    case Standard625:
      return k625;
    default:
      return kNoRaster;
  }
}

constexpr uint32_t kNoMode = 0xFFFFFFFF;

// Conversion mode by input raster (row) and output raster (column).
// clang-format off
constexpr uint32_t kConversionModes[4][4] = {
  // to 1080  720  525  625
  {   27,      17,   0,   1 },
  {    8, kNoMode,   2,   3 },
  {    4,       5,  23, kNoMode },
  {    6,       7, kNoMode, 24 },
};
// clang-format on

uint32_t ConversionMode(uint32_t from, uint32_t to) {
  constexpr uint32_t kTwoStreamsTo525 = 12;
  if (IsDualStream(from) && to == 32) return kTwoStreamsTo525;
  const ConverterRaster input = RasterOf(from);
  const ConverterRaster output = RasterOf(to);
  if (input == kNoRaster || output == kNoRaster) return kNoMode;
  return kConversionModes[input][output];
}

constexpr uint32_t kSharedHsdl = uint32_t{HDMISharedSDI} + uint32_t{SDIHsdl};

// Source that the input select takes: see CRQD5Card::SetInputSelect.
uint32_t InputSelectOf(uint32_t id, uint32_t treatedAs) {
  const bool analog = id >= InputAnalogFirst && id <= InputAnalogLast;
  if (treatedAs == BoardCedar || treatedAs == BoardDogwood) return analog ? 1 : 0;
  if (analog) return 4;
  switch (id) {
    case InputSingle2:
    case InputSingle2Primary:
    case InputSingle2Secondary:
      return 2;
    case InputHDMI:
    case InputHDMIPrimary:
    case InputHDMISecondary:
      return 5;
    default:
      return 1;
  }
}

// Reference source by item: external 0, first input 1, second input or HDMI 2, free run 3,
// analog 4.
constexpr uint32_t kReferenceSources[] = {3, 0, 1, 1, 2, 2, 4};

// Register value by item: the attenuated level is 1.
constexpr uint32_t kAudioLevelValues[] = {0, 1, 0};

// Audio input select and its extension by item: embedded SDI, embedded HDMI, analog, AES.
constexpr uint32_t kAudioSelect[4][2] = {{0, 0}, {0, 1}, {1, 1}, {1, 0}};

}  // namespace

bool CRQD5Card2::SetMixMode(uint32_t index) {
  if (!RequireOpen()) return false;
  if (!hasKeyer_) return true;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::MixMode, index, &id)) return true;
  Select(SessionFamily::MixMode, id);
  return WriteField(RegisterField::MixerForeground, id);
}

// Switches the links for an SDI item.
bool CRQD5Card2::ApplyLink(uint32_t itemId) {
  const bool dual = IsDualLinkItem(itemId);
  if (!SetDualLink(dual ? 1 : 0)) {
    return Fail(dual ? "Failed to Turn DualLink On" : "Failed to Turn DualLink Off");
  }
  return true;
}

bool CRQD5Card2::SetSDIOutput(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::SDIOutput, index, &id)) return Fail("Not a Valid SDI Output.");
  // A picture of 1556 lines travels as HSDL whatever item is chosen.
  if (IsFullAperture(formatDesc_.videoFormat) &&
      (List(SessionFamily::SDIOutput) >> SDIHsdl & 1) != 0) {
    id = SDIHsdl;
  }
  if (!ApplyLink(id)) return false;
  Select(SessionFamily::SDIOutput, id);
  const bool levelWasKeptOff = singleLink15G_;
  singleLink15G_ = id == SDIHsdl;
  // A format of two streams that was set while HSDL was still the choice has its level flag off.
  if (levelWasKeptOff && !singleLink15G_ && IsDualStream(formatDesc_.videoFormat)) {
    RefreshOutputEnables();
  }
  RebuildRouting();
  return true;
}

bool CRQD5Card2::SetHDMIOutput(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::HDMIOutput, index, &id)) return Fail("HDMI Format Not Found");
  if (id >= HDMISharedSDI) {
    uint32_t item = id - HDMISharedSDI;
    if (IsFullAperture(formatDesc_.videoFormat) &&
        (List(SessionFamily::HDMIOutput) >> kSharedHsdl & 1) != 0) {
      item = SDIHsdl;
      id = kSharedHsdl;
    }
    // The two connectors are one pair of links: the first output's choice of both stays.
    const bool pairTaken = IsDualLinkItem(SelectionOf(SessionFamily::SDIOutput).id);
    if (!ApplyLink(pairTaken ? static_cast<uint32_t>(SDIDual) : item)) return false;
  }
  Select(SessionFamily::HDMIOutput, id);
  RebuildRouting();
  return true;
}

// The black setup of the analog output.
uint32_t CRQD5Card2::AnalogBlackSetup(uint32_t itemId) {
  uint32_t standard = 0;
  uint32_t input = 0;
  GetStandard(&standard);
  GetItem(SessionFamily::VideoInput, &input);
  if (standard == 0 && input == 0) return 0;
  switch (formatDesc_.videoFormat) {
    case 32:
      return itemId == 4 || itemId == 2 ? 1 : 0;
    case 33:
    case 17:
    case 1:
      return 0;
    default:
      break;
  }
  const bool ntsc = formatDesc_.fieldScale == 60000;
  const bool pal = formatDesc_.fieldScale == 50000;
  if (ntsc) return itemId >= 3 && itemId <= 8 ? 1 : 0;
  if (pal) return itemId >= 3 && itemId <= 5 ? 1 : 0;
  return 0;
}

bool CRQD5Card2::SetAnalogOutput(uint32_t index) {
  if (!RequireOpen()) return false;
  if (!hasAnalogOut_) return true;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::AnalogOutput, index, &id)) return Fail("Analog Format Not Found");
  const uint32_t board = SessionIdentity(sessionBoardId_);
  if (board == BoardDogwood || board == BoardLarch) {
    if (!WriteField(RegisterField::AnalogOutputSync, AnalogBlackSetup(id))) {
      return Fail("Set Analog Output Failed");
    }
  }
  if (!WriteField(RegisterField::AnalogOutputMode, id)) return Fail("Set Analog Output Failed");
  Select(SessionFamily::AnalogOutput, id);
  RebuildRouting();
  return true;
}

bool CRQD5Card2::SetSecondFormat(uint32_t index, SessionDirection direction) {
  if (!RequireOpen()) return false;
  const SessionFamily family = direction == SessionDirection::In ? SessionFamily::SecondFormatIn
                                                                 : SessionFamily::SecondFormatOut;
  uint32_t id = 0;
  if (!ItemId(family, index, &id)) return Fail("Second Video Format Not Found");
  const uint32_t second = SecondFormatOf(id);
  if (second != 0) {
    const uint32_t primary = formatDesc_.videoFormat;
    const uint32_t mode = direction == SessionDirection::In ? ConversionMode(second, primary)
                                                            : ConversionMode(primary, second);
    if (!SetConversionMode(mode)) return Fail("Set Video Input Covert Mode Failed");
  }
  Select(family, id);
  RebuildRouting();
  return true;
}

bool CRQD5Card2::SetConvertMode(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::ConvertMode, index, &id)) {
    return Fail("Convert Video Mode Not Found");
  }
  bool good = true;
  if (id >= 1 && id <= 3) good = WriteField(RegisterField::ConverterMode, id - 1);
  if (id >= 4 && id <= 7) good = WriteField(RegisterField::ConverterThird, id - 4);
  if (id >= 8 && id <= 11) good = WriteField(RegisterField::ConverterSecond, id - 8);
  if (!good) return Fail("Set Video Input Covert Mode Failed");
  Select(SessionFamily::ConvertMode, id);
  RebuildRouting();
  return true;
}

bool CRQD5Card2::SetVideoInput(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::VideoInput, index, &id)) {
    return Fail("Video Input Format Not Found");
  }
  if (!SetInputSelect(InputSelectOf(id, SessionIdentity(sessionBoardId_)))) {
    return Fail("Set Video Input Format Failed");
  }
  if (id >= InputAnalogFirst && id <= InputAnalogLast) {
    if (!SetAnalogOutputLevel(id - InputAnalogFirst)) return Fail("Set Video Input Format Failed");
  }
  if (!WriteField(RegisterField::InputMode, 0)) {
    const bool dual =
        id == InputDual || id == InputDualPrimary || id == InputDualSecondary || id == InputHsdl;
    return Fail(dual ? "Failed to Turn DualLink On" : "Failed to Turn DualLink Off");
  }
  Select(SessionFamily::VideoInput, id);
  RebuildRouting();
  return true;
}

bool CRQD5Card2::SetTimecodeInput(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::TimecodeInput, index, &id)) {
    return Fail("Not a Valid TimeCode Input.");
  }
  Select(SessionFamily::TimecodeInput, id);
  return true;
}

bool CRQD5Card2::SetAudioInput(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::AudioInput, index, &id)) return Fail("Not a Valid Audio Input.");
  Select(SessionFamily::AudioInput, id);
  return ApplyAudioInput();
}

bool CRQD5Card2::ApplyAudioInput() {
  if (!RequireOpen()) return false;
  const uint32_t id = SelectionOf(SessionFamily::AudioInput).id;
  if (id == AudioNone) return true;
  const uint32_t row = id < AudioAesFirst ? id : static_cast<uint32_t>(AudioAesFirst);
  bool good = WriteField(RegisterField::AudioInputSelect, kAudioSelect[row][0]);
  good &= WriteField(RegisterField::AudioInputSelectExtended, kAudioSelect[row][1]);
  return good;
}

bool CRQD5Card2::SetAudioLevel(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::AudioLevel, index, &id)) {
    Fail("Audio Level Not Found");
    return true;  // Deliberate: told, and yet no failure.
  }
  if (id != LevelNone && !WriteField(RegisterField::AudioBufferSize, kAudioLevelValues[id], 0)) {
    return Fail("Set Audio Level Failed");
  }
  Select(SessionFamily::AudioLevel, id);
  return true;
}

bool CRQD5Card2::SetReference(uint32_t index) {
  if (!RequireOpen()) return false;
  if (sessionIsInput_) return true;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::Reference, index, &id)) {
    return Fail("Reference Input Format Not Found");
  }
  if (!CRQD5Card::SetReference(kReferenceSources[id], keepTiming_)) {
    return Fail("Set Reference Failed");
  }
  Select(SessionFamily::Reference, id);
  return true;
}

bool CRQD5Card2::SetVideoLimit(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::VideoLimit, index, &id)) return Fail("Video Limit Format Not Found");
  Select(SessionFamily::VideoLimit, id);
  return true;
}

// The level itself is the software conversion's matter; the card only has its outputs set anew.
bool CRQD5Card2::SetRGBLevel(uint32_t index) {
  if (!RequireOpen()) return false;
  if (index >= 2) return Fail("RGB Level Format Not Found");
  if (!RefreshOutputEnables()) return Fail("Set RGB Level Failed");
  Select(SessionFamily::RGBLevel, index);
  return true;
}

bool CRQD5Card2::SetVideoSyncOutput(uint32_t index) {
  if (!RequireOpen()) return false;
  uint32_t id = 0;
  if (!ItemId(SessionFamily::VideoSyncOutput, index, &id)) {
    return Fail("Not a Valid Video Sync Output.");
  }
  Select(SessionFamily::VideoSyncOutput, id);
  return true;
}

}  // namespace morvane
