// The commands of the frame ring as property records.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/message_hook.h"
#include "device/win_driver_interface.h"
#include "device/win_driver_requests.h"

namespace morvane {
namespace {

constexpr bool IsMultipleOf4(uint32_t value) {
  return (value & 3) == 0;
}

void StoreFlags(const bool (&flags)[8], uint8_t (&bytes)[8]) {
  for (size_t i = 0; i < 8; ++i) bytes[i] = flags[i] ? 1 : 0;
}

TransferRecord MakeTransferRecord(const RQD5AutoCirculateTransfer& transfer, uint32_t videoToken,
                                  uint32_t audioToken) {
  TransferRecord record{};
  record.channelSpec = transfer.channelSpec;
  record.videoBuffer = videoToken;
  record.videoSize = transfer.videoSize;
  record.videoOffset = transfer.videoOffset;
  record.audioBuffer = audioToken;
  record.audioSize = transfer.audioSize;
  record.audioOffset = transfer.audioOffset;
  record.frameBufferFormat = transfer.frameBufferFormat;
  record.flip = transfer.flip;
  std::memcpy(record.colourCorrection, transfer.colourCorrection, sizeof record.colourCorrection);
  record.frameRequest = transfer.frameRequest;
  record.userData = transfer.userData;
  record.rp188 = transfer.rp188;
  record.constant72 = transfer.constant72;
  record.constant76 = transfer.constant76;
  record.constant80 = transfer.constant80;
  record.constant84 = transfer.constant84;
  return record;
}

// The port says only yes or no, so the system's words for a failed device call stand for it.
void ReportTransferFailure(bool display) {
  if (!display) return;
  const std::string text = std::strerror(EIO);
  ShowMessage("CRQD5WinDriverInterface", text.c_str());
  std::printf("AutoCirculate transfer failed: %s\n", text.c_str());
}

}  // namespace

bool CRQD5WinDriverInterface::AutoCirculate(RQD5AutoCirculateData& data) {
  if (IsRemote()) return CRQD5DriverInterface::AutoCirculate(data);
  switch (data.command) {
    case ACInit:
      return data.value4 > 1 ? CirculateInitWide(data) : CirculateControl(data);
    case ACStart:
    case ACStop:
    case ACControl3:
    case ACControl6:
    case ACControl7:
    case ACAbort:
    case ACControl10:
      return CirculateControl(data);
    case ACStatus:
      return CirculateStatus(data);
    case ACFrameStamp:
    case ACFrameStampExtended:
      return CirculateFrameStamp(data);
    case ACTransfer:
    case ACTransferExtended:
    case ACTransferFull:
      return CirculateTransfer(data);
    case ACControl14:
      return CirculateControl14(data);
    default:
      return true;
  }
}

bool CRQD5WinDriverInterface::CirculateControl(const RQD5AutoCirculateData& data) {
  AutoCirculateControlRecord record{};
  record.header = Header(PropertyAutoCirculateControl, kPropertySet);
  record.command = data.command;
  record.channelSpec = data.channelSpec;
  switch (data.command) {
    case ACInit:
      record.value1 = data.value1;
      record.value2 = data.value2;
      record.value3 = data.value3;
      StoreFlags(data.flags, record.flags);
      break;
    case ACControl3:
      record.flags[0] = data.flags[0] ? 1 : 0;
      break;
    case ACControl7:
      record.value1 = data.value1;
      break;
    case ACControl10:
      record.value1 = data.value1;
      record.value2 = data.value2;
      break;
    default:
      break;
  }
  return Request(record);
}

bool CRQD5WinDriverInterface::CirculateInitWide(const RQD5AutoCirculateData& data) {
  AutoCirculateControlWideRecord record{};
  record.header = Header(PropertyAutoCirculateControlWide, kPropertySet);
  record.command = ACInit;
  record.channelSpec = data.channelSpec;
  record.value1 = data.value1;
  record.value2 = data.value2;
  record.value3 = data.value3;
  record.value4 = data.value4;
  StoreFlags(data.flags, record.flags);
  return Request(record);
}

bool CRQD5WinDriverInterface::CirculateStatus(const RQD5AutoCirculateData& data) {
  if (data.record1 == nullptr) return false;
  AutoCirculateStatusRecord record{};
  record.header = Header(PropertyAutoCirculateStatus, kPropertyGet);
  record.command = data.command;
  record.channelSpec = data.channelSpec;
  if (!Request(record)) return false;
  std::memcpy(data.record1, &record.status, sizeof record.status);
  return true;
}

bool CRQD5WinDriverInterface::CirculateFrameStamp(const RQD5AutoCirculateData& data) {
  if (data.record1 == nullptr) return false;
  const bool extended = data.command == ACFrameStampExtended;
  FrameStampExtendedRecord record{};
  FrameStampRecord& base = record.base;
  base.header = Header(extended ? PropertyFrameStampExtended : PropertyFrameStamp, kPropertyGet);
  base.command = data.command;
  base.channelSpec = data.channelSpec;
  base.frame = data.value1;
  std::memcpy(&base.stamp, data.record1, sizeof base.stamp);
  if (extended && data.record2 != nullptr) {
    std::memcpy(record.block, data.record2, sizeof record.block);
  }
  const size_t bytes = extended ? sizeof record : sizeof base;
  if (!Request(&record, bytes, &record, bytes)) return false;
  std::memcpy(data.record1, &base.stamp, sizeof base.stamp);
  if (extended && data.record2 != nullptr) {
    std::memcpy(data.record2, record.block, sizeof record.block);
  }
  return true;
}

bool CRQD5WinDriverInterface::CirculateTransfer(const RQD5AutoCirculateData& data) {
  if (data.record1 == nullptr || data.record2 == nullptr) return false;
  const auto& transfer = *static_cast<const RQD5AutoCirculateTransfer*>(data.record1);
  if (transfer.audioSize != 0) {
    if (!IsMultipleOf4(transfer.audioSize)) {
      DisplayRqd5Error("TransferAutoCirculate failed - audio buffer size not mod 4");
      return false;
    }
    if (!IsMultipleOf4(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(transfer.audioBuffer)))) {
      DisplayRqd5Error("TransferAutoCirculate failed - audio buffer address not mod 4");
      return false;
    }
  }

