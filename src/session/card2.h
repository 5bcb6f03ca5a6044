#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device/board_scan.h"
#include "device/card.h"
#include "session/session_blocks.h"

namespace morvane {

struct CatalogueContext;

// Which way the second format converts: what the card sends, or what it receives.
enum class SessionDirection : uint32_t { Out = 0, In = 1 };

// What an idle channel shows.
enum class IdleOutput : uint32_t { EToE = 0, Black = 1 };

enum SessionMode : uint32_t { kSessionCaptureAndPlay = 0, kSessionPlayOnly = 2 };

// A picture in the caller's memory, in a layout that the card takes.
struct SessionPicture {
  const void* data = nullptr;
  uint32_t bytes = 0;
  uint32_t frameBufferFormat = FrameBuffer8BitUyvy;
  bool topDown = true;
};

// One card in the application's words: for each option the choices that this board offers under
// the present format, the choice made, and what it does to the card.
//
// Every member needs an opened session: unopened it sets GetLastError() to "Board Not Opened" and
// returns false (lists: count 0; questions: the value told there).
// Lists are short and change with the video format: an index is a position in the list as it is
// now. Selections are kept by item and text, so they outlive a change of the list.
// Threads: the UI thread, with no engine running on the card. The questions of an engine that only
// read the selections (rate, raster, cadence, latency, field order, timecode) may be asked by
// engine threads while no setter runs.
class CRQD5Card2 : public CRQD5Card {
 public:
  CRQD5Card2();
  ~CRQD5Card2() override;

  // Opens the card of scan record `record` and selects the defaults of all families; writes
  // nothing to the card. `mode` is a SessionMode and stays for the life of the session.
  // Returns: false with "Could Not Open Board". A board type without a default format leaves
  // "Unknown Board Type" in GetLastError() and starts on the first format of its list.
  bool OpenSession(uint32_t boardIndex, const RQD5BoardInfo& record, uint32_t mode);
  // Closes the card when it is open (the name is an old one). Returns: true; false when not open.
  bool Reopen();

  // The newest failure, empty at first.
  [[nodiscard]] const std::string& GetLastError() const { return lastError_; }
  // "Board: 1 Type: Elm  - 0"; "Board Not Opened." when not open.
  bool GetBoardText(std::string* text);
  [[nodiscard]] uint32_t GetBoardIndex() const { return boardIndex_; }
  [[nodiscard]] uint32_t GetSessionBoardID() const { return sessionBoardId_; }
  [[nodiscard]] uint32_t GetMode() const { return mode_; }
  // What makes settings of this board model its own: the board's name, with its trailing blank.
  // Returns: false when the name cannot be had.
  bool GetBoardSuffix(std::string* text);

  // --- The catalogue of one family, told once for all --------------------------------------------
  // GetNum<Plural>()            items in the list now; 0 when not open
  // Get<Name>Desc(index, text)  text of an item; past the end false, with the family's texts
  // GetDefault<Name>(index, text)
  // Get<Name>(index)            the selection, as a position in the list; 0 when not open
  // Set<Name>(index)            selects and applies to the card; see the notes below
#define MORVANE_SESSION_FAMILY(Name, Plural)                 \
  uint32_t GetNum##Plural();                                 \
  bool Get##Name##Desc(uint32_t index, std::string* text);   \
  bool GetDefault##Name(uint32_t* index, std::string* text); \
  bool Get##Name(uint32_t* index)

  MORVANE_SESSION_FAMILY(MixMode, MixModes);
  MORVANE_SESSION_FAMILY(VideoFormat, VideoFormats);
  MORVANE_SESSION_FAMILY(SDIOutput, SDIOutputs);
  MORVANE_SESSION_FAMILY(HDMIOutput, HDMIOutputs);
  MORVANE_SESSION_FAMILY(AnalogOutput, AnalogOutputs);
  MORVANE_SESSION_FAMILY(ConvertMode, ConvertModes);
  MORVANE_SESSION_FAMILY(VideoInput, VideoInputs);
  MORVANE_SESSION_FAMILY(InputStatus, InputStatuses);  // the selection is what is detected now
  MORVANE_SESSION_FAMILY(TimecodeInput, TimecodeInputs);
  MORVANE_SESSION_FAMILY(AudioInput, AudioInputs);
  MORVANE_SESSION_FAMILY(AudioLevel, AudioLevels);
  MORVANE_SESSION_FAMILY(Reference, References);
  MORVANE_SESSION_FAMILY(VideoLimit, VideoLimits);
  MORVANE_SESSION_FAMILY(RGBLevel, RGBLevels);
  MORVANE_SESSION_FAMILY(VideoSyncOutput, VideoSyncOutputs);
#undef MORVANE_SESSION_FAMILY
  uint32_t GetNumSecondFormats(SessionDirection direction);
  bool GetSecondFormatDesc(uint32_t index, SessionDirection direction, std::string* text);
  bool GetDefaultSecondFormat(uint32_t* index, SessionDirection direction, std::string* text);
  bool GetSecondFormat(uint32_t* index, SessionDirection direction);

