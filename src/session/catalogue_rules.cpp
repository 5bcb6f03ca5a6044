#include <initializer_list>

#include "device/boards.h"
#include "device/formats.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

// What a board is and what its format is, one bit a fact. A rule names the facts that it needs and
// those that rule it out.
enum Trait : uint64_t {
  // Which groups of formats the board offers.
  kSd = 1ull << 0,
  kHd = 1ull << 1,
  kAperture = 1ull << 2,  // the 1556-line formats
  kHdAndOneSd = 1ull << 3,
  kDefaultOnly = 1ull << 4,
  kShortSd = 1ull << 5,  // a player's shorter lists
  kShortAll = 1ull << 6,
  // Connectors and parts.
  kDualCapable = 1ull << 7,
  kRichOutput = 1ull << 8,      // primary and secondary on every output, video and key
  kOneSdiTwoPaths = 1ull << 9,  // primary or secondary on its one output
  kConverter = 1ull << 10,
  kTwoOutputs = 1ull << 11,
  kAnyInput = 1ull << 12,
  kOneInput = 1ull << 13,
  kTwoInputs = 1ull << 14,
  kHdmiOut = 1ull << 15,
  kHdmiIn = 1ull << 16,
  kAnalogOut = 1ull << 17,
  kAnalogIn = 1ull << 18,
  kKeyer = 1ull << 19,
  kUart = 1ull << 20,
  kLtcPort = 1ull << 21,
  kAudio = 1ull << 22,
  kAudioAnalogIn = 1ull << 23,
  kAudio96k = 1ull << 24,
  kAudioEight = 1ull << 25,
  kAudioLevels = 1ull << 26,
  // The format, and what it makes of the board.
  kDual = 1ull << 27,
  kFormat1556 = 1ull << 28,
  kFormat525 = 1ull << 29,
  kFormat625 = 1ull << 30,
  kFormat720 = 1ull << 31,
  kFormat1080 = 1ull << 32,
  kFormat2K = 1ull << 33,
  kHdmiTwoPaths = 1ull << 34,   // converter and dual format
  kHdmi3G = 1ull << 35,         // 3 Gbit/s board and dual-stream format
  kInputTwoPaths = 1ull << 36,  // board with two paths and dual format
  kInputHsdl = 1ull << 37,
  kInputDualOnly = 1ull << 38,
};

constexpr uint64_t Ids(std::initializer_list<uint32_t> ids) {
  uint64_t mask = 0;
  for (const uint32_t id : ids) mask |= 1ull << id;
  return mask;
}
constexpr uint64_t IdRange(uint32_t first, uint32_t last) {
  uint64_t mask = 0;
  for (uint32_t id = first; id <= last; ++id) mask |= 1ull << id;
  return mask;
}

// Boards that offer more than their default; as the session treats them.
struct SessionBoardRow {
  uint32_t identity;
  uint64_t traits;
};

// clang-format off
constexpr SessionBoardRow kSessionBoards[] = {
  { BoardBasil,   kSd },
  { BoardCassia,  kHd },
  { BoardCassia2, kHd },
  { BoardDamson,  kSd },
  { BoardEbony,   kHd },
  { BoardEbony2,  kHd },
  { BoardFennel,  kSd },
  { BoardGorse,   kSd },
  { BoardHeath,   kHd },
  { BoardHeath2,  kHd },
  { BoardIris,    kHd | kAperture | kDualCapable },
  { BoardJasmine, kSd },
  { BoardKale,    kHd | kDualCapable },
  { BoardLaurel,  kHd | kAperture | kDualCapable },
  { BoardKale2,   kHd | kDualCapable },
  { BoardAlder,   kDefaultOnly | kConverter },
  { BoardCedar,   kSd },
  { BoardDogwood, kHd | kSd | kDualCapable },
  { BoardElm,     kHd | kSd | kAperture | kDualCapable | kRichOutput | kConverter },
  { BoardIlex,    kDefaultOnly | kConverter },
  { BoardLarch,   kHd | kSd | kOneSdiTwoPaths | kConverter | kLtcPort },
  { BoardMaple,   kHdAndOneSd },
};

struct CatalogueRule {
  SessionFamily family;
  uint64_t needs;
  uint64_t without;
  uint64_t ids;
};

