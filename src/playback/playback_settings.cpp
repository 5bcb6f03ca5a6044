#include "playback/playback_settings.h"

#include <cstring>

#include "base/paths.h"
#include "session/audio_output.h"
#include "session/settings_record.h"

namespace morvane {
namespace {

constexpr char kRecordName[] = "ToviPlaybackSettings";

}  // namespace

void ResetPlaybackSettings(uint32_t channel, const SessionConfigurationBlock& session,
                           PlaybackSettings* settings) {
  std::memset(settings, 0, sizeof *settings);
  settings->magic = kSettingsMagic;
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
  PlaybackSettings stored;
  size_t bytes = 0;
  const SettingsRecordState state = ReadSettingsRecord(PlaybackSettingsKey(boardSuffix),
                                                       kRecordName, &stored, sizeof stored, &bytes);
  const bool whole = state == SettingsRecordState::Read && bytes == sizeof stored;
  *settings = whole ? stored : defaults;
  if (state == SettingsRecordState::NotOurs) SavePlaybackSettings(boardSuffix, *settings);
}

void SavePlaybackSettings(std::string_view boardSuffix, const PlaybackSettings& settings) {
  if (boardSuffix.empty()) return;
  WriteSettingsRecord(PlaybackSettingsKey(boardSuffix), kRecordName, &settings, sizeof settings);
}

}  // namespace morvane
