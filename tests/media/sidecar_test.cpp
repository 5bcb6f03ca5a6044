#include <gtest/gtest.h>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "base/file_io.h"
#include "media/clip_builder.h"
#include "media/data_vyr.h"
#include "media/vyr_document.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

void SetClipName(const std::string& name, NxVyrHead* head) {
  ASSERT_TRUE(PutText(name, head->clipName, kVyrClipNameChars));
}

NxVyrHead DefaultHead() {
  NxVyrHead head = {};
  SetClipName("clip_000000.dpx", &head);
  head.parNum = head.parDen = 1;
  head.timeScale = 30000;
  head.timeRate = 1001;
  return head;
}

// The head and block of a tape clip: reel, timecode, aspect, a rate that is written normalised.
NxVyrHead TapeHead() {
  NxVyrHead head = DefaultHead();
  head.parNum = 10;
  head.parDen = 11;
  head.timeScale = 2997;
  head.timeRate = 100;
  head.fieldType = 2;
  return head;
}

NxMediaMetadata TapeMetadata() {
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName | kMetaTimeCode;
  PutText("REEL 7", metadata.reelName, sizeof metadata.reelName);
  metadata.timeCode = 0x02000100;
  metadata.timeCodeType = 2;
  metadata.dropFrame = 1;
  metadata.tcScale = 30000;
  metadata.tcRate = 1001;
  return metadata;
}

NxErr Write(const std::string& path, const NxVyrHead& head, const NxMediaMetadata& metadata) {
  NxDataVYR sidecar;
  sidecar.head = head;
  const NxErr result = sidecar.OpenWrite(path, FolderOf(path), &metadata, kCreateNew, 0x3E, false);
  if (result == NxErrSuccess) {
    EXPECT_EQ(sidecar.Close(), 0);
  }
  return result;
}

struct ReadBack {
  NxErr result = NxErrFailure;
  std::u16string clipName;
  NxVyrHead head = {};
  NxMediaMetadata metadata = {};
};

std::unique_ptr<ReadBack> Read(const std::string& path) {
  auto back = std::make_unique<ReadBack>();
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  back->result = sidecar.OpenRead(path, name.get(), &back->head, kOpenExisting, 0x0C, false);
  if (back->result == NxErrSuccess) {
    back->clipName = name.get();
    EXPECT_EQ(sidecar.GetMetadata(&back->metadata), 0);
    EXPECT_EQ(sidecar.Close(), 0);
  }
  return back;
}

std::unique_ptr<ReadBack> ReadDocumentText(const std::string& text) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  WriteText(path, text);
  return Read(path);
}

