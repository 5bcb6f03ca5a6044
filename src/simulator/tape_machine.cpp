#include "simulator/tape_machine.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>

#include "base/paths.h"
#include "simulator/deck_description.h"

namespace morvane {
namespace {

constexpr int64_t kNever = std::numeric_limits<int64_t>::max();
constexpr int64_t kNsPerMs = 1000000;
// Sound of a picture time may be so many samples short, by rounding, and comes with the next.
constexpr int64_t kSoundSlack = 4;
constexpr int64_t kKeepEvery = 25;  // pictures of a recording
constexpr int64_t kMostSteps = 1 << 26;

std::string BootOfSystem() {
  std::ifstream file("/proc/sys/kernel/random/boot_id");
  std::string text;
  std::getline(file, text);
  return text;
}

int64_t WallNowNs() {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

DeckLineFaults LineFaultsOf(const DeckFaultDescription& faults) {
  DeckLineFaults line;
  line.offLine = faults.offLine;
  line.slowReplyNs = faults.slowReplyMs * kNsPerMs;
  line.cutReply = static_cast<uint32_t>(std::clamp<int64_t>(faults.cutReply, 0, 255));
  line.wrongSum = faults.wrongSum;
  line.wrongReply = faults.wrongReply;
  return line;
}

TapeFacts FactsOf(const DeckDescription& description) {
  TapeFacts facts;
  facts.videoFormat = DeckVideoFormat(description);  // there is no tape yet
  facts.rate = TapeRate::Of(facts.videoFormat, description.timecode.find(';') != std::string::npos);
  facts.first = TapeCountOfText(facts.rate, description.timecode);
  const int64_t pictures = description.seconds * facts.rate.scale / facts.rate.duration;
  facts.pictures = std::clamp<int64_t>(pictures, 1, facts.rate.Pictures(facts.rate.DayCount()));
  return facts;
}

}  // namespace

TapeMachine::TapeMachine(const DeckDescription& description, const MachineClock* clock)
    : description_(description),
      clock_(clock),
      faults_(description.faults),
      line_(this, !description.plain) {
  line_.SetFaults(LineFaultsOf(faults_));
}

TapeMachine::~TapeMachine() {
  if (!deck_) return;
  EndRecording(true);
  Keep();
}

// ---- the tape, and what was left of the deck ----

bool TapeMachine::Ensure(int64_t nowNs) {
  if (deck_) return true;
  std::string error;
  if (Insert(nowNs, &error)) return true;
  // Off line until it can be had; said once.
  if (!told_) std::fprintf(stderr, "morvane: the tape machine is off line: %s\n", error.c_str());
  told_ = true;
  return false;
}

bool TapeMachine::Insert(int64_t nowNs, std::string* error) {
  const std::string path = DeckTapePath(description_);
  std::error_code failure;
  if (description_.tape.empty()) std::filesystem::create_directories(DataFolder(), failure);
  if (!std::filesystem::exists(path, failure) &&
      !TapeFolder::Create(path, FactsOf(description_), error)) {
    return false;
  }
  auto tape = TapeFolder::Open(path, true, error);
  if (tape == nullptr) return false;
  tape_ = std::move(tape);
  deck_ = std::make_unique<DeckMachine>(tape_.get());
  Retime(cardTiming_, nowNs);
  deck_->Retime(deck_->Timing(), nowNs);  // also where the deck runs by itself
  if (const auto state = tape_->LoadDeck()) GoOn(*state, nowNs);
  ApplyFaults();
  return true;
}

// Since another process left it, the deck has gone on, whose state tells when the time of its
// picture began. What was left of that time is not lost, or a deck that is looked at often enough
// would never get on.
void TapeMachine::GoOn(const DeckState& state, int64_t nowNs) {
  const bool sameBoot = state.boot == BootOfSystem();
  const int64_t elapsed =
      sameBoot ? clock_->ProcessNs(nowNs) - state.processNs : WallNowNs() - state.wallNs;
  DeckTransport& transport = deck_->Transport();
  transport.Restore(state.transport);
  FrameTiming timing = deck_->Timing();
  timing.startNs = 0;
  const auto cardNs = static_cast<int64_t>(static_cast<double>(elapsed) * clock_->Rate());
  if (cardNs < -timing.BoundaryNs(1)) return;  // somebody has put the clock back
  const int64_t steps = std::min(timing.IndexAt(cardNs), kMostSteps);
  for (int64_t i = 0; i < steps && transport.Moves(); ++i) transport.Step();
  lateNs_ = nowNs - (cardNs - timing.BoundaryNs(steps)) - deck_->BoundaryNs();
}

void TapeMachine::Keep() {
  DeckState state;
  state.transport = deck_->Transport().Save();
  state.processNs = clock_->ProcessNs(BegunNs());
  state.boot = BootOfSystem();
  state.wallNs = WallNowNs() - (clock_->ProcessNs(nowNs_) - state.processNs);
  std::string ignored;  // the next command tries again
  (void)tape_->SaveDeck(state, &ignored);
  keptChanges_ = deck_->Changes();
}

void TapeMachine::SetFaults(const DeckFaultDescription& faults, int64_t nowNs) {
  AdvanceTo(nowNs);
  faults_ = faults;
  line_.SetFaults(LineFaultsOf(faults_));
  if (deck_) ApplyFaults();
}

void TapeMachine::ApplyFaults() {
  const auto number = [&](const std::string& text) -> std::optional<int64_t> {
    if (!SourceTimecode::IsTimecodeText(text)) return std::nullopt;
    return TapeCountOfText(tape_->Rate(), text);
  };
  DeckFaults faults;
  faults.local = faults_.local;
  faults.tapeOut = faults_.tapeOut;
  faults.recordInhibit = faults_.recordInhibit;
  faults.skipCount = number(faults_.skipTimecode);
  faults.jumpCount = number(faults_.jumpAt);
  faults.jumpPictures = faults_.jumpFrames;
  deck_->SetFaults(faults);
  if (deck_->Transport().Recording() == 0) EndRecording(true);
}

// ---- time and commands ----

void TapeMachine::Retime(const FrameTiming& timing, int64_t nowNs) {
  cardTiming_ = timing;
  if (!deck_) return;
  const TapeRate& rate = tape_->Rate();
  // At another rate than the card's the deck runs by itself.
  if (timing.scale == rate.scale && timing.duration == rate.duration) {
    deck_->AdvanceTo(nowNs);
    const int64_t begunNs = BegunNs();
    deck_->Retime(timing, nowNs);
    lateNs_ = begunNs - deck_->BoundaryNs();
  }
}

int64_t TapeMachine::BegunNs() const {
  return deck_->BoundaryNs() + lateNs_;
}

DeckBytes TapeMachine::Execute(std::span<const uint8_t> command, int64_t atNs) {
  if (!Ensure(atNs)) return {};
  nowNs_ = std::max(nowNs_, atNs);
  const bool recorded = deck_->Transport().Recording() != 0;
  const bool would = RecordsOrWill();
  // A command on the very boundary counts for the picture before it.
  const int64_t at = would ? std::min(atNs, deck_->NextBoundaryNs() - 1) : atNs;
  deck_->AdvanceTo(at);
  if (!deck_->Transport().Moves()) lateNs_ = 0;  // from here on it runs with the boundaries
  DeckBytes reply = deck_->Execute(command, at);
  if (recorded && deck_->Transport().Recording() == 0) EndRecording(true);
  if (!would && RecordsOrWill()) tape_->ForgiveFailure();
  if (deck_->Changes() != keptChanges_) Keep();
  return reply;
}

bool TapeMachine::RecordsOrWill() const {
  return deck_ && deck_->Transport().RecordsOrWill();
}

int64_t TapeMachine::NextEventNs() const {
  return RecordsOrWill() ? deck_->NextBoundaryNs() : kNever;
}

void TapeMachine::AdvanceTo(int64_t nowNs) {
  nowNs_ = std::max(nowNs_, nowNs);
  if (!deck_ || nowNs < deck_->NextBoundaryNs()) return;
  deck_->AdvanceTo(nowNs);
  const DeckTransport& transport = deck_->Transport();
  if (!open_.empty()) EndPicture();
  std::string error;
  if (transport.Recording() != 0 && tape_->Failed(&error)) {
    std::fprintf(stderr, "morvane: the recording on tape ends: %s\n", error.c_str());
    deck_->Transport().EndRecording();
  }
  if (transport.Recording() == 0) {
    EndRecording(false);
    return;
  }
  TapeRecording recording;
  recording.picture = transport.Picture();
  recording.channels = transport.Recording();
  recording.count = transport.RecordingCount();
  if (open_.empty() && sound_.empty()) {
    soundGot_ = 0;
    soundWanted_ = 0;
  }
  open_.push_back(std::move(recording));
  wantsPicture_ = true;
  intervalFrom_ = sound_.size();
  if (transport.Picture() % kKeepEvery == 0) Keep();
}

// ---- recording ----

void TapeMachine::PushPicture(PictureRef picture) {
  wantsPicture_ = false;
  if (!open_.empty()) open_.back().image = std::move(picture);
}

void TapeMachine::PushSound(const std::vector<int32_t>& samples, uint32_t channels,
                            uint32_t sampleRate) {
  if (open_.empty() || channels == 0) return;
  const size_t skip = std::max<uint32_t>(sampleRate / kTapeSampleRate, 1);
  for (size_t at = 0; at + channels <= samples.size(); at += channels * skip) {
    const size_t to = sound_.size();
    sound_.resize(to + kTapeChannels);
    std::copy_n(samples.data() + at, std::min(channels, kTapeChannels), sound_.data() + to);
    ++soundGot_;
  }
}

// The picture time of the last open picture is over: its sound has come, but for what rounding
// leaves to the next.
void TapeMachine::EndPicture() {
  soundWanted_ += tape_->SamplesOf(open_.back().picture);
  if (soundGot_ + kSoundSlack < soundWanted_) {  // the card was silent, or has just begun
    const auto missing = static_cast<size_t>(soundWanted_ - soundGot_);
    sound_.insert(sound_.begin() + static_cast<ptrdiff_t>(intervalFrom_), missing * kTapeChannels,
                  0);
    soundGot_ = soundWanted_;
  }
  HandOn(false);
}

void TapeMachine::HandOn(bool last) {
  while (!open_.empty()) {
    TapeRecording& recording = open_.front();
    const auto wanted = static_cast<size_t>(tape_->SamplesOf(recording.picture)) * kTapeChannels;
    if (sound_.size() < wanted) {
      if (!last) return;
      sound_.resize(wanted, 0);
    }
    const auto end = sound_.begin() + static_cast<ptrdiff_t>(wanted);
    recording.sound.assign(sound_.begin(), end);
    sound_.erase(sound_.begin(), end);
    tape_->Record(std::move(recording));
    open_.pop_front();
  }
}

// `partial`: the last open picture's time is not over, and it is not recorded.
void TapeMachine::EndRecording(bool partial) {
  if (partial && !open_.empty()) {
    open_.pop_back();
    sound_.resize(std::min(sound_.size(), intervalFrom_));
  }
  HandOn(true);
  sound_.clear();
  wantsPicture_ = false;
}

void TapeMachine::GiveUpRecording() {
  if (!RecordsOrWill()) return;
  std::fprintf(stderr, "morvane: the recording on tape ends: \"%s\" is written too slowly\n",
               tape_->Path().c_str());
  deck_->Transport().EndRecording();
  EndRecording(true);
}

void TapeMachine::WaitForRoom() {
  if (tape_) tape_->WaitForRoom();
}

// ---- the output ----

TapeMachine::Signal TapeMachine::Output(uint32_t sampleRate, int64_t nowNs) {
  Signal signal;
  if (!Ensure(nowNs) || !deck_->HasTape() || faults_.offLine) return signal;
  const DeckTransport& transport = deck_->Transport();
  const int64_t picture = transport.Picture();
  const bool audible = transport.Locked();
  signal.frame = TapeFolder::Signal(tape_, picture, audible, sampleRate);
  signal.timecode = PackRp188(TapeTimecode(tape_->Rate(), deck_->Count()));
  if (audible) {
    const int64_t repeat = std::max<uint32_t>(sampleRate / kTapeSampleRate, 1);
    signal.soundPosition = tape_->SamplesBefore(picture) * repeat;
    signal.soundFrames = tape_->SamplesOf(picture) * repeat;
  }
  return signal;
}

}  // namespace morvane
