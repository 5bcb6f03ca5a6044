// A movie on a tape, the tape in the deck, the deck on the card's input: at every rate at which
// tapes count, the frame that is shown is the movie's.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>

#include "simulator/deck_client.h"
#include "simulator/tape_folder.h"
#include "simulator/tape_import.h"
#include "simulator/test_movie.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::DeckClient;
using test::PortClient;

constexpr uint32_t kIn = 1 | kACInput;
constexpr int kFrames = 24;

struct MovieCase {
  const char* name;
  uint32_t format;
  uint32_t width;
  uint32_t height;
  const char* rate;
  int64_t scale;
  int64_t duration;
  const char* first;  // number of the movie's frame 0
  const char* cue;    // command bytes of a number in the movie
  int frame;          // the movie's frame that carries it, counted by hand
  int perNumber;
};

constexpr MovieCase kMovies[] = {
    {"Rate24", 35, 720, 486, "24", 24000, 1000, "00:59:59:20", "03 00 00 01", 7, 1},
    {"Rate25", 33, 720, 576, "25", 25000, 1000, "00:59:59:20", "03 00 00 01", 8, 1},
    {"Rate2997", 32, 720, 486, "30000/1001", 30000, 1001, "00:59:59:20", "03 00 00 01", 13, 1},
    // 00:00:59:28 29, then 00:01:00:02.
    {"Rate2997Drop", 32, 720, 486, "30000/1001", 30000, 1001, "00;00;59;28", "03 00 01 00", 3, 1},
    {"Rate50", 17, 1280, 720, "50", 50000, 1000, "00:59:59:20", "01 00 00 01", 12, 2},
    {"Rate5994", 4, 1280, 720, "60000/1001", 60000, 1001, "00:59:59:25", "01 00 00 01", 12, 2},
    {"Rate5994Drop", 4, 1280, 720, "60000/1001", 60000, 1001, "00;00;59;28", "03 00 01 00", 6, 2},
};

void PrintTo(const MovieCase& movie, std::ostream* out) {
  *out << movie.name;
}

class MovieOnTape : public ::testing::TestWithParam<MovieCase> {};

TEST_P(MovieOnTape, CueStepAndPlayShowTheMoviesFrames) {
  const MovieCase& row = GetParam();
  const std::string folder = test::FreshFolder("movie");
  const std::string movie =
      test::MakeMovie(folder, "a.mov", {row.width, row.height, row.rate, kFrames, "uyvy"});
  ASSERT_FALSE(movie.empty());
  const size_t bytes = static_cast<size_t>(row.width) * row.height * 2;
  const std::vector<uint8_t> pictures = test::DecodePictures(movie, "uyvy422");
  ASSERT_EQ(pictures.size(), bytes * kFrames);

  TapeFacts facts;
  facts.videoFormat = row.format;
  facts.rate = TapeRate::Of(row.format, std::strchr(row.first, ';') != nullptr);
  facts.first = TapeCountOfText(facts.rate, row.first);
  std::string error;
  ASSERT_TRUE(CreateTapeOfMovie(folder + "/reel", facts, movie, nullptr, &error)) << error;

  MachineDescription machine = test::ElmWithBars(row.format);
  machine.cards[0].inputs[0].source = SignalSource::kTape;
  machine.cards[0].deck.tape = folder + "/reel";
  ManualClock clock;
  SimulatedDriver driver(machine);
  DeckClient client(&driver, &clock);
  PortClient& card = client.Card();
  card.SetFormat(row.format);
  card.SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
  card.Write(1, 0x8000, 0xC000, 0);  // input 1
  card.Write(1, 1, 1, 0);            // shows what it sees
  card.Write(3, 5);
  const int64_t startNs = NxClockNowNs();
  // To 1 ms behind the next boundary.
  const auto boundary = [&] {
    const int64_t done = (NxClockNowNs() - startNs) * row.scale / (row.duration * 1000000000);
    const int64_t next = (done + 1) * row.duration * 1000000000 / row.scale + 1000000;
    clock.Advance(startNs + next - NxClockNowNs());
    (void)card.Get(72);
  };
  const auto is = [&](const std::vector<uint8_t>& shown, int64_t frame) {
    return frame >= 0 && frame < kFrames &&
           std::memcmp(shown.data(), pictures.data() + static_cast<size_t>(frame) * bytes, bytes) ==
               0;
  };
  std::vector<uint8_t> shown(bytes);
  const auto look = [&] {
    EXPECT_TRUE(card.Dma(1, true, 5, shown.data(), static_cast<uint32_t>(bytes)));
  };

  client.Send(std::string("24 31 ") + row.cue);
  for (int i = 0; i < 4; ++i) boundary();
  look();
  EXPECT_TRUE(is(shown, row.frame));
  for (int neighbour : {1, 2, 1, 0, -1}) {
    const std::vector<uint8_t> time = TapeTimecodeBytes(
        facts.rate, TapeCountOfBytes(facts.rate, test::BytesOf(row.cue)) + neighbour);
    client.Send("24 31 " + test::HexOf(time));
    for (int i = 0; i < 2; ++i) boundary();
    look();
    EXPECT_TRUE(is(shown, row.frame + neighbour * row.perNumber)) << neighbour;
  }

  // Played and captured: each picture once, none left out.
  ASSERT_TRUE(card.Init(kIn, 0, 9));
  ASSERT_TRUE(card.Control(ACStart, kIn));
  client.Send("20 01");
  int64_t last = row.frame - row.perNumber;
  for (int i = 0; i < 15 + 8; ++i) {
    boundary();
    PortClient::Frame frame;
    frame.channelSpec = kIn;
    frame.video.resize(bytes);
    ASSERT_TRUE(card.Transfer(&frame));
    if (frame.status.transferFrame < 0) continue;
    if (is(frame.video, last + 1)) ++last;
    EXPECT_TRUE(is(frame.video, last)) << i << ": not frame " << last << " nor the next";
  }
  EXPECT_GE(last, row.frame - row.perNumber + 4);
}

