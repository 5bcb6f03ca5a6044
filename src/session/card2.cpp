#include "session/card2.h"

#include <cstring>

#include "device/boards.h"
#include "device/formats.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

constexpr char kNotOpen[] = "Board Not Opened";
constexpr char kNotValidBoard[] = "Not a Valid Board ID.";

void ReplaceFirst(std::string* text, const char* from, const char* to) {
  const size_t at = text->find(from);
  if (at != std::string::npos) text->replace(at, std::strlen(from), to);
}

// The line by which the windows name a board. Older names of two boards are shown in new words.
std::string MakeBoardText(uint32_t boardIndex, const std::string& displayName) {
  std::string name = displayName;
  if (name == "TOVI Wayline  ") name = "Wayline  ";
  if (name == "TOVI 2K  ") name = "Sorn 3  ";
  std::string text = "Board: " + std::to_string(boardIndex + 1) + " Type: " + name;
  ReplaceFirst(&text, "SORN", "Sorn");
  ReplaceFirst(&text, "TOVI", "Sorn");
  return text;
}

}  // namespace

CRQD5Card2::CRQD5Card2() = default;
CRQD5Card2::~CRQD5Card2() = default;

bool CRQD5Card2::Fail(const char* text) {
  lastError_ = text;
  return false;
}

bool CRQD5Card2::RequireOpen() {
  return IsOpen() || Fail(kNotOpen);
}

bool CRQD5Card2::OpenSession(uint32_t boardIndex, const RQD5BoardInfo& record, uint32_t mode) {
  if (!Open(static_cast<uint16_t>(record.boardNumber), false, record.boardType, nullptr)) {
    return Fail("Could Not Open Board");
  }
  identity_ = record.boardID;
  sessionBoardId_ = identity_ == BoardOak ? static_cast<uint32_t>(BoardElm) : identity_;
  sessionType_ = record.boardType;
  sessionNumber_ = record.boardNumber;
  boardIndex_ = boardIndex;
  mode_ = mode;
  boardText_ = MakeBoardText(boardIndex, record.displayName);
  hasAnalogOut_ = record.analogOutputs != 0;
  hasAnalogIn_ = record.analogInputs != 0;
  hasHdmiOut_ = record.hdmiOutputs != 0;
  hasHdmiIn_ = record.hdmiInputs != 0;
  hasHdmi_ = hasHdmiOut_ || hasHdmiIn_;
  hasKeyer_ = record.hasKeyer || sessionBoardId_ == BoardElm || sessionBoardId_ == BoardLarch;
  hasUart_ = record.hasUart;
  normalTimingSense_ = BoardTimingNormalSense(identity_);
  SelectDefaults();
  return true;
}

bool CRQD5Card2::Reopen() {
  if (!RequireOpen()) return false;
  Close();
  return true;
}

bool CRQD5Card2::GetBoardText(std::string* text) {
  if (!RequireOpen()) {
    *text = "Board Not Opened.";
    return false;
  }
  *text = boardText_;
  return true;
}

bool CRQD5Card2::GetBoardSuffix(std::string* text) {
  text->clear();
  if (!RequireOpen()) return false;
  *text = BoardName(identity_);
  return !text->empty();
}

// --- Lists ---------------------------------------------------------------------------------------

CatalogueContext CRQD5Card2::Context() const {
  CatalogueContext context;
  context.identity = identity_;
  context.mode = mode_;
  context.hasKeyer = hasKeyer_;
  context.videoFormat = formatDesc_.videoFormat;
  context.fieldScale = static_cast<uint32_t>(formatDesc_.fieldScale);
  return context;
}

uint64_t CRQD5Card2::List(SessionFamily family) const {
  return CatalogueMask(family, Context());
}

uint32_t CRQD5Card2::GetNumItems(SessionFamily family) {
  return RequireOpen() ? ListCount(List(family)) : 0;
}

bool CRQD5Card2::GetItemDesc(SessionFamily family, uint32_t index, std::string* text) {
  if (!RequireOpen()) {
    *text = kNotValidBoard;
    return false;
  }
  const FamilyRow& row = FamilyOf(family);
  uint32_t id = 0;
  if (!ListItemId(List(family), index, &id)) {
    *text = row.notValid;
    // A family without a text of its own leaves the failure before in place.
    return *row.notFound != '\0' && Fail(row.notFound);
  }
  *text = row.texts[id];
  return true;
}

