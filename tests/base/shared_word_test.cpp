#include "base/shared_word.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "base/system.h"
#include "support/disassembly.h"

// The shape of every engine loop: look at the stop word, do a round, publish a count.
extern "C" __attribute__((noinline, used)) uint32_t SharedWordLoop(
    const morvane::SharedWord<uint8_t>* stop, morvane::SharedWord<uint32_t>* index,
    morvane::SharedWord<uint64_t>* bytes) {
  uint32_t rounds = 0;
  while (stop->Get() == 0 && index->Get() < 100) {
    bytes->Set(bytes->Get() + 4096);
    index->Set(index->Get() + 1);
    ++rounds;
  }
  return rounds;
}

// The contrast, so that the search below is known to find something.
extern "C" __attribute__((noinline, used)) uint32_t LockedLoop(std::atomic<uint32_t>* word) {
  while (word->fetch_add(1) < 100) {
  }
  return word->exchange(7);
}

namespace morvane {
namespace {

TEST(SharedWord, LoopHasNoLockedInstruction) {
  if (!test::kPlainCode) GTEST_SKIP() << "the sanitizers replace atomic operations by calls";
  if (!test::HaveObjdump()) GTEST_SKIP() << "objdump is missing";
  char self[4096];
  ASSERT_EQ(NxModulePath(self, sizeof self), NxErrSuccess);
  const std::string loop = test::Disassembly(self, "SharedWordLoop");
  ASSERT_NE(loop.find("ret"), std::string::npos) << loop;
  EXPECT_EQ(test::LockedInstructions(loop), "");
  const std::string contrast = test::Disassembly(self, "LockedLoop");
  ASSERT_NE(contrast.find("ret"), std::string::npos) << contrast;
  EXPECT_NE(test::LockedInstructions(contrast), "") << contrast;
}

TEST(SharedWord, LoopCounts) {
  SharedWord<uint8_t> stop;
  SharedWord<uint32_t> index(40);
  SharedWord<uint64_t> bytes;
  EXPECT_EQ(SharedWordLoop(&stop, &index, &bytes), 60u);
  EXPECT_EQ(index.Get(), 100u);
  EXPECT_EQ(bytes.Get(), 60u * 4096);
  stop.Set(1);
  index.Set(0);
  EXPECT_EQ(SharedWordLoop(&stop, &index, &bytes), 0u);
  std::atomic<uint32_t> word{0};
  EXPECT_EQ(LockedLoop(&word), 101u);
}

}  // namespace
}  // namespace morvane
