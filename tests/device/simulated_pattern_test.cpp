// Test patterns on simulated boards, seen at the far end of a cable from the output.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "base/clock.h"
#include "device/formats.h"
#include "device/test_pattern.h"
#include "simulator/machine_description.h"
#include "simulator/signal_picture.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

struct PatternCase {
  const char* board;
  uint32_t identity;
  uint32_t videoFormat;
  uint32_t channel;  // that shows the pattern; the other one of the first two looks at it
  uint32_t before;   // frame-buffer format of the channel
  uint32_t after;    // of the pattern
};

std::ostream& operator<<(std::ostream& out, const PatternCase& row) {
  return out << row.board << ", channel " << row.channel << ", " << row.before << " to "
             << row.after;
}

class PatternOnACable : public testing::TestWithParam<std::tuple<PatternCase, bool>> {
 protected:
  ~PatternOnACable() override {
    pattern_.Close();
    InstallDriverPort(nullptr);
  }

  // Cables from both outputs; channel 1 takes the first input, channel 2 the second or the only.
  void Build(const PatternCase& row) {
    const uint32_t looking = 3 - row.channel;
    const bool second = looking == RQD5Channel2 && FindBoard(row.identity)->videoIn > 1;
    CardDescription card;
    card.identity = row.identity;
    InputDescription cable;
    cable.connector = second ? "input2" : "input1";
    cable.source = SignalSource::kLoop;
    cable.loopOutput = row.channel;
    card.inputs = {cable};
    MachineDescription machine;
    machine.cards = {card};
    driver_ = std::make_unique<SimulatedDriver>(machine);
    InstallDriverPort(driver_.get());
    ASSERT_TRUE(pattern_.Open(0, true, FindBoard(row.identity)->boardType, nullptr));
    ASSERT_TRUE(pattern_.SetVideoFormat(row.videoFormat));
    ASSERT_TRUE(pattern_.SetFrameBufferFormat(row.channel, row.before));
    ASSERT_TRUE(pattern_.SetFrameBufferFormat(looking, FrameBuffer8BitUyvy));
    ASSERT_TRUE(pattern_.SetChannelMode(looking, 1));
    ASSERT_TRUE(pattern_.SetInputFrame(looking, kLookFrame));
  }
  // What the output sends, as 8-bit 4:2:2.
  std::vector<uint8_t> Seen(size_t bytes) {
    std::vector<uint8_t> seen(bytes);
    EXPECT_TRUE(pattern_.DmaReadWithOffset(kDmaEngineFrame, kLookFrame, seen.data(), 0,
                                           static_cast<uint32_t>(bytes), true));
    return seen;
  }

  static constexpr uint32_t kLookFrame = 6;  // no channel shows it
  ManualClock clock_;
  std::unique_ptr<SimulatedDriver> driver_;
  CRQD5TestPattern pattern_;
};

// Takes the picture that `frame` holds in the pattern's layout to 8-bit 4:2:2.
std::vector<uint8_t> AsUyvy(const PatternRaster& raster, const std::vector<uint8_t>& frame) {
  const RQD5FormatDescriptor shape = PatternDescriptor(raster);
  const FourCCCode uyvy = FrameBufferFourCC(FrameBuffer8BitUyvy);
  FrameLayout from = PlainLayout(uyvy, shape.numPixels, shape.numLines);
  FrameLayout to = from;
  from.frameBufferFormat = raster.frameBufferFormat;
  from.fourcc = FrameBufferFourCC(raster.frameBufferFormat);
  from.pitch = shape.linePitch * 4;
  to.frameBufferFormat = FrameBuffer8BitUyvy;
  from.matrix = to.matrix =
      raster.standard == Standard525 || raster.standard == Standard625 ? 1 : 3;
  std::vector<uint8_t> out(to.Bytes());
  PictureOfFrame(from, frame.data(), frame.size(), false)->Store(to, out.data());
  return out;
}

// The slots of card memory may become fewer, more, larger or smaller with the pattern's format; the
// picture must lie where the card looks for it in the end.
TEST_P(PatternOnACable, ShowsThePatternThatWasDrawn) {
  const auto& [row, byDma] = GetParam();
  ASSERT_NO_FATAL_FAILURE(Build(row));
  pattern_.SetChannel(row.channel);
  pattern_.SetFrameBufferFormat(row.after);
  pattern_.SetDmaEnable(byDma);
  ASSERT_TRUE(pattern_.DownloadTestPattern(0));

  PatternRaster raster;
  ASSERT_TRUE(pattern_.ReadRaster(&raster));
  std::vector<uint8_t> drawn(PatternDescriptor(raster).FrameBytes());
  ASSERT_EQ(DrawTestPattern(0, raster, drawn), nullptr);
  const std::vector<uint8_t> want = AsUyvy(raster, drawn);
  const std::vector<uint8_t> seen = Seen(want.size());
  for (size_t i = 0; i < want.size(); ++i) ASSERT_EQ(seen[i], want[i]) << "byte " << i;
}

// clang-format off
constexpr PatternCase kCases[] = {
  // board    identity     format channel before after
  { "Elm",    BoardElm,     2,     1,      0,    16 },  // half the slots, of the same size
  { "Elm",    BoardElm,     2,     1,     16,     1 },
  { "Elm",    BoardElm,     2,     2,      1,    16 },
  { "Larch",  BoardLarch,   2,     1,      0,    16 },
  { "Larch",  BoardLarch,   2,     1,     22,     1 },  // a quarter of them
  { "Oak",    BoardOak,     2,     1,      1,    16 },  // slots twice as large
  { "Oak",    BoardOak,     2,     2,      1,    16 },
  { "Oak",    BoardOak,     2,     2,     16,     1 },
  { "Quince", BoardQuince,  2,     2,     16,     1 },
  { "Fennel", BoardFennel, 32,     2,      1,     1 },  // channel 2 has a window of its own
  { "Kale2",  BoardKale2,   2,     2,      1,     1 },
  { "Laurel", BoardLaurel,  2,     2,      1,     1 },
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Boards, PatternOnACable,
                         testing::Combine(testing::ValuesIn(kCases), testing::Bool()),
                         [](const auto& made) {
                           const PatternCase& row = std::get<0>(made.param);
                           return std::string(row.board) + "Channel" + std::to_string(row.channel) +
                                  "From" + std::to_string(row.before) + "To" +
                                  std::to_string(row.after) +
                                  (std::get<1>(made.param) ? "ByDma" : "ByWindow");
                         });

}  // namespace
}  // namespace morvane
