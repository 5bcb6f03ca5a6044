#include "tools/frame_feed.h"

#include <algorithm>
#include <system_error>

#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane::tools {
namespace {

constexpr uint32_t kBlackRgba = 0xFF000000;  // R, G, B, A in memory: 0, 0, 0, 255

bool IsScaled(const FeedPlan& plan, const NxMediaFileInfo& info) {
  return plan.width != info.width || plan.height != info.height;
}

// True where 8-bit 4:2:2 becomes 10-bit first: the conversion has no way up, and inside 8 bits it
// moves nothing, so that it could not change the size either. (Chroma above 240 comes back as 240.)
bool IsDeepened(const FeedPlan& plan, const NxMediaFileInfo& info) {
  return IsYuv8(info.fourcc) &&
         (IsYuv10(plan.format) || (IsYuv8(plan.format) && IsScaled(plan, info)));
}

// The format in which a frame is read. One that changes its size is read as it lies, and the
// conversion does both.
FourCCCode ReadFormat(const FeedPlan& plan, const NxMediaFileInfo& info) {
  return IsScaled(plan, info) || IsDeepened(plan, info) ? FourCCCode{info.fourcc} : plan.format;
}

}  // namespace

FrameFeed::~FrameFeed() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  for (const auto& worker : workers_) {
    if (worker->thread.joinable()) worker->thread.join();
    if (worker->clip.file != nullptr) (void)worker->clip.file->Close();
  }
}

NxErr FrameFeed::Start(const FeedPlan& plan, int32_t threads) {
  plan_ = plan;
  for (int32_t i = 0; i < std::min(threads, plan.last - plan.first + 1); ++i) {
    auto worker = std::make_unique<Worker>();
    const NxErr result =
        OpenMediaClip(plan.path, false, nullptr, 0, false, &worker->clip.info, &worker->clip.file);
    if (result != NxErrSuccess) return result;
    const FourCCCode format = ReadFormat(plan_, worker->clip.info);
    for (Slot& slot : worker->slots) {
      slot.reader = std::make_unique<ClipReader>(worker->clip, format, plan_.matrix);
    }
    workers_.push_back(std::move(worker));
  }
  for (size_t i = 0; i < workers_.size(); ++i) {
    Worker& worker = *workers_[i];
    try {
      worker.thread = std::thread([this, &worker, i] { RunWorker(worker, static_cast<int>(i)); });
    } catch (const std::system_error&) {
      return NxErrOutOfMemory;
    }
  }
  return NxErrSuccess;
}

FrameFeed::Slot& FrameFeed::SlotOf(int32_t count) {
  const auto workers = static_cast<int32_t>(workers_.size());
  Worker& worker = *workers_[static_cast<size_t>(count % workers)];
  return worker.slots[count / workers % kSlots];
}

NxErr FrameFeed::Next(const uint8_t** pixels) {
  std::unique_lock lock(mutex_);
  if (handedOut_ > 0) {
    SlotOf(handedOut_ - 1).full = false;
    changed_.notify_all();
  }
  Slot& slot = SlotOf(handedOut_);
  changed_.wait(lock, [&slot] { return slot.full; });
  ++handedOut_;
  *pixels = slot.pixels;
  return slot.result;
}

// Makes every n-th frame from its own first one on, n the number of threads.
void FrameFeed::RunWorker(Worker& worker, int32_t first) {
  const auto step = static_cast<int64_t>(workers_.size());
  const int64_t count = int64_t{plan_.last} - plan_.first + 1;
  int32_t turn = 0;
  for (int64_t i = first; i < count; i += step, turn = (turn + 1) % kSlots) {
    Slot& slot = worker.slots[turn];
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this, &slot] { return stop_ || !slot.full; });
      if (stop_) return;
    }
    Make(worker, slot, plan_.first + static_cast<int32_t>(i));
    {
      const std::lock_guard lock(mutex_);
      slot.full = true;
    }
    changed_.notify_all();
  }
}

void FrameFeed::Make(const Worker& worker, Slot& slot, int32_t frame) {
  const NxMediaFileInfo& info = worker.clip.info;
  slot.result = slot.reader->Read(frame);
  if (slot.result != NxErrSuccess) return;
  PicturePlace picture{const_cast<uint8_t*>(slot.reader->Pixels()), info.width, info.height,
                       ReadFormat(plan_, info), slot.reader->Pitch()};
  if (IsDeepened(plan_, info)) {
    const FourCCCode format = IsYuv10(plan_.format) ? plan_.format : FourCC("v219");
    PicturePlace deep{nullptr, info.width, info.height, format, PixelPitch(format, info.width)};
    const size_t bytes = static_cast<size_t>(deep.pitch) * static_cast<size_t>(deep.height);
    if (slot.deep.Data() == nullptr && !slot.deep.Allocate(bytes)) {
      slot.result = NxErrOutOfMemory;
      return;
    }
    deep.pixels = slot.deep.Data();
    DeepenPicture(picture, deep);
    picture = deep;
  }
  slot.pixels = picture.pixels;
  if (IsScaled(plan_, info)) Scale(picture, slot);
}

void FrameFeed::Scale(const PicturePlace& picture, Slot& slot) const {
  PicturePlace to{nullptr, plan_.width, plan_.height, plan_.format,
                  PixelPitch(plan_.format, plan_.width)};
  const auto bytes = static_cast<size_t>(to.pitch) * static_cast<size_t>(to.height);
  NxColorContext color;
  color.matrix = plan_.matrix;
  // The conversion leaves columns beside a narrower picture as they are, so they are drawn once.
  if (slot.scaled.Data() == nullptr) {
    if (!slot.scaled.Allocate(bytes)) {
      slot.result = NxErrOutOfMemory;
      return;
    }
    to.pixels = slot.scaled.Data();
    slot.result = BlackenPicture(to, color);
    if (slot.result != NxErrSuccess) return;
  }
  to.pixels = slot.scaled.Data();
  ConvertContext context;
  slot.result = ConvertImage(&context, picture.pixels, picture.width, picture.height,
                             picture.fourcc, picture.pitch, to.pixels, to.width, to.height,
                             to.fourcc, to.pitch, plan_.stretch, &color, false, &kBlackRgba);
  slot.pixels = to.pixels;
}

}  // namespace morvane::tools
