// A fuzzer's inputs as a plain test: none may end the process, and under the sanitizers none may
// touch what it should not. Built once for each fuzzer of the media layer.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>

#include "media/clip_builder.h"
#include "support/test_environment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace morvane::test {
namespace {

TEST(MORVANE_CORPUS_SUITE, EveryFileOfTheCorpusIsSurvived) {
  size_t files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(DataPath("corpus/" MORVANE_CORPUS))) {
    const auto bytes = ReadBytes(entry.path().string());
    EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()), 0) << entry.path();
    ++files;
  }
  EXPECT_GE(files, 10u);
}

}  // namespace
}  // namespace morvane::test
