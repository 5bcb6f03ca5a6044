#pragma once

#include <cstdint>
#include <string>

#include "device/card.h"
#include "session/session_blocks.h"

namespace morvane {

// Run modes of the card's audio output.
enum AudioRunMode : uint32_t {
  kAudioRunNow = 0,
  kAudioStop = 2,
  kAudioRunWithVideo = 3,  // runs at the boundary that shows the first frame of an output
};

inline constexpr uint32_t kAudioRingBytes = 0xFF000;
inline constexpr uint32_t kAudioBigRingBytes = 0x3FC000;

// Sound out of the card beside AutoCirculate: samples go by DMA into a ring in card memory, and
// the card's play position is followed through a register. Samples are 32-bit, left justified,
// interleaved over GetAudioChannels(channel 1).
//
// Order of use: Open, SetFormat, Start, Write until refused, Play, Write ..., Stop.
// A driver object of its own: open it beside the session, on the same board.
// Threads: the audio thread only, between Start() and Stop(); the rest from its owner.
class CRQD5AudioOutput : public CRQD5Card {
 public:
  CRQD5AudioOutput();
  ~CRQD5AudioOutput() override;

  [[nodiscard]] const std::string& GetLastError() const { return lastError_; }

  // 48000, "48kHz", "Gain @ 6 dB".
  static void GetDefaultFormat(AudioSettingsBlock* settings);
  // 48000 always, 96000 on "Elm" only. Returns: false, with the format as it was, for others.
  bool SetFormat(const AudioSettingsBlock& settings);
  void GetFormat(AudioSettingsBlock* settings) const;
  uint32_t GetNumSampleRates();
  bool GetSampleRateDesc(uint32_t index, std::string* text, float* rate);
  [[nodiscard]] float GetSampleRate() const { return sampleRate_; }
  [[nodiscard]] uint32_t GetSampleRateIndex() const { return sampleRateIndex_; }

  // 2 on boards with a level control, else 0. Item 0 is "Gain @ 6 dB", item 1 "Gain @ 0 dB": the
  // order is not that of the session's level family.
  uint32_t GetNumLevels();
  bool GetLevelDesc(uint32_t index, std::string* text, uint32_t* value);
  bool SetLevel(uint32_t index);  // false beyond the list
  [[nodiscard]] uint32_t GetLevelIndex() const { return levelIndex_; }

  // Mutes and goes back to the start of the ring.
  bool Reset();
  // Mutes, sets rate, ring and channels, and applies the level; the ring stays muted until Play().
  // `channels` 6 gives 6; any other number gives what the board has: ask GetAudioChannels().
  // Takes the card's geometry anew, since the ring lies in the last frame slot.
  // Returns: true at once when running already; false with "Board Not Opened".
  bool Start(uint32_t channels);
  bool Stop();
  [[nodiscard]] bool IsRunning() const { return running_; }

  // Run mode of the ring, an AudioRunMode.
  bool Play(uint32_t mode);

  // True when `bytes` can be written now without passing the play position.
  bool CanWrite(uint32_t bytes);
  // Writes to the ring. Returns: false, with nothing written, when there is no room or the DMA is
  // refused.
  bool Write(const void* samples, uint32_t bytes);

  // Frames of `scale` / `duration` a second that have been played since the ring ran, by the
  // number of samples that each frame has.
  uint32_t GetFramesPlayed(uint32_t scale, uint32_t duration);
  // Samples of frame `frame` at this object's sample rate.
  [[nodiscard]] uint32_t GetFrameSamples(uint32_t frame, uint32_t scale, uint32_t duration) const;
  // Samples played since the ring ran.
  uint64_t GetSamplesPlayed();

  [[nodiscard]] uint32_t GetRingSize() const { return ringSize_; }
  [[nodiscard]] uint32_t GetWriteOffset() const { return writeOffset_; }
  [[nodiscard]] uint32_t GetWrapCount() const { return wrapCount_; }

 private:
  struct Parts {
    uint32_t position;  // where the ring plays
    uint32_t first;     // bytes up to the ring's end
    uint32_t second;    // bytes from its start
  };
  bool RequireOpen();
  bool Room(uint32_t bytes, Parts* parts);
  bool WritePart(const void* samples, uint32_t offset, uint32_t bytes);

  uint32_t writeOffset_ = 0;  // next byte in the ring
  std::string sampleRateText_ = "48kHz";
  float sampleRate_ = 48000.0f;
  uint32_t sampleRateIndex_ = 0;
  std::string levelText_ = "Gain @ 6 dB";
  uint32_t levelIndex_ = 0;
  bool running_ = false;
  uint32_t wrapCount_ = 0;     // whole passes of the ring written
  uint32_t ringPosition_ = 0;  // bytes of the pass that is being written
  uint32_t ringSize_ = kAudioRingBytes;
  bool full_ = false;  // the last write ended at the play position of its test

  uint32_t lastPosition_ = 0;  // play position at the last reading
  uint32_t playedPasses_ = 0;  // whole passes of the ring played
  uint32_t channels_ = 8;
  std::string lastError_;
};

// Samples of frame `frame` of `scale` / `duration` frames a second at `sampleRate`: whole
// numbers whose running sum never strays more than half a sample from the exact time.
[[nodiscard]] uint32_t AudioSamplesOfFrame(uint64_t frame, uint32_t sampleRate, uint32_t scale,
                                           uint32_t duration);
// Sum of the samples of frames 0 to `frames` - 1.
[[nodiscard]] uint64_t AudioSamplesUpTo(uint64_t frames, uint32_t sampleRate, uint32_t scale,
                                        uint32_t duration);

}  // namespace morvane
