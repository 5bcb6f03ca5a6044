// What reaches the disk when a clip is closed, and what is left where the disk fails.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>

#include "base/byte_order.h"
#include "base/file_io.h"
#include "media/small_clip.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

TEST(SequenceFailure, EverythingIsSyncedAtCloseAndAllFramesAtOnce) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 2);
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  for (uint32_t i = 1; i <= 4; ++i) ASSERT_EQ(WriteNoise(file.get(), info, i), 0);
  {
    const FileFault count(FileCall::kSync, 1000, EIO);
    ASSERT_EQ(file->Close(), 0);
    EXPECT_EQ(count.Calls(), 1 + 2 + 1) << "frames, sound, sidecar";
  }
}

TEST(SequenceFailure, FramesInOtherFoldersAreSyncedToo) {
  const std::string folder = FreshFolder("write");
  const std::string other = FreshFolder("other");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  const auto pixels = Noise(kSmallBytes, 2);
  for (const std::string& path : {folder + "/a.yuv", other + "/b.yuv", other + "/c.yuv"}) {
    NxImageWriteRequest request = CopiedWrite(info, pixels.data());
    request.useExactName = 1;
    PutText(path, request.exactName, sizeof request.exactName);
    ASSERT_EQ(file->WriteImage(&request), 0);
  }
  const FileFault count(FileCall::kSync, 1000, EIO);
  ASSERT_EQ(file->Close(), 0);
  EXPECT_EQ(count.Calls(), 1 + 1 + 1) << "this folder, the other one, the sidecar";
}

TEST(SequenceFailure, SyncThatFailsIsTold) {
  const std::string folder = FreshFolder("write");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  const FileFault fault(FileCall::kSync, 1, EIO, true);
  EXPECT_EQ(file->Close(), -2);
  EXPECT_EQ(file->Close(), -2) << "closed all the same";
}

TEST(SequenceFailure, FrameThatCannotBeClosedWhileOthersAreInFlightIsToldAtClose) {
  // The first frame has a file of its own; five slots, so the seventh frame closes the second's.
  for (const int frames : {3, 7}) {
    const std::string folder = FreshFolder("write");
    const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
    NxMediaCreateInfo info = SmallInfo();
    ASSERT_EQ(Create(file.get(), folder, "clip", &info, nullptr, 0x8B), 0);
    const FileFault fault(FileCall::kClose, 1, EIO);
    for (int i = 1; i <= frames; ++i) {
      ASSERT_EQ(WriteNoise(file.get(), info, static_cast<uint32_t>(i)), 0) << i;
    }
    EXPECT_EQ(fault.Failed(), frames == 7 ? 1 : 0);
    EXPECT_EQ(file->Close(), -2) << frames;
    EXPECT_EQ(fault.Failed(), 1);
    ASSERT_EQ(Create(file.get(), folder, "next", &info, nullptr, 0x8B), 0);
    ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
    EXPECT_EQ(file->Close(), 0) << "forgotten with the next clip";
  }
}

// A capture of ten frames and their sound, whatever fails in between.
void CaptureTenFrames(const std::string& folder) {
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  AddAudio(&info, 0, 2);
  if (Create(file.get(), folder, "clip", &info) != NxErrSuccess) return;
  const auto sound = Noise(40000, 99);
  for (uint32_t i = 1; i <= 10; ++i) {
    const int32_t written = file->GetFrameCount();
    const NxErr result = WriteNoise(file.get(), info, static_cast<uint32_t>(written + 1));
    EXPECT_EQ(file->GetFrameCount(), result == NxErrSuccess ? written + 1 : written);
    for (int32_t track = 0; track < 2; ++track) {
      NxAudioWriteRequest audio;
      audio.file = track;
      audio.buffer = sound.data();
      audio.bytes = 40000;
      (void)file->WriteAudio(&audio);
    }
  }
  (void)file->Close();
}

