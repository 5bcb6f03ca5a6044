#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/page_memory.h"
#include "base/system.h"
#include "device/board_scan.h"
#include "media/clip_builder.h"
#include "media/codec/md5.h"
#include "playback/playback_engine.h"
#include "session/card2.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_machine.h"
#include "support/test_environment.h"

// Fields of packed records are taken by value in the tests' comparisons: +settings.handles.
//
// A simulated machine with one card whose output is logged, and a playback engine on it.
namespace morvane::test {

// Card time against real time: slower where a sanitizer makes everything slower.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr char kPlayRate[] = "0.25";
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
inline constexpr char kPlayRate[] = "0.25";
#else
inline constexpr char kPlayRate[] = "1.0";
#endif
#else
inline constexpr char kPlayRate[] = "1.0";
#endif

inline constexpr char kNtscItem[] = "720x486 @ 29.97i";  // the session's text
inline constexpr size_t kNtscPictureBytes = 720 * 486 * 2;
inline constexpr size_t kNtscBgraBytes = 720 * 486 * 4;
// Bytes of one slot of the ring, as the page allocator counts them.
inline constexpr size_t kNtscSlotBytes = kNtscBgraBytes + 0x10020;

// As long as it lives a ring gets the fewest slots that do, six: nothing is further ahead of the
// preview.
class SmallRing {
 public:
  static constexpr int kSlots = 6;
  SmallRing() {
    constexpr size_t kPage = 65536;
    NxSetPageLimit((kSlots + 1) * ((kNtscSlotBytes + kPage - 1) / kPage * kPage));
  }
  ~SmallRing() { NxSetPageLimit(SIZE_MAX); }
  SmallRing(const SmallRing&) = delete;
  SmallRing& operator=(const SmallRing&) = delete;
};

// One line of the output log.
struct LogLine {
  int64_t boundary = 0;
  std::string kind;  // "frame", "repeat", "idle"
  std::string md5;
  std::string fourcc;
  std::string flip;
  std::string rp188;
  int32_t user = 0;
  std::string audio;  // empty while the ring stands
};

inline std::vector<LogLine> ReadLog(const std::string& path) {
  std::vector<LogLine> lines;
  std::ifstream file(path);
  std::string text;
  std::getline(file, text);
  while (std::getline(file, text)) {
    std::vector<std::string> fields;
    std::stringstream row(text);
    for (std::string field; std::getline(row, field, ',');) fields.push_back(field);
    fields.resize(14);
    LogLine line;
    line.boundary = std::atoll(fields[0].c_str());
    line.kind = fields[3];
    line.md5 = fields[5];
    line.fourcc = fields[9];
    line.flip = fields[10];
    line.rp188 = fields[11];
    line.user = std::atoi(fields[12].c_str());
    line.audio = fields[13];
    lines.push_back(line);
  }
  return lines;
}

class PlayRig : public ::testing::Test {
 protected:
  ~PlayRig() override {
    engine_.reset();
    machine_.reset();
  }

  [[nodiscard]] std::string Machine(const std::string& faults = "",
                                    const std::string& board = "Elm") const {
    return std::string("rate = ") + kPlayRate + "\n[[card]]\nboard = \"" + board + "\"\n" +
           "[card.output1]\nlog = \"" + folder_ + "/out.csv\"\n" +
           (faults.empty() ? std::string() : "[card.faults]\n" + faults);
  }

  // Builds the machine and opens an engine on its first card, active at `format`.
  void Begin(const std::string& machine = "", const std::string& format = kNtscItem) {
    ASSERT_NO_FATAL_FAILURE(BuildMachine(machine.empty() ? Machine() : machine));
    engine_ = std::make_unique<PlaybackEngine>();
    ASSERT_EQ(NxErrSuccess, engine_->Open(board_, PlaybackStore::Ignore));
    uint32_t index = 0;
    CRQD5Card2& session = engine_->Session();
    ASSERT_TRUE(session.FindItem(SessionFamily::VideoFormat, format, &index)) << format;
    ASSERT_TRUE(session.SetItem(SessionFamily::VideoFormat, index)) << session.GetLastError();
    ASSERT_EQ(NxErrSuccess, engine_->KeepSessionChoices());
    ASSERT_EQ(NxErrSuccess, engine_->Activate());
  }

