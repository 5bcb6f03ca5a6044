#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "base/byte_order.h"
#include "media/codec/md5.h"
#include "media/codec/media_reader.h"
#include "media/codec/media_writer.h"
#include "simulator/test_movie.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

using test::MakeMovie;

class Media : public ::testing::Test {
 protected:
  std::unique_ptr<MediaReader> Open(const std::string& path, uint32_t rate = 48000) {
    auto reader = MediaReader::Open(path, rate, &error_);
    EXPECT_NE(reader, nullptr) << error_;
    return reader;
  }
  std::vector<uint8_t> AllPictures(MediaReader* reader) {
    std::vector<uint8_t> all;
    std::vector<uint8_t> one(reader->Info().pictureBytes);
    while (reader->NextPicture(one.data(), &error_) == MediaRead::kDone) {
      all.insert(all.end(), one.begin(), one.end());
    }
    return all;
  }

  const std::string folder_ = test::FreshFolder("media");
  std::string error_;
};

TEST(Md5, KnownSums) {
  EXPECT_EQ(Md5Of("", 0), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(Md5Of("abc", 3), "900150983cd24fb0d6963f7d28e17f72");
  Md5 md5;
  md5.Update("a", 1);
  md5.Update("bc", 2);
  EXPECT_EQ(md5.Finish(), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(md5.Finish(), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST_F(Media, EightBitRawPicturesAreTheBytesOfTheFile) {
  const std::string movie = MakeMovie(folder_, "a.mov", {720, 486, "30000/1001", 5, "uyvy"});
  const auto reader = Open(movie);
  const MediaInfo& info = reader->Info();
  EXPECT_EQ(info.width, 720u);
  EXPECT_EQ(info.height, 486u);
  EXPECT_EQ(info.rateScale, 30000);
  EXPECT_EQ(info.rateDuration, 1001);
  EXPECT_EQ(info.frameCount, 5);
  EXPECT_EQ(info.pictureFormat, FourCC("2vuy"));
  EXPECT_TRUE(info.exact);
  EXPECT_EQ(info.soundChannels, 2u);
  EXPECT_EQ(AllPictures(reader.get()), test::DecodePictures(movie, "uyvy422"));
}

TEST_F(Media, PlanarEightBitPicturesAreInterleavedExactly) {
  const std::string movie = MakeMovie(folder_, "a.avi", {720, 576, "25", 3, "huffyuv"});
  const auto reader = Open(movie);
  EXPECT_EQ(reader->Info().pictureFormat, FourCC("2vuy"));
  EXPECT_TRUE(reader->Info().exact);
  EXPECT_EQ(AllPictures(reader.get()), test::DecodePictures(movie, "uyvy422"));
}

TEST_F(Media, TenBitPicturesStandInGroupsOfFour) {
  // 1280 is no multiple of 48: the last group of a line is padded.
  const std::string movie = MakeMovie(folder_, "a.mov", {1280, 720, "50", 2, "v210"});
  const auto reader = Open(movie);
  EXPECT_EQ(reader->Info().pictureFormat, FourCC("v219"));
  EXPECT_TRUE(reader->Info().exact);
  ASSERT_EQ(reader->Info().pictureBytes, 3456u * 720);
  const std::vector<uint8_t> got = AllPictures(reader.get());
  const std::vector<uint8_t> planar = test::DecodePictures(movie, "yuv422p10le");
  ASSERT_EQ(got.size(), 2u * 3456 * 720);
  for (size_t f = 0; f < 2; ++f) {
    const uint8_t* luma = planar.data() + f * 1280 * 720 * 4;
    const uint8_t* cb = luma + 1280 * 720 * 2;
    const uint8_t* cr = cb + 640 * 720 * 2;
    for (size_t y = 0; y < 720; y += 7) {
      const uint8_t* row = got.data() + (f * 720 + y) * 3456;
      for (size_t p = 0; p < 640; ++p) {
        const auto sample = [&](size_t i) {
          return LoadLe32(row + i / 3 * 4) >> (i % 3 * 10) & 0x3FF;
        };
        ASSERT_EQ(sample(4 * p), LoadLe16(cb + (y * 640 + p) * 2)) << y << " " << p;
        ASSERT_EQ(sample(4 * p + 1), LoadLe16(luma + (y * 1280 + 2 * p) * 2));
        ASSERT_EQ(sample(4 * p + 2), LoadLe16(cr + (y * 640 + p) * 2));
        ASSERT_EQ(sample(4 * p + 3), LoadLe16(luma + (y * 1280 + 2 * p + 1) * 2));
      }
    }
  }
}

TEST_F(Media, APackedTenBitCodecGivesTheSameAsTheRawOne) {
  const std::string raw = MakeMovie(folder_, "a.mov", {720, 576, "25", 2, "v210"});
  const std::string packed = folder_ + "/b.mkv";
  ASSERT_TRUE(test::RunFfmpeg("-i \"" + raw + "\" -c:v ffv1 -c:a copy \"" + packed + "\""));
  const auto a = Open(raw);
  const auto b = Open(packed);
  EXPECT_TRUE(b->Info().exact);
  EXPECT_EQ(AllPictures(a.get()), AllPictures(b.get()));
}

TEST_F(Media, SubsampledPicturesKeepTheirLuma) {
  const std::string movie = MakeMovie(folder_, "a.mov", {720, 576, "25", 3, "h264"});
  const auto reader = Open(movie);
  EXPECT_EQ(reader->Info().pictureFormat, FourCC("v219"));
  EXPECT_FALSE(reader->Info().exact);
  const std::vector<uint8_t> got = AllPictures(reader.get());
  const std::vector<uint8_t> luma = test::DecodePictures(movie, "gray");
  const std::vector<uint8_t> planar = test::DecodePictures(movie, "yuv420p");
  ASSERT_EQ(got.size(), 3u * 1920 * 576);
  for (size_t y = 0; y < 576; y += 5) {
    const uint8_t* row = got.data() + y * 1920;
    for (size_t x = 0; x < 720; ++x) {
      const size_t i = 2 * x + 1;
      const uint32_t value = LoadLe32(row + i / 3 * 4) >> (i % 3 * 10) & 0x3FF;
      ASSERT_NEAR(value, planar[y * 720 + x] * 4.0, 3) << x << " " << y;
    }
  }
}

TEST_F(Media, ReadingStartsOver) {
  const std::string movie = MakeMovie(folder_, "a.mov", {720, 576, "25", 4, "h264"});
  const auto reader = Open(movie);
  const std::vector<uint8_t> first = AllPictures(reader.get());
  std::vector<int32_t> sound(2 * 1000);
  EXPECT_EQ(reader->NextSound(sound.data(), 1000), 1000);
  ASSERT_TRUE(reader->Rewind(&error_));
  EXPECT_EQ(AllPictures(reader.get()), first);
  std::vector<int32_t> again(2 * 1000);
  EXPECT_EQ(reader->NextSound(again.data(), 1000), 1000);
  EXPECT_EQ(again, sound);
}

TEST_F(Media, SoundIsWidenedToThirtyTwoBitsAndEndsInSilence) {
  const std::string movie = MakeMovie(folder_, "a.mov", {720, 576, "25", 5, "uyvy"});
  const auto reader = Open(movie);
  std::vector<int32_t> got(2 * 10000, -1);
  EXPECT_EQ(reader->NextSound(got.data(), 10000), 9600);
  const std::vector<int32_t> wanted = test::DecodeSound(movie);
  ASSERT_EQ(wanted.size(), 2u * 9600);
  EXPECT_EQ(std::vector<int32_t>(got.begin(), got.begin() + 19200), wanted);
  EXPECT_EQ(std::vector<int32_t>(got.begin() + 19200, got.end()), std::vector<int32_t>(800, 0));
  EXPECT_EQ(reader->NextSound(got.data(), 10), 0);
}

TEST_F(Media, SoundTracksStandSideBySide) {
  const std::string path = folder_ + "/a.mov";
  ASSERT_TRUE(test::RunFfmpeg(
      "-f lavfi -i \"testsrc2=s=64x64:r=25:d=0.2\" -f lavfi -i "
      "\"aevalsrc='0.1|0.2|0.3':c=2.1:s=48000:d=0.2\" -f lavfi -i "
      "\"aevalsrc='0.5':s=48000:d=0.2\" -map 0 -map 1 -map 2 -c:v png -c:a pcm_s16le \"" +
      path + "\""));
  const auto reader = Open(path);
  ASSERT_EQ(reader->Info().soundChannels, 4u);
  std::vector<int32_t> got(4 * 100);
  ASSERT_EQ(reader->NextSound(got.data(), 100), 100);
  const double wanted[] = {0.1, 0.2, 0.3, 0.5};
  for (size_t c = 0; c < 4; ++c) {
    EXPECT_NEAR(got[4 * 50 + c] / 2147483648.0, wanted[c], 0.001) << "channel " << c;
  }
}

TEST_F(Media, SoundOfAnotherRateKeepsItsLength) {
  const std::string path = folder_ + "/a.wav";
  ASSERT_TRUE(test::RunFfmpeg("-f lavfi -i \"sine=frequency=1000:sample_rate=44100:d=1\" \"" +
                              path + "\""));
  const auto reader = Open(path);
  EXPECT_FALSE(reader->Info().hasPicture);
  std::vector<int32_t> got(60000);
  EXPECT_NEAR(static_cast<double>(reader->NextSound(got.data(), 60000)), 48000, 32);
  int crossings = 0;
  for (size_t i = 1000; i < 47000; ++i) {
    if (got[i - 1] < 0 && got[i] >= 0) ++crossings;
  }
  EXPECT_NEAR(crossings, 958, 2);  // a kilohertz for 46000 samples
}

TEST_F(Media, SoundThatStartsLaterIsPrecededBySilence) {
  const std::string path = folder_ + "/a.mov";
  ASSERT_TRUE(
      test::RunFfmpeg("-f lavfi -i \"testsrc2=s=64x64:r=25:d=1\" -itsoffset 0.1 -f lavfi -i "
                      "\"aevalsrc='0.5':s=48000:d=0.5\" -c:v png -c:a pcm_s16le \"" +
                      path + "\""));
  const auto reader = Open(path);
  std::vector<int32_t> got(9600);
  ASSERT_GT(reader->NextSound(got.data(), 9600), 4800);
  EXPECT_EQ(got[4700], 0);
  EXPECT_NEAR(got[4900] / 2147483648.0, 0.5, 0.001);
}

TEST_F(Media, WhatIsNoMediaIsToldInOneSentence) {
  EXPECT_EQ(MediaReader::Open(folder_ + "/missing.mov", 48000, &error_), nullptr);
  EXPECT_NE(error_.find("does not exist"), std::string::npos);
  EXPECT_EQ(MediaReader::Open(folder_, 48000, &error_), nullptr);
  std::ofstream(folder_ + "/a.mov") << "nothing of the kind";
  EXPECT_EQ(MediaReader::Open(folder_ + "/a.mov", 48000, &error_), nullptr);
  EXPECT_NE(error_.find("is no media file, or it is cut short"), std::string::npos);
}

TEST_F(Media, AWholeFileIsWholeAndEveryCutIsFound) {
  const std::string movie = MakeMovie(folder_, "a.mkv", {720, 576, "25", 100, "huffyuv"});
  EXPECT_TRUE(MediaReader::CheckWhole(movie, &error_)) << error_;
  const auto size = std::filesystem::file_size(movie);
  for (const unsigned percent : {90u, 50u, 10u}) {
    std::filesystem::resize_file(movie, size * percent / 100);
    EXPECT_FALSE(MediaReader::CheckWhole(movie, &error_)) << percent;
  }
}

TEST_F(Media, ARecordingIsReadBackToTheBit) {
  for (const uint32_t width : {1920u, 1280u, 720u}) {
    SCOPED_TRACE(width);
    const std::string path = folder_ + "/" + std::to_string(width) + ".mkv";
    MediaWriteFormat format;
    format.width = width;
    format.height = 8;
    format.rateScale = 30000;
    format.rateDuration = 1001;
    format.soundChannels = 8;
    const size_t pitch = (width + 47) / 48 * 128;
    std::vector<uint8_t> pictures(pitch * 8 * 3);
    uint32_t seed = 7;
    for (size_t row = 0; row < 24; ++row) {
      for (uint32_t sample = 0; sample < width * 2; ++sample) {
        seed = seed * 1664525 + 1013904223;
        uint8_t* word = pictures.data() + row * pitch + sample / 3 * 4;
        StoreLe32(word, LoadLe32(word) | (seed >> 22) << (sample % 3 * 10));
      }
    }
    std::vector<int32_t> sound(8 * 4805);
    for (int32_t& sample : sound) sample = static_cast<int32_t>(seed = seed * 1664525 + 1);
    {
      const auto writer = MediaWriter::Create(path, format, &error_);
      ASSERT_NE(writer, nullptr) << error_;
      for (size_t f = 0; f < 3; ++f) {
        ASSERT_TRUE(writer->WritePicture(pictures.data() + f * pitch * 8, &error_)) << error_;
        const int64_t from = f == 0 ? 0 : f == 1 ? 1602 : 3203;
        const int64_t to = f == 0 ? 1602 : f == 1 ? 3203 : 4805;
        ASSERT_TRUE(writer->WriteSound(sound.data() + from * 8, to - from, &error_)) << error_;
      }
      ASSERT_TRUE(writer->Close(&error_)) << error_;
      EXPECT_FALSE(writer->WritePicture(pictures.data(), &error_));
    }
    const auto reader = Open(path);
    EXPECT_TRUE(reader->Info().exact);
    EXPECT_EQ(AllPictures(reader.get()), pictures);
    std::vector<int32_t> heard(sound.size());
    EXPECT_EQ(reader->NextSound(heard.data(), 4805), 4805);
    EXPECT_EQ(heard, sound);
    EXPECT_TRUE(MediaReader::CheckWhole(path, &error_)) << error_;
  }
}

TEST_F(Media, ARecordingNeverReplacesAFile) {
  const std::string path = folder_ + "/a.mkv";
  std::ofstream(path) << "precious";
  MediaWriteFormat format;
  format.width = 720;
  format.height = 576;
  format.rateScale = 25;
  EXPECT_EQ(MediaWriter::Create(path, format, &error_), nullptr);
  EXPECT_EQ(std::filesystem::file_size(path), 8u);
  EXPECT_EQ(MediaWriter::Create(folder_ + "/none/a.mkv", format, &error_), nullptr);
  EXPECT_NE(error_.find("none/a.mkv"), std::string::npos);
}

}  // namespace
}  // namespace morvane
