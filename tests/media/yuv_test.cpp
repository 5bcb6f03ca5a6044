#include "media/media_yuv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "media/clip_builder.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

TEST(MediaYuv, ClipOfFramesAndSoundComesBackToTheByte) {
  const std::string folder = FreshFolder("yuv");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 3, nullptr, 0, 2));
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv").size(), 699840u);
  EXPECT_EQ(ReadBytes(folder + "/clip_000001.yuv"), Noise(699840, 2));
  EXPECT_TRUE(Exists(folder + "/clip_000000.vyr"));
  EXPECT_TRUE(Exists(folder + "/clip.wav"));
  EXPECT_TRUE(Exists(folder + "/clip_A2.wav"));

  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  EXPECT_EQ(info.frameCount, 3);
  EXPECT_EQ(info.width, 720);
  EXPECT_EQ(info.height, 486);
  EXPECT_EQ(info.streams, 4u);
  EXPECT_EQ(info.audio.fileCount, 2);
  EXPECT_EQ(info.samplesPerFile[1], 3u * 1602);
  for (int32_t frame = 0; frame < 3; ++frame) {
    PageBuffer buffer;
    NxImageReadRequest request = PlainRead(info, &buffer);
    request.frame = frame;
    ASSERT_EQ(file->ReadImage(&request), 0);
    EXPECT_EQ(request.dataOffset, 512u);
    const auto wanted = Noise(699840, static_cast<uint32_t>(frame + 1));
    EXPECT_EQ(std::memcmp(buffer.Data() + 512, wanted.data(), wanted.size()), 0) << frame;
  }
  std::vector<uint8_t> sound(1602 * 2);
  NxAudioReadRequest audio;
  audio.file = 1;
  audio.timeScale = 30000;
  audio.timeRate = 1001;
  audio.buffer = sound.data();
  audio.bytes = static_cast<int32_t>(sound.size());
  ASSERT_EQ(file->ReadAudio(&audio), 0);
  EXPECT_EQ(sound, Noise(1602 * 2, 2000));
}

}  // namespace
}  // namespace morvane::test
