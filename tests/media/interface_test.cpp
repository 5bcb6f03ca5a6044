#include <gtest/gtest.h>

#include <bit>
#include <memory>

#include "media/clip_builder.h"
#include "media/data_vyr.h"
#include "media/media_yuv.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

#if defined(__x86_64__) && defined(__linux__)
// Place of a virtual operation in its class's table; the destructor takes the first two entries.
template <typename Member>
ptrdiff_t SlotOf(Member member) {
  struct Parts {
    ptrdiff_t entry;
    ptrdiff_t adjustment;
  };
  static_assert(sizeof(Member) == sizeof(Parts));
  return (std::bit_cast<Parts>(member).entry - 1) / static_cast<ptrdiff_t>(sizeof(void*)) - 1;
}

TEST(MediaInterface, OperationsStandInTheirSlots) {
  using B = NxMediaFileBase;
  std::string text;
  const auto slot = [&text](const char* name, ptrdiff_t number) {
    text += std::to_string(number) + " " + name + "\n";
  };
#define SLOT(name) slot(#name, SlotOf(&B::name))
  SLOT(IsQuickTimeFile);
  SLOT(OpenRead);
  SLOT(PrepareDecoder);
  SLOT(ReleaseDecoder);
  SLOT(ReadImage);
  SLOT(ReadAudio);
  SLOT(ReadTimecode);
  SLOT(GetMetadata);
  SLOT(GetReadInfo);
  SLOT(GetChannelNameW);
  SLOT(GetChannelName);
  SLOT(ReduceToStill);
  SLOT(CreateWrite);
  SLOT(WriteImage);
  SLOT(WriteAudio);
  SLOT(WriteReserved);
  SLOT(SetMetadata);
  SLOT(GetWriteInfo);
  SLOT(Reserved);
  SLOT(CheckFrameWritten);
  SLOT(GetFrameCount);
  SLOT(GetAudioSampleCount);
  SLOT(GetImageFileName);
  SLOT(GetImageFileNameW);
  SLOT(GetImageFileHandle);
  SLOT(GetAudioFileName);
  SLOT(GetAudioFileNameW);
  SLOT(GetAudioFileHandle);
  SLOT(GetAudioFrameCount);
  SLOT(SetFilesOpen);
  SLOT(Close);
  SLOT(DeleteFile);
  SLOT(DeleteAllFiles);
  SLOT(GetClipStyles);
  SLOT(GetNumImageWriteFormats);
  SLOT(GetImageWriteFormatDescription);
  SLOT(GetNumAudioWriteFormats);
  SLOT(GetAudioWriteFormatDescription);
  SLOT(GetMaxAudioFiles);
  SLOT(GetAudioFormatChannels);
  SLOT(SupportsClipMetadata);
  SLOT(GetMetadataCaps);
  SLOT(GetMediaImageExtensionW);
  SLOT(GetMediaImageExtension);
  SLOT(GetMediaAudioExtensionW);
  SLOT(GetMediaAudioExtension);
  SLOT(GetMediaNameW);
  SLOT(GetMediaName);
  SLOT(SetBaseValue64);
  SLOT(SetBaseValuePair);
  SLOT(GetBaseFlag);
  SLOT(GetBaseValueA);
  SLOT(SetBaseValueA);
  SLOT(SetBaseValueB);
#undef SLOT
  EXPECT_EQ(text, ReadText(DataPath("golden/media_slots.txt")));
}
#endif

TEST(MediaInterface, BaseValuesAreKept) {
  NxMediaYUV file;
  EXPECT_EQ(file.GetBaseFlag(), 0);
  EXPECT_EQ(file.GetBaseValueA(), 0u);
  file.SetBaseValueA(7);
  file.SetBaseValueB(8);
  file.SetBaseValue64(1, 2);
  file.SetBaseValuePair(3, 4);
  EXPECT_EQ(file.GetBaseValueA(), 7u);
}

