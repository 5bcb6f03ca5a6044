#include "playback/playback_settings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "base/paths.h"
#include "base/settings_store.h"

namespace morvane {
namespace {

constexpr char kBoard[] = "Elm ";
constexpr char kKey[] = "Software\\VYR\\ToviMorvane\\PlaybackElm ";
constexpr char kRecord[] = "ToviPlaybackSettings";

PlaybackSettings Defaults() {
  PlaybackSettings settings;
  ResetPlaybackSettings(1, {}, &settings);
  return settings;
}

const uint8_t* Bytes(const PlaybackSettings& settings) {
  return reinterpret_cast<const uint8_t*>(&settings);
}

std::u16string WideAt(const uint8_t* bytes, size_t offset) {
  std::u16string text;
  for (; LoadLe16(bytes + offset) != 0; offset += 2) {
    text.push_back(static_cast<char16_t>(LoadLe16(bytes + offset)));
  }
  return text;
}

void WriteStore(uint32_t number, uint32_t numberNI, uint32_t numberNS, const void* record,
                size_t bytes) {
  std::vector<SettingsStore::Value> values(3);
  values[0].name = "MagicNumber";
  values[0].number = number;
  values[1].name = "MagicNumberNI";
  values[1].number = numberNI;
  values[2].name = "MagicNumberNS";
  values[2].number = numberNS;
  if (bytes != 0) {
    SettingsStore::Value value;
    value.name = kRecord;
    value.binary = true;
    value.data.assign(static_cast<const uint8_t*>(record),
                      static_cast<const uint8_t*>(record) + bytes);
    values.push_back(value);
  }
  SettingsStore store;
  (void)store.RemoveKey(kKey);
  ASSERT_TRUE(store.Write(kKey, values));
}

// Length of the record in the store; 0 without one.
size_t StoredBytes() {
  std::vector<uint8_t> buffer(100000);
  size_t bytes = 0;
  SettingsStore store;
  return store.ReadBinary(kKey, kRecord, buffer.data(), buffer.size(), &bytes) ? bytes : 0;
}

TEST(PlaybackSettings, DefaultsStandAtTheirOffsets) {
  const PlaybackSettings settings = Defaults();
  const uint8_t* const bytes = Bytes(settings);
  const struct {
    size_t offset;
    uint32_t value;
  } kWords[] = {{0, 0x12345780}, {284, 1},   {25844, 0}, {25852, 0}, {25856, 1}, {25860, 1},
                {25864, 0},      {25868, 0}, {25872, 0}, {25876, 0}, {25884, 0}, {30004, 25},
                {30008, 0},      {30016, 0}, {30024, 0}, {30028, 0}, {30032, 0}, {38264, 0},
                {38268, 0},      {38272, 0}, {38276, 0}, {38280, 0}, {38284, 0}};
  for (const auto& row : kWords) EXPECT_EQ(row.value, LoadLe32(bytes + row.offset)) << row.offset;
  const struct {
    size_t offset;
    uint8_t value;
  } kBytes[] = {{25848, 0}, {25880, 1}, {25881, 1}, {25882, 1}, {25888, 1}, {25889, 0}, {29986, 1},
                {30001, 1}, {30002, 0}, {30012, 0}, {30020, 0}, {30036, 1}, {30037, 1}, {30038, 1},
                {30069, 1}, {38288, 1}, {38289, 0}, {38300, 0}, {38312, 0}};
  for (const auto& row : kBytes) EXPECT_EQ(row.value, bytes[row.offset]) << row.offset;
  const struct {
    size_t offset;
    float value;
  } kFloats[] = {{38292, 10}, {38296, 10}, {38304, 20}, {38308, 20}};
  for (const auto& row : kFloats) {
    float value = 0;
    std::memcpy(&value, bytes + row.offset, 4);
    EXPECT_EQ(row.value, value) << row.offset;
  }
  EXPECT_EQ(u"--Unavailable--", WideAt(bytes, 25890));
  EXPECT_EQ(u"--Unavailable--", WideAt(bytes, 38314));
  std::u16string folder;
  ASSERT_TRUE(Utf8ToUtf16(DefaultVideoFolder(), &folder));
  EXPECT_EQ(folder, WideAt(bytes, 30070));
  EXPECT_EQ(folder, WideAt(bytes, 34166));
  EXPECT_STREQ("48kHz", settings.audio.name);
  EXPECT_EQ(42412U, sizeof settings);
}

TEST(PlaybackSettings, AFirstStartWritesAllFourValues) {
  SettingsStore store;
  (void)store.RemoveKey(kKey);
  PlaybackSettings loaded;
  std::memset(&loaded, 0xAB, sizeof loaded);
  LoadPlaybackSettings(kBoard, Defaults(), &loaded);
  const PlaybackSettings defaults = Defaults();
  EXPECT_EQ(0, std::memcmp(&defaults, &loaded, sizeof loaded));
  uint32_t number = 0;
  EXPECT_TRUE(store.ReadNumber(kKey, "MagicNumber", &number));
  EXPECT_EQ(0x12345780U, number);
  EXPECT_TRUE(store.ReadNumber(kKey, "MagicNumberNI", &number));
  EXPECT_EQ(0x89U, number);
  EXPECT_TRUE(store.ReadNumber(kKey, "MagicNumberNS", &number));
  EXPECT_EQ(0x89U, number);
  EXPECT_EQ(42412U, StoredBytes());
}

TEST(PlaybackSettings, WhatIsSavedIsLoaded) {
  PlaybackSettings saved = Defaults();
  saved.handles = -5;
  saved.loopType = 2;
  saved.videoDirectory.Set(u"/Ångström");
  SavePlaybackSettings(kBoard, saved);
  PlaybackSettings loaded = Defaults();
  LoadPlaybackSettings(kBoard, Defaults(), &loaded);
  EXPECT_EQ(0, std::memcmp(&saved, &loaded, sizeof saved));
}

TEST(PlaybackSettings, AnotherVersionIsReplacedByDefaults) {
  const struct {
    uint32_t number, numberNI, numberNS;
  } kRows[] = {{0x12345781, 0x89, 0x89}, {0x12345780, 0x88, 0x89}, {0x12345780, 0x89, 0x90}};
  for (const auto& row : kRows) {
    PlaybackSettings old = Defaults();
    old.handles = 33;
    ASSERT_NO_FATAL_FAILURE(WriteStore(row.number, row.numberNI, row.numberNS, &old, sizeof old));
    PlaybackSettings loaded = old;
    LoadPlaybackSettings(kBoard, Defaults(), &loaded);
    EXPECT_EQ(0, loaded.handles);
    // And the store has them now.
    PlaybackSettings again = old;
    LoadPlaybackSettings(kBoard, old, &again);
    EXPECT_EQ(0, again.handles);
  }
}

TEST(PlaybackSettings, ARecordOfAnotherSizeGivesDefaultsInMemoryOnly) {
  for (const size_t bytes : {sizeof(PlaybackSettings) - 1, sizeof(PlaybackSettings) + 1}) {
    std::vector<uint8_t> record(bytes, 0x55);
    ASSERT_NO_FATAL_FAILURE(WriteStore(0x12345780, 0x89, 0x89, record.data(), bytes));
    PlaybackSettings loaded;
    std::memset(&loaded, 0x55, sizeof loaded);
    LoadPlaybackSettings(kBoard, Defaults(), &loaded);
    const PlaybackSettings defaults = Defaults();
    EXPECT_EQ(0, std::memcmp(&defaults, &loaded, sizeof loaded)) << bytes;
    EXPECT_EQ(bytes, StoredBytes());
  }
}

TEST(PlaybackSettings, AMissingRecordGivesDefaultsInMemoryOnly) {
  ASSERT_NO_FATAL_FAILURE(WriteStore(0x12345780, 0x89, 0x89, nullptr, 0));
  PlaybackSettings loaded;
  std::memset(&loaded, 0x55, sizeof loaded);
  LoadPlaybackSettings(kBoard, Defaults(), &loaded);
  EXPECT_EQ(25U, loaded.toneLevel);
  EXPECT_EQ(0U, StoredBytes());
}

TEST(PlaybackSettings, BoardsOfOtherKindsHaveTheirOwn) {
  EXPECT_NE(PlaybackSettingsKey("Elm "), PlaybackSettingsKey("Larch "));
  PlaybackSettings elm = Defaults();
  elm.handles = 7;
  SavePlaybackSettings("Elm ", elm);
  PlaybackSettings larch = Defaults();
  LoadPlaybackSettings("Larch ", Defaults(), &larch);
  EXPECT_EQ(0, larch.handles);
  SavePlaybackSettings("", elm);  // no board, nothing happens
  SettingsStore store;
  EXPECT_FALSE(store.KeyExists(PlaybackSettingsKey("")));
}

}  // namespace
}  // namespace morvane
