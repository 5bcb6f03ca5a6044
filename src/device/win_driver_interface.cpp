// Registers, interrupts, DMA and mapped windows of the platform binding.
#include "device/win_driver_interface.h"

#include <algorithm>

#include "base/system.h"
#include "device/boards.h"
#include "device/registers.h"
#include "device/win_driver_requests.h"

namespace morvane {
namespace {

constexpr uint32_t Bits(std::initializer_list<uint32_t> types) {
  uint32_t bits = 0;
  for (const uint32_t type : types) bits |= 1u << type;
  return bits;
}
constexpr uint32_t kSubscribable = Bits({0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 14, 15, 24, 25});
constexpr uint32_t kCountingWaits = Bits({0, 2, 3, 4, 5, 6, 24, 25});

bool IsOneOf(uint32_t type, uint32_t bits) {
  return type < 32 && (bits >> type & 1) != 0;
}

}  // namespace

PropertyHeader CRQD5WinDriverInterface::Header(uint32_t number, uint32_t flags) const {
  return {propertySet_, number, flags};
}

bool CRQD5WinDriverInterface::Request(const void* in, size_t inBytes, void* out, size_t outBytes) {
  return device_ != 0 && port_->Request(device_, in, inBytes, out, outBytes);
}

// ---- registers ----

bool CRQD5WinDriverInterface::WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask,
                                            uint32_t shift) {
  if (IsRemote()) return CRQD5DriverInterface::WriteRegister(registerNumber, value, mask, shift);
  RegisterRecord record{Header(PropertyRegister, kPropertySet), registerNumber, value, mask, shift};
  return Request(record);
}

bool CRQD5WinDriverInterface::ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask,
                                           uint32_t shift) {
  if (IsRemote()) return CRQD5DriverInterface::ReadRegister(registerNumber, value, mask, shift);
  RegisterRecord record{Header(PropertyRegister, kPropertyGet), registerNumber, 0, mask, shift};
  if (!Request(record)) {
    DisplayRqd5Error("ReadRegister failed");
    return false;
  }
  *value = record.value;
  return true;
}

bool CRQD5WinDriverInterface::ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                                RQD5RegisterEntry* entries) {
  if (IsRemote()) return CRQD5DriverInterface::ReadRegisterMulti(count, failedRegister, entries);
  for (RQD5RegisterEntry* entry = entries; entry != entries + count; ++entry) {
    uint32_t value = 0;
    if (!ReadRegister(entry->registerNumber, &value, entry->mask, entry->shift)) {
      *failedRegister = entry->registerNumber;
      return false;
    }
    entry->value = value;
  }
  return true;
}

// ---- DMA ----

bool CRQD5WinDriverInterface::DmaRequest(uint32_t engine, bool isRead, uint32_t frameNumber,
                                         uint32_t token, uint32_t offset, uint32_t bytes,
                                         bool synchronous) {
  DmaRecord record{};
  record.header = Header(PropertyDma, isRead ? kPropertyGet : kPropertySet);
  record.engine = engine;
  record.buffer = token;
  record.frameNumber = frameNumber;
  record.bytes = bytes;
  record.offset = offset;
  record.synchronous = synchronous ? 1 : 0;
  if (Request(record)) return true;
  DisplayRqd5Error("DmaTransfer failed");
  return false;
}

bool CRQD5WinDriverInterface::DmaTransfer(uint32_t engine, bool isRead, uint32_t frameNumber,
                                          void* buffer, uint32_t offset, uint32_t bytes,
                                          bool synchronous) {
  if (IsRemote()) return false;
  const PinnedBuffer pinned(device_ != 0 ? port_ : nullptr, buffer, bytes);
  return DmaRequest(engine, isRead, frameNumber, pinned.Token(), offset, bytes, synchronous);
}