const char kHead[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<VYRFileData version=\"1.0\">";

TEST(Sidecar, DefaultDocumentHasItsBytes) {
  const std::string path = FreshFolder("vyr") + "/clip_000000.vyr";
  ASSERT_EQ(Write(path, DefaultHead(), {}), 0);
  const auto bytes = ReadBytes(path);
  EXPECT_EQ(bytes.size(), 1059u);
  EXPECT_EQ(Crc32(bytes.data(), bytes.size()), 0x44e7e459u);
}

TEST(Sidecar, TapeDocumentHasItsBytes) {
  const std::string path = FreshFolder("vyr") + "/clip_000000.vyr";
  ASSERT_EQ(Write(path, TapeHead(), TapeMetadata()), 0);
  const auto bytes = ReadBytes(path);
  EXPECT_EQ(bytes.size(), 1074u);
  EXPECT_EQ(Crc32(bytes.data(), bytes.size()), 0x5b179d40u);
  const std::string text = ReadText(path);
  for (const char* element : {"<TimeScale>30000</TimeScale>", "<TimeRate>1001</TimeRate>",
                              "<FileDataFlags>10</FileDataFlags>", "<TC>33554688</TC>"}) {
    EXPECT_NE(text.find(element), std::string::npos) << element;
  }
}

TEST(Sidecar, CompletedBlockHasItsBytes) {
  NxMediaMetadata block = {};
  ASSERT_EQ(MergeMetadata(TapeMetadata(), &block), 0);
  EXPECT_EQ(Crc32(&block, sizeof block), 0xa2fd4c70u);
}

TEST(Sidecar, TapeBlockReadsBack) {
  const std::string path = FreshFolder("vyr") + "/clip_000000.vyr";
  ASSERT_EQ(Write(path, TapeHead(), TapeMetadata()), 0);
  const auto back = Read(path);
  ASSERT_EQ(back->result, 0);
  EXPECT_EQ(back->clipName, u"clip_000000.dpx");
  EXPECT_EQ(back->head.parNum, 10);
  EXPECT_EQ(back->head.parDen, 11);
  EXPECT_EQ(back->head.fieldType, 2);
  const NxMediaMetadata& m = back->metadata;
  EXPECT_EQ(m.valid, 1u);
  EXPECT_EQ(m.presentFlags, 10u);
  EXPECT_EQ(m.timeCode, 0x02000100u);
  EXPECT_EQ(m.timeCodeType, 2u);
  EXPECT_EQ(m.dropFrame, 1);
  EXPECT_EQ(m.tcScale, 30000);
  EXPECT_EQ(m.tcRate, 1001);
  EXPECT_STREQ(m.reelName, "REEL 7");
  EXPECT_STREQ(m.project, "none");
  EXPECT_STREQ(m.scene, "1");
  EXPECT_EQ(m.size, 4096u);
  EXPECT_EQ(m.magic, 0x12345678u);
  EXPECT_EQ(m.extended.kind, 1u);
  EXPECT_EQ(m.extended.bytes, 1532u);
  EXPECT_STREQ(m.extended.orgTC, "00:00:00:00");
  EXPECT_EQ(m.extended.altTCScale, 24000);
  EXPECT_EQ(m.extended.altTCRate, 0) << "its own files do not give the alternate rate back";
}

TEST(Sidecar, UserBitsAreSignedText) {
  NxMediaMetadata metadata = TapeMetadata();
  metadata.userBits = 0xFFFFFFFF;
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, TapeHead(), metadata), 0);
  EXPECT_NE(ReadText(path).find("<UserBits>-1<"), std::string::npos);
  EXPECT_EQ(Read(path)->metadata.userBits, 0xFFFFFFFFu);
}

struct RatePair {
  int32_t scale, rate, storedScale, storedRate;
};

TEST(Sidecar, EveryRateOfTheTableIsNormalisedWhenWritten) {
  const RatePair pairs[] = {
      {14985, 1001, 15000, 1001}, {15, 1, 15000, 1000},       {1500, 100, 15000, 1000},
      {2997, 125, 24000, 1001},   {2400, 101, 24000, 1001},   {23976, 1000, 24000, 1001},
      {24, 1, 24000, 1000},       {2400, 100, 24000, 1000},   {2997, 100, 30000, 1001},
      {29970, 1000, 30000, 1001}, {2500, 100, 25000, 1000},   {25, 1, 25000, 1000},
      {3000, 100, 30000, 1000},   {30, 1, 30000, 1000},       {5000, 100, 50000, 1000},
      {50, 1, 50000, 1000},       {6000, 100, 60000, 1000},   {60, 1, 60000, 1000},
      {5994, 100, 60000, 1001},   {59940, 1000, 60000, 1001}, {48000, 1000, 48000, 1000},
      {-1, -1, -1, -1},
  };
  const std::string folder = FreshFolder("vyr");
  int number = 0;
  for (const RatePair& pair : pairs) {
    NxVyrHead head = DefaultHead();
    head.timeScale = pair.scale;
    head.timeRate = pair.rate;
    const std::string path = folder + "/" + std::to_string(number++) + ".vyr";
    ASSERT_EQ(Write(path, head, {}), 0);
    const auto back = Read(path);
    EXPECT_EQ(back->head.timeScale, pair.storedScale) << pair.scale;
    EXPECT_EQ(back->head.timeRate, pair.storedRate) << pair.scale;
  }
}

TEST(Sidecar, HandWrittenRateStaysWhenRead) {
  const auto back = ReadDocumentText(std::string(kHead) +
                                     "<MasterClip>c</MasterClip><PARNum>1</PARNum>"
                                     "<PARDen>1</PARDen><TimeScale>25</TimeScale>"
                                     "<TimeRate>1</TimeRate></VYRFileData>");
  ASSERT_EQ(back->result, 0);
  EXPECT_EQ(back->head.timeScale, 25);
  EXPECT_EQ(back->head.timeRate, 1);
}

