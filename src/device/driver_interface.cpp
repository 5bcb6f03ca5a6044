#include "device/driver_interface.h"

#include <new>
#include <vector>

#include "base/system.h"
#include "device/boards.h"
#include "device/registers.h"
#include "device/remote_link.h"

namespace morvane {
namespace {

// Registers that a download must leave alone when the others are written back.
bool StaysAfterDownload(uint32_t registerNumber) {
  return registerNumber == 17 || registerNumber == 48 ||
         (registerNumber >= 51 && registerNumber <= 63) ||
         (registerNumber >= 70 && registerNumber <= 125);
}

}  // namespace

CRQD5DriverInterface::CRQD5DriverInterface() : remoteLink_(MakeRemoteLink()) {}
CRQD5DriverInterface::~CRQD5DriverInterface() {
  remoteLink_->Close();
}

bool CRQD5DriverInterface::WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask,
                                         uint32_t shift) {
  if (remoteLink_->WriteRegister(registerNumber, value, mask, shift) == 0) return true;
  DisplayRqd5Error("RQD5WriteRegisterRemote failed");
  return false;
}

bool CRQD5DriverInterface::ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask,
                                        uint32_t shift) {
  if (remoteLink_->ReadRegister(registerNumber, value, mask, shift) == 0) return true;
  DisplayRqd5Error("RQD5ReadRegisterRemote failed");
  return false;
}

bool CRQD5DriverInterface::ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                             RQD5RegisterEntry* entries) {
  return remoteLink_->ReadRegisterMulti(count, failedRegister, entries) == 0;
}

bool CRQD5DriverInterface::NotifyDriverRegisters() {
  return WriteRegister(RegisterNumber(RegisterField::DriverNotification), 0);
}

bool CRQD5DriverInterface::WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs) {
  return remoteLink_->WaitForInterrupt(interruptType, timeoutMs) == 0;
}

bool CRQD5DriverInterface::AutoCirculate(RQD5AutoCirculateData& data) {
  if (remoteLink_->AutoCirculate(data) == 0) return true;
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
  if (remoteLink_->GetBitFileInformation(info, kind) == 0) return true;
  DisplayRqd5Error("RQD5DriverGetBitFileInformationRemote failed");
  return false;
}

bool CRQD5DriverInterface::DriverGetBuildInformation(void* info, size_t bytes) {
  return IsRemote() && remoteLink_->GetBuildInformation(info, bytes) == 0;
}

bool CRQD5DriverInterface::SwitchBitfile(uint32_t boardID, uint32_t bitfile) {
  if (bitfile == 0) return true;
  struct Saved {
    uint32_t value = 0;
    bool good = false;
  };
  std::vector<Saved> saved;
  try {
    saved.resize(RegisterCount(boardID));
  } catch (const std::bad_alloc&) {
    DisplayRqd5Error(
        "CRQD5WinDriverInterface::SwitchBitfile() failed to download new bitfile: out of memory.");
    return false;
  }
  for (uint32_t number = 0; number < saved.size(); ++number) {
    saved[number].good = ReadRegister(number, &saved[number].value);
  }
  for (uint32_t type = 0; type <= InterruptLast; ++type) ConfigureInterrupt(false, type);
  const bool downloaded = WriteRegister(RegisterNumber(RegisterField::BitfileDownload), bitfile);
  for (uint32_t number = 0; number < saved.size(); ++number) {
    if (saved[number].good && !StaysAfterDownload(number)) {
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
  const int result =
      remoteLink_->Open(hostName, boardNumber, boardType, &remoteHandle_, &nubProtocolVersion_);
  remoteHost_ = result == 0 && hostName != nullptr ? hostName : "";
  return result == 0;
}

bool CRQD5DriverInterface::CloseRemote() {
  const bool closed = remoteLink_->Close();
  boardOpen_ = false;
  remoteHandle_ = -1;
  remoteHost_.clear();
  nubProtocolVersion_ = 0;
  return closed;
}

bool CRQD5DriverInterface::NubDownloadTestPattern(uint32_t channel, uint32_t frameBufferFormat,
                                                  uint32_t signalMask, bool dmaEnable,
                                                  uint32_t patternNumber) {
  if (!IsRemote()) return false;
  if (remoteLink_->DownloadTestPattern(channel, frameBufferFormat, signalMask, dmaEnable,
                                       patternNumber) == 0) {
    return true;
  }
  DisplayRqd5Error("RQD5DownloadTestPatternRemote failed");
  return false;
}

}  // namespace morvane
