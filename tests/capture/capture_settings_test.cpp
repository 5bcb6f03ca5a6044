#include "capture/capture_settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/paths.h"
#include "base/settings_store.h"

namespace morvane {
namespace {

constexpr char kBoard[] = "Elm ";
constexpr char kKey[] = "Software\\VYR\\ToviMorvane\\CaptureElm ";

CaptureSettings Defaults() {
  CaptureSettings settings;
  RestoreCaptureDefaults({}, {}, &settings);
  return settings;
}

const uint8_t* Bytes(const CaptureSettings& settings) {
  return reinterpret_cast<const uint8_t*>(&settings);
}

std::u16string WideAt(const uint8_t* bytes, size_t offset) {
  std::u16string text;
  for (; LoadLe16(bytes + offset) != 0; offset += 2) {
    text.push_back(static_cast<char16_t>(LoadLe16(bytes + offset)));
  }
  return text;
}

void WriteStore(const CaptureSettings& settings, uint32_t number, uint32_t numberNI,
                uint32_t numberNS, bool withRecord, size_t bytes = sizeof(CaptureSettings)) {
  std::vector<SettingsStore::Value> values(3);
  values[0] = {.name = "MagicNumber", .number = number, .data = {}};
  values[1] = {.name = "MagicNumberNI", .number = numberNI, .data = {}};
  values[2] = {.name = "MagicNumberNS", .number = numberNS, .data = {}};
  if (withRecord) {
    SettingsStore::Value record{.name = "ToviCaptureSettings", .binary = true, .data = {}};
    record.data.assign(Bytes(settings), Bytes(settings) + bytes);
    values.push_back(record);
  }
  SettingsStore store;
  (void)store.RemoveKey(kKey);
  ASSERT_TRUE(store.Write(kKey, values));
}

bool HasStoredRecord() {
  CaptureSettings settings;
  size_t bytes = 0;
  return SettingsStore().ReadBinary(kKey, "ToviCaptureSettings", &settings, sizeof settings,
                                    &bytes);
}

TEST(CaptureSettings, DefaultsStandAtTheirOffsets) {
  const CaptureSettings settings = Defaults();
  const uint8_t* const bytes = Bytes(settings);
  EXPECT_EQ(0x12345780U, LoadLe32(bytes));
  const struct {
    size_t offset;
    uint8_t value;
  } kBytes[] = {{25764, 0}, {25765, 1}, {25766, 1}, {25767, 1}, {25768, 0},
                {38436, 1}, {38437, 0}, {38438, 1}, {38439, 0}, {38452, 0}};
  for (const auto& row : kBytes) EXPECT_EQ(row.value, bytes[row.offset]) << row.offset;
  const struct {
    size_t offset;
    uint32_t value;
  } kWords[] = {{25665, 30}, {25760, 0}, {25772, 1}, {25776, 0}, {25940, 0}, {38328, 0},
                {38332, 0},  {38432, 1}, {38440, 8}, {38444, 0}, {38448, 0}};
  for (const auto& row : kWords) EXPECT_EQ(row.value, LoadLe32(bytes + row.offset)) << row.offset;
  for (size_t type = 0; type < 8; ++type) {
    const uint8_t* const choice = bytes + 25780 + 20 * type;
    for (size_t word = 0; word < 4; ++word) EXPECT_EQ(0U, LoadLe32(choice + 4 * word));
    EXPECT_EQ(0xFFFFFFFFU, LoadLe32(choice + 16));
  }
  std::u16string folder;
  ASSERT_TRUE(Utf8ToUtf16(DefaultVideoFolder(), &folder));
  EXPECT_EQ(folder, WideAt(bytes, 25944));
  EXPECT_EQ(folder, WideAt(bytes, 30040));
  EXPECT_EQ(u"Untitled Clip 01", WideAt(bytes, 34136));
  EXPECT_EQ(u"000000", WideAt(bytes, 38232));
  EXPECT_STREQ("Untitled", reinterpret_cast<const char*>(bytes + 38296));
  EXPECT_STREQ("00:00:00:00", reinterpret_cast<const char*>(bytes + 38336));
  EXPECT_STREQ("00:00:00:00", reinterpret_cast<const char*>(bytes + 38368));
  EXPECT_STREQ("00:00:00:01", reinterpret_cast<const char*>(bytes + 38400));
  EXPECT_EQ(u"--Unavailable--", WideAt(bytes, 38454));
}

TEST(CaptureSettings, DefaultsOfNothingDoNothing) {
  RestoreCaptureDefaults({}, {}, nullptr);
}

TEST(CaptureSettings, WhatIsSavedIsLoadedAndSharedByBoardsOfOneModel) {
  CaptureSettings saved = Defaults();
  saved.clipName.Set(u"Ångström 7");
  saved.handles = 12;
  ASSERT_EQ(NxErrSuccess, SaveCaptureSettings(kBoard, saved));
  for (int board = 0; board < 2; ++board) {
    CaptureSettings loaded = Defaults();
    EXPECT_EQ(SettingsLoad::Stored, LoadCaptureSettings(kBoard, Defaults(), &loaded));
    EXPECT_EQ(0, std::memcmp(&saved, &loaded, sizeof saved));
  }
}

TEST(CaptureSettings, SavingWithoutABoardNameIsRefused) {
  EXPECT_EQ(NxErrFailure, SaveCaptureSettings("", Defaults()));
}

TEST(CaptureSettings, AMissingKeyLoadsDefaultsAndSavesThem) {
  (void)SettingsStore().RemoveKey(kKey);
  CaptureSettings loaded;
  std::memset(&loaded, 0xAB, sizeof loaded);
  EXPECT_EQ(SettingsLoad::DefaultsSaved, LoadCaptureSettings(kBoard, Defaults(), &loaded));
  EXPECT_EQ(1, loaded.durationFrames);
  EXPECT_TRUE(HasStoredRecord());
}

TEST(CaptureSettings, AWrongNumberReplacesTheStoreByDefaults) {
  CaptureSettings old = Defaults();
  old.handles = 33;
  const uint32_t kNumbers[][3] = {
      {0x12345781, 0x89, 0x89}, {0x12345780, 0x88, 0x89}, {0x12345780, 0x89, 0x8A}};
  for (const auto& numbers : kNumbers) {
    WriteStore(old, numbers[0], numbers[1], numbers[2], true);
    CaptureSettings loaded = Defaults();
    EXPECT_EQ(SettingsLoad::DefaultsSaved, LoadCaptureSettings(kBoard, Defaults(), &loaded));
    EXPECT_EQ(0, loaded.handles);
    CaptureSettings again = old;
    EXPECT_EQ(SettingsLoad::Stored, LoadCaptureSettings(kBoard, Defaults(), &again));
    EXPECT_EQ(0, again.handles);
  }
}

TEST(CaptureSettings, RightNumbersWithoutTheRecordLoadDefaultsAndDoNotSave) {
  WriteStore(Defaults(), 0x12345780, 0x89, 0x89, false);
  CaptureSettings loaded = Defaults();
  loaded.handles = 5;
  EXPECT_EQ(SettingsLoad::DefaultsUnsaved, LoadCaptureSettings(kBoard, Defaults(), &loaded));
  EXPECT_EQ(0, loaded.handles);
  EXPECT_FALSE(HasStoredRecord());
}

TEST(CaptureSettings, AShorterRecordLeavesTheRest) {
  CaptureSettings old = Defaults();
  old.fileType = 7;
  old.handles = 33;
  WriteStore(old, 0x12345780, 0x89, 0x89, true, 30000);
  CaptureSettings loaded = Defaults();
  loaded.handles = 5;
  EXPECT_EQ(SettingsLoad::Stored, LoadCaptureSettings(kBoard, Defaults(), &loaded));
  EXPECT_EQ(7, loaded.fileType);
  EXPECT_EQ(5, loaded.handles);
}

TEST(CaptureSettings, AFileTypeOfEightOrMoreReadsAsZero) {
  CaptureSettings settings = Defaults();
  for (const int32_t type : {8, 9, 0x7FFFFFFF, -1}) {
    settings.fileType = type;
    EXPECT_EQ(0U, FileTypeOf(settings)) << type;
    EXPECT_EQ(&settings.files[0], &ChoicesOf(&settings));
  }
  settings.fileType = 7;
  EXPECT_EQ(7U, FileTypeOf(settings));
}

TEST(CaptureSettings, TextsWithoutATerminatorEndWithTheirField) {
  CaptureSettings settings;
  std::memset(&settings, 0x41, sizeof settings);
  EXPECT_EQ(2048U, settings.clipName.Get().size());
  EXPECT_EQ(32U, settings.reelName.Get().size());
}

TEST(CaptureSettings, FieldsCutWhatDoesNotFit) {
  CaptureSettings settings = Defaults();
  settings.reelName.Set(std::string(100, 'r'));
  EXPECT_EQ(std::string(31, 'r'), settings.reelName.Get());
  settings.sequenceOffset.Set(std::u16string(100, u'7'));
  EXPECT_EQ(31U, settings.sequenceOffset.Get().size());
  settings.sequenceOffset.Set(u"1");
  EXPECT_EQ(u"1", settings.sequenceOffset.Get());
}

TEST(ClipName, TheNextNameCountsUp) {
  const struct {
    std::u16string_view name;
    std::u16string_view next;
  } kRows[] = {
      {u"Untitled Clip 01", u"Untitled Clip 02"},
      {u"Untitled Clip 09", u"Untitled Clip 10"},
      {u"Take 99", u"Take 100"},
      {u"Take", u"Take 01"},
      {u"", u" 01"},
      {u"007", u"008"},
      {u"a1b", u"a1b 01"},
      {u"x999999999999999999999999", u"x1000000000000000000000000"},
  };
  for (const auto& row : kRows) EXPECT_EQ(row.next, NextClipName(row.name));
}

TEST(ClipName, TheNextNameHasAtMost250Characters) {
  EXPECT_EQ(250U, NextClipName(std::u16string(249, u'x')).size());
  EXPECT_EQ(250U, NextClipName(std::u16string(250, u'9')).size());
}

TEST(InOut, DurationFollowsThePoints) {
  CaptureSettings settings = Defaults();
  SetOutPoint(&settings, "00:00:10:00");
  SetInPoint(&settings, "00:00:08:15");
  EXPECT_EQ("00:00:08:15", settings.inPoint.Get());
  EXPECT_EQ("00:00:01:16", settings.inOutDuration.Get());
}

TEST(InOut, AnInBehindTheOutMovesTheOut) {
  CaptureSettings settings = Defaults();
  SetInPoint(&settings, "1000");
  EXPECT_EQ("00:00:10:00", settings.inPoint.Get());
  EXPECT_EQ("00:00:10:00", settings.outPoint.Get());
  EXPECT_EQ("00:00:00:01", settings.inOutDuration.Get());
  SetOutPoint(&settings, "0900");
  EXPECT_EQ("00:00:09:00", settings.inPoint.Get());
  EXPECT_EQ("00:00:00:01", settings.inOutDuration.Get());
}

TEST(InOut, ADurationMovesTheOutAndZeroIsOne) {
  CaptureSettings settings = Defaults();
  SetInOutDuration(&settings, "00:00:02:00");
  EXPECT_EQ("00:00:01:29", settings.outPoint.Get());
  EXPECT_EQ("00:00:02:00", settings.inOutDuration.Get());
  SetInOutDuration(&settings, "0");
  EXPECT_EQ("00:00:00:00", settings.outPoint.Get());
  EXPECT_EQ("00:00:00:01", settings.inOutDuration.Get());
}

TEST(InOut, SixtyFramesCountAsThirty) {
  CaptureSettings settings = Defaults();
  settings.vtr.scale = 60000;
  SetInOutDuration(&settings, "00:00:01:00");
  EXPECT_EQ("00:00:00:29", settings.outPoint.Get());
  settings.vtr.scale = 50000;
  settings.vtr.duration = 1000;
  SetInOutDuration(&settings, "00:00:01:00");
  EXPECT_EQ("00:00:00:24", settings.outPoint.Get());
}

TEST(InOut, ResetFollowsTheTapesForm) {
  CaptureSettings settings = Defaults();
  settings.vtr.dropFrame = 1;
  SetInPoint(&settings, "5");
  ResetInOut(&settings);
  EXPECT_EQ("00;00;00;00", settings.inPoint.Get());
  EXPECT_EQ("00;00;00;00", settings.outPoint.Get());
  EXPECT_EQ("00;00;00;01", settings.inOutDuration.Get());
}

TEST(InOut, ARateThatIsNoneGivesZeros) {
  CaptureSettings settings = Defaults();
  settings.vtr.scale = 1e300;
  settings.vtr.duration = -5;
  SetInPoint(&settings, "00:00:10:00");
  SetInOutDuration(&settings, "00:00:10:00");
  EXPECT_EQ("00:00:00:00", settings.inOutDuration.Get());
}

}  // namespace
}  // namespace morvane