  void BuildMachine(const std::string& text) {
    MachineDescription description;
    std::string error;
    ASSERT_TRUE(ParseMachineDescription(text, "test.toml", PrivateFolder(), &description, &error))
        << error;
    machine_ = std::make_unique<SimulatedMachine>(description);
    machine_->Install();
    const std::vector<RQD5BoardInfo> boards = RQD5BoardScan(0xFF);
    ASSERT_EQ(1U, boards.size());
    board_ = boards[0];
  }

  // Writes a clip of `frames` pictures of noise and opens it. `audioRow` -1 is no sound; 0 is
  // 16-bit mono, 4 stereo.
  void OpenNoise(int frames, int audioRow = -1, int tracks = 1) {
    ASSERT_TRUE(WriteYuvClip(folder_, "clip", frames, nullptr, audioRow, tracks));
    ASSERT_EQ(NxErrSuccess, engine_->OpenClip(FramePath(0), folder_));
  }

  [[nodiscard]] std::string FramePath(int frame) const {
    char number[16];
    std::snprintf(number, sizeof number, "%06d", frame);
    return folder_ + "/clip_" + number + ".yuv";
  }

  void WaitUntil(const std::function<bool()>& done) {
    constexpr int64_t kPatienceNs = 100'000'000'000;
    const int64_t deadline = NxClockNowNs() + kPatienceNs;
    while (!done()) {
      ASSERT_LT(NxClockNowNs(), deadline) << "frames played: " << engine_->FramesPlayed();
      NxSleep(1);
    }
  }

  // A whole play to its end, stopped with the still picture.
  void PlayToEnd(double speed, PictureSink* sink = nullptr) {
    ASSERT_EQ(NxErrSuccess, engine_->Play(speed, sink));
    ASSERT_TRUE(engine_->IsPlaying());
    ASSERT_NO_FATAL_FAILURE(WaitUntil([&] { return engine_->HasEnded(); }));
    last_ = engine_->GetPlayingFrame();
    EXPECT_EQ(NxErrSuccess, engine_->Stop(true));
  }

  // The same, again where the card had to repeat a frame before the last: this machine stood still
  // for longer than the card had frames. The log's lines are then those of the last play.
  void PlayWithoutRepeat(double speed) {
    for (int i = 0; i < 5; ++i) {
      logFrom_ = ReadLog(folder_ + "/out.csv").size();
      ASSERT_NO_FATAL_FAILURE(PlayToEnd(speed));
      if (!Repeats()) return;
    }
  }

  // The log's lines of new frames.
  [[nodiscard]] std::vector<LogLine> FrameLines() const {
    std::vector<LogLine> frames;
    const std::vector<LogLine> lines = ReadLog(folder_ + "/out.csv");
    for (size_t i = logFrom_; i < lines.size(); ++i) {
      if (lines[i].kind == "frame") frames.push_back(lines[i]);
    }
    return frames;
  }

  // Whether the frames did not follow each other at each boundary.
  [[nodiscard]] bool Repeats() const {
    const std::vector<LogLine> frames = FrameLines();
    const auto last = static_cast<int64_t>(frames.size()) - 1;
    return last > 0 && frames.back().boundary - frames.front().boundary != last;
  }

  // The timeline frames that went out.
  [[nodiscard]] std::vector<int32_t> FramesOut() const {
    std::vector<int32_t> frames;
    for (const LogLine& line : FrameLines()) frames.push_back(line.user);
    return frames;
  }

  // Hash of the clip's picture `frame`.
  static std::string HashOf(int frame) {
    const auto pixels = Noise(kNtscPictureBytes, static_cast<uint32_t>(frame + 1));
    return Md5Of(pixels.data(), pixels.size());
  }

  // Hash of the black frame that all slots share.
  static std::string BlackHash() {
    const std::vector<uint8_t> black(kNtscBgraBytes);
    return Md5Of(black.data(), black.size());
  }

  // 0, 1, ... or backwards.
  static std::vector<int32_t> Count(int32_t first, int32_t last, int32_t step = 1) {
    std::vector<int32_t> numbers;
    for (int32_t n = first; step > 0 ? n <= last : n >= last; n += step) numbers.push_back(n);
    return numbers;
  }

  std::string folder_ = FreshFolder("play");
  std::unique_ptr<SimulatedMachine> machine_;
  std::unique_ptr<PlaybackEngine> engine_;
  RQD5BoardInfo board_;
  int32_t last_ = -1;   // playing frame at the end of PlayToEnd()
  size_t logFrom_ = 0;  // lines of the log before the play that counts
};

}  // namespace morvane::test
