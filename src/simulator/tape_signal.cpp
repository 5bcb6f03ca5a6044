#include <algorithm>

#include "simulator/tape_folder.h"

namespace morvane {
namespace {

// One picture of a tape as it comes out of the deck. Read when somebody wants it.
class TapeFrame : public SignalFrame {
 public:
  TapeFrame(std::shared_ptr<const TapeFolder> tape, int64_t picture, bool audible,
            uint32_t sampleRate)
      : tape_(std::move(tape)), place_(picture), audible_(audible), sampleRate_(sampleRate) {}

  PictureRef Picture() override {
    std::string ignored;
    return tape_->Picture(place_, &ignored);
  }

  void Sound(int64_t position, int64_t count, uint32_t channels, int32_t* out) override {
    std::fill_n(out, count * channels, 0);
    std::vector<int32_t> samples;
    std::string ignored;
    if (!audible_ || !tape_->Sound(place_, &samples, &ignored)) return;
    const int64_t repeat = std::max<uint32_t>(sampleRate_ / kTapeSampleRate, 1);
    const int64_t first = tape_->SamplesBefore(place_);
    const auto held = static_cast<int64_t>(samples.size() / kTapeChannels);
    for (int64_t i = 0; i < count; ++i) {
      const int64_t at = (position + i) / repeat - first;
      if (at < 0 || at >= held) continue;
      std::copy_n(samples.data() + at * kTapeChannels, std::min(channels, kTapeChannels),
                  out + i * channels);
    }
  }

 private:
  const std::shared_ptr<const TapeFolder> tape_;
  const int64_t place_;
  const bool audible_;
  const uint32_t sampleRate_;
};

}  // namespace

SignalFrameRef TapeFolder::Signal(std::shared_ptr<const TapeFolder> tape, int64_t picture,
                                  bool audible, uint32_t sampleRate) {
  return std::make_shared<TapeFrame>(std::move(tape), picture, audible, sampleRate);
}

}  // namespace morvane
