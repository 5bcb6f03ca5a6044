#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/system.h"
#include "capture/capture_engine.h"
#include "device/board_scan.h"
#include "session/card2.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_machine.h"
#include "support/test_environment.h"

// A simulated machine with one card, and a capture engine on it.
namespace morvane::test {

// Card time against real time: slow enough that a machine may stand still for two seconds before
// the card has no more room, and slower where a sanitizer makes everything slower.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
inline constexpr char kRate[] = "0.25";
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer) || __has_feature(address_sanitizer)
inline constexpr char kRate[] = "0.25";
#else
inline constexpr char kRate[] = "0.5";
#endif
#else
inline constexpr char kRate[] = "0.5";
#endif

inline constexpr char kNtsc[] = "720x486 @ 29.97i";  // the session's text
inline constexpr char kNtscInput[] = "525 59.94";    // the input's
inline constexpr size_t kNtscBytes = 720 * 486 * 2;
inline constexpr int32_t kYuv = 7;  // file type

inline std::string BarsMachine(const std::string& more = "", const std::string& faults = "",
                               const std::string& format = kNtscInput) {
  return std::string("rate = ") + kRate + "\n[[card]]\nboard = \"Elm\"\n" +
         "[card.input1]\nsource = \"bars\"\nformat = \"" + format + "\"\n" + more +
         (faults.empty() ? std::string() : "[card.faults]\n" + faults);
}

inline std::vector<uint8_t> ReadWhole(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::vector<std::string> Listing(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    names.push_back(std::filesystem::relative(entry.path(), folder).string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The frame number that the bars carry in their first lines: 32 cells, black or white.
inline uint32_t BurnedInNumber(const std::vector<uint8_t>& uyvy, size_t width, size_t line = 8) {
  const size_t cell = width / 32 / 2 * 2;
  uint32_t number = 0;
  for (size_t bit = 0; bit < 32; ++bit) {
    const size_t x = bit * cell + cell / 2;
    number = number << 1 | (uyvy[(line * width + x) * 2 + 1] > 128 ? 1U : 0U);
  }
  return number;
}

class EngineRig : public ::testing::Test {
 protected:
  ~EngineRig() override {
    engine_.reset();
    machine_.reset();
  }

  // Builds the machine and opens an engine on its first card, active at `format`.
  void Begin(const std::string& machine, const std::string& format = kNtsc,
             const std::string& timecodeInput = "") {
    ASSERT_NO_FATAL_FAILURE(BuildMachine(machine));
    engine_ = std::make_unique<CaptureEngine>();
    ASSERT_EQ(NxErrSuccess, engine_->Open(board_, CaptureStore::Ignore));
    Choose(SessionFamily::VideoFormat, format);
    if (!timecodeInput.empty()) Choose(SessionFamily::TimecodeInput, timecodeInput);
    ASSERT_EQ(NxErrSuccess, engine_->KeepSessionChoices());
    ASSERT_EQ(NxErrSuccess, engine_->Activate());
    folder_ = FreshFolder("capture");
    ASSERT_EQ(NxErrSuccess, engine_->SetVideoDirectory(folder_));
    ASSERT_EQ(NxErrSuccess, engine_->SetAudioDirectory(folder_));
    ASSERT_EQ(NxErrSuccess, engine_->SetFileType(kYuv));
    ASSERT_EQ(NxErrSuccess, engine_->SetClipName("clip"));
    ASSERT_NO_FATAL_FAILURE(SetStyle("Video - Audio"));
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

  void Choose(SessionFamily family, const std::string& text) {
    uint32_t index = 0;
    ASSERT_TRUE(engine_->Session().FindItem(family, text, &index)) << text;
    ASSERT_TRUE(engine_->Session().SetItem(family, index)) << engine_->Session().GetLastError();
  }

  void SetStyle(const std::string& wanted) {
    for (int32_t index = 0; index < engine_->GetNumStyles(); ++index) {
      std::string text;
      if (engine_->GetStyleText(index, &text) != NxErrSuccess || text != wanted) continue;
      ASSERT_EQ(NxErrSuccess, engine_->SetStyle(index));
      return;
    }
    FAIL() << "no style " << wanted;
  }

  void SetLength(int32_t frames) {
    ASSERT_EQ(NxErrSuccess, engine_->SetCaptureMode(1));
    ASSERT_EQ(NxErrSuccess, engine_->SetDurationFrames(frames));
  }

  void Launch() {
    ASSERT_EQ(NxErrSuccess, engine_->Prepare());
    ASSERT_EQ(NxErrSuccess, engine_->Start());
  }

  // Runs the preview until `done` says so.
  void PreviewUntil(const std::function<bool()>& done) {
    constexpr int64_t kPatienceNs = 100'000'000'000;
    const int64_t deadline = NxClockNowNs() + kPatienceNs;
    while (!done()) {
      ASSERT_LT(NxClockNowNs(), deadline) << "frames captured: " << engine_->FramesCaptured();
      engine_->PreviewRound(nullptr);
      NxSleep(1);
    }
  }

  // A whole job with a length.
  void Run(int32_t frames) {
    ASSERT_NO_FATAL_FAILURE(SetLength(frames));
    ASSERT_NO_FATAL_FAILURE(Launch());
    ASSERT_NO_FATAL_FAILURE(PreviewUntil([&] { return engine_->HasEnded(); }));
    engine_->Stop();
  }

  [[nodiscard]] std::string FramePath(int frame, const std::string& clip = "clip") const {
    char number[16];
    std::snprintf(number, sizeof number, "%06d", frame);
    return folder_ + "/" + clip + "/" + clip + "_" + number + ".yuv";
  }

  std::unique_ptr<SimulatedMachine> machine_;
  std::unique_ptr<CaptureEngine> engine_;
  RQD5BoardInfo board_;
  std::string folder_;
};

}  // namespace morvane::test
