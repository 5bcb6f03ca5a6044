#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "simulator/deck_line.h"
#include "simulator/deck_machine.h"
#include "simulator/machine_clock.h"
#include "simulator/machine_description.h"
#include "simulator/tape_folder.h"

namespace morvane {

// A deck with a tape in it, at the end of a card's serial line, its video and audio connectors on
// the card's. The tape is put in (and made, if need be) when the deck is first spoken to or looked
// at; what it did when another process left it, it has gone on doing since.
// Threads: the card's lock, but for WaitForRoom().
class TapeMachine : public DeckCommands {
 public:
  // Keeps `clock`, which outlives this.
  TapeMachine(const DeckDescription& description, const MachineClock* clock);
  ~TapeMachine() override;  // keeps the deck's state, writes what is waiting

  [[nodiscard]] SerialDevice& Line() { return line_; }
  DeckBytes Execute(std::span<const uint8_t> command, int64_t atNs) override;

  // Boundaries of the card from now on.
  void Retime(const FrameTiming& timing, int64_t nowNs);
  // Passes the deck's picture boundaries up to `nowNs`. While it RecordsOrWill(), one call passes
  // one boundary at most, and the sound of the time before it was pushed.
  void AdvanceTo(int64_t nowNs);
  // The next boundary that must not be passed unseen; INT64_MAX when there is none.
  [[nodiscard]] int64_t NextEventNs() const;
  [[nodiscard]] bool RecordsOrWill() const;

  // Of the picture time that has begun: true if it is recorded and its picture is still wanted.
  [[nodiscard]] bool WantsPicture() const { return wantsPicture_; }
  void PushPicture(PictureRef picture);
  // Sound that has left the card since the last boundary.
  void PushSound(const std::vector<int32_t>& samples, uint32_t channels, uint32_t sampleRate);
  // Nothing is recorded any more, because the tape cannot be written as fast as it runs.
  void GiveUpRecording();
  // Waits while too much is still to be written. Threads: any, without the card's lock.
  void WaitForRoom();

  // What comes out of the deck in the present picture time.
  struct Signal {
    SignalFrameRef frame;  // null: nothing, which is black
    Rp188Timecode timecode;
    int64_t soundPosition = 0;
    int64_t soundFrames = 0;
  };
  [[nodiscard]] Signal Output(uint32_t sampleRate, int64_t nowNs);

  void SetFaults(const DeckFaultDescription& faults, int64_t nowNs);

 private:
  [[nodiscard]] bool Ensure(int64_t nowNs);
  [[nodiscard]] bool Insert(int64_t nowNs, std::string* error);
  void GoOn(const DeckState& state, int64_t nowNs);
  void Keep();
  // When the time of the present picture began.
  [[nodiscard]] int64_t BegunNs() const;
  void ApplyFaults();
  void EndPicture();
  void HandOn(bool last);
  void EndRecording(bool partial);

  const DeckDescription description_;
  const MachineClock* const clock_;
  DeckFaultDescription faults_;
  DeckLine line_;
  FrameTiming cardTiming_;
  int64_t nowNs_ = 0;
  bool told_ = false;  // why there is no tape
  std::shared_ptr<TapeFolder> tape_;
  std::unique_ptr<DeckMachine> deck_;
  uint64_t keptChanges_ = 0;
  // By which the time of the present picture began behind its boundary: what another process, or
  // other boundaries, left of it. Below zero: before it.
  int64_t lateNs_ = 0;

  // The recording that runs: pictures whose sound is not complete, the first of them first.
  std::deque<TapeRecording> open_;
  bool wantsPicture_ = false;
  std::vector<int32_t> sound_;  // kTapeChannels interleaved, not yet given to a picture
  int64_t soundGot_ = 0;        // samples since the recording began,
  int64_t soundWanted_ = 0;     // and what its pictures take
  size_t intervalFrom_ = 0;     // where in sound_ the present picture time begins
};

}  // namespace morvane
