#include "base/settings_store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/test_environment.h"

namespace morvane {
namespace {

const char kKey[] = "Software\\VYR\\ToviMorvane\\CaptureElm ";

SettingsStore::Value Number(const std::string& name, uint32_t number) {
  return {name, false, number, {}};
}
SettingsStore::Value Binary(const std::string& name, std::vector<uint8_t> data) {
  return {name, true, 0, std::move(data)};
}

class SettingsStoreTest : public testing::Test {
 protected:
  void SetUp() override { setenv("MORVANE_SETTINGS", path_.c_str(), 1); }

  static std::string ReadText(SettingsStore* store, const std::string& key,
                              const std::string& name) {
    uint8_t data[64];
    size_t bytes = 0;
    if (!store->ReadBinary(key, name, data, sizeof data, &bytes)) return "none";
    return {data, data + bytes};
  }

  std::string folder_ = test::FreshFolder("settings");
  std::string path_ = folder_ + "/settings.db";
};

TEST_F(SettingsStoreTest, AskingMakesNoFile) {
  SettingsStore store;
  EXPECT_FALSE(store.KeyExists(kKey));
  uint32_t number = 5;
  EXPECT_FALSE(store.ReadNumber(kKey, "MagicNumber", &number));
  EXPECT_EQ(number, 5u);
  size_t bytes = 9;
  EXPECT_FALSE(store.ReadBinary(kKey, "MagicNumber", &number, sizeof number, &bytes));
  EXPECT_EQ(bytes, 0u);
  EXPECT_TRUE(store.RemoveKey(kKey));
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(SettingsStoreTest, ValuesComeBackInALaterRun) {
  {
    SettingsStore store;
    EXPECT_TRUE(store.Write(kKey, {Number("MagicNumber", 0x12345780), Number("Top", 0xFFFFFFFF),
                                   Binary("Blob", {'a', 0, 'b'}), Binary("Empty", {})}));
  }
  SettingsStore store;
  EXPECT_TRUE(store.KeyExists(kKey));
  uint32_t number = 0;
  EXPECT_TRUE(store.ReadNumber(kKey, "MagicNumber", &number));
  EXPECT_EQ(number, 0x12345780u);
  EXPECT_TRUE(store.ReadNumber(kKey, "Top", &number));
  EXPECT_EQ(number, 0xFFFFFFFFu);
  EXPECT_EQ(ReadText(&store, kKey, "Blob"), std::string("a\0b", 3));
  EXPECT_EQ(ReadText(&store, kKey, "Empty"), "");
  EXPECT_EQ(ReadText(&store, kKey, "None"), "none");
}

TEST_F(SettingsStoreTest, KeysAreApart) {
  SettingsStore store;
  ASSERT_TRUE(store.Write("CaptureElm ", {Number("a", 1)}));
  ASSERT_TRUE(store.Write("CaptureElm", {Number("a", 2)}));
  uint32_t number = 0;
  EXPECT_TRUE(store.ReadNumber("CaptureElm ", "a", &number));
  EXPECT_EQ(number, 1u);
  EXPECT_FALSE(store.KeyExists("Capture"));
  EXPECT_TRUE(store.RemoveKey("CaptureElm"));
  EXPECT_FALSE(store.KeyExists("CaptureElm"));
  EXPECT_FALSE(store.ReadNumber("CaptureElm", "a", &number));
  EXPECT_TRUE(store.KeyExists("CaptureElm "));
}

TEST_F(SettingsStoreTest, WriteReplacesOnlyWhatItNames) {
  SettingsStore store;
  ASSERT_TRUE(store.Write(kKey, {Number("a", 1), Number("b", 2)}));
  ASSERT_TRUE(store.Write(kKey, {Binary("a", {'x'}), Number("c", 3)}));
  uint32_t number = 0;
  EXPECT_FALSE(store.ReadNumber(kKey, "a", &number));  // it is binary now
  EXPECT_EQ(ReadText(&store, kKey, "a"), "x");
  EXPECT_TRUE(store.ReadNumber(kKey, "b", &number));
  EXPECT_EQ(number, 2u);
  EXPECT_EQ(ReadText(&store, kKey, "b"), "none");  // it is a number
}

TEST_F(SettingsStoreTest, KeyMayBeEmptyAndAValueNameless) {
  SettingsStore store;
  ASSERT_TRUE(store.Write(kKey, {}));
  EXPECT_TRUE(store.KeyExists(kKey));
  uint32_t number = 0;
  EXPECT_FALSE(store.ReadNumber(kKey, "", &number));
  ASSERT_TRUE(store.Write(kKey, {Number("", 4)}));
  ASSERT_TRUE(store.Write(kKey, {Number("a", 5)}));
  EXPECT_TRUE(store.ReadNumber(kKey, "", &number));
  EXPECT_EQ(number, 4u);
}

TEST_F(SettingsStoreTest, TooLongABlobLeavesTheBufferAlone) {
  SettingsStore store;
  ASSERT_TRUE(store.Write(kKey, {Binary("Blob", std::vector<uint8_t>(100, 7))}));
  uint8_t data[100];
  std::memset(data, 1, sizeof data);
  size_t bytes = 0;
  EXPECT_FALSE(store.ReadBinary(kKey, "Blob", data, 99, &bytes));
  EXPECT_EQ(bytes, 100u);
  EXPECT_EQ(data[0], 1);
  EXPECT_TRUE(store.ReadBinary(kKey, "Blob", data, 100, &bytes));
  EXPECT_EQ(data[99], 7);
}

TEST_F(SettingsStoreTest, FailedSaveChangesNothing) {
  SettingsStore store;
  ASSERT_TRUE(store.Write(kKey, {Number("a", 1), Number("b", 2)}));
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(path_.c_str(), &database), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(database,
                         "CREATE TRIGGER refuse BEFORE INSERT ON settings WHEN NEW.name = 'b' "
                         "BEGIN SELECT RAISE(ABORT, 'disk on fire'); END",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(database);
  EXPECT_FALSE(store.Write(kKey, {Number("a", 10), Number("b", 20)}));
  EXPECT_FALSE(store.Write("new", {Number("b", 20)}));
  EXPECT_FALSE(store.KeyExists("new"));
  uint32_t number = 0;
  EXPECT_TRUE(store.ReadNumber(kKey, "a", &number));
  EXPECT_EQ(number, 1u);
  EXPECT_TRUE(store.Write(kKey, {Number("a", 11)}));  // and the next one can be saved
}

TEST_F(SettingsStoreTest, TwoRunningCopiesSeeEachOther) {
  SettingsStore first;
  SettingsStore second;
  EXPECT_FALSE(second.KeyExists(kKey));
  ASSERT_TRUE(first.Write(kKey, {Number("a", 1)}));
  uint32_t number = 0;
  EXPECT_TRUE(second.ReadNumber(kKey, "a", &number));
  ASSERT_TRUE(second.Write(kKey, {Number("a", 2)}));
  EXPECT_TRUE(first.ReadNumber(kKey, "a", &number));
  EXPECT_EQ(number, 2u);
}

TEST_F(SettingsStoreTest, FoldersAreMadeByTheFirstSave) {
  path_ = folder_ + "/a/b/settings.db";
  setenv("MORVANE_SETTINGS", path_.c_str(), 1);
  SettingsStore store;
  EXPECT_TRUE(store.Write(kKey, {Number("a", 1)}));
  EXPECT_TRUE(std::filesystem::exists(path_));
}

TEST_F(SettingsStoreTest, WithoutAVariableItLiesInTheConfigurationFolder) {
  unsetenv("MORVANE_SETTINGS");
  SettingsStore store;
  EXPECT_TRUE(store.Write(kKey, {Number("a", 1)}));
  EXPECT_TRUE(
      std::filesystem::exists(std::string(getenv("XDG_CONFIG_HOME")) + "/morvane/settings.db"));
}

TEST_F(SettingsStoreTest, ForeignFileIsLeftAsItIs) {
  const std::string text(5000, 'z');
  std::ofstream(path_) << text;
  SettingsStore store;
  EXPECT_FALSE(store.KeyExists(kKey));
  EXPECT_FALSE(store.Write(kKey, {Number("a", 1)}));
  EXPECT_FALSE(store.RemoveKey(kKey));
  std::ifstream file(path_);
  EXPECT_EQ(std::string((std::istreambuf_iterator<char>(file)), {}), text);
}

TEST_F(SettingsStoreTest, FolderInItsPlaceIsAFailure) {
  std::filesystem::create_directory(path_);
  SettingsStore store;
  EXPECT_FALSE(store.KeyExists(kKey));
  EXPECT_FALSE(store.Write(kKey, {Number("a", 1)}));
}

}  // namespace
}  // namespace morvane
