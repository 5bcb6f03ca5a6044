#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "device/formats.h"

// The register map as rows {registers, mask, shift, meaning}. Callers name a field (CRQD5Card's
// ReadField and WriteField), never a mask.
// Numbers below 10000 are hardware registers, from 10000 up registers that the driver keeps.
namespace morvane {

inline constexpr uint32_t kNoRegister = 0xFFFFFFFF;
inline constexpr uint32_t kFirstDriverRegister = 10000;

enum class RegisterField : uint32_t {
  // register 0
  FrameRateLow,
  FrameRateHigh,
  FrameGeometry,
  Standard,
  ReferenceSource,
  LevelFlag,
  FrontPanel,  // only when the board identity is not 0
  DualLinkOutput,
  FramePulse1,
  FramePulse2,
  OutputRoutingLow,  // values 0 to 3; see OutputRoutingSelect
  // channel control, by channel
  ChannelMode,
  FrameBufferFormatLow,
  FrameBufferFormatHigh,
  FramePitch,
  FrameOrientation,
  InputSelectSecond,  // register 1
  InputSelectFirst,   // register 1
  Channel2Link,       // register 5
  ChannelEnable,      // index 0, 1: channels 1, 2
  MixerForeground,
  MixerBackground,
  MixerControl,  // index 0 to 2: registers 9, 10, 11
  OutputTiming,
  OutputLine,
  InputStatus,
  AudioMute,
  AudioReset,
  AudioPresent1,
  AudioPresent2,
  AudioInputSelect,
  // audio control, by channel
  AudioRate,
  AudioEightChannels,
  AudioLoopBack,
  AudioSixteenChannels,
  AudioBufferSize,
  AudioBigBuffer,
  AudioPosition,
  BoardIdentity,
  VtrStatus,
  FlashBusy,
  FlashAddress,
  FlashData,
  Output1Enable,
  OutputRoutingSelect,  // selects OutputRoutingHigh rather than OutputRoutingLow
  OutputRoutingHigh,    // values 4 to 7, stored as value - 4
  Output2Enable,
  Output9Enable,
  Output10Enable,
  QuadrantSelect,
  UartStatus,
  Input3Status,
  ColourMatrix,
  Rp188Source,
  AesStatus,
  AudioInputSelectExtended,
  AudioOutputSelectExtended,
  AnalogInputAutoTiming,
  ReferenceStatus,
  ReferenceLocked,
  ReferencePresent,
  AnalogOutputMode,
  AnalogOutputLevel,  // changed only with four waits
  AnalogOutputSync,
  AnalogOutputBlackSetup,
  AnalogOutputStandard,
  SdiConversion,      // index 0, 1: SDI 1, 2
  SdiTransmitEnable,  // index 0, 1: SDI 1, 2
  ConverterInput,
  ConverterMode,
  ConverterLevel,
  ConverterSecond,
  ConverterOutput,
  ConverterSegmented,
  ConverterThird,
  SdiTransmitBits,  // index 0 to 3: registers 142, 143, 147, 148
  Input3G,
  QuadGeometry,
  FramePulse9,
  FramePulse10,
  DriverVersion,
  AudioResetTrigger,
  SecondaryFormat,
  PrimaryFormat,
  BitfileDownload,
  DriverNotification,
  ReferenceDriverForm,
  PictureFlag,
  // frame words, by channel
  OutputFrame,
  InputFrame,
  AccessFrame,
  AudioControl,
  AudioOffset,
  ChannelControl,
  // parts of rows above, and words that stand beside them
  OutputTimingHorizontal,
  OutputTimingVertical,
  FlashCommand,
  UartTransmit,
  UartReceive,
  InputMode,              // register 0, written when an input is chosen
  ChannelOutputLevel,     // index 0, 1: channels 1, 2
  SdiStandardDefinition,  // index 0, 1: SDI 1, 2
  BitfileHold,            // set: the format asks for no other logic
  Count,
};

struct RegisterRow {
  RegisterField field;
  uint32_t registers[4];  // by channel place (ChannelIndex) or index; the rest kNoRegister
  uint32_t mask;
  uint32_t shift;
  const char* meaning;
};

// Row i is field i.
[[nodiscard]] std::span<const RegisterRow> RegisterRows();
[[nodiscard]] const RegisterRow& RegisterRowOf(RegisterField field);
// Register number of a field. An index past the row's registers acts as 0, as an unknown channel
// does.
[[nodiscard]] uint32_t RegisterNumber(RegisterField field, uint32_t index = 0);

}  // namespace morvane