  // The same by family, for callers that walk all of them.
  uint32_t GetNumItems(SessionFamily family);
  bool GetItemDesc(SessionFamily family, uint32_t index, std::string* text);
  bool GetDefaultItem(SessionFamily family, uint32_t* index, std::string* text);
  bool GetItem(SessionFamily family, uint32_t* index);
  bool SetItem(SessionFamily family, uint32_t index);
  // Position of the item with exactly this text. Returns: false, `index` untouched, without one.
  bool FindItem(SessionFamily family, const std::string& text, uint32_t* index);

  // The description of a video format item, and of the one selected.
  bool GetVideoFormatDesc(uint32_t index, RQD5VideoFormatDesc* desc);
  // The format that the card itself runs now, as CRQD5Card reads it: GetVideoFormat() of a session
  // is a position in its list.
  bool GetCardFormat(RQD5VideoFormat* format) {
    return CRQD5Card::GetVideoFormat(format);
  }
  [[nodiscard]] const RQD5VideoFormatDesc& GetFormat() const {
    return formatDesc_;
  }

  // --- Setters -----------------------------------------------------------------------------------
  // Each leaves the selection as it was when it fails before its write, and sets GetLastError().

  // Brings the card to the format: registers, offsets 0, output enables, front panel. With
  // `reapply` the selections that depend on the format are found again by text (else their
  // default) and applied. Setting the present format again writes only the front panel.
  bool SetVideoFormat(uint32_t index, bool reapply);
  bool SetMixMode(uint32_t index);  // true beyond the list, with nothing done
  bool SetSDIOutput(uint32_t index);
  bool SetHDMIOutput(uint32_t index);
  bool SetAnalogOutput(uint32_t index);  // true, with nothing done, on a board without the output
  bool SetSecondFormat(uint32_t index, SessionDirection direction);
  bool SetConvertMode(uint32_t index);
  bool SetVideoInput(uint32_t index);
  bool SetTimecodeInput(uint32_t index);
  bool SetAudioInput(uint32_t index);
  bool SetAudioLevel(uint32_t index);  // true beyond the list, with the text set
  bool SetReference(uint32_t index);   // true, with nothing done, on a session that is an input
  bool SetVideoLimit(uint32_t index);
  bool SetRGBLevel(uint32_t index);
  bool SetVideoSyncOutput(uint32_t index);

  // Reference timing against the default: samples and lines, clamped to the card's limits.
  bool SetTimingOffsets(int32_t horizontal, int32_t vertical);
  void GetTimingOffsets(int32_t* horizontal, int32_t* vertical) const;
  // Audio against video, in the card's units: of the channel's audio offset register, and a word
  // of the session that later set-ups apply.
  bool SetInputOffset(uint32_t offset);
  bool SetOutputOffset(uint32_t offset);

  void SetKeepTiming(bool keep) {
    keepTiming_ = keep;
  }
  [[nodiscard]] bool GetKeepTiming() const {
    return keepTiming_;
  }
  // The session serves an input only: SetReference then leaves the reference alone.
  void SetSessionIsInput(bool input) {
    sessionIsInput_ = input;
  }
  [[nodiscard]] bool GetSessionIsInput() const {
    return sessionIsInput_;
  }
  void SetSessionChannel(RQD5Channel channel) {
    channel_ = channel;
  }
  [[nodiscard]] RQD5Channel GetSessionChannel() const {
    return channel_;
  }

  // --- Bringing a channel into a state -----------------------------------------------------------
  // Prepares the channel for playing out. With `withTestPattern` the default pattern is shown in
  // `frame`.
  bool SetupForOutput(bool withTestPattern, uint32_t frame);
  // Stops what circulates and locks the card to its input.
  bool SetupForCapture();
  bool SetupForIdle();
  bool StopOutput();  // stops AutoCirculate on the channel
  // Frame buffer format of the channel, and of channel 2 under the dual-stream formats; behind
  // these channel 2 comes back where its format would leave the card fewer frames.
  bool SetChannelFormat(uint32_t frameBufferFormat);
  // Routes the selected audio input to the recorder of channel 1.
  bool ApplyAudioInput();
  // Lets outputs and inputs lock after a change: waits two output frames.
  void Settle();

