#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "media/clip_builder.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

TEST(SequenceThreads, PictureAndSoundAreReadTogether) {
  const std::string folder = FreshFolder("threads");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 6, nullptr, 0));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  const auto whole = Noise(1602 * 2, 1000);
  std::thread sound([&] {
    std::vector<uint8_t> samples(1601 * 2);
    NxAudioReadRequest request;
    request.timeScale = 30000;
    request.timeRate = 1001;
    request.buffer = samples.data();
    request.bytes = static_cast<int32_t>(samples.size());
    for (int i = 0; i < 200; ++i) {
      request.frame = i % 2 == 0 ? 0 : 4;
      ASSERT_EQ(file->ReadAudio(&request), 0);
      if (i % 2 == 0) {
        ASSERT_EQ(std::memcmp(samples.data(), whole.data(), samples.size()), 0);
      }
    }
  });
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(info, &buffer);
  for (int i = 0; i < 30; ++i) {
    request.frame = i % 6;
    EXPECT_EQ(file->ReadImage(&request), 0);
    const auto wanted = Noise(64, static_cast<uint32_t>(i % 6 + 1));
    EXPECT_EQ(std::memcmp(buffer.Data() + request.dataOffset, wanted.data(), 64), 0);
  }
  sound.join();
}

}  // namespace
}  // namespace morvane::test
