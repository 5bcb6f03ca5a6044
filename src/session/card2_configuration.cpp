// The session as bytes, and back.
#include <cstring>

#include "device/boards.h"
#include "session/card2.h"
#include "session/catalogue_table.h"

namespace morvane {
namespace {

void StoreText(char* field, size_t bytes, const std::string& text) {
  std::memset(field, 0, bytes);
  std::memcpy(field, text.data(), text.size() < bytes ? text.size() : bytes - 1);
}

// A stored text, also when it lacks its terminator.
std::string LoadText(const char* field, size_t bytes) {
  return std::string(field, strnlen(field, bytes));
}

// After the format, in the order in which they depend on each other.
constexpr SessionFamily kApplyOrder[] = {
    SessionFamily::SecondFormatOut, SessionFamily::SecondFormatIn,  SessionFamily::ConvertMode,
    SessionFamily::VideoInput,      SessionFamily::SDIOutput,       SessionFamily::HDMIOutput,
    SessionFamily::AnalogOutput,    SessionFamily::TimecodeInput,   SessionFamily::AudioInput,
    SessionFamily::AudioLevel,      SessionFamily::Reference,       SessionFamily::VideoLimit,
    SessionFamily::RGBLevel,        SessionFamily::VideoSyncOutput, SessionFamily::MixMode};

}  // namespace

bool CRQD5Card2::GetConfiguration(SessionConfigurationBlock* block) {
  std::memset(block, 0, sizeof *block);
  if (!RequireOpen()) return false;
  block->version = kSessionBlockVersion;
  block->identity = identity_;
  block->formatId = SelectionOf(SessionFamily::VideoFormat).id;
  block->format = formatDesc_;
  for (uint32_t f = 0; f < kSessionFamilies; ++f) {
    block->selections[f].id = selections_[f].id;
    StoreText(block->selections[f].text, sizeof block->selections[f].text, selections_[f].text);
  }
  block->horizontalOffset = horizontalOffset_;
  block->verticalOffset = verticalOffset_;
  block->mixerLevel = mixerLevel_;
  block->mixerEnable = mixerEnable_;
  block->colourTableEnable = colourTableEnable_;
  block->keepTiming = keepTiming_;
  block->singleLink15G = singleLink15G_;
  std::memcpy(block->colourTable, colourTable_, sizeof block->colourTable);
  return true;
}

bool CRQD5Card2::GetDefaultConfiguration(SessionConfigurationBlock* block) {
  std::memset(block, 0, sizeof *block);
  if (!RequireOpen()) return false;
  CRQD5Card2 fresh;  // never opened: it lends its selections only
  fresh.boardOpen_ = true;
  fresh.identity_ = identity_;
  fresh.sessionBoardId_ = sessionBoardId_;
  fresh.mode_ = mode_;
  fresh.hasKeyer_ = hasKeyer_;
  fresh.SelectDefaults();
  const bool good = fresh.GetConfiguration(block);
  fresh.boardOpen_ = false;
  return good;
}

bool CRQD5Card2::SetConfiguration(const SessionConfigurationBlock& stored) {
  if (!RequireOpen()) return false;
  SessionConfigurationBlock block = stored;
  if (block.version != kSessionBlockVersion && !GetDefaultConfiguration(&block)) return false;
  const bool sameBoard = block.identity == identity_;
  const auto find = [&](SessionFamily family, uint32_t* index) {
    const SessionSelection& selection = block.selections[static_cast<uint32_t>(family)];
    return FindSelection(family, LoadText(selection.text, sizeof selection.text), selection.id,
                         sameBoard, index);
  };

  keepTiming_ = block.keepTiming != 0;
  uint32_t index = 0;
  if (!find(SessionFamily::VideoFormat, &index) || !SetVideoFormat(index, false)) return false;
  bool good = true;
  for (const SessionFamily family : kApplyOrder) {
    if (find(family, &index)) good &= SetItem(family, index);
  }
  good &= RefreshOutputEnables();
  const int32_t horizontal = block.horizontalOffset;
  const int32_t vertical = block.verticalOffset;
  // The same offsets too: setting the format has centred the card's timing.
  const bool centred = horizontal == 0 && vertical == 0;
  if (!centred || horizontalOffset_ != 0 || verticalOffset_ != 0) {
    SetTimingOffsets(horizontal, vertical);  // a board without timing keeps 0
  }
  const float level = block.mixerLevel;
  mixerLevel_ = level >= 0 && level <= 1 ? level : 1.0f;
  mixerEnable_ = block.mixerEnable != 0 && hasKeyer_;
  if (HasColourTable()) {
    std::memcpy(colourTable_, block.colourTable, sizeof colourTable_);
    const bool enable = block.colourTableEnable != 0;
    if (enable || colourTableEnable_) good &= LoadColourTable(block.colourTable, enable);
  }
  RebuildRouting();
  return good;
}

bool CRQD5Card2::GetIdentityBlock(SessionIdentityBlock* block) {
  std::memset(block, 0, sizeof *block);
  if (!RequireOpen()) return false;
  block->identity = identity_;
  block->type = sessionType_;
  block->number = sessionNumber_;
  block->boardIndex = boardIndex_;
  StoreText(block->boardText, sizeof block->boardText, boardText_);
  block->channel = channel_;
  return true;
}

}  // namespace morvane
