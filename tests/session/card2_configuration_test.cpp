#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "session/session_fixture.h"

namespace morvane {
namespace {

using test::OpenedBoard;

constexpr SessionFamily kStored[] = {
    SessionFamily::MixMode,        SessionFamily::VideoFormat,  SessionFamily::SDIOutput,
    SessionFamily::HDMIOutput,     SessionFamily::AnalogOutput, SessionFamily::SecondFormatOut,
    SessionFamily::SecondFormatIn, SessionFamily::ConvertMode,  SessionFamily::VideoInput,
    SessionFamily::TimecodeInput,  SessionFamily::AudioInput,   SessionFamily::AudioLevel,
    SessionFamily::Reference,      SessionFamily::VideoLimit,   SessionFamily::RGBLevel,
    SessionFamily::VideoSyncOutput};

// Every family away from its default.
struct Choice {
  SessionFamily family;
  const char* text;
};
constexpr Choice kChoices[] = {
    {SessionFamily::VideoFormat, "720x576 (Wide) @ 25.00i"},
    {SessionFamily::MixMode, "UnShaped"},
    {SessionFamily::SDIOutput, "Dual Link SDI - Secondary"},
    {SessionFamily::HDMIOutput, "Single Link SDI - Secondary"},
    {SessionFamily::AnalogOutput, "Composite + S-Video"},
    {SessionFamily::SecondFormatOut, "1920x1080 @ 25.00i (O)"},
    {SessionFamily::SecondFormatIn, "1280x720 @ 50.00p (I)"},
    {SessionFamily::ConvertMode, "Zoom Wide"},
    {SessionFamily::VideoInput, "Single Link SDI 2 - Primary"},
    {SessionFamily::TimecodeInput, "RS422"},
    {SessionFamily::AudioInput, "Digital AES/EBU - BNC (48)"},
    {SessionFamily::AudioLevel, "Gain @ 0 dB"},
    {SessionFamily::Reference, "Input 2"},
    {SessionFamily::VideoLimit, "Legal SDI"},
    {SessionFamily::RGBLevel, "Full"},
    {SessionFamily::VideoSyncOutput, "Secondary (if present)"},
};

std::unique_ptr<SessionConfigurationBlock> NewBlock() {
  return std::make_unique<SessionConfigurationBlock>();
}

TEST(Configuration, RoundTripRestoresEveryFamily) {
  auto stored = NewBlock();
  {
    OpenedBoard elm(BoardElm);
    for (const Choice& choice : kChoices) {
      ASSERT_TRUE(elm.Choose(choice.family, choice.text)) << choice.text;
    }
    ASSERT_TRUE(elm.session.SetTimingOffsets(7, -2));
    ASSERT_TRUE(elm.session.SetMixer({}, 0.5f, true));
    ASSERT_TRUE(elm.session.GetConfiguration(stored.get()));
  }
  EXPECT_EQ(uint32_t{stored->version}, 1u);
  EXPECT_EQ(uint32_t{stored->identity}, uint32_t{BoardElm});
  EXPECT_STREQ(stored->format.name, "720x576 (Wide) @ 25.00i");

  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.SetConfiguration(*stored));
  for (const Choice& choice : kChoices) {
    EXPECT_EQ(elm.Current(choice.family), choice.text);
  }
  int32_t horizontal = 0, vertical = 0;
  elm.session.GetTimingOffsets(&horizontal, &vertical);
  EXPECT_EQ(horizontal, 7);
  EXPECT_EQ(vertical, -2);
  EXPECT_EQ(elm.session.GetMixerLevel(), 0.5f);
  EXPECT_TRUE(elm.session.GetMixerEnable());
  auto again = NewBlock();
  ASSERT_TRUE(elm.session.GetConfiguration(again.get()));
  EXPECT_EQ(std::memcmp(stored.get(), again.get(), sizeof *again), 0);
}

TEST(Configuration, SetsTheCard) {
  auto stored = NewBlock();
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.session.GetDefaultConfiguration(stored.get()));
  ASSERT_TRUE(elm.session.SetConfiguration(*stored));
  EXPECT_EQ(elm.port.Bits(0, 0x7), 4u);
  EXPECT_EQ(elm.port.Bits(1, 0x1000000), 1u);
  EXPECT_EQ(elm.port.Bits(0, 0x1C00), 3u);
}

TEST(Configuration, SetsTheTimingThatTheFormatHasCentred) {
  OpenedBoard elm(BoardElm);
  auto stored = NewBlock();
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  ASSERT_TRUE(elm.session.SetTimingOffsets(7, -2));
  ASSERT_TRUE(elm.session.GetConfiguration(stored.get()));
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i"));
  EXPECT_EQ(elm.port.registers[14], 0x08001000u);
  ASSERT_TRUE(elm.session.SetConfiguration(*stored));
  EXPECT_EQ(elm.port.registers[14], (2048u - 2) << 16 | (4096u + 7));
}

