#include <algorithm>
#include <iterator>

#include "base/paths.h"
#include "capture/capture_engine.h"
#include "device/boards.h"
#include "media/media_factory.h"
#include "media/media_file_base.h"
#include "session/card2.h"

// The lists of the capture tab: how many entries there are, and their texts.
namespace morvane {
namespace {

constexpr const char* kModeTexts[] = {"Capture Now", "Capture Duration", "Capture In/Out"};
constexpr const char* kStyleTexts[] = {"Video Only", "Audio Only", "Video - Audio",
                                       "Video + Audio"};
constexpr int32_t kStyles = 4;
constexpr char kCannotDisplay[] = "Cannot Display Name";

std::string Display(std::u16string_view text) {
  std::string utf8;
  return Utf16ToUtf8(text, &utf8) ? utf8 : kCannotDisplay;
}

// Which of the four styles are offered.
struct Styles {
  bool offered[kStyles] = {};

  [[nodiscard]] int32_t Count() const {
    return static_cast<int32_t>(std::count(std::begin(offered), std::end(offered), true));
  }
};

bool StylesOf(const NxMediaFileBase* file, bool boardHasAudio, Styles* styles) {
  uint8_t flags[kStyles] = {};
  if (file == nullptr || file->GetClipStyles(flags) != NxErrSuccess) return false;
  for (int32_t i = 0; i < kStyles; ++i) {
    styles->offered[i] = flags[i] != 0 && (i == 0 || boardHasAudio);
  }
  return true;
}

}  // namespace

int32_t CaptureEngine::GetNumCaptureModes() const {
  // "Capture In/Out" is offered with a tape machine.
  return static_cast<int32_t>(std::size(kModeTexts)) - 1;
}

NxErr CaptureEngine::GetCaptureModeText(int32_t index, std::string* text) const {
  if (index < 0 || index >= GetNumCaptureModes()) {
    *text = "Cannot Capture.";
    return NxErrFailure;
  }
  *text = kModeTexts[index];
  return NxErrSuccess;
}

NxErr CaptureEngine::GetFileTypeText(int32_t index, std::string* text) const {
  *text = "No File Type Name.";
  if (index < 0 || index >= GetNumFileTypes()) return NxErrFailure;
  NxMediaFileBase* file = CreateMediaFile(static_cast<NxFileType>(index));
  if (file == nullptr) return NxErrFailure;
  char name[64] = {};
  const NxErr result = file->GetMediaName(name);
  if (result == NxErrSuccess) *text = name;
  ReleaseMediaFile(file);
  return result;
}

int32_t CaptureEngine::GetNumStyles() {
  Styles styles;
  return opened_ && StylesOf(file_.get(), HasSound(), &styles) ? styles.Count() : 0;
}

// Deliberate: the index is a place in the table of four, and the first offered entry there or
// behind it answers, so that two indices may give one text.
NxErr CaptureEngine::GetStyleText(int32_t index, std::string* text) {
  if (!opened_) {
    *text = "No Capture Style Found.";
    return NxErrFailure;
  }
  *text = "Cannot Capture to this File.";
  Styles styles;
  if (index < 0 || !StylesOf(file_.get(), HasSound(), &styles)) return NxErrFailure;
  for (int32_t place = index; place < kStyles; ++place) {
    if (!styles.offered[place]) continue;
    *text = kStyleTexts[place];
    return NxErrSuccess;
  }
  return NxErrFailure;
}

int32_t CaptureEngine::GetNumVideoSubtypes() const {
  return file_ != nullptr ? std::max(0, file_->GetNumImageWriteFormats()) : 0;
}

NxErr CaptureEngine::GetVideoSubtypeText(int32_t index, std::string* text) const {
  NxImageWriteFormatDescription format = {};
  if (index < 0 || index >= GetNumVideoSubtypes() ||
      file_->GetImageWriteFormatDescription(index, &format) != NxErrSuccess) {
    *text = "No Video Formats.";
    return NxErrFailure;
  }
  *text = FieldText(format.name, sizeof format.name);
  return NxErrSuccess;
}

int32_t CaptureEngine::GetNumAudioSubtypes() const {
  return file_ != nullptr ? std::max(0, file_->GetNumAudioWriteFormats()) / 2 : 0;
}

NxErr CaptureEngine::GetAudioSubtypeText(int32_t index, std::string* text) const {
  NxAudioWriteFormatDescription format = {};
  const int32_t row = AudioRow(index);
  if (row < 0 || file_->GetAudioWriteFormatDescription(row, &format) != NxErrSuccess) {
    *text = "No Audio Formats.";
    return NxErrFailure;
  }
  *text = FieldText(format.name, sizeof format.name);
  return NxErrSuccess;
}

int32_t CaptureEngine::GetNumAudioTracks() {
  const int32_t row = AudioRow(ChoicesOf(settings_).audioSubtype);
  if (row < 0) return 0;
  const int32_t channels = std::max(1, file_->GetAudioFormatChannels(row));
  const auto board =
      static_cast<int32_t>(session_->GetAudioChannels(session_->GetSessionChannel()));
  return std::min(file_->GetMaxAudioFiles(row), board / channels);
}

// The file class's row of a subtype: its list holds the 48 kHz formats, then as many for 96 kHz.
// -1 for a subtype that does not exist.
int32_t CaptureEngine::AudioRow(int32_t subtype) const {
  const int32_t half = GetNumAudioSubtypes();
  if (subtype < 0 || subtype >= half) return -1;
  return Samples96k() ? subtype + half : subtype;
}

// The digital inputs say their rate in their text.
bool CaptureEngine::Samples96k() const {
  uint32_t index = 0;
  std::string text;
  return opened_ && session_->GetAudioInput(&index) && session_->GetAudioInputDesc(index, &text) &&
         text.ends_with("(96)");
}

bool CaptureEngine::HasSound() const {
  return BoardHasAudio(session_->GetSessionBoardID());
}

std::string CaptureEngine::ClipNameText() const {
  return Display(settings_.clipName.Get());
}

std::string CaptureEngine::VideoDirectoryText() const {
  return Display(settings_.videoDirectory.Get());
}

std::string CaptureEngine::AudioDirectoryText() const {
  return Display(settings_.audioDirectory.Get());
}

}  // namespace morvane
