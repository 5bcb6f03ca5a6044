#pragma once

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>

#include "device/driver_port.h"
#include "device/driver_records.h"

namespace morvane::test {

// Stands before the installed driver: counts the registers that are written and read, lets a
// transfer hang, and can pull the cables of the inputs. Made before a session is opened (it keeps
// the driver that it found) and destroyed after the last one is closed. Threads: any; made on the
// main thread.
class DriverWatch final : public DriverPort {
 public:
  DriverWatch() : port_(InstalledDriverPort()) { InstallDriverPort(this); }
  ~DriverWatch() override { InstallDriverPort(port_); }
  DriverWatch(const DriverWatch&) = delete;
  DriverWatch& operator=(const DriverWatch&) = delete;

  // Register writes and reads so far.
  [[nodiscard]] int Writes() {
    const std::lock_guard lock(mutex_);
    return writes_;
  }
  [[nodiscard]] int Reads() {
    const std::lock_guard lock(mutex_);
    return reads_;
  }

  // From now on no input has a signal.
  void LoseSignal() {
    const std::lock_guard lock(mutex_);
    lost_ = true;
  }

  // From now on a transfer of another thread than the main one hangs, until LetGo().
  void HangTransfers() {
    const std::lock_guard lock(mutex_);
    hanging_ = true;
  }
  void WaitUntilOneHangs() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return hung_ > 0; });
  }
  void LetGo() {
    const std::lock_guard lock(mutex_);
    hanging_ = false;
    changed_.notify_all();
  }

  bool Enumerate(const PropertySetId& id, uint32_t index, DriverDevice* device) override {
    return port_->Enumerate(id, index, device);
  }
  DriverHandle Open(const std::string& path, bool shared) override {
    return port_->Open(path, shared);
  }
  void Close(DriverHandle handle) override { port_->Close(handle); }
  bool Request(DriverHandle handle, const void* in, size_t inBytes, void* out,
               size_t outBytes) override {
    PropertyHeader header;
    if (inBytes >= sizeof header) {
      std::memcpy(&header, in, sizeof header);
      Look(header);
    }
    if (!port_->Request(handle, in, inBytes, out, outBytes)) return false;
    HideSignal(out, outBytes);
    return true;
  }
  DriverEvent CreateEvent() override { return port_->CreateEvent(); }
  void CloseEvent(DriverEvent event) override { port_->CloseEvent(event); }
  bool WaitEvent(DriverEvent event, uint32_t timeoutMs) override {
    return port_->WaitEvent(event, timeoutMs);
  }
  void* MappedMemory(DriverHandle handle, uint32_t base, size_t bytes) override {
    return port_->MappedMemory(handle, base, bytes);
  }
  UserMemory& Memory() override { return port_->Memory(); }

 private:
  // The word that tells of the inputs.
  void HideSignal(void* out, size_t bytes) {
    constexpr uint32_t kInputStatus = 22;
    RegisterRecord record;
    const std::lock_guard lock(mutex_);
    if (!lost_ || bytes < sizeof record) return;
    std::memcpy(&record, out, sizeof record);
    if (record.header.number != PropertyRegister || record.registerNumber != kInputStatus) return;
    record.value = 0;
    std::memcpy(out, &record, sizeof record);
  }
  void Look(const PropertyHeader& header) {
    std::unique_lock lock(mutex_);
    if (header.number == PropertyRegister) ++(header.flags == kPropertyGet ? reads_ : writes_);
    if (header.number != PropertyDma || std::this_thread::get_id() == owner_ || !hanging_) return;
    ++hung_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !hanging_; });
  }

  DriverPort* const port_;
  const std::thread::id owner_ = std::this_thread::get_id();
  std::mutex mutex_;
  std::condition_variable changed_;
  // Under mutex_.
  bool lost_ = false;
  int writes_ = 0;
  int reads_ = 0;
  int hung_ = 0;
  bool hanging_ = false;
};

}  // namespace morvane::test