TEST(MediaInterface, YuvDescribesItself) {
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->GetNumImageWriteFormats(), 1);
  NxImageWriteFormatDescription format;
  ASSERT_EQ(file->GetImageWriteFormatDescription(0, &format), 0);
  EXPECT_EQ(FourCCText(format.fourcc), "2vuy");
  EXPECT_STREQ(format.name, "8-bit YUV 4:2:2");
  EXPECT_EQ(format.wideName.Get(), u"8-bit YUV 4:2:2");
  EXPECT_EQ(format.orientation, 1u);
  EXPECT_EQ(format.bitDepth, 8u);
  EXPECT_EQ(Hex({format.flags, format.flags + 6}, 0, 6), "000100010000");
  EXPECT_EQ(format.hasQuality, 0);
  EXPECT_EQ(file->GetImageWriteFormatDescription(1, &format), 1);
  EXPECT_EQ(file->GetImageWriteFormatDescription(-1, &format), 1);
  EXPECT_EQ(file->GetImageWriteFormatDescription(0, nullptr), 1);
  EXPECT_EQ(file->GetNumAudioWriteFormats(), 16);
  EXPECT_EQ(file->GetMaxAudioFiles(3), 16);
  EXPECT_EQ(file->GetMaxAudioFiles(16), 0);
  EXPECT_EQ(file->GetAudioFormatChannels(4), 2);
  EXPECT_EQ(file->GetAudioFormatChannels(16), 1);
  NxAudioWriteFormatDescription audio;
  EXPECT_EQ(file->GetAudioWriteFormatDescription(2, &audio), 0);
  EXPECT_EQ(FourCCText(audio.fourcc), "32au");
  EXPECT_EQ(file->GetAudioWriteFormatDescription(-1, &audio), 1);
  uint8_t styles[4];
  EXPECT_EQ(file->GetClipStyles(styles), 0);
  EXPECT_EQ(Hex({styles, styles + 4}, 0, 4), "01010100");
  uint8_t caps[kMetadataCapsBytes];
  EXPECT_EQ(file->GetMetadataCaps(caps), 0);
  EXPECT_EQ(Hex({caps, caps + 42}, 0, 42), "000001" + std::string(78, '0'));
  EXPECT_FALSE(file->SupportsClipMetadata());
  EXPECT_FALSE(file->IsQuickTimeFile());
  char text[kFormatNameChars];
  char16_t wide[kFormatNameChars];
  EXPECT_EQ(file->GetMediaName(text), 0);
  EXPECT_STREQ(text, "YUV Sequence");
  EXPECT_EQ(file->GetMediaImageExtensionW(wide), 0);
  EXPECT_EQ(std::u16string(wide), u"yuv");
  EXPECT_EQ(file->GetMediaAudioExtensionW(wide), 0);
  EXPECT_EQ(std::u16string(wide), u"wav");
  EXPECT_EQ(file->PrepareDecoder(), 0);
  EXPECT_EQ(file->ReleaseDecoder(), 0);
  EXPECT_EQ(file->WriteReserved(), 0);
  EXPECT_EQ(file->Reserved(), 0);
  EXPECT_EQ(file->CheckFrameWritten(5), 0);
}

TEST(MediaInterface, EverySequenceDescribesItself) {
  const struct {
    NxFileType type;
    int32_t formats;
    const char* name;
    const char* extension;
    const char* caps;  // the first four bytes; all others are zero
    bool clipMetadata;
  } rows[] = {{NxFileTypeDPX, 10, "DPX Sequence", "dpx", "010001e0", true},
              {NxFileTypeCIN, 1, "Cineon Sequence", "cin", "00000000", false},
              {NxFileTypeTGA, 4, "TGA Sequence", "tga", "00000100", false},
              {NxFileTypeBMP, 4, "BMP Sequence", "bmp", "00000100", false},
              {NxFileTypeTIF, 10, "TIFF Sequence", "tif", "00000100", false},
              {NxFileTypeYUV, 1, "YUV Sequence", "yuv", "00000100", false}};
  for (const auto& row : rows) {
    const MediaFilePtr file(CreateMediaFile(row.type));
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetNumImageWriteFormats(), row.formats) << row.name;
    char text[kFormatNameChars];
    char16_t wide[kFormatNameChars];
    std::u16string wanted;
    EXPECT_EQ(file->GetMediaName(text), 0);
    EXPECT_STREQ(text, row.name);
    EXPECT_EQ(file->GetMediaNameW(wide), 0);
    ASSERT_TRUE(Utf8ToUtf16(row.name, &wanted));
    EXPECT_EQ(std::u16string(wide), wanted);
    EXPECT_EQ(file->GetMediaImageExtension(text), 0);
    EXPECT_STREQ(text, row.extension);
    EXPECT_EQ(file->GetMediaImageExtensionW(wide), 0);
    ASSERT_TRUE(Utf8ToUtf16(row.extension, &wanted));
    EXPECT_EQ(std::u16string(wide), wanted);
    EXPECT_EQ(file->GetMediaAudioExtension(text), 0);
    EXPECT_STREQ(text, "wav");
    uint8_t styles[4];
    EXPECT_EQ(file->GetClipStyles(styles), 0);
    EXPECT_EQ(Hex({styles, styles + 4}, 0, 4), "01010100") << row.name;
    uint8_t caps[kMetadataCapsBytes];
    EXPECT_EQ(file->GetMetadataCaps(caps), 0);
    EXPECT_EQ(Hex({caps, caps + 42}, 0, 42), row.caps + std::string(76, '0')) << row.name;
    EXPECT_EQ(file->SupportsClipMetadata(), row.clipMetadata) << row.name;
    EXPECT_FALSE(file->IsQuickTimeFile());
    EXPECT_EQ(file->GetNumAudioWriteFormats(), 16);
    for (int32_t i = 0; i < row.formats; ++i) {
      NxImageWriteFormatDescription format;
      ASSERT_EQ(file->GetImageWriteFormatDescription(i, &format), 0);
      ASSERT_TRUE(Utf8ToUtf16(format.name, &wanted));
      EXPECT_EQ(format.wideName.Get(), wanted);
      EXPECT_EQ(Hex({format.flags, format.flags + 6}, 0, 6), "000100010000") << row.name;
      EXPECT_EQ(format.hasQuality, 0);
    }
    NxImageWriteFormatDescription format;
    EXPECT_EQ(file->GetImageWriteFormatDescription(row.formats, &format), 1);
    char path[kNxFileNameChars];
    EXPECT_EQ(file->GetImageFileName(path), 0);
    EXPECT_STREQ(path, "None") << "no clip yet";
  }
}

