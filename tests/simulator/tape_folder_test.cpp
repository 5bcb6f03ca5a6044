// Tapes as folders: what is made, recorded, read back, and what a killed program leaves behind.
#include "simulator/tape_folder.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "base/file_io.h"
#include "media/codec/md5.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

constexpr uint32_t k525 = 32;  // 525 59.94: small pictures

TapeFacts Facts(const std::string& from = "01:00:00:00", int64_t pictures = 300,
                uint32_t format = k525) {
  TapeFacts facts;
  facts.videoFormat = format;
  facts.rate = TapeRate::Of(format, from.find(';') != std::string::npos);
  facts.first = TapeCountOfText(facts.rate, from);
  facts.pictures = pictures;
  return facts;
}

std::string NewTape(const TapeFacts& facts = Facts()) {
  const std::string path = test::FreshFolder("tape") + "/reel";
  std::string error;
  EXPECT_TRUE(TapeFolder::Create(path, facts, &error)) << error;
  return path;
}

std::shared_ptr<TapeFolder> Opened(const std::string& path, bool forDeck = true) {
  std::string error;
  auto tape = TapeFolder::Open(path, forDeck, &error);
  EXPECT_NE(tape, nullptr) << error;
  return tape;
}

PictureRef Flat(const TapeFolder& tape, uint8_t cb, uint8_t y, uint8_t cr) {
  const FrameLayout layout = PlainLayout(FourCC("2vuy"), tape.Format().width, tape.Format().height);
  auto pixels = std::make_shared<std::vector<uint8_t>>(layout.Bytes());
  for (size_t i = 0; i < pixels->size(); i += 4) {
    (*pixels)[i] = cb;
    (*pixels)[i + 1] = (*pixels)[i + 3] = y;
    (*pixels)[i + 2] = cr;
  }
  return std::make_shared<PlainPicture>(layout.fourcc, layout.width, layout.height, pixels);
}

std::string SumOf(const TapeFolder& tape, const PictureRef& picture) {
  if (picture == nullptr) return "none";
  const FrameLayout layout = PlainLayout(FourCC("v219"), tape.Format().width, tape.Format().height);
  std::vector<uint8_t> pixels(layout.Bytes());
  picture->Store(layout, pixels.data());
  return Md5Of(pixels.data(), pixels.size());
}

std::string PictureSum(const TapeFolder& tape, int64_t picture) {
  std::string error;
  return SumOf(tape, tape.Picture(picture, &error));
}

// One channel of a picture's sound.
std::vector<int32_t> Channel(const TapeFolder& tape, int64_t picture, uint32_t channel) {
  std::vector<int32_t> all;
  std::string error;
  EXPECT_TRUE(tape.Sound(picture, &all, &error)) << error;
  std::vector<int32_t> one;
  for (size_t at = channel - 1; at < all.size(); at += kTapeChannels) one.push_back(all[at]);
  return one;
}

TapeRecording RecordingOf(const TapeFolder& tape, int64_t picture, DeckChannels channels,
                          int32_t value) {
  TapeRecording recording;
  recording.picture = picture;
  recording.channels = channels;
  recording.image = Flat(tape, 90, static_cast<uint8_t>(value), 200);
  recording.sound.assign(static_cast<size_t>(tape.SamplesOf(picture)) * kTapeChannels, value);
  recording.count = tape.Facts().first + 1000 + picture;
  return recording;
}

size_t FilesBelow(const std::string& folder) {
  size_t files = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, error)) {
    if (entry.is_regular_file()) ++files;
  }
  return files;
}

// Changes the index at `path` behind the program's back.
void ChangeIndex(const std::string& path, const char* change) {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open((path + "/tape.db").c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, change, nullptr, nullptr, nullptr), SQLITE_OK) << change;
  sqlite3_close(database);
}

