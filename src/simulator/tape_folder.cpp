#include "simulator/tape_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <set>

#include "base/file_io.h"
#include "base/paths.h"
#include "simulator/frame_timing.h"
#include "simulator/input_connector.h"

namespace morvane {
namespace {

constexpr char kIndexName[] = "tape.db";
constexpr char kLockName[] = "lock";
// What may wait to be written: with pictures that differ some 32 of them in 1080 lines, of one that
// stands still all that goes by in a minute.
constexpr size_t kMostWaitingBytes = 192u << 20;

PlainTrack PlainOf(const TapeFacts& facts) {
  return {facts.rate, facts.first, facts.pictures};
}

}  // namespace

bool TapeFolder::Create(const std::string& path, const TapeFacts& facts, std::string* error) {
  std::error_code failure;
  if (std::filesystem::exists(std::filesystem::symlink_status(path, failure))) {
    *error = "\"" + path + "\" is there already; nothing was changed";
    return false;
  }
  // Made beside its place and moved there, so that nobody meets half a tape.
  const std::string part = path + ".new-" + std::to_string(getpid());
  std::filesystem::remove_all(part, failure);
  if (!std::filesystem::create_directory(part, failure)) {
    *error = "the folder \"" + part + "\" cannot be made: " + failure.message();
    return false;
  }
  bool made = TapeIndex::Create(JoinPath(part, kIndexName), facts, error);
  if (made) {
    const int result = FileRename(part, path);
    made = result == 0;
    if (!made) *error = "\"" + path + "\" cannot be made: " + FileErrorText(result);
  }
  if (!made) std::filesystem::remove_all(part, failure);
  return made;
}

std::shared_ptr<TapeFolder> TapeFolder::Open(const std::string& path, bool forDeck,
                                             std::string* error) {
  auto index = TapeIndex::Open(JoinPath(path, kIndexName), error);
  if (index == nullptr) return nullptr;
  std::shared_ptr<TapeFolder> tape(new TapeFolder(path, std::move(index)));
  if (forDeck && !tape->Lock(error)) return nullptr;
  int64_t skipped = 0;
  if (!tape->index_->LoadRows(&tape->rows_, &skipped, error)) return nullptr;
  for (const auto& [picture, row] : tape->rows_) {
    if (row.count) tape->placesOfCount_.emplace(*row.count, picture);
  }
  if (forDeck) tape->CountUses(skipped == 0);
  return tape;
}

TapeFolder::TapeFolder(const std::string& path, std::unique_ptr<TapeIndex> index)
    : path_(path),
      index_(std::move(index)),
      format_(SignalFormatOf(index_->Facts().videoFormat)),
      store_(path, format_.width, format_.height),
      made_(MakeBarsSource(format_, SoundSource::kTone)) {}

TapeFolder::~TapeFolder() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
    changed_.notify_all();
  }
  if (thread_.joinable()) thread_.join();
  if (lock_ >= 0) close(lock_);
}

bool TapeFolder::Lock(std::string* error) {
  const std::string path = JoinPath(path_, kLockName);
  lock_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
  if (lock_ >= 0 && flock(lock_, LOCK_EX | LOCK_NB) == 0) return true;
  *error = errno == EWOULDBLOCK
               ? "the tape \"" + path_ + "\" is in the machine of another program"
               : "the tape \"" + path_ + "\" cannot be locked: " + FileErrorText(errno);
  return false;
}

// `complete`: the rows are all that the index holds. What a row that could not be understood names
// may be the only copy of something, so then no file goes.
void TapeFolder::CountUses(bool complete) {
  std::set<std::string> used;
  for (const auto& [picture, row] : rows_) {
    for (const std::string& sum : {row.picture, row.sound}) {
      if (sum.empty()) continue;
      ++uses_[sum];
      used.insert(sum);
    }
  }
  removes_ = complete;
  if (removes_) store_.Sweep(used);
}

// ---- timecode ----

int64_t TapeFolder::CountAt(int64_t picture) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (auto waiting = waiting_.rbegin(); waiting != waiting_.rend(); ++waiting) {
    const TapeRecording& recording = **waiting;
    if (recording.picture == picture && (recording.channels & kDeckTimecode) != 0) {
      return recording.count;
    }
  }
  const auto row = rows_.find(picture);
  if (row != rows_.end() && row->second.count) return *row->second.count;
  return PlainOf(Facts()).CountAt(picture);
}

