// How fast clips of 1080 10-bit RGB DPX are written and read through the class, against a plain
// loop of unbuffered writes (reads) of the same bytes into (from) a new file each; and what a
// conversion into the same format costs beside ffmpeg and oiiotool, with `sync` counted for all.
// Prints Markdown.  Usage: media_bench [FOLDER] [ROUNDS] [ROUNDS OF CONVERSION]

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "base/page_memory.h"
#include "media/media_factory.h"
#include "timing.h"

namespace {

using namespace morvane;

constexpr int32_t kWidth = 1920;
constexpr int32_t kHeight = 1080;
constexpr FourCCCode kFormat = FourCC("11rb");

struct Options {
  std::string folder = "/tmp";
  int rounds = 60;  // short jobs, many rounds: what else the machine does hits both alike
  int conversions = 7;
};

constexpr int kFrames = 8;  // of a job
constexpr int kConvertedFrames = 60;

void Check(const char* what, int code) {
  if (code == 0) return;
  std::fprintf(stderr, "media_bench: %s failed (%d)\n", what, code);
  std::exit(1);
}

std::string PlainPath(const std::string& folder, int frame) {
  return folder + "/" + std::to_string(frame) + ".raw";
}

// ---- writing and reading ---------------------------------------------------------------------

// Times, in seconds of one round.
struct Round {
  double plain = 0;
  double ours = 0;
  double close = 0;  // of the clip: sidecar, and all frames on the disk
};

double PlainWrites(const std::string& folder, int frames, const uint8_t* bytes, size_t count) {
  const auto start = Clock::now();
  for (int frame = 0; frame < frames; ++frame) {
    File file;
    Check("open", file.Open(PlainPath(folder, frame), FileMode::kCreate, true));
    Check("write", file.WriteAt(bytes, count, 0));
    Check("close", file.Close());
  }
  return Seconds(start);
}

// Reads the clip's own files, so that both sides find the same places of the disk.
double PlainReads(const std::string& folder, int frames, uint8_t* bytes, size_t count) {
  const auto start = Clock::now();
  for (int frame = 0; frame < frames; ++frame) {
    char name[32];
    std::snprintf(name, sizeof name, "/clip_%06d.dpx", frame);
    File file;
    size_t done = 0;
    Check("open", file.Open(folder + name, FileMode::kRead, true));
    Check("read", file.ReadAt(bytes, count, 0, &done));
    Check("close", file.Close());
  }
  return Seconds(start);
}

// A clip open for writing, and a frame that lies in memory as in its file.
class Writer {
 public:
  explicit Writer(const std::string& folder) : file_(CreateMediaFile(NxFileTypeDPX)) {
    NxMediaCreateInfo info = {};
    info.streams = NxStreamsPicture;
    info.fourcc = kFormat;
    info.orientation = kOrientationTopDown;
    info.fieldType = -1;
    info.width = kWidth;
    info.height = kHeight;
    info.parNum = info.parDen = 1;
    info.timeScale = 30000;
    info.timeRate = 1001;
    Check("create", file_->CreateWrite("clip", nullptr, folder, folder, &info, kCreateNew,
                                       kAccessUnbuffered | kAccessWrite | kAccessShareRead, false));
    if (!memory_.Allocate(static_cast<size_t>(info.frameBytes))) Check("memory", ENOMEM);
    uint8_t* pixels = memory_.Data() + info.imageOffset;
    for (int32_t i = 0; i < info.imageBytes; ++i) pixels[i] = static_cast<uint8_t>(i * 7 / 3);
    request_.fourcc = info.fourcc;
    request_.width = info.width;
    request_.height = info.height;
    request_.pitch = info.linePitch;
    request_.dataOffset = static_cast<uint32_t>(info.imageOffset);
    request_.frameBytes = info.frameBytes;
    request_.headerBuffer = memory_.Data();
    request_.imageBuffer = pixels;
    request_.timeCode.flags = kTimeCodePresent;
  }

