// Any bytes as a tape machine's replies: a time base and a source, then a row of calls, each with
// the replies to what it asks. Behind them the machine comes to its senses and must be understood.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "session/control.h"
#include "session/scripted_deck.h"

using namespace morvane;

namespace {

constexpr int64_t kGapsNs[] = {286'458, 0, 4'900'000, 6'000'000};
constexpr int64_t kDelayStepNs = 50'000;
// Fifteen milliseconds to send, and at most five before each of the bytes that are kept.
constexpr int64_t kLongestExchangeNs = 15'000'000 + 31 * 5'000'000;
constexpr size_t kMaxCalls = 64;

constexpr const char* kWords[] = {
    "",
    "Offline",
    "Tape Out",
    "Local",
    "Stop",
    "Record",
    "Play",
    "Fast Forward",
    "Rewind",
    "Seeking",
    "Eject",
    "Variable",
    "Still",
    "Cue Up",
    "StandBy",
    "Jog",
    "Shuttle",
    "Play 1/2x",
    "Play 1/4x",
    "Reverse Play 1/2x",
    "Play 2x",
    "Reverse Play 1/4x",
    "Reverse Play",
    "Reverse Play 2x",
    "Play 3x",
    "Reverse Play 3x",
    "Reverse Play 4x",
    "Play 4x",
    "Rewind 8x",
    "Fast Forward 8x",
    "Rewind 16x",
    "Fast Forward 16x",
    "Rewind 32x",
    "Fast Forward 32x",
};
constexpr double kSpeeds[] = {0, 0.25, -0.5, 1, -2, 3, 4, -8, 16, -32, 5};

void Require(bool claim) {
  if (!claim) std::abort();
}

class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}
  [[nodiscard]] bool Empty() const { return at_ == end_; }
  uint8_t Byte() { return Empty() ? 0 : *at_++; }
  test::DeckAnswer Answer() {
    const uint8_t shape = Byte();
    test::DeckAnswer answer;
    answer.gapNs = kGapsNs[shape >> 6];
    answer.afterNs = Byte() * kDelayStepNs;
    for (int count = shape & 63; count > 0 && !Empty(); --count) answer.bytes.push_back(Byte());
    return answer;
  }

 private:
  const uint8_t* at_;
  const uint8_t* const end_;
};

void RequireTime(const std::string& text, char separator) {
  Require(text.size() == 11);
  for (size_t i = 0; i < text.size(); ++i) {
    Require(i % 3 == 2 ? text[i] == separator : text[i] >= '0' && text[i] <= '9');
  }
}

void RequireStatusWord(const std::string& text) {
  for (const char* word : kWords) {
    if (text == word) return;
  }
  std::abort();
}

// What goes to the machine is digits, whatever it said before.
void RequireDigits(const test::ScriptedDeck& deck) {
  for (const test::DeckBytes& command : deck.commands) {
    Require(command.size() <= kVtrCommandBytes + 1);
    if (!test::Begins(command, 0x24, 0x31)) continue;
    Require(command.size() == 7);
    for (size_t i = 2; i < 6; ++i) Require((command[i] & 15) <= 9 && command[i] >> 4 <= 9);
  }
}

void Call(uint8_t choice, CRQD5Control* control) {
  const char separator = control->GetTimeBase().dropFrame ? ';' : ':';
  std::string text;
  RQD5VtrStatus status;
  switch (choice % 10) {
    case 0:
      (void)control->GetTimecode(&text);
      RequireTime(text, separator);
      break;
    case 1:
      (void)control->GetStatusText(&text);
      RequireStatusWord(text);
      break;
    case 2:
      Require(control->GetStatus(&status) != status.Is(VtrNoReply));
      break;
    case 3: {
      const double speed = control->GetSpeed();
      Require(speed == 0 || std::fabs(speed) == std::fabs(control->CommandedSpeed()));
      break;
    }
    case 4:
      (void)control->Step();
      break;
    case 5:
      (void)control->StepBack();
      break;
    case 6:
      (void)control->Shuttle(kSpeeds[choice / 10 % std::size(kSpeeds)]);
      break;
    case 7:
      (void)control->SetEditPoints("01:00:00:00", "01:00:02:00", "01:00:00:00", "01:00:02:00",
                                   choice);
      break;
    case 8:
      Require(control->ClearEdit());
      break;
    default:
      (void)control->Play();
      break;
  }
  Require(control->Reply().size() <= kVtrReplyBytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  test::ScriptedDeck deck;
  CRQD5Control control;
  Require(control.Open(0, false, BOARDTYPE_OEM2K, nullptr) && control.Activate());
  const uint8_t settings = input.Byte();
  Require(control.SetTimeBase(settings % 7) && control.SetTcSource(settings / 7 % 3));

  deck.answer = [&](const test::DeckBytes&) { return input.Answer(); };
  for (size_t call = 0; call < kMaxCalls && !input.Empty(); ++call) {
    const int64_t before = NxClockNowNs();
    Call(input.Byte(), &control);
    const auto exchanges = static_cast<int64_t>(deck.commands.size());
    Require(NxClockNowNs() - before <= exchanges * kLongestExchangeNs);
    RequireDigits(deck);
    deck.commands.clear();
  }

  deck.Pass(1000);
  test::SteadyDeck good;
  good.status[1] = 0x01;
  good.time = {0x12, 0x34, 0x56, 0x01};
  deck.answer = good;
  std::string text;
  Require(control.Play());
  Require(control.GetTimecode(&text) && text.substr(0, 2) == "01" && text.substr(9) == "12");
  Require(control.GetStatusText(&text) && text == "Play");
  return 0;
}
