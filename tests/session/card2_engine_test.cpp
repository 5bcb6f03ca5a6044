#include <gtest/gtest.h>

#include "session/session_fixture.h"

namespace morvane {
namespace {

using test::OpenedBoard;

constexpr uint32_t kSame = 0;
constexpr uint32_t kOther = 1;
constexpr uint32_t kNone = 2;

struct InputRow {
  const char* format;
  uint32_t status;  // register 22
  uint32_t flags;   // register 232
  uint32_t result;
};

TEST(CheckInput, OfElm) {
  // clang-format off
  constexpr InputRow kRows[] = {
    { "1920x1080 @ 29.97i",     0x00000044, 0, kSame },
    { "1920x1080 @ 29.97i",     0x00000000, 0, kNone },
    { "1920x1080 @ 29.97i",     0x00000045, 0, kOther },  // 25
    { "1920x1080 @ 29.97i",     0x000000C4, 0, kOther },  // progressive
    { "1920x1080 @ 29.97i",     0x00000014, 0, kOther },  // 525 lines
    { "1920x1080 @ 29.97i/sF",  0x00000044, 0, kSame },
    { "1920x1080 @ 29.97i/sF",  0x000000C4, 0, kSame },   // its scan is reported
    { "1920x1080 @ 25.00sF",    0x00000045, 0, kSame },
    { "1920x1080 @ 24.00sF",    0x00000046, 0, kSame },
    { "1920x1080 @ 24.00p",     0x000000C6, 0, kSame },
    { "1920x1080 @ 24.00p",     0x00000046, 0, kOther },
    { "1280x720 @ 60.00p",      0x000000B1, 0, kSame },
    { "1280x720 @ 30.00p",      0x000000B1, 0, kSame },   // runs as 60
    { "1280x720 @ 24.00p",      0x000000B1, 0, kSame },   // runs as 60
    { "1280x720 @ 24.00p",      0x000000B2, 0, kOther },
    { "720x480 @ 29.97i",       0x00000014, 0, kSame },
    { "720x576 @ 25.00i",       0x00000025, 0, kSame },
    { "720x576 @ 25.00i",       0x00000014, 0, kOther },
    { "1920x1080 @ 60.00p",     0x000000C3, 0, kSame },   // each link is half the rate
    { "1920x1080 @ 60.00p",     0x00000043, 0, kSame },
    { "1920x1080 @ 60.00p",     0x000000C4, 0, kOther },
    { "2048x1556 @ 14.98sF",    0x50000016, 0, kSame },   // class 9, rate 14
  };
  // clang-format on
  OpenedBoard elm(BoardElm);
  for (const InputRow& row : kRows) {
    SCOPED_TRACE(row.format);
    ASSERT_TRUE(elm.Format(row.format, true));
    elm.port.registers[22] = row.status;
    elm.port.registers[232] = row.flags;
    EXPECT_EQ(elm.session.CheckInput(), row.result) << std::hex << row.status;
  }
}

TEST(CheckInput, TwoStreamsOnA3GInput) {
  OpenedBoard larch(BoardLarch);
  ASSERT_TRUE(larch.Format("1920x1080 @ 59.94p", true));
  larch.port.registers[22] = 0xC4;
  larch.port.registers[232] = 1;
  EXPECT_EQ(larch.session.CheckInput(), kSame);
  larch.port.registers[232] = 0;
  EXPECT_EQ(larch.session.CheckInput(), kOther);
}

TEST(CheckInput, LooksAtTheSelectedConnector) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x576 @ 25.00i", true));
  elm.port.registers[22] = 0x2544;  // input 1 1080i 29.97, input 2 625
  EXPECT_EQ(elm.session.CheckInput(), kOther);
  ASSERT_TRUE(elm.Choose(SessionFamily::VideoInput, "Single Link SDI 2 - Primary"));
  EXPECT_EQ(elm.session.CheckInput(), kSame);
  uint32_t index = 9;
  EXPECT_TRUE(elm.session.GetInputStatus(&index));
  EXPECT_EQ(index, 1u);
  elm.port.registers[22] = 0x0044;
  EXPECT_EQ(elm.session.CheckInput(), kNone);
  EXPECT_EQ(elm.Current(SessionFamily::InputStatus), "Video Input Not Detected");
}

TEST(CheckInput, HdmiTellsRasterAndRateOnly) {
  OpenedBoard larch(BoardLarch);
  ASSERT_TRUE(larch.Format("1920x1080 @ 29.97p", true));
  ASSERT_TRUE(larch.Choose(SessionFamily::VideoInput, "HDMI"));
  larch.port.registers[81] = 0x44000001;
  EXPECT_EQ(larch.session.CheckInput(), kSame);
  larch.port.registers[81] = 0x54000001;
  EXPECT_EQ(larch.session.CheckInput(), kOther);
  larch.port.registers[81] = 0;
  EXPECT_EQ(larch.session.CheckInput(), kNone);
}

TEST(CheckInput, TakesTheSecondFormatThatIsConverted) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i", true));
  elm.port.registers[22] = 0x14;
  EXPECT_EQ(elm.session.CheckInput(), kOther);
  ASSERT_TRUE(elm.Choose(SessionFamily::SecondFormatIn, "720x486 @ 29.97i (I)"));
  EXPECT_EQ(elm.session.CheckInput(), kSame);
}