constexpr CatalogueRule kRules[] = {
  { SessionFamily::MixMode, kKeyer, 0, Ids({ 0, 1, 2 }) },
  { SessionFamily::MixMode, 0, kKeyer, Ids({ kMixModeNone }) },

  { SessionFamily::VideoFormat, kHd, kShortAll, IdRange(0, 24) },
  { SessionFamily::VideoFormat, kShortAll, 0, IdRange(0, 19) },
  { SessionFamily::VideoFormat, kSd, kShortAll | kShortSd, IdRange(25, 30) },
  { SessionFamily::VideoFormat, kSd | kShortSd, kShortAll, IdRange(25, 27) },
  { SessionFamily::VideoFormat, kAperture, kShortAll, Ids({ 35, 36 }) },
  { SessionFamily::VideoFormat, kHdAndOneSd, 0, IdRange(0, 25) | Ids({ 27 }) },
  { SessionFamily::VideoFormat, kDefaultOnly, 0, Ids({ 0 }) },

  { SessionFamily::SDIOutput, 0, kRichOutput | kOneSdiTwoPaths, Ids({ SDISingle }) },
  { SessionFamily::SDIOutput, kDualCapable, kRichOutput, Ids({ SDIDual }) },
  { SessionFamily::SDIOutput, kDualCapable | kFormat1556, kRichOutput, Ids({ SDIHsdl }) },
  { SessionFamily::SDIOutput, kOneSdiTwoPaths, kDual, Ids({ SDISingle }) },
  { SessionFamily::SDIOutput, kOneSdiTwoPaths | kDual, 0,
    Ids({ SDISinglePrimary, SDISingleSecondary }) },
  { SessionFamily::SDIOutput, kRichOutput, kDual | kFormat1556,
    Ids({ SDISingle, SDIDual, SDIVideoOfKey, SDIKeyOfKey }) },
  { SessionFamily::SDIOutput, kRichOutput | kDual, 0,
    Ids({ SDISinglePrimary, SDISingleSecondary, SDIDualPrimary, SDIDualSecondary, SDIVideoOfKey,
          SDIKeyOfKey }) },
  { SessionFamily::SDIOutput, kRichOutput | kFormat1556, 0, Ids({ SDIHsdl }) },

  { SessionFamily::HDMIOutput, kHdmiOut, kHdmiTwoPaths | kHdmi3G, Ids({ HDMIPlain }) },
  { SessionFamily::HDMIOutput, kHdmiOut | kHdmiTwoPaths, 0, Ids({ HDMIPrimary, HDMISecondary }) },
  { SessionFamily::HDMIOutput, kHdmiOut | kHdmi3G, 0, Ids({ HDMI3G }) },

  { SessionFamily::AnalogOutput, 0, kAnalogOut, Ids({ 0 }) },
  { SessionFamily::AnalogOutput, kAnalogOut | kFormat525, 0, Ids({ 0, 1, 2, 3, 4, 6, 8 }) },
  { SessionFamily::AnalogOutput, kAnalogOut | kFormat625, 0, Ids({ 0, 18, 6, 8 }) },
  { SessionFamily::AnalogOutput, kAnalogOut | kFormat720, 0, Ids({ 0, 20, 21, 26 }) },
  { SessionFamily::AnalogOutput, kAnalogOut | kFormat1080, 0, Ids({ 0, 23, 24, 25 }) },
  { SessionFamily::AnalogOutput, kAnalogOut | kFormat2K, 0, Ids({ 27 }) },

  { SessionFamily::ConvertMode, 0, kConverter, Ids({ kConvertNotAvailable }) },
  { SessionFamily::ConvertMode, kConverter, 0, Ids({ kConvertNone }) },
  { SessionFamily::ConvertMode, kConverter, kFormat2K, IdRange(1, 3) | IdRange(8, 11) },
  { SessionFamily::ConvertMode, kConverter | kFormat525, 0, IdRange(4, 7) },
  { SessionFamily::ConvertMode, kConverter | kFormat625, 0, IdRange(4, 7) },

  { SessionFamily::VideoInput, kAnyInput, kInputTwoPaths | kInputHsdl | kInputDualOnly,
    Ids({ InputSingle }) },
  { SessionFamily::VideoInput, kTwoInputs, kHdmiIn | kInputTwoPaths | kInputHsdl | kInputDualOnly,
    Ids({ InputSingle2 }) },
  { SessionFamily::VideoInput, kHdmiIn, kInputTwoPaths | kInputHsdl | kInputDualOnly,
    Ids({ InputHDMI }) },
  { SessionFamily::VideoInput, kTwoInputs | kDualCapable, kInputTwoPaths | kInputHsdl,
    Ids({ InputDual }) },
  { SessionFamily::VideoInput, kAnyInput | kInputTwoPaths, 0,
    Ids({ InputSinglePrimary, InputSingleSecondary }) },
  { SessionFamily::VideoInput, kTwoInputs | kInputTwoPaths, kHdmiIn,
    Ids({ InputSingle2Primary, InputSingle2Secondary }) },
  { SessionFamily::VideoInput, kHdmiIn | kInputTwoPaths, 0,
    Ids({ InputHDMIPrimary, InputHDMISecondary }) },
  { SessionFamily::VideoInput, kTwoInputs | kDualCapable | kInputTwoPaths, 0,
    Ids({ InputDualPrimary, InputDualSecondary }) },
  { SessionFamily::VideoInput, kInputHsdl, 0, Ids({ InputHsdl }) },
  { SessionFamily::VideoInput, kAnalogIn | kFormat525, 0, Ids({ 14, 15, 17, 18, 21, 22, 24, 25 }) },
  { SessionFamily::VideoInput, kAnalogIn | kFormat625, 0, Ids({ 13, 16, 26 }) },
  { SessionFamily::VideoInput, kAnalogIn | kFormat720, 0, Ids({ 27 }) },
  { SessionFamily::VideoInput, kAnalogIn | kFormat1080, 0, Ids({ 27 }) },

  { SessionFamily::InputStatus, 0, 0, Ids({ 0, 1 }) },

  { SessionFamily::TimecodeInput, kUart, 0, Ids({ TimecodeRS422 }) },
  { SessionFamily::TimecodeInput, kAnyInput, 0,
    Ids({ TimecodeLtc, TimecodeVitc1, TimecodeVitc2 }) },
  { SessionFamily::TimecodeInput, kLtcPort, 0, Ids({ TimecodeExternal }) },
  { SessionFamily::TimecodeInput, 0, kUart | kAnyInput | kLtcPort, Ids({ TimecodeNone }) },

  { SessionFamily::AudioInput, kAudio | kAnyInput, 0, Ids({ AudioEmbeddedSDI }) },
  { SessionFamily::AudioInput, kAudio | kHdmiIn, 0, Ids({ AudioEmbeddedHDMI }) },
  { SessionFamily::AudioInput, kAudio | kAudioAnalogIn, 0, Ids({ AudioAnalog }) },
  { SessionFamily::AudioInput, kAudio, kAudio96k | kAudioEight, Ids({ AudioAesFirst }) },
  { SessionFamily::AudioInput, kAudio | kAudioEight, kAudio96k, Ids({ 4, 5 }) },
  { SessionFamily::AudioInput, kAudio | kAudio96k, 0, Ids({ 6, 7, 8, 9 }) },
  { SessionFamily::AudioInput, 0, kAudio, Ids({ AudioNone }) },

  { SessionFamily::AudioLevel, kAudioLevels, 0, Ids({ LevelGain0, LevelGain6 }) },
  { SessionFamily::AudioLevel, 0, kAudioLevels, Ids({ LevelNone }) },

  { SessionFamily::Reference, 0, 0, Ids({ ReferenceFreeRun, ReferenceExternal }) },
  { SessionFamily::Reference, kOneInput, 0, Ids({ ReferenceInput }) },
  { SessionFamily::Reference, kTwoInputs, 0, Ids({ ReferenceInput1, ReferenceInput2 }) },
  { SessionFamily::Reference, kHdmiIn, 0, Ids({ ReferenceHDMI }) },
  { SessionFamily::Reference, kAnalogIn, 0, Ids({ ReferenceAnalog }) },

  { SessionFamily::VideoLimit, 0, 0, Ids({ 0, 1, 2 }) },
  { SessionFamily::RGBLevel, 0, 0, Ids({ 0, 1 }) },
  { SessionFamily::VideoSyncOutput, 0, 0, Ids({ 0 }) },
  { SessionFamily::VideoSyncOutput, kConverter, 0, Ids({ 1 }) },
};
// clang-format on

