#pragma once

#include <cstdint>
#include <memory>

#include "media/media_file_base.h"
#include "playback/playback_settings.h"

namespace morvane {

// Where a track's sound comes from: one channel of one sound file of a clip or file set.
struct AudioTrackSource {
  std::shared_ptr<NxMediaFileBase> media;  // null: the track is silent
  int32_t file = 0;                        // of the set
  int32_t channel = 0;                     // within the file
  int32_t channels = 1;                    // of the file, interleaved
  int32_t length = 0;                      // frames of video
  int32_t slip = 0;                        // frames by which the file is ahead of the timeline
  double sampleRate = 0;
  int32_t bitsPerSample = 0;
  bool floatingPoint = false;
  bool bigEndian = false;
};

// The tracks of a timeline.
struct PlaybackSound {
  AudioTrackSource tracks[kPlaybackTracks];
};

}  // namespace morvane
