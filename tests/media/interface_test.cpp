#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <memory>

#include "media/clip_builder.h"
#include "media/data_vyr.h"
#include "media/media_timecode.h"
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

TEST(MediaRecords, MergeCopiesOnlyNamedSections) {
  NxMediaMetadata from = {};
  PutText("REEL", from.reelName, sizeof from.reelName);
  PutText("SHOT", from.shot, sizeof from.shot);
  NxMediaMetadata into = {};
  EXPECT_EQ(MergeMetadata(from, &into), -2);
  const NxMediaMetadata none = {};
  EXPECT_EQ(std::memcmp(&into, &none, sizeof none), 0) << "nothing named changes nothing";
  from.presentFlags = kMetaReelName;
  EXPECT_EQ(MergeMetadata(from, &into), 0);
  EXPECT_STREQ(into.reelName, "REEL");
  EXPECT_STREQ(into.shot, "");
  const auto* bytes = reinterpret_cast<const uint8_t*>(&into);
  const std::vector<uint8_t> block(bytes, bytes + sizeof into);
  EXPECT_EQ(Hex(block, 0, 8), "0100000008000000");
  EXPECT_EQ(Hex(block, 107, 4), "5245454c");
  EXPECT_EQ(Hex(block, 395, 8), "01000000fc050000");
  EXPECT_EQ(Hex(block, 4088, 8), "0010000078563412");
}

TEST(MediaRecords, MergeTakesEachSection) {
  NxMediaMetadata from;
  std::memset(static_cast<void*>(&from), 'x', sizeof from);
  struct Part {
    uint32_t bit;
    size_t offset, bytes;
  };
  const Part parts[] = {{1, 8, 14},    {2, 22, 21},    {4, 43, 64},
                        {8, 107, 32},  {16, 139, 128}, {32, 267, 64},
                        {64, 331, 32}, {128, 363, 32}, {256, 403, 1524}};
  for (const Part& part : parts) {
    NxMediaMetadata into = {};
    from.presentFlags = part.bit;
    ASSERT_EQ(MergeMetadata(from, &into), 0);
    EXPECT_EQ(into.presentFlags, part.bit);
    const auto* bytes = reinterpret_cast<const uint8_t*>(&into);
    for (size_t i = 8; i < 4088; ++i) {
      if (i >= 395 && i < 403) continue;  // the extended section's own head
      const bool inside = i >= part.offset && i < part.offset + part.bytes;
      ASSERT_EQ(bytes[i], inside ? 'x' : 0) << part.bit << " at " << i;
    }
  }
}

NxMediaMetadata Stamped(uint32_t word, int32_t scale, int32_t rate, uint8_t drop) {
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaTimeCode;
  metadata.timeCode = word;
  metadata.userBits = 0x12345678;
  metadata.timeCodeType = 2;
  metadata.dropFrame = drop;
  metadata.tcScale = scale;
  metadata.tcRate = rate;
  return metadata;
}

TEST(MediaTimecode, FrameIsAddedToTheStart) {
  NxTimeCodeRecord record;
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x24590001, 25000, 1000, 0), 1, &record), 0);
  EXPECT_EQ(record.timeCode, 0x00000101u) << "01:00:59:24 and one frame";
  EXPECT_EQ(record.flags, 2u);
  EXPECT_EQ(record.tcScale, 25000);
  EXPECT_EQ(record.timeCodeType, 2u);
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x00000001, 30000, 1001, 1), 1800, &record), 0);
  EXPECT_EQ(record.timeCode, 0x02000101u) << "01;01;00;02";
}

TEST(MediaTimecode, StartAtSixtyComesBack) {
  NxTimeCodeRecord record;
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x00000001, 60000, 1001, 1), 0, &record), 0);
  EXPECT_EQ(record.timeCode, 0x00000001u) << "01;00;00;00";
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x00000001, 60000, 1001, 1), 2, &record), 0);
  EXPECT_EQ(record.timeCode, 0x01000001u) << "two frames are one count";
}

