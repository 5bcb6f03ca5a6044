// The fuzzer's inputs as a plain test: each must keep what is said of LUT files, and under the
// sanitizers none may touch what it should not.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "processing/lut.h"
#include "support/test_environment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace morvane {
namespace {

TEST(LutCorpus, EveryFileIsSurvivedAndOpensAsItsNameSays) {
  size_t opened = 0, refused = 0;
  for (const auto& entry : std::filesystem::directory_iterator(test::DataPath("corpus/lut"))) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> text((std::istreambuf_iterator<char>(file)), {});
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    EXPECT_EQ(LLVMFuzzerTestOneInput(bytes.data(), bytes.size()), 0) << entry.path();
    const std::string name = entry.path().filename();
    LutCurves curves;
    const NxErr result = ReadLutFile(entry.path().string(), &curves);
    if (name.starts_with("opens-")) {
      EXPECT_EQ(result, NxErrSuccess) << name;
      ++opened;
    } else if (name.starts_with("refused-")) {
      EXPECT_EQ(result, NxErrFailure) << name;
      ++refused;
    }
  }
  EXPECT_GE(opened, 10u);
  EXPECT_GE(refused, 5u);
}

}  // namespace
}  // namespace morvane
