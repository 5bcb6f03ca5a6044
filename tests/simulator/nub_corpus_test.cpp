// The fuzzer's inputs as a plain test: none may end the process, and under the sanitizers none may
// touch what it should not.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/test_environment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace morvane {
namespace {

TEST(NubRequests, EveryFileOfTheCorpusIsSurvived) {
  size_t files = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(test::DataPath("corpus/nub_request"))) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> text((std::istreambuf_iterator<char>(file)), {});
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()), 0) << entry.path();
    ++files;
  }
  EXPECT_GE(files, 12u);
}

}  // namespace
}  // namespace morvane
