#include <gtest/gtest.h>

#include "base/file_io.h"
#include "media/small_clip.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

TEST(SequenceDelete, WrittenClipTakesOnlyItsOwnFrames) {
  const std::string folder = FreshFolder("delete");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 5, nullptr, -1, 1, kSmallWidth, kSmallHeight));
  const auto before = FilesIn(folder);
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 2);
  ASSERT_EQ(Create(file.get(), folder, "clip", &info, "000005"), 0);
  for (uint32_t i = 1; i <= 5; ++i) ASSERT_EQ(WriteNoise(file.get(), info, i), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(FilesIn(folder).size(), before.size() + 5 + 1 + 2);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), before) << "frames 0 to 4 and their sidecar stay";
}

TEST(SequenceDelete, ForeignSidecarOfAWrittenClipStays) {
  const std::string folder = FreshFolder("delete");
  WriteText(folder + "/clip_000000.vyr", "somebody's");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000000.vyr"}));
}

TEST(SequenceDelete, OpenedClipGoesWithSidecarsAndSound) {
  const std::string folder = FreshFolder("delete");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 3, nullptr, 0, 2));
  WriteText(folder + "/clip_000002.vyr", "x");
  WriteText(folder + "/clip_000003.vyr", "x");
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000003.vyr"}));
}

TEST(SequenceDelete, DeleteFileTakesTheFirstFrameOnly) {
  const std::string folder = FreshFolder("delete");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 2, nullptr, 0, 1));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteFile(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000001.yuv"}));
}

TEST(SequenceDelete, StillGoesAlone) {
  const std::string folder = FreshFolder("delete");
  WriteBytes(folder + "/clip.yuv", Noise(699840, 1));
  WriteText(folder + "/clip_000000.yuv", "other");
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip.yuv", &info, &file), 0);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(file->DeleteAllFiles(), 0);
  EXPECT_EQ(FilesIn(folder), (std::vector<std::string>{"clip_000000.yuv"}));
}

}  // namespace
}  // namespace morvane::test
