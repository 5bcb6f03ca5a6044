#include "simulator/simulated_driver.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "base/clock.h"
#include "device/autocirculate.h"

namespace morvane {
namespace {

// A thread in a wait looks again at least this often: another thread may have changed the rate.
constexpr int64_t kLongestSleepNs = 20000000;

// Records have no alignment of their own; they are copied in and out.
template <typename Record>
bool Load(const void* bytes, size_t count, Record* record) {
  if (count != sizeof(Record)) return false;
  std::memcpy(record, bytes, sizeof(Record));
  return true;
}

template <typename Record>
bool Put(const Record& record, void* bytes, size_t count) {
  if (count != sizeof(Record) || bytes == nullptr) return false;
  std::memcpy(bytes, &record, sizeof(Record));
  return true;
}

std::string Hex(const void* bytes, size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  const auto* from = static_cast<const uint8_t*>(bytes);
  std::string text(count * 2, '0');
  for (size_t i = 0; i < count; ++i) {
    text[2 * i] = kDigits[from[i] >> 4];
    text[2 * i + 1] = kDigits[from[i] & 15];
  }
  return text;
}

}  // namespace

// One request on its way.
struct SimulatedDriver::Call {
  DriverHandle handle;
  SimulatedCard* card;
  PropertyHeader header;
  const void* in;
  size_t inBytes;
  void* out;
  size_t outBytes;
  std::string inHex;  // with a trace only: `out` may be the same bytes

  [[nodiscard]] bool IsGet() const { return header.flags == kPropertyGet; }
  [[nodiscard]] bool IsSet() const { return header.flags == kPropertySet; }
  // The record of a request whose two buffers hold it whole. Returns: false for any other size.
  template <typename Record>
  [[nodiscard]] bool Take(Record* record) const {
    return out != nullptr && outBytes == sizeof(Record) && Load(in, inBytes, record);
  }
};

SimulatedDriver::SimulatedDriver(const MachineDescription& machine)
    : clock_(machine.rate), tracePath_(machine.trace) {
  // Cards that a cable joins share a lock; one group for all of them is enough.
  const bool joined =
      std::any_of(machine.cards.begin(), machine.cards.end(), [&](const CardDescription& card) {
        const auto index = static_cast<uint32_t>(&card - machine.cards.data());
        return std::any_of(card.inputs.begin(), card.inputs.end(), [&](const auto& input) {
          return input.source == SignalSource::kLoop && input.loopCard != index;
        });
      });
  auto group = std::make_shared<CardGroup>();
  for (const CardDescription& card : machine.cards) {
    if (!joined) group = std::make_shared<CardGroup>();
    cards_.push_back(std::make_unique<SimulatedCard>(card, &clock_, group));
  }
  for (size_t i = 0; i < cards_.size(); ++i) {
    for (const InputDescription& input : machine.cards[i].inputs) {
      if (input.source != SignalSource::kLoop || input.loopCard >= cards_.size()) continue;
      cards_[i]->Connect(input.connector, cards_[input.loopCard].get(), input.loopOutput);
    }
  }
}

SimulatedDriver::~SimulatedDriver() {
  if (trace_ != nullptr) std::fclose(trace_);
}

std::string SimulatedDriver::CardPath(size_t index) {
  return "simulated:" + std::to_string(index);
}

bool SimulatedDriver::Enumerate(const PropertySetId& id, uint32_t index, DriverDevice* device) {
  for (size_t i = 0; i < cards_.size(); ++i) {
    const PropertySetId* set = PropertySetOfBoardType(cards_[i]->Board().boardType);
    if (set == nullptr || *set != id || index-- > 0) continue;
    const std::string& slot = cards_[i]->Description().slot;
    device->path = CardPath(i);
    device->location = slot.empty() ? "PCI bus 2, device " + std::to_string(i) : slot;
    device->parentLocation = device->location;
    device->uiNumber = static_cast<uint32_t>(i) + 1;
    return true;
  }
  return false;
}

DriverHandle SimulatedDriver::Open(const std::string& path, bool shared) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (size_t i = 0; i < cards_.size(); ++i) {
    if (CardPath(i) != path) continue;
    for (const auto& [handle, open] : handles_) {
      if (open.card == i && (!shared || !open.shared)) return 0;
    }
    handles_[nextHandle_] = {i, shared};
    return nextHandle_++;
  }
  return 0;
}

