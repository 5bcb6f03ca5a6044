#include "base/nx_err.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

namespace morvane {
namespace {

struct NxErrRow {
  int32_t code;
  std::string_view text;
};

// Deliberate: "Undefinged", the blank after "Unknown Error:" and the rows without a full stop.
// clang-format off
constexpr NxErrRow kNxErrRows[] = {
  {NxErrUnsupportedRequest,      "Unsupported Request."},
  {NxErrSuccess,                 "Success"},
  {NxErrInvalidParameter,        "Invalid Parameter."},
  {NxErrParameterNotSupported,   "Parameter Not Supported."},
  {NxErrUnknown,                 "Unknown Error: "},
  {NxErrCloseHandle,             "Close Handle Error."},
  {NxErrUndefinedHandle,         "Undefinged Handle Error."},
  {NxErrHandleAlreadyOpen,       "Handle Already Open."},
  {NxErrOutOfMemory,             "Could Not Allocate Memory."},
  {NxErrVideoFormatNotSupported, "Video Format Not Supported."},
  {NxErrAudioDataNotSupported,   "Audio Data Not Supported."},
  {NxErrCreateVideoFile,         "Could not create Video File. Please change clip name."},
  {NxErrCreateAudioFile,         "Could not create Audio File. Please change clip name."},
  {NxErrCreateFolder,            "Could not create new Folder. Please change clip name."},
  {NxErrOpenVideoFile,           "Could not open Video File."},
  {NxErrOpenAudioFile,           "Could not open Audio File."},
  {NxErrBufferTooSmall,          "Buffer too small."},
  {NxErrUserCancelled,           "User Cancelled."},
  {NxErrOnlyWindowsProducts,     "Only supported on Adobe Windows products."},
  {NxErrEncodeResolution,        "Cannot encode at this resolution."},
  {NxErrEncodeFrameRate,         "Cannot encode at this frame rate."},
  {NxErrEncodeFrameType,         "Cannot encode at this frame type."},
  {NxErrOverlayColorspace,       "Unsupported Overlay Colorspace."},
  {NxErrOnlyAppleHardware,       "Only supported on Apple hardware."},
  {NxErrBoardBusy,               "Sorn Board is busy."},
  {NxErrInitAutoCirculate, "Could not initialize auto circulate. Please re-start Sorn Driver."},
  {NxErrStartAutoCirculate,      "Could not start auto circulate. Please re-start Sorn Driver."},
  {NxErrAllocateFifo,            "Could not allocate fifo. Please free memory and re-try."},
  {NxErrVtrNotReady,             "VTR Not Ready. Please check VTR status and try again."},
  {NxErrNoBoards,                "No Sorn Boards are detected."},
  {NxErrCreateSetupWindow,       "Failed in creating Sorn SetUp Window."},
  {NxErrColorspaceNotSupported,  "This colorspace is not supported."},
  {NxErrNoVideoInput,            "No Video Input is detected."},
  {NxErrVideoInputMismatch,      "Video Input does not match Capture Format."},
  {NxErrDurationZero,            "Duration is 0"},
  {NxErrInsertEditSetup,         "Error in Setting Up the Insert Edit."},
  {NxErrEvenFramesOnly, "Error - only an even number of frames can be printed in this mode."},
  {NxErrNoEditChannels,          "Error - no edit channels are selected."},
  {NxErrVtrOffline,              "VTR is offline. Please check VTR status and try again."},
  {NxErrNoTape,                  "No Tape. Please insert tape into VTR and try again."},
  {NxErrVtrLocal, "VTR is in local mode. Please put VTR in remote mode and try again."},
  {NxErrRecordInhibit,           "Tape Error. Tape is in record inhibit mode."},
};
// clang-format on
constexpr std::string_view kNoRowText = "Unknown Failure.";

constexpr bool RowsAreSound() {
  for (size_t i = 0; i < std::size(kNxErrRows); ++i) {
    if (i > 0 && kNxErrRows[i - 1].code >= kNxErrRows[i].code) return false;
    if (kNxErrRows[i].text.size() + 1 > kNxErrTextBytes) return false;
  }
  return true;
}
static_assert(std::size(kNxErrRows) == 42);
static_assert(RowsAreSound(), "codes strictly rising, every text within the caller's buffer");

}  // namespace

bool NxErrText(int32_t code, char* text) {
  const auto* row =
      std::lower_bound(std::begin(kNxErrRows), std::end(kNxErrRows), code,
                       [](const NxErrRow& r, int32_t wanted) { return r.code < wanted; });
  const bool found = row != std::end(kNxErrRows) && row->code == code;
  const std::string_view chosen = found ? row->text : kNoRowText;
  std::memcpy(text, chosen.data(), chosen.size());
  text[chosen.size()] = '\0';
  return true;
}

}  // namespace morvane