uint64_t SessionBoardTraits(uint32_t identity) {
  const uint32_t treatedAs = SessionIdentity(identity);
  for (const SessionBoardRow& row : kSessionBoards) {
    if (row.identity == treatedAs) return row.traits;
  }
  return kDefaultOnly;
}

uint64_t HardwareTraits(const BoardRow& board) {
  uint64_t traits = 0;
  if (board.videoIn == 1) traits |= kAnyInput | kOneInput;
  if (board.videoIn > 1) traits |= kAnyInput | kTwoInputs;
  if (board.videoOut > 1) traits |= kTwoOutputs;
  if (board.hdmiOut != 0) traits |= kHdmiOut;
  if (board.hdmiIn != 0) traits |= kHdmiIn;
  if (board.analogOut != 0) traits |= kAnalogOut;
  if (board.analogIn != 0) traits |= kAnalogIn;
  if (BoardHasUart(board.identity)) traits |= kUart;
  if (BoardHasAudio(board.identity)) traits |= kAudio;
  if (BoardHasAnalogAudioIn(board.identity)) traits |= kAudioAnalogIn;
  if (BoardHasAudio96k(board.identity)) traits |= kAudio96k;
  if (BoardHasEightChannelAudio(board.identity)) traits |= kAudioEight;
  if (BoardHasAudioLevels(board.identity)) traits |= kAudioLevels;
  return traits;
}