bool CRQD5Card2::GetDefaultItem(SessionFamily family, uint32_t* index, std::string* text) {
  *index = 0;
  if (!RequireOpen()) {
    *text = kNotValidBoard;
    return false;
  }
  const CatalogueContext context = Context();
  uint32_t id = 0;
  if (!CatalogueDefault(family, context, &id)) {
    const FamilyRow& row = FamilyOf(family);
    const bool format = family == SessionFamily::VideoFormat;
    *text = format ? kNotValidBoard : row.notValid;
    if (format) return Fail("Unknown Board Type");
    if (family == SessionFamily::VideoInput) return Fail("Could Not Fill Video Input Default");
    return Fail(row.notFound);
  }
  *text = FamilyOf(family).texts[id];
  return ListIndexOf(CatalogueMask(family, context), id, index);
}

bool CRQD5Card2::GetItem(SessionFamily family, uint32_t* index) {
  *index = 0;
  if (!RequireOpen()) return false;
  if (family == SessionFamily::InputStatus) {
    *index = DetectSelectedInput() != 0 ? 1 : 0;
    return true;
  }
  const Selection& selection = SelectionOf(family);
  if (ListIndexOf(List(family), selection.id, index)) return true;
  return FindSelection(family, selection.text, selection.id, false, index);
}

bool CRQD5Card2::SetItem(SessionFamily family, uint32_t index) {
  if (!RequireOpen()) return false;
  switch (family) {
    case SessionFamily::MixMode:
      return SetMixMode(index);
    case SessionFamily::VideoFormat:
      return SetVideoFormat(index, true);
    case SessionFamily::SDIOutput:
      return SetSDIOutput(index);
    case SessionFamily::HDMIOutput:
      return SetHDMIOutput(index);
    case SessionFamily::AnalogOutput:
      return SetAnalogOutput(index);
    case SessionFamily::SecondFormatOut:
      return SetSecondFormat(index, SessionDirection::Out);
    case SessionFamily::SecondFormatIn:
      return SetSecondFormat(index, SessionDirection::In);
    case SessionFamily::ConvertMode:
      return SetConvertMode(index);
    case SessionFamily::VideoInput:
      return SetVideoInput(index);
    case SessionFamily::TimecodeInput:
      return SetTimecodeInput(index);
    case SessionFamily::AudioInput:
      return SetAudioInput(index);
    case SessionFamily::AudioLevel:
      return SetAudioLevel(index);
    case SessionFamily::Reference:
      return SetReference(index);
    case SessionFamily::VideoLimit:
      return SetVideoLimit(index);
    case SessionFamily::RGBLevel:
      return SetRGBLevel(index);
    case SessionFamily::VideoSyncOutput:
      return SetVideoSyncOutput(index);
    case SessionFamily::InputStatus:
      break;  // told by the card, not chosen
  }
  return false;
}

bool CRQD5Card2::FindItem(SessionFamily family, const std::string& text, uint32_t* index) {
  if (!RequireOpen()) return false;
  const FamilyRow& row = FamilyOf(family);
  const uint64_t list = List(family);
  for (uint32_t i = 0, id = 0; ListItemId(list, i, &id); ++i) {
    if (text == row.texts[id]) {
      *index = i;
      return true;
    }
  }
  return false;
}

bool CRQD5Card2::FindSelection(SessionFamily family, const std::string& text, uint32_t id,
                               bool trustId, uint32_t* index) const {
  const FamilyRow& row = FamilyOf(family);
  const uint64_t list = List(family);
  for (uint32_t i = 0, item = 0; ListItemId(list, i, &item); ++i) {
    if (text == row.texts[item]) {
      *index = i;
      return true;
    }
  }
  if (trustId && ListIndexOf(list, id, index)) return true;
  *index = 0;
  uint32_t fallback = 0;
  if (CatalogueDefault(family, Context(), &fallback)) return ListIndexOf(list, fallback, index);
  return list != 0;
}

// --- Selections ----------------------------------------------------------------------------------

void CRQD5Card2::Select(SessionFamily family, uint32_t id) {
  SelectionOf(family).id = id;
  SelectionOf(family).text = FamilyOf(family).texts[id];
}

