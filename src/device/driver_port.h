#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

// The driver as the platform binding reaches it. On the original platform this is the system's
// device list and its device-control call; here it is the simulated driver, which decodes the very
// same records. Nothing above this folder knows which one is installed.
namespace morvane {

// Property-set identifier of a board type, in the byte order in which it stands in a record.
using PropertySetId = std::array<uint8_t, 16>;

// One device of a class list.
struct DriverDevice {
  std::string path;            // what Open() takes
  std::string location;        // location text, such as "PCI bus 2, device 0" or "Magma 3"
  std::string parentLocation;  // location text of the parent device
  uint32_t uiNumber = 0;       // slot number as the system shows it
};

using DriverHandle = uint64_t;  // 0 is none
using DriverEvent = uint32_t;   // token of an auto-reset event as it stands in a record; 0 is none

// Table of the caller's buffers that a record's 32-bit address words stand for.
// A token keeps the low 16 bits of the address, so that alignment tests on it mean what they say;
// a null buffer has the token 0.
// Threads: any.
class UserMemory {
 public:
  UserMemory();
  ~UserMemory();
  UserMemory(const UserMemory&) = delete;
  UserMemory& operator=(const UserMemory&) = delete;

  // Keeps the range until Unpin. The same buffer may be pinned more than once.
  [[nodiscard]] uint32_t Pin(void* buffer, size_t bytes);
  void Unpin(uint32_t token);
  // Returns: the buffer if `token` is pinned with at least `bytes`, else null.
  [[nodiscard]] void* Find(uint32_t token, size_t bytes) const;

 private:
  struct Impl;
  Impl* impl_;
};

// Threads: Request() and WaitEvent() from any thread; the rest from the object that owns the
// handle.
class DriverPort {
 public:
  virtual ~DriverPort() = default;

  // The `index`-th device of the class `id`. Returns: false past the last one.
  [[nodiscard]] virtual bool Enumerate(const PropertySetId& id, uint32_t index,
                                       DriverDevice* device) = 0;
  // Returns: a handle, or 0 when refused (an exclusive open while any handle is open, or any open
  // while an exclusive one is).
  [[nodiscard]] virtual DriverHandle Open(const std::string& path, bool shared) = 0;
  virtual void Close(DriverHandle handle) = 0;
  // One property request. `in` and `out` may be the same bytes.
  // Returns: false for an unknown number, a wrong size, or a refused operation; `out` is then
  // untouched.
  [[nodiscard]] virtual bool Request(DriverHandle handle, const void* in, size_t inBytes, void* out,
                                     size_t outBytes) = 0;
  // An auto-reset event, unsignalled. Returns: 0 on failure.
  [[nodiscard]] virtual DriverEvent CreateEvent() = 0;
  virtual void CloseEvent(DriverEvent event) = 0;
  // Returns: true if the event was signalled, or was due, before the deadline.
  [[nodiscard]] virtual bool WaitEvent(DriverEvent event, uint32_t timeoutMs) = 0;
  // Mapped memory of a card: the address word of a map request, as this process can reach it.
  // Returns: null when the word maps nothing of at least `bytes`.
  [[nodiscard]] virtual void* MappedMemory(DriverHandle handle, uint32_t base, size_t bytes) = 0;
  [[nodiscard]] virtual UserMemory& Memory() = 0;
};

// The port of this process. Installed by the main program at start, before any card is opened; the
// caller keeps ownership. Null means no driver: every open fails.
void InstallDriverPort(DriverPort* port);
[[nodiscard]] DriverPort* InstalledDriverPort();

}  // namespace morvane
