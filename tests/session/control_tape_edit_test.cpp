// Edits through the tape control on the simulated deck: what was asked for is on the tape, from the
// frame that was asked for, and everything else is as it was.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "media/codec/md5.h"
#include "session/tape_rig.h"
#include "simulator/input_source.h"
#include "simulator/port_client.h"
#include "simulator/tape_folder.h"

namespace morvane {
namespace {

using test::PortClient;
using test::TapeRig;

constexpr uint32_t kOut = 1;
constexpr uint32_t kVideoFormat = 32;  // 525 59.94
constexpr uint32_t kDropFrame = 4;     // time base
// The in point lies at a place where two numbers are left out.
constexpr char kFirst[] = "01;00;57;00";
constexpr char kIn[] = "01;01;00;02";
constexpr char kOutPoint[] = "01;01;00;12";
constexpr int64_t kPictures = 140;  // of the tape
constexpr int64_t kInPicture = 90;
constexpr int64_t kOutPicture = 100;
constexpr int64_t kRecordedFrom = 70;  // somebody has recorded here before
constexpr int64_t kRecordedTo = 120;
constexpr uint32_t kOnAir = 500000;  // frame number of the first picture of the output

// Sound on the output: another constant on each channel.
int32_t OutputSample(uint32_t channel) {
  return static_cast<int32_t>((channel + 1) * 0x00A10000u);
}

// All that lies on a tape.
struct Contents {
  std::vector<std::string> pictures;            // sums
  std::vector<std::vector<std::string>> sound;  // sums, by picture and channel
  std::vector<int64_t> counts;
};

class TapeEdit : public testing::Test {
 protected:
  TapeEdit() {
    machine_ = test::ElmWithDeck(kVideoFormat);
    DeckDescription& deck = machine_.cards[0].deck;
    deck.videoFormat = kVideoFormat;
    deck.timecode = kFirst;
    path_ = deck.tape;
    MakeTape(deck);
    before_ = Read();
    rig_ = std::make_unique<TapeRig>(machine_);
    card_ = std::make_unique<PortClient>(rig_->Port(), BOARDTYPE_OEM2K);
    EXPECT_TRUE(rig_->opened && card_->IsOpen());
    EXPECT_TRUE(rig_->control.SetTimeBase(kDropFrame) && rig_->control.SetPreroll(1));
    EXPECT_TRUE(rig_->control.ConfigureSubscription(true, InterruptOutput, nullptr));
    StartOutput();
  }

  // A tape on which fifty pictures are not what it was made with.
  void MakeTape(const DeckDescription& deck) {
    TapeFacts facts;
    facts.videoFormat = kVideoFormat;
    facts.rate = TapeRate::Of(kVideoFormat, true);
    facts.first = TapeCountOfText(facts.rate, deck.timecode);
    facts.pictures = kPictures;
    std::string error;
    ASSERT_TRUE(TapeFolder::Create(path_, facts, &error)) << error;
    const auto tape = TapeFolder::Open(path_, true, &error);
    ASSERT_NE(tape, nullptr) << error;
    bars_ = MakeBarsSource(tape->Format(), SoundSource::kSilence);
    for (int64_t picture = kRecordedFrom; picture < kRecordedTo; ++picture) {
      TapeRecording recording;
      recording.picture = picture;
      recording.channels = kDeckAll;
      recording.image = bars_->Frame(90000 + picture)->Picture();
      recording.count = facts.first + picture;
      recording.sound.resize(static_cast<size_t>(tape->SamplesOf(picture)) * kTapeChannels);
      for (size_t i = 0; i < recording.sound.size(); ++i) {
        recording.sound[i] = static_cast<int32_t>(i * 7919 + static_cast<size_t>(picture));
      }
      tape->Record(std::move(recording));
    }
  }

  Contents Read() {
    Contents contents;
    std::string error;
    const auto tape = TapeFolder::Open(path_, false, &error);
    if (tape == nullptr) {
      ADD_FAILURE() << error;
      return contents;
    }
    const FrameLayout layout =
        PlainLayout(FourCC("v219"), tape->Format().width, tape->Format().height);
    std::vector<uint8_t> pixels(layout.Bytes());
    std::vector<int32_t> sound;
    for (int64_t picture = 0; picture < tape->Pictures(); ++picture) {
      const PictureRef image = tape->Picture(picture, &error);
      EXPECT_NE(image, nullptr) << error;
      if (image == nullptr || !tape->Sound(picture, &sound, &error)) break;
      image->Store(layout, pixels.data());
      contents.pictures.push_back(Md5Of(pixels.data(), pixels.size()));
      contents.sound.emplace_back();
      for (uint32_t channel = 0; channel < kTapeChannels; ++channel) {
        contents.sound.back().push_back(SumOf(sound, channel));
      }
      contents.counts.push_back(tape->CountAt(picture));
    }
    return contents;
  }
  static std::string SumOf(const std::vector<int32_t>& sound, uint32_t channel) {
    std::vector<uint8_t> bytes;
    for (size_t i = channel; i < sound.size(); i += kTapeChannels) {
      bytes.resize(bytes.size() + 4);
      StoreLe32(bytes.data() + bytes.size() - 4, static_cast<uint32_t>(sound[i]));
    }
    return Md5Of(bytes.data(), bytes.size());
  }