TEST(Sidecar, AlternateRateIsReadUnderItsOwnNameOnly) {
  const std::string front = std::string(kHead) +
                            "<PPro2MetaData version=\"1.0\"><OrgTC>01:00:00:00</OrgTC>"
                            "<OrgTCScale>25000</OrgTCScale><OrgTCRate>1000</OrgTCRate>"
                            "<OrgReelName>A</OrgReelName><AltTC>02:00:00:00</AltTC>"
                            "<AltTCScale>24000</AltTCScale>";
  const std::string back =
      "<AltReelName>B</AltReelName><Comment>seen</Comment><DataType>3</DataType></PPro2MetaData>"
      "</VYRFileData>";
  const auto own = ReadDocumentText(front + "<AltTCScale>1001</AltTCScale>" + back);
  EXPECT_EQ(own->metadata.extended.orgTCScale, 25000);
  EXPECT_EQ(own->metadata.extended.altTCScale, 24000);
  EXPECT_EQ(own->metadata.extended.altTCRate, 0);
  EXPECT_STREQ(own->metadata.extended.altReelName, "");
  EXPECT_STREQ(own->metadata.extended.comment, "");
  EXPECT_EQ(own->metadata.extended.dataType, 0u);
  const auto hand = ReadDocumentText(front + "<AltTCRate>1001</AltTCRate>" + back);
  EXPECT_EQ(hand->metadata.extended.altTCRate, 1001);
  EXPECT_STREQ(hand->metadata.extended.altReelName, "B");
  EXPECT_STREQ(hand->metadata.extended.comment, "seen");
  EXPECT_EQ(hand->metadata.extended.dataType, 3u);
}

TEST(Sidecar, ExtendedBlockIsWrittenWhenItsBitIsSet) {
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaExtended;
  PutText("03:02:01:00", metadata.extended.orgTC, sizeof metadata.extended.orgTC);
  metadata.extended.orgTCScale = 25000;
  metadata.extended.orgTCRate = 1000;
  metadata.extended.altTCRate = 1000;
  PutText("a < b & \"c\"", metadata.extended.comment, sizeof metadata.extended.comment);
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, DefaultHead(), metadata), 0);
  const std::string text = ReadText(path);
  EXPECT_NE(text.find("<OrgTC>03:02:01:00</OrgTC>"), std::string::npos);
  EXPECT_NE(text.find("<AltTCScale>1000</AltTCScale>"), std::string::npos);
  EXPECT_NE(text.find("a &lt; b &amp; &quot;c&quot;"), std::string::npos);
  EXPECT_EQ(text.find("AltTCRate"), std::string::npos);
  EXPECT_EQ(Read(path)->metadata.extended.orgTCScale, 25000);
}

TEST(Sidecar, ElementsOutOfOrderLoseTheirValuesNotTheFile) {
  const auto back = ReadDocumentText(
      std::string(kHead) +
      "<MasterClip>c</MasterClip><PARNum>1</PARNum><PARDen>2</PARDen><TimeRate>1001</TimeRate>"
      "<TimeScale>30000</TimeScale><FieldType>2</FieldType><FileDataFlags>8</FileDataFlags>"
      "<TimeCode version=\"1.0\"><TC>7</TC></TimeCode></VYRFileData>");
  ASSERT_EQ(back->result, 0);
  EXPECT_EQ(back->head.parDen, 2);
  EXPECT_EQ(back->head.timeScale, 0);
  EXPECT_EQ(back->head.timeRate, 0);
  EXPECT_EQ(back->head.fieldType, 0);
  EXPECT_EQ(back->metadata.presentFlags, 0u);
  EXPECT_EQ(back->metadata.timeCode, 7u);
  EXPECT_STREQ(back->metadata.reelName, "untitled");
  EXPECT_STREQ(back->metadata.project, "none");
  EXPECT_STREQ(back->metadata.description, "none");
  EXPECT_STREQ(back->metadata.extended.orgTC, "00:00:00:00");
  EXPECT_STREQ(back->metadata.extended.orgReelName, "untitled");
}

