#pragma once

#include <cstring>
#include <mutex>
#include <vector>

#include "device/driver_port.h"
#include "device/driver_records.h"

namespace morvane::test {

// Stands before the installed driver and counts the registers that are written.
class WriteTrace final : public DriverPort {
 public:
  WriteTrace() : port_(InstalledDriverPort()) { InstallDriverPort(this); }
  ~WriteTrace() override { InstallDriverPort(port_); }
  WriteTrace(const WriteTrace&) = delete;
  WriteTrace& operator=(const WriteTrace&) = delete;

  // Register writes so far, and the numbers of those that were read.
  [[nodiscard]] int Writes() {
    const std::lock_guard lock(mutex_);
    return writes_;
  }
  [[nodiscard]] int Reads() {
    const std::lock_guard lock(mutex_);
    return reads_;
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
      if (header.number == PropertyRegister) {
        const std::lock_guard lock(mutex_);
        ++(header.flags == kPropertyGet ? reads_ : writes_);
      }
    }
    return port_->Request(handle, in, inBytes, out, outBytes);
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
  DriverPort* const port_;
  std::mutex mutex_;
  int writes_ = 0;
  int reads_ = 0;
};

}  // namespace morvane::test