int64_t TapeFolder::Find(int64_t count) const {
  const PlainTrack plain = PlainOf(Facts());
  const int64_t made = plain.Find(count);
  int64_t best = Pictures();
  for (int64_t picture = made; picture < std::min(made + 2, Pictures()); ++picture) {
    if (plain.CountAt(picture) == count && CountAt(picture) == count) {
      best = picture;
      break;
    }
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto [from, to] = placesOfCount_.equal_range(count);
  for (auto place = from; place != to; ++place) best = std::min(best, place->second);
  for (const auto& recording : waiting_) {
    if ((recording->channels & kDeckTimecode) != 0 && recording->count == count) {
      best = std::min(best, recording->picture);
    }
  }
  return best < Pictures() ? best : made;
}

int64_t TapeFolder::SamplesBefore(int64_t picture) const {
  return morvane::SamplesBefore(picture, kTapeSampleRate, format_.scale, format_.duration);
}

int64_t TapeFolder::SamplesOf(int64_t picture) const {
  return SamplesBefore(picture + 1) - SamplesBefore(picture);
}

// ---- reading ----

SignalFrameRef TapeFolder::Made(int64_t picture) const {
  return made_->Frame(picture);
}

TapeRow TapeFolder::RowOf(int64_t picture) const {
  const auto row = rows_.find(picture);
  return row == rows_.end() ? TapeRow() : row->second;
}

PictureRef TapeFolder::Picture(int64_t picture, std::string* error) const {
  // A recording may take the file away while it is looked for; then the row names another one.
  std::string before = "-";
  for (;;) {
    std::string sum;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      for (auto waiting = waiting_.rbegin(); waiting != waiting_.rend(); ++waiting) {
        const TapeRecording& recording = **waiting;
        if (recording.picture == picture && (recording.channels & kDeckPicture) != 0) {
          return recording.image;
        }
      }
      sum = RowOf(picture).picture;
    }
    if (sum.empty()) return Made(picture)->Picture();
    PictureRef found = store_.GetPicture(sum, error);
    if (found != nullptr || sum == before) return found;
    before = sum;
  }
}

// What the disk holds, without what waits to be written; silence unless it could be read.
TapeRead TapeFolder::StoredSound(int64_t picture, const TapeRow& row, std::vector<int32_t>* samples,
                                 std::string* error) const {
  const int64_t count = SamplesOf(picture);
  samples->assign(static_cast<size_t>(count) * kTapeChannels, 0);
  if (row.sound.empty()) {
    Made(picture)->Sound(SamplesBefore(picture), count, kTapeChannels, samples->data());
    return TapeRead::kDone;
  }
  return store_.GetSound(row.sound, samples, error);
}

bool TapeFolder::Sound(int64_t picture, std::vector<int32_t>* samples, std::string* error) const {
  std::string before = "-";
  for (;;) {
    std::vector<std::shared_ptr<const TapeRecording>> over;
    TapeRow row;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      for (const auto& recording : waiting_) {
        if (recording->picture == picture) over.push_back(recording);
      }
      row = RowOf(picture);
    }
    const bool read = StoredSound(picture, row, samples, error) == TapeRead::kDone;
    if (!read && row.sound != before) {
      before = row.sound;
      continue;
    }
    for (const auto& recording : over) MergeTapeSound(*recording, samples);
    return read;
  }
}

void MergeTapeSound(const TapeRecording& recording, std::vector<int32_t>* samples) {
  for (uint32_t channel = 0; channel < kTapeChannels; ++channel) {
    if ((recording.channels >> (channel + 1) & 1) == 0) continue;
    for (size_t at = channel; at < samples->size(); at += kTapeChannels) {
      (*samples)[at] = at < recording.sound.size() ? recording.sound[at] : 0;
    }
  }
}

// ---- recording ----

void TapeFolder::Record(TapeRecording recording) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (lock_ < 0 || !failure_.empty() || recording.channels == 0) return;
  if (recording.picture < 0 || recording.picture >= Pictures()) return;
  changed_.wait(lock, [this] { return waitingBytes_ < kMostWaitingBytes; });
  size_t bytes = recording.sound.size() * sizeof(int32_t);
  const bool shared = !waiting_.empty() && waiting_.back()->image == recording.image;
  if (recording.image != nullptr && !shared) {
    bytes += PlainLayout(FourCC("v219"), format_.width, format_.height).Bytes();
  }
  waitingBytes_ += bytes;
  waitingSizes_.push_back(bytes);
  waiting_.push_back(std::make_shared<const TapeRecording>(std::move(recording)));
  if (!thread_.joinable()) thread_ = std::thread([this] { Run(); });
  changed_.notify_all();
}

