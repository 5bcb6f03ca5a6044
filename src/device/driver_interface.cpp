#include "device/driver_interface.h"

#include <span>

#include "base/page_memory.h"
#include "base/system.h"
#include "device/boards.h"
#include "device/registers.h"

namespace morvane {
namespace {

// Registers that a download must leave alone when the others are written back.
bool StaysAfterDownload(uint32_t registerNumber) {
  return registerNumber == 17 || registerNumber == 48 ||
         (registerNumber >= 51 && registerNumber <= 63) ||
         (registerNumber >= 70 && registerNumber <= 125);
}

}  // namespace

CRQD5DriverInterface::CRQD5DriverInterface() = default;
CRQD5DriverInterface::~CRQD5DriverInterface() = default;

bool CRQD5DriverInterface::WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask,
                                         uint32_t shift) {
  if (NubWriteRegister(registerNumber, value, mask, shift)) return true;
  DisplayRqd5Error("RQD5WriteRegisterRemote failed");
  return false;
}

bool CRQD5DriverInterface::ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask,
                                        uint32_t shift) {
  if (NubReadRegister(registerNumber, value, mask, shift)) return true;
  DisplayRqd5Error("RQD5ReadRegisterRemote failed");
  return false;
}

bool CRQD5DriverInterface::ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                             RQD5RegisterEntry* entries) {
  return NubReadRegisterMulti(count, failedRegister, entries);
}

bool CRQD5DriverInterface::NotifyDriverRegisters() {
  return WriteRegister(RegisterNumber(RegisterField::DriverNotification), 0);
}

bool CRQD5DriverInterface::WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs) {
  return NubWaitForInterrupt(interruptType, timeoutMs);
}

bool CRQD5DriverInterface::AutoCirculate(RQD5AutoCirculateData& data) {
  if (NubAutoCirculate(data)) return true;
  DisplayRqd5Error("RQD5AutoCirculateRemote failed");
  return false;
}

bool CRQD5DriverInterface::GetDriverVersion(uint32_t* version) {
  return ReadRegister(RegisterNumber(RegisterField::DriverVersion), version);
}

uint16_t CRQD5DriverInterface::SleepMs(uint32_t ms) {
  NxSleep(ms);
  return static_cast<uint16_t>(ms);
}

bool CRQD5DriverInterface::DriverGetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind) {
  if (NubGetBitFileInformation(info, kind)) return true;
  DisplayRqd5Error("RQD5DriverGetBitFileInformationRemote failed");
  return false;
}

bool CRQD5DriverInterface::DriverGetBuildInformation(RQD5BuildInfo* info) {
  return IsRemote() && NubGetBuildInformation(info);
}

bool CRQD5DriverInterface::SwitchBitfile(uint32_t boardID, uint32_t bitfile) {
  if (bitfile == 0) return true;
  struct Saved {
    uint32_t value;
    uint32_t good;
  };
  const uint32_t count = RegisterCount(boardID);
  PageBuffer memory;
  if (count != 0 && !memory.Allocate(count * sizeof(Saved))) {
    DisplayRqd5Error(
        "CRQD5WinDriverInterface::SwitchBitfile() failed to download new bitfile: out of memory.");
    return false;
  }
  const std::span<Saved> saved(reinterpret_cast<Saved*>(memory.Data()), count);
  for (uint32_t number = 0; number < count; ++number) {
    saved[number].good = ReadRegister(number, &saved[number].value);
  }
  for (uint32_t type = 0; type <= InterruptLast; ++type) ConfigureInterrupt(false, type);
  const bool downloaded = WriteRegister(RegisterNumber(RegisterField::BitfileDownload), bitfile);
  for (uint32_t number = 0; number < count; ++number) {
    if (saved[number].good != 0 && !StaysAfterDownload(number)) {
      WriteRegister(number, saved[number].value);
    }
  }
  return downloaded;
}

bool CRQD5DriverInterface::DisplayRqd5Error(const char*) {
  return false;
}

bool CRQD5DriverInterface::OpenRemote(uint16_t boardNumber, bool, uint32_t boardType,
                                      const char* hostName) {
  return nub_.Open(hostName, boardNumber, boardType) == NubSuccess;
}

bool CRQD5DriverInterface::CloseRemote() {
  boardOpen_ = false;
  return nub_.Close();
}

bool CRQD5DriverInterface::NubReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask,
                                           uint32_t shift) {
  return nub_.ReadRegister(registerNumber, value, mask, shift) == NubSuccess;
}

bool CRQD5DriverInterface::NubWriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask,
                                            uint32_t shift) {
  return nub_.WriteRegister(registerNumber, value, mask, shift) == NubSuccess;
}

bool CRQD5DriverInterface::NubReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                                RQD5RegisterEntry* entries) {
  return nub_.ReadRegisterMulti(count, failedRegister, entries) == NubSuccess;
}

bool CRQD5DriverInterface::NubAutoCirculate(const RQD5AutoCirculateData& data) {
  return nub_.AutoCirculate(data) == NubSuccess;
}

bool CRQD5DriverInterface::NubWaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs) {
  return nub_.WaitForInterrupt(interruptType, timeoutMs) == NubSuccess;
}

bool CRQD5DriverInterface::NubGetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind) {
  return nub_.GetBitFileInformation(info, kind) == NubSuccess;
}

bool CRQD5DriverInterface::NubGetBuildInformation(RQD5BuildInfo* info) {
  return nub_.GetBuildInformation(info) == NubSuccess;
}

bool CRQD5DriverInterface::NubDownloadTestPattern(uint32_t channel, uint32_t frameBufferFormat,
                                                  uint16_t signalMask, bool dmaEnable,
                                                  uint32_t patternNumber) {
  return nub_.DownloadTestPattern(channel, frameBufferFormat, signalMask, dmaEnable,
                                  patternNumber) == NubSuccess;
}

}  // namespace morvane
