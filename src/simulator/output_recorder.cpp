#include "simulator/output_recorder.h"

#include <sys/stat.h>

#include <condition_variable>
#include <cstdio>
#include <deque>
#include <mutex>
#include <thread>

namespace morvane {
namespace {

constexpr size_t kPicturesWaiting = 16;

bool SameFormat(const MediaWriteFormat& a, const MediaWriteFormat& b) {
  return a.width == b.width && a.height == b.height && a.rateScale == b.rateScale &&
         a.rateDuration == b.rateDuration && a.interlaced == b.interlaced &&
         a.bottomFirst == b.bottomFirst && a.soundChannels == b.soundChannels &&
         a.soundRate == b.soundRate;
}

}  // namespace

struct OutputRecorder::Impl {
  struct Item {
    MediaWriteFormat format;
    PictureRef picture;  // null: sound
    std::vector<int32_t> samples;
    int64_t sampleFrames = 0;
  };

  std::string path;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Item> items;
  size_t pictures = 0;
  bool stop = false;
  std::thread thread;

  // Of the thread alone.
  std::unique_ptr<MediaWriter> writer;
  MediaWriteFormat format;
  bool failed = false;

  void Push(Item item) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (item.picture) ++pictures;
    items.push_back(std::move(item));
    if (!thread.joinable()) thread = std::thread([this] { Run(); });
    changed.notify_all();
  }

  void Run() {
    for (;;) {
      Item item;
      {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return stop || !items.empty(); });
        if (items.empty()) break;
        item = std::move(items.front());
        items.pop_front();
      }
      Write(item);
      if (item.picture) {
        const std::lock_guard<std::mutex> lock(mutex);
        --pictures;
        changed.notify_all();
      }
    }
    Finish();
  }

  void Write(const Item& item) {
    std::string error;
    if (!item.picture) {
      if (writer && format.soundChannels > 0 &&
          !writer->WriteSound(item.samples.data(), item.sampleFrames, &error)) {
        Tell(error);
      }
      return;
    }
    if (!writer || !SameFormat(format, item.format)) {
      Finish();
      if (failed) return;
      format = item.format;
      writer = MediaWriter::Create(FreeName(path), format, &error);
      if (!writer) {
        Tell(error);
        return;
      }
    }
    const FrameLayout layout = PlainLayout(FourCC("v219"), format.width, format.height);
    std::vector<uint8_t> pixels(layout.Bytes());
    item.picture->Store(layout, pixels.data());
    if (!writer->WritePicture(pixels.data(), &error)) Tell(error);
  }

  // The card goes on without its recording, as an output does whose recorder has failed.
  void Tell(const std::string& error) {
    std::fprintf(stderr, "morvane: the recording of an output ends: %s\n", error.c_str());
    writer.reset();
    failed = true;
  }

  void Finish() {
    std::string error;
    if (writer && !writer->Close(&error)) Tell(error);
    writer.reset();
  }
};

OutputRecorder::OutputRecorder(const std::string& path) : impl_(std::make_unique<Impl>()) {
  impl_->path = path;
}

OutputRecorder::~OutputRecorder() {
  {
    const std::lock_guard<std::mutex> lock(impl_->mutex);
    impl_->stop = true;
    impl_->changed.notify_all();
  }
  if (impl_->thread.joinable()) impl_->thread.join();
}

void OutputRecorder::PushPicture(const MediaWriteFormat& format, PictureRef picture) {
  if (picture) impl_->Push({format, std::move(picture), {}, 0});
}

void OutputRecorder::PushSound(std::vector<int32_t> samples, int64_t frames) {
  if (frames > 0) impl_->Push({{}, nullptr, std::move(samples), frames});
}

void OutputRecorder::WaitForRoom() {
  std::unique_lock<std::mutex> lock(impl_->mutex);
  impl_->changed.wait(lock, [this] { return impl_->pictures < kPicturesWaiting; });
}

std::string OutputRecorder::FreeName(const std::string& path) {
  struct stat facts = {};
  const size_t slash = path.rfind('/');
  size_t dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = path.size();
  std::string name = path;
  for (int number = 2; lstat(name.c_str(), &facts) == 0; ++number) {
    name = path.substr(0, dot) + "-" + std::to_string(number) + path.substr(dot);
  }
  return name;
}

}  // namespace morvane