void TapeFolder::WaitForRoom() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return waitingBytes_ < kMostWaitingBytes / 2; });
}

void TapeFolder::Flush() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return waiting_.empty(); });
}

bool TapeFolder::Failed(std::string* error) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  *error = failure_;
  return !failure_.empty();
}

void TapeFolder::ForgiveFailure() {
  const std::lock_guard<std::mutex> lock(mutex_);
  failure_.clear();
}

void TapeFolder::Run() {
  for (;;) {
    std::shared_ptr<const TapeRecording> recording;
    bool failed = false;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [this] { return stop_ || !waiting_.empty(); });
      if (waiting_.empty()) return;
      recording = waiting_.front();
      failed = !failure_.empty();
    }
    std::string error;
    // What comes behind a picture that could not be kept would leave a hole before it.
    const bool written = failed || Write(*recording, &error);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!written) failure_ = error;
    waiting_.pop_front();
    waitingBytes_ -= waitingSizes_.front();
    waitingSizes_.pop_front();
    changed_.notify_all();
  }
}

bool TapeFolder::Write(const TapeRecording& recording, std::string* error) {
  TapeRow row;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    row = RowOf(recording.picture);
  }
  const TapeRow before = row;
  if (!WritePicture(recording, &row.picture, error)) return false;
  if (!WriteSound(recording, before, &row.sound, error)) return false;
  if ((recording.channels & kDeckTimecode) != 0) row.count = recording.count;
  if (!index_->PutRow(recording.picture, row, error)) return false;
  Replace(recording.picture, row);
  return true;
}

bool TapeFolder::WritePicture(const TapeRecording& recording, std::string* sum,
                              std::string* error) {
  if ((recording.channels & kDeckPicture) == 0) return true;
  if (recording.image != nullptr && recording.image == lastImage_) {
    *sum = lastSum_;
    return true;
  }
  const FrameLayout layout = PlainLayout(FourCC("v219"), format_.width, format_.height);
  std::vector<uint8_t> pixels(layout.Bytes());
  if (recording.image) {
    recording.image->Store(layout, pixels.data());
  } else {
    StoreBlack(layout, pixels.data());
  }
  if (!store_.PutPicture(pixels, sum, error)) return false;
  lastImage_ = recording.image;
  lastSum_ = *sum;
  return true;
}

bool TapeFolder::WriteSound(const TapeRecording& recording, const TapeRow& row, std::string* sum,
                            std::string* error) {
  constexpr DeckChannels kSound = kDeckAll & ~(kDeckPicture | kDeckTimecode);
  if ((recording.channels & kSound) == 0) return true;
  std::vector<int32_t> samples;
  const bool whole = (recording.channels & kSound) == kSound;
  if (whole) {
    samples.resize(static_cast<size_t>(SamplesOf(recording.picture)) * kTapeChannels);
  } else if (StoredSound(recording.picture, row, &samples, error) == TapeRead::kFailed) {
    return false;  // only where the file is gone are the other channels silent from now on
  }
  MergeTapeSound(recording, &samples);
  return store_.PutSound(samples, sum, error);
}

// The row stands on the disk; what only the one before it used goes.
void TapeFolder::Replace(int64_t picture, const TapeRow& row) {
  TapeRow before;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    before = RowOf(picture);
    if (before.count) {
      const auto [from, to] = placesOfCount_.equal_range(*before.count);
      const auto place =
          std::find_if(from, to, [&](const auto& entry) { return entry.second == picture; });
      if (place != to) placesOfCount_.erase(place);
    }
    if (row.count) placesOfCount_.emplace(*row.count, picture);
    rows_[picture] = row;
  }
  if (!row.picture.empty()) ++uses_[row.picture];
  if (!row.sound.empty()) ++uses_[row.sound];
  const auto release = [&](const std::string& sum) {
    if (sum.empty() || --uses_[sum] > 0) return false;
    uses_.erase(sum);
    return removes_;
  };
  if (release(before.picture)) {
    store_.RemovePicture(before.picture);
    if (before.picture == lastSum_) lastImage_ = nullptr;
  }
  if (release(before.sound)) store_.RemoveSound(before.sound);
}

}  // namespace morvane
