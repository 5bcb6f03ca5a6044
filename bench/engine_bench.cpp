// Frames a second that capture and playback sustain on the simulated card, against a plain loop of
// unbuffered writes (reads) of the same bytes into (from) a new file each; and where the time of
// one frame goes. Prints Markdown.  Usage: engine_bench [FOLDER] [ROUNDS] [FRAMES] [RATE]

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/file_io.h"
#include "base/page_memory.h"
#include "base/system.h"
#include "capture/capture_engine.h"
#include "device/board_scan.h"
#include "device/boards.h"
#include "media/media_factory.h"
#include "playback/playback_engine.h"
#include "session/card2.h"
#include "simulator/simulated_machine.h"
#include "timing.h"

namespace {

using namespace morvane;

constexpr uint32_t kFrameBytes = 1920 * 1080 * 2;  // 8-bit 4:2:2
constexpr uint32_t kFormat8Bit = 1;

struct Options {
  std::string folder = "/tmp";
  int rounds = 5;
  int frames = 120;
  double rate = 6;  // of card time: 29.97 times this is what the card offers
};

[[noreturn]] void Die(const char* what, int code) {
  std::fprintf(stderr, "engine_bench: %s failed (%d)\n", what, code);
  std::exit(1);
}
void Check(const char* what, int code) {
  if (code != 0) Die(what, code);
}

std::string FramePath(const std::string& folder, int frame) {
  return folder + "/" + std::to_string(frame) + ".raw";
}

// Each file is new, one unbuffered write each. Nothing is synced here, nor within the time that a
// capture is given: both stop with the last write.
double PlainWrites(const std::string& folder, int frames) {
  PageBuffer buffer;
  if (!buffer.Allocate(kFrameBytes)) Die("memory", 0);
  std::memset(buffer.Data(), 0x5A, kFrameBytes);
  std::filesystem::create_directories(folder);
  const auto start = Clock::now();
  for (int frame = 0; frame < frames; ++frame) {
    File file;
    Check("open", file.Open(FramePath(folder, frame), FileMode::kCreate, true));
    Check("write", file.WriteAt(buffer.Data(), kFrameBytes, 0));
    Check("close", file.Close());
  }
  return frames / Seconds(start);
}

double PlainReads(const std::string& folder, int frames) {
  PageBuffer buffer;
  if (!buffer.Allocate(kFrameBytes)) Die("memory", 0);
  const auto start = Clock::now();
  for (int frame = 0; frame < frames; ++frame) {
    File file;
    size_t done = 0;
    Check("open", file.Open(FramePath(folder, frame), FileMode::kRead, true));
    Check("read", file.ReadAt(buffer.Data(), kFrameBytes, 0, &done));
  }
  return frames / Seconds(start);
}

struct EngineRun {
  double framesPerSecond = 0;
  uint32_t dropped = 0;
  std::string clip;
};

EngineRun Capture(const RQD5BoardInfo& board, const std::string& folder, int frames) {
  CaptureEngine engine;
  Check("open", engine.Open(board, CaptureStore::Ignore));
  Check("activate", engine.Activate());
  Check("type", engine.SetFileType(NxFileTypeYUV));
  for (int32_t i = 0; i < engine.GetNumStyles(); ++i) {
    std::string text;
    if (engine.GetStyleText(i, &text) == NxErrSuccess && text == "Video - Audio") {
      Check("style", engine.SetStyle(i));
    }
  }
  std::filesystem::create_directories(folder);
  Check("folder", engine.SetVideoDirectory(folder));
  Check("folder", engine.SetAudioDirectory(folder));
  Check("name", engine.SetClipName("clip"));
  Check("mode", engine.SetCaptureMode(static_cast<int32_t>(CaptureMode::Duration)));
  Check("length", engine.SetDurationFrames(frames));
  Check("prepare", engine.Prepare());
  const auto start = Clock::now();
  Check("start", engine.Start());
  while (!engine.HasEnded()) {
    engine.PreviewRound(nullptr);
    NxSleep(1);
  }
  EngineRun run;
  run.framesPerSecond = frames / Seconds(start);
  engine.Stop();
  run.dropped = engine.FramesDropped();
  run.clip = engine.ClipPath();
  engine.Close();
  return run;
}

EngineRun Play(const RQD5BoardInfo& board, const std::string& clip, const std::string& folder) {
  PlaybackEngine engine;
  Check("open", engine.Open(board, PlaybackStore::Ignore));
  Check("clip", engine.OpenClip(clip, folder));
  Check("activate", engine.Activate());
  const auto start = Clock::now();
  Check("play", engine.Play(1.0, nullptr));
  while (!engine.HasEnded()) NxSleep(1);
  EngineRun run;
  run.framesPerSecond = engine.FramesPlayed() / Seconds(start);
  run.dropped = engine.FramesDropped();
  engine.Stop(false);
  engine.Close();
  return run;
}

void PrintRow(const char* what, const std::vector<double>& values, const char* peer,
              const std::vector<double>& peers) {
  std::printf("| %s | %.0f | %.0f to %.0f | %s %.0f | %.2f |\n", what, Median(values),
              Percentile(values, 0), Percentile(values, 1), peer, Median(peers),
              Median(values) / Median(peers));
}

void RunThroughput(const RQD5BoardInfo& board, const Options& options) {
  std::vector<double> writes, captures, reads, plays;
  uint32_t dropped = 0;
  for (int round = 0; round < options.rounds; ++round) {
    const std::string folder = options.folder + "/round";
    writes.push_back(PlainWrites(folder + "/plain", options.frames));
    const EngineRun capture = Capture(board, folder + "/capture", options.frames);
    captures.push_back(capture.framesPerSecond);
    dropped += capture.dropped;
    reads.push_back(PlainReads(folder + "/plain", options.frames));
    plays.push_back(Play(board, capture.clip, folder + "/capture").framesPerSecond);
    std::filesystem::remove_all(folder);
  }
  std::printf(
      "Card: 1920x1080, 8-bit 4:2:2, offered %.0f frames a second (29.97 x %g); %d frames, "
      "medians of %d interleaved rounds; %u frames dropped by the card.\n\n",
      options.rate * 30000 / 1001, options.rate, options.frames, options.rounds, dropped);
  std::printf("| | frames/s | range | plain loop, frames/s | ratio |\n|---|---|---|---|---|\n");
  PrintRow("capture with sound", captures, "writes", writes);
  PrintRow("playback with sound", plays, "reads", reads);
  std::printf("\n");
}

// One step of a frame's way, timed by itself over many frames.
void PrintStep(const char* step, const std::vector<double>& seconds) {
  std::printf("| %s | %.2f | %.2f | %.1f %% |\n", step, Median(seconds) * 1e3,
              Percentile(seconds, 0.99) * 1e3, Median(seconds) * 30000 / 1001 * 100);
}

std::vector<double> Time(int frames, const std::function<void(int)>& step) {
  std::vector<double> seconds;
  for (int frame = 0; frame < frames; ++frame) {
    const auto start = Clock::now();
    step(frame);
    seconds.push_back(Seconds(start));
  }
  return seconds;
}

std::vector<double> TimeInputTransfers(CRQD5Card2& card, PageBuffer& picture, PageBuffer& sound,
                                       int frames) {
  constexpr bool kFlags[8] = {true, false, false, false, false, false, false, false};
  if (!card.InitAutoCirculate(1 | kACInput, 0, 30, kFlags, true) ||
      !card.StartAutoCirculate(1 | kACInput)) {
    Die("input", 0);
  }
  std::vector<double> seconds;
  while (static_cast<int>(seconds.size()) < frames) {
    RQD5AutoCirculateTransfer transfer;
    transfer.channelSpec = 1 | kACInput;
    transfer.videoBuffer = picture.Data();
    transfer.videoSize = kFrameBytes;
    transfer.audioBuffer = sound.Data();
    transfer.audioSize = static_cast<uint32_t>(sound.Bytes());
    transfer.frameBufferFormat = kFormat8Bit;
    transfer.frameRequest = -1;
    RQD5AutoCirculateTransferStatus status = {};
    const auto start = Clock::now();
    if (!card.TransferAutoCirculate(&transfer, &status)) Die("transfer", 0);
    if (status.transferFrame >= 0) {
      seconds.push_back(Seconds(start));
    } else {
      NxSleep(1);
    }
  }
  card.StopAutoCirculate(1 | kACInput);
  return seconds;
}

void RunLatency(const RQD5BoardInfo& board, const Options& options) {
  CRQD5Card2 card;
  if (!card.OpenSession(board.boardIndex, board, kSessionCaptureAndPlay) ||
      !card.SetVideoFormat(0, true) ||
      !card.SetChannelFormat(static_cast<RQD5FrameBufferFormat>(kFormat8Bit))) {
    Die("session", 0);
  }
  PageBuffer picture, sound;
  if (!picture.Allocate(kFrameBytes + 65536) || !sound.Allocate(1 << 20)) Die("memory", 0);
  const std::string folder = options.folder + "/latency";
  std::filesystem::create_directories(folder);
  const int frames = options.frames;
  std::printf(
      "| Step of one frame, 1920x1080 8-bit 4:2:2 | median ms | 99 of 100 below, ms | "
      "share of 33.37 ms |\n|---|---|---|---|\n");
  PrintStep("poll of the AutoCirculate status", Time(frames, [&card](int) {
              RQD5AutoCirculateStatus status = {};
              (void)card.GetAutoCirculate(1, &status);
            }));
  PrintStep("transfer of picture and sound from the card",
            TimeInputTransfers(card, picture, sound, frames));
  PrintStep("write of the frame's file, unbuffered", Time(frames, [&](int frame) {
              File file;
              Check("open", file.Open(FramePath(folder, frame), FileMode::kCreate, true));
              Check("write", file.WriteAt(picture.Data(), kFrameBytes, 0));
            }));
  PrintStep("read of the frame's file, unbuffered", Time(frames, [&](int frame) {
              File file;
              size_t done = 0;
              Check("open", file.Open(FramePath(folder, frame), FileMode::kRead, true));
              Check("read", file.ReadAt(picture.Data(), kFrameBytes, 0, &done));
            }));
  PrintStep("transfer of the picture to the card (DMA)", Time(frames, [&](int frame) {
              (void)card.DmaWriteFrame(static_cast<uint32_t>(frame % 28), picture.Data(),
                                       kFrameBytes);
            }));
  PrintStep("sleep of 1 ms between two polls", Time(frames, [](int) { NxSleep(1); }));
  card.Close();
  std::filesystem::remove_all(folder);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (argc > 1) options.folder = argv[1];
  if (argc > 2) options.rounds = std::atoi(argv[2]);
  if (argc > 3) options.frames = std::atoi(argv[3]);
  if (argc > 4) options.rate = std::atof(argv[4]);
  std::string pattern = options.folder + "/morvane-bench-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) Die("temporary folder", 0);
  options.folder = pattern;
  NxMediaFileInit();
  {
    MachineDescription description = BuiltInMachine();
    description.rate = options.rate;
    SimulatedMachine machine(description);
    machine.Install();
    RunThroughput(RQD5BoardScan(BOARDTYPE_OEM2K).at(0), options);
  }
  {
    SimulatedMachine machine(BuiltInMachine());
    machine.Install();
    RunLatency(RQD5BoardScan(BOARDTYPE_OEM2K).at(0), options);
  }
  NxMediaFileDeinit();
  std::filesystem::remove_all(options.folder);
  return 0;
}
