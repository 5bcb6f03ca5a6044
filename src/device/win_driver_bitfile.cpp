// What the platform binding knows of the logic on the card.
#include <vector>

#include "base/byte_order.h"
#include "device/boards.h"
#include "device/flash_header.h"
#include "device/registers.h"
#include "device/win_driver_interface.h"
#include "device/win_driver_requests.h"

namespace morvane {
namespace {

constexpr uint32_t kFlashRead = 11;
constexpr uint32_t kFlashBusyBit = 0x100;
constexpr int kFlashPolls = 1000;  // then the flash counts as dead

}  // namespace

bool CRQD5WinDriverInterface::ReadFlashWord(uint32_t byteAddress, uint32_t* word) {
  if (!WriteRegister(RegisterNumber(RegisterField::FlashAddress), byteAddress) ||
      !WriteRegister(RegisterNumber(RegisterField::FlashCommand), kFlashRead)) {
    return false;
  }
  for (int poll = 0; poll < kFlashPolls; ++poll) {
    uint32_t status = 0;
    if (!ReadRegister(RegisterNumber(RegisterField::FlashCommand), &status)) return false;
    if ((status & kFlashBusyBit) == 0) {
      return ReadRegister(RegisterNumber(RegisterField::FlashData), word);
    }
  }
  return false;
}

bool CRQD5WinDriverInterface::ReadFlashHeader(RQD5BitFileInfo* info) {
  uint8_t header[kFlashHeaderBytes];
  for (uint32_t address = 0; address < kFlashHeaderBytes; address += 4) {
    uint32_t word = 0;
    if (!ReadFlashWord(address, &word)) return false;
    StoreLe32(header + address, word);
  }
  return ParseFlashHeader(header, info);
}

bool CRQD5WinDriverInterface::DriverGetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind) {
  if (IsRemote()) return CRQD5DriverInterface::DriverGetBitFileInformation(info, kind);
  if (BoardBitfileInFlash(boardID_)) return ReadFlashHeader(info);
  BitFileRecord record{Header(PropertyBitFile, kPropertyGet), *info};
  if (!Request(record)) {
    DisplayRqd5Error("DriverGetBitFileInformation failed");
    return false;
  }
  *info = record.info;
  return true;
}

bool CRQD5WinDriverInterface::SwitchBitfile(uint32_t boardID, uint32_t bitfile) {
  return CRQD5DriverInterface::SwitchBitfile(boardID, bitfile);
}

}  // namespace morvane
