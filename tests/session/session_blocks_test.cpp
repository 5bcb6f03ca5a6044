#include "session/session_blocks.h"

#include <gtest/gtest.h>

#include <cstring>

namespace morvane {
namespace {

TEST(SessionBlocks, HaveTheirStoredSizes) {
  EXPECT_EQ(sizeof(RQD5VideoFormatDesc), 105u);
  EXPECT_EQ(sizeof(SessionIdentityBlock), 288u);
  EXPECT_EQ(sizeof(SessionConfigurationBlock), 25373u);
  EXPECT_EQ(sizeof(AudioSettingsBlock), 84u);
  EXPECT_EQ(sizeof(VtrSettingsBlock), 93u);
}

TEST(SessionBlocks, SelectionOfFamilyLiesAt117Plus68PerFamily) {
  SessionConfigurationBlock block;
  std::memset(&block, 0, sizeof block);
  block.selections[static_cast<uint32_t>(SessionFamily::Reference)].id = 0x11223344;
  const auto* bytes = reinterpret_cast<const uint8_t*>(&block);
  const size_t at = 117 + 68 * 13;
  EXPECT_EQ(bytes[at], 0x44);
  EXPECT_EQ(bytes[at + 3], 0x11);
}

TEST(VtrSettings, DefaultIsBase30NonDropWithFiveSecondsOfPreroll) {
  const VtrSettingsBlock block = DefaultVtrSettings();
  EXPECT_EQ(uint32_t{block.framesPerSecond}, 30u);
  EXPECT_EQ(block.dropFrame, 0);
  EXPECT_EQ(uint32_t{block.formatIndex}, 3u);
  EXPECT_STREQ(block.formatName, "Base 30 NDF");
  EXPECT_EQ(uint32_t{block.baseFramesPerSecond}, 30u);
  EXPECT_EQ(double{block.scale}, 30000.0);
  EXPECT_EQ(double{block.duration}, 1001.0);
  EXPECT_EQ(uint32_t{block.source}, 0u);
  EXPECT_EQ(uint32_t{block.prerollSeconds}, 5u);
}

}  // namespace
}  // namespace morvane