  void StartOutput() {
    card_->SetFormat(kVideoFormat);
    card_->SetFrameBufferFormat(1, FrameBuffer8BitUyvy);
    card_->Write(24, 1u << 16 | 1u << 9 | 1u << 12);  // eight channels, muted, set up
    ASSERT_TRUE(rig_->control.RefreshMemoryFigures());
    std::vector<uint8_t> ring(0xFF000);
    for (size_t i = 0; i < ring.size(); i += 4) {
      StoreLe32(ring.data() + i, static_cast<uint32_t>(OutputSample(i / 4 % 8)));
    }
    ASSERT_TRUE(card_->Dma(kDmaEngineAudio, false, rig_->control.FrameSlots() - 1, ring.data(),
                           static_cast<uint32_t>(ring.size())));
    ASSERT_TRUE(card_->Init(kOut, 0, 9));
    Send();
    Send();
    card_->Write(10003, 3);           // sound with the first picture
    card_->Write(24, 0, 1u << 9, 9);  // not muted
    ASSERT_TRUE(card_->Control(ACStart, kOut));
  }
  void Send() {
    const FrameLayout layout = PlainLayout(FourCC("2vuy"), 720, 486);
    PortClient::Frame frame;
    frame.user = sent_++;
    frame.video.resize(layout.Bytes());
    bars_->Frame(kOnAir + frame.user)->Picture()->Store(layout, frame.video.data());
    ASSERT_TRUE(card_->Transfer(&frame) && frame.status.transferFrame >= 0);
  }
  // To the next boundary, with a picture for the one behind it.
  void NextPicture() {
    Send();
    ASSERT_TRUE(rig_->control.WaitForInterrupt(InterruptOutput, 200));
  }
  // What is on the air now.
  uint32_t OnAir() {
    RQD5FrameStamp stamp = {};
    EXPECT_TRUE(card_->Stamp(kOut, card_->Status(kOut).activeFrame, &stamp));
    return kOnAir + stamp.userData;
  }

  // Runs until the deck has stopped, and notes what was on the air at each timecode.
  void RunEdit() {
    (void)rig_->control.WaitForInterrupt(InterruptOutput, 0);  // a boundary long past
    for (int k = 0; k < 300; ++k) {
      ASSERT_NO_FATAL_FAILURE(NextPicture());
      onAir_[rig_->Timecode()] = OnAir();
      if (rig_->Status() == "Stop") return;
    }
    FAIL() << "the edit did not end";
  }
  // Takes the tape out, with all written.
  Contents End() {
    card_.reset();
    rig_.reset();
    return Read();
  }

  // Holds the tape against what it was: pictures of [in, out) are those that were on the air if
  // `video`, their sound is the output's on the channels of `sound` (bit 0: A1), numbers and all
  // else are unchanged.
  void ExpectEdited(const Contents& after, bool video, uint32_t sound) {
    ASSERT_EQ(after.pictures.size(), before_.pictures.size());
    EXPECT_EQ(after.counts, before_.counts);
    std::string time = kFirst;
    const RQD5TimeBase& base = VtrTimeBases()[kDropFrame];
    std::string error;
    const auto tape = TapeFolder::Open(path_, false, &error);
    ASSERT_NE(tape, nullptr) << error;
    for (size_t i = 0; i < after.pictures.size(); ++i, time = NextVtrTime(time, base)) {
      const auto picture = static_cast<int64_t>(i);
      const bool edited = picture >= kInPicture && picture < kOutPicture;
      if (edited && video) {
        EXPECT_EQ(NumberIn(*tape, picture), onAir_[time]) << time;
      } else {
        EXPECT_EQ(after.pictures[i], before_.pictures[i]) << time;
      }
      for (uint32_t channel = 0; channel < kTapeChannels; ++channel) {
        if (edited && (sound >> channel & 1) != 0) {
          const auto samples = static_cast<size_t>(tape->SamplesOf(picture));
          const std::vector<int32_t> constant(samples * kTapeChannels, OutputSample(channel));
          EXPECT_EQ(after.sound[i][channel], SumOf(constant, channel))
              << time << " A" << channel + 1;
        } else {
          EXPECT_EQ(after.sound[i][channel], before_.sound[i][channel])
              << time << " A" << channel + 1;
        }
      }
    }
  }
  static uint32_t NumberIn(const TapeFolder& tape, int64_t picture) {
    std::string error;
    const PictureRef image = tape.Picture(picture, &error);
    EXPECT_NE(image, nullptr) << error;
    const FrameLayout layout = PlainLayout(FourCC("2vuy"), 720, 486);
    std::vector<uint8_t> pixels(layout.Bytes());
    image->Store(layout, pixels.data());
    return ReadBarsFrameNumber(FourCC("2vuy"), pixels.data(), 720);
  }

