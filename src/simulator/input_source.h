#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "processing/timecode.h"
#include "simulator/machine_description.h"
#include "simulator/signal_picture.h"

namespace morvane {

// What a signal carries in one frame's time: a picture, and its sound.
// A clip's frame is a promise that a decoder thread keeps; asking waits for it.
// Threads: any.
class SignalFrame {
 public:
  virtual ~SignalFrame() = default;
  // Null when the source failed; the frame is then black.
  [[nodiscard]] virtual PictureRef Picture() = 0;
  // Writes `count` sample frames of `channels` samples each, from sample `position` of the
  // source's sound on.
  virtual void Sound(int64_t position, int64_t count, uint32_t channels, int32_t* out) = 0;
};
using SignalFrameRef = std::shared_ptr<SignalFrame>;

// What the source and the card agree upon.
struct SignalFormat {
  uint32_t videoFormat = 0;  // RQD5VideoFormat
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t scale = 0;  // frames a second are scale / duration
  uint32_t duration = 1;
};

// The source of one input connector, counted in frames of its own from 0.
// Threads: one at a time (the card's lock); the frames it gives are free of that.
class InputSource {
 public:
  virtual ~InputSource() = default;
  // Frame `n`. The numbers asked for never fall but through Restart().
  [[nodiscard]] virtual SignalFrameRef Frame(int64_t n) = 0;
  // True if the source starts over, from frame 0, with each capture.
  [[nodiscard]] virtual bool StartsWithCapture() const { return false; }
  // Frame 0 is asked for next, with sound at `sampleRate`.
  virtual void Restart(uint32_t sampleRate) = 0;
  [[nodiscard]] virtual bool HasSound() const = 0;
};

// 75 % bars with the frame number in lines 0 to 15, and tone or silence.
[[nodiscard]] std::unique_ptr<InputSource> MakeBarsSource(const SignalFormat& format,
                                                          SoundSource sound);
// A media file, looped. Its thread starts with the first frame that is asked for.
[[nodiscard]] std::unique_ptr<InputSource> MakeClipSource(const SignalFormat& format,
                                                          const std::string& path,
                                                          SoundSource sound);

// A sine of 1 kHz at -20 dBFS on channel 1, the ramp `index << 8` on all others.
void MakeTone(int64_t position, int64_t count, uint32_t channels, uint32_t sampleRate,
              int32_t* out);

// Reads the frame number that a bars picture carries, from its first line in "v219" or "2vuy".
[[nodiscard]] uint32_t ReadBarsFrameNumber(FourCCCode fourcc, const uint8_t* line, uint32_t width);

// The timecode of a source: `first` is the text of frame 0, ';' for drop frame; empty is none.
// At 50 frames a second and above two frames share a number.
class SourceTimecode {
 public:
  SourceTimecode(const std::string& first, uint32_t scale, uint32_t duration);
  [[nodiscard]] Rp188Timecode At(int64_t frame) const;  // flags 0 without a timecode
  [[nodiscard]] bool Present() const { return present_; }
  // True for a text that can be a timecode: "01:00:00:00", "00;59;58;00".
  [[nodiscard]] static bool IsTimecodeText(const std::string& text);

 private:
  bool present_ = false;
  bool dropFrame_ = false;
  bool pairs_ = false;
  int32_t scale_ = 30000;
  int32_t rate_ = 1001;
  int64_t first_ = 0;
  int64_t dayFrames_ = 0;
};

}  // namespace morvane
