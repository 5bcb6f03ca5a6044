#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "base/clock.h"
#include "media/codec/media_reader.h"
#include "simulator/frame_timing.h"
#include "simulator/input_source.h"

namespace morvane {
namespace {

constexpr int64_t kFramesAhead = 8;

// Buffers of one size that go round, so that a frame costs no fresh memory.
class BufferPool : public std::enable_shared_from_this<BufferPool> {
 public:
  explicit BufferPool(size_t bytes) : bytes_(bytes) {}

  std::shared_ptr<std::vector<uint8_t>> Take() {
    std::unique_ptr<std::vector<uint8_t>> buffer;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!free_.empty()) {
        buffer = std::move(free_.back());
        free_.pop_back();
      }
    }
    if (!buffer) buffer = std::make_unique<std::vector<uint8_t>>(bytes_);
    auto pool = shared_from_this();
    return {buffer.release(), [pool](std::vector<uint8_t>* done) {
              std::unique_ptr<std::vector<uint8_t>> owned(done);
              const std::lock_guard<std::mutex> lock(pool->mutex_);
              if (pool->free_.size() < static_cast<size_t>(kFramesAhead)) {
                pool->free_.push_back(std::move(owned));
              }
            }};
  }

 private:
  const size_t bytes_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<std::vector<uint8_t>>> free_;
};

// A frame that the decoder thread fills.
class ClipFrame : public SignalFrame {
 public:
  PictureRef Picture() override {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return done_; });
    return picture_;
  }

  void Sound(int64_t position, int64_t count, uint32_t channels, int32_t* out) override {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return done_; });
    std::fill_n(out, count * channels, 0);
    if (sound_.empty() || soundChannels_ == 0) {
      if (tone_) MakeTone(position, count, channels, sampleRate_, out);
      return;
    }
    const int64_t held = static_cast<int64_t>(sound_.size()) / soundChannels_;
    for (int64_t i = 0; i < count; ++i) {
      const int64_t at = position + i - soundStart_;
      if (at < 0 || at >= held) continue;
      std::copy_n(sound_.data() + at * soundChannels_, std::min(channels, soundChannels_),
                  out + i * channels);
    }
  }

  void Keep(PictureRef picture, std::vector<int32_t> sound, uint32_t soundChannels,
            int64_t soundStart) {
    const std::lock_guard<std::mutex> lock(mutex_);
    picture_ = std::move(picture);
    sound_ = std::move(sound);
    soundChannels_ = soundChannels;
    soundStart_ = soundStart;
    done_ = true;
    changed_.notify_all();
  }

  void SetTone(uint32_t sampleRate) {
    tone_ = true;
    sampleRate_ = sampleRate;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  PictureRef picture_;
  std::vector<int32_t> sound_;
  uint32_t soundChannels_ = 0;
  int64_t soundStart_ = 0;  // sample position of sound_[0]
  bool tone_ = false;       // before the frame is shared; never changed after
  uint32_t sampleRate_ = 48000;
};

class ClipSource : public InputSource {
 public:
  ClipSource(const SignalFormat& format, const std::string& path, SoundSource sound)
      : format_(format), path_(path), sound_(sound) {}