TEST(Sidecar, BadBodiesAreRefused) {
  const struct {
    const char* what;
    std::string text;
  } bodies[] = {
      {"root never closed", "<VYRFileData>"},
      {"empty file", ""},
      {"no markup", "clip"},
      {"zeros", std::string(100, '\0')},
      {"bytes that are no UTF-8", std::string(kHead) + "<MasterClip>\xFF\xFE</MasterClip>"},
      {"control character", std::string(kHead) + "<MasterClip>\x01</MasterClip></VYRFileData>"},
      {"beyond the limit", std::string(kHead) + std::string(1048577, ' ') + "</VYRFileData>"},
  };
  for (const auto& body : bodies) {
    EXPECT_EQ(ReadDocumentText(body.text)->result, 100005) << body.what;
  }
  EXPECT_EQ(Read("/nonexistent/a.vyr")->result, 100005);
  EXPECT_EQ(Read(FreshFolder("vyr"))->result, 100005) << "a folder";
}

TEST(Sidecar, DocumentAtTheLimitIsRead) {
  std::string text = std::string(kHead) + "<MasterClip>c</MasterClip>";
  const std::string end = "</VYRFileData>";
  text += std::string(1048576 - text.size() - end.size(), ' ') + end;
  EXPECT_EQ(ReadDocumentText(text)->result, 0);
}

TEST(Sidecar, EntitiesOfOtherFilesAreEmpty) {
  const std::string secret = FreshFolder("secret") + "/secret";
  WriteText(secret, "do not tell");
  const auto back = ReadDocumentText(
      "<?xml version=\"1.0\"?><!DOCTYPE VYRFileData [<!ENTITY e SYSTEM \"file://" + secret +
      "\">]><VYRFileData version=\"1.0\"><MasterClip>a&e;b</MasterClip></VYRFileData>");
  ASSERT_EQ(back->result, 0);
  EXPECT_EQ(back->clipName, u"ab");
}

TEST(Sidecar, EntitiesThatGrowWithoutEndAreRefused) {
  std::string text = "<?xml version=\"1.0\"?><!DOCTYPE VYRFileData [<!ENTITY a0 \"ha\">";
  for (int i = 1; i < 30; ++i) {
    const std::string before = "&a" + std::to_string(i - 1) + ";";
    text += "<!ENTITY a" + std::to_string(i) + " \"" + before + before + before + "\">";
  }
  text += "]><VYRFileData><MasterClip>&a29;</MasterClip></VYRFileData>";
  EXPECT_EQ(ReadDocumentText(text)->result, 100005);
}

TEST(Sidecar, DeepAndLongElementsAreSurvived) {
  std::string deep = kHead;
  for (int i = 0; i < 20000; ++i) deep += "<TimeCode>";
  EXPECT_EQ(ReadDocumentText(deep)->result, 100005);
  const auto back = ReadDocumentText(
      std::string(kHead) + "<MasterClip>" + std::string(100000, 'x') + "</MasterClip>" +
      "<PARNum>99999999999999999999</PARNum><PARDen>-99999999999</PARDen>"
      "<LogInfo><Project>" +
      std::string(1000, 'p') + "</Project></LogInfo></VYRFileData>");
  ASSERT_EQ(back->result, 0);
  EXPECT_EQ(back->clipName.size(), kVyrClipNameChars - 1);
  EXPECT_EQ(FieldText(back->metadata.project, 64), std::string(63, 'p'));
}

TEST(Sidecar, CommentsAndInstructionsAreSkipped) {
  const auto back = ReadDocumentText(std::string(kHead) +
                                     "<!-- note --><MasterClip>c</MasterClip><?x y?>"
                                     "<PARNum>4</PARNum><!-- --></VYRFileData>");
  ASSERT_EQ(back->result, 0);
  EXPECT_EQ(back->head.parNum, 4);
}

TEST(Sidecar, NamesWithLettersOfOtherAlphabetsComeBack) {
  NxVyrHead head = DefaultHead();
  SetClipName("\xC3\x84\xC3\x96_\xE6\x98\xA0\xF0\x9F\x8E\x9E.yuv", &head);
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, head, {}), 0);
  EXPECT_EQ(Read(path)->clipName, u"\u00C4\u00D6_\u6620\U0001F39E.yuv");
}

