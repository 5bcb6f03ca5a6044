// Opening and closing of the platform binding.
#include <cstdlib>

#include "base/message_hook.h"
#include "device/boards.h"
#include "device/registers.h"
#include "device/win_driver_interface.h"

namespace morvane {
namespace {

// Events are left in this order when an object closes.
constexpr uint32_t kUnsubscribeOrder[] = {0, 2, 3, 24, 25, 11, 4, 5, 6, 14, 15, 7, 8, 9, 10};

constexpr uint32_t kMagmaSlotBase = 10;

// A board in an expansion chassis tells its slot as the last word of its location.
bool MagmaSlot(const std::string& location, uint32_t* slot) {
  if (location.find("Magma") == std::string::npos) return false;
  const size_t blank = location.rfind(' ');
  const char* number = blank == std::string::npos ? "" : location.c_str() + blank + 1;
  *slot = static_cast<uint32_t>(std::strtoul(number, nullptr, 0)) + kMagmaSlotBase;
  return true;
}

const char* RefusalText(uint32_t boardType) {
  switch (boardType) {
    case BOARDTYPE_UNKNOWN:
      return "Tried to call open with BOARDTYPE_UNKNOWN";
    case BOARDTYPE_QUIPZ:
      return "Tried to call open with BOARDTYPE_QUIPZ";
    case BOARDTYPE_SORN2:
      return "Tried to call open with BOARDTYPE_SORN2";
    case BOARDTYPE_SORNX:
      return "Tried to call open with BOARDTYPE_SORNX";
    default:
      return nullptr;
  }
}

bool IsKnownType(uint32_t boardType) {
  switch (boardType) {
    case BOARDTYPE_SDCARD:
    case BOARDTYPE_HDCARD:
    case BOARDTYPE_OEM2K:
    case BOARDTYPE_SYNCBOX:
    case BOARDTYPE_HULLEN:
      return true;
    default:
      return false;
  }
}

}  // namespace

CRQD5WinDriverInterface::CRQD5WinDriverInterface() = default;
CRQD5WinDriverInterface::~CRQD5WinDriverInterface() {
  CRQD5WinDriverInterface::Close();
}

bool CRQD5WinDriverInterface::Open(uint16_t boardNumber, bool displayError, uint32_t boardType,
                                   const char* hostName) {
  if (boardOpen_) {
    if (boardNumber_ == boardNumber) return true;
    Close();
  }
  nub_.ForgetHandle();
  device_ = 0;
  boardType_ = boardType == BOARDTYPE_UNKNOWN ? uint32_t{BOARDTYPE_HDCARD} : boardType;
  displayError_ = displayError;
  if (const char* refusal = RefusalText(boardType_)) {
    DisplayRqd5Error(refusal);
    return false;
  }
  if (!IsKnownType(boardType_)) return false;

  ForgetDeviceState();
  if (hostName == nullptr || hostName[0] == '\0') {
    const PropertySetId* id = PropertySetOfBoardType(boardType_);
    if (id == nullptr) return false;
    boardNumber_ = boardNumber;
    if (!OpenDevice(*id, boardNumber)) return false;
  } else if (!OpenRemote(boardNumber, displayError, boardType_, hostName)) {
    // Deliberate: the object counts as open, and every later call fails by itself.
    DisplayRqd5Error("Failed to open board on remote host.");
  }
  boardOpen_ = true;
  ReadBoardFigures();
  return true;
}

bool CRQD5WinDriverInterface::OpenDevice(const PropertySetId& id, uint16_t boardNumber) {
  port_ = InstalledDriverPort();
  if (port_ == nullptr) return false;
  propertySet_ = id;
  DriverDevice device;
  if (!port_->Enumerate(id, boardNumber, &device)) return false;
  FindPciSlot(device);
  device_ = port_->Open(device.path, sharedAccess_);
  return device_ != 0;
}

void CRQD5WinDriverInterface::FindPciSlot(const DriverDevice& device) {
  pciSlot_ = 0;
  if (boardType_ == BOARDTYPE_HDCARD) {
    // Deliberate: of this type only the parent is asked, and outside a chassis the slot is unknown.
    MagmaSlot(device.parentLocation, &pciSlot_);
  } else if (!MagmaSlot(device.location, &pciSlot_)) {
    pciSlot_ = device.uiNumber;
  }
}

void CRQD5WinDriverInterface::ForgetDeviceState() {
  events_.fill(0);
  waitCounts_.fill(0);
  frameBaseAddress_ = channel1FrameBase_ = channel2FrameBase_ = 0;
  registerBase_ = registerSize_ = flashBase_ = 0;
  subscriptionProperty_.reset();
}

void CRQD5WinDriverInterface::ReadBoardFigures() {
  boardID_ = 0;
  uint32_t geometry = 0, formatLow = 0, formatHigh = 0;
  const auto read = [this](RegisterField field, uint32_t* value) {
    const RegisterRow& row = RegisterRowOf(field);
    ReadRegister(row.registers[0], value, row.mask, row.shift);
  };
  // With neither road there is nothing to read, and one message has already been shown.
  if (device_ != 0 || IsRemote()) {
    read(RegisterField::BoardIdentity, &boardID_);
    read(RegisterField::FrameGeometry, &geometry);
    read(RegisterField::FrameBufferFormatLow, &formatLow);
    read(RegisterField::FrameBufferFormatHigh, &formatHigh);
  }
  SetMemoryFigures(geometry, formatLow | formatHigh << 4);
}

void CRQD5WinDriverInterface::SetMemoryFigures(uint32_t geometry, uint32_t frameBufferFormat) {
  frameMemorySize_ = FrameMemorySize(boardID_);
  frameSize_ = FrameBufferSize(boardID_, geometry, frameBufferFormat);
  frameCount_ = FrameCount(boardID_, geometry, frameBufferFormat);
}

bool CRQD5WinDriverInterface::SetSharedAccess(bool shared) {
  sharedAccess_ = shared;
  return true;
}

bool CRQD5WinDriverInterface::Close() {
  if (IsRemote()) return CloseRemote();
  if (!boardOpen_) return true;
  if (device_ != 0) {
    UnmapFrameBuffers();
    for (const uint32_t type : kUnsubscribeOrder) ConfigureSubscription(false, type, nullptr);
    DmaUnlockAll();
    UnmapRegisters();
    port_->Close(device_);
  }
  device_ = 0;
  nub_.ForgetHandle();
  boardOpen_ = false;
  return true;
}

bool CRQD5WinDriverInterface::DisplayRqd5Error(const char* message) {
  if (!displayError_) return false;
  ShowMessage("CRQD5WinDriverInterface", message);
  return true;
}

}  // namespace morvane