TEST(MediaInterface, ExtensionChoosesTheClass) {
  EXPECT_EQ(MediaTypeOfPath("/v/clip_000000.yuv", false), NxFileTypeYUV);
  EXPECT_EQ(MediaTypeOfPath("/v/clip_000000.YuV", false), NxFileTypeYUV);
  EXPECT_EQ(MediaTypeOfPath(u"/v/clip_000000.yuv", true), NxFileTypeYUV);
  EXPECT_EQ(MediaTypeOfPath("/v/yuv", false), NxFileTypeNone) << "no full stop";
  EXPECT_EQ(MediaTypeOfPath("/v/clip.", false), NxFileTypeNone);
  EXPECT_EQ(MediaTypeOfPath("/v/clip.wav", false), NxFileTypeNone) << "sound is no clip";
  EXPECT_EQ(MediaTypeOfPath("/v/clip.yuv ", false), NxFileTypeNone);
  EXPECT_EQ(MediaTypeOfPath(nullptr, false), NxFileTypeNone);
  EXPECT_EQ(MediaTypeOfPath("/v/clip.yuv", true), NxFileTypeNone) << "the other form";
  NxMediaFileInfo info;
  MediaFilePtr file;
  EXPECT_EQ(Open("/v/noext", &info, &file), 100005);
  EXPECT_EQ(file, nullptr);
}

TEST(MediaInterface, LayerStartIsCounted) {
  EXPECT_EQ(NxMediaFileInit(), 0);
  EXPECT_EQ(NxMediaFileInit(), 0);
  NxMediaFileDeinit();
  NxMediaFileDeinit();
  NxMediaFileDeinit();
  const std::string folder = FreshFolder("init");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 1, "000001")) << "usable after the last end, too";
  NxMediaFileInfo info;
  MediaFilePtr file;
  EXPECT_EQ(Open(folder + "/clip_000001.yuv", &info, &file), 0);
  EXPECT_EQ(info.timeScale, 30000);
}

TEST(MediaInterface, StatesAndRefusals) {
  const std::string folder = FreshFolder("states");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 2));
  const std::string path = folder + "/clip_000000.yuv";
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaFileInfo info = {};
  NxMediaCreateInfo create = PictureInfo(720, 486, FourCC("2vuy"));
  EXPECT_EQ(file->Close(), -2);
  EXPECT_EQ(file->SetFilesOpen(true), -2);
  EXPECT_EQ(file->ReduceToStill(), 1);
  EXPECT_EQ(file->GetReadInfo(&info), 1);
  EXPECT_EQ(file->GetWriteInfo(&create), 1);
  create = PictureInfo(720, 486, FourCC("2vuy"));
  NxImageReadRequest read;
  NxImageWriteRequest write;
  EXPECT_EQ(file->ReadImage(&read), -2);
  EXPECT_EQ(file->WriteImage(&write), -2);
  EXPECT_EQ(file->ReadImage(nullptr), -2);
  EXPECT_EQ(file->WriteImage(nullptr), -2);
  EXPECT_EQ(file->ReadAudio(nullptr), 1);
  EXPECT_EQ(file->WriteAudio(nullptr), 1);
  EXPECT_EQ(file->OpenRead(path, false, nullptr, nullptr, kOpenExisting, 0x0D, 0, false), 1);
  EXPECT_EQ(file->OpenRead(path, false, nullptr, &info, 0, 0x0D, 0, false), 100005);
  EXPECT_EQ(file->OpenRead(path, false, nullptr, &info, kOpenExisting, 0x0D, 0, true), 100005)
      << "8-bit text where 16-bit is announced";
  EXPECT_EQ(file->CreateWrite("c", nullptr, folder, folder, nullptr, kCreateNew, 0x0B, false), 1);
  EXPECT_EQ(file->CreateWrite("c", nullptr, folder, folder, &create, kOpenExisting, 0x0B, false),
            0);
  EXPECT_EQ(file->Close(), -2) << "nothing was made";
  ASSERT_EQ(file->OpenRead(path, false, nullptr, &info, kOpenExisting, 0x0D, 0, false), 0);
  EXPECT_EQ(file->OpenRead(path, false, nullptr, &info, kOpenExisting, 0x0D, 0, false), 10002);
  EXPECT_EQ(Create(file.get(), folder, "other", &create), 10002);
  EXPECT_EQ(file->DeleteFile(), -2);
  EXPECT_EQ(file->DeleteAllFiles(), -2);
  EXPECT_EQ(file->WriteImage(&write), -2);
  EXPECT_EQ(file->GetFrameCount(), 2);
  EXPECT_EQ(file->GetAudioFrameCount(0, 30000, 1001), 0);
  EXPECT_EQ(file->GetAudioFrameCount(16, 30000, 1001), 0);
  char name[kNxFileNameChars];
  EXPECT_EQ(file->GetAudioFileName(0, name), 0);
  EXPECT_STREQ(name, "None");
  EXPECT_EQ(file->GetChannelName(0, 0, name), 1);
  EXPECT_STREQ(name, "Unknown");
  EXPECT_EQ(file->Close(), 0);
  EXPECT_EQ(file->GetImageFileName(name), 0);
  EXPECT_EQ(std::string(name), path) << "names stay known";
  ASSERT_EQ(file->OpenRead(path, false, nullptr, &info, kOpenExisting, 0x0D, 0, false), 0)
      << "and the object opens again";
}