TEST(Sidecar, TextThatNoReaderTakesIsMadeClean) {
  NxMediaMetadata metadata = TapeMetadata();
  PutText(
      "R\x01"
      "E\xC4L",
      metadata.reelName, sizeof metadata.reelName);
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, TapeHead(), metadata), 0);
  EXPECT_STREQ(Read(path)->metadata.reelName, "RE\xC3\x84L");
}

TEST(Sidecar, ProjectOfTheBlockIsNotWritten) {
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaProject;
  PutText("P", metadata.project, sizeof metadata.project);
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, DefaultHead(), metadata), 0);
  EXPECT_NE(ReadText(path).find("<Project>none</Project>"), std::string::npos);
}

TEST(Sidecar, DocumentThatIsThereStaysAsItIs) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, DefaultHead(), {}), 0);
  const auto before = ReadBytes(path);
  EXPECT_EQ(Write(path, TapeHead(), TapeMetadata()), 0);
  EXPECT_EQ(ReadBytes(path), before);
}

TEST(Sidecar, ShorterUpdateLeavesNoOldEnd) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName;
  PutText("A VERY LONG NAME OF A REEL", metadata.reelName, sizeof metadata.reelName);
  ASSERT_EQ(Write(path, DefaultHead(), metadata), 0);
  const size_t longBytes = ReadBytes(path).size();
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  PutText("B", metadata.reelName, sizeof metadata.reelName);
  EXPECT_EQ(sidecar.SetMetadata(&metadata), 0);
  EXPECT_EQ(sidecar.Close(), 0);
  EXPECT_LT(ReadBytes(path).size(), longBytes);
  const auto back = Read(path);
  ASSERT_EQ(back->result, 0);
  EXPECT_STREQ(back->metadata.reelName, "B");
  EXPECT_EQ(back->clipName, u"clip_000000.dpx");
}

TEST(Sidecar, UpdateThatFailsLeavesFileAndBlock) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, TapeHead(), TapeMetadata()), 0);
  const auto before = ReadBytes(path);
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName;
  PutText("ANOTHER REEL", metadata.reelName, sizeof metadata.reelName);
  for (const FileCall call : {FileCall::kOpen, FileCall::kWrite, FileCall::kTruncate}) {
    {
      const FileFault fault(call, 1, ENOSPC);
      EXPECT_EQ(sidecar.SetMetadata(&metadata), -2);
    }
    EXPECT_EQ(ReadBytes(path), before);
    NxMediaMetadata block;
    ASSERT_EQ(sidecar.GetMetadata(&block), 0);
    EXPECT_STREQ(block.reelName, "REEL 7");
  }
  metadata.presentFlags = 0;
  EXPECT_EQ(sidecar.SetMetadata(&metadata), -2) << "no section named";
}

TEST(Sidecar, HalfWrittenDocumentIsRemoved) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  const FileFault fault(FileCall::kWrite, 1, ENOSPC);
  EXPECT_EQ(Write(path, DefaultHead(), {}), 0) << "frames without a sidecar are a clip";
  EXPECT_FALSE(Exists(path));
}

