#include <algorithm>
#include <limits>

#include "base/byte_order.h"
#include "simulator/simulated_card.h"

// Registers: plain words with a masked store, and those that live.
namespace morvane {
namespace {

constexpr uint32_t kHardwareRegisters = 4096;
constexpr uint32_t kDriverRegisters = 10000;
// The first of them, which the software uses, have room always. Of the rest so many are kept, as
// whoever writes new numbers for ever should not get memory for ever.
constexpr uint32_t kKeptDriverRegisters = 1024;
constexpr size_t kOtherDriverRegisters = 65536;

constexpr uint32_t kFlashReadCommand = 11;
constexpr uint32_t kFlashBusy = 1u << 8;
constexpr uint32_t kAudioPresent[] = {1u << 21, 1u << 22};

uint32_t TotalLines(uint32_t standard) {
  static constexpr uint32_t kTotals[] = {1125, 750, 525, 625, 1125, 1125};
  return standard < 6 ? kTotals[standard] : 1125;
}

// Class under which an input reports its raster.
uint32_t GeometryClass(const VideoFormatRow& row) {
  switch (row.standard) {
    case Standard525:
      return 1;
    case Standard625:
      return 2;
    case Standard720:
      return 3;
    case Standard2K:
      return 9;
    default:
      return BaseGeometry(GeometryForQuad(row.geometry)) == Geometry2048x1080 ? 8 : 4;
  }
}

struct InputBits {
  uint32_t rate = 0;
  uint32_t geometryClass = 0;
  bool scan = false;
  bool level3G = false;
};

// What the detector shows for a format: the bits that its reader turns back into it. Segmented
// pictures at 25, 29.97 and 30 have no bits of their own and read as progressive.
InputBits BitsOf(uint32_t format) {
  const VideoFormatRow* row = FindVideoFormat(format);
  if (format == 0 || row == nullptr) return {};
  InputBits bits{row->rate, GeometryClass(*row), row->picture != 0, row->level != 0};
  for (const bool scan : {bits.scan, !bits.scan}) {
    const bool progressive = scan && !(bits.level3G && row->rate >= 3 && row->rate <= 5);
    const uint32_t standard = StandardOfGeometryClass(bits.geometryClass, progressive);
    if (InputFormat(row->rate, standard, bits.level3G, bits.geometryClass, scan) == format) {
      bits.scan = scan;
      return bits;
    }
  }
  return bits;
}

uint32_t PackInput(const InputBits& bits, uint32_t shift) {
  const uint32_t low = (bits.rate & 7) | (bits.geometryClass & 7) << 4 | (bits.scan ? 0x80u : 0u);
  const uint32_t second = shift == 0 ? 0 : 1;
  return low << shift | (bits.rate >> 3 & 1) << (28 + second) |
         (bits.geometryClass >> 3 & 1) << (30 + second);
}

}  // namespace

bool SimulatedCard::Refused(uint32_t number) const {
  const auto& list = description_.faults.refuseRegister;
  return std::find(list.begin(), list.end(), number) != list.end();
}

bool SimulatedCard::ReadRegister(uint64_t reader, uint32_t number, uint32_t mask, uint32_t shift,
                                 uint32_t* value) {
  if (number >= kHardwareRegisters && number < kDriverRegisters) return false;
  if (Refused(number)) return false;
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  const uint32_t word = Animated(reader, number) & mask;
  *value = shift < 32 ? word >> shift : 0;
  return true;
}

bool SimulatedCard::WriteRegister(uint32_t number, uint32_t value, uint32_t mask, uint32_t shift) {
  if (number >= kHardwareRegisters && number < kDriverRegisters) return false;
  if (Refused(number)) return false;
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  const uint32_t before = Raw(number);
  const uint32_t shifted = shift < 32 ? value << shift : 0;
  const uint32_t after = (before & ~mask) | (shifted & mask);
  if (!HasRoomFor(number, after)) return false;
  if (Store(number, after)) Written(number, before, mask);
  return true;
}

uint32_t SimulatedCard::Raw(uint32_t number) const {
  if (number < kHardwareRegisters) return registers_[number];
  const auto found = driverRegisters_.find(number);
  return found == driverRegisters_.end() ? 0 : found->second;
}

bool SimulatedCard::HasRoomFor(uint32_t number, uint32_t value) const {
  if (number < kDriverRegisters + kKeptDriverRegisters || value == 0) return true;
  return driverRegisters_.size() < kOtherDriverRegisters || driverRegisters_.count(number) != 0;
}

// Returns: false for words that ignore writes, and without room.
bool SimulatedCard::Store(uint32_t number, uint32_t value) {
  switch (number) {
    case 18:
    case 22:
    case 26:
    case 50:
    case 61:
    case 71:
    case 81:
    case 126:
    case 232:
    case 10002:
      return false;
    default:
      break;
  }
  if (!HasRoomFor(number, value)) return false;
  if (number < kHardwareRegisters) {
    registers_[number] = value;
  } else if (value != 0) {
    driverRegisters_[number] = value;
  } else {
    driverRegisters_.erase(number);  // a word that nobody wrote is 0
  }
  return true;
}

void SimulatedCard::Written(uint32_t number, uint32_t before, uint32_t mask) {
  FrameSetAnew(number, before, mask);
  const uint32_t value = Raw(number);
  switch (number) {
    case 0: {
      constexpr uint32_t kRateAndStandard = 0x400007 | 0x380;
      if (((value ^ before) & kRateAndStandard) != 0) Retime();
      break;
    }
    case 24:
      UpdateAudio((mask & value & 0x1000) != 0);
      break;
    case 58:
      if (value == kFlashReadCommand) flashBusyReads_ = 2;
      break;
    case 70:
      if (BoardHasUart(description_.identity)) {
        uart_.Transmit(static_cast<uint8_t>(value), nowNs_);
      }
      break;
    case 72:
      uart_.WriteControl(value);
      break;
    case 10003:
      SetAudioMode(value);
      break;
    case 10050:
      DownloadBitfile(value);
      break;
    default:
      break;
  }
}

uint32_t SimulatedCard::Animated(uint64_t reader, uint32_t number) {
  switch (number) {
    case 18:
      return LineNow(reader);
    case 22:
      return InputWord();
    case 24: {
      uint32_t word = registers_[24] & ~(kAudioPresent[0] | kAudioPresent[1]);
      for (uint32_t i = 0; i < 2; ++i) {
        const InputConnector* input = FindConnector("input" + std::to_string(i + 1));
        const bool sound = input != nullptr && (input->IsLoop() || input->HasSound());
        if (sound && InputPresent(input)) word |= kAudioPresent[i];
      }
      return word;
    }
    case 26:
      return AudioPosition();
    case 50:
      return description_.identity;
    case 58: {
      const bool busy = flashBusyReads_ > 0;
      if (busy) --flashBusyReads_;
      return (registers_[58] & ~kFlashBusy) | (busy ? kFlashBusy : 0);
    }
    case 61:
      return FlashWord(registers_[59]);
    case 71:
      return BoardHasUart(description_.identity) ? uart_.Receive() : 0;
    case 72:
      return BoardHasUart(description_.identity) ? uart_.Status() : 0;
    case 81: {
      for (const char* name : {"input3", "hdmi", "analog"}) {
        const InputConnector* input = FindConnector(name);
        if (input != nullptr && InputPresent(input)) return StatusWord(ConnectorFormat(input));
      }
      return 0;
    }
    case 126: {
      const uint32_t word = StatusWord(description_.referenceFormat);
      return word == 0 ? 0 : word | 0xC00;
    }
    case 232:
      return Flags3G();
    case 10002:
      return description_.oldSubscriptions ? 0x0401 : 0x2401;
    default:
      return Raw(number);
  }
}

// The line that the output shows now, from 1.
uint32_t SimulatedCard::OutputLine() const {
  if (!timing_.Runs()) return 1;
  __extension__ using Wide = __int128;
  const Wide elapsed = static_cast<Wide>(nowNs_ - timing_.startNs) * timing_.scale;
  const Wide frame = static_cast<Wide>(timing_.duration) * 1000000000;
  return static_cast<uint32_t>(elapsed % frame * TotalLines(Standard()) / frame) + 1;
}

// Each value is given twice, so that a loop that waits for two equal reads ends.
uint32_t SimulatedCard::LineNow(uint64_t reader) {
  LineSample& sample = lineSamples_[reader];
  sample.repeat = !sample.repeat;
  if (sample.repeat) sample.line = OutputLine();
  return sample.line;
}

uint32_t SimulatedCard::InputWord() {
  uint32_t word = 0;
  for (uint32_t i = 0; i < 2; ++i) {
    const InputConnector* input = FindConnector("input" + std::to_string(i + 1));
    if (input != nullptr && InputPresent(input)) {
      word |= PackInput(BitsOf(ConnectorFormat(input)), 8 * i);
    }
  }
  return word;
}

uint32_t SimulatedCard::Flags3G() {
  if (!BoardHas3GInput(description_.identity)) return 0;
  uint32_t word = 0;
  for (uint32_t i = 0; i < 2; ++i) {
    const InputConnector* input = FindConnector("input" + std::to_string(i + 1));
    if (input == nullptr || !InputPresent(input)) continue;
    if (!BitsOf(ConnectorFormat(input)).level3G) continue;
    // Larch tells its second input's flag by both low bits.
    word |= i == 0 ? 1u : description_.identity == BoardLarch ? 3u : 1u << 8;
  }
  return word;
}

uint32_t SimulatedCard::StatusWord(uint32_t format) const {
  const VideoFormatRow* row = FindVideoFormat(format);
  if (format == 0 || row == nullptr) return 0;
  return 1u | (GeometryClass(*row) & 7) << 24 | row->rate << 28;
}

uint32_t SimulatedCard::FlashWord(uint32_t address) const {
  if (flash_.size() < 4 || address > flash_.size() - 4) return 0xFFFFFFFF;
  return LoadLe32(flash_.data() + address);
}

// Frames are counted from now on, at the rate that register 0 says.
void SimulatedCard::Retime() {
  const uint32_t word = registers_[0];
  for (const auto& connector : connectors_) connector->Retime(boundary_);
  timing_ = {};
  timing_.startNs = nowNs_;
  (void)FrameRatePair((word & 7) | (word >> 19 & 8), &timing_.scale, &timing_.duration);
  boundary_ = 0;
  UpdateNextBoundary();
  if (deck_) deck_->Retime(timing_, nowNs_);
}

void SimulatedCard::DownloadBitfile(uint32_t) {
  for (const Subscription& subscription : subscriptions_) {
    interruptsEnabled_[subscription.type] = true;
  }
}

}  // namespace morvane
