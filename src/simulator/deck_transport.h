#pragma once

#include <cstdint>
#include <optional>

#include "simulator/tape_track.h"

namespace morvane {

// What of a picture's time an edit records: bit 0 picture, bits 1 to 16 sound channels 1 to 16,
// bit 17 timecode.
using DeckChannels = uint32_t;
inline constexpr DeckChannels kDeckPicture = 1u << 0;
inline constexpr DeckChannels kDeckTimecode = 1u << 17;
inline constexpr DeckChannels kDeckAll = (1u << 18) - 1;

inline constexpr int kDeckSpinUp = 15;    // picture times from the command to locked play
inline constexpr int64_t kDeckWind = 50;  // pictures a picture time

// Where the tape stands and how it moves: the mechanics of a deck. Everything happens at picture
// boundaries, which the owner passes one after another with Step().
// Threads: the card's lock.
class DeckTransport {
 public:
  enum class Mode {
    kStop,
    kStandby,
    kEjected,
    kPlay,
    kRecord,  // of everything, from where the tape stands
    kFastForward,
    kRewind,
    kJog,
    kVar,
    kShuttle,
    kCue,      // winds to the target
    kCuedUp,   // parked on it
    kEditCue,  // winds to the in point less the preroll
    kEditRun,  // plays to the out point
  };

  // Keeps `track`, which outlives this.
  explicit DeckTransport(const TapeTrack* track) : track_(track) {}

  // ---- commands; each takes effect from the next picture boundary on ----
  void Stop() { Enter(Mode::kStop); }
  void Standby() { Enter(Mode::kStandby); }
  void Eject() { Enter(Mode::kEjected); }
  void Play();
  void Record(std::optional<int64_t> timecode);  // first number to write; without, the tape's own
  void FastForward() { Enter(Mode::kFastForward); }
  void Rewind() { Enter(Mode::kRewind); }
  // `mode` is kJog, kVar or kShuttle; `speed` in pictures a picture time, negative backwards.
  void Run(Mode mode, double speed);
  void CueTo(int64_t picture);
  struct Edit {
    int64_t in = 0;   // pictures
    int64_t out = 0;  // the first that is not recorded any more; INT64_MAX: until a command
    int64_t preroll = 0;
    DeckChannels channels = 0;  // 0: a preview
  };
  void StartEdit(const Edit& edit);
  // Switches recording of `channels` on (0: off) in a tape that plays.
  void SwitchEdit(DeckChannels channels);
  // Nothing is recorded any more, and what was begun goes on without.
  void EndRecording() {
    edit_.channels = 0;
    SwitchEdit(0);
  }

  // Passes one picture boundary.
  void Step();
  // The running tape slips on by so many pictures.
  void Slip(int64_t pictures) { MoveTo(picture_ + pictures); }
  // Puts the tape there, stopped.
  void Place(int64_t picture);

  // ---- what is ----
  [[nodiscard]] Mode State() const { return mode_; }
  [[nodiscard]] int64_t Picture() const { return picture_; }  // on the head
  [[nodiscard]] bool Locked() const;
  [[nodiscard]] double Speed() const;  // pictures a picture time, as commanded
  [[nodiscard]] bool Reverse() const;
  [[nodiscard]] bool Preroll() const { return mode_ == Mode::kCue || mode_ == Mode::kEditCue; }
  [[nodiscard]] bool Moves() const;  // false: Step() changes nothing
  // What of the picture time that has begun is recorded; 0: nothing.
  [[nodiscard]] DeckChannels Recording() const { return recording_; }
  // The number to write on it, where kDeckTimecode is recorded.
  [[nodiscard]] int64_t RecordingCount() const;
  // True while something is recorded or may be from a boundary on.
  [[nodiscard]] bool RecordsOrWill() const;

  // Everything about it that another process needs to go on from here.
  struct Saved {
    Mode mode = Mode::kStop;
    int64_t picture = 0;
    double speed = 0;
    double travelled = 0;
    int64_t target = 0;
    int spin = 0;
  };
  [[nodiscard]] Saved Save() const;
  // A deck that recorded or edited stands still where it was.
  void Restore(const Saved& state);

 private:
  void Enter(Mode mode);
  void StepPlaying();
  void WindTo(int64_t target, Mode then);
  void MoveTo(int64_t picture);
  void UpdateRecording();

  const TapeTrack* track_;
  Mode mode_ = Mode::kStop;
  int64_t picture_ = 0;
  // The present movement.
  double speed_ = 0;
  double travelled_ = 0;  // pictures since it began, for the slow and odd speeds
  int64_t begun_ = 0;     // picture at which it began
  int64_t target_ = 0;
  int spin_ = 0;  // boundaries until the capstan has locked
  Edit edit_;
  DeckChannels switched_ = 0;
  DeckChannels recording_ = 0;
  int64_t recordBegan_ = 0;  // picture; of a pair the first
  int64_t recordCount_ = 0;  // number there
  std::optional<int64_t> preset_;
};

}  // namespace morvane