TEST(MediaInterface, HandlesAreThoseOfTheOpenFiles) {
  const std::string folder = FreshFolder("handles");
  ASSERT_TRUE(WriteYuvClip(folder, "clip", 1, nullptr, 0, 2));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000000.yuv", &info, &file), NxErrSuccess);
  uint64_t bytes = 0;
  ASSERT_NE(file->GetImageFileHandle(), nullptr);
  EXPECT_EQ(file->GetImageFileHandle()->GetSize(&bytes), 0);
  EXPECT_EQ(bytes, 699840u);
  ASSERT_NE(file->GetAudioFileHandle(1), nullptr);
  EXPECT_EQ(file->GetAudioFileHandle(1)->GetSize(&bytes), 0);
  EXPECT_EQ(bytes, 44u + 3204);
  EXPECT_EQ(file->Close(), 0);
  EXPECT_FALSE(file->GetImageFileHandle()->IsOpen());
}

TEST(MediaInterface, WidePathsAndNamesConvert) {
  const std::string folder = FreshFolder("wide");
  ASSERT_TRUE(WriteYuvClip(folder, "\xC3\x84", 1));
  const std::string path = folder + "/\xC3\x84_000000.yuv";
  std::u16string wide;
  ASSERT_TRUE(Utf8ToUtf16(path, &wide));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(OpenMediaClip(wide, false, nullptr, 0, true, &info, &file), 0);
  char name[kNxFileNameChars];
  EXPECT_EQ(file->GetImageFileName(name), 0);
  EXPECT_EQ(std::string(name), path);
  auto wideName = std::make_unique<char16_t[]>(kNxFileNameChars);
  EXPECT_EQ(file->GetImageFileNameW(wideName.get()), 0);
  EXPECT_EQ(std::u16string(wideName.get()), wide);
  const char16_t lone[] = {u'/', u'v', 0xD800, u'.', u'y', u'u', u'v', 0};
  EXPECT_EQ(OpenMediaClip(lone, false, nullptr, 0, true, &info, &file), 100005);
}

TEST(MediaInterface, NameWithoutOtherFormCannotBeDisplayed) {
  const std::string folder = FreshFolder("wide");
  const std::string path = folder + "/\xFF_000000.yuv";
  WriteBytes(path, Noise(699840, 1));
  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(path, &info, &file), 0);
  auto wideName = std::make_unique<char16_t[]>(kNxFileNameChars);
  EXPECT_EQ(file->GetImageFileNameW(wideName.get()), 0);
  EXPECT_EQ(std::u16string(wideName.get()), u"Cannot Display Name");
}

TEST(MediaInterface, WideClipIsWrittenUnderItsUtf8Name) {
  const std::string folder = FreshFolder("wide");
  std::u16string wideFolder;
  ASSERT_TRUE(Utf8ToUtf16(folder, &wideFolder));
  const MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  AddAudio(&info, 0, 1);
  ASSERT_EQ(
      file->CreateWrite(u"\u00D6", u"0005", wideFolder, wideFolder, &info, kCreateNew, 0x0B, true),
      0);
  EXPECT_TRUE(Exists(folder + "/\xC3\x96_0005.yuv"));
  EXPECT_TRUE(Exists(folder + "/\xC3\x96.wav"));
}

}  // namespace
}  // namespace morvane::test