  // --- What the engines ask ----------------------------------------------------------------------
  // The selected input against the selected format: 0 the same, 1 another format, 2 no signal (and
  // not open). Segmented and interlaced forms of one raster and rate are the same.
  uint32_t CheckInput();
  RQD5VideoFormat DetectSelectedInput();  // 0 without a signal
  // False when a frame of that layout exceeds the slot's stride, and for layouts without a row.
  bool CanUseFrameBufferFormat(uint32_t frameBufferFormat);
  // Frames by which the conversion path delays the picture: 0 without a converter in the path, 1
  // with one, 2 with a second format also. Capture asks for In, playback for Out.
  uint32_t GetFrameLatency(SessionDirection direction = SessionDirection::In);
  // The same in frames of the clip: 0, 0.5, 1 or 2 (half as much where each frame goes twice).
  float GetAudioLatency(SessionDirection direction = SessionDirection::Out);
  uint32_t GetCadence() const {
    return formatDesc_.cadence;
  }  // 0 none, 1 2:3, 2 each twice
  uint32_t GetFieldOrder() const {
    return formatDesc_.fieldFlag;
  }                                 // 0, 1 upper, 2 lower first
  bool CarriesTimecode();           // RP188 goes with the picture
  uint32_t GetTimecodeInputKind();  // 0 RS422 (and none), 1 RP188, 2 external LTC
  void GetRaster(uint32_t* width, uint32_t* height) const;       // of a clip's picture
  void GetFrameRaster(uint32_t* width, uint32_t* height) const;  // of the card's frame
  // Shape of a pixel: x / y times as wide as high. Only those of 720 by 576, 486 and 480 lines are
  // not square.
  void GetPixelAspect(int32_t* x, int32_t* y) const;
  // Frames a second of a clip: scale / duration, such as 30000 / 1001.
  void GetRate(uint32_t* scale, uint32_t* duration) const;
  // Frames a second of the card's output; differs from GetRate() under a cadence.
  void GetCardRate(uint32_t* scale, uint32_t* duration) const;
  // Bytes from the start of the card's frame to the picture: four lines under a 480-line item,
  // else 0; and all bytes by which the card's frame exceeds the picture.
  uint32_t GetPadBytes(uint32_t frameBufferFormat) const;
  uint32_t GetExtraBytes(uint32_t frameBufferFormat) const;
  // Bytes of one whole card frame; 0 for a layout without a row.
  uint32_t GetFrameBytes(uint32_t frameBufferFormat) const;
  // The card can turn frames of this layout over while it shows them.
  bool CanFlip(uint32_t frameBufferFormat) const;
  // The board's frame memory takes RGB layouts.
  [[nodiscard]] bool HasRgbFrameBuffer() const;
  // Frames must carry the routing table with them, to be switched at their own boundary.
  bool NeedsExtendedTransfer();
  bool FillRoute(RQD5RoutingTable* route);

  [[nodiscard]] bool HasKeyer() const {
    return hasKeyer_;
  }
  [[nodiscard]] bool HasUart() const {
    return hasUart_;
  }
  [[nodiscard]] bool HasAnalogOut() const {
    return hasAnalogOut_;
  }
  [[nodiscard]] bool HasAnalogIn() const {
    return hasAnalogIn_;
  }
  [[nodiscard]] bool HasHdmi() const {
    return hasHdmi_;
  }
  [[nodiscard]] bool HasColourTable() const;
  // A larger reference offset moves the output later, not earlier.
  [[nodiscard]] bool HasNormalTimingSense() const {
    return normalTimingSense_;
  }

  // --- Pictures ----------------------------------------------------------------------------------
  // Routes the input to the output (on), or makes the channel an output again.
  bool SetLiveInput(bool on);
  bool SetIdleOutput(IdleOutput idle);
  // Sends the picture to the card and shows it. Frames are taken in turn, so that none is
  // overwritten while it is shown.
  bool ShowStill(const SessionPicture& picture);
  // The frame that the live input shows now, as bgrA: width x height x 4 bytes of GetFrameRaster().
  // Needs live input. Returns: false with too small a buffer or a layout that cannot be converted.
  // Threads: one at a time.
  bool ReadInputFrame(void* bgra, size_t bytes);
  // The overlay: its picture (null data keeps the one the card has), its share 0 to 1, its switch.
  bool SetMixer(const SessionPicture& picture, float level, bool enable);
  [[nodiscard]] float GetMixerLevel() const {
    return mixerLevel_;
  }
  [[nodiscard]] bool GetMixerEnable() const {
    return mixerEnable_;
  }
  // Output colour table, kColourTableBytes long, null for the identity. Returns: false on a board
  // without one, and with "Could Not Turn Off CC Mode" when it cannot be switched off.
  bool LoadColourTable(const void* table, bool enable);

