#pragma once

#include <cstdint>
#include <string>

#include "device/boards.h"
#include "device/formats.h"
#include "device/registers.h"
#include "device/win_driver_interface.h"

namespace morvane {

// Card control: registers as operations. Every member is one or a few masked reads or writes, and
// passes on their failure as false; members with two writes always try both. Outputs are untouched
// on failure unless said otherwise.
// `channel` is a RQD5Channel; any value but 2, 9 and 10 acts on channel 1.
// Threads: as the driver interface; there is no read-modify-write but in the driver.
class CRQD5Card : public CRQD5WinDriverInterface {
 public:
  CRQD5Card();
  ~CRQD5Card() override;

  // As the binding's, then takes the memory figures again with the quad bit in view.
  [[nodiscard]] bool Open(uint16_t boardNumber, bool displayError, uint32_t boardType,
                          const char* hostName) override;
  [[nodiscard]] virtual bool OpenBoard(uint16_t boardNumber);  // Open(boardNumber, false, 0, null)
  // Number of the logic that the present formats ask for, 0 for none or no change.
  [[nodiscard]] virtual uint32_t GetRequiredBitfile();
  // Returns: false when no other logic is asked for.
  virtual bool SwitchToRequiredBitfile();
  [[nodiscard]] virtual int CompareFormatLines(uint32_t formatA, uint32_t formatB);
  [[nodiscard]] virtual uint32_t FormatLines(uint32_t format);

  // ---- any field ----
  // `index` is a place in the field's row: ChannelIndex(channel) for fields by channel.
  bool ReadField(RegisterField field, uint32_t* value, uint32_t index = 0);
  bool WriteField(RegisterField field, uint32_t value, uint32_t index = 0);
  // Value of a field, or `otherwise` when it cannot be read.
  [[nodiscard]] uint32_t FieldOr(RegisterField field, uint32_t otherwise, uint32_t index = 0);

  // ---- identity ----
  [[nodiscard]] std::string GetBoardName();
  [[nodiscard]] uint32_t GetBoardID();  // kNoBoardIdentity when it cannot be read

  // ---- format ----
  // Brings the card to a format: logic, standard, geometry, rate, level and picture flag, timing.
  // With `keepTiming` the two timing halves stay as they are, else they go to the board's centre.
  // Returns: false, nothing written, for a value that is no format.
  bool SetVideoFormat(RQD5VideoFormat format, bool keepTiming = false);
  // Returns: false, with `format` 0 and a message, when the registers match no format.
  bool GetVideoFormat(RQD5VideoFormat* format);
  bool SetStandard(uint32_t standard);
  bool GetStandard(uint32_t* standard);
  [[nodiscard]] bool IsSDStandard();
  [[nodiscard]] bool IsProgressivePicture();
  bool SetFrameRate(uint32_t rate);
  bool GetFrameRate(uint32_t* rate);
  // `keepBitfile` is accepted and has no effect: a geometry alone asks for no other logic.
  bool SetFrameGeometry(uint32_t geometry, bool keepBitfile = false);
  bool GetFrameGeometry(uint32_t* geometry);  // with the quad bit: 16 or 17
  bool SetLevelFlag(uint32_t level);
  bool SetDualLink(uint32_t on);  // low byte
  bool SetChannelMode(uint32_t channel, uint32_t mode, bool keepBitfile = false);
  bool GetChannelMode(uint32_t channel, uint32_t* mode);
  // The memory figures follow the largest frame of channels 1, 2 and this one; on failure they
  // stay. Returns: false, nothing written, for format 10 on channel 2.
  bool SetFrameBufferFormat(uint32_t channel, uint32_t format, bool keepBitfile = false);
  bool GetFrameBufferFormat(uint32_t channel, uint32_t* format);
  // Takes the memory figures again from the registers, of the channel whose format leaves the
  // fewest slots. For objects beside the one that set them.
  bool RefreshMemoryFigures();
  // Whether the frames of card memory would lie elsewhere with `format` on the channel: then it is
  // set before a picture is sent.
  [[nodiscard]] bool SlotsMoveWith(uint32_t channel, uint32_t format, bool* moves);