  DriverPort* port = device_ != 0 ? port_ : nullptr;
  const PinnedBuffer video(port, transfer.videoBuffer, transfer.videoSize);
  const PinnedBuffer audio(port, transfer.audioBuffer, transfer.audioSize);
  TransferFullRecord record{};
  TransferRequestRecord& base = record.base;
  size_t bytes = sizeof base;
  uint32_t property = PropertyTransfer;
  if (data.command != ACTransfer) {
    const bool full = data.command == ACTransferFull;
    property = full ? PropertyTransferFull : PropertyTransferExtended;
    bytes = full ? sizeof(TransferFullRecord) : sizeof(TransferExtendedRecord);
    if (data.record3 != nullptr) std::memcpy(&record.extra, data.record3, sizeof record.extra);
    if (full && data.record4 != nullptr) {
      std::memcpy(record.block, data.record4, sizeof record.block);
    }
  }
  base.header = Header(property, kPropertyGet);
  base.command = data.command;
  base.transfer = MakeTransferRecord(transfer, video.Token(), audio.Token());
  RQD5AutoCirculateTransferStatus status;
  std::memcpy(&status, data.record2, sizeof status);
  base.status = status;
  if (!Request(&record, bytes, &status, sizeof status)) {
    ReportTransferFailure(displayError_);
    return false;
  }
  std::memcpy(data.record2, &status, sizeof status);
  return true;
}

bool CRQD5WinDriverInterface::CirculateControl14(const RQD5AutoCirculateData& data) {
  if (data.record1 == nullptr) return false;
  FrameStampExtendedRecord record{};
  record.base.header = Header(PropertyControl14, kPropertySet);
  record.base.command = data.command;
  record.base.channelSpec = data.channelSpec;
  std::memcpy(record.block, data.record1, sizeof record.block);
  return Request(record);
}

}  // namespace morvane
