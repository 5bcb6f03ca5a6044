#include "playback/playback_settings.h"

#include <cstring>

#include "base/paths.h"
#include "base/settings_store.h"
#include "session/audio_output.h"

namespace morvane {
namespace {

constexpr char kNumberName[] = "MagicNumber";
constexpr char kNumberNameNI[] = "MagicNumberNI";
constexpr char kNumberNameNS[] = "MagicNumberNS";
constexpr char kRecordName[] = "ToviPlaybackSettings";

SettingsStore::Value Number(const char* name, uint32_t number) {
  SettingsStore::Value value;
  value.name = name;
  value.number = number;
  return value;
}

}  // namespace

void ResetPlaybackSettings(uint32_t channel, const SessionConfigurationBlock& session,
                           PlaybackSettings* settings) {
  std::memset(settings, 0, sizeof *settings);
  settings->magic = kPlaybackMagic;
  settings->channel = channel;
  settings->session = session;
  settings->vtr = DefaultVtrSettings();
  CRQD5AudioOutput::GetDefaultFormat(&settings->audio);
  settings->displayToDesktop = 1;
  settings->displaySpeed = 1;
  settings->audioAutoSearch = 1;
  settings->audioScrubbing = 1;
  settings->audioVariSpeed = 1;
  settings->videoEnable = 1;
  settings->lutFile.Set(u"--Unavailable--");
  std::memset(settings->trackEnable, 1, sizeof settings->trackEnable);
  settings->toneLevel = 25;
  settings->previewEdit = 1;
  settings->editVideo = 1;
  std::memset(settings->editAudio, 1, sizeof settings->editAudio);
  std::u16string folder;
  if (!Utf8ToUtf16(DefaultVideoFolder(), &folder)) folder = u"/";
  settings->videoDirectory.Set(folder);
  settings->audioDirectory.Set(folder);
  settings->frameFlagA = 1;
  settings->frameValueA = 10.0F;
  settings->frameValueB = 10.0F;
  settings->frameValueC = 20.0F;
  settings->frameValueD = 20.0F;
  settings->overlayFile.Set(u"--Unavailable--");
}

std::string PlaybackSettingsKey(std::string_view boardSuffix) {
  return "Software\\VYR\\ToviMorvane\\Playback" + std::string(boardSuffix);
}

void LoadPlaybackSettings(std::string_view boardSuffix, const PlaybackSettings& defaults,
                          PlaybackSettings* settings) {
  const std::string key = PlaybackSettingsKey(boardSuffix);
  SettingsStore store;
  uint32_t number = 0;
  uint32_t numberNI = 0;
  uint32_t numberNS = 0;
  const bool ours = store.KeyExists(key) && store.ReadNumber(key, kNumberName, &number) &&
                    store.ReadNumber(key, kNumberNameNI, &numberNI) &&
                    store.ReadNumber(key, kNumberNameNS, &numberNS) && number == kPlaybackMagic &&
                    numberNI == kPlaybackMagicNI && numberNS == kPlaybackMagicNS;
  if (!ours) {
    *settings = defaults;
    SavePlaybackSettings(boardSuffix, *settings);
    return;
  }
  PlaybackSettings stored;
  size_t bytes = 0;
  const bool whole =
      store.ReadBinary(key, kRecordName, &stored, sizeof stored, &bytes) && bytes == sizeof stored;
  *settings = whole ? stored : defaults;
}

void SavePlaybackSettings(std::string_view boardSuffix, const PlaybackSettings& settings) {
  if (boardSuffix.empty()) return;
  SettingsStore::Value record;
  record.name = kRecordName;
  record.binary = true;
  record.data.resize(sizeof settings);
  std::memcpy(record.data.data(), &settings, sizeof settings);
  SettingsStore store;
  // Deliberate: a store that cannot be written loses the settings, not the session.
  (void)store.Write(PlaybackSettingsKey(boardSuffix),
                    {Number(kNumberName, kPlaybackMagic), Number(kNumberNameNI, kPlaybackMagicNI),
                     Number(kNumberNameNS, kPlaybackMagicNS), std::move(record)});
}

}  // namespace morvane
