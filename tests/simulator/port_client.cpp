#include "simulator/port_client.h"

#include <cstring>

#include "support/test_environment.h"

namespace morvane::test {

PortClient::PortClient(DriverPort* port, uint32_t boardType, uint32_t index) : port_(port) {
  const PropertySetId* set = PropertySetOfBoardType(boardType);
  if (set == nullptr) return;
  set_ = *set;
  DriverDevice device;
  if (port_->Enumerate(set_, index, &device)) handle_ = port_->Open(device.path, true);
}

PortClient::~PortClient() {
  if (handle_ != 0) port_->Close(handle_);
}

bool PortClient::Request(void* record, size_t bytes) {
  return port_->Request(handle_, record, bytes, record, bytes);
}

PropertyHeader PortClient::Header(uint32_t number, uint32_t flags) const {
  return {set_, number, flags};
}

bool PortClient::Write(uint32_t number, uint32_t value, uint32_t mask, uint32_t shift) {
  RegisterRecord record{Header(PropertyRegister, kPropertySet), number, value, mask, shift};
  return Request(&record, sizeof record);
}

bool PortClient::Read(uint32_t number, uint32_t* value, uint32_t mask, uint32_t shift) {
  RegisterRecord record{Header(PropertyRegister, kPropertyGet), number, 0, mask, shift};
  if (!Request(&record, sizeof record)) return false;
  *value = record.value;
  return true;
}

uint32_t PortClient::Get(uint32_t number, uint32_t mask, uint32_t shift) {
  uint32_t value = 0;
  return Read(number, &value, mask, shift) ? value : 0xBADBADBA;
}

void PortClient::SetFormat(uint32_t videoFormat) {
  const VideoFormatRow& row = *FindVideoFormat(videoFormat);
  Write(0, row.standard, 0x380, 7);
  Write(0, GeometryForQuad(row.geometry), 0x78, 3);
  Write(0, row.rate, 0x7, 0);
  Write(0, row.rate >> 3, 0x400000, 22);
  Write(0, row.level, 0x8000, 15);
  Write(10260, row.picture);
}

void PortClient::SetFrameBufferFormat(uint32_t channel, uint32_t format) {
  static constexpr uint32_t kRegisters[] = {1, 5, 257, 260};
  const uint32_t number = kRegisters[ChannelIndex(channel)];
  Write(number, format & 15, 0x1E, 1);
  Write(number, format >> 4, 0x40, 6);
}

bool PortClient::Dma(uint32_t engine, bool read, uint32_t frame, void* buffer, uint32_t bytes,
                     uint32_t offset) {
  DmaRecord record = {};
  record.header = Header(PropertyDma, read ? kPropertyGet : kPropertySet);
  record.engine = engine;
  record.buffer = port_->Memory().Pin(buffer, bytes);
  record.frameNumber = frame;
  record.bytes = bytes;
  record.offset = offset;
  record.synchronous = 1;
  const bool done = Request(&record, sizeof record);
  port_->Memory().Unpin(record.buffer);
  return done;
}

bool PortClient::Init(uint32_t channelSpec, int32_t first, int32_t last, bool audio,
                      bool timecode) {
  AutoCirculateControlRecord record = {};
  record.header = Header(PropertyAutoCirculateControl, kPropertySet);
  record.command = ACInit;
  record.channelSpec = channelSpec;
  record.value1 = first;
  record.value2 = last;
  record.value3 = audio ? 1 : 0;
  record.flags[0] = timecode ? 1 : 0;
  return Request(&record, sizeof record);
}

bool PortClient::Control(uint32_t command, uint32_t channelSpec) {
  AutoCirculateControlRecord record = {};
  record.header = Header(PropertyAutoCirculateControl, kPropertySet);
  record.command = command;
  record.channelSpec = channelSpec;
  return Request(&record, sizeof record);
}

RQD5AutoCirculateStatus PortClient::Status(uint32_t channelSpec) {
  AutoCirculateStatusRecord record = {};
  record.header = Header(PropertyAutoCirculateStatus, kPropertyGet);
  record.command = ACStatus;
  record.channelSpec = channelSpec;
  if (!Request(&record, sizeof record)) record.status.state = 0xBADBADBA;
  return record.status;
}

bool PortClient::Stamp(uint32_t channelSpec, uint32_t frame, RQD5FrameStamp* stamp) {
  FrameStampRecord record = {};
  record.header = Header(PropertyFrameStamp, kPropertyGet);
  record.command = ACFrameStamp;
  record.channelSpec = channelSpec;
  record.frame = static_cast<int32_t>(frame);
  if (!Request(&record, sizeof record)) return false;
  *stamp = record.stamp;
  return true;
}

bool PortClient::Transfer(Frame* frame) {
  TransferExtendedRecord record = {};
  const bool extended = frame->routing.count > 0;
  record.base.header = Header(extended ? PropertyTransferExtended : PropertyTransfer, kPropertyGet);
  record.base.command = extended ? ACTransferExtended : ACTransfer;
  TransferRecord& transfer = record.base.transfer;
  transfer.channelSpec = frame->channelSpec;
  transfer.videoBuffer = port_->Memory().Pin(frame->video.data(), frame->video.size());
  transfer.videoSize = static_cast<uint32_t>(frame->video.size());
  transfer.audioBuffer = port_->Memory().Pin(frame->audio.data(), frame->audio.size());
  transfer.audioSize = static_cast<uint32_t>(frame->audio.size());
  transfer.frameBufferFormat = frame->format;
  transfer.flip = frame->flip;
  transfer.frameRequest = -1;
  transfer.userData = frame->user;
  transfer.rp188 = frame->rp188;
  transfer.constant76 = 6;
  transfer.constant80 = 1;
  transfer.constant84 = 1;
  record.extra = frame->routing;
  const bool done = port_->Request(handle_, &record, extended ? sizeof record : sizeof record.base,
                                   &frame->status, sizeof frame->status);
  port_->Memory().Unpin(transfer.videoBuffer);
  port_->Memory().Unpin(transfer.audioBuffer);
  return done;
}

MachineDescription ElmWithBars(uint32_t videoFormat) {
  MachineDescription machine = BuiltInMachine();
  machine.cards[0].inputs[0].videoFormat = videoFormat;
  machine.cards[0].deck.tape = FreshFolder("deck") + "/tape";
  return machine;
}

void FrameStepper::Step(int frames) {
  frame_ += frames;
  __extension__ using Wide = __int128;
  const Wide numerator = static_cast<Wide>(frame_) * duration_ * 1000000000 + scale_ - 1;
  const auto atNs = static_cast<int64_t>(numerator / scale_);
  clock_->Advance(atNs - passedNs_);
  passedNs_ = atNs;
}

}  // namespace morvane::test