INSTANTIATE_TEST_SUITE_P(Rates, MovieOnTape, ::testing::ValuesIn(kMovies),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(TapeImport, SoundIsTheMoviesAndTheRestIsSilent) {
  const std::string folder = test::FreshFolder("movie");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 486, "30000/1001", 10, "uyvy"});
  ASSERT_FALSE(movie.empty());
  TapeFacts facts;
  facts.videoFormat = 32;
  facts.rate = TapeRate::Of(32, false);
  std::string error;
  ASSERT_TRUE(CreateTapeOfMovie(folder + "/reel", facts, movie, nullptr, &error)) << error;
  const auto tape = TapeFolder::Open(folder + "/reel", false, &error);
  ASSERT_NE(tape, nullptr) << error;
  ASSERT_EQ(tape->Pictures(), 10);
  const std::vector<int32_t> wanted = test::DecodeSound(movie);
  size_t at = 0;
  for (int64_t picture = 0; picture < 10; ++picture) {
    std::vector<int32_t> samples;
    ASSERT_TRUE(tape->Sound(picture, &samples, &error)) << error;
    for (size_t i = 0; i < samples.size(); i += kTapeChannels, ++at) {
      if (2 * at + 1 >= wanted.size()) break;
      ASSERT_EQ(samples[i], wanted[2 * at]) << "sample " << at;
      ASSERT_EQ(samples[i + 1], wanted[2 * at + 1]) << "sample " << at;
      ASSERT_EQ(samples[i + 2], 0);
    }
  }
}

TEST(TapeImport, WhatAKilledCopyLeftGoesWithTheNext) {
  const std::string folder = test::FreshFolder("movie");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 576, "25", 10, "uyvy"});
  TapeFacts facts;
  facts.videoFormat = 33;
  facts.rate = TapeRate::Of(33, false);
  const std::string reel = folder + "/reel";
  const pid_t child = fork();
  if (child == 0) {
    std::string error;
    (void)CreateTapeOfMovie(
        reel, facts, movie,
        [](int64_t picture) {
          if (picture == 4) raise(SIGKILL);
          return true;
        },
        &error);
    _exit(1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  const std::string left = reel + ".copy-" + std::to_string(child);
  ASSERT_TRUE(std::filesystem::exists(left + "/tape.db"));
  // Somebody's own tape under such a name, a copy that still runs, and those of other tapes stay.
  const std::string own = reel + ".copy-" + std::to_string(child) + "0";
  const std::string running = reel + ".copy-" + std::to_string(getppid());
  const std::string other = folder + "/reels.copy-" + std::to_string(child);
  std::string error;
  facts.pictures = 10;
  ASSERT_TRUE(TapeFolder::Create(own, facts, &error)) << error;
  std::filesystem::copy(left, running, std::filesystem::copy_options::recursive);
  std::filesystem::copy(left, other, std::filesystem::copy_options::recursive);
  EXPECT_TRUE(CreateTapeOfMovie(reel, facts, movie, nullptr, &error)) << error;
  EXPECT_FALSE(std::filesystem::exists(left));
  for (const std::string& path : {own, running, other}) {
    EXPECT_TRUE(std::filesystem::exists(path + "/tape.db")) << path;
  }
  EXPECT_FALSE(std::filesystem::exists(reel + "/unfinished"));
  EXPECT_NE(TapeFolder::Open(reel, true, &error), nullptr) << error;
}

TEST(TapeImport, GivenUpNothingIsLeft) {
  const std::string folder = test::FreshFolder("movie");
  const std::string movie = test::MakeMovie(folder, "a.mov", {720, 576, "25", 10, "uyvy"});
  TapeFacts facts;
  facts.videoFormat = 33;
  facts.rate = TapeRate::Of(33, false);
  std::string error = "x";
  EXPECT_FALSE(CreateTapeOfMovie(
      folder + "/reel", facts, movie, [](int64_t picture) { return picture < 4; }, &error));
  EXPECT_EQ(error, "");
  size_t left = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    EXPECT_EQ(entry.path().filename(), "a.mov");
    ++left;
  }
  EXPECT_EQ(left, 1u);
}

}  // namespace
}  // namespace morvane
