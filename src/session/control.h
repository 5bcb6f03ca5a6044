#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>

#include "device/card.h"
#include "session/vtr_settings.h"
#include "session/vtr_status.h"
#include "session/vtr_timecode.h"

namespace morvane {

inline constexpr size_t kVtrCommandBytes = 14;  // longest command; its checksum comes on top
inline constexpr size_t kVtrReplyBytes = 31;    // what is kept of a reply
inline constexpr uint32_t kMaxPrerollSeconds = 15;

// A tape machine on the card's RS-422 port, spoken to in the 9-pin protocol.
//
// A driver object of its own: open it beside the session, on the same board. Times are texts
// "HH:MM:SS:FF"; on the way in any separator will do, on the way out it is ";" for drop frame.
//
// Members that talk to the machine activate the port first, if need be. They send one command and
// wait for its reply: nothing is tried again, and an exchange is over in 15 ms for sending and 5 ms
// behind the last byte, however the machine behaves. Common reasons of false:
//   not opened                 "Control Not Opened" in GetLastError()
//   no port, or not claimed    "Could Not Activate Control"
//   a time of another form     "Timecode Invalid"; nothing is sent
// Other failures leave GetLastError() as it was.
//
// Machines differ in what they answer: many send an acknowledgement of three bytes to everything.
// ReversePlay, Shuttle, ShuttleStill, SetPreset and CueUp ask for the longer one of other machines,
// so their false does not tell that the machine did not obey. Look at status or timecode instead.
//
// Order of use: Open, SetSettings, anything, Deactivate, Close (which deactivates if need be).
// Threads: one at a time.
class CRQD5Control : public CRQD5Card {
 public:
  CRQD5Control();
  ~CRQD5Control() override;

  // As the card's. Succeeds on a board without a port too; see IsControlAvailable().
  [[nodiscard]] bool Open(uint16_t boardNumber, bool displayError, uint32_t boardType,
                          const char* hostName) override;
  bool Close() override;

  [[nodiscard]] const std::string& GetLastError() const { return lastError_; }  // "None" at first
  // The board has a port, as seen at Open().
  [[nodiscard]] bool IsControlAvailable() const { return controlAvailable_; }

  // Claims the port. Returns: true at once when it is claimed already.
  bool Activate();
  bool Deactivate();  // true when it was not activated
  [[nodiscard]] bool IsActivated() const { return activated_; }

  // ---- settings: these need an open object, no port ----
  [[nodiscard]] static VtrSettingsBlock GetDefaultSettings() { return DefaultVtrSettings(); }
  // Takes time base, source and preroll of the block; the block's other fields follow from them.
  // Returns: false, with everything as it was, when one of the three is out of range.
  bool SetSettings(const VtrSettingsBlock& settings);
  void GetSettings(VtrSettingsBlock* settings) const;
  // Seven, or the one row "None" without a port.
  uint32_t GetNumTimeBases();
  bool GetTimeBaseDesc(uint32_t index, RQD5TimeBase* base);
  bool SetTimeBase(uint32_t index);  // false with "TC Format Not Found"
  [[nodiscard]] uint32_t GetTimeBaseIndex() const { return timeBaseIndex_; }
  [[nodiscard]] const RQD5TimeBase& GetTimeBase() const;
  // "LTC", "VITC", "LTC + VITC", or "None" without a port.
  uint32_t GetNumTcSources();
  bool GetTcSourceDesc(uint32_t index, std::string* text);
  bool SetTcSource(uint32_t index);  // false with "TC Source Not Found"
  [[nodiscard]] uint32_t GetTcSourceIndex() const { return tcSourceIndex_; }
  bool SetPreroll(uint32_t seconds);  // above 15 false with "Preroll Time Invalid"
  [[nodiscard]] uint32_t GetPreroll() const { return prerollSeconds_; }
  [[nodiscard]] const std::string& GetControlType() const { return controlType_; }

