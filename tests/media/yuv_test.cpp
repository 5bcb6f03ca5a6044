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

// A picture of one colour, Cb 54, Y 145, Cr 34.
std::vector<uint8_t> Green(int32_t width, int32_t height) {
  std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 2);
  for (size_t i = 0; i < pixels.size(); i += 4) {
    pixels[i] = 54;
    pixels[i + 1] = pixels[i + 3] = 145;
    pixels[i + 2] = 34;
  }
  return pixels;
}

TEST(MediaYuv, PictureOfAnotherSizeIsScaledOnItsWayToTheFileAndBack) {
  const std::string folder = FreshFolder("yuv");
  {
    const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
    NxMediaCreateInfo info = PictureInfo(1280, 720, FourCC("2vuy"));
    ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
    const auto small = Green(640, 360);
    NxImageWriteRequest request = CopiedWrite(info, small.data());
    request.width = 640;
    request.height = 360;
    request.pitch = 1280;
    ASSERT_EQ(file->WriteImage(&request), 0);
    ASSERT_EQ(file->Close(), 0);
  }
  const auto stored = ReadBytes(folder + "/clip_000000.yuv");
  EXPECT_TRUE(stored == Green(1280, 720));

  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  std::vector<uint8_t> buffer(size_t{1920} * 1080 * 2);
  NxImageReadRequest request;
  request.fourcc = FourCC("yuy2");
  request.width = 1920;
  request.height = 1080;
  request.pitch = 3840;
  request.buffer = buffer.data();
  request.bufferBytes = static_cast<int32_t>(buffer.size());
  ASSERT_EQ(file->ReadImage(&request), 0);
  auto wanted = Green(1920, 1080);
  for (size_t i = 0; i < wanted.size(); i += 2) std::swap(wanted[i], wanted[i + 1]);
  EXPECT_TRUE(buffer == wanted);
}

}  // namespace
}  // namespace morvane::test
