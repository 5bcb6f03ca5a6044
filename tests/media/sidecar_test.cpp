#include <gtest/gtest.h>
#include <cerrno>
#include <cstdlib>
#include <memory>

#include "media/sidecar_builder.h"
#include "media/vyr_document.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

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