  double Write(int frames) {
    const auto start = Clock::now();
    for (int frame = 0; frame < frames; ++frame) {
      Check("write of the clip", file_->WriteImage(&request_));
    }
    return Seconds(start);
  }
  double Close() {
    const auto start = Clock::now();
    Check("close of the clip", file_->Close());
    return Seconds(start);
  }
  [[nodiscard]] uint8_t* Memory() const { return memory_.Data(); }
  [[nodiscard]] size_t Bytes() const { return memory_.Bytes(); }

 private:
  MediaFilePtr file_;
  PageBuffer memory_;
  NxImageWriteRequest request_;
};

double Reads(const std::string& folder, int frames) {
  MediaFilePtr file;
  NxMediaFileInfo info;
  Check("open of the clip",
        OpenMediaClip(folder + "/clip_000000.dpx", false, nullptr, 0, false, &info, &file));
  if (info.frameCount != frames) Check("count of the frames", info.frameCount);
  PageBuffer buffer;
  if (!buffer.Allocate(static_cast<size_t>(info.frameBytes) + 512)) Check("memory", ENOMEM);
  NxImageReadRequest request;
  request.fourcc = info.fourcc;
  request.width = info.width;
  request.height = info.height;
  request.pitch = info.linePitch;
  request.orientation = static_cast<int32_t>(info.orientation);
  request.buffer = buffer.Data();
  request.bufferBytes = static_cast<int32_t>(buffer.Bytes());
  const auto start = Clock::now();
  for (int frame = 0; frame < frames; ++frame) {
    request.frame = frame;
    Check("read of the clip", file->ReadImage(&request));
  }
  return Seconds(start);
}

void PrintRatio(const char* what, const std::vector<Round>& rounds, int frames) {
  std::vector<double> ours, plain, ratios;
  for (const Round& round : rounds) {
    ours.push_back(frames / round.ours);
    plain.push_back(frames / round.plain);
    ratios.push_back(round.plain / round.ours);
  }
  std::printf("| %s | %.1f (%.1f to %.1f) | %.1f (%.1f to %.1f) | %.3f | %.3f |\n", what,
              Median(ours), Percentile(ours, 0), Percentile(ours, 1), Median(plain),
              Percentile(plain, 0), Percentile(plain, 1), Median(ours) / Median(plain),
              Median(ratios));
}

void RunFrames(const Options& options) {
  std::vector<Round> writes, reads;
  for (int i = 0; i < options.rounds; ++i) {
    const std::string folder = options.folder + "/round";
    std::filesystem::create_directories(folder);
    Round write, read;
    Writer writer(folder);
    const auto plainWrites = [&] {
      sync();
      write.plain = PlainWrites(folder, kFrames, writer.Memory(), writer.Bytes());
    };
    const auto ourWrites = [&] {
      sync();
      write.ours = writer.Write(kFrames);
      write.close = writer.Close();
    };
    PageBuffer memory;
    if (!memory.Allocate(writer.Bytes())) Check("memory", ENOMEM);
    const auto plainReads = [&] {
      read.plain = PlainReads(folder, kFrames, memory.Data(), memory.Bytes());
    };
    const auto ourReads = [&] { read.ours = Reads(folder, kFrames); };
    // Whoever comes second finds another disk: turn about. The first pass of reading counts for
    // neither: what lies under a virtual disk may keep what was read.
    if (i % 2 == 0) {
      plainWrites(), ourWrites(), sync(), plainReads(), plainReads(), ourReads();
    } else {
      ourWrites(), plainWrites(), sync(), plainReads(), ourReads(), plainReads();
    }
    writes.push_back(write);
    reads.push_back(read);
    std::filesystem::remove_all(folder);
  }
  std::vector<double> closes;
  for (const Round& round : writes) closes.push_back(round.close * 1e3);
  std::printf(
      "1920x1080 10-bit RGB DPX, %d frames a job, medians of %d interleaved rounds.\n\n"
      "| | frames/s | plain loop, frames/s | ratio of the medians | median of the ratios |\n"
      "|---|---|---|---|---|\n",
      kFrames, options.rounds);
  PrintRatio("WriteImage", writes, kFrames);
  PrintRatio("ReadImage", reads, kFrames);
  std::printf("\nClose of such a clip (sidecar, everything on the disk): %.1f ms.\n\n",
              Median(closes));
}

// ---- conversion ------------------------------------------------------------------------------

struct Cost {
  std::vector<double> processor, wall;  // seconds
};

// The folder's files are read from the disk again.
void DropFromMemory(const std::string& folder) {
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const int descriptor = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) continue;
    (void)posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
    close(descriptor);
  }
}

