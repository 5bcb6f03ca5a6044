// Captures on a disk that fails: what is told, and what is left behind.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "base/file_io.h"
#include "media/still_clip.h"

namespace morvane {
namespace {

using namespace morvane::test;

constexpr int kFrames = 10;
constexpr int32_t kWidth = 32;
constexpr int32_t kHeight = 16;

class FailingCapture : public testing::TestWithParam<NxFileType> {
 protected:
  FourCCCode Fourcc() const { return RowsOf(GetParam())[0].fourcc; }
  uint32_t Orientation() const { return RowsOf(GetParam())[0].orientation; }

  // A capture that goes on after a frame that failed. Returns: the frames that were taken.
  int Capture(const std::string& folder, NxErr* created) {
    const MediaFilePtr file(CreateMediaFile(GetParam()));
    NxMediaCreateInfo info = PictureInfo(kWidth, kHeight, Fourcc(), Orientation());
    *created = Create(file.get(), folder, "clip", &info);
    if (*created != NxErrSuccess) return 0;
    const auto pixels = Picture(Fourcc(), kWidth, kHeight, Orientation());
    int taken = 0;
    for (int i = 0; i < kFrames; ++i) {
      NxImageWriteRequest request = CopiedWrite(info, pixels.data());
      request.frame = i;
      const NxErr result = file->WriteImage(&request);
      taken += result == NxErrSuccess;
      EXPECT_EQ(file->GetFrameCount(), taken);
      EXPECT_TRUE(result == NxErrSuccess || result == NxErrFailure) << result;
    }
    (void)file->Close();
    return taken;
  }

  // Frames in `folder`, every one of which must be whole.
  int WholeFrames(const std::string& folder) {
    const auto good = Picture(Fourcc(), kWidth, kHeight, Orientation());
    int frames = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().extension() != "." + ExtensionOfType(GetParam())) continue;
      ++frames;
      EXPECT_EQ(StoredPixels(entry.path().string()), good) << entry.path();
    }
    return frames;
  }
};

TEST_P(FailingCapture, LeavesNoHalfFrameWhicheverCallFails) {
  int calls = 0;
  {
    FileFault count(FileCall::kAny, 1 << 30, EIO);
    NxErr created;
    ASSERT_EQ(Capture(FreshFolder("count"), &created), kFrames);
    calls = count.Calls();
  }
  ASSERT_GT(calls, 2 * kFrames);
  for (int n = 1; n <= calls; ++n) {
    const std::string folder = FreshFolder("fault");
    WriteText(folder + "/clip_000100." + ExtensionOfType(GetParam()), "an older file");
    NxErr created;
    int taken = 0;
    {
      FileFault fault(FileCall::kAny, n, ENOSPC);
      taken = Capture(folder, &created);
    }
    SCOPED_TRACE("call " + std::to_string(n));
    EXPECT_TRUE(created == NxErrSuccess || created == NxErrCreateVideoFile) << created;
    const std::string older = folder + "/clip_000100." + ExtensionOfType(GetParam());
    EXPECT_EQ(ReadText(older), "an older file");
    std::filesystem::remove(older);
    EXPECT_EQ(WholeFrames(folder), taken);
    std::filesystem::remove_all(folder);
  }
}

TEST_P(FailingCapture, DiskThatStaysFullTakesNoMoreFrames) {
  for (const int n : {1, 4}) {
    const std::string folder = FreshFolder("full");
    NxErr created;
    int taken = 0;
    {
      FileFault fault(FileCall::kWrite, n, ENOSPC, true);
      taken = Capture(folder, &created);
    }
    EXPECT_EQ(taken, n - 1);
    EXPECT_EQ(WholeFrames(folder), taken);
  }
}

TEST_P(FailingCapture, FolderThatGoesAwayIsAnErrorAndNoCrash) {
  const std::string folder = FreshFolder("gone");
  const MediaFilePtr file(CreateMediaFile(GetParam()));
  NxMediaCreateInfo info = PictureInfo(kWidth, kHeight, Fourcc(), Orientation());
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  const auto pixels = Picture(Fourcc(), kWidth, kHeight, Orientation());
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  std::filesystem::remove_all(folder);
  EXPECT_EQ(file->WriteImage(&request), NxErrFailure);
  EXPECT_EQ(file->GetFrameCount(), 1);
  (void)file->Close();
  EXPECT_EQ(Create(file.get(), folder, "clip", &info), NxErrCreateVideoFile);
}

TEST_P(FailingCapture, NeverOverwritesAFrame) {
  const std::string folder = FreshFolder("exists");
  const std::string path = FramePath(folder, GetParam(), 2);
  WriteText(path, "somebody's frame");
  NxErr created;
  // Frame 2 is refused, the others are taken.
  EXPECT_EQ(Capture(folder, &created), kFrames - 1);
  EXPECT_EQ(ReadText(path), "somebody's frame");
  EXPECT_EQ(Capture(folder, &created), 0);
  EXPECT_EQ(created, NxErrCreateVideoFile);
}

std::string TypeName(const testing::TestParamInfo<NxFileType>& info) {
  return ExtensionOfType(info.param);
}
INSTANTIATE_TEST_SUITE_P(Formats, FailingCapture,
                         testing::Values(NxFileTypeDPX, NxFileTypeCIN, NxFileTypeTGA, NxFileTypeBMP,
                                         NxFileTypeTIF),
                         TypeName);

}  // namespace
}  // namespace morvane