bool CRQD5WinDriverInterface::DmaLock(void* buffer, uint32_t bytes) {
  if (IsRemote()) return false;
  PinnedBuffer pinned(device_ != 0 ? port_ : nullptr, buffer, bytes);
  if (!DmaRequest(kDmaEngineLock, true, 0, pinned.Token(), 0, bytes, true)) return false;
  lockedBuffers_.push_back({buffer, pinned.Release()});
  return true;
}

bool CRQD5WinDriverInterface::DmaUnlock(void* buffer) {
  if (IsRemote()) return false;
  const auto locked =
      std::find_if(lockedBuffers_.begin(), lockedBuffers_.end(),
                   [buffer](const LockedBuffer& entry) { return entry.buffer == buffer; });
  if (locked == lockedBuffers_.end()) {
    const PinnedBuffer pinned(device_ != 0 ? port_ : nullptr, buffer, 0);
    return DmaRequest(kDmaEngineLock, false, 0, pinned.Token(), 0, 0, true);
  }
  if (!DmaRequest(kDmaEngineLock, false, 0, locked->token, 0, 0, true)) return false;
  port_->Memory().Unpin(locked->token);
  lockedBuffers_.erase(locked);
  return true;
}

bool CRQD5WinDriverInterface::DmaUnlockAll() {
  if (IsRemote()) return false;
  bool result = true;
  for (size_t cursor = 0; cursor < lockedBuffers_.size();) {
    if (!DmaUnlock(lockedBuffers_[cursor].buffer)) {
      result = false;
      ++cursor;
    }
  }
  // What the driver would not unlock goes with the device; the tokens must not outlive the owner.
  for (const LockedBuffer& locked : lockedBuffers_) port_->Memory().Unpin(locked.token);
  lockedBuffers_.clear();
  return result;
}

// ---- interrupts ----

bool CRQD5WinDriverInterface::ConfigureInterrupt(bool enable, uint32_t interruptType) {
  if (IsRemote()) return false;
  InterruptRecord record{Header(PropertyInterrupt, enable ? kPropertyGet : kPropertySet), 0,
                         interruptType};
  if (Request(record)) return true;
  DisplayRqd5Error("ConfigureInterrupt failed");
  return false;
}

uint32_t CRQD5WinDriverInterface::SubscriptionProperty() {
  if (!subscriptionProperty_) {
    uint32_t version = 0;
    GetDriverVersion(&version);
    subscriptionProperty_ = (version & kDriverVersionNewSubscription) != 0
                                ? uint32_t{PropertySubscription}
                                : uint32_t{PropertySubscriptionOld};
  }
  return *subscriptionProperty_;
}

bool CRQD5WinDriverInterface::ConfigureSubscription(bool subscribe, uint32_t interruptType,
                                                    DriverEvent* handle) {
  if (handle != nullptr) *handle = 0;
  if (IsRemote()) return false;
  if (!IsOneOf(interruptType, kSubscribable)) {
    DisplayRqd5Error("ConfigureSubscription failed");
    return false;
  }
  DriverEvent& event = events_[interruptType];
  if (handle != nullptr) *handle = event;
  if (subscribe == (event != 0)) return true;

  if (subscribe) event = device_ != 0 ? port_->CreateEvent() : 0;
  bool good = event != 0;
  if (good) {
    SubscriptionRecord record{
        Header(SubscriptionProperty(), subscribe ? kPropertyGet : kPropertySet), 0, 0,
        interruptType, event};
    good = Request(record);
  }
  if (event != 0 && (!subscribe || !good)) {
    port_->CloseEvent(event);
    event = 0;
  }
  if (handle != nullptr) *handle = event;
  if (!good) DisplayRqd5Error("ConfigureSubscription failed");
  return good;
}

bool CRQD5WinDriverInterface::GetInterruptCount(uint32_t interruptType, uint32_t* count) {
  if (IsRemote()) return false;
  SubscriptionRecord record{Header(SubscriptionProperty(), kPropertyGet), 0, kInterruptCountCode,
                            interruptType, 0};
  if (!Request(record)) {
    DisplayRqd5Error("getInterruptCount() failed");
    return false;
  }
  *count = record.count;
  return true;
}

