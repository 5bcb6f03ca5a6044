#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "support/disassembly.h"

// The engines' threads share words by plain loads and stores: nothing in the files of their loops
// may hold the bus.
namespace morvane {
namespace {

// The members of a static library, as objdump heads them.
std::string Member(const std::string& code, const std::string& name) {
  const size_t start = code.find("\n" + name + ".cpp.o:");
  if (start == std::string::npos) return {};
  const size_t end = code.find(".cpp.o:     file format", start + name.size() + 20);
  return code.substr(start, end == std::string::npos ? end : end - start);
}

struct LoopFile {
  const char* name;
  const char* symbol;  // a function that must be found in it
};

void ExpectPlainCode(const std::string& library, std::initializer_list<LoopFile> files) {
  if (!test::kPlainCode) GTEST_SKIP() << "the sanitizers replace atomic operations by calls";
  if (!test::HaveObjdump()) GTEST_SKIP() << "objdump is missing";
  const std::string code = test::Disassembly(library);
  for (const LoopFile& file : files) {
    const std::string member = Member(code, file.name);
    ASSERT_NE(member.find(file.symbol), std::string::npos) << file.name;
    std::istringstream locked(test::LockedInstructions(member));
    for (std::string line; std::getline(locked, line);) {
      // A thread gives its share of the job back once, at its end, by the library's own function.
      EXPECT_TRUE(line.starts_with("<std::_Sp_counted")) << file.name << ": " << line;
    }
  }
}

TEST(EngineCode, CaptureLoopsHaveNoLockedInstruction) {
  ExpectPlainCode(MORVANE_CAPTURE_LIBRARY, {{"capture_input", "CaptureInputRoutine"},
                                            {"capture_writer", "CaptureWriterRoutine"},
                                            {"capture_preview", "PreviewRound"},
                                            {"frame_ring", "FrameRing"},
                                            {"audio_extract", "Audio"}});
}

TEST(EngineCode, PlaybackLoopsHaveNoLockedInstruction) {
  ExpectPlainCode(MORVANE_PLAYBACK_LIBRARY, {{"playback_audio", "PlaybackAudioRoutine"},
                                             {"playback_preview", "PlaybackPreviewRoutine"},
                                             {"playback_reader", "PlaybackReaderRoutine"},
                                             {"playback_transfer", "PlaybackTransferRoutine"},
                                             {"slot_ring", "SlotRing"},
                                             {"audio_fill", "Audio"}});
}

// The contrast: the engine's set-up code shares ownership and must be found.
TEST(EngineCode, SharedOwnershipIsFoundWhereItIs) {
  if (!test::kPlainCode || !test::HaveObjdump()) GTEST_SKIP() << "no plain code or no objdump";
  const std::string code = test::Disassembly(MORVANE_PLAYBACK_LIBRARY);
  EXPECT_NE(test::LockedInstructions(code).find("<morvane::PlaybackEngine::Close()>"),
            std::string::npos);
}

}  // namespace
}  // namespace morvane
