#include "simulator/tape_import.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <filesystem>

#include "base/file_io.h"
#include "media/codec/media_reader.h"
#include "simulator/clip_format.h"
#include "simulator/tape_folder.h"

namespace morvane {
namespace {

constexpr char kCopy[] = ".copy-";  // and the number of the process
// Lies in a copy as long as it is one, so that no tape is ever taken for it.
constexpr char kUnfinished[] = "unfinished";

std::string MarkOf(const std::string& copy) {
  return copy + "/" + kUnfinished;
}

bool Mark(const std::string& copy, std::string* error) {
  File file;
  int result = file.Open(MarkOf(copy), FileMode::kCreate);
  if (result == 0) result = file.Close();
  if (result != 0) *error = "\"" + copy + "\" cannot be written: " + FileErrorText(result);
  return result == 0;
}

// The process whose copy of `tape` a folder of this name is; 0 when it is none.
pid_t OwnerOf(const std::string& name, const std::string& tape) {
  const std::string before = tape + kCopy;
  if (name.compare(0, before.size(), before) != 0) return 0;
  pid_t owner = 0;
  const char* const end = name.data() + name.size();
  const auto [stop, failure] = std::from_chars(name.data() + before.size(), end, owner);
  return failure == std::errc() && stop == end && owner > 0 ? owner : 0;
}

// Removes the copies of `path` that a program which was killed has left.
void RemoveLeftCopies(const std::filesystem::path& path) {
  std::error_code ignored;
  std::filesystem::path folder = path.parent_path();
  if (folder.empty()) folder = ".";
  std::vector<std::filesystem::path> left;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
    const pid_t owner = OwnerOf(entry.path().filename().string(), path.filename().string());
    const bool gone = owner != 0 && kill(owner, 0) != 0 && errno == ESRCH;
    if (gone && std::filesystem::is_regular_file(MarkOf(entry.path().string()), ignored)) {
      left.push_back(entry.path());
    }
  }
  for (const std::filesystem::path& copy : left) {
    // Its lock too is free, unless it belongs to another machine's program on a shared disk.
    const int lock = open((copy / "lock").c_str(), O_RDWR | O_CLOEXEC);
    if (lock >= 0 && flock(lock, LOCK_EX | LOCK_NB) == 0) {
      std::filesystem::remove_all(copy, ignored);
    }
    if (lock >= 0) close(lock);
  }
}

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
  RemoveLeftCopies(path);
  const std::string part = path + kCopy + std::to_string(getpid());
  TapeFacts longest = facts;
  longest.pictures = facts.rate.Pictures(facts.rate.DayCount());
  std::filesystem::remove_all(part, ignored);
  if (!TapeFolder::Create(part, longest, error)) return false;
  int64_t pictures = 0;
  auto tape = TapeFolder::Open(part, true, error);
  bool done = tape != nullptr && Mark(part, error) &&
              Copy(reader.get(), tape.get(), progress, &pictures, error);
  tape.reset();
  if (done) {
    const auto index = TapeIndex::Open(part + "/tape.db", error);
    done = index != nullptr && index->Trim(pictures, error);
  }
  if (done) {
    int result = FileRemove(MarkOf(part));
    if (result == 0) result = FileRename(part, path);
    done = result == 0;
    if (!done) *error = "\"" + path + "\" cannot be made: " + FileErrorText(result);
  }
  if (!done) std::filesystem::remove_all(part, ignored);
  return done;
}

}  // namespace morvane
