#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "simulator/deck_line.h"
#include "simulator/deck_transport.h"
#include "simulator/frame_timing.h"

namespace morvane {

// What is wrong with a deck, or how somebody has set its switches.
struct DeckFaults {
  bool local = false;          // the REMOTE switch is off: it answers questions only
  bool tapeOut = false;        // there is no cassette in it
  bool recordInhibit = false;  // the cassette is protected
  // A number that the reading head never reads: while the tape plays, the next one stands for it.
  std::optional<int64_t> skipCount;
  // Played onto this number, the tape slips on by so many pictures, once.
  std::optional<int64_t> jumpCount;
  int64_t jumpPictures = 0;
  DeckLineFaults line;
};

// A deck: what the 9-pin commands mean, over the mechanics. It stands in card time and moves when
// AdvanceTo() is called; it has no thread.
// Threads: the card's lock.
class DeckMachine : public DeckCommands {
 public:
  // Keeps `track`, which outlives this.
  explicit DeckMachine(const TapeTrack* track);

  void SetFaults(const DeckFaults& faults);
  [[nodiscard]] const DeckFaults& Faults() const { return faults_; }

  // Picture boundaries from now on: the card's where it runs at the tape's rate. The tape stays
  // where it stands at `nowNs`.
  void Retime(const FrameTiming& timing, int64_t nowNs);
  [[nodiscard]] const FrameTiming& Timing() const { return timing_; }
  // Passes all picture boundaries up to `nowNs`.
  void AdvanceTo(int64_t nowNs);
  // The boundary that was passed last.
  [[nodiscard]] int64_t BoundaryNs() const { return timing_.BoundaryNs(boundary_); }
  // The next boundary; INT64_MAX when there is none.
  [[nodiscard]] int64_t NextBoundaryNs() const;

  DeckBytes Execute(std::span<const uint8_t> command, int64_t atNs) override;

  [[nodiscard]] const DeckTransport& Transport() const { return transport_; }
  [[nodiscard]] DeckTransport& Transport() { return transport_; }
  [[nodiscard]] bool HasTape() const;
  // The number that the head reads at the tape's place.
  [[nodiscard]] int64_t Count() const;
  // Counts commands that changed something, so that an owner knows when to keep the state.
  [[nodiscard]] uint64_t Changes() const { return changes_; }

 private:
  DeckBytes Transport20(uint8_t what);
  DeckBytes RunAt(std::span<const uint8_t> command);
  DeckBytes EditPoint40(uint8_t what);
  DeckBytes Preset44(std::span<const uint8_t> command);
  DeckBytes Sense(std::span<const uint8_t> command) const;
  DeckBytes Status(uint8_t range) const;
  [[nodiscard]] DeckBytes Timecode(uint8_t kind, int64_t count) const;
  DeckBytes AutoEdit(bool preview);
  [[nodiscard]] bool MayRecord() const { return !faults_.recordInhibit; }
  [[nodiscard]] int64_t EditOut(int64_t in) const;
  [[nodiscard]] DeckChannels PresetChannels() const;
  void StepOnce();

  const TapeTrack* track_;
  DeckTransport transport_;
  DeckFaults faults_;
  FrameTiming timing_;
  int64_t boundary_ = 0;
  uint64_t changes_ = 0;
  bool jumped_ = false;

  // What the controller has set.
  bool autoMode_ = false;
  std::optional<int64_t> timecodePreset_;
  std::optional<int64_t> points_[4];  // in, out, second in, second out: numbers
  int64_t preroll_;                   // numbers
  uint8_t editWord_[2] = {0, 0};
};

}  // namespace morvane