uint64_t RasterTrait(uint32_t videoFormat) {
  const VideoFormatRow* row = FindVideoFormat(videoFormat);
  if (row == nullptr) return 0;
  if (row->geometry == Geometry2048x1080) return kFormat2K;
  switch (row->standard) {
    case Standard525:
      return kFormat525;
    case Standard625:
      return kFormat625;
    case Standard720:
      return kFormat720;
    case Standard2K:
      return kFormat2K;
    case Standard1080:
    case Standard1080p:
      return kFormat1080;
    default:
      return 0;
  }
}

uint64_t TraitsOf(const CatalogueContext& context) {
  uint64_t traits = SessionBoardTraits(context.identity);
  if (const BoardRow* board = FindBoard(context.identity)) traits |= HardwareTraits(*board);
  if (context.hasKeyer) traits |= kKeyer;
  if (context.mode == 2) traits |= (traits & kAperture) != 0 ? kShortAll : kShortSd;

  traits |= RasterTrait(context.videoFormat);
  if (IsFullAperture(context.videoFormat)) traits |= kFormat1556;
  const bool dualStream = IsDualStream(context.videoFormat);
  if (IsDualFormat(context.videoFormat, context.fieldScale)) {
    traits |= kDual;
    if ((traits & kConverter) != 0) traits |= kHdmiTwoPaths;
    if ((traits & (kRichOutput | kOneSdiTwoPaths)) != 0) traits |= kInputTwoPaths;
  }
  if (dualStream && BoardHas3GInput(context.identity)) traits |= kHdmi3G;
  if ((traits & kDualCapable) != 0) {
    if ((traits & kFormat1556) != 0) traits |= kInputHsdl;
    if (dualStream && (traits & kTwoInputs) != 0) traits |= kInputDualOnly;
  }
  return traits;
}

uint64_t RuleMask(SessionFamily family, uint64_t traits) {
  uint64_t mask = 0;
  for (const CatalogueRule& rule : kRules) {
    if (rule.family != family) continue;
    if ((traits & rule.needs) == rule.needs && (traits & rule.without) == 0) mask |= rule.ids;
  }
  return mask;
}

// Fields a second of what the card sends in this format (frames for a progressive raster).
bool CardFieldRate(uint32_t videoFormat, uint32_t* scale, uint32_t* duration) {
  const VideoFormatRow* row = FindVideoFormat(videoFormat);
  if (row == nullptr || !FrameRatePair(row->rate, scale, duration)) return false;
  if (row->standard != Standard720 && row->standard != Standard1080p) *scale *= 2;
  return true;
}