TEST(Configuration, SwitchesTheColourTableOff) {
  OpenedBoard elm(BoardElm);
  auto stored = NewBlock();
  ASSERT_TRUE(elm.session.GetConfiguration(stored.get()));
  ASSERT_TRUE(elm.session.LoadColourTable(nullptr, true));
  EXPECT_EQ(elm.port.registers[2048], 2u);
  ASSERT_TRUE(elm.session.SetConfiguration(*stored));
  EXPECT_EQ(elm.port.registers[2048], 0u);
}

TEST(Configuration, DefaultsLeaveTheSessionAlone) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i", true));
  auto block = NewBlock();
  ASSERT_TRUE(elm.session.GetDefaultConfiguration(block.get()));
  EXPECT_EQ(elm.port.TakeWrites(), "");
  EXPECT_EQ(elm.Current(SessionFamily::VideoFormat), "720x576 @ 25.00i");
  EXPECT_STREQ(block->format.name, "1920x1080 @ 29.97i");
  const auto& input = block->selections[static_cast<uint32_t>(SessionFamily::VideoInput)];
  EXPECT_STREQ(input.text, "Single Link SDI - Primary");
}

TEST(Configuration, OfAnotherBoardGoesByTextThenByDefault) {
  auto stored = NewBlock();
  {
    OpenedBoard elm(BoardElm);
    for (const Choice& choice : kChoices) {
      ASSERT_TRUE(elm.Choose(choice.family, choice.text)) << choice.text;
    }
    ASSERT_TRUE(elm.session.GetConfiguration(stored.get()));
  }
  OpenedBoard ebony(BoardEbony);
  ASSERT_TRUE(ebony.session.SetConfiguration(*stored));
  EXPECT_EQ(ebony.Current(SessionFamily::VideoFormat), "1920x1080 @ 29.97i");
  EXPECT_EQ(ebony.Current(SessionFamily::MixMode), "None");
  EXPECT_EQ(ebony.Current(SessionFamily::SDIOutput), "Single Link SDI");
  EXPECT_EQ(ebony.Current(SessionFamily::VideoInput), "Single Link SDI");
  EXPECT_EQ(ebony.Current(SessionFamily::TimecodeInput), "RS422");   // offered here too
  EXPECT_EQ(ebony.Current(SessionFamily::VideoLimit), "Legal SDI");  // offered here too
  EXPECT_EQ(ebony.Current(SessionFamily::Reference), "Free Run");
}

TEST(Configuration, UnknownTextOfTheSameBoardGoesById) {
  OpenedBoard elm(BoardElm);
  auto stored = NewBlock();
  ASSERT_TRUE(elm.session.GetDefaultConfiguration(stored.get()));
  auto& limit = stored->selections[static_cast<uint32_t>(SessionFamily::VideoLimit)];
  limit.id = 2;
  std::strcpy(limit.text, "Renamed since");
  ASSERT_TRUE(elm.session.SetConfiguration(*stored));
  EXPECT_EQ(elm.Current(SessionFamily::VideoLimit), "Legal Broadcast");
}

TEST(Configuration, RubbishGivesDefaults) {
  OpenedBoard elm(BoardElm);
  auto stored = NewBlock();
  std::memset(stored.get(), 0xFF, sizeof *stored);
  ASSERT_TRUE(elm.session.SetConfiguration(*stored));
  auto expected = NewBlock();
  auto present = NewBlock();
  ASSERT_TRUE(elm.session.GetDefaultConfiguration(expected.get()));
  ASSERT_TRUE(elm.session.GetConfiguration(present.get()));
  EXPECT_EQ(std::memcmp(expected.get(), present.get(), sizeof *present), 0);

  stored->version = 1;  // and texts without an end, ids without an item
  ASSERT_TRUE(elm.session.SetConfiguration(*stored));
  for (const SessionFamily family : kStored) {
    uint32_t index = 9, fallback = 9;
    std::string text;
    elm.session.GetItem(family, &index);
    elm.session.GetDefaultItem(family, &fallback, &text);
    EXPECT_EQ(index, fallback) << static_cast<uint32_t>(family);
  }
}

TEST(Configuration, FailsWithTheFormat) {
  OpenedBoard elm(BoardElm);
  auto stored = NewBlock();
  ASSERT_TRUE(elm.session.GetDefaultConfiguration(stored.get()));
  elm.port.refuseWrites = {0};
  EXPECT_FALSE(elm.session.SetConfiguration(*stored));
  EXPECT_EQ(elm.session.GetLastError(), "Set Video Format Failed");
}

TEST(Configuration, UnopenedFails) {
  CRQD5Card2 session;
  auto block = NewBlock();
  EXPECT_FALSE(session.GetConfiguration(block.get()));
  EXPECT_FALSE(session.SetConfiguration(*block));
  EXPECT_FALSE(session.GetDefaultConfiguration(block.get()));
  SessionIdentityBlock identity;
  EXPECT_FALSE(session.GetIdentityBlock(&identity));
}

}  // namespace
}  // namespace morvane
