#include "simulator/deck_transport.h"

#include <algorithm>
#include <cmath>

namespace morvane {

void DeckTransport::Enter(Mode mode) {
  mode_ = mode;
  begun_ = picture_;
  travelled_ = 0;
  speed_ = 0;
  spin_ = 0;
  switched_ = 0;
  recording_ = 0;  // a picture time that is not whole is not recorded
}

void DeckTransport::Play() {
  // A tape that runs locked already just goes on, without what was recorded.
  const bool runs = mode_ == Mode::kPlay || mode_ == Mode::kRecord || mode_ == Mode::kEditRun;
  const int spin = runs ? spin_ : kDeckSpinUp;
  Enter(Mode::kPlay);
  spin_ = spin;
}

void DeckTransport::Record(std::optional<int64_t> timecode) {
  const bool runs = mode_ == Mode::kPlay || mode_ == Mode::kEditRun;
  if (mode_ == Mode::kRecord) return;
  const int spin = runs ? spin_ : kDeckSpinUp;
  Enter(Mode::kRecord);
  spin_ = spin;
  preset_ = timecode;
}

void DeckTransport::Run(Mode mode, double speed) {
  Enter(mode);
  speed_ = speed;
}

void DeckTransport::CueTo(int64_t picture) {
  Enter(Mode::kCue);
  target_ = std::clamp<int64_t>(picture, 0, track_->Pictures() - 1);
}

void DeckTransport::StartEdit(const Edit& edit) {
  Enter(Mode::kEditCue);
  edit_ = edit;
  target_ = std::clamp<int64_t>(edit.in - edit.preroll, 0, track_->Pictures() - 1);
}

void DeckTransport::SwitchEdit(DeckChannels channels) {
  if (channels != 0 && mode_ != Mode::kPlay) return;
  if (channels == 0 && (mode_ == Mode::kRecord || mode_ == Mode::kEditRun)) mode_ = Mode::kPlay;
  switched_ = channels;
  if (channels == 0) recording_ = 0;
}

void DeckTransport::Place(int64_t picture) {
  MoveTo(picture);
  Enter(Mode::kStop);
}

void DeckTransport::MoveTo(int64_t picture) {
  picture_ = std::clamp<int64_t>(picture, 0, track_->Pictures() - 1);
}

void DeckTransport::Step() {
  switch (mode_) {
    case Mode::kPlay:
    case Mode::kRecord:
    case Mode::kEditRun:
      StepPlaying();
      break;
    case Mode::kFastForward:
      MoveTo(picture_ + kDeckWind);
      if (picture_ == track_->Pictures() - 1) Enter(Mode::kStop);
      break;
    case Mode::kRewind:
      MoveTo(picture_ - kDeckWind);
      if (picture_ == 0) Enter(Mode::kStop);
      break;
    case Mode::kJog:
    case Mode::kVar:
    case Mode::kShuttle:
      travelled_ += speed_;
      MoveTo(begun_ + static_cast<int64_t>(std::trunc(travelled_)));
      // At an end of the tape the deck stands still, in the mode it is in.
      if (speed_ > 0 && picture_ == track_->Pictures() - 1) speed_ = 0;
      if (speed_ < 0 && picture_ == 0) speed_ = 0;
      break;
    case Mode::kCue:
      WindTo(target_, Mode::kCuedUp);
      break;
    case Mode::kEditCue:
      WindTo(target_, Mode::kEditRun);
      break;
    case Mode::kStop:
    case Mode::kStandby:
    case Mode::kEjected:
    case Mode::kCuedUp:
      break;
  }
  UpdateRecording();
}

void DeckTransport::StepPlaying() {
  if (spin_ > 0) {
    --spin_;
    return;
  }
  if (picture_ == track_->Pictures() - 1) {
    Enter(Mode::kStop);
    return;
  }
  ++picture_;
  if (mode_ == Mode::kEditRun && picture_ >= edit_.out) Enter(Mode::kStop);
}

void DeckTransport::WindTo(int64_t target, Mode then) {
  const int64_t way = target - picture_;
  MoveTo(picture_ + std::clamp(way, -kDeckWind, kDeckWind));
  if (picture_ != target) return;
  Enter(then);
  if (then == Mode::kEditRun) spin_ = kDeckSpinUp;
}

void DeckTransport::UpdateRecording() {
  DeckChannels channels = 0;
  if (Locked()) {
    if (mode_ == Mode::kRecord) channels = kDeckAll;
    if (mode_ == Mode::kPlay) channels = switched_;
    if (mode_ == Mode::kEditRun && picture_ >= edit_.in) channels = edit_.channels;
  }
  if (channels != 0 && recording_ == 0) {
    recordBegan_ = picture_ - (track_->Rate().pairs ? picture_ % 2 : 0);
    // Without a preset the numbers go on from what stands before the place.
    recordCount_ = preset_.value_or(recordBegan_ == 0 ? track_->CountAt(0)
                                                      : track_->CountAt(recordBegan_ - 1) + 1);
    preset_.reset();
  }
  recording_ = channels;
}

int64_t DeckTransport::RecordingCount() const {
  const TapeRate& rate = track_->Rate();
  return (recordCount_ + rate.Numbers(picture_ - recordBegan_)) % rate.DayCount();
}

bool DeckTransport::Locked() const {
  const bool plays = mode_ == Mode::kPlay || mode_ == Mode::kRecord || mode_ == Mode::kEditRun;
  return plays && spin_ == 0;
}

bool DeckTransport::RecordsOrWill() const {
  return recording_ != 0 || mode_ == Mode::kRecord || (mode_ == Mode::kPlay && switched_ != 0) ||
         ((mode_ == Mode::kEditCue || mode_ == Mode::kEditRun) && edit_.channels != 0);
}

double DeckTransport::Speed() const {
  switch (mode_) {
    case Mode::kPlay:
    case Mode::kRecord:
    case Mode::kEditRun:
      return 1;
    case Mode::kFastForward:
      return static_cast<double>(kDeckWind);
    case Mode::kRewind:
      return -static_cast<double>(kDeckWind);
    case Mode::kCue:
    case Mode::kEditCue:
      return static_cast<double>(target_ < picture_ ? -kDeckWind : kDeckWind);
    default:
      return speed_;
  }
}

bool DeckTransport::Reverse() const {
  return Speed() < 0;
}

bool DeckTransport::Moves() const {
  switch (mode_) {
    case Mode::kStop:
    case Mode::kStandby:
    case Mode::kEjected:
    case Mode::kCuedUp:
      return false;
    case Mode::kJog:
    case Mode::kVar:
    case Mode::kShuttle:
      return speed_ != 0;
    default:
      return true;
  }
}

DeckTransport::Saved DeckTransport::Save() const {
  return {mode_, picture_, speed_, begun_ + travelled_ - picture_, target_, spin_};
}

void DeckTransport::Restore(const Saved& state) {
  MoveTo(state.picture);
  const bool records = state.mode == Mode::kRecord || state.mode == Mode::kEditCue ||
                       state.mode == Mode::kEditRun || state.mode == Mode::kEjected;
  Enter(records ? Mode::kStop : state.mode);
  if (records) return;
  const auto sane = [](double value) {
    return std::isfinite(value) ? std::clamp(value, -1000.0, 1000.0) : 0.0;
  };
  speed_ = sane(state.speed);
  travelled_ = sane(state.travelled);
  target_ = std::clamp<int64_t>(state.target, 0, track_->Pictures() - 1);
  spin_ = std::clamp(state.spin, 0, kDeckSpinUp);
}

}  // namespace morvane