void ExpectOnlyWholeFiles(const std::string& folder, const std::string& what) {
  EXPECT_EQ(ReadText(folder + "/older_000000.yuv"), "precious") << what;
  uint32_t number = 0;
  for (const std::string& name : FilesIn(folder)) {
    if (name.find(".yuv") == std::string::npos || name.rfind("clip", 0) != 0) continue;
    char expected[32];
    snprintf(expected, sizeof expected, "clip_%06u.yuv", number);
    EXPECT_EQ(name, expected) << what << ": frames have no gap";
    EXPECT_EQ(ReadBytes(folder + "/" + name), Noise(kSmallBytes, number + 1))
        << what << " " << name;
    ++number;
  }
  for (const char* name : {"/clip.wav", "/clip_A2.wav"}) {
    if (!Exists(folder + name)) continue;
    const auto bytes = ReadBytes(folder + name);
    ASSERT_GE(bytes.size(), 44u) << what;
    EXPECT_EQ(Hex(bytes, 0, 4), "52494646") << what;
    EXPECT_LE(LoadLe32(bytes.data() + 40) + 44, bytes.size()) << what;
  }
}

class SequenceFault : public testing::TestWithParam<FileCall> {};

TEST_P(SequenceFault, WhicheverCallFailsNoHalfFrameStays) {
  const int descriptors = OpenDescriptors();
  int calls = 0;
  {
    const FileFault count(GetParam(), 100000, EIO);
    CaptureTenFrames(FreshFolder("clean"));
    calls = count.Calls();
  }
  ASSERT_GT(calls, 0);
  for (int nth = 1; nth <= calls; ++nth) {
    const std::string folder = FreshFolder("fault");
    WriteText(folder + "/older_000000.yuv", "precious");
    {
      const FileFault fault(GetParam(), nth, ENOSPC);
      CaptureTenFrames(folder);
      EXPECT_GE(fault.Failed(), 1);
    }
    ExpectOnlyWholeFiles(folder, std::to_string(nth));
  }
  EXPECT_EQ(OpenDescriptors(), descriptors);
}

INSTANTIATE_TEST_SUITE_P(, SequenceFault,
                         testing::Values(FileCall::kOpen, FileCall::kWrite, FileCall::kTruncate,
                                         FileCall::kSync, FileCall::kClose, FileCall::kFolderSync));

TEST(SequenceFailure, DiskThatFillsUpKeepsWhatWasWritten) {
  for (int nth = 1; nth <= 12; nth += 3) {
    const std::string folder = FreshFolder("full");
    WriteText(folder + "/older_000000.yuv", "precious");
    {
      const FileFault fault(FileCall::kWrite, nth, ENOSPC, true);
      CaptureTenFrames(folder);
    }
    ExpectOnlyWholeFiles(folder, std::to_string(nth));
  }
}

TEST(SequenceFailure, FileLimitOfTheSystemLeavesNoHalfFrame) {
  const std::string folder = FreshFolder("limit");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  rlimit old;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  const auto previous = std::signal(SIGXFSZ, SIG_IGN);
  rlimit small = old;
  small.rlim_cur = 65536;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_EQ(WriteNoise(file.get(), info, 1), -2);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
  std::signal(SIGXFSZ, previous);
  EXPECT_TRUE(FilesIn(folder).empty());
  EXPECT_EQ(WriteNoise(file.get(), info, 1), 0) << "and the next frame is the first";
  EXPECT_EQ(file->Close(), 0);
  EXPECT_EQ(ReadBytes(folder + "/clip_000000.yuv"), Noise(699840, 1));
}

TEST(SequenceFailure, RemovedFolderIsTold) {
  const std::string folder = FreshFolder("gone");
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = SmallInfo();
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), 0);
  ASSERT_EQ(WriteNoise(file.get(), info, 1), 0);
  std::filesystem::remove_all(folder);
  EXPECT_EQ(WriteNoise(file.get(), info, 2), -2);
  EXPECT_EQ(file->GetFrameCount(), 1);
  EXPECT_EQ(file->Close(), -2) << "what was written is lost";
}

}  // namespace
}  // namespace morvane::test