  // Whole frames by DMA, as they lie in the card.
  bool DmaWriteFrame(uint32_t frame, const void* buffer, uint32_t bytes);
  bool DmaReadFrame(uint32_t frame, void* buffer, uint32_t bytes);
  // Shows pattern `index` on the session's channel, drawn in the channel's layout with the card's
  // ancillary lines by a pattern object of its own; "Test Pattern Not Found" beyond the list.
  // Returns: false also, with its text, for a combination that has no drawing.
  bool SetTestPattern(uint32_t index);

  // --- Persistence -------------------------------------------------------------------------------
  bool GetConfiguration(SessionConfigurationBlock* block);
  // The block of this board with every family at its default.
  bool GetDefaultConfiguration(SessionConfigurationBlock* block);
  // Applies a stored block: each selection is found by text, else by id on the same board, else
  // by default; then the whole card is set. A block of another version counts as all defaults.
  bool SetConfiguration(const SessionConfigurationBlock& block);
  bool GetIdentityBlock(SessionIdentityBlock* block);

  // --- Routing -----------------------------------------------------------------------------------
  // Writes the entries in order. Returns: false, with nothing written, for 15 entries or more.
  bool ApplyRoutingTable(const RQD5RoutingTable& table);
  bool BuildRoutingOutput(RQD5RoutingTable* table, uint32_t frameBufferFormatClass, bool flag);
  bool BuildRoutingInput(RQD5RoutingTable* table, uint32_t frameBufferFormatClass);

 private:
  struct Selection {
    uint32_t id = 0;
    std::string text;
  };

  bool RequireOpen();
  bool Fail(const char* text);
  CatalogueContext Context() const;
  uint64_t List(SessionFamily family) const;
  // Position of a stored selection in the list as it is now: by text, else by id when `trustId`,
  // else the default. Returns: false for an empty list.
  bool FindSelection(SessionFamily family, const std::string& text, uint32_t id, bool trustId,
                     uint32_t* index) const;
  Selection& SelectionOf(SessionFamily family) {
    return selections_[static_cast<uint32_t>(family)];
  }
  const Selection& SelectionOf(SessionFamily family) const {
    return selections_[static_cast<uint32_t>(family)];
  }
  void Select(SessionFamily family, uint32_t id);
  void SelectDefault(SessionFamily family);
  void SelectDefaults();
  bool ItemId(SessionFamily family, uint32_t index, uint32_t* id);
  void FillDesc(uint32_t id, RQD5VideoFormatDesc* desc) const;
  bool RefreshOutputEnables();
  bool WriteFrontPanel();
  bool Reapply();
  bool BuildRouting(RQD5RoutingTable* table);  // for all selections as they are
  bool RebuildRouting();
  bool ApplyLink(uint32_t itemId);
  bool ShowStillIn(uint32_t frame, const SessionPicture& picture);
  [[nodiscard]] bool TakesBackSecondStream(uint32_t frameBufferFormat, uint32_t* format);
  // Whether the frames of card memory would lie elsewhere after SetChannelFormat().
  [[nodiscard]] bool ChannelFormatMovesSlots(uint32_t frameBufferFormat, bool* moves);
  bool ShowBars(uint32_t frame);
  uint32_t AnalogBlackSetup(uint32_t itemId);

  uint32_t identity_ = 0;        // the board itself
  uint32_t sessionBoardId_ = 0;  // identity that decides, fixed at open
  uint32_t sessionType_ = 0;
  uint32_t sessionNumber_ = 0;
  uint32_t boardIndex_ = 0;
  uint32_t mode_ = 0;
  std::string boardText_;
  RQD5VideoFormatDesc formatDesc_ = {};
  Selection selections_[kSessionFamilies];
  bool hasAnalogOut_ = false;
  bool hasAnalogIn_ = false;
  bool hasKeyer_ = false;
  bool hasHdmi_ = false;
  bool hasHdmiOut_ = false;
  bool hasHdmiIn_ = false;
  bool hasUart_ = false;
  bool normalTimingSense_ = false;
  bool keepTiming_ = false;
  bool sessionIsInput_ = false;
  bool singleLink15G_ = false;
  RQD5RoutingTable routingTable_ = {};
  std::string lastError_;

  RQD5Channel channel_ = RQD5Channel1;
  int32_t horizontalOffset_ = 0;
  int32_t verticalOffset_ = 0;
  uint32_t inputOffset_ = 0;
  uint32_t outputOffset_ = 0;
  float mixerLevel_ = 1.0f;
  bool mixerEnable_ = false;
  std::optional<uint32_t> secondStreamFormat_;  // what channel 2 was given for two streams
  bool colourTableEnable_ = false;
  uint8_t colourTable_[kColourTableBytes] = {};
  std::vector<uint8_t> inputFrame_;  // as the card stores it; kept from call to call
};

}  // namespace morvane