void RunProgram(const std::vector<std::string>& words, Cost* cost) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
  }
  sync();
  const auto start = Clock::now();
  pid_t child = 0;
  Check(words[0].c_str(),
        posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ));
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage = {};
  while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
  }
  sync();
  cost->wall.push_back(Seconds(start));
  Check(words[0].c_str(), status);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  cost->processor.push_back(seconds(usage.ru_utime) + seconds(usage.ru_stime));
}

void RunConversion(const Options& options, bool fromDisk) {
  const std::string source = options.folder + "/source";
  std::filesystem::create_directories(source);
  {
    Writer writer(source);
    writer.Write(kConvertedFrames);
    writer.Close();
  }
  const std::string here = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
  const std::string out = options.folder + "/out";
  const std::string first = source + "/clip_000000.dpx";
  const std::string last = std::to_string(kConvertedFrames - 1);
  const struct {
    const char* name;
    std::vector<std::string> words;
  } programs[] = {
      {"morvanectl convert", {here + "/morvanectl", "convert", first, out + "/clip"}},
      {"ffmpeg",
       {"ffmpeg", "-v", "error", "-start_number", "0", "-i", source + "/clip_%06d.dpx",
        out + "/clip_%06d.dpx"}},
      {"oiiotool",
       {"oiiotool", "--frames", "0-" + last, source + "/clip_%06d.dpx", "-o",
        out + "/clip_%06d.dpx"}},
  };
  Cost costs[3];
  for (int round = 0; round < options.conversions; ++round) {
    for (int i = 0; i < 3; ++i) {
      const int turn = (i + round) % 3;
      std::filesystem::remove_all(out);
      std::filesystem::create_directories(out);
      if (fromDisk) DropFromMemory(source);
      RunProgram(programs[turn].words, &costs[turn]);
    }
  }
  std::filesystem::remove_all(out);
  std::filesystem::remove_all(source);
  std::printf(
      "%d frames of it converted into their own format, source %s; `sync` is part of the wall "
      "time.\n\n"
      "| | processor seconds | of morvanectl's | wall seconds | of morvanectl's |\n"
      "|---|---|---|---|---|\n",
      kConvertedFrames, fromDisk ? "on the disk" : "as the run before left it in memory");
  for (int i = 0; i < 3; ++i) {
    std::printf("| %s | %.2f (%.2f to %.2f) | %.2f | %.2f (%.2f to %.2f) | %.2f |\n",
                programs[i].name, Median(costs[i].processor), Percentile(costs[i].processor, 0),
                Percentile(costs[i].processor, 1),
                Median(costs[i].processor) / Median(costs[0].processor), Median(costs[i].wall),
                Percentile(costs[i].wall, 0), Percentile(costs[i].wall, 1),
                Median(costs[i].wall) / Median(costs[0].wall));
  }
  std::printf("\n");
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (argc > 1) options.folder = argv[1];
  if (argc > 2) options.rounds = std::atoi(argv[2]);
  if (argc > 3) options.conversions = std::atoi(argv[3]);
  std::string pattern = options.folder + "/morvane-bench-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) Check("temporary folder", errno);
  options.folder = pattern;
  RunFrames(options);
  if (options.conversions > 0) {
    RunConversion(options, true);
    RunConversion(options, false);
  }
  std::filesystem::remove_all(options.folder);
  return 0;
}
