#include "base/paths.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <optional>

#include "support/test_environment.h"

namespace morvane {
namespace {

// An environment variable for the time of one test; null means not set.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    Set(value);
  }
  ~Variable() { Set(old_ ? old_->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void Set(const char* value) {
    if (value != nullptr) {
      setenv(name_, value, 1);
    } else {
      unsetenv(name_);
    }
  }
  const char* name_;
  std::optional<std::string> old_;
};

TEST(JoinPath, AddsTheSeparatorOnlyWhenMissing) {
  EXPECT_EQ(JoinPath("/a", "b"), "/a/b");
  EXPECT_EQ(JoinPath("/a/", "b"), "/a/b");
  EXPECT_EQ(JoinPath("/a", "/b"), "/a/b");
  EXPECT_EQ(JoinPath("/a/", "/b"), "/a/b");
  EXPECT_EQ(JoinPath("/", "b"), "/b");
  EXPECT_EQ(JoinPath("a", ""), "a/");
  EXPECT_EQ(JoinPath("", "b"), "b");
  EXPECT_EQ(JoinPath("", ""), "");
}

TEST(Folders, VideosComeFromTheEnvironmentElseFromHome) {
  const std::string home = test::FreshFolder("home");
  Variable homeVariable("HOME", home.c_str());
  {
    Variable videos("XDG_VIDEOS_DIR", "/some/where");
    EXPECT_EQ(DefaultVideoFolder(), "/some/where");
    EXPECT_FALSE(std::filesystem::exists("/some/where"));
  }
  for (const char* unusable : {static_cast<const char*>(nullptr), "", "not/absolute"}) {
    Variable videos("XDG_VIDEOS_DIR", unusable);
    std::filesystem::remove(home + "/Videos");
    EXPECT_EQ(DefaultVideoFolder(), home);
    EXPECT_FALSE(std::filesystem::exists(home + "/Videos"));
    std::filesystem::create_directory(home + "/Videos");
    EXPECT_EQ(DefaultVideoFolder(), home + "/Videos");
  }
}

TEST(Folders, OwnDataAndConfigurationLieBelowTheUsersFolders) {
  Variable home("HOME", "/home/kim");
  {
    Variable data("XDG_DATA_HOME", "/d");
    Variable config("XDG_CONFIG_HOME", "/c/");
    EXPECT_EQ(DataFolder(), "/d/morvane");
    EXPECT_EQ(ConfigFolder(), "/c/morvane");
  }
  Variable data("XDG_DATA_HOME", nullptr);
  Variable config("XDG_CONFIG_HOME", "");
  EXPECT_EQ(DataFolder(), "/home/kim/.local/share/morvane");
  EXPECT_EQ(ConfigFolder(), "/home/kim/.config/morvane");
}

TEST(Folders, WithoutHomeTheUserDatabaseTells) {
  Variable home("HOME", nullptr);
  Variable data("XDG_DATA_HOME", nullptr);
  EXPECT_EQ(DataFolder().front(), '/');
}

TEST(Folders, LocksLieInSharedMemoryUnlessToldOtherwise) {
  {
    Variable locks("MORVANE_LOCKS", "/l");
    EXPECT_EQ(LockFolder(), "/l");
  }
  Variable locks("MORVANE_LOCKS", nullptr);
  EXPECT_EQ(LockFolder(), "/dev/shm");
}

TEST(Unicode, ConvertsBothWays) {
  const struct {
    const char* utf8;
    std::u16string utf16;
  } kRows[] = {
      {"", u""},
      {"clip_01.mov", u"clip_01.mov"},
      {"\x7f\xC2\x80\xDF\xBF", u"\u007f\u0080\u07ff"},
      {"Gr\xC3\xBC\xC3\x9F", u"Gr\u00fc\u00df"},
      {"\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF", u"\u0800\ud7ff\ue000\uffff"},
      {"\xF0\x90\x80\x80\xF0\x9F\x8E\xAC\xF4\x8F\xBF\xBF", u"\U00010000\U0001F3AC\U0010FFFF"},
  };
  for (const auto& row : kRows) {
    std::u16string wide = u"old";
    EXPECT_TRUE(Utf8ToUtf16(row.utf8, &wide)) << row.utf8;
    EXPECT_EQ(wide, row.utf16) << row.utf8;
    std::string narrow = "old";
    EXPECT_TRUE(Utf16ToUtf8(row.utf16, &narrow)) << row.utf8;
    EXPECT_EQ(narrow, row.utf8);
  }
}

TEST(Unicode, EveryCharacterComesBack) {
  for (uint32_t code = 0; code <= 0x10FFFF; code += code < 0x11000 ? 1 : 37) {
    if (code >= 0xD800 && code <= 0xDFFF) continue;
    std::u16string wide;
    if (code < 0x10000) {
      wide.push_back(static_cast<char16_t>(code));
    } else {
      wide.push_back(static_cast<char16_t>(0xD7C0 + (code >> 10)));
      wide.push_back(static_cast<char16_t>(0xDC00 + (code & 0x3FF)));
    }
    std::string narrow;
    std::u16string back;
    ASSERT_TRUE(Utf16ToUtf8(wide, &narrow)) << code;
    ASSERT_TRUE(Utf8ToUtf16(narrow, &back)) << code;
    ASSERT_EQ(back, wide) << code;
  }
}

TEST(Unicode, RefusesBadUtf8) {
  const std::string_view kBad[] = {"\x80",              // a tail without a lead
                                   "a\xC3",             // cut short
                                   "\xE2\x82",          // cut short
                                   "\xF0\x9F\x8E",      // cut short
                                   "\xC3(",             // a lead without a tail
                                   "\xC0\xAF",          // overlong
                                   "\xC1\xBF",          // overlong
                                   "\xE0\x9F\xBF",      // overlong
                                   "\xF0\x8F\xBF\xBF",  // overlong
                                   "\xED\xA0\x80",      // a surrogate
                                   "\xED\xBF\xBF",      // a surrogate
                                   "\xF4\x90\x80\x80",  // above the last character
                                   "\xF5\x80\x80\x80",
                                   "\xFE",
                                   "\xFF"};
  for (const std::string_view bad : kBad) {
    std::u16string out = u"old";
    EXPECT_FALSE(Utf8ToUtf16(bad, &out)) << testing::PrintToString(std::string(bad));
    EXPECT_TRUE(out.empty());
  }
}

TEST(Unicode, RefusesLoneSurrogates) {
  const std::u16string kBad[] = {
      {0xD800}, {u'a', 0xDC00}, {0xD800, u'a'}, {0xDC00, 0xD800}, {0xD83C, 0xD83C, 0xDFAC}};
  for (const std::u16string& bad : kBad) {
    std::string out = "old";
    EXPECT_FALSE(Utf16ToUtf8(bad, &out));
    EXPECT_TRUE(out.empty());
  }
}

}  // namespace
}  // namespace morvane
