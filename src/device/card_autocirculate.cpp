// The frame ring as the engines use it.
#include <algorithm>
#include <iterator>

#include "device/card.h"

namespace morvane {
namespace {

constexpr int32_t kDefaultLastFrame = 10;
constexpr uint32_t kOutputWaitMs = 42;

RQD5AutoCirculateData Command(RQD5AutoCirculateCommand command, uint32_t channelSpec) {
  RQD5AutoCirculateData data;
  data.command = command;
  data.channelSpec = channelSpec;
  return data;
}

}  // namespace

bool CRQD5Card::InitAutoCirculate(uint32_t channelSpec, int32_t firstFrame, int32_t lastFrame,
                                  const bool (&flags)[8], bool audioFlag) {
  RQD5AutoCirculateData data = Command(ACInit, channelSpec);
  data.value1 = firstFrame;
  data.value2 = lastFrame < 0 ? kDefaultLastFrame : lastFrame;
  data.value3 = audioFlag ? 1 : 0;
  data.value4 = 1;
  std::copy(std::begin(flags), std::end(flags), data.flags);
  return AutoCirculate(data);
}

bool CRQD5Card::StartAutoCirculate(uint32_t channelSpec) {
  RQD5AutoCirculateData data = Command(ACStart, channelSpec);
  return AutoCirculate(data);
}

bool CRQD5Card::StopAutoCirculate(uint32_t channelSpec) {
  RQD5AutoCirculateData data = Command(ACStop, channelSpec);
  if (!AutoCirculate(data)) return false;
  WaitForInterrupt(InterruptOutput, kOutputWaitMs);
  WaitForInterrupt(InterruptOutput, kOutputWaitMs);
  RQD5AutoCirculateStatus status{};
  // A status that cannot be read leaves the state idle: there is nothing to abort that is known of.
  GetAutoCirculate(channelSpec, &status);
  return status.state == ACStateIdle || AbortAutoCirculate(channelSpec);
}

bool CRQD5Card::AbortAutoCirculate(uint32_t channelSpec) {
  RQD5AutoCirculateData data = Command(ACAbort, channelSpec);
  return AutoCirculate(data);
}

bool CRQD5Card::GetAutoCirculate(uint32_t channelSpec, RQD5AutoCirculateStatus* status) {
  if (status != nullptr) status->channelSpec = channelSpec;
  RQD5AutoCirculateData data = Command(ACStatus, channelSpec);
  data.record1 = status;
  return AutoCirculate(data);
}

bool CRQD5Card::GetFrameStamp(uint32_t channelSpec, uint32_t frame, RQD5FrameStamp* stamp) {
  if (stamp != nullptr) {
    stamp->channelSpec = channelSpec;
    stamp->frameNumber = frame;
  }
  RQD5AutoCirculateData data = Command(ACFrameStamp, channelSpec);
  data.value1 = static_cast<int32_t>(frame);
  data.record1 = stamp;
  return AutoCirculate(data);
}

bool CRQD5Card::TransferAutoCirculate(RQD5AutoCirculateTransfer* transfer,
                                      RQD5AutoCirculateTransferStatus* status) {
  RQD5AutoCirculateData data = Command(ACTransfer, transfer != nullptr ? transfer->channelSpec : 0);
  data.record1 = transfer;
  data.record2 = status;
  return AutoCirculate(data);
}

bool CRQD5Card::TransferAutoCirculateExtended(RQD5AutoCirculateTransfer* transfer,
                                              RQD5AutoCirculateTransferStatus* status,
                                              RQD5RoutingTable* extra) {
  RQD5AutoCirculateData data =
      Command(ACTransferExtended, transfer != nullptr ? transfer->channelSpec : 0);
  data.record1 = transfer;
  data.record2 = status;
  data.record3 = extra;
  return AutoCirculate(data);
}

}  // namespace morvane
