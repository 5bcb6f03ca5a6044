#include "device/registers.h"

#include <iterator>

namespace morvane {
namespace {

constexpr uint32_t N = kNoRegister;
constexpr uint32_t kAll = 0xFFFFFFFF;
using F = RegisterField;

// clang-format off
constexpr RegisterRow kRows[] = {
  // field                       registers              mask        shift  meaning
  { F::FrameRateLow,             {0, N, N, N},          0x7,         0, "frame rate, low three bits" },
  { F::FrameRateHigh,            {0, N, N, N},          0x400000,   22, "frame rate, bit 3" },
  { F::FrameGeometry,            {0, N, N, N},          0x78,        3, "frame geometry" },
  { F::Standard,                 {0, N, N, N},          0x380,       7, "standard" },
  { F::ReferenceSource,          {0, N, N, N},          0x1C00,     10, "reference source" },
  { F::LevelFlag,                {0, N, N, N},          0x8000,     15, "level flag of the dual-stream formats" },
  { F::FrontPanel,               {0, N, N, N},          0x300000,   20, "front panel indication" },
  { F::DualLinkOutput,           {0, N, N, N},          0x8000000,  27, "dual-link output" },
  { F::FramePulse1,              {0, N, N, N},          0x10000000, 28, "frame-pulse select of channel 1" },
  { F::FramePulse2,              {0, N, N, N},          0x20000000, 29, "frame-pulse select of channel 2" },
  { F::OutputRoutingLow,         {0, N, N, N},          0xC0000000, 30, "output routing select, values 0 to 3" },
  { F::ChannelMode,              {1, 5, 257, 260},      0x1,         0, "channel mode: 0 output, 1 input" },
  { F::FrameBufferFormatLow,     {1, 5, 257, 260},      0x1E,        1, "frame-buffer format, bits 0 to 3" },
  { F::FrameBufferFormatHigh,    {1, 5, 257, 260},      0x40,        6, "frame-buffer format, bit 4" },
  { F::FramePitch,               {1, 5, 257, 260},      0x400,      10, "frame pitch flag" },
  { F::FrameOrientation,         {1, 5, 257, 260},      0x1000,     12, "frame orientation flag" },
  { F::InputSelectSecond,        {1, N, N, N},          0x4000,     14, "input select, second bit" },
  { F::InputSelectFirst,         {1, N, N, N},          0x8000,     15, "input select, first bit" },
  { F::Channel2Link,             {5, N, N, N},          0x80,        7, "channel 2 link flag" },
  { F::ChannelEnable,            {1, 5, N, N},          0x1000000,  24, "channel enable used at initialisation" },
  { F::MixerForeground,          {9, N, N, N},          0x300000,   20, "mixer mode of the foreground" },
  { F::MixerBackground,          {9, N, N, N},          0xC00000,   22, "mixer mode of the background" },
  { F::MixerControl,             {9, 10, 11, N},        kAll,        0, "mixer control words, read and written whole" },
  { F::OutputTiming,             {14, N, N, N},         kAll,        0, "output timing: low 16 bits horizontal, high 16 bits vertical" },
  { F::OutputLine,               {18, N, N, N},         kAll,        0, "current output line, polled for a frame boundary" },
  { F::InputStatus,              {22, N, N, N},         kAll,        0, "input status of inputs 1 and 2" },
  { F::AudioMute,                {24, N, N, N},         0x200,       9, "audio output mute" },
  { F::AudioReset,               {24, N, N, N},         0x1000,     12, "audio output reset" },
  { F::AudioPresent1,            {24, N, N, N},         0x200000,   21, "audio input present, first source" },
  { F::AudioPresent2,            {24, N, N, N},         0x400000,   22, "audio input present, second source" },
  { F::AudioInputSelect,         {24, N, N, N},         0x4000000,  26, "audio input select" },
  { F::AudioRate,                {24, 240, 278, 279},   0x8,         3, "audio rate flag" },
  { F::AudioEightChannels,       {24, 240, 278, 279},   0x10000,    16, "eight channels, when bit 20 is clear" },
  { F::AudioLoopBack,            {24, 240, 278, 279},   0x40000,    18, "audio loop-back" },
  { F::AudioSixteenChannels,     {24, 240, 278, 279},   0x100000,   20, "sixteen channels" },
  { F::AudioBufferSize,          {24, 240, 278, 279},   0x60000000, 29, "audio buffer size" },
  { F::AudioBigBuffer,           {24, 240, 278, 279},   0x80000000, 31, "audio big-buffer flag" },
  { F::AudioPosition,            {26, N, N, N},         kAll,        0, "audio output position" },
  { F::BoardIdentity,            {50, N, N, N},         kAll,        0, "board identity" },
  { F::VtrStatus,                {54, N, N, N},         kAll,        0, "VTR status word" },
  { F::FlashBusy,                {58, N, N, N},         0x100,       8, "flash busy; write 11 to start a read" },
  { F::FlashAddress,             {59, N, N, N},         kAll,        0, "flash byte address" },
  { F::FlashData,                {61, N, N, N},         kAll,        0, "flash data" },
  { F::Output1Enable,            {68, N, N, N},         0x10000,    16, "channel 1 output enable" },
  { F::OutputRoutingSelect,      {68, N, N, N},         0x20000000, 29, "selects register 68 rather than register 0 for the output routing select" },
  { F::OutputRoutingHigh,        {68, N, N, N},         0xC0000000, 30, "output routing select, values 4 to 7, stored as value minus 4" },
  { F::Output2Enable,            {69, N, N, N},         0x10000,    16, "channel 2 output enable" },
  { F::Output9Enable,            {69, N, N, N},         0x40000000, 30, "channel 9 output enable" },
  { F::Output10Enable,           {69, N, N, N},         0x80000000, 31, "channel 10 output enable" },
  { F::QuadrantSelect,           {69, N, N, N},         0x60000,    17, "quadrant select" },
  { F::UartStatus,               {72, N, N, N},         kAll,        0, "UART status" },
  { F::Input3Status,             {81, N, N, N},         kAll,        0, "input 3 status" },
  { F::ColourMatrix,             {82, N, N, N},         0x1F,        0, "colour space matrix select" },
  { F::Rp188Source,              {95, N, N, N},         kAll,        0, "RP188 source word" },
  { F::AesStatus,                {113, N, N, N},        kAll,        0, "AES status word" },
  { F::AudioInputSelectExtended, {125, N, N, N},        0x100,       8, "audio input select, extended" },
  { F::AudioOutputSelectExtended, {125, N, N, N},       0x4000,     14, "audio output select, extended" },
  { F::AnalogInputAutoTiming,    {125, N, N, N},        0x20000000, 29, "analog input auto-timing" },
  { F::ReferenceStatus,          {126, N, N, N},        kAll,        0, "reference status" },
  { F::ReferenceLocked,          {126, N, N, N},        0x400,      10, "reference locked" },
  { F::ReferencePresent,         {126, N, N, N},        0x800,      11, "reference present" },
  { F::AnalogOutputMode,         {128, N, N, N},        0x1F,        0, "analog output mode" },
  { F::AnalogOutputLevel,        {128, N, N, N},        0x1F0000,   16, "analog output black level and mode, changed only with four waits" },
  { F::AnalogOutputSync,         {128, N, N, N},        0x300,       8, "analog output sync" },
  { F::AnalogOutputBlackSetup,   {128, N, N, N},        0xE000,     13, "analog output black setup" },
  { F::AnalogOutputStandard,     {128, N, N, N},        0x1E00000,  21, "analog output standard and format" },
  { F::SdiConversion,            {129, 130, N, N},      0x30,        4, "output conversion select of SDI 1 and SDI 2" },
  { F::SdiTransmitEnable,        {129, 130, N, N},      0x80,        7, "transmit enable of SDI 1 and SDI 2" },
  { F::ConverterInput,           {131, N, N, N},        0x7,         0, "converter input standard" },
  { F::ConverterMode,            {131, N, N, N},        0x30,        4, "converter mode" },
  { F::ConverterLevel,           {131, N, N, N},        0x40,        6, "converter level" },
  { F::ConverterSecond,          {131, N, N, N},        0x700,       8, "second converter setting" },
  { F::ConverterOutput,          {131, N, N, N},        0x7000,     12, "converter output standard" },
  { F::ConverterSegmented,       {131, N, N, N},        0x8000,     15, "converter segmented flag" },
  { F::ConverterThird,           {131, N, N, N},        0x700000,   20, "third converter setting" },
  { F::SdiTransmitBits,          {142, 143, 147, 148},  0x80000000, 31, "SDI transmit bits set at initialisation" },
  { F::Input3G,                  {232, N, N, N},        kAll,        0, "input 3 Gbit/s flags" },
  { F::QuadGeometry,             {267, N, N, N},        0x8,         3, "quad geometry bit" },
  { F::FramePulse9,              {267, N, N, N},        0x10000000, 28, "frame-pulse select of channel 9" },
  { F::FramePulse10,             {267, N, N, N},        0x20000000, 29, "frame-pulse select of channel 10" },
  { F::DriverVersion,            {10002, N, N, N},      kAll,        0, "driver version" },
  { F::AudioResetTrigger,        {10003, N, N, N},      kAll,        0, "audio reset trigger" },
  { F::SecondaryFormat,          {10020, N, N, N},      kAll,        0, "secondary video format held by the driver" },
  { F::PrimaryFormat,            {10021, N, N, N},      kAll,        0, "primary video format held by the driver" },
  { F::BitfileDownload,          {10050, N, N, N},      kAll,        0, "bitfile download trigger" },
  { F::DriverNotification,       {10053, N, N, N},      kAll,        0, "driver notification" },
  { F::ReferenceDriverForm,      {10120, N, N, N},      kAll,        0, "reference source, driver form" },
  { F::PictureFlag,              {10260, N, N, N},      kAll,        0, "the format table's picture flag" },
  { F::OutputFrame,              {2, 6, 289, 290},      kAll,        0, "output frame" },
  { F::InputFrame,               {3, 7, 258, 261},      kAll,        0, "input frame" },
  { F::AccessFrame,              {4, 8, 259, 262},      kAll,        0, "access frame" },
  { F::AudioControl,             {24, 240, 278, 279},   kAll,        0, "audio control" },
  { F::AudioOffset,              {25, 241, 280, 281},   kAll,        0, "audio offset" },
  { F::ChannelControl,           {1, 5, 257, 260},      kAll,        0, "channel control" },
  { F::OutputTimingHorizontal,   {14, N, N, N},         0xFFFF,      0, "output timing, horizontal half" },
  { F::OutputTimingVertical,     {14, N, N, N},         0xFFFF0000, 16, "output timing, vertical half" },
  { F::FlashCommand,             {58, N, N, N},         kAll,        0, "flash command" },
  { F::UartTransmit,             {70, N, N, N},         kAll,        0, "UART transmit" },
  { F::UartReceive,              {71, N, N, N},         kAll,        0, "UART receive" },
  { F::InputMode,                {0, N, N, N},          0x10000,    16, "input mode" },
  { F::ChannelOutputLevel,       {1, 5, N, N},          0x10000,    16, "output level of a channel" },
  { F::SdiStandardDefinition,    {142, 147, N, N},      0x40000000, 30, "standard definition on SDI 1 and SDI 2" },
  { F::BitfileHold,              {10100, N, N, N},      0x40000000, 30, "keep the present bitfile" },
};
// clang-format on

static_assert(std::size(kRows) == static_cast<size_t>(RegisterField::Count));

constexpr bool RowsAreInOrder() {
  for (size_t i = 0; i < std::size(kRows); ++i) {
    if (kRows[i].field != static_cast<RegisterField>(i)) return false;
    if (kRows[i].mask != kAll && ((kRows[i].mask >> kRows[i].shift) & 1) == 0) return false;
  }
  return true;
}
static_assert(RowsAreInOrder());

}  // namespace

std::span<const RegisterRow> RegisterRows() {
  return kRows;
}

const RegisterRow& RegisterRowOf(RegisterField field) {
  return kRows[static_cast<size_t>(field)];
}

uint32_t RegisterNumber(RegisterField field, uint32_t index) {
  const RegisterRow& row = RegisterRowOf(field);
  return index < 4 && row.registers[index] != kNoRegister ? row.registers[index] : row.registers[0];
}

}  // namespace morvane
