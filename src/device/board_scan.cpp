#include "device/board_scan.h"

#include "device/boards.h"
#include "device/status.h"

namespace morvane {
namespace {

// The types that a scan looks for at all, each by its own device class.
constexpr uint32_t kScannedTypes = 0xCE;
constexpr size_t kDisplayNameLimit = 32;

bool IsExternal(uint32_t boardType) {
  return boardType == BOARDTYPE_SYNCBOX || boardType == BOARDTYPE_HULLEN;
}

RQD5BoardInfo InfoOf(CRQD5Status& card, uint32_t boardType, uint32_t boardNumber) {
  RQD5BoardInfo info = DescribeBoard(card.GetBoardID());
  info.boardType = boardType;
  info.boardNumber = boardNumber;
  info.displayName = card.GetBoardName() + " - " + std::to_string(boardNumber);
  if (info.displayName.size() > kDisplayNameLimit) info.displayName.resize(kDisplayNameLimit);
  return info;
}

}  // namespace

RQD5BoardInfo DescribeBoard(uint32_t identity) {
  RQD5BoardInfo info;
  info.boardID = identity;
  const BoardRow* row = FindBoard(identity);
  if (row == nullptr) return info;
  info.videoInputs = row->videoIn;
  info.videoOutputs = row->videoOut;
  info.analogOutputs = row->analogOut;
  info.analogInputs = row->analogIn;
  info.hdmiOutputs = row->hdmiOut;
  info.hdmiInputs = row->hdmiIn;
  info.converters = row->converters;
  info.hasKeyer = BoardHasKeyer(identity);
  info.hasUart = BoardHasUart(identity);
  info.audioSystems = row->audioSystems;
  if (!BoardHasAudio(identity)) return info;
  info.sampleRates = {48000};
  if (BoardHasAudio96k(identity)) info.sampleRates.push_back(96000);
  info.sampleSizes = {32};
  if (row->videoIn > 0) info.audioSources.push_back(FourCC("isdi"));
  if (BoardHasAnalogAudioIn(identity)) info.audioSources.push_back(FourCC("ialg"));
  info.audioSources.push_back(FourCC("out "));
  if (BoardHasTwoChannelAudio(identity)) info.channelCounts.push_back(2);
  if (BoardHasSixChannelAudio(identity)) info.channelCounts.push_back(6);
  if (BoardHasEightChannelAudio(identity)) info.channelCounts.push_back(8);
  return info;
}

std::vector<RQD5BoardInfo> RQD5BoardScan(uint32_t wantedTypes) {
  std::vector<RQD5BoardInfo> boards;
  CRQD5Status card;
  for (uint32_t type = 1; type <= BOARDTYPE_HULLEN; type <<= 1) {
    if ((type & wantedTypes & kScannedTypes) == 0) continue;
    for (uint32_t number = 0; number <= UINT16_MAX; ++number) {
      if (!card.Open(static_cast<uint16_t>(number), false, type, nullptr)) break;
      RQD5BoardInfo info = InfoOf(card, type, number);
      info.boardIndex = static_cast<uint32_t>(boards.size());
      boards.push_back(std::move(info));
      card.Close();
      if (IsExternal(type)) break;
    }
  }
  return boards;
}

}  // namespace morvane
