#include "capture/capture_settings.h"

#include <cstring>

#include "base/paths.h"
#include "base/settings_store.h"

namespace morvane {
namespace {

constexpr char kNumberName[] = "MagicNumber";
constexpr char kNumberNameNI[] = "MagicNumberNI";
constexpr char kNumberNameNS[] = "MagicNumberNS";
constexpr char kRecordName[] = "ToviCaptureSettings";

std::u16string DefaultFolder() {
  std::u16string folder;
  return Utf8ToUtf16(DefaultVideoFolder(), &folder) ? folder : u"/";
}

SettingsStore::Value Number(const char* name, uint32_t number) {
  SettingsStore::Value value;
  value.name = name;
  value.number = number;
  return value;
}

}  // namespace

void RestoreCaptureDefaults(const SessionIdentityBlock& identity,
                            const SessionConfigurationBlock& session, CaptureSettings* settings) {
  if (settings == nullptr) return;
  std::memset(settings, 0, sizeof *settings);
  settings->magic = kCaptureMagic;
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
  const std::string key = CaptureSettingsKey(boardName);
  SettingsStore store;
  uint32_t number = 0;
  uint32_t numberNI = 0;
  uint32_t numberNS = 0;
  const bool ours = store.KeyExists(key) && store.ReadNumber(key, kNumberName, &number) &&
                    store.ReadNumber(key, kNumberNameNI, &numberNI) &&
                    store.ReadNumber(key, kNumberNameNS, &numberNS) && number == kCaptureMagic &&
                    numberNI == kCaptureMagicNI && numberNS == kCaptureMagicNS;
  if (!ours) {
    *settings = defaults;
    SaveCaptureSettings(boardName, *settings);
    return SettingsLoad::DefaultsSaved;
  }
  size_t bytes = 0;
  if (!store.ReadBinary(key, kRecordName, settings, sizeof *settings, &bytes)) {
    *settings = defaults;
    return SettingsLoad::DefaultsUnsaved;
  }
  return SettingsLoad::Stored;
}

NxErr SaveCaptureSettings(std::string_view boardName, const CaptureSettings& settings) {
  if (boardName.empty()) return NxErrFailure;
  SettingsStore::Value record;
  record.name = kRecordName;
  record.binary = true;
  record.data.resize(sizeof settings);
  std::memcpy(record.data.data(), &settings, sizeof settings);
  SettingsStore store;
  // Deliberate: a store that cannot be written loses the settings, not the session.
  (void)store.Write(CaptureSettingsKey(boardName),
                    {Number(kNumberName, kCaptureMagic), Number(kNumberNameNI, kCaptureMagicNI),
                     Number(kNumberNameNS, kCaptureMagicNS), std::move(record)});
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
