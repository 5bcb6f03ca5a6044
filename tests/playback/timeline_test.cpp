#include "playback/timeline.h"

#include <gtest/gtest.h>

#include <vector>

namespace morvane {
namespace {

TEST(Timeline, PartsFollowEachOther) {
  Timeline plan;
  plan.bars = 10;
  plan.leader = 5;
  plan.clip = 20;
  plan.trailer = 3;
  EXPECT_EQ(38, plan.Length());
  const struct {
    int32_t frame;
    FrameClass kind;
  } kRows[] = {
      {0, FrameClass::Bars},     {9, FrameClass::Bars},     {10, FrameClass::Leader},
      {14, FrameClass::Leader},  {15, FrameClass::Clip},    {34, FrameClass::Clip},
      {35, FrameClass::Trailer}, {37, FrameClass::Trailer}, {38, FrameClass::Clip},
      {-1, FrameClass::Clip},
  };
  for (const auto& row : kRows) EXPECT_EQ(row.kind, plan.Classify(row.frame)) << row.frame;
  EXPECT_EQ(0, plan.ClipFrame(15));
  EXPECT_EQ(-15, plan.ClipFrame(0));
}

TEST(Timeline, WithoutALeaderNoFrameIsATrailerFrame) {
  Timeline plan;
  plan.bars = 2;
  plan.clip = 4;
  plan.trailer = 3;
  EXPECT_EQ(FrameClass::Bars, plan.Classify(1));
  for (int32_t frame = 2; frame < 9; ++frame) {
    EXPECT_EQ(FrameClass::Clip, plan.Classify(frame)) << frame;
  }
}

TEST(Timeline, SecondsCountAtTheNumeratorOfTheRate) {
  EXPECT_EQ(30, FramesOfSeconds(1, 30000));  // also at 29.97
  EXPECT_EQ(1500, FramesOfSeconds(60, 25000));
  EXPECT_EQ(0, FramesOfSeconds(0, 30000));
}

TEST(Timeline, SamplesMakeWholeFrames) {
  EXPECT_EQ(150, FramesOfSamples(240240, 48000, 30000, 1001));
  EXPECT_EQ(149, FramesOfSamples(240239, 48000, 30000, 1001));
  EXPECT_EQ(1, FramesOfSamples(1602, 48000, 30000, 1001));
  EXPECT_EQ(0, FramesOfSamples(1601, 48000, 30000, 1001));
  EXPECT_EQ(2, FramesOfSamples(7680, 96000, 25000, 1000));
  EXPECT_EQ(0, FramesOfSamples(1000, 0, 25000, 1000));
  EXPECT_EQ(0, FramesOfSamples(1000, 48000, 0, 0));
  EXPECT_EQ(INT32_MAX, FramesOfSamples(UINT64_MAX, 48000, 25000, 1000));
}

TEST(PlayBounds, AtTheFarEndAPlayBeginsAtTheOther) {
  const struct {
    bool marked;
    int32_t in, out, length, position;
    double speed;
    PlayBounds wanted;
  } kRows[] = {
      {false, 3, 7, 10, 0, 1, {0, 9, 0}},   {false, 3, 7, 10, 5, 1, {0, 9, 5}},
      {false, 3, 7, 10, 9, 1, {0, 9, 0}},   {false, 3, 7, 10, 12, 1, {0, 9, 0}},
      {false, 3, 7, 10, 0, -1, {0, 9, 9}},  {false, 3, 7, 10, 5, -1, {0, 9, 5}},
      {true, 3, 7, 10, 0, 1, {3, 7, 3}},    {true, 3, 7, 10, 5, 1, {3, 7, 5}},
      {true, 3, 7, 10, 7, 1, {3, 7, 3}},    {true, 3, 7, 10, 3, -1, {3, 7, 7}},
      {true, 3, 7, 10, 9, -1, {3, 7, 7}},   {true, 3, 7, 10, 6, -2, {3, 7, 6}},
      {true, 4, 4, 10, 0, 1, {4, 4, 4}},    {true, 4, 4, 10, 4, -1, {4, 4, 4}},
      {false, 0, 0, 1, 0, 0.25, {0, 0, 0}},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(row.wanted,
              ChooseBounds(row.marked, row.in, row.out, row.length, row.position, row.speed))
        << row.marked << " " << row.position << " " << row.speed;
  }
}

std::vector<int32_t> Walk(double speed, int32_t from, int passes) {
  PlayPace pace(speed);
  std::vector<int32_t> frames;
  for (int pass = 0; pass < passes; ++pass) {
    frames.push_back(from);
    from = pace.Next(from);
  }
  return frames;
}

TEST(PlayPace, WalksByItsSpeed) {
  using Frames = std::vector<int32_t>;
  EXPECT_EQ((Frames{0, 1, 2, 3}), Walk(1, 0, 4));
  EXPECT_EQ((Frames{3, 2, 1, 0}), Walk(-1, 3, 4));
  EXPECT_EQ((Frames{0, 2, 4, 6}), Walk(2, 0, 4));
  EXPECT_EQ((Frames{9, 1, -7}), Walk(-8, 9, 3));
  EXPECT_EQ((Frames{0, 1, 2, 3}), Walk(1.5, 0, 4));  // truncated each time
  EXPECT_EQ((Frames{0, 0, 1, 1, 2}), Walk(0.5, 0, 5));
  EXPECT_EQ((Frames{5, 5, 5, 5, 4}), Walk(-0.25, 5, 5));
  EXPECT_EQ((Frames{0, 0, 1, 1}), Walk(0.4, 0, 4));  // the whole part of 2.5 passes
  EXPECT_EQ((Frames{0, 1, 2}), Walk(0.9, 0, 3));
}

TEST(PlayPace, SpeedsWithoutMeasureStayInRange) {
  EXPECT_EQ(1000000000, PlayPace(1e300).Next(5));
  EXPECT_EQ(-1000000000, PlayPace(-1e300).Next(5));
  EXPECT_EQ((std::vector<int32_t>{7, 7, 7}), Walk(1e-300, 7, 3));
}

TEST(PlayPace, TellsBoundsByItsDirection) {
  const PlayBounds bounds = {3, 7, 3};
  const PlayPace forward(2);
  const PlayPace backward(-1);
  EXPECT_FALSE(forward.HasReached(6, bounds));
  EXPECT_TRUE(forward.HasReached(7, bounds));
  EXPECT_FALSE(forward.IsPast(7, bounds));
  EXPECT_TRUE(forward.IsPast(8, bounds));
  EXPECT_FALSE(backward.HasReached(4, bounds));
  EXPECT_TRUE(backward.HasReached(3, bounds));
  EXPECT_TRUE(backward.IsPast(2, bounds));
  EXPECT_EQ(7, forward.Bound(bounds));
  EXPECT_EQ(3, backward.Bound(bounds));
  EXPECT_TRUE(forward.IsFast());
  EXPECT_FALSE(backward.IsFast());
}

TEST(PlayPace, SoundIsWhereItsFramesHaveBeen) {
  EXPECT_EQ(14, PlayPace(1).Reached(10, 4));
  EXPECT_EQ(6, PlayPace(-1).Reached(10, 4));
  EXPECT_EQ(18, PlayPace(2).Reached(10, 4));
  // In slow motion the position of the sound goes a whole frame at a time.
  EXPECT_EQ(14, PlayPace(0.25).Reached(10, 4));
  EXPECT_EQ(6, PlayPace(-0.25).Reached(10, 4));
}

}  // namespace
}  // namespace morvane
