#pragma once

// Shared by the sources of the platform binding: one record, in and out.

#include "device/win_driver_interface.h"

namespace morvane {

template <typename Record>
bool CRQD5WinDriverInterface::Request(Record& record) {
  return Request(&record, sizeof record, &record, sizeof record);
}

// A buffer that the driver may reach by its token while this lives.
class PinnedBuffer {
 public:
  PinnedBuffer(DriverPort* port, void* buffer, size_t bytes)
      : port_(port), token_(port != nullptr ? port->Memory().Pin(buffer, bytes) : 0) {}
  ~PinnedBuffer() {
    if (token_ != 0) port_->Memory().Unpin(token_);
  }
  PinnedBuffer(const PinnedBuffer&) = delete;
  PinnedBuffer& operator=(const PinnedBuffer&) = delete;

  [[nodiscard]] uint32_t Token() const { return token_; }
  // Leaves the buffer pinned; the caller unpins the token.
  uint32_t Release() {
    const uint32_t token = token_;
    token_ = 0;
    return token;
  }

 private:
  DriverPort* port_;
  uint32_t token_;
};

}  // namespace morvane