TEST(CanUseFrameBufferFormat, NeedsARowAndRoomInTheSlot) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i"));
  for (const uint32_t format : {0u, 1u, 2u, 5u, 7u, 12u, 16u, 22u}) {
    EXPECT_TRUE(elm.session.CanUseFrameBufferFormat(format)) << format;
  }
  for (const uint32_t format : {17u, 18u, 19u, 24u, 99u}) {
    EXPECT_FALSE(elm.session.CanUseFrameBufferFormat(format)) << format;
  }
  ASSERT_TRUE(elm.Format("720x486 @ 29.97i"));
  EXPECT_FALSE(elm.session.CanUseFrameBufferFormat(9));  // no reduced raster here
}

TEST(CanUseFrameBufferFormat, RefusesWhatExceedsASlot) {
  OpenedBoard ebony(BoardEbony);  // 8 MiB slots that never grow
  ASSERT_TRUE(ebony.Format("1920x1080 @ 29.97i"));
  EXPECT_TRUE(ebony.session.CanUseFrameBufferFormat(FrameBuffer8BitArgb));    // 8,294,400
  EXPECT_FALSE(ebony.session.CanUseFrameBufferFormat(FrameBuffer48BitRgb));   // 12,441,600
  EXPECT_FALSE(ebony.session.CanUseFrameBufferFormat(FrameBuffer10BitArgb));  // 11,059,200
}

TEST(CanUseFrameBufferFormat, TwoBoardsHaveNoRgb) {
  OpenedBoard maple(BoardMaple);
  EXPECT_FALSE(maple.session.CanUseFrameBufferFormat(FrameBuffer8BitArgb));
  EXPECT_TRUE(maple.session.CanUseFrameBufferFormat(FrameBuffer8BitYuy2));
  EXPECT_FALSE(maple.session.HasRgbFrameBuffer());
}

TEST(FrameLatency, CountsConverterAndSecondFormat) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1920x1080 @ 29.97i", true));
  EXPECT_EQ(elm.session.GetFrameLatency(), 0u);
  EXPECT_EQ(elm.session.GetAudioLatency(), 0.0f);
  ASSERT_TRUE(elm.Choose(SessionFamily::ConvertMode, "LetterBox"));
  EXPECT_EQ(elm.session.GetFrameLatency(), 1u);
  EXPECT_EQ(elm.session.GetAudioLatency(), 1.0f);
  ASSERT_TRUE(elm.Choose(SessionFamily::SecondFormatOut, "720x486 @ 29.97i (O)"));
  EXPECT_EQ(elm.session.GetFrameLatency(), 1u);  // of the input
  EXPECT_EQ(elm.session.GetFrameLatency(SessionDirection::Out), 2u);
  EXPECT_EQ(elm.session.GetAudioLatency(), 2.0f);
}

TEST(FrameLatency, IsHalfAClipFrameWhereEachGoesTwice) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("1280x720 @ 29.97p", true));
  ASSERT_TRUE(elm.Choose(SessionFamily::ConvertMode, "Crop"));
  EXPECT_EQ(elm.session.GetAudioLatency(), 0.5f);
  EXPECT_EQ(elm.session.GetFrameLatency(), 1u);
}

TEST(Timecode, KindFollowsTheSelectedItem) {
  OpenedBoard larch(BoardLarch);
  const struct {
    const char* text;
    uint32_t kind;
  } kRows[] = {{"RS422", 0},
               {"Embedded  LTC (RP188)", 1},
               {"Embedded  VITC #1 (RP188)", 1},
               {"Embedded  VITC #2 (RP188)", 1},
               {"External LTC Port", 2}};
  ASSERT_EQ(larch.session.GetNumTimecodeInputs(), std::size(kRows));
  for (const auto& row : kRows) {
    ASSERT_TRUE(larch.Choose(SessionFamily::TimecodeInput, row.text));
    EXPECT_EQ(larch.session.GetTimecodeInputKind(), row.kind) << row.text;
  }
}

