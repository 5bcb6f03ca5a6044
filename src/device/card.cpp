// Fields, identity, required logic, channels and frames of the card control.
#include "device/card.h"

namespace morvane {
namespace {

constexpr uint32_t kSettleWaits = 4;
constexpr uint32_t kOutputWaitMs = 42;

// Numbers of the logic that the formats ask for.
constexpr uint32_t kBirchSd = 1, kBirchHd = 2;
struct ConverterBitfiles {
  uint32_t down, up;
};
constexpr ConverterBitfiles kAlderBitfiles = {3, 4};
constexpr ConverterBitfiles kElmBitfiles = {9, 10};
constexpr uint32_t kElm1080To720 = 11, kElm720To1080 = 12;

uint32_t ConverterBitfile(uint32_t identity, uint32_t primary, uint32_t secondary) {
  const uint32_t from = FormatLines(primary);
  const uint32_t to = FormatLines(secondary);
  if (from == 0 || to == 0 || from == to) return 0;
  if (identity == BoardElm) {
    if (from == 1080 && to == 720) return kElm1080To720;
    if (from == 720 && to == 1080) return kElm720To1080;
  }
  const ConverterBitfiles& pair = identity == BoardElm ? kElmBitfiles : kAlderBitfiles;
  return from > to ? pair.down : pair.up;
}

bool IsSdFormat(uint32_t format) {
  return format >= 32 && format <= 37;
}
bool IsHdFormat(uint32_t format) {
  return format >= 1 && format <= 30;
}

uint32_t BirchBitfile(uint32_t primary, uint32_t input) {
  if (IsHdFormat(primary) && IsSdFormat(input)) return kBirchSd;
  if (IsSdFormat(primary) && IsHdFormat(input)) return kBirchHd;
  return 0;
}

}  // namespace

CRQD5Card::CRQD5Card() = default;
CRQD5Card::~CRQD5Card() = default;

bool CRQD5Card::Open(uint16_t boardNumber, bool displayError, uint32_t boardType,
                     const char* hostName) {
  const bool wasOpen = boardOpen_ && boardNumber_ == boardNumber;
  if (!CRQD5WinDriverInterface::Open(boardNumber, displayError, boardType, hostName)) return false;
  if (!wasOpen && BoardHasQuadGeometry(boardID_)) RefreshMemoryFigures();
  return true;
}

bool CRQD5Card::OpenBoard(uint16_t boardNumber) {
  return Open(boardNumber, false, BOARDTYPE_UNKNOWN, nullptr);
}

uint32_t CRQD5Card::GetRequiredBitfile() {
  const uint32_t identity = GetBoardID();
  const bool converts = identity == BoardAlder || identity == BoardElm;
  const bool pairs = identity == BoardBirch || identity == BoardBirch2;
  if (!converts && !pairs) return 0;
  if (FieldOr(RegisterField::BitfileHold, 0) != 0) return 0;
  const uint32_t primary = FieldOr(RegisterField::PrimaryFormat, 0);
  if (pairs) return BirchBitfile(primary, DetectInput(1));
  return ConverterBitfile(identity, primary, FieldOr(RegisterField::SecondaryFormat, 0));
}

bool CRQD5Card::SwitchToRequiredBitfile() {
  const uint32_t identity = GetBoardID();
  const uint32_t required = GetRequiredBitfile();
  return required != 0 && SwitchBitfile(identity, required);
}

int CRQD5Card::CompareFormatLines(uint32_t formatA, uint32_t formatB) {
  return morvane::CompareFormatLines(formatA, formatB);
}

uint32_t CRQD5Card::FormatLines(uint32_t format) {
  return morvane::FormatLines(format);
}

// ---- any field ----

bool CRQD5Card::ReadField(RegisterField field, uint32_t* value, uint32_t index) {
  const RegisterRow& row = RegisterRowOf(field);
  return ReadRegister(RegisterNumber(field, index), value, row.mask, row.shift);
}

bool CRQD5Card::WriteField(RegisterField field, uint32_t value, uint32_t index) {
  const RegisterRow& row = RegisterRowOf(field);
  return WriteRegister(RegisterNumber(field, index), value, row.mask, row.shift);
}

uint32_t CRQD5Card::FieldOr(RegisterField field, uint32_t otherwise, uint32_t index) {
  uint32_t value = otherwise;
  return ReadField(field, &value, index) ? value : otherwise;
}

// ---- identity ----

std::string CRQD5Card::GetBoardName() {
  return BoardName(GetBoardID());
}

uint32_t CRQD5Card::GetBoardID() {
  return FieldOr(RegisterField::BoardIdentity, kNoBoardIdentity);
}

// ---- channels ----

bool CRQD5Card::SetChannelMode(uint32_t channel, uint32_t mode, bool keepBitfile) {
  const bool good = WriteField(RegisterField::ChannelMode, mode, ChannelIndex(channel));
  if (!keepBitfile) SwitchToRequiredBitfile();
  return good;
}

bool CRQD5Card::GetChannelMode(uint32_t channel, uint32_t* mode) {
  return ReadField(RegisterField::ChannelMode, mode, ChannelIndex(channel));
}

// ---- frames ----

bool CRQD5Card::SetOutputFrame(uint32_t channel, uint32_t frame) {
  return WriteField(RegisterField::OutputFrame, frame, ChannelIndex(channel));
}

bool CRQD5Card::GetOutputFrame(uint32_t channel, uint32_t* frame) {
  return ReadField(RegisterField::OutputFrame, frame, ChannelIndex(channel));
}

bool CRQD5Card::SetInputFrame(uint32_t channel, uint32_t frame) {
  return WriteField(RegisterField::InputFrame, frame, ChannelIndex(channel));
}

bool CRQD5Card::GetInputFrame(uint32_t channel, uint32_t* frame) {
  return ReadField(RegisterField::InputFrame, frame, ChannelIndex(channel));
}

bool CRQD5Card::SetAccessFrame(uint32_t channel, uint32_t frame) {
  return WriteField(RegisterField::AccessFrame, frame, ChannelIndex(channel));
}

bool CRQD5Card::ToggleFrames(uint32_t channel) {
  uint32_t output = 0, input = 0;
  const bool outputRead = GetOutputFrame(channel, &output);
  const bool inputRead = GetInputFrame(channel, &input);
  const bool inputWritten = SetInputFrame(channel, 0);
  // Deliberate: the frame shown is the number of the channel's input frame register.
  const uint32_t shown = RegisterNumber(RegisterField::InputFrame, ChannelIndex(channel));
  return SetOutputFrame(channel, shown) && outputRead && inputRead && inputWritten;
}

bool CRQD5Card::DmaWriteWithOffset(uint32_t engine, uint32_t frame, const void* buffer,
                                   uint32_t offset, uint32_t bytes, bool synchronous) {
  // A write only reads the buffer; the driver's record has one address for both directions.
  return DmaTransfer(engine, false, frame, const_cast<void*>(buffer), offset, bytes, synchronous);
}

bool CRQD5Card::DmaReadWithOffset(uint32_t engine, uint32_t frame, void* buffer, uint32_t offset,
                                  uint32_t bytes, bool synchronous) {
  return DmaTransfer(engine, true, frame, buffer, offset, bytes, synchronous);
}

// ---- audio, analog, front panel ----

bool CRQD5Card::SetAudioChannels(uint32_t count, uint32_t channel) {
  const uint32_t index = ChannelIndex(channel);
  if (count == 16) return WriteField(RegisterField::AudioSixteenChannels, 1, index);
  if (count != 6 && count != 8) return false;
  const bool narrow = WriteField(RegisterField::AudioSixteenChannels, 0, index);
  return WriteField(RegisterField::AudioEightChannels, count == 8 ? 1 : 0, index) && narrow;
}

uint32_t CRQD5Card::GetAudioChannels(uint32_t channel) {
  const uint32_t index = ChannelIndex(channel);
  if (FieldOr(RegisterField::AudioSixteenChannels, 0, index) != 0) return 16;
  return FieldOr(RegisterField::AudioEightChannels, 0, index) != 0 ? 8 : 6;
}

bool CRQD5Card::SetAnalogOutputLevel(uint32_t value) {
  const bool good = WriteField(RegisterField::AnalogOutputLevel, value);
  if (!BoardHasSettleWait(boardID_)) return good;
  for (uint32_t wait = 0; wait < kSettleWaits; ++wait) {
    WaitForInterrupt(InterruptOutput, kOutputWaitMs);
  }
  return NotifyDriverRegisters() && good;
}

bool CRQD5Card::SetFrontPanel(uint32_t value) {
  if (boardID_ == BoardAspen) return true;
  return WriteField(RegisterField::FrontPanel, value);
}

}  // namespace morvane