TEST(TapeFolder, ANewTapeHoldsBarsThatNameTheirPlace) {
  const std::string path = NewTape();
  EXPECT_EQ(FilesBelow(path + "/pictures"), 0u);  // generated: an hour costs nothing
  const auto tape = Opened(path);
  ASSERT_NE(tape, nullptr);
  EXPECT_EQ(tape->Pictures(), 300);
  EXPECT_EQ(tape->CountAt(0), 108000);
  EXPECT_EQ(tape->CountAt(299), 108299);
  const FrameLayout layout = PlainLayout(FourCC("v219"), 720, 486);
  std::vector<uint8_t> pixels(layout.Bytes());
  std::string error;
  for (const int64_t picture : {0, 1, 255, 299}) {
    tape->Picture(picture, &error)->Store(layout, pixels.data());
    EXPECT_EQ(ReadBarsFrameNumber(FourCC("v219"), pixels.data(), 720), picture);
  }
  const std::vector<int32_t> ramp = Channel(*tape, 2, 2);
  ASSERT_EQ(ramp.size(), 1602u);  // 1602 1601 1602 1601 1602
  EXPECT_EQ(ramp[0], 3203 << 8);
}

TEST(TapeFolder, NothingIsEverOverwritten) {
  const std::string path = NewTape();
  std::string error;
  EXPECT_FALSE(TapeFolder::Create(path, Facts(), &error));
  EXPECT_NE(error.find("is there already"), std::string::npos) << error;
  EXPECT_FALSE(TapeFolder::Create(path + "/no/where", Facts(), &error));
  EXPECT_NE(error.find("cannot be made"), std::string::npos) << error;
  EXPECT_EQ(std::filesystem::exists(path + "/no"), false);
}

TEST(TapeFolder, OneDeckHasATapeAndOthersMayRead) {
  const std::string path = NewTape();
  const auto tape = Opened(path);
  std::string error;
  EXPECT_EQ(TapeFolder::Open(path, true, &error), nullptr);
  EXPECT_NE(error.find("in the machine of another program"), std::string::npos) << error;
  EXPECT_NE(Opened(path, false), nullptr);
}

TEST(TapeFolder, ARecordingIsReadBackAtOnceAndLater) {
  const std::string path = NewTape();
  std::string flat;
  {
    const auto tape = Opened(path);
    flat = SumOf(*tape, Flat(*tape, 90, 77, 200));
    tape->Record(RecordingOf(*tape, 5, kDeckAll, 77));
    EXPECT_EQ(PictureSum(*tape, 5), flat);
    EXPECT_EQ(tape->CountAt(5), 108000 + 1005);
    EXPECT_EQ(Channel(*tape, 5, 16), std::vector<int32_t>(1602, 77));
    tape->Flush();
    EXPECT_EQ(PictureSum(*tape, 5), flat);
  }
  const auto tape = Opened(path, false);
  EXPECT_EQ(PictureSum(*tape, 5), flat);
  EXPECT_EQ(tape->CountAt(5), 108000 + 1005);
  EXPECT_EQ(tape->Find(108000 + 1005), 5);
  EXPECT_EQ(Channel(*tape, 5, 1), std::vector<int32_t>(1602, 77));
}

TEST(TapeFolder, AnInsertLeavesTheOtherChannelsAsTheyAre) {
  const std::string path = NewTape();
  const auto tape = Opened(path);
  std::vector<std::string> pictures;
  std::vector<std::vector<int32_t>> third;
  for (int64_t p = 0; p < 12; ++p) {
    pictures.push_back(PictureSum(*tape, p));
    third.push_back(Channel(*tape, p, 3));
  }
  for (int64_t p = 4; p < 7; ++p) {
    tape->Record(RecordingOf(*tape, p, kDeckPicture | 1u << 1, 99));
  }
  tape->Record(RecordingOf(*tape, 8, 1u << 3, 55));  // sound 3 alone
  tape->Flush();
  const std::string flat = SumOf(*tape, Flat(*tape, 90, 99, 200));
  for (int64_t p = 0; p < 12; ++p) {
    const bool inside = p >= 4 && p < 7;
    EXPECT_EQ(PictureSum(*tape, p), inside ? flat : pictures[p]) << p;
    EXPECT_EQ(Channel(*tape, p, 1)[9] == 99, inside) << p;
    EXPECT_EQ(Channel(*tape, p, 3), p == 8 ? std::vector<int32_t>(third[p].size(), 55) : third[p])
        << p;
    EXPECT_EQ(tape->CountAt(p), 108000 + p) << p;
  }
}

