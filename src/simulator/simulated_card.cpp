#include "simulator/simulated_card.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace morvane {
namespace {

constexpr uint32_t kRegisterWords = 4096;
constexpr size_t kAudioMemoryBytes = 0x3FC000;

// Address words of the three windows, the same on every card.
constexpr uint32_t kFramesBase = 0x40000000;
constexpr uint32_t kRegistersBase = 0x60000000;
constexpr uint32_t kFlashBase = 0x68000000;
constexpr size_t kFlashBytes = 4096;

void AppendField(std::vector<uint8_t>* bytes, char letter, const char* text) {
  const size_t length = std::strlen(text);
  bytes->push_back(static_cast<uint8_t>(letter));
  bytes->push_back(static_cast<uint8_t>(length >> 8));
  bytes->push_back(static_cast<uint8_t>(length));
  bytes->insert(bytes->end(), text, text + length);
}

// A bitstream header as the boards with their bitfile in flash hold it.
std::vector<uint8_t> MakeFlash() {
  std::vector<uint8_t> bytes = {0x00, 0x09, 0x0F, 0xF0, 0x0F, 0xF0, 0x0F,
                                0xF0, 0x0F, 0xF0, 0x00, 0x00, 0x01};
  AppendField(&bytes, 'a', "larch01");
  AppendField(&bytes, 'b', "5vlx50tff1136");
  AppendField(&bytes, 'c', "2009/06/18");
  AppendField(&bytes, 'd', "14:25:07");
  for (const uint8_t byte : {0x65, 0x00, 0x12, 0x34, 0x56}) bytes.push_back(byte);
  bytes.insert(bytes.end(), 44, 0xFF);
  for (const uint8_t byte : {0xFF, 0xFF, 0xFF, 0xFF, 0xAA, 0x99, 0x55, 0x66}) {
    bytes.push_back(byte);
  }
  bytes.resize(kFlashBytes, 0xFF);
  return bytes;
}

size_t MemoryBytes(const BoardRow& board) {
  return static_cast<size_t>(board.frames) * board.slotMiB << 20;
}

}  // namespace

SimulatedCard::SimulatedCard(const CardDescription& description, const MachineClock* clock,
                             std::shared_ptr<CardGroup> group)
    : description_(description),
      board_(FindBoard(description.identity)),
      clock_(clock),
      group_(std::move(group)),
      memory_(MemoryBytes(*board_)),
      audioRing_(kAudioMemoryBytes),
      registers_(kRegisterWords) {
  if (BoardBitfileInFlash(description.identity)) flash_ = MakeFlash();
  for (const InputDescription& input : description.inputs) {
    connectors_.push_back(std::make_unique<InputConnector>(input));
  }
  for (const OutputDescription& output : description.outputs) {
    Output& made = *FindOutput(output.number);
    if (!output.log.empty()) made.log = std::make_unique<OutputLog>(output.log);
    if (!output.record.empty()) made.recorder = std::make_unique<OutputRecorder>(output.record);
  }
  if (description.rs422 && BoardHasUart(description.identity)) {
    deck_ = std::make_unique<TapeMachine>(description.deck, clock);
    uart_.Connect(&deck_->Line());
  }
  interruptsEnabled_.fill(true);
  registers_[50] = description.identity;  // for readers of the mapped window
  nowNs_ = clock_->NowNs();
  Retime();
  group_->cards.push_back(this);
}

SimulatedCard::~SimulatedCard() = default;

void SimulatedCard::Connect(const std::string& connector, SimulatedCard* from, uint32_t number) {
  InputConnector* to = FindConnector(connector);
  if (to == nullptr || from == nullptr) return;
  cables_[to] = {from, number};
  from->FindOutput(number)->loops.push_back(to);
}

SimulatedCard::Output* SimulatedCard::FindOutput(uint32_t number) {
  for (Output& output : outputs_) {
    if (output.number == number) return &output;
  }
  outputs_.emplace_back();
  outputs_.back().number = number;
  return &outputs_.back();
}

bool SimulatedCard::Map(uint32_t kind, uint32_t* base, uint32_t* bytes) const {
  switch (kind) {
    case kMapKindFrames:
      *base = kFramesBase;
      *bytes = FrameMemorySize(description_.identity);
      return true;
    case kMapKindRegisters:
      *base = kRegistersBase;
      *bytes = kRegisterWords * 4;
      return true;
    case kMapKindFlash:
      *base = kFlashBase;
      *bytes = static_cast<uint32_t>(flash_.size());
      return true;
    default:
      return false;
  }
}

void* SimulatedCard::MappedMemory(uint32_t base, size_t bytes) {
  if (base == kRegistersBase && bytes <= kRegisterWords * 4) return registers_.data();
  if (base == kFlashBase && bytes <= flash_.size()) return flash_.data();
  // The window that Map() tells of, and a second one behind it on boards that have two.
  const size_t windows = BoardHasSecondFrameWindow(description_.identity) ? 2 : 1;
  const size_t reach = std::min(windows * FrameMemorySize(description_.identity), memory_.Bytes());
  if (base < kFramesBase || base - kFramesBase > reach || bytes > reach - (base - kFramesBase) ||
      reach == 0) {
    return nullptr;
  }
  const std::lock_guard<std::mutex> lock(group_->mutex);
  framesMapped_ = true;
  return memory_.Data() + (base - kFramesBase);
}

void SimulatedCard::BitFileInformation(RQD5BitFileInfo* info) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  info->recordSize = sizeof(RQD5BitFileInfo);
  info->kind = Raw(10050);
}

bool SimulatedCard::ConfigureInterrupt(uint32_t type, bool enable) {
  if (type > InterruptLast) return false;
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  interruptsEnabled_[type] = enable;
  return true;
}

bool SimulatedCard::Subscribe(uint64_t handle, uint32_t type, CardEventRef event) {
  if (type > InterruptLast || event == nullptr) return false;
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  subscriptions_.push_back({handle, type, std::move(event)});
  return true;
}

bool SimulatedCard::Unsubscribe(uint64_t handle, uint32_t type, const CardEventRef& event) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  return std::erase_if(subscriptions_, [&](const Subscription& s) {
           return s.handle == handle && s.type == type && s.event == event;
         }) > 0;
}

void SimulatedCard::UnsubscribeAll(uint64_t handle) {
  const std::lock_guard<std::mutex> lock(group_->mutex);
  std::erase_if(subscriptions_, [&](const Subscription& s) { return s.handle == handle; });
  lineSamples_.erase(handle);
}

bool SimulatedCard::InterruptCount(uint32_t type, uint32_t* count) {
  if (type > InterruptLast) return false;
  const std::lock_guard<std::mutex> lock(group_->mutex);
  Advance();
  *count = interruptCounts_[type];
  return true;
}

void SimulatedCard::Raise(uint32_t type, int64_t times) {
  interruptCounts_[type] += static_cast<uint32_t>(times);
  if (!interruptsEnabled_[type]) return;
  for (Subscription& subscription : subscriptions_) {
    if (subscription.type == type) subscription.event->signalled.store(true);
  }
}

}  // namespace morvane