// The converter changes raster and shape, never the rate: it pairs formats of one field rate. It
// cannot send a high-definition format into itself, and takes two streams only down to 525 lines.
bool ConverterPairs(uint32_t primary, uint32_t second) {
  uint32_t scale1 = 0, duration1 = 0, scale2 = 0, duration2 = 0;
  if (!CardFieldRate(primary, &scale1, &duration1)) return false;
  if (!CardFieldRate(second, &scale2, &duration2)) return false;
  if (scale1 != scale2 || duration1 != duration2) return false;
  if (IsDualStream(primary)) return second == 32;
  if (IsFullAperture(primary) || RasterTrait(primary) == kFormat2K) return false;
  return primary != second || IsStandardDefinition(primary);
}

uint64_t SecondFormatMask(SessionFamily family, uint64_t traits, uint32_t videoFormat) {
  if ((traits & kConverter) == 0) return Ids({kSecondFormatNotAvailable});
  const bool in = family == SessionFamily::SecondFormatIn;
  uint64_t mask = Ids({kSecondFormatNone});
  for (uint32_t i = 0; i < 9; ++i) {
    const uint32_t id = (in ? 1u : 10u) + i;
    if (ConverterPairs(videoFormat, SecondFormatOf(id))) mask |= 1ull << id;
  }
  return mask;
}

}  // namespace

bool IsDualFormat(uint32_t videoFormat, uint32_t fieldScale) {
  if (videoFormat == 32 || videoFormat == 33) return true;
  const bool listed = (videoFormat >= 1 && videoFormat <= 5) || videoFormat == 17;
  return listed && (fieldScale == 60000 || fieldScale == 50000);
}

bool IsDualStream(uint32_t videoFormat) {
  return videoFormat >= 18 && videoFormat <= 20;
}
bool IsFullAperture(uint32_t videoFormat) {
  return videoFormat == 64 || videoFormat == 65;
}
bool IsStandardDefinition(uint32_t videoFormat) {
  return videoFormat >= 32 && videoFormat <= 37;
}

bool BoardHasConverter(uint32_t identity) {
  return (SessionBoardTraits(identity) & kConverter) != 0;
}
bool BoardIsDualCapable(uint32_t identity) {
  return (SessionBoardTraits(identity) & kDualCapable) != 0;
}
bool BoardHasAudioLevels(uint32_t identity) {
  return BoardHasAnalogAudioIn(identity) || identity == BoardElm;
}
bool BoardOffersHd(uint32_t identity) {
  return SessionBoardTraits(identity) != kSd;
}

uint64_t CatalogueMask(SessionFamily family, const CatalogueContext& context) {
  const uint64_t traits = TraitsOf(context);
  if (family == SessionFamily::SecondFormatOut || family == SessionFamily::SecondFormatIn) {
    return SecondFormatMask(family, traits, context.videoFormat);
  }
  uint64_t mask = RuleMask(family, traits);
  if (family == SessionFamily::HDMIOutput && (traits & (kHdmiOut | kTwoOutputs)) == kTwoOutputs) {
    mask |= RuleMask(SessionFamily::SDIOutput, traits) << HDMISharedSDI;
  }
  return mask;
}

bool CatalogueDefault(SessionFamily family, const CatalogueContext& context, uint32_t* id) {
  *id = 0;
  const uint64_t mask = CatalogueMask(family, context);
  if (mask == 0) return false;
  const BoardRow* board = FindBoard(context.identity);
  uint32_t wanted = static_cast<uint32_t>(std::countr_zero(mask));
  switch (family) {
    case SessionFamily::VideoFormat:
      if (board == nullptr ||
          (board->boardType != BOARDTYPE_HDCARD && board->boardType != BOARDTYPE_OEM2K)) {
        return false;
      }
      break;
    case SessionFamily::TimecodeInput:
      wanted = TimecodeLtc;
      break;
    case SessionFamily::AudioLevel:
      wanted = LevelGain6;
      break;
    default:
      break;
  }
  *id = (mask >> wanted & 1) != 0 ? wanted : static_cast<uint32_t>(std::countr_zero(mask));
  return true;
}

bool ListItemId(uint64_t mask, uint32_t index, uint32_t* id) {
  for (; mask != 0; mask &= mask - 1, --index) {
    if (index == 0) {
      *id = static_cast<uint32_t>(std::countr_zero(mask));
      return true;
    }
  }
  return false;
}

bool ListIndexOf(uint64_t mask, uint32_t id, uint32_t* index) {
  if (id >= 64 || (mask >> id & 1) == 0) return false;
  *index = ListCount(mask & ((1ull << id) - 1));
  return true;
}

}  // namespace morvane