TEST(TapeFolder, TenBitPicturesComeBackExactly) {
  const std::string path = NewTape();
  const FrameLayout layout = PlainLayout(FourCC("v219"), 720, 486);
  auto pixels = std::make_shared<std::vector<uint8_t>>(layout.Bytes());
  for (size_t i = 0; i < pixels->size(); ++i) {
    (*pixels)[i] = static_cast<uint8_t>(i % 4 == 3 ? i * 7 & 0x3F : i * 31 + i / 1920);
  }
  const auto tape = Opened(path);
  TapeRecording recording = RecordingOf(*tape, 3, kDeckAll, 0);
  recording.image = std::make_shared<PlainPicture>(FourCC("v219"), 720, 486, pixels);
  const std::string sum = SumOf(*tape, recording.image);
  tape->Record(std::move(recording));
  tape->Flush();
  EXPECT_EQ(PictureSum(*tape, 3), sum);
}

TEST(TapeFolder, EqualPicturesShareAFileAndUnusedOnesGo) {
  const std::string path = NewTape();
  const auto tape = Opened(path);
  for (int64_t p = 0; p < 10; ++p) tape->Record(RecordingOf(*tape, p, kDeckPicture, 40));
  tape->Flush();
  EXPECT_EQ(FilesBelow(path + "/pictures"), 1u);
  for (int64_t p = 0; p < 9; ++p) tape->Record(RecordingOf(*tape, p, kDeckPicture, 41));
  tape->Flush();
  EXPECT_EQ(FilesBelow(path + "/pictures"), 2u);
  tape->Record(RecordingOf(*tape, 9, kDeckPicture, 41));
  tape->Flush();
  EXPECT_EQ(FilesBelow(path + "/pictures"), 1u);
  tape->Record(RecordingOf(*tape, 9, kDeckPicture, 40));  // its file went away meanwhile
  tape->Flush();
  EXPECT_EQ(PictureSum(*tape, 9), SumOf(*tape, Flat(*tape, 90, 40, 200)));
}

