#include "device/nub_payloads.h"

#include "device/nub_wire.h"

namespace morvane {

size_t NubPayloadBytes(uint32_t type) {
  switch (type) {
    case NubOpen:
    case NubOpenReply:
      return sizeof(NubOpenPayload);
    case NubRead:
    case NubReadReply:
    case NubWrite:
    case NubWriteReply:
      return sizeof(NubRegisterPayload);
    case NubStatus:
    case NubStatusReply:
      return sizeof(NubStatusPayload);
    case NubWait:
    case NubWaitReply:
      return sizeof(NubWaitPayload);
    case NubBitFile:
    case NubBitFileReply:
      return sizeof(NubBitFilePayload);
    case NubPattern:
    case NubPatternReply:
      return sizeof(NubPatternPayload);
    case NubControl:
    case NubControlReply:
      return sizeof(NubControlPayload);
    case NubBuild:
    case NubBuildReply:
      return sizeof(NubBuildPayload);
    default:
      return 0;
  }
}

void PutNubStatus(const RQD5AutoCirculateStatus& status, NubStatusPayload* payload) {
  payload->channelSpec = status.channelSpec;
  payload->state = status.state;
  payload->startFrame = status.startFrame;
  payload->endFrame = status.endFrame;
  payload->activeFrame = status.activeFrame;
  payload->startTime = status.startTime;
  payload->boundaryTime = status.boundaryTime;
  payload->audioClockStart = status.audioClockStart;
  payload->audioClockNow = status.audioClockNow;
  payload->framesProcessed = status.framesProcessed;
  payload->framesDropped = status.framesDropped;
  payload->bufferLevel = status.bufferLevel;
  payload->withAudio = status.withAudio;
  payload->option0 = status.option0;
  payload->option1 = status.option1;
  payload->option2 = status.option2;
  payload->timecodePresent = status.timecodePresent;
  payload->flag6 = status.flag6;
}

void TakeNubStatus(const NubStatusPayload& payload, RQD5AutoCirculateStatus* status) {
  const auto flag = [](uint32_t word) { return static_cast<uint8_t>(word != 0 ? 1 : 0); };
  status->channelSpec = payload.channelSpec;
  status->state = payload.state;
  status->startFrame = payload.startFrame;
  status->endFrame = payload.endFrame;
  status->activeFrame = payload.activeFrame;
  status->startTime = payload.startTime;
  status->boundaryTime = payload.boundaryTime;
  status->audioClockStart = payload.audioClockStart;
  status->audioClockNow = payload.audioClockNow;
  status->framesProcessed = payload.framesProcessed;
  status->framesDropped = payload.framesDropped;
  status->bufferLevel = payload.bufferLevel;
  status->withAudio = flag(payload.withAudio);
  status->option0 = flag(payload.option0);
  status->option1 = flag(payload.option1);
  status->option2 = flag(payload.option2);
  status->timecodePresent = flag(payload.timecodePresent);
  status->flag6 = flag(payload.flag6);
}

void PutNubBitFile(const RQD5BitFileInfo& info, NubBitFilePayload* payload) {
  static_assert(offsetof(RQD5BitFileInfo, kind) - offsetof(RQD5BitFileInfo, date) ==
                sizeof payload->texts);
  payload->checksum = info.checksum;
  payload->recordVersion = info.recordVersion;
  payload->recordSize = info.recordSize;
  payload->byteCount = info.byteCount;
  std::memcpy(payload->texts, info.date, sizeof info.date);
  std::memcpy(payload->texts + 16, info.time, sizeof info.time);
  std::memcpy(payload->texts + 32, info.designName, sizeof info.designName);
  payload->recordKind = info.kind;
  payload->projectNumber = info.projectNumber;
}

void TakeNubBitFile(const NubBitFilePayload& payload, RQD5BitFileInfo* info) {
  info->checksum = payload.checksum;
  info->recordVersion = payload.recordVersion;
  info->recordSize = payload.recordSize;
  info->byteCount = payload.byteCount;
  std::memcpy(info->date, payload.texts, sizeof info->date);
  std::memcpy(info->time, payload.texts + 16, sizeof info->time);
  std::memcpy(info->designName, payload.texts + 32, sizeof info->designName);
  info->kind = payload.recordKind;
  info->projectNumber = payload.projectNumber;
}

void PutNubBuild(const RQD5BuildInfo& info, NubBuildPayload* payload) {
  payload->word0 = info.word0;
  payload->word1 = info.word1;
  std::memcpy(payload->text, info.text, sizeof payload->text);
}

void TakeNubBuild(const NubBuildPayload& payload, RQD5BuildInfo* info) {
  info->word0 = payload.word0;
  info->word1 = payload.word1;
  std::memcpy(info->text, payload.text, sizeof info->text);
}

}  // namespace morvane
