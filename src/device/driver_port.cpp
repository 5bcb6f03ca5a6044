#include "device/driver_port.h"

#include <atomic>
#include <deque>
#include <mutex>
#include <vector>

namespace morvane {
namespace {

std::atomic<DriverPort*> g_port{nullptr};

constexpr size_t kSlotLimit = 0xFFFF;  // the upper half of a token is slot + 1

}  // namespace

// A token is (slot + 1) << 16 | low half of the address. Slots that fall free are used again as
// late as possible, so that a stale token is refused rather than found.
struct UserMemory::Impl {
  struct Slot {
    void* buffer = nullptr;
    size_t bytes = 0;
  };

  static uint32_t Token(size_t slot, const void* buffer) {
    return static_cast<uint32_t>(slot + 1) << 16 |
           static_cast<uint32_t>(reinterpret_cast<uintptr_t>(buffer) & 0xFFFF);
  }
  [[nodiscard]] size_t SlotOf(uint32_t token) const {
    const size_t slot = (token >> 16) - size_t{1};
    if (token >> 16 == 0 || slot >= slots.size()) return SIZE_MAX;
    if (slots[slot].buffer == nullptr || Token(slot, slots[slot].buffer) != token) return SIZE_MAX;
    return slot;
  }

  mutable std::mutex mutex;
  std::vector<Slot> slots;
  std::deque<size_t> freeSlots;
};

UserMemory::UserMemory() : impl_(new Impl) {}
UserMemory::~UserMemory() {
  delete impl_;
}

uint32_t UserMemory::Pin(void* buffer, size_t bytes) {
  if (buffer == nullptr) return 0;
  const std::lock_guard lock(impl_->mutex);
  // A first round of slots before any is used again keeps tokens apart for a while.
  constexpr size_t kFreshSlots = 1024;
  size_t slot;
  if (!impl_->freeSlots.empty() && impl_->slots.size() >= kFreshSlots) {
    slot = impl_->freeSlots.front();
    impl_->freeSlots.pop_front();
  } else if (impl_->slots.size() < kSlotLimit) {
    slot = impl_->slots.size();
    impl_->slots.emplace_back();
  } else {
    return 0;
  }
  impl_->slots[slot] = {buffer, bytes};
  return Impl::Token(slot, buffer);
}

void UserMemory::Unpin(uint32_t token) {
  const std::lock_guard lock(impl_->mutex);
  const size_t slot = impl_->SlotOf(token);
  if (slot == SIZE_MAX) return;
  impl_->slots[slot] = {};
  impl_->freeSlots.push_back(slot);
}

void* UserMemory::Find(uint32_t token, size_t bytes) const {
  const std::lock_guard lock(impl_->mutex);
  const size_t slot = impl_->SlotOf(token);
  if (slot == SIZE_MAX || impl_->slots[slot].bytes < bytes) return nullptr;
  return impl_->slots[slot].buffer;
}

void InstallDriverPort(DriverPort* port) {
  g_port.store(port, std::memory_order_release);
}
DriverPort* InstalledDriverPort() {
  return g_port.load(std::memory_order_acquire);
}

}  // namespace morvane
