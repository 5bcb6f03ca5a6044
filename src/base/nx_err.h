#pragma once

#include <cstdint>

namespace morvane {

// Result of every engine, media and toolkit operation: a 32-bit signed code, 0 for success.
// Any 32-bit value is a legal NxErr (codes of a lower layer travel unchanged).
// The bands carry the subsystem: below 10000 general, 10000 up handles and memory, 100000 up media
// files, 200000 up boards and jobs. The gaps in the numbering are part of it.
enum NxErr : int32_t {
  NxErrFailure = -2,  // a refused precondition or a failure without a code of its own
  NxErrUnsupportedRequest = -1,
  NxErrSuccess = 0,
  NxErrInvalidParameter = 1,
  NxErrParameterNotSupported = 2,
  NxErrUnknown = 3,
  NxErrCloseHandle = 10000,
  NxErrUndefinedHandle = 10001,
  NxErrHandleAlreadyOpen = 10002,
  NxErrOutOfMemory = 10003,
  NxErrVideoFormatNotSupported = 100000,
  NxErrAudioDataNotSupported = 100001,
  NxErrCreateVideoFile = 100002,
  NxErrCreateAudioFile = 100003,
  NxErrCreateFolder = 100004,
  NxErrOpenVideoFile = 100005,
  NxErrOpenAudioFile = 100006,
  NxErrBufferTooSmall = 100007,
  NxErrUserCancelled = 100008,
  NxErrOnlyWindowsProducts = 100010,
  NxErrEncodeResolution = 100011,
  NxErrEncodeFrameRate = 100012,
  NxErrEncodeFrameType = 100013,
  NxErrOverlayColorspace = 100014,
  NxErrOnlyAppleHardware = 100015,
  NxErrBoardBusy = 200000,
  NxErrInitAutoCirculate = 200001,
  NxErrStartAutoCirculate = 200002,
  NxErrAllocateFifo = 200003,
  NxErrVtrNotReady = 200005,
  NxErrNoBoards = 200006,
  NxErrCreateSetupWindow = 200007,
  NxErrColorspaceNotSupported = 200008,
  NxErrNoVideoInput = 200010,
  NxErrVideoInputMismatch = 200011,
  NxErrDurationZero = 200012,
  NxErrInsertEditSetup = 200013,
  NxErrEvenFramesOnly = 200014,
  NxErrNoEditChannels = 200015,
  NxErrVtrOffline = 200016,
  NxErrNoTape = 200017,
  NxErrVtrLocal = 200018,
  NxErrRecordInhibit = 200019,
};

inline constexpr int kNxErrTextBytes = 70;  // what a buffer for NxErrText must hold at least

// Writes the text of `code` with its terminator into `text` (at least kNxErrTextBytes bytes).
// Returns: always true; a code without a row reads "Unknown Failure.".
// Threads: any.
bool NxErrText(int32_t code, char* text);

}  // namespace morvane