void SimulatedDriver::Close(DriverHandle handle) {
  SimulatedCard* card = CardOf(handle);
  if (card == nullptr) return;
  card->UnsubscribeAll(handle);
  const std::lock_guard<std::mutex> lock(mutex_);
  handles_.erase(handle);
}

SimulatedCard* SimulatedDriver::CardOf(DriverHandle handle) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = handles_.find(handle);
  return found == handles_.end() ? nullptr : cards_[found->second.card].get();
}

bool SimulatedDriver::Request(DriverHandle handle, const void* in, size_t inBytes, void* out,
                              size_t outBytes) {
  Call call{handle, CardOf(handle), {}, in, inBytes, out, outBytes, {}};
  if (call.card == nullptr || in == nullptr || inBytes < sizeof(PropertyHeader)) return false;
  std::memcpy(&call.header, in, sizeof(PropertyHeader));
  const PropertySetId* set = PropertySetOfBoardType(call.card->Board().boardType);
  const bool ours = set == nullptr || *set == call.header.propertySet;
  if (!tracePath_.empty()) call.inHex = Hex(in, inBytes);
  const bool done = ours && (call.IsGet() || call.IsSet()) && Dispatch(call);
  if (!tracePath_.empty()) Trace(call, done);
  return done;
}

bool SimulatedDriver::Dispatch(const Call& call) {
  switch (call.header.number) {
    case PropertyRegister:
      return Register(call);
    case PropertyMap:
      return Map(call);
    case PropertyInterrupt:
      return Interrupt(call);
    case PropertySubscriptionOld:
    case PropertySubscription:
      return Subscription(call);
    case PropertyDma:
      return Dma(call);
    case PropertyAutoCirculateControl:
      return Control(call);
    case PropertyAutoCirculateControlWide:
      return ControlWide(call);
    case PropertyAutoCirculateStatus:
      return Status(call);
    case PropertyFrameStamp:
    case PropertyFrameStampExtended:
      return Stamp(call);
    case PropertyTransfer:
    case PropertyTransferExtended:
    case PropertyTransferFull:
      return Transfer(call);
    case PropertyControl14:
      return call.IsSet() && call.inBytes == sizeof(FrameStampExtendedRecord) &&
             call.outBytes == call.inBytes;
    case PropertyBitFile:
      return BitFile(call);
    default:
      return false;
  }
}

bool SimulatedDriver::Register(const Call& call) {
  RegisterRecord record;
  if (!call.Take(&record)) return false;
  if (call.IsSet()) {
    return call.card->WriteRegister(record.registerNumber, record.value, record.mask, record.shift);
  }
  uint32_t value = 0;
  if (!call.card->ReadRegister(call.handle, record.registerNumber, record.mask, record.shift,
                               &value)) {
    return false;
  }
  record.value = value;
  return Put(record, call.out, call.outBytes);
}

bool SimulatedDriver::Map(const Call& call) {
  MapRecord record;
  if (!call.Take(&record)) return false;
  uint32_t base = 0;
  uint32_t size = 0;
  if (!call.card->Map(record.kind, &base, &size)) return false;
  if (call.IsSet()) return record.base == base;
  record.base = base;
  record.size = size;
  return Put(record, call.out, call.outBytes);
}

bool SimulatedDriver::Interrupt(const Call& call) {
  InterruptRecord record;
  if (!call.Take(&record)) return false;
  return call.card->ConfigureInterrupt(record.interruptType, call.IsGet());
}

