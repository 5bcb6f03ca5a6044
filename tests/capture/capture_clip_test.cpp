#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "capture/engine_rig.h"
#include "media/codec/media_writer.h"

// Movies on the card's input, captured byte for byte.
namespace morvane {
namespace {

using test::FreshFolder;
using test::ReadWhole;

constexpr uint32_t kMovieFrames = 8;

// Component `at` of frame `frame`, ten bits: every value is another one in another frame.
uint32_t Component(uint32_t frame, uint32_t line, uint32_t at) {
  return 64 + (frame * 131 + line * 17 + at * 29) % 850;
}

// A moving ten-bit picture as the writer takes it: three components a word, from the low bits up.
std::vector<uint8_t> MoviePicture(uint32_t frame, uint32_t width, uint32_t height) {
  const size_t pitch = (width + 47) / 48 * 128;
  std::vector<uint8_t> picture(pitch * height);
  for (uint32_t line = 0; line < height; ++line) {
    uint8_t* to = &picture[line * pitch];
    for (uint32_t at = 0; at + 2 < width * 2; at += 3, to += 4) {
      StoreLe32(to, Component(frame, line, at) | Component(frame, line, at + 1) << 10 |
                        Component(frame, line, at + 2) << 20);
    }
  }
  return picture;
}

struct Movie {
  const char* itemText;  // the session's
  uint32_t width;
  uint32_t height;
  int64_t rateScale;
  int64_t rateDuration;
  bool interlaced;
  bool bottomFirst;
};

class CaptureClip : public test::EngineRig, public ::testing::WithParamInterface<Movie> {
 protected:
  static void WriteMovie(const Movie& movie, const std::string& path) {
    std::string error;
    const MediaWriteFormat format = {.width = movie.width,
                                     .height = movie.height,
                                     .rateScale = movie.rateScale,
                                     .rateDuration = movie.rateDuration,
                                     .interlaced = movie.interlaced,
                                     .bottomFirst = movie.bottomFirst,
                                     .soundChannels = 2};
    auto writer = MediaWriter::Create(path, format, &error);
    ASSERT_NE(nullptr, writer) << error;
    int64_t sample = 0;
    for (uint32_t frame = 0; frame < kMovieFrames; ++frame) {
      ASSERT_TRUE(
          writer->WritePicture(MoviePicture(frame, movie.width, movie.height).data(), &error))
          << error;
      const int64_t until = (frame + 1) * 48000 * movie.rateDuration / movie.rateScale;
      std::vector<int32_t> sound;
      for (; sample < until; ++sample) {
        sound.push_back(static_cast<int32_t>(sample << 8));
        sound.push_back(static_cast<int32_t>(-(sample << 8)));
      }
      ASSERT_TRUE(writer->WriteSound(sound.data(), static_cast<int64_t>(sound.size() / 2), &error))
          << error;
    }
    ASSERT_TRUE(writer->Close(&error)) << error;
  }

  // The movie's frame that `bytes` is, or -1. Ten bits come as their top eight.
  static int FrameOf(const std::vector<uint8_t>& bytes, const Movie& movie) {
    if (bytes.size() != static_cast<size_t>(movie.width) * movie.height * 2) return -1;
    for (uint32_t frame = 0; frame < kMovieFrames; ++frame) {
      bool same = true;
      for (uint32_t line = 0; line < movie.height && same; ++line) {
        for (uint32_t at = 0; at < movie.width * 2 && same; ++at) {
          same = bytes[line * static_cast<size_t>(movie.width) * 2 + at] ==
                 Component(frame, line, at) >> 2;
        }
      }
      if (same) return static_cast<int>(frame);
    }
    return -1;
  }
};

TEST_P(CaptureClip, EachFrameIsTheSourcesByteForByte) {
  const Movie& movie = GetParam();
  const std::string path = FreshFolder("movie") + "/input.mkv";
  ASSERT_NO_FATAL_FAILURE(WriteMovie(movie, path));
  const std::string machine = std::string("rate = ") + test::kRate +
                              "\n[[card]]\nboard = \"Elm\"\n[card.input1]\nsource = \"clip\"\n" +
                              "clip = \"" + path + "\"\naudio = \"clip\"\n";
  ASSERT_NO_FATAL_FAILURE(Begin(machine, movie.itemText));
  ASSERT_NO_FATAL_FAILURE(Run(12));
  EXPECT_EQ(12, engine_->FramesCaptured());
  EXPECT_EQ(0U, engine_->FramesDropped());
  const int first = FrameOf(ReadWhole(FramePath(0)), movie);
  ASSERT_GE(first, 0);
  for (int frame = 1; frame < 12; ++frame) {
    EXPECT_EQ((first + frame) % static_cast<int>(kMovieFrames),
              FrameOf(ReadWhole(FramePath(frame)), movie))
        << "frame " << frame;
  }
}

INSTANTIATE_TEST_SUITE_P(Rasters, CaptureClip,
                         ::testing::Values(Movie{"720x576 @ 25.00i", 720, 576, 25, 1, true, false},
                                           Movie{"720x486 @ 29.97i", 720, 486, 30000, 1001, true,
                                                 true}));

}  // namespace
}  // namespace morvane
