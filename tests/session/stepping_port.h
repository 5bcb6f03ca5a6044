#pragma once

#include <algorithm>
#include <string>

#include "base/clock.h"
#include "simulator/simulated_driver.h"

namespace morvane::test {

// A simulated driver whose waits move a manual clock themselves, to what comes next and no
// further: a single thread can then talk to the card, in exact time that costs nothing.
class SteppingPort final : public DriverPort {
 public:
  SteppingPort(SimulatedDriver* driver, ManualClock* clock) : driver_(driver), clock_(clock) {
    InstallDriverPort(this);
  }
  ~SteppingPort() override { InstallDriverPort(nullptr); }

  bool Enumerate(const PropertySetId& id, uint32_t index, DriverDevice* device) override {
    return driver_->Enumerate(id, index, device);
  }
  DriverHandle Open(const std::string& path, bool shared) override {
    return driver_->Open(path, shared);
  }
  void Close(DriverHandle handle) override { driver_->Close(handle); }
  bool Request(DriverHandle handle, const void* in, size_t inBytes, void* out,
               size_t outBytes) override {
    return driver_->Request(handle, in, inBytes, out, outBytes);
  }
  DriverEvent CreateEvent() override { return driver_->CreateEvent(); }
  void CloseEvent(DriverEvent event) override { driver_->CloseEvent(event); }
  bool WaitEvent(DriverEvent event, uint32_t timeoutMs) override {
    const int64_t deadline = NxClockNowNs() + int64_t{timeoutMs} * 1'000'000;
    for (;;) {
      const SimulatedDriver::EventLook look = driver_->LookAtEvent(event, deadline);
      if (look.signalled) return true;
      const int64_t now = NxClockNowNs();
      if (now >= deadline) return false;
      clock_->Advance(std::clamp<int64_t>(look.dueNs - now, 1, deadline - now));
    }
  }
  void* MappedMemory(DriverHandle handle, uint32_t base, size_t bytes) override {
    return driver_->MappedMemory(handle, base, bytes);
  }
  UserMemory& Memory() override { return driver_->Memory(); }

 private:
  SimulatedDriver* const driver_;
  ManualClock* const clock_;
};

}  // namespace morvane::test
