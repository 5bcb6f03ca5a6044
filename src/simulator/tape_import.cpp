#include "simulator/tape_import.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "base/file_io.h"
#include "media/codec/media_reader.h"
#include "simulator/clip_format.h"
#include "simulator/tape_folder.h"

namespace morvane {
namespace {

std::unique_ptr<MediaReader> OpenMovie(const std::string& movie, uint32_t videoFormat,
                                       std::string* error) {
  if (!MediaReader::CheckWhole(movie, error)) return nullptr;
  auto reader = MediaReader::Open(movie, kTapeSampleRate, error);
  if (reader == nullptr) return nullptr;
  std::string why;
  if (!reader->Info().hasPicture) {
    *error = "\"" + movie + "\" has no picture";
  } else if (!MovieFits(reader->Info(), videoFormat, &why)) {
    *error = "\"" + movie + "\" " + why;
  } else {
    return reader;
  }
  return nullptr;
}

// One picture's sound: the movie's channels beside each other, the others silent.
std::vector<int32_t> NextSound(MediaReader* reader, int64_t count) {
  const uint32_t channels = reader->Info().soundChannels;
  std::vector<int32_t> sound(static_cast<size_t>(count) * kTapeChannels);
  if (channels == 0) return sound;
  std::vector<int32_t> samples(static_cast<size_t>(count) * channels);
  (void)reader->NextSound(samples.data(), count);
  for (int64_t i = 0; i < count; ++i) {
    std::copy_n(samples.data() + i * channels, std::min(channels, kTapeChannels),
                sound.data() + i * kTapeChannels);
  }
  return sound;
}

bool Copy(MediaReader* reader, TapeFolder* tape, const std::function<bool(int64_t)>& progress,
          int64_t* pictures, std::string* error) {
  const MediaInfo& info = reader->Info();
  for (*pictures = 0; *pictures < tape->Pictures(); ++*pictures) {
    auto pixels = std::make_shared<std::vector<uint8_t>>(info.pictureBytes);
    const MediaRead read = reader->NextPicture(pixels->data(), error);
    if (read == MediaRead::kFailed) return false;
    if (read == MediaRead::kEnd) break;
    TapeRecording recording;
    recording.picture = *pictures;
    recording.channels = kDeckAll & ~kDeckTimecode;
    recording.image =
        std::make_shared<PlainPicture>(info.pictureFormat, info.width, info.height, pixels);
    recording.sound = NextSound(reader, tape->SamplesOf(*pictures));
    tape->Record(std::move(recording));
    if (tape->Failed(error)) return false;
    if (progress && !progress(*pictures)) {
      error->clear();
      return false;
    }
  }
  tape->Flush();
  if (tape->Failed(error)) return false;
  if (*pictures > 0) return true;
  *error = "the movie has no picture";
  return false;
}

}  // namespace

bool CreateTapeOfMovie(const std::string& path, const TapeFacts& facts, const std::string& movie,
                       const std::function<bool(int64_t)>& progress, std::string* error) {
  std::error_code ignored;
  if (std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) {
    *error = "\"" + path + "\" is there already; nothing was changed";
    return false;
  }
  const auto reader = OpenMovie(movie, facts.videoFormat, error);
  if (reader == nullptr) return false;
  // Copied beside its place and moved there when it is whole.
  const std::string part = path + ".copy-" + std::to_string(getpid());
  TapeFacts longest = facts;
  longest.pictures = facts.rate.Pictures(facts.rate.DayCount());
  std::filesystem::remove_all(part, ignored);
  if (!TapeFolder::Create(part, longest, error)) return false;
  int64_t pictures = 0;
  auto tape = TapeFolder::Open(part, true, error);
  bool done = tape != nullptr && Copy(reader.get(), tape.get(), progress, &pictures, error);
  tape.reset();
  if (done) {
    const auto index = TapeIndex::Open(part + "/tape.db", error);
    done = index != nullptr && index->Trim(pictures, error);
  }
  if (done) {
    const int result = FileRename(part, path);
    done = result == 0;
    if (!done) *error = "\"" + path + "\" cannot be made: " + FileErrorText(result);
  }
  if (!done) std::filesystem::remove_all(part, ignored);
  return done;
}

}  // namespace morvane
