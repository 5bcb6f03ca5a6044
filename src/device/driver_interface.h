#pragma once

#include <cstdint>
#include <string>

#include "device/autocirculate.h"
#include "device/driver_port.h"
#include "device/driver_records.h"
#include "device/nub_client.h"

namespace morvane {

// The abstract door to one card. The same object reaches a card in this machine through its
// binding, or one in another machine through the nub; Open() decides, and callers never
// see the difference. The bodies here are the remote road; a binding overrides them and comes back
// here while RemoteHandle() is not -1.
//
// Results are true for success. A failed read leaves its output untouched, so initialise outputs.
// Messages appear only when the object was opened with displayError.
// Threads: register access, waits and AutoCirculate from any thread; no lock is held. Everything
// else by the owner only, one thread at a time.
class CRQD5DriverInterface {
 public:
  CRQD5DriverInterface();
  virtual ~CRQD5DriverInterface();
  CRQD5DriverInterface(const CRQD5DriverInterface&) = delete;
  CRQD5DriverInterface& operator=(const CRQD5DriverInterface&) = delete;

  // Opens the `boardNumber`-th card of `boardType` (0 stands for 4), here or, with a `hostName`
  // that is not empty, there. On an object that is open with the same number it changes nothing.
  // A host that cannot be reached gives a message and still true: later calls fail by themselves.
  [[nodiscard]] virtual bool Open(uint16_t boardNumber, bool displayError, uint32_t boardType,
                                  const char* hostName) = 0;
  // Whether the next device open shares the card with other openers. Returns: true.
  virtual bool SetSharedAccess(bool shared) = 0;
  // Returns: true, but remotely false when there was no connection.
  virtual bool Close() = 0;

  // register = (register & ~mask) | ((value << shift) & mask), in one step in the driver.
  virtual bool WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask = 0xFFFFFFFF,
                             uint32_t shift = 0);
  // value = (register & mask) >> shift.
  virtual bool ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask = 0xFFFFFFFF,
                            uint32_t shift = 0);
  // Reads `count` entries in order (0 is allowed); stops at the first failure, whose number goes
  // to `failedRegister`.
  virtual bool ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                 RQD5RegisterEntry* entries);
  // Tells the driver that registers were changed behind its back.
  bool NotifyDriverRegisters();

  // Moves `bytes` between `buffer` and frame memory, `offset` bytes into frame `frameNumber`.
  // Local only, as all down to GetInterruptCount.
  virtual bool DmaTransfer(uint32_t engine, bool isRead, uint32_t frameNumber, void* buffer,
                           uint32_t offset, uint32_t bytes, bool synchronous) = 0;
  // Locks the pages of a buffer for faster transfers; it stays the caller's, and must stay
  // allocated until unlocked. Close() unlocks all.
  virtual bool DmaLock(void* buffer, uint32_t bytes) = 0;
  virtual bool DmaUnlock(void* buffer) = 0;
  virtual bool DmaUnlockAll() = 0;
  virtual bool ConfigureInterrupt(bool enable, uint32_t interruptType) = 0;
  // Mapping what is mapped, and unmapping what is not, is true and asks nothing of the driver.
  virtual bool MapFrameBuffers() = 0;
  virtual bool UnmapFrameBuffers() = 0;
  virtual bool MapRegisters() = 0;
  virtual bool UnmapRegisters() = 0;
  virtual bool MapFlash() = 0;
  virtual bool UnmapFlash() = 0;
  // Subscribes this object to an interrupt type, or leaves it. `handle` (may be null) receives the
  // event, 0 when there is none. Subscribing twice, and leaving what is not subscribed, is true.
  virtual bool ConfigureSubscription(bool subscribe, uint32_t interruptType,
                                     DriverEvent* handle) = 0;
  virtual bool GetInterruptCount(uint32_t interruptType, uint32_t* count) = 0;

  // Waits for a subscribed interrupt. Without a subscription it sleeps the whole time and is
  // false, on which polling loops rely.
  virtual bool WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs);
  // Carries out one command of the frame ring; unknown commands are true and do nothing.
  virtual bool AutoCirculate(RQD5AutoCirculateData& data);
  [[nodiscard]] virtual bool ReservedFeatureQuery() = 0;  // always false
  bool GetDriverVersion(uint32_t* version);
  uint16_t SleepMs(uint32_t ms);  // returns the low 16 bits of `ms`

  // What is known of the logic on the card; `info` is also sent, so clear it first.
  // On failure `info` is as it was.
  virtual bool DriverGetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind);
  // Remote only.
  virtual bool DriverGetBuildInformation(RQD5BuildInfo* info);
  // Downloads logic number `bitfile` (0: nothing to do, true): saves all registers, disables all
  // interrupts, downloads, and writes the registers back but those that must not be touched.
  // Returns: result of the download.
  virtual bool SwitchBitfile(uint32_t boardID, uint32_t bitfile);

  [[nodiscard]] uint32_t GetNubProtocolVersion() const { return nub_.Version(); }
  // Shows a message box when messages are wanted. Returns: whether they are.
  virtual bool DisplayRqd5Error(const char* message);

  // Connects to `hostName`, unless connected to it, and opens a board there; an object that was
  // connected elsewhere leaves that. Null leaves too, and fails.
  virtual bool OpenRemote(uint16_t boardNumber, bool displayError, uint32_t boardType,
                          const char* hostName);
  virtual bool CloseRemote();  // false when there was no connection

  // One exchange each with the other machine, without a message box. Results and outputs are those
  // of NubClient; true is NubSuccess.
  bool NubReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask, uint32_t shift);
  bool NubWriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask, uint32_t shift);
  bool NubReadRegisterMulti(uint32_t count, uint32_t* failedRegister, RQD5RegisterEntry* entries);
  bool NubAutoCirculate(const RQD5AutoCirculateData& data);
  bool NubWaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs);
  bool NubGetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind);
  bool NubGetBuildInformation(RQD5BuildInfo* info);
  bool NubDownloadTestPattern(uint32_t channel, uint32_t frameBufferFormat, uint16_t signalMask,
                              bool dmaEnable, uint32_t patternNumber);

  [[nodiscard]] uint16_t BoardNumber() const { return boardNumber_; }
  [[nodiscard]] bool IsOpen() const { return boardOpen_; }
  [[nodiscard]] uint32_t BoardType() const { return boardType_; }
  [[nodiscard]] uint32_t BoardID() const { return boardID_; }  // as read at Open
  [[nodiscard]] bool DisplaysErrors() const { return displayError_; }
  [[nodiscard]] uint32_t PciSlot() const { return pciSlot_; }
  [[nodiscard]] int32_t RemoteHandle() const { return nub_.Handle(); }  // -1: local
  [[nodiscard]] bool IsRemote() const { return RemoteHandle() != -1; }
  [[nodiscard]] const std::string& RemoteHost() const { return nub_.Host(); }

 protected:
  uint16_t boardNumber_ = 0;
  bool boardOpen_ = false;
  uint32_t boardType_ = 0;
  uint32_t boardID_ = 0;
  bool displayError_ = false;
  uint32_t pciSlot_ = 0;
  NubClient nub_;  // connected in remote mode, and still after an open that failed there
};

}  // namespace morvane
