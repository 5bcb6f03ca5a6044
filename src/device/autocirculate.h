#pragma once

#include <cstdint>

#include "device/driver_records.h"

// The driver's own frame ring: the application says which run of slots circulates on which channel
// and then moves buffers in and out, one call a frame.
namespace morvane {

enum RQD5AutoCirculateCommand : uint32_t {
  ACInit = 0,  // value1 first frame, value2 last, value3 audio, value4 channels, flags
  ACStart = 1,
  ACStop = 2,
  ACControl3 = 3,    // flags[0]
  ACStatus = 4,      // record1: RQD5AutoCirculateStatus
  ACFrameStamp = 5,  // value1 frame number; record1: RQD5FrameStamp
  ACControl6 = 6,
  ACControl7 = 7,  // value1
  ACTransfer = 8,  // record1: RQD5AutoCirculateTransfer, record2: ...TransferStatus
  ACAbort = 9,
  ACControl10 = 10,           // value1, value2
  ACTransferExtended = 11,    // as 8; record3: RQD5RoutingTable or null
  ACTransferFull = 12,        // as 11; record4: kExtraBlockBytes bytes or null
  ACFrameStampExtended = 13,  // as 5; record2: kExtraBlockBytes bytes or null
  ACControl14 = 14,           // record1: kExtraBlockBytes bytes
};

// Anything but idle and running is a transition, and callers keep polling.
enum RQD5AutoCirculateState : uint32_t {
  ACStateIdle = 0,
  ACStateInitialised = 2,
  ACStateStarting = 3,
  ACStateStopping = 4,
  ACStateRunning = 5,
};

// Ring of a channel: the channel value for output, and the same plus this for input.
inline constexpr uint32_t kACInput = 0x100;
inline constexpr uint32_t kACNoFrame = 0xFFFFFFFF;  // activeFrame before the first one

// One frame to move. The binding pins both buffers for the time of the request.
struct RQD5AutoCirculateTransfer {
  uint32_t channelSpec = 0;
  void* videoBuffer = nullptr;
  uint32_t videoSize = 0;  // bytes
  uint32_t videoOffset = 0;
  void* audioBuffer = nullptr;  // multiple of 4 when audioSize is not 0
  uint32_t audioSize = 0;       // bytes, multiple of 4
  uint32_t audioOffset = 0;
  uint32_t frameBufferFormat = 0;
  uint32_t flip = 0;
  uint32_t colourCorrection[3] = {};
  int32_t frameRequest = 0;  // -1: the next available
  uint32_t userData = 0;     // comes back in the frame's stamp
  RQD5Rp188 rp188 = {};
  // What playback sends here is 0, 6, 1 and 1; capture leaves all four zero.
  uint32_t constant72 = 0;
  uint32_t constant76 = 0;
  uint32_t constant80 = 0;
  uint8_t constant84 = 0;
};

// One command of the ring; what each carries stands at the commands.
struct RQD5AutoCirculateData {
  uint32_t command = ACInit;
  uint32_t channelSpec = 0;
  int32_t value1 = 0;
  int32_t value2 = 0;
  int32_t value3 = 0;
  int32_t value4 = 0;
  bool flags[8] = {};
  void* record1 = nullptr;
  void* record2 = nullptr;
  void* record3 = nullptr;
  void* record4 = nullptr;
};

}  // namespace morvane