  // ---- frames ----
  bool SetOutputFrame(uint32_t channel, uint32_t frame);
  bool GetOutputFrame(uint32_t channel, uint32_t* frame);
  bool SetInputFrame(uint32_t channel, uint32_t frame);
  bool GetInputFrame(uint32_t channel, uint32_t* frame);
  bool SetAccessFrame(uint32_t channel, uint32_t frame);
  // Deliberate: shows frame 3, 7, 258 or 261 (channel 1, 2, 9, 10), whatever was drawn last.
  bool ToggleFrames(uint32_t channel);
  bool DmaWriteWithOffset(uint32_t engine, uint32_t frame, const void* buffer, uint32_t offset,
                          uint32_t bytes, bool synchronous);
  bool DmaReadWithOffset(uint32_t engine, uint32_t frame, void* buffer, uint32_t offset,
                         uint32_t bytes, bool synchronous);

  // ---- reference and timing ----
  // Driver form: sources 0, 3 and any other are written as 1, 0, 2. Register form: as it is, but 2
  // becomes 1 on boards whose first input select bit is set.
  bool SetReference(uint32_t source, bool useDriver);
  // Offsets in clocks and lines from the board's centre, clamped to its limits.
  // Returns: false on boards without timing.
  bool SetOutputTimingHorizontal(int32_t offset);
  bool SetOutputTimingVertical(int32_t offset);
  // Deliberate: half + 1, or -1 - half on boards of reversed sense; not the inverse of setting.
  bool GetOutputTimingHorizontal(int32_t* offset);
  bool GetOutputTimingVertical(int32_t* offset);

  struct TimingLimits {
    int32_t horizontalDefault, horizontalMinimum, horizontalMaximum;
    int32_t verticalDefault, verticalMinimum, verticalMaximum;
  };
  bool GetTimingLimits(TimingLimits* limits);

  // ---- inputs ----
  // Format at input 1, 2 or 3, at the reference; 0 for none or unknown.
  [[nodiscard]] RQD5VideoFormat DetectInput(uint32_t input);
  [[nodiscard]] RQD5VideoFormat DetectReference();
  [[nodiscard]] RQD5VideoFormat DetectInput3();
  // 1 first SDI, 2 second SDI, 4 analog, 5 HDMI. On Cedar and Dogwood (and Spruce) instead the
  // index of the item, 0 or 1. Returns: false, nothing written, for any other value.
  bool SetInputSelect(uint32_t select);

  // ---- conversion, ancillary, audio, analog ----
  // Modes 0 to 29; others change nothing and are false. Switches to the mode's logic when the
  // board has one and it is not the present one.
  bool SetConversionMode(uint32_t mode);
  bool GetVancMode(bool* vanc, bool* tall);                 // both false on failure
  bool SetAudioChannels(uint32_t count, uint32_t channel);  // 6, 8 or 16
  [[nodiscard]] uint32_t GetAudioChannels(uint32_t channel);
  bool SetAnalogOutputLevel(uint32_t value);  // takes four frames on boards with a settle wait
  bool SetFrontPanel(uint32_t value);         // nothing happens on board identity 0

  // ---- the frame ring ----
  // `lastFrame` negative means 10. Exactly eight `flags`.
  bool InitAutoCirculate(uint32_t channelSpec, int32_t firstFrame, int32_t lastFrame,
                         const bool (&flags)[8], bool audioFlag);
  bool StartAutoCirculate(uint32_t channelSpec);
  // Stops, waits two frames, and aborts what has not come to rest.
  bool StopAutoCirculate(uint32_t channelSpec);
  bool AbortAutoCirculate(uint32_t channelSpec);
  bool GetAutoCirculate(uint32_t channelSpec, RQD5AutoCirculateStatus* status);
  bool GetFrameStamp(uint32_t channelSpec, uint32_t frame, RQD5FrameStamp* stamp);
  bool TransferAutoCirculate(RQD5AutoCirculateTransfer* transfer,
                             RQD5AutoCirculateTransferStatus* status);
  bool TransferAutoCirculateExtended(RQD5AutoCirculateTransfer* transfer,
                                     RQD5AutoCirculateTransferStatus* status,
                                     RQD5RoutingTable* extra);

 private:
  [[nodiscard]] bool HasQuadBit();
  [[nodiscard]] bool Has3GSignal(uint32_t input);
  [[nodiscard]] static RQD5VideoFormat DecodeStatusWord(uint32_t word);
  [[nodiscard]] bool WriteHorizontalTiming(uint32_t target);
  void WaitForStillLine();
  [[nodiscard]] static uint32_t ConversionBitfile(uint32_t identity, uint32_t mode);
};

}  // namespace morvane