bool SimulatedDriver::Subscription(const Call& call) {
  SubscriptionRecord record;
  if (!call.Take(&record)) return false;
  const bool old = call.card->Description().oldSubscriptions;
  if (old != (call.header.number == PropertySubscriptionOld)) return false;
  if (call.IsGet() && record.code == kInterruptCountCode) {
    uint32_t count = 0;
    if (!call.card->InterruptCount(record.interruptType, &count)) return false;
    record.count = count;
    return Put(record, call.out, call.outBytes);
  }
  CardEventRef event;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = events_.find(record.event);
    if (found == events_.end()) return false;
    event = found->second.event;
    if (call.IsGet()) {
      found->second.card = call.card;
      found->second.type = record.interruptType;
    }
  }
  return call.IsGet() ? call.card->Subscribe(call.handle, record.interruptType, event)
                      : call.card->Unsubscribe(call.handle, record.interruptType, event);
}

bool SimulatedDriver::Dma(const Call& call) {
  DmaRecord record;
  if (!call.Take(&record)) return false;
  SimulatedCard::DmaTransfer transfer;
  transfer.engine = record.engine;
  transfer.read = call.IsGet();
  transfer.frame = record.frameNumber;
  transfer.offset = record.offset;
  transfer.bytes = record.bytes;
  if (record.bytes > 0) {
    transfer.buffer = memory_.Find(record.buffer, record.bytes);
    if (transfer.buffer == nullptr) return false;
  }
  return call.card->Dma(transfer);
}

bool SimulatedDriver::Control(const Call& call) {
  AutoCirculateControlRecord record;
  if (!call.IsSet() || !call.Take(&record)) return false;
  switch (record.command) {
    case ACInit: {
      SimulatedCard::InitRequest request{
          record.channelSpec, record.value1, record.value2, record.value3 != 0, {}};
      for (size_t i = 0; i < 3; ++i) request.options[i] = record.flags[i] != 0;
      return call.card->Init(request);
    }
    case ACStart:
      return call.card->Start(record.channelSpec);
    case ACStop:
      return call.card->Stop(record.channelSpec);
    case ACAbort:
      return call.card->Abort(record.channelSpec);
    case ACControl3:
    case ACControl6:
    case ACControl7:
    case ACControl10:
      return true;  // nothing of this card depends on them
    default:
      return false;
  }
}

bool SimulatedDriver::ControlWide(const Call& call) {
  AutoCirculateControlWideRecord record;
  if (!call.IsSet() || !call.Take(&record)) return false;
  if (record.command != ACInit) return false;
  SimulatedCard::InitRequest request{
      record.channelSpec, record.value1, record.value2, record.value3 != 0, {}};
  for (size_t i = 0; i < 3; ++i) request.options[i] = record.flags[i] != 0;
  return call.card->Init(request);
}

bool SimulatedDriver::Status(const Call& call) {
  AutoCirculateStatusRecord record;
  if (!call.IsGet() || !call.Take(&record)) return false;
  return call.card->Status(record.channelSpec, &record.status) &&
         Put(record, call.out, call.outBytes);
}

bool SimulatedDriver::Stamp(const Call& call) {
  FrameStampExtendedRecord record = {};
  const bool extended = call.header.number == PropertyFrameStampExtended;
  const size_t bytes = extended ? sizeof record : sizeof record.base;
  if (!call.IsGet() || call.inBytes != bytes || call.outBytes != bytes) return false;
  if (call.out == nullptr) return false;
  std::memcpy(&record, call.in, bytes);
  if (record.base.frame < 0) return false;
  if (!call.card->Stamp(record.base.channelSpec, static_cast<uint32_t>(record.base.frame),
                        &record.base.stamp)) {
    return false;
  }
  std::memcpy(call.out, &record, bytes);
  return true;
}