bool CRQD5WinDriverInterface::WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs) {
  if (IsRemote()) return CRQD5DriverInterface::WaitForInterrupt(interruptType, timeoutMs);
  const DriverEvent event = interruptType < events_.size() ? events_[interruptType] : 0;
  if (event == 0) {
    NxSleep(timeoutMs);
    return false;
  }
  if (!port_->WaitEvent(event, timeoutMs)) return false;
  if (IsOneOf(interruptType, kCountingWaits)) ++waitCounts_[interruptType];
  return true;
}

uint32_t CRQD5WinDriverInterface::WaitCount(uint32_t interruptType) const {
  return interruptType < waitCounts_.size() ? waitCounts_[interruptType] : 0;
}

// ---- mapped windows ----

bool CRQD5WinDriverInterface::Map(uint32_t kind, uint32_t* base, uint32_t* size) {
  MapRecord record{Header(PropertyMap, kPropertyGet), 0, 0, kind, 0};
  if (IsRemote() || !Request(record)) return false;
  *base = record.base;
  *size = record.size;
  return true;
}

bool CRQD5WinDriverInterface::Unmap(uint32_t kind, uint32_t base) {
  MapRecord record{Header(PropertyMap, kPropertySet), base, 0, kind, 0};
  return Request(record);
}

bool CRQD5WinDriverInterface::MapFrameBuffers() {
  if (frameBaseAddress_ != 0) return true;
  uint32_t base = 0, size = 0;
  if (!Map(kMapKindFrames, &base, &size)) {
    DisplayRqd5Error("MapFrameBuffers failed");
    return false;
  }
  uint32_t identity = boardID_;
  ReadRegister(RegisterNumber(RegisterField::BoardIdentity), &identity);
  frameBaseAddress_ = channel1FrameBase_ = channel2FrameBase_ = base;
  if (BoardHasSecondFrameWindow(identity)) channel2FrameBase_ += frameMemorySize_;
  return true;
}

bool CRQD5WinDriverInterface::UnmapFrameBuffers() {
  if (IsRemote()) return false;
  if (frameBaseAddress_ == 0) return true;
  const bool good = Unmap(kMapKindFrames, frameBaseAddress_);
  frameBaseAddress_ = channel1FrameBase_ = channel2FrameBase_ = 0;
  if (!good) DisplayRqd5Error("UnmapFrameBuffers failed");
  return good;
}

bool CRQD5WinDriverInterface::MapRegisters() {
  if (registerBase_ != 0) return true;
  return Map(kMapKindRegisters, &registerBase_, &registerSize_);
}

bool CRQD5WinDriverInterface::UnmapRegisters() {
  if (IsRemote()) return false;
  if (registerBase_ == 0) return true;
  const bool good = Unmap(kMapKindRegisters, registerBase_);
  registerBase_ = registerSize_ = 0;
  return good;
}

bool CRQD5WinDriverInterface::MapFlash() {
  if (flashBase_ != 0) return true;
  uint32_t size = 0;
  return Map(kMapKindFlash, &flashBase_, &size);
}

bool CRQD5WinDriverInterface::UnmapFlash() {
  if (IsRemote()) return false;
  if (flashBase_ == 0) return true;
  const bool good = Unmap(kMapKindFlash, flashBase_);
  flashBase_ = 0;
  return good;
}

bool CRQD5WinDriverInterface::GetRegisterAddress(uint32_t registerNumber, uint32_t* address) {
  if (registerBase_ == 0 && !MapRegisters()) return false;
  if (uint64_t{registerNumber} * 4 >= registerSize_) return false;
  *address = registerBase_ + registerNumber * 4;
  return true;
}

void* CRQD5WinDriverInterface::MappedMemory(uint32_t base, size_t bytes) {
  return device_ != 0 ? port_->MappedMemory(device_, base, bytes) : nullptr;
}

}  // namespace morvane