void CRQD5Card2::SelectDefault(SessionFamily family) {
  uint32_t index = 0;
  std::string text;
  uint32_t id = 0;
  GetDefaultItem(family, &index, &text);
  if (ListItemId(List(family), index, &id)) {
    Select(family, id);
  } else {
    SelectionOf(family) = Selection();
  }
}

// The format first: all other lists depend on it.
void CRQD5Card2::SelectDefaults() {
  lastError_.clear();
  SelectDefault(SessionFamily::VideoFormat);
  FillDesc(SelectionOf(SessionFamily::VideoFormat).id, &formatDesc_);
  const std::string formatError = lastError_;
  for (uint32_t f = 0; f < kSessionFamilies; ++f) {
    const auto family = static_cast<SessionFamily>(f);
    if (family != SessionFamily::VideoFormat) SelectDefault(family);
  }
  lastError_ = formatError;  // a board without an output of a kind is no failure
  singleLink15G_ = false;
  mixerLevel_ = 1.0f;
  mixerEnable_ = false;
  colourTableEnable_ = false;
  std::memset(colourTable_, 0, sizeof colourTable_);
  horizontalOffset_ = 0;
  verticalOffset_ = 0;
  inputOffset_ = 0;
  outputOffset_ = 0;
}

bool CRQD5Card2::ItemId(SessionFamily family, uint32_t index, uint32_t* id) {
  return ListItemId(List(family), index, id);
}

// --- The families by name ------------------------------------------------------------------------

#define MORVANE_SESSION_FAMILY(Name, Plural)                              \
  uint32_t CRQD5Card2::GetNum##Plural() {                                 \
    return GetNumItems(SessionFamily::Name);                              \
  }                                                                       \
  bool CRQD5Card2::Get##Name##Desc(uint32_t index, std::string* text) {   \
    return GetItemDesc(SessionFamily::Name, index, text);                 \
  }                                                                       \
  bool CRQD5Card2::GetDefault##Name(uint32_t* index, std::string* text) { \
    return GetDefaultItem(SessionFamily::Name, index, text);              \
  }                                                                       \
  bool CRQD5Card2::Get##Name(uint32_t* index) {                           \
    return GetItem(SessionFamily::Name, index);                           \
  }

MORVANE_SESSION_FAMILY(MixMode, MixModes)
MORVANE_SESSION_FAMILY(VideoFormat, VideoFormats)
MORVANE_SESSION_FAMILY(SDIOutput, SDIOutputs)
MORVANE_SESSION_FAMILY(HDMIOutput, HDMIOutputs)
MORVANE_SESSION_FAMILY(AnalogOutput, AnalogOutputs)
MORVANE_SESSION_FAMILY(ConvertMode, ConvertModes)
MORVANE_SESSION_FAMILY(VideoInput, VideoInputs)
MORVANE_SESSION_FAMILY(InputStatus, InputStatuses)
MORVANE_SESSION_FAMILY(TimecodeInput, TimecodeInputs)
MORVANE_SESSION_FAMILY(AudioInput, AudioInputs)
MORVANE_SESSION_FAMILY(AudioLevel, AudioLevels)
MORVANE_SESSION_FAMILY(Reference, References)
MORVANE_SESSION_FAMILY(VideoLimit, VideoLimits)
MORVANE_SESSION_FAMILY(RGBLevel, RGBLevels)
MORVANE_SESSION_FAMILY(VideoSyncOutput, VideoSyncOutputs)
#undef MORVANE_SESSION_FAMILY

namespace {
SessionFamily SecondFamily(SessionDirection direction) {
  return direction == SessionDirection::In ? SessionFamily::SecondFormatIn
                                           : SessionFamily::SecondFormatOut;
}
}  // namespace

uint32_t CRQD5Card2::GetNumSecondFormats(SessionDirection direction) {
  return GetNumItems(SecondFamily(direction));
}
bool CRQD5Card2::GetSecondFormatDesc(uint32_t index, SessionDirection direction,
                                     std::string* text) {
  return GetItemDesc(SecondFamily(direction), index, text);
}
bool CRQD5Card2::GetDefaultSecondFormat(uint32_t* index, SessionDirection direction,
                                        std::string* text) {
  return GetDefaultItem(SecondFamily(direction), index, text);
}
bool CRQD5Card2::GetSecondFormat(uint32_t* index, SessionDirection direction) {
  return GetItem(SecondFamily(direction), index);
}

}  // namespace morvane
