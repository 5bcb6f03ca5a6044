#include "simulator/deck_machine.h"

#include <algorithm>
#include <cmath>

namespace morvane {
namespace {

using Mode = DeckTransport::Mode;

const DeckBytes kAcknowledge = {0x10, 0x01};
const DeckBytes kUndefined = {0x11, 0x12, 0x01};  // also: not now
constexpr int64_t kDefaultPrerollSeconds = 5;
constexpr size_t kStatusBytes = 10;

// Bits of the first byte of an edit preset.
constexpr uint8_t kEditAssemble = 0x20;
constexpr uint8_t kEditPicture = 0x10;
constexpr uint8_t kEditSound1 = 0x01;
constexpr uint8_t kEditSound2 = 0x02;

// 10^(n / 32 - 2) of a speed byte; the second byte counts 256ths of the first. 0 stands still.
double SpeedOf(std::span<const uint8_t> data) {
  double n = data[0];
  if (data.size() > 1) n += data[1] / 256.0;
  return n == 0 ? 0 : std::pow(10.0, n / 32 - 2);
}

uint8_t SpeedByte(double speed) {
  const double magnitude = std::abs(speed);
  if (magnitude == 0) return 0;
  return static_cast<uint8_t>(std::clamp((std::log10(magnitude) + 2) * 32 + 0.5, 0.0, 255.0));
}

}  // namespace

DeckMachine::DeckMachine(const TapeTrack* track)
    : track_(track), transport_(track), preroll_(kDefaultPrerollSeconds * track->Rate().base) {
  timing_.scale = track->Rate().scale;
  timing_.duration = track->Rate().duration;
}

void DeckMachine::SetFaults(const DeckFaults& faults) {
  if (faults.tapeOut && !faults_.tapeOut) transport_.Stop();
  if (faults.recordInhibit) transport_.EndRecording();
  jumped_ = false;
  faults_ = faults;
}

bool DeckMachine::HasTape() const {
  return !faults_.tapeOut && transport_.State() != Mode::kEjected;
}

// ---- time ----

void DeckMachine::Retime(const FrameTiming& timing, int64_t nowNs) {
  AdvanceTo(nowNs);
  timing_ = timing;
  boundary_ = timing_.IndexAt(nowNs);
}

void DeckMachine::AdvanceTo(int64_t nowNs) {
  const int64_t boundary = timing_.IndexAt(nowNs);
  while (boundary_ < boundary && (transport_.Moves() || transport_.RecordsOrWill())) {
    ++boundary_;
    StepOnce();
  }
  boundary_ = std::max(boundary_, boundary);
}

void DeckMachine::StepOnce() {
  transport_.Step();
  if (!faults_.jumpCount || jumped_ || !transport_.Locked()) return;
  if (track_->CountAt(transport_.Picture()) != *faults_.jumpCount) return;
  jumped_ = true;
  transport_.Slip(faults_.jumpPictures);
}

int64_t DeckMachine::NextBoundaryNs() const {
  return timing_.BoundaryNs(boundary_ + 1);
}

int64_t DeckMachine::Count() const {
  const int64_t count = track_->CountAt(transport_.Picture());
  if (faults_.skipCount && transport_.Locked() && count == *faults_.skipCount) {
    return (count + 1) % track_->Rate().DayCount();
  }
  return count;
}

// ---- commands ----

DeckBytes DeckMachine::Execute(std::span<const uint8_t> command, int64_t atNs) {
  if (command.size() < 2) return kUndefined;
  AdvanceTo(atNs);
  const uint8_t group = command[0] >> 4;
  if (group == 6) return Sense(command);
  if (group == 0) {
    if (command[1] == 0x11) return {0x12, 0x11, 0xF0, 0x01};
    return command[1] == 0x0C || command[1] == 0x1D ? kAcknowledge : kUndefined;
  }
  if (faults_.local) return kUndefined;
  DeckBytes reply = kUndefined;
  if (command[0] == 0x20) {
    reply = Transport20(command[1]);
  } else if (command[0] == 0x24 && command[1] == 0x31 && command.size() == 6) {
    if (HasTape()) {
      transport_.CueTo(track_->Find(TapeCountOfBytes(track_->Rate(), command.subspan(2))));
      reply = kAcknowledge;
    }
  } else if (group == 2) {
    reply = RunAt(command);
  } else if (command[0] == 0x40) {
    reply = EditPoint40(command[1]);
  } else if (command[0] == 0x44) {
    reply = Preset44(command);
  } else if (group == 4 && command[1] == 0x30 && command.size() >= 3) {
    editWord_[0] = command[2];
    editWord_[1] = command.size() > 3 ? command[3] : 0;
    reply = kAcknowledge;
  }
  if (reply == kAcknowledge) ++changes_;
  return reply;
}

DeckBytes DeckMachine::Transport20(uint8_t what) {
  if (!HasTape()) return what == 0x00 ? kAcknowledge : kUndefined;
  switch (what) {
    case 0x00:
    case 0x04:
      transport_.Stop();
      return kAcknowledge;
    case 0x01:
      transport_.Play();
      return kAcknowledge;
    case 0x02:
      if (!MayRecord()) return kUndefined;
      transport_.Record(timecodePreset_);
      timecodePreset_.reset();
      return kAcknowledge;
    case 0x05:
      transport_.Standby();
      return kAcknowledge;
    case 0x0F:
      transport_.Eject();
      return kAcknowledge;
    case 0x10:
      transport_.FastForward();
      return kAcknowledge;
    case 0x20:
      transport_.Rewind();
      return kAcknowledge;
    case 0x30: {  // to the in point less the preroll
      const int64_t in = points_[0] ? track_->Find(*points_[0]) : transport_.Picture();
      transport_.CueTo(in - track_->Rate().Pictures(preroll_));
      return kAcknowledge;
    }
    case 0x40:
      return AutoEdit(true);
    case 0x42:
      return AutoEdit(false);
    case 0x64:
      transport_.SwitchEdit(0);
      return kAcknowledge;
    case 0x65:
      if (!MayRecord() || transport_.State() != Mode::kPlay) return kUndefined;
      transport_.SwitchEdit(PresetChannels());
      return kAcknowledge;
    default:
      return kUndefined;
  }
}

DeckBytes DeckMachine::RunAt(std::span<const uint8_t> command) {
  if (command.size() < 3 || command.size() > 4 || !HasTape()) return kUndefined;
  const uint8_t kind = command[1] & 0x0F;
  const uint8_t direction = command[1] >> 4;
  if (kind < 1 || kind > 3 || direction < 1 || direction > 2) return kUndefined;
  const double speed = SpeedOf(command.subspan(2));
  const Mode mode = kind == 1 ? Mode::kJog : kind == 2 ? Mode::kVar : Mode::kShuttle;
  transport_.Run(mode, direction == 2 ? -speed : speed);
  return kAcknowledge;
}

DeckBytes DeckMachine::EditPoint40(uint8_t what) {
  switch (what) {
    case 0x10:  // entry of a point from where the tape stands
    case 0x11:
    case 0x12:
    case 0x13:
      if (!HasTape()) return kUndefined;
      points_[what & 3] = Count();
      return kAcknowledge;
    case 0x20:
    case 0x21:
    case 0x22:
    case 0x23:
      points_[what & 3].reset();
      return kAcknowledge;
    case 0x40:
    case 0x41:
      autoMode_ = what == 0x41;
      return kAcknowledge;
    default:
      return kUndefined;
  }
}

DeckBytes DeckMachine::Preset44(std::span<const uint8_t> command) {
  if (command.size() != 6) return kUndefined;
  const std::span<const uint8_t> bytes = command.subspan(2);
  TapeRate rate = track_->Rate();
  const int64_t count = TapeCountOfBytes(rate, bytes);
  switch (command[1]) {
    case 0x04:
      timecodePreset_ = count;
      return kAcknowledge;
    case 0x14:
      points_[0] = count;
      return kAcknowledge;
    case 0x15:
      points_[1] = count;
      return kAcknowledge;
    case 0x16:
      points_[2] = count;
      return kAcknowledge;
    case 0x17:
      points_[3] = count;
      return kAcknowledge;
    case 0x31:  // a length, not a place
      rate.dropFrame = false;
      preroll_ = TapeCountOfBytes(rate, bytes);
      return kAcknowledge;
    default:
      return kUndefined;
  }
}

// Controllers differ in which of the points they call the out point.
int64_t DeckMachine::EditOut(int64_t in) const {
  for (const int point : {1, 3, 2}) {
    if (!points_[point]) continue;
    const int64_t out = track_->Find(*points_[point]);
    const bool beyond = track_->CountAt(out) != *points_[point];  // behind the end of the tape
    return std::max(in, beyond && out > in ? out + 1 : out);
  }
  return std::numeric_limits<int64_t>::max();
}

DeckChannels DeckMachine::PresetChannels() const {
  if ((editWord_[0] & kEditAssemble) != 0) return kDeckAll;
  DeckChannels channels = 0;
  if ((editWord_[0] & kEditPicture) != 0) channels |= kDeckPicture;
  if ((editWord_[0] & kEditSound1) != 0) channels |= 1u << 1;
  if ((editWord_[0] & kEditSound2) != 0) channels |= 1u << 2;
  for (unsigned bit = 0; bit < 8; ++bit) {  // channels 1 to 8 once more
    if ((editWord_[1] >> bit & 1) != 0) channels |= 2u << bit;
  }
  return channels;
}

DeckBytes DeckMachine::AutoEdit(bool preview) {
  if (!preview && !MayRecord()) return kUndefined;
  DeckTransport::Edit edit;
  edit.in = points_[0] ? track_->Find(*points_[0]) : transport_.Picture();
  // An edit that cannot begin where it was asked to must not begin anywhere.
  if (points_[0] && track_->CountAt(edit.in) != *points_[0]) return kUndefined;
  edit.out = EditOut(edit.in);
  edit.preroll = track_->Rate().Pictures(preroll_);
  edit.channels = preview ? 0 : PresetChannels();
  transport_.StartEdit(edit);
  return kAcknowledge;
}

// ---- questions ----

DeckBytes DeckMachine::Sense(std::span<const uint8_t> command) const {
  switch (command[1]) {
    case 0x0A:
    case 0x0C: {
      if (command.size() != 3) return kUndefined;
      if (!HasTape()) return Timecode(0x04, 0);
      // LTC, VITC, or the better of the two: VITC where the tape is too slow for LTC.
      const bool vitc = command[2] == 2 || (command[2] == 3 && !transport_.Locked());
      const bool timer = (command[2] & 3) == 0;
      return Timecode(timer ? 0x00 : vitc ? 0x06 : 0x04, Count());
    }
    case 0x10:
    case 0x11:
    case 0x12:
    case 0x13:
      return Timecode(command[1], points_[command[1] & 3].value_or(0));
    case 0x20:
      return command.size() == 3 ? Status(command[2]) : kUndefined;
    case 0x2E:
      return {0x71, 0x2E, SpeedByte(transport_.Speed())};
    case 0x30:
      return {0x72, 0x30, editWord_[0], editWord_[1]};
    case 0x31: {
      TapeRate rate = track_->Rate();
      rate.dropFrame = false;
      DeckBytes reply = {0x74, 0x31};
      for (const uint8_t byte : TapeTimecodeBytes(rate, preroll_)) reply.push_back(byte);
      return reply;
    }
    default:
      return kUndefined;
  }
}

DeckBytes DeckMachine::Timecode(uint8_t kind, int64_t count) const {
  DeckBytes reply = {0x74, kind};
  for (const uint8_t byte : TapeTimecodeBytes(track_->Rate(), count)) reply.push_back(byte);
  return reply;
}

DeckBytes DeckMachine::Status(uint8_t range) const {
  uint8_t d[kStatusBytes] = {};
  const auto set = [&](size_t byte, int bit, bool on) {
    if (on) d[byte] = static_cast<uint8_t>(d[byte] | 1u << bit);
  };
  const Mode mode = transport_.State();
  const bool plays = mode == Mode::kPlay || mode == Mode::kRecord || mode == Mode::kEditRun;
  const bool runs = mode == Mode::kJog || mode == Mode::kVar || mode == Mode::kShuttle;
  set(0, 5, !HasTape());
  set(0, 0, faults_.local);
  set(1, 7, mode == Mode::kStandby);
  set(1, 5, mode == Mode::kStop);
  set(1, 4, mode == Mode::kEjected);
  set(1, 3, mode == Mode::kRewind);
  set(1, 2, mode == Mode::kFastForward);
  set(1, 1, mode == Mode::kRecord || transport_.Recording() != 0);
  set(1, 0, plays);
  set(2, 7, transport_.Locked());
  set(2, 5, mode == Mode::kShuttle);
  set(2, 4, mode == Mode::kJog);
  set(2, 3, mode == Mode::kVar);
  set(2, 2, transport_.Reverse());
  set(2, 1, runs && transport_.Speed() == 0);
  set(2, 0, mode == Mode::kCuedUp);
  set(4, 0, transport_.Preroll());
  set(8, 0, faults_.recordInhibit);
  const size_t first = std::min<size_t>(range >> 4, kStatusBytes);
  const size_t count = std::min<size_t>(range & 15, kStatusBytes - first);
  DeckBytes reply = {static_cast<uint8_t>(0x70 | count), 0x20};
  for (size_t i = first; i < first + count; ++i) reply.push_back(d[i]);
  return reply;
}

}  // namespace morvane