  ~ClipSource() override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      stop_ = true;
      changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
    for (Entry& entry : asked_) entry.frame->Keep(nullptr, {}, 0, 0);
  }

  SignalFrameRef Frame(int64_t n) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    StartThread();
    while (!ahead_.empty() && ahead_.front().number < n) ahead_.pop_front();
    if (latest_.frame && latest_.number == n) return latest_.frame;
    if (!ahead_.empty() && ahead_.front().number == n) {
      latest_ = ahead_.front();
    } else {
      latest_ = {n, NewFrame()};
      if (n < next_) {  // behind what was asked before: nothing of it is left
        latest_.frame->Keep(nullptr, {}, 0, 0);
        return latest_.frame;
      }
      asked_.push_back(latest_);
    }
    lastAsked_ = std::max(lastAsked_, n);
    changed_.notify_all();
    return latest_.frame;
  }

  bool StartsWithCapture() const override { return true; }

  void Restart(uint32_t sampleRate) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    sampleRate_ = sampleRate;
    latest_ = {};
    for (Entry& entry : asked_) entry.frame->Keep(nullptr, {}, 0, 0);
    asked_.clear();
    ahead_.clear();
    lastAsked_ = -1;
    next_ = 0;
    ++generation_;
    StartThread();
    changed_.notify_all();
  }

  bool HasSound() const override { return sound_ != SoundSource::kSilence; }

 private:
  struct Entry {
    int64_t number = -1;
    std::shared_ptr<ClipFrame> frame;
  };

  std::shared_ptr<ClipFrame> NewFrame() const {
    auto frame = std::make_shared<ClipFrame>();
    if (sound_ == SoundSource::kTone) frame->SetTone(sampleRate_);
    return frame;
  }

  void StartThread() {
    if (!thread_.joinable()) thread_ = std::thread([this] { Run(); });
  }

  // The decoder thread: frames one after another, up to kFramesAhead beyond what was asked for.
  void Run() {
    uint64_t generation = ~0ULL;
    std::unique_ptr<MediaReader> reader;
    std::shared_ptr<BufferPool> pool;
    int64_t framesInLoop = 0;
    uint32_t sampleRate = 48000;
    for (;;) {
      int64_t number = 0;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] {
          return stop_ || generation_ != generation || next_ <= lastAsked_ + kFramesAhead;
        });
        if (stop_) return;
        if (generation_ != generation) {
          generation = generation_;
          sampleRate = sampleRate_;
          reader.reset();
          continue;
        }
        number = next_;
      }
      if (!reader) {
        std::string ignored;
        reader = MediaReader::Open(path_, sampleRate, &ignored);
        framesInLoop = 0;
        if (reader && !pool) pool = std::make_shared<BufferPool>(reader->Info().pictureBytes);
      }
      PictureRef picture = reader ? NextPicture(reader.get(), pool.get(), &framesInLoop) : nullptr;
      Deliver({number, generation, sampleRate}, std::move(picture), reader.get());
    }
  }

  // The next picture, from the start again behind the last one. Null when the file fails.
  static PictureRef NextPicture(MediaReader* reader, BufferPool* pool, int64_t* framesInLoop) {
    auto pixels = pool->Take();
    std::string ignored;
    MediaRead read = reader->NextPicture(pixels->data(), &ignored);
    if (read == MediaRead::kEnd && *framesInLoop > 0) {
      *framesInLoop = 0;
      if (!reader->Rewind(&ignored)) return nullptr;
      read = reader->NextPicture(pixels->data(), &ignored);
    }
    if (read != MediaRead::kDone) return nullptr;
    ++*framesInLoop;
    const MediaInfo& info = reader->Info();
    return std::make_shared<PlainPicture>(info.pictureFormat, info.width, info.height,
                                          std::move(pixels));
  }

  struct Turn {
    int64_t number;
    uint64_t generation;
    uint32_t sampleRate;
  };

  void Deliver(const Turn& turn, PictureRef picture, MediaReader* reader) {
    const int64_t number = turn.number;
    const int64_t start = SamplesBefore(number, turn.sampleRate, format_.scale, format_.duration);
    const int64_t end = SamplesBefore(number + 1, turn.sampleRate, format_.scale, format_.duration);
    std::vector<int32_t> samples;
    uint32_t channels = 0;
    if (reader != nullptr && sound_ == SoundSource::kClip) {
      channels = reader->Info().soundChannels;
      samples.resize(static_cast<size_t>(end - start) * channels);
      if (channels > 0) (void)reader->NextSound(samples.data(), end - start);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    if (turn.generation != generation_) return;
    next_ = number + 1;
    std::shared_ptr<ClipFrame> frame;
    while (!asked_.empty() && asked_.front().number <= number) {
      if (asked_.front().number == number) frame = asked_.front().frame;
      asked_.pop_front();
    }
    if (!frame && number > lastAsked_) {
      frame = NewFrame();
      ahead_.push_back({number, frame});
    }
    if (frame) frame->Keep(std::move(picture), std::move(samples), channels, start);
  }

  const SignalFormat format_;
  const std::string path_;
  const SoundSource sound_;

  std::mutex mutex_;
  std::condition_variable changed_;
  bool stop_ = false;
  uint64_t generation_ = 0;  // of Restart()
  int64_t next_ = 0;         // number that the decoder makes next
  int64_t lastAsked_ = -1;
  uint32_t sampleRate_ = 48000;
  Entry latest_;             // what was asked for last
  std::deque<Entry> asked_;  // promised, by rising number
  std::deque<Entry> ahead_;  // decoded before anybody asked
  std::thread thread_;
};

}  // namespace

std::unique_ptr<InputSource> MakeClipSource(const SignalFormat& format, const std::string& path,
                                            SoundSource sound) {
  return std::make_unique<ClipSource>(format, path, sound);
}

}  // namespace morvane
