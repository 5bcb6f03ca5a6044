#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "simulator/input_source.h"
#include "simulator/machine_description.h"

namespace morvane {

// What a looped cable brings from another output in one frame's time.
struct LoopedFrame {
  PictureRef picture;  // null: the output shows nothing
  Rp188Timecode timecode;
};

// Raster and rate of a row of the format table; all zero for 0 and for no row.
[[nodiscard]] SignalFormat SignalFormatOf(uint32_t videoFormat);

// One input connector of a card: its source, and where the source stands in card time.
// Threads: the card's lock.
class InputConnector {
 public:
  explicit InputConnector(const InputDescription& description);

  [[nodiscard]] const InputDescription& Description() const { return description_; }
  [[nodiscard]] bool IsLoop() const { return description_.source == SignalSource::kLoop; }
  [[nodiscard]] bool IsTape() const { return description_.source == SignalSource::kTape; }
  [[nodiscard]] bool HasSource() const { return source_ != nullptr || IsTape(); }
  [[nodiscard]] bool HasSound() const {
    return IsTape() || (source_ != nullptr && source_->HasSound());
  }
  [[nodiscard]] bool StartsWithCapture() const {
    return source_ != nullptr && source_->StartsWithCapture();
  }
  // RQD5VideoFormat on the connector; 0 is no signal. Not for loops.
  [[nodiscard]] uint32_t VideoFormat() const { return description_.videoFormat; }
  [[nodiscard]] const SignalFormat& Format() const { return format_; }

  // A capture is about to begin: a source that starts with it goes to its first frame.
  void Cue(uint32_t sampleRate);
  // Frame 0 of a cued source is the frame that begins at `boundary`.
  void Roll(int64_t boundary);
  // The card counts its boundaries from 0 again; it stood at `oldBoundary`.
  void Retime(int64_t oldBoundary);

  // Not for loops and tapes, here and below.
  // Number of the source frame that begins at `boundary`.
  [[nodiscard]] int64_t FrameNumber(int64_t boundary) const;
  [[nodiscard]] SignalFrameRef Frame(int64_t number) { return source_->Frame(number); }
  [[nodiscard]] Rp188Timecode Timecode(int64_t number) const { return timecode_.At(number); }
  [[nodiscard]] bool HasTimecode() const { return timecode_.Present(); }
  // The frame to show while nothing captures: as Frame(), but a source that cannot follow skips.
  [[nodiscard]] SignalFrameRef IdleFrame(int64_t boundary, uint32_t sampleRate);

  // Sound that a looped output has sent and nobody has taken yet; interleaved by 16.
  std::vector<int32_t> loopSound;

 private:
  InputDescription description_;
  SignalFormat format_;
  std::unique_ptr<InputSource> source_;
  SourceTimecode timecode_;
  int64_t firstBoundary_ = 0;  // where source frame 0 began
  bool cued_ = false;          // stands at frame 0
  int64_t lastIdle_ = -1;      // source frame shown last while idle; -1: none since Cue
};

}  // namespace morvane