TEST(TapeFolder, AKilledRecordingIsWholeUpToThere) {
  const std::string path = NewTape();
  const pid_t child = fork();
  if (child == 0) {
    std::string error;
    const auto tape = TapeFolder::Open(path, true, &error);
    for (int64_t p = 0; tape != nullptr && p < 300; ++p) {
      tape->Record(RecordingOf(*tape, p, kDeckAll, static_cast<int32_t>(20 + p % 200)));
      if (p == 40) tape->Flush();
      if (p == 60) raise(SIGKILL);
    }
    _exit(1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
  const auto tape = Opened(path);  // the kernel has freed its lock
  ASSERT_NE(tape, nullptr);
  int64_t recorded = 0;
  while (tape->CountAt(recorded) == 108000 + 1000 + recorded) ++recorded;
  EXPECT_GE(recorded, 41);
  for (int64_t p = 0; p < 300; ++p) {
    const bool fresh = p < recorded;
    EXPECT_EQ(tape->CountAt(p), 108000 + p + (fresh ? 1000 : 0)) << p;
    if (fresh) {
      EXPECT_EQ(PictureSum(*tape, p),
                SumOf(*tape, Flat(*tape, 90, static_cast<uint8_t>(20 + p % 200), 200)))
          << p;
      EXPECT_EQ(Channel(*tape, p, 7)[3], 20 + p % 200) << p;
    }
  }
  // What was written and not yet named by the index is swept away.
  EXPECT_EQ(FilesBelow(path + "/pictures"), static_cast<size_t>(std::min<int64_t>(recorded, 200)));
}

TEST(TapeFolder, AFullDiskEndsARecordingAndHarmsNothing) {
  const std::string path = NewTape();
  const auto tape = Opened(path);
  tape->Record(RecordingOf(*tape, 0, kDeckAll, 50));
  tape->Flush();
  std::string error;
  {
    const FileFault fault(FileCall::kWrite, 1, ENOSPC, true);
    tape->Record(RecordingOf(*tape, 1, kDeckAll, 51));
    tape->Record(RecordingOf(*tape, 0, kDeckAll, 52));
    tape->Flush();
    EXPECT_TRUE(tape->Failed(&error));
    EXPECT_NE(error.find("No space left"), std::string::npos) << error;
  }
  tape->Record(RecordingOf(*tape, 2, kDeckAll, 53));  // dropped: a hole would lie before it
  tape->Flush();
  EXPECT_EQ(tape->CountAt(2), 108002);
  EXPECT_EQ(tape->CountAt(1), 108001);
  EXPECT_EQ(Channel(*tape, 0, 1)[0], 50);
  tape->ForgiveFailure();
  tape->Record(RecordingOf(*tape, 2, kDeckAll, 53));
  tape->Flush();
  EXPECT_FALSE(tape->Failed(&error));
  EXPECT_EQ(Channel(*tape, 2, 1)[0], 53);
}

TEST(TapeFolder, ADamagedTapeIsToldAndNeverACrash) {
  std::string error;
  const std::string folder = test::FreshFolder("damaged");
  EXPECT_EQ(TapeFolder::Open(folder, false, &error), nullptr);
  std::ofstream(folder + "/tape.db") << "this is no database";
  EXPECT_EQ(TapeFolder::Open(folder, false, &error), nullptr);
  EXPECT_NE(error.find("tape.db"), std::string::npos) << error;
  struct Row {
    const char* change;
    const char* says;
  };
  static constexpr Row kRows[] = {
      {"UPDATE tape SET version = 9", "another version"},
      {"UPDATE tape SET format = 'cinema'", "no tape that could be"},
      {"UPDATE tape SET pictures = 0", "no tape that could be"},
      {"UPDATE tape SET pictures = 1 << 60", "no tape that could be"},
      {"UPDATE tape SET first = -1", "no tape that could be"},
      {"DELETE FROM tape", "is no index of a tape"},
      {"DROP TABLE frames", "no such table"},
  };
  for (const Row& row : kRows) {
    const std::string path = NewTape();
    ChangeIndex(path, row.change);
    EXPECT_EQ(TapeFolder::Open(path, true, &error), nullptr) << row.change;
    EXPECT_NE(error.find(row.says), std::string::npos) << row.change << ": " << error;
  }
}

TEST(TapeFolder, AnIndexThatCannotBeReadToItsEndCostsNoFile) {
  const std::string path = NewTape(Facts("01:00:00:00", 3000));
  // Enough rows for many pages of the table; what was recorded stands on the last of them.
  ChangeIndex(path,
              "WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 2900) "
              "INSERT INTO frames SELECT i, NULL, '', '' FROM n");
  {
    const auto tape = Opened(path);
    for (int64_t p = 0; p < 3; ++p) {
      tape->Record(RecordingOf(*tape, 2950 + p, kDeckAll, 60 + static_cast<int32_t>(p)));
    }
  }
  ChangeIndex(path, "PRAGMA wal_checkpoint(TRUNCATE)");
  const size_t pictures = FilesBelow(path + "/pictures");
  const size_t sounds = FilesBelow(path + "/sound");
  EXPECT_EQ(pictures, 3u);
  EXPECT_EQ(sounds, 3u);
  constexpr size_t kPageBytes = 4096;
  const size_t bytes = std::filesystem::file_size(path + "/tape.db");
  ASSERT_GT(bytes, 6 * kPageBytes);
  {
    std::fstream file(path + "/tape.db", std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(bytes - kPageBytes));
    file << std::string(kPageBytes, '\x55');
  }
  std::string error;
  for (const bool forDeck : {true, false}) {
    EXPECT_EQ(TapeFolder::Open(path, forDeck, &error), nullptr);
    EXPECT_NE(error.find("malformed"), std::string::npos) << error;
  }
  EXPECT_EQ(FilesBelow(path + "/pictures"), pictures);
  EXPECT_EQ(FilesBelow(path + "/sound"), sounds);
}

// A picture that is not stored before the gate is opened.
class GatePicture : public SignalPicture {
 public:
  GatePicture(PictureRef picture, std::shared_future<void> gate)
      : picture_(std::move(picture)), gate_(std::move(gate)) {}
  uint32_t Width() const override { return picture_->Width(); }
  uint32_t Height() const override { return picture_->Height(); }
  void Store(const FrameLayout& layout, uint8_t* out) const override {
    gate_.wait();
    picture_->Store(layout, out);
  }

 private:
  PictureRef picture_;
  std::shared_future<void> gate_;
};

// Who records holds the card's time; a disk that pauses does not.
TEST(TapeFolder, APictureThatStandsStillDoesNotWaitForTheDisk) {
  constexpr int kPictures = 200;
  const std::string path = NewTape();
  const auto tape = Opened(path);
  std::promise<void> gate;
  const auto still = std::make_shared<GatePicture>(Flat(*tape, 90, 77, 200), gate.get_future());
  std::atomic<int> recorded{0};
  std::thread recorder([&] {
    for (int64_t p = 0; p < kPictures; ++p) {
      TapeRecording recording = RecordingOf(*tape, p, kDeckAll, 60);
      recording.image = still;
      tape->Record(std::move(recording));
      ++recorded;
    }
  });
  for (int i = 0; i < 3000 && recorded < kPictures; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  EXPECT_EQ(recorded, kPictures);
  gate.set_value();
  recorder.join();
  tape->Flush();
  std::string error;
  EXPECT_FALSE(tape->Failed(&error)) << error;
  const std::string sum = SumOf(*tape, Flat(*tape, 90, 77, 200));
  for (const int64_t p : {0, 31, 33, kPictures - 1}) EXPECT_EQ(PictureSum(*tape, p), sum) << p;
}

std::string OnlyFileBelow(const std::string& folder) {
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) return entry.path();
  }
  return "";
}

TEST(TapeFolder, SoundThatCannotBeReadIsNotWrittenOverWithSilence) {
  const std::string path = NewTape();
  const auto tape = Opened(path);
  tape->Record(RecordingOf(*tape, 1, kDeckAll, 60));
  tape->Flush();
  const std::string file = OnlyFileBelow(path + "/sound");
  std::string error;
  {
    const FileFault fault(FileCall::kRead, 1, EIO);
    tape->Record(RecordingOf(*tape, 1, 1u << 3, 55));  // sound 3 alone
    tape->Flush();
    EXPECT_EQ(fault.Failed(), 1);
    EXPECT_TRUE(tape->Failed(&error));
    EXPECT_NE(error.find(file), std::string::npos) << error;
    EXPECT_NE(error.find("Input/output error"), std::string::npos) << error;
  }
  tape->ForgiveFailure();
  for (const uint32_t channel : {1u, 3u, 16u}) EXPECT_EQ(Channel(*tape, 1, channel)[9], 60);

  // A file that lost its end is no sound either.
  std::filesystem::resize_file(file, std::filesystem::file_size(file) - 64);
  tape->Record(RecordingOf(*tape, 1, 1u << 3, 55));
  tape->Flush();
  EXPECT_TRUE(tape->Failed(&error));
  EXPECT_NE(error.find("is no sound of this tape"), std::string::npos) << error;
  EXPECT_TRUE(std::filesystem::exists(file));
  tape->ForgiveFailure();

  // Where it is gone there is nothing to lose.
  std::filesystem::remove(file);
  tape->Record(RecordingOf(*tape, 1, 1u << 3, 55));
  tape->Flush();
  EXPECT_FALSE(tape->Failed(&error)) << error;
  EXPECT_EQ(Channel(*tape, 1, 3)[9], 55);
  EXPECT_EQ(Channel(*tape, 1, 1)[9], 0);
}

TEST(TapeFolder, OnlyTheTapesOwnFilesAreSweptAway) {
  const std::string path = NewTape();
  {
    const auto tape = Opened(path);
    tape->Record(RecordingOf(*tape, 1, kDeckAll, 60));
  }
  const std::string sum = "abcdef0123456789abcdef0123456789";
  const std::string own[] = {"/pictures/ab/" + sum, "/pictures/ab/" + sum + ".new",
                             "/sound/ab/" + sum, "/sound/ab/" + sum + ".new"};
  const std::string others[] = {"/notes.txt",
                                "/pictures/notes.txt",
                                "/pictures/" + sum,
                                "/pictures/ab/notes.txt",
                                "/pictures/ab/" + sum + ".png",
                                "/pictures/ab/" + sum.substr(1),
                                "/pictures/ab/ABCDEF0123456789ABCDEF0123456789",
                                "/pictures/ff/" + sum,
                                "/pictures/ab/cd/" + sum,
                                "/pictures/ab/ab/" + sum,
                                "/sound/ab/" + sum + ".wav"};
  for (const char* folder : {"/pictures/ab/cd", "/pictures/ab/ab", "/pictures/ff", "/sound/ab"}) {
    std::filesystem::create_directories(path + folder);
  }
  for (const std::string& name : own) std::ofstream(path + name) << "left behind";
  for (const std::string& name : others) std::ofstream(path + name) << "somebody's own";
  const auto tape = Opened(path);
  for (const std::string& name : own) EXPECT_FALSE(std::filesystem::exists(path + name)) << name;
  for (const std::string& name : others) EXPECT_TRUE(std::filesystem::exists(path + name)) << name;
  EXPECT_EQ(PictureSum(*tape, 1), SumOf(*tape, Flat(*tape, 90, 60, 200)));
}

TEST(TapeFolder, WhatARowThatMakesNoSenseNamesIsKept) {
  const std::string path = NewTape();
  {
    const auto tape = Opened(path);
    for (int64_t p = 1; p < 4; ++p)
      tape->Record(RecordingOf(*tape, p, kDeckAll, 60 + static_cast<int32_t>(p)));
  }
  ChangeIndex(path, "UPDATE frames SET number = 99999999 WHERE picture = 2");
  {
    const auto tape = Opened(path);
    EXPECT_EQ(tape->CountAt(2), 108002);
    // What it may share with others stays too when they go.
    ChangeIndex(path,
                "UPDATE frames SET pictureSum = (SELECT pictureSum FROM frames WHERE "
                "picture = 3) WHERE picture = 2");
    tape->Record(RecordingOf(*tape, 3, kDeckAll, 90));
    tape->Flush();
    EXPECT_EQ(FilesBelow(path + "/pictures"), 4u);
    EXPECT_EQ(FilesBelow(path + "/sound"), 4u);
  }
  ChangeIndex(path, "UPDATE frames SET number = NULL WHERE picture = 2");
  const auto tape = Opened(path);
  EXPECT_EQ(PictureSum(*tape, 2), SumOf(*tape, Flat(*tape, 90, 63, 200)));
  EXPECT_EQ(Channel(*tape, 2, 7)[3], 62);
  EXPECT_EQ(FilesBelow(path + "/pictures"), 3u);  // 1, 2 and 3; the index is whole again
}

TEST(TapeFolder, RowsAndFilesThatMakeNoSenseDoNoHarm) {
  const std::string path = NewTape();
  {
    const auto tape = Opened(path);
    tape->Record(RecordingOf(*tape, 1, kDeckAll, 60));
    tape->Record(RecordingOf(*tape, 2, kDeckAll, 61));
  }
  for (const char* change :
       {"INSERT INTO frames VALUES (-1, 5, '', '')", "INSERT INTO frames VALUES (900, 5, '', '')",
        "INSERT INTO frames VALUES (3, 99999999, '', '')",
        "INSERT INTO frames VALUES (4, NULL, '../../../etc/passwd', '')",
        "INSERT OR REPLACE INTO deck VALUES (1, 77, -5, 1e999, 'x', 1 << 60, -4, NULL, 3, 'y')"}) {
    ChangeIndex(path, change);
  }
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path + "/pictures")) {
    if (entry.is_regular_file()) std::filesystem::resize_file(entry.path(), 100);
  }
  const auto tape = Opened(path);
  ASSERT_NE(tape, nullptr);
  EXPECT_EQ(tape->CountAt(3), 108003);
  std::string error;
  EXPECT_EQ(tape->Picture(1, &error), nullptr);
  EXPECT_NE(error.find("is no picture of this tape"), std::string::npos) << error;
  EXPECT_NE(tape->Picture(4, &error), nullptr);
  DeckTransport transport(tape.get());
  transport.Restore(tape->LoadDeck()->transport);
  for (int i = 0; i < 100; ++i) transport.Step();
  EXPECT_GE(transport.Picture(), 0);
}

}  // namespace
}  // namespace morvane
