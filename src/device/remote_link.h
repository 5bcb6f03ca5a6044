#pragma once

#include <cstdint>
#include <memory>

#include "device/autocirculate.h"
#include "device/driver_records.h"

// The road to a card in another machine, as the driver interface uses it.
namespace morvane {

// Each operation is one exchange with the other machine. Result 0 is success, a negative number
// what went wrong; outputs are then untouched.
// Threads: one at a time.
class RemoteLink {
 public:
  virtual ~RemoteLink() = default;

  // Reaches `hostName` (null closes and fails) and opens a board there. `handle` and
  // `protocolVersion` are what the other side answered.
  [[nodiscard]] virtual int Open(const char* hostName, uint16_t boardNumber, uint32_t boardType,
                                 int32_t* handle, uint32_t* protocolVersion) = 0;
  // Returns: false when nothing was open.
  virtual bool Close() = 0;
  [[nodiscard]] virtual int ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask,
                                         uint32_t shift) = 0;
  [[nodiscard]] virtual int WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask,
                                          uint32_t shift) = 0;
  [[nodiscard]] virtual int ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                              RQD5RegisterEntry* entries) = 0;
  [[nodiscard]] virtual int AutoCirculate(RQD5AutoCirculateData& data) = 0;
  [[nodiscard]] virtual int WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs) = 0;
  [[nodiscard]] virtual int GetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind) = 0;
  [[nodiscard]] virtual int GetBuildInformation(void* info, size_t bytes) = 0;
  [[nodiscard]] virtual int DownloadTestPattern(uint32_t channel, uint32_t frameBufferFormat,
                                                uint32_t signalMask, bool dmaEnable,
                                                uint32_t patternNumber) = 0;
};

// The link of a new driver object. No transport is built in yet: every host is unreachable, so
// Open fails and nothing else is ever asked.
[[nodiscard]] std::unique_ptr<RemoteLink> MakeRemoteLink();

}  // namespace morvane