TEST(MediaTimecode, RefusedRateGivesAZeroWord) {
  NxTimeCodeRecord record;
  ASSERT_EQ(TimecodeOfFrame(Stamped(0x05000001, -1, -1, 0), 3, &record), 0);
  EXPECT_EQ(record.flags, 2u);
  EXPECT_EQ(record.timeCode, 0u);
}

TEST(MediaTimecode, NoneIsAZeroRecord) {
  NxTimeCodeRecord record;
  std::memset(static_cast<void*>(&record), 'x', sizeof record);
  NxMediaMetadata metadata = Stamped(1, 25000, 1000, 0);
  EXPECT_EQ(TimecodeOfFrame(metadata, -1, &record), -2);
  const NxTimeCodeRecord none = {};
  EXPECT_EQ(std::memcmp(&record, &none, sizeof none), 0);
  metadata.presentFlags = kMetaReelName;
  EXPECT_EQ(TimecodeOfFrame(metadata, 0, &record), -2);
}

TEST(FileHandle, OffsetsSeeksAndRefusals) {
  const std::string path = FreshFolder("handle") + "/f";
  NxFileHandle file;
  uint8_t buffer[8] = {};
  uint64_t done = 9;
  EXPECT_EQ(file.Read(buffer, 4, &done), 10001);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file.Write(buffer, 4), 10001);
  EXPECT_EQ(file.Seek64(0, NxSeekBegin), 10001);
  EXPECT_EQ(file.Close(), 10001);
  EXPECT_EQ(file.OpenA(path.c_str(), kOpenExisting, kAccessRead), -2);
  ASSERT_EQ(file.OpenA(path.c_str(), kCreateNew, kAccessRead | kAccessWrite | 0x40), 0);
  EXPECT_EQ(file.OpenA(path.c_str(), kCreateNew, kAccessRead), 10002);
  EXPECT_EQ(file.Write("abcdefgh", 8), 0);
  EXPECT_EQ(file.SeekScaled(-2, 2, NxSeekCurrent), 0);
  EXPECT_EQ(file.Read(buffer, 8, &done), 0);
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(buffer[0], 'e');
  EXPECT_EQ(file.Seek64(-1, NxSeekEnd), 0);
  EXPECT_EQ(file.Read(buffer, 1, nullptr), 0);
  EXPECT_EQ(buffer[0], 'h');
  EXPECT_EQ(file.Seek64(-9, NxSeekEnd), -2);
  EXPECT_EQ(file.SeekScaled(INT64_MAX, 2, NxSeekBegin), -2);
  uint64_t bytes = 0;
  EXPECT_EQ(file.GetSize(&bytes), 0);
  EXPECT_EQ(bytes, 8u);
  EXPECT_EQ(file.Close(), 0);
  EXPECT_EQ(file.OpenA(path.c_str(), kCreateNew, kAccessWrite), -2);
  EXPECT_EQ(ReadText(path), "abcdefgh") << "only-new leaves what is there";
  ASSERT_EQ(file.OpenA(path.c_str(), kCreateOrTruncate, kAccessWrite), 0);
  EXPECT_EQ(file.GetSize(&bytes), 0);
  EXPECT_EQ(bytes, 0u);
}

TEST(MediaText, CleanTextIsAlwaysTaken) {
  EXPECT_EQ(CleanText("a\tb\x1F\x7F"), "ab\x7F");
  EXPECT_EQ(CleanText("\xC3\x84"), "\xC3\x84");
  EXPECT_EQ(CleanText("\xC3"), "\xC3\x83") << "half a character counts as Latin-1";
  EXPECT_EQ(CleanText("\xED\xA0\x80").size(), 6u) << "a surrogate is no UTF-8";
  EXPECT_EQ(CleanText("x\xEF\xBF\xBFy"), "xy");
}

TEST(MediaText, CutsBetweenCharacters) {
  char narrow[4];
  PutText("ab\xC3\x84", narrow, sizeof narrow);
  EXPECT_STREQ(narrow, "ab");
  char16_t wide[4];
  ASSERT_TRUE(PutText("ab\xF0\x9F\x8E\x9E", wide, 4));
  EXPECT_EQ(std::u16string(wide), u"ab");
  EXPECT_FALSE(PutText("\xFF", wide, 4));
}

}  // namespace
}  // namespace morvane::test
