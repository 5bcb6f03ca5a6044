#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>

#include "base/paths.h"
#include "media/media_factory.h"
#include "media/media_file_base.h"
#include "playback/engine_choice.h"
#include "playback/playback_engine.h"
#include "playback/playback_job.h"
#include "session/card2.h"

// What is played: the clip, and the sound files of the tracks.
namespace morvane {
namespace {

bool IsSoundFile(const std::string& path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string::npos) return false;
  std::string extension = path.substr(dot + 1);
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension == "wav";
}

// Tracks and play share the object; the last one closes it.
std::shared_ptr<NxMediaFileBase> Adopt(MediaFilePtr file) {
  NxMediaFileBase* raw = file.release();
  (void)raw->PrepareDecoder();
  return {raw, [](NxMediaFileBase* media) {
            (void)media->ReleaseDecoder();
            (void)media->Close();
            ReleaseMediaFile(media);
          }};
}

NxErr OpenMedia(const std::string& path, bool wantAudio, const std::string& audioFolder,
                NxMediaFileInfo* info, std::shared_ptr<NxMediaFileBase>* media) {
  MediaFilePtr file;
  *info = {};
  const NxErr result = IsSoundFile(path)
                           ? OpenMediaSound(path, false, info, &file)
                           : OpenMediaClip(path, wantAudio, audioFolder, 0, false, info, &file);
  if (result != NxErrSuccess) return result;
  if (file == nullptr) return NxErrFailure;
  *media = Adopt(std::move(file));
  return NxErrSuccess;
}

int32_t SoundChannels(const NxMediaFileInfo& info) {
  if (info.streams == NxStreamsPicture || info.audio.fileCount < 1) return 0;
  const int32_t files = std::min<int32_t>(info.audio.fileCount, kMaxAudioFiles);
  return files * std::max<int32_t>(info.audio.channelsPerFile, 0);
}

// Channel `index` over all files of the set.
AudioTrackSource SourceOf(const std::shared_ptr<NxMediaFileBase>& media,
                          const NxMediaFileInfo& info, int32_t index) {
  AudioTrackSource source;
  source.media = media;
  source.channels = info.audio.channelsPerFile;
  source.file = index / source.channels;
  source.channel = index % source.channels;
  source.sampleRate = static_cast<double>(info.audio.sampleRate);
  source.bitsPerSample = info.audio.bitsPerSample;
  source.floatingPoint = info.audio.fourcc == FourCC("32af");
  source.bigEndian = info.audio.bigEndian != 0;
  return source;
}

}  // namespace

NxErr PlaybackEngine::OpenClip(const std::string& path, const std::string& audioFolder) {
  if (!MayChoose()) return NxErrFailure;
  std::string folder = audioFolder;
  if (folder.empty() && !Utf16ToUtf8(settings_.audioDirectory.Get(), &folder)) folder.clear();
  NxMediaFileInfo info;
  std::shared_ptr<NxMediaFileBase> media;
  const NxErr result = OpenMedia(path, settings_.audioAutoSearch != 0, folder, &info, &media);
  if (result != NxErrSuccess) return result;
  return Replan([&] {
    DropTracksOf(clip_.get());
    clip_ = media;
    clipInfo_ = info;
    FillTracks();
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::CloseClip() {
  return Replan([&] {
    DropTracksOf(clip_.get());
    clip_.reset();
    clipInfo_ = {};
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::OpenAudio(const std::string& path, int32_t track, int32_t sourceTrack) {
  if (!MayChoose() || track < 0 || track >= kPlaybackTracks) return NxErrFailure;
  NxMediaFileInfo info;
  std::shared_ptr<NxMediaFileBase> media;
  const NxErr result = OpenMedia(path, true, {}, &info, &media);
  if (result != NxErrSuccess) return result;
  if (sourceTrack < 0 || sourceTrack >= SoundChannels(info)) return NxErrFailure;
  return Replan([&] {
    sound_.tracks[track] = SourceOf(media, info, sourceTrack);
    return NxErrSuccess;
  });
}

NxErr PlaybackEngine::CloseAudio(int32_t track) {
  if (track < 0 || track >= kPlaybackTracks) return NxErrFailure;
  return Replan([&] {
    sound_.tracks[track] = {};
    return NxErrSuccess;
  });
}

int32_t PlaybackEngine::GetAudioSlip(int32_t track) const {
  return track < 0 || track >= kPlaybackTracks ? 0 : sound_.tracks[track].slip;
}

NxErr PlaybackEngine::SetAudioSlip(int32_t track, int32_t frames) {
  if (track < 0 || track >= kPlaybackTracks) return NxErrFailure;
  return Choose([&] {
    AudioTrackSource& source = sound_.tracks[track];
    if (frames < -source.length || frames > source.length) return NxErrFailure;
    source.slip = frames;
    return NxErrSuccess;
  });
}

void PlaybackEngine::DropTracksOf(const NxMediaFileBase* media) {
  if (media == nullptr) return;
  for (AudioTrackSource& source : sound_.tracks) {
    if (source.media.get() == media) source = {};
  }
}

// The clip's own sound, from the first track on.
void PlaybackEngine::FillTracks() {
  const int32_t channels = std::min<int32_t>(SoundChannels(clipInfo_), kPlaybackTracks);
  for (int32_t track = 0; track < channels; ++track) {
    sound_.tracks[track] = SourceOf(clip_, clipInfo_, track);
  }
}

}  // namespace morvane