TEST(Sidecar, StatesAndRefusals) {
  const std::string folder = FreshFolder("vyr");
  const std::string path = folder + "/a.vyr";
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  NxMediaMetadata metadata = {};
  EXPECT_EQ(sidecar.GetMetadata(&metadata), 2);
  EXPECT_EQ(sidecar.Close(), -2);
  EXPECT_EQ(sidecar.OpenRead(path, nullptr, nullptr, kOpenExisting, 0x0C, false), 1);
  EXPECT_EQ(sidecar.OpenRead(path, name.get(), nullptr, 0, 0x0C, false), 100005);
  EXPECT_EQ(sidecar.OpenWrite(path, nullptr, nullptr, kCreateNew, 0x3E, false), 1);
  EXPECT_EQ(sidecar.OpenWrite(path, folder, nullptr, kOpenExisting, 0x3E, false), 0);
  EXPECT_FALSE(Exists(path));
  EXPECT_EQ(sidecar.IsReadable(), -2);
  sidecar.head = DefaultHead();
  ASSERT_EQ(sidecar.OpenWrite(path, folder, nullptr, kCreateNew, 0x3E, false), 0);
  EXPECT_EQ(sidecar.IsReadable(), -2);
  EXPECT_EQ(sidecar.OpenWrite(path, folder, nullptr, kCreateNew, 0x3E, false), 10002);
  EXPECT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 10002);
  metadata.timeCode = 5;
  EXPECT_EQ(sidecar.SetMetadata(&metadata), -2) << "while writing it only replaces the block";
  metadata = {};
  EXPECT_EQ(sidecar.GetMetadata(&metadata), 0);
  EXPECT_EQ(metadata.timeCode, 5u);
  EXPECT_EQ(sidecar.GetMetadata(nullptr), 2);
  EXPECT_EQ(sidecar.DeleteFile(), -2);
  EXPECT_EQ(sidecar.Close(), 0);
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  EXPECT_EQ(sidecar.IsReadable(), 0);
  char text[260];
  EXPECT_EQ(sidecar.GetFolder(text, false), 0);
  EXPECT_EQ(std::string(text), folder);
  EXPECT_EQ(sidecar.GetClipName(text, false), 0);
  EXPECT_STREQ(text, "clip_000000.dpx");
  EXPECT_EQ(sidecar.ReservedA(), 2);
  EXPECT_EQ(sidecar.ReservedB(), 0);
  EXPECT_EQ(sidecar.Close(), 0);
  EXPECT_EQ(sidecar.DeleteFile(), 0);
  EXPECT_FALSE(Exists(path));
}

TEST(Sidecar, ClipNameIsCutTo31CharactersInItsShortForm) {
  NxVyrHead head = DefaultHead();
  SetClipName(std::string(40, 'n'), &head);
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, head, {}), 0);
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  char text[64];
  EXPECT_EQ(sidecar.GetClipName(text, false), 0);
  EXPECT_EQ(std::string(text), std::string(31, 'n'));
}

TEST(Sidecar, WidePathsOpenTheSameFile) {
  const std::string folder = FreshFolder("vyr");
  const std::string path = folder + "/\xC3\x84.vyr";
  std::u16string widePath, wideFolder;
  ASSERT_TRUE(Utf8ToUtf16(path, &widePath));
  ASSERT_TRUE(Utf8ToUtf16(folder, &wideFolder));
  NxDataVYR writer;
  writer.head = DefaultHead();
  ASSERT_EQ(writer.OpenWrite(widePath, wideFolder, nullptr, kCreateNew, 0x3E, true), 0);
  EXPECT_EQ(writer.Close(), 0);
  EXPECT_TRUE(Exists(path));
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR reader;
  ASSERT_EQ(reader.OpenRead(widePath, name.get(), nullptr, kOpenExisting, 0x0C, true), 0);
  auto folderBack = std::make_unique<char16_t[]>(kNxFileNameChars);
  EXPECT_EQ(reader.GetFolder(folderBack.get(), true), 0);
  EXPECT_EQ(std::u16string(folderBack.get()), wideFolder);
}

TEST(Sidecar, XmllintTakesEveryWrittenForm) {
  if (std::system("xmllint --version >/dev/null 2>&1") != 0) {
    GTEST_SKIP() << "xmllint (package libxml2-utils) is not installed";
  }
  const std::string folder = FreshFolder("vyr");
  NxMediaMetadata odd = TapeMetadata();
  odd.presentFlags |= kMetaExtended;
  PutText("<&>\"'\x02\xFF", odd.extended.comment, sizeof odd.extended.comment);
  ASSERT_EQ(Write(folder + "/a.vyr", DefaultHead(), {}), 0);
  ASSERT_EQ(Write(folder + "/b.vyr", TapeHead(), TapeMetadata()), 0);
  ASSERT_EQ(Write(folder + "/c.vyr", TapeHead(), odd), 0);
  const std::string command = "xmllint --noout " + folder + "/*.vyr 2>&1";
  EXPECT_EQ(std::system(command.c_str()), 0);
}

}  // namespace
}  // namespace morvane::test