  MachineDescription machine_;
  std::string path_;
  std::unique_ptr<InputSource> bars_;
  Contents before_;
  std::unique_ptr<TapeRig> rig_;
  std::unique_ptr<PortClient> card_;
  uint32_t sent_ = 0;
  std::map<std::string, uint32_t> onAir_;
};

TEST_F(TapeEdit, InsertOfVideoAndA1ChangesNothingElse) {
  ASSERT_TRUE(rig_->control.SetEditPoints(kIn, kOutPoint, kIn, kOutPoint, 0x3));
  ASSERT_TRUE(rig_->control.AutoEdit());
  ASSERT_NO_FATAL_FAILURE(RunEdit());
  EXPECT_TRUE(rig_->control.ClearEdit());
  ExpectEdited(End(), true, 0x1);
}

TEST_F(TapeEdit, InsertOfVideoAndA3) {
  ASSERT_TRUE(rig_->control.SetEditPoints(kIn, kOutPoint, kIn, kOutPoint, 0x9));
  ASSERT_TRUE(rig_->control.PerformEdit());
  ASSERT_NO_FATAL_FAILURE(RunEdit());
  ExpectEdited(End(), true, 0x4);
}

TEST_F(TapeEdit, InsertOfSoundAloneKeepsThePicture) {
  ASSERT_TRUE(rig_->control.SetEditPoints(kIn, kOutPoint, kIn, kOutPoint, 0x6));
  ASSERT_TRUE(rig_->control.AutoEdit());
  ASSERT_NO_FATAL_FAILURE(RunEdit());
  ExpectEdited(End(), false, 0x3);
}

TEST_F(TapeEdit, PreviewRecordsNothing) {
  ASSERT_TRUE(rig_->control.SetEditPoints(kIn, kOutPoint, kIn, kOutPoint, 0x1FF));
  ASSERT_TRUE(rig_->control.Preview());
  ASSERT_NO_FATAL_FAILURE(RunEdit());
  EXPECT_NE(onAir_.count(kIn), 0u);
  ExpectEdited(End(), false, 0);
}

TEST_F(TapeEdit, ClearedEditRecordsNothing) {
  ASSERT_TRUE(rig_->control.SetEditPoints(kIn, kOutPoint, kIn, kOutPoint, 0x3));
  ASSERT_TRUE(rig_->control.AutoEdit());
  for (int k = 0; k < 12; ++k) ASSERT_NO_FATAL_FAILURE(NextPicture());
  EXPECT_TRUE(rig_->control.ClearEdit());
  EXPECT_EQ(rig_->Status(), "Stop");
  ASSERT_NO_FATAL_FAILURE(NextPicture());
  ExpectEdited(End(), false, 0);
}

TEST_F(TapeEdit, PunchInRecordsEverythingFromItsPointOn) {
  ASSERT_TRUE(rig_->control.SetPunchIn(kIn));
  ASSERT_TRUE(rig_->control.AutoEdit());
  (void)rig_->control.WaitForInterrupt(InterruptOutput, 0);
  std::string time;
  while (time != kOutPoint) {
    ASSERT_NO_FATAL_FAILURE(NextPicture());
    time = rig_->Timecode();
    onAir_[time] = OnAir();
    ASSERT_LT(sent_, 300u);
  }
  EXPECT_TRUE(rig_->control.Stop());
  const Contents after = End();
  // The eight channels of the card, and silence on the rest.
  std::string error;
  const auto tape = TapeFolder::Open(path_, false, &error);
  ASSERT_NE(tape, nullptr) << error;
  EXPECT_EQ(after.counts, before_.counts);
  for (size_t i = 0; i < after.pictures.size(); ++i) {
    const auto picture = static_cast<int64_t>(i);
    if (picture < kInPicture || picture >= kOutPicture) {
      EXPECT_EQ(after.pictures[i], before_.pictures[i]) << i;
      EXPECT_EQ(after.sound[i], before_.sound[i]) << i;
      continue;
    }
    EXPECT_EQ(NumberIn(*tape, picture), onAir_[TapeTimecodeText(tape->Rate(), after.counts[i])]);
    std::vector<int32_t> sound;
    ASSERT_TRUE(tape->Sound(picture, &sound, &error)) << error;
    for (size_t s = 0; s < sound.size(); ++s) {
      const auto channel = static_cast<uint32_t>(s % kTapeChannels);
      ASSERT_EQ(sound[s], channel < 8 ? OutputSample(channel) : 0) << i << " sample " << s;
    }
  }
}

}  // namespace
}  // namespace morvane