bool SimulatedDriver::Transfer(const Call& call) {
  // The longest of the three; the shorter ones are its beginning.
  TransferFullRecord record = {};
  const uint32_t number = call.header.number;
  const size_t bytes = number == PropertyTransfer           ? sizeof(TransferRequestRecord)
                       : number == PropertyTransferExtended ? sizeof(TransferExtendedRecord)
                                                            : sizeof(TransferFullRecord);
  if (!call.IsGet() || call.inBytes != bytes) return false;
  if (call.outBytes != sizeof(RQD5AutoCirculateTransferStatus) || call.out == nullptr) return false;
  std::memcpy(&record, call.in, std::min(bytes, sizeof record));
  SimulatedCard::TransferRequest request;
  request.record = record.base.transfer;
  const TransferRecord& transfer = request.record;
  if (transfer.videoBuffer != 0) {
    request.video = memory_.Find(transfer.videoBuffer, transfer.videoSize);
    if (request.video == nullptr) return false;
  }
  if (transfer.audioBuffer != 0 && transfer.audioSize != 0) {
    request.audio = memory_.Find(transfer.audioBuffer, transfer.audioSize);
    if (request.audio == nullptr) return false;
  }
  const RQD5RoutingTable routing = record.extra;
  if (number != PropertyTransfer && routing.count > 0) {
    if (routing.count >= kRoutingTableLimit) return false;
    request.routing = &routing;
  }
  RQD5AutoCirculateTransferStatus status = {};
  return call.card->Transfer(request, &status) && Put(status, call.out, call.outBytes);
}

bool SimulatedDriver::BitFile(const Call& call) {
  BitFileRecord record;
  if (!call.IsGet() || !call.Take(&record)) return false;
  call.card->BitFileInformation(&record.info);
  return Put(record, call.out, call.outBytes);
}

DriverEvent SimulatedDriver::CreateEvent() {
  const std::lock_guard<std::mutex> lock(mutex_);
  events_[nextEvent_].event = std::make_shared<CardEvent>();
  return nextEvent_++;
}

void SimulatedDriver::CloseEvent(DriverEvent event) {
  const std::lock_guard<std::mutex> lock(mutex_);
  events_.erase(event);
}

SimulatedDriver::EventLook SimulatedDriver::LookAtEvent(DriverEvent event, int64_t latestNs) {
  Event waited;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = events_.find(event);
    if (found == events_.end()) return {};
    waited = found->second;
  }
  EventLook look{true, false, std::numeric_limits<int64_t>::max()};
  if (waited.card != nullptr) look.dueNs = waited.card->AdvanceForWait(waited.type, latestNs);
  look.signalled = waited.event->signalled.exchange(false);
  return look;
}

bool SimulatedDriver::WaitEvent(DriverEvent event, uint32_t timeoutMs) {
  const int64_t start = NxClockNowNs();
  const int64_t deadline = start + static_cast<int64_t>(timeoutMs) * 1000000;
  for (;;) {
    const int64_t now = NxClockNowNs();
    const EventLook look = LookAtEvent(event, deadline);
    if (!look.known) return false;
    if (look.signalled) return true;
    if (now >= deadline) return false;
    NxClockSleepUntilNs(std::min({look.dueNs, deadline, now + kLongestSleepNs}));
  }
}

bool SimulatedDriver::AdvanceDecks() {
  bool again = false;
  for (const auto& card : cards_) again = card->AdvanceDeckToNow() || again;
  return again;
}

void* SimulatedDriver::MappedMemory(DriverHandle handle, uint32_t base, size_t bytes) {
  SimulatedCard* card = CardOf(handle);
  return card == nullptr ? nullptr : card->MappedMemory(base, bytes);
}

void SimulatedDriver::Trace(const Call& call, bool done) {
  const std::string out = !done                 ? "failed"
                          : call.out == nullptr ? ""
                                                : Hex(call.out, call.outBytes);
  const std::lock_guard<std::mutex> lock(traceMutex_);
  std::string ignored;
  if (trace_ == nullptr && OutputLog::CanWriteTrace(tracePath_, &ignored)) {
    trace_ = std::fopen(tracePath_.c_str(), "w");
  }
  if (trace_ == nullptr) return;
  std::fprintf(trace_, "%s %u %zu %s -> %s\n", call.IsSet() ? "set" : "get", call.header.number,
               call.inBytes, call.inHex.c_str(), out.c_str());
  std::fflush(trace_);
}

}  // namespace morvane