  // ---- transport: true when the machine acknowledged ----
  bool Stop();
  bool Play();
  bool Record();
  bool FastForward();
  bool Rewind();
  bool Preview();
  bool AutoEdit();
  bool PerformEdit();  // auto edit without waiting for the reply; true when it was sent
  bool ReversePlay();
  bool Shuttle8x();
  bool Shuttle8xReverse();
  bool ShuttleStill();
  // `speed` in plays, negative for reverse; what the machine cannot go is cut to what it can.
  // Returns: false with "Shuttle Speed Invalid", nothing sent, for what is no number.
  bool Shuttle(double speed);
  // Winds to `time` and parks there; returns as soon as the machine was told.
  bool CueUp(const std::string& time);
  // One frame on or back: stills the tape when it moves, reads where it is and cues to the
  // neighbour. Returns: as CueUp; false, with no cue sent, when the machine tells no time.
  bool Step();
  bool StepBack();

  // ---- what the machine tells ----
  // Returns: false, with zeros in `text`, when nothing was answered.
  bool GetTimecode(std::string* text);
  // Returns: false, with the entry VtrNoReply alone set, for anything but a status.
  bool GetStatus(RQD5VtrStatus* status);
  // A word such as "Play" or "Rewind 8x". Empty when the machine does nothing that has a word.
  // Returns: false with "Offline" for anything but a status.
  bool GetStatusText(std::string* text);
  // In plays, negative for reverse; 0 when stopped or not known.
  [[nodiscard]] double GetSpeed();
  // What the last transport command asked for, in plays.
  [[nodiscard]] double CommandedSpeed() const { return commandedSpeed_; }

  // ---- edits ----
  // Sets the machine's own time generator.
  bool SetPreset(const std::string& time);
  // Arms an insert edit from `in` to `out`, both for picture and, as second points, for sound.
  // Channels: bit 0 of `mask` is video, bits 1 to 8 are A1 to A8; others have no channel on the
  // line and are left out. Preview(), AutoEdit() or PerformEdit() run it, ClearEdit() forgets it.
  // Returns: true when the machine acknowledged the channels.
  bool SetEditPoints(const std::string& in, const std::string& out, const std::string& secondIn,
                     const std::string& secondOut, uint32_t mask);
  // Arms an assemble edit that begins at `in`. It has no end only where the machine holds no out
  // point of before: ClearEdit() first.
  bool SetPunchIn(const std::string& in);
  // Stops and forgets edit points and channels. Returns: true however the machine answered.
  bool ClearEdit();

  // ---- the line ----
  // Sends a command, count of its bytes first, with its checksum, and keeps what comes back.
  // Returns: true when it was sent, whatever was answered, and even if nothing was; false for more
  // than 14 bytes (nothing is sent) and when the port did not send.
  bool SendCommand(std::span<const uint8_t> command, bool wantReply);
  // What the last command was answered; empty when it was not. Bytes beyond 31 are lost.
  [[nodiscard]] std::span<const uint8_t> Reply() const { return {reply_.data(), replyLength_}; }

 private:
  using Bytes = std::initializer_list<uint8_t>;

  bool RequireOpen();
  bool RequireActivated();
  bool Fail(const char* text);
  bool Exchange(Bytes bytes, bool wantReply = true);
  bool ExchangeTime(uint8_t first, uint8_t second, const VtrTime& time);
  void Receive();
  [[nodiscard]] bool IsAck(size_t length) const;
  bool Transport(Bytes bytes, size_t ackLength, double speed);
  bool SendEditStart(uint8_t preroll);
  bool ReadStatus();  // true with ten status bytes in the reply
  [[nodiscard]] VtrStatusData StatusData() const;
  bool StepTo(bool forward);

  uint32_t timeBaseIndex_ = kDefaultTimeBase;
  uint32_t tcSourceIndex_ = 0;
  uint32_t prerollSeconds_ = 5;
  std::string controlType_ = "No Type.";
  std::string lastError_ = "None";
  bool activated_ = false;
  bool controlAvailable_ = false;
  double commandedSpeed_ = 0;
  size_t replyLength_ = 0;
  std::array<uint8_t, kVtrReplyBytes> reply_{};
};

}  // namespace morvane
