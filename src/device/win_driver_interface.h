#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "device/driver_interface.h"

namespace morvane {

// The binding of the driver interface to the installed DriverPort: each operation is one property
// record, byte for byte.
class CRQD5WinDriverInterface : public CRQD5DriverInterface {
 public:
  CRQD5WinDriverInterface();
  ~CRQD5WinDriverInterface() override;

  [[nodiscard]] bool Open(uint16_t boardNumber, bool displayError, uint32_t boardType,
                          const char* hostName) override;
  bool SetSharedAccess(bool shared) override;
  bool Close() override;
  bool WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask = 0xFFFFFFFF,
                     uint32_t shift = 0) override;
  bool ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask = 0xFFFFFFFF,
                    uint32_t shift = 0) override;
  bool ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                         RQD5RegisterEntry* entries) override;
  bool DmaTransfer(uint32_t engine, bool isRead, uint32_t frameNumber, void* buffer,
                   uint32_t offset, uint32_t bytes, bool synchronous) override;
  bool DmaLock(void* buffer, uint32_t bytes) override;
  bool DmaUnlock(void* buffer) override;
  bool DmaUnlockAll() override;
  bool ConfigureInterrupt(bool enable, uint32_t interruptType) override;
  bool MapFrameBuffers() override;
  bool UnmapFrameBuffers() override;
  bool MapRegisters() override;
  bool UnmapRegisters() override;
  bool MapFlash() override;
  bool UnmapFlash() override;
  bool ConfigureSubscription(bool subscribe, uint32_t interruptType, DriverEvent* handle) override;
  bool GetInterruptCount(uint32_t interruptType, uint32_t* count) override;
  bool WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs) override;
  bool AutoCirculate(RQD5AutoCirculateData& data) override;
  [[nodiscard]] bool ReservedFeatureQuery() override { return false; }
  bool DriverGetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind) override;
  bool SwitchBitfile(uint32_t boardID, uint32_t bitfile) override;
  bool DisplayRqd5Error(const char* message) override;

  // Address word of a register, mapping the registers first when they are not.
  // Returns: false past the end of the window.
  bool GetRegisterAddress(uint32_t registerNumber, uint32_t* address);
  // Waits that ended with the interrupt, for types 0, 2 to 6, 24 and 25; 0 for others.
  [[nodiscard]] uint32_t WaitCount(uint32_t interruptType) const;

  [[nodiscard]] bool SharedAccess() const { return sharedAccess_; }
  [[nodiscard]] uint32_t FrameMemoryBytes() const { return frameMemorySize_; }
  [[nodiscard]] uint32_t FrameSlotBytes() const { return frameSize_; }  // at the present format
  [[nodiscard]] uint32_t FrameSlots() const { return frameCount_; }     // at the present format
  // Address words of the mapped windows, 0 while not mapped.
  [[nodiscard]] uint32_t FrameBaseAddress() const { return frameBaseAddress_; }
  [[nodiscard]] uint32_t Channel1FrameBase() const { return channel1FrameBase_; }
  [[nodiscard]] uint32_t Channel2FrameBase() const { return channel2FrameBase_; }
  [[nodiscard]] uint32_t RegisterBase() const { return registerBase_; }
  [[nodiscard]] uint32_t RegisterWindowBytes() const { return registerSize_; }
  [[nodiscard]] uint32_t FlashBase() const { return flashBase_; }
  // The memory behind such a word. Returns: null when it maps nothing of at least `bytes`.
  [[nodiscard]] void* MappedMemory(uint32_t base, size_t bytes);

 protected:
  // frameMemorySize_, frameSize_ and frameCount_ of a geometry and a frame-buffer format.
  void SetMemoryFigures(uint32_t geometry, uint32_t frameBufferFormat);

 private:
  struct LockedBuffer {
    void* buffer = nullptr;
    uint32_t token = 0;
  };

  [[nodiscard]] bool OpenDevice(const PropertySetId& id, uint16_t boardNumber);
  void FindPciSlot(const struct DriverDevice& device);
  void ForgetDeviceState();
  void ReadBoardFigures();
  [[nodiscard]] PropertyHeader Header(uint32_t number, uint32_t flags) const;
  [[nodiscard]] bool Request(const void* in, size_t inBytes, void* out, size_t outBytes);
  template <typename Record>
  [[nodiscard]] bool Request(Record& record);
  [[nodiscard]] bool DmaRequest(uint32_t engine, bool isRead, uint32_t frameNumber, uint32_t token,
                                uint32_t offset, uint32_t bytes, bool synchronous);
  [[nodiscard]] bool Map(uint32_t kind, uint32_t* base, uint32_t* size);
  [[nodiscard]] bool Unmap(uint32_t kind, uint32_t base);
  [[nodiscard]] uint32_t SubscriptionProperty();
  [[nodiscard]] bool ReadFlashHeader(RQD5BitFileInfo* info);
  [[nodiscard]] bool ReadFlashWord(uint32_t byteAddress, uint32_t* word);

  [[nodiscard]] bool CirculateControl(const RQD5AutoCirculateData& data);
  [[nodiscard]] bool CirculateInitWide(const RQD5AutoCirculateData& data);
  [[nodiscard]] bool CirculateStatus(const RQD5AutoCirculateData& data);
  [[nodiscard]] bool CirculateFrameStamp(const RQD5AutoCirculateData& data);
  [[nodiscard]] bool CirculateTransfer(const RQD5AutoCirculateData& data);
  [[nodiscard]] bool CirculateControl14(const RQD5AutoCirculateData& data);

  std::array<DriverEvent, 26> events_{};   // by interrupt type; 0: not subscribed
  std::array<uint32_t, 26> waitCounts_{};  // by interrupt type
  uint32_t frameBaseAddress_ = 0;
  uint32_t channel1FrameBase_ = 0;
  uint32_t channel2FrameBase_ = 0;
  uint32_t registerBase_ = 0;
  uint32_t registerSize_ = 0;
  uint32_t flashBase_ = 0;
  uint32_t frameMemorySize_ = 0;
  uint32_t frameCount_ = 0;
  uint32_t frameSize_ = 0;
  DriverPort* port_ = nullptr;  // not owned
  DriverHandle device_ = 0;
  bool sharedAccess_ = true;
  PropertySetId propertySet_{};
  std::optional<uint32_t> subscriptionProperty_;  // chosen once an open
  std::vector<LockedBuffer> lockedBuffers_;
};

}  // namespace morvane