TEST(Timecode, GoesWithThePictureOnHdBoards) {
  const struct {
    uint32_t identity;
    bool carries;
  } kRows[] = {{BoardElm, true},    {BoardLarch, true},    {BoardEbony, true},
               {BoardQuince, true}, {BoardDogwood, true},  {BoardCedar, false},
               {BoardBasil, false}, {BoardJasmine, false}, {BoardMaple, true}};
  for (const auto& row : kRows) {
    OpenedBoard board(row.identity);
    EXPECT_EQ(board.session.CarriesTimecode(), row.carries) << BoardName(row.identity);
  }
}

struct RateRow {
  const char* format;
  uint32_t scale, duration;
  uint32_t cardScale, cardDuration;
  uint32_t width, height, frameHeight;
  uint32_t fieldOrder, cadence;
};

TEST(Questions, AnswerByFormat) {
  // clang-format off
  constexpr RateRow kRows[] = {
    { "1920x1080 @ 29.97i",    30000, 1001, 30000, 1001, 1920, 1080, 1080, 1, 0 },
    { "1920x1080 @ 59.94p",    60000, 1001, 60000, 1001, 1920, 1080, 1080, 0, 0 },
    { "1280x720 @ 23.976p",    24000, 1001, 60000, 1001, 1280,  720,  720, 0, 1 },
    { "1280x720 @ 25.00p",     25000, 1000, 50000, 1000, 1280,  720,  720, 0, 2 },
    { "720x480 @ 29.97i",      30000, 1001, 30000, 1001,  720,  480,  486, 2, 0 },
    { "2048x1556 @ 14.98sF",   15000, 1001, 15000, 1001, 2048, 1556, 1556, 0, 0 },
  };
  // clang-format on
  OpenedBoard elm(BoardElm);
  for (const RateRow& row : kRows) {
    SCOPED_TRACE(row.format);
    ASSERT_TRUE(elm.Format(row.format));
    uint32_t a = 0, b = 0;
    elm.session.GetRate(&a, &b);
    EXPECT_EQ(a, row.scale);
    EXPECT_EQ(b, row.duration);
    elm.session.GetCardRate(&a, &b);
    EXPECT_EQ(a, row.cardScale);
    EXPECT_EQ(b, row.cardDuration);
    elm.session.GetRaster(&a, &b);
    EXPECT_EQ(a, row.width);
    EXPECT_EQ(b, row.height);
    elm.session.GetFrameRaster(&a, &b);
    EXPECT_EQ(a, row.width);
    EXPECT_EQ(b, row.frameHeight);
    EXPECT_EQ(elm.session.GetFieldOrder(), row.fieldOrder);
    EXPECT_EQ(elm.session.GetCadence(), row.cadence);
  }
}

TEST(Questions, PixelsOfStandardDefinitionAreNotSquare) {
  const struct {
    const char* format;
    int32_t x, y;
  } kRows[] = {{"720x486 @ 29.97i", 10, 11},
               {"720x480 @ 29.97i", 10, 11},
               {"720x576 @ 25.00i", 12, 11},
               {"1920x1080 @ 25.00i", 1, 1}};
  OpenedBoard elm(BoardElm);
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.format);
    ASSERT_TRUE(elm.Format(row.format));
    int32_t x = 0, y = 0;
    elm.session.GetPixelAspect(&x, &y);
    EXPECT_EQ(x, row.x);
    EXPECT_EQ(y, row.y);
  }
}

TEST(Questions, FourHundredEightyLinesStandBelowFourMore) {
  OpenedBoard elm(BoardElm);
  ASSERT_TRUE(elm.Format("720x480 @ 29.97i"));
  EXPECT_EQ(elm.session.GetPadBytes(FrameBuffer8BitUyvy), 4u * 1440);
  EXPECT_EQ(elm.session.GetPadBytes(FrameBuffer10BitYCbCr), 16u * 480);
  EXPECT_EQ(elm.session.GetExtraBytes(FrameBuffer8BitUyvy), 6u * 1440);
  EXPECT_EQ(elm.session.GetFrameBytes(FrameBuffer8BitUyvy), 486u * 1440);
  ASSERT_TRUE(elm.Format("720x486 @ 29.97i"));
  EXPECT_EQ(elm.session.GetPadBytes(FrameBuffer8BitUyvy), 0u);
  EXPECT_EQ(elm.session.GetExtraBytes(FrameBuffer8BitUyvy), 0u);
}

TEST(Questions, ThreeFormatsCanBeFlipped) {
  OpenedBoard elm(BoardElm);
  for (uint32_t format = 0; format < 26; ++format) {
    EXPECT_EQ(elm.session.CanFlip(format), format == 2 || format == 3 || format == 6) << format;
  }
}

}  // namespace
}  // namespace morvane
