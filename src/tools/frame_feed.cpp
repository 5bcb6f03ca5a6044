#include "tools/frame_feed.h"

#include <algorithm>
#include <system_error>

#include "base/byte_order.h"
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

// Makes 10-bit 4:2:2 of 8-bit: every component four times as large.
void Deepen(const PicturePlace& from, const PicturePlace& to) {
  for (int32_t y = 0; y < from.height; ++y) {
    const uint8_t* in = from.pixels + int64_t{y} * from.pitch;
    uint8_t* out = to.pixels + int64_t{y} * to.pitch;
    for (int32_t pair = 0; pair < (from.width + 1) / 2; ++pair) {
      uint32_t y0 = 0;
      uint32_t cb = 0;
      uint32_t cr = 0;
      uint32_t y1 = 0;
      UnpackYuvPair(from.fourcc, in + size_t{4} * pair, &y0, &cb, &cr, &y1, 0);
      PackYuvPair(to.fourcc, out, y0 * 4, cb * 4, cr * 4, y1 * 4, pair);
    }
  }
}

// Fills `pixels` with black in the format of `plan`. Returns: 0, or the conversion's code.
NxErr Blacken(const FeedPlan& plan, int32_t pitch, uint8_t* pixels) {
  PageBuffer line;
  if (!line.Allocate(static_cast<size_t>(plan.width) * 4)) return NxErrOutOfMemory;
  for (int32_t x = 0; x < plan.width; ++x) StoreLe32(line.Data() + size_t{4} * x, kBlackRgba);
  NxColorContext color;
  color.matrix = plan.matrix;
  ConvertContext context;
  // The one line is taken for every row.
  return ConvertImage(&context, line.Data(), plan.width, plan.height, FourCC("rgba"), 0, pixels,
                      plan.width, plan.height, plan.format, pitch, false, &color, false, nullptr);
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
    Deepen(picture, deep);
    picture = deep;
  }
  slot.pixels = picture.pixels;
  if (IsScaled(plan_, info)) Scale(picture, slot);
}

void FrameFeed::Scale(const PicturePlace& picture, Slot& slot) const {
  const int32_t pitch = PixelPitch(plan_.format, plan_.width);
  const auto bytes = static_cast<size_t>(pitch) * static_cast<size_t>(plan_.height);
  // The conversion leaves columns beside a narrower picture as they are, so they are drawn once.
  if (slot.scaled.Data() == nullptr) {
    slot.result =
        slot.scaled.Allocate(bytes) ? Blacken(plan_, pitch, slot.scaled.Data()) : NxErrOutOfMemory;
    if (slot.result != NxErrSuccess) return;
  }
  NxColorContext color;
  color.matrix = plan_.matrix;
  ConvertContext context;
  slot.result =
      ConvertImage(&context, picture.pixels, picture.width, picture.height, picture.fourcc,
                   picture.pitch, slot.scaled.Data(), plan_.width, plan_.height, plan_.format,
                   pitch, plan_.stretch, &color, false, &kBlackRgba);
  slot.pixels = slot.scaled.Data();
}

}  // namespace morvane::tools
