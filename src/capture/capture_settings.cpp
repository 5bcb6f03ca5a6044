#include "capture/capture_settings.h"

#include <cstring>

#include "base/paths.h"
#include "session/settings_record.h"

namespace morvane {
namespace {

constexpr char kRecordName[] = "ToviCaptureSettings";

std::u16string DefaultFolder() {
  std::u16string folder;
  return Utf8ToUtf16(DefaultVideoFolder(), &folder) ? folder : u"/";
}

}  // namespace

void RestoreCaptureDefaults(const SessionIdentityBlock& identity,
                            const SessionConfigurationBlock& session, CaptureSettings* settings) {
  if (settings == nullptr) return;
  std::memset(settings, 0, sizeof *settings);
  settings->magic = kSettingsMagic;
  settings->identity = identity;
  settings->session = session;
  settings->vtr = DefaultVtrSettings();
  settings->audioAutoSearch = 1;
  settings->audioScrubbing = 1;
  settings->audioVarispeed = 1;
  settings->displayToDesktop = 1;
  for (CaptureFileChoice& choice : settings->files) choice.videoQuality = -1;
  const std::u16string folder = DefaultFolder();
  settings->videoDirectory.Set(folder);
  settings->audioDirectory.Set(folder);
  settings->clipName.Set(u"Untitled Clip 01");
  settings->sequenceOffset.Set(u"000000");
  settings->reelName.Set("Untitled");
  settings->inPoint.Set("00:00:00:00");
  settings->outPoint.Set("00:00:00:00");
  settings->inOutDuration.Set("00:00:00:01");
  settings->durationFrames = 1;
  settings->folderPerSequence = 1;
  settings->reserved2 = 1;
  settings->queuedWriteDepth = 8;
  settings->overlayFile.Set(u"--Unavailable--");
}

std::string CaptureSettingsKey(std::string_view boardName) {
  return "Software\\VYR\\ToviMorvane\\Capture" + std::string(boardName);
}

SettingsLoad LoadCaptureSettings(std::string_view boardName, const CaptureSettings& defaults,
                                 CaptureSettings* settings) {
  size_t bytes = 0;
  switch (ReadSettingsRecord(CaptureSettingsKey(boardName), kRecordName, settings, sizeof *settings,
                             &bytes)) {
    case SettingsRecordState::Read:
      return SettingsLoad::Stored;
    case SettingsRecordState::NotOurs:
      *settings = defaults;
      SaveCaptureSettings(boardName, *settings);
      return SettingsLoad::DefaultsSaved;
    case SettingsRecordState::Unreadable:
      break;
  }
  *settings = defaults;
  return SettingsLoad::DefaultsUnsaved;
}

NxErr SaveCaptureSettings(std::string_view boardName, const CaptureSettings& settings) {
  if (boardName.empty()) return NxErrFailure;
  WriteSettingsRecord(CaptureSettingsKey(boardName), kRecordName, &settings, sizeof settings);
  return NxErrSuccess;
}

uint32_t FileTypeOf(const CaptureSettings& settings) {
  const auto type = static_cast<uint32_t>(settings.fileType);
  return type < kCaptureFileTypes ? type : 0;
}

CaptureFileChoice& ChoicesOf(CaptureSettings* settings) {
  return settings->files[FileTypeOf(*settings)];
}

const CaptureFileChoice& ChoicesOf(const CaptureSettings& settings) {
  return settings.files[FileTypeOf(settings)];
}

}  // namespace morvane
