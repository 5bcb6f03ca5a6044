// Frames that are damaged, lie, or are of another kind, named by what is wrong with them. A name
// begins with what must come of it. Files that fuzzing finds belong here too.
#include <gtest/gtest.h>

#include <filesystem>

#include "media/still_clip.h"

namespace morvane {
namespace {

using namespace morvane::test;

std::vector<std::string> CorpusFiles() {
  std::vector<std::string> paths;
  for (const char* format : {"dpx", "cin", "tga", "bmp", "tif"}) {
    for (const auto& entry :
         std::filesystem::directory_iterator(DataPath(std::string("corpus/") + format))) {
      paths.push_back(entry.path().string());
    }
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

bool Promises(const std::string& path, const char* what) {
  return path.substr(path.rfind('/') + 1).starts_with(what);
}

TEST(StillCorpus, IsThere) {
  EXPECT_GE(CorpusFiles().size(), 100u);
}

TEST(StillCorpus, BadFramesAreRefusedAsAFormatThatIsNotOurs) {
  for (const std::string& path : CorpusFiles()) {
    if (!Promises(path, "refused-")) continue;
    EXPECT_EQ(OpenCode(path), NxErrVideoFormatNotSupported) << path;
  }
}

TEST(StillCorpus, OthersOpenAndGiveAPictureInEveryWayOfReading) {
  for (const std::string& path : CorpusFiles()) {
    if (!Promises(path, "opens-")) continue;
    SCOPED_TRACE(path);
    const auto info = std::make_unique<NxMediaFileInfo>();
    MediaFilePtr file;
    ASSERT_EQ(Open(path, info.get(), &file), NxErrSuccess);
    ASSERT_GT(info->frameBytes, 0);
    PageBuffer buffer;
    NxImageReadRequest request = PlainRead(*info, &buffer, 512);
    ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
    EXPECT_LE(request.dataOffset + static_cast<uint64_t>(info->imageBytes), buffer.Bytes());
    request = PlainRead(*info, &buffer, 0);
    request.subRect = 1;
    request.srcX = request.srcY = request.dstX = request.dstY = 0;
    request.srcWidth = request.dstWidth = info->width;
    request.srcHeight = request.dstHeight = 1;
    EXPECT_EQ(file->ReadImage(&request), NxErrSuccess);
    request = PlainRead(*info, &buffer, 0);
    request.fourcc = FourCC("2vuy");
    request.pitch = PixelLineBytes(request.fourcc, info->width);
    EXPECT_EQ(file->ReadImage(&request), NxErrSuccess);
    NxTimeCodeRecord record;
    (void)file->ReadTimecode(0, &record);
    EXPECT_EQ(file->Close(), NxErrSuccess);
  }
}

TEST(StillCorpus, AnyOfThemInTheMiddleOfAClipIsBlackOrAPicture) {
  const struct {
    NxFileType type;
    FourCCCode fourcc;
  } kClips[] = {{NxFileTypeDPX, FourCC("11rb")},
                {NxFileTypeCIN, FourCC("10rb")},
                {NxFileTypeTGA, FourCC("bgr ")},
                {NxFileTypeBMP, FourCC("bgr ")},
                {NxFileTypeTIF, FourCC("rgb ")}};
  for (const auto& clip : kClips) {
    const std::string folder = FreshFolder("middle");
    const auto good = Picture(clip.fourcc, 16, 6, 1);
    ASSERT_EQ(WriteStills(clip.type, folder, PictureInfo(16, 6, clip.fourcc), {good, good, good}),
              NxErrSuccess);
    for (const std::string& path : CorpusFiles()) {
      if (!path.ends_with(ExtensionOfType(clip.type))) continue;
      WriteBytes(FramePath(folder, clip.type, 1), ReadBytes(path));
      EXPECT_EQ(StoredPixels(FramePath(folder, clip.type), 1).size(), good.size()) << path;
      EXPECT_EQ(StoredPixels(FramePath(folder, clip.type), 2), good) << path;
    }
  }
}

}  // namespace
}  // namespace morvane
