#pragma once

#include <cstdint>
#include <memory>

#include "base/shared_word.h"
#include "base/system.h"
#include "device/autocirculate.h"
#include "media/media_requests.h"
#include "playback/audio_fill.h"
#include "playback/playback_sound.h"
#include "playback/read_format.h"
#include "playback/slot_ring.h"
#include "playback/timeline.h"
#include "processing/preview_frame.h"
#include "processing/records.h"

namespace morvane {

class CRQD5AudioOutput;
class CRQD5Card2;
class PictureSink;

// How pictures are shown on the desktop.
struct PreviewPlan {
  PreviewView view;
  int32_t aspectX = 1;  // of a pixel
  int32_t aspectY = 1;
  int32_t width = 0;
  int32_t height = 0;
  NXFrameFields fields;
  const NxColorTables* tables8 = nullptr;
  const NxColorTables* tables10 = nullptr;
};

// One play: what Play() decided, the ring, the four threads, and the words that they share.
// The engine and the threads see nothing else of each other, and whatever a thread can touch lives
// as long as the job does: a job with a thread that had to be abandoned is never freed.
struct PlaybackJob {
  // --- Written by the main thread while no thread runs, then only read --------------------------
  std::shared_ptr<CRQD5Card2> session;
  std::shared_ptr<CRQD5AudioOutput> audioOutput;
  std::shared_ptr<NxMediaFileBase> clip;
  std::shared_ptr<const PageBuffer> bars;  // bgrA of the card's raster; null without bars
  PictureSink* sink = nullptr;
  double speed = 1;
  PlayBounds bounds;
  Timeline timeline;
  bool hasVideo = false;
  bool hasAudio = false;
  // Of the card.
  uint32_t channelSpec = 0;
  int32_t levelLimit = 0;              // frames that may wait in the card
  RQD5AutoCirculateTransfer transfer;  // fixed fields
  uint32_t rateScale = 25000;          // clip frames a second are rateScale / rateDuration
  uint32_t rateDuration = 1000;
  uint32_t timecodeScale = 25000;  // card frames a second, in which the timecode counts
  uint32_t timecodeDuration = 1000;
  uint32_t cadence = 0;     // clip frames to card frames: 0 one to one, 1 2:3, 2 each twice
  uint32_t frameWidth = 0;  // of the card's frame
  uint32_t frameHeight = 0;
  bool carriesTimecode = false;
  bool dropFrame = false;  // asked for; counts at 30 and 60 frames a second only
  bool extendedRoute = false;
  bool pacedByPreview = true;
  // Of the clip.
  ReadFormat read;
  bool enforceAlignment = false;
  uint32_t padBytes = 0;    // from the card's frame to the picture
  uint32_t extraBytes = 0;  // by which the card's frame exceeds the picture
  // Of the sound.
  SoundPlan soundPlan;
  PlaybackSound sound;
  float audioLatencyFrames = 0;
  PreviewPlan preview;

  SlotRing ring;
  WorkerThread reader;
  WorkerThread mover;   // the transfer thread
  WorkerThread player;  // the audio thread
  WorkerThread viewer;  // the preview thread

  // --- Main thread writes -----------------------------------------------------------------------
  SharedWord<uint32_t> displayToDesktop;  // also during a play
  SharedWord<uint32_t> displaySpeed;
  SharedWord<uint8_t> audioStarted;  // the audio thread was started
  // --- Reader thread writes ---------------------------------------------------------------------
  SharedWord<int32_t> framesLost;  // of the clip, that could not be read and play black
  // --- Transfer thread writes -------------------------------------------------------------------
  SharedWord<int32_t> currentFrame;  // on the output
  SharedWord<uint8_t> stamped;       // a frame of this play has been on the output
  SharedWord<int32_t> framesPlayed;
  SharedWord<uint32_t> droppedFrames;
  SharedWord<uint32_t> droppedByDisk;  // these three add up to it
  SharedWord<uint32_t> droppedByCard;
  SharedWord<uint32_t> droppedByProcessor;
  SharedWord<uint8_t> startRefused;  // the card does not circulate; the threads leave
  // --- Transfer thread, or without pictures the audio thread
  // --------------------------------------
  SharedWord<uint8_t> circulating;
  // --- Audio thread writes
  // ------------------------------------------------------------------------
  SharedWord<int32_t> audioFrame;  // leaving the card
  SharedWord<int32_t> audioFramesPlayed;
  SharedWord<uint8_t> audioWaitingForVideo;  // the ring is armed

  // Puts the words of a play back to its start, with no thread running.
  void Rewind() {
    ring.Rewind();
    audioStarted.Set(0);
    framesLost.Set(0);
    stamped.Set(0);
    framesPlayed.Set(0);
    droppedFrames.Set(0);
    droppedByDisk.Set(0);
    droppedByCard.Set(0);
    droppedByProcessor.Set(0);
    startRefused.Set(0);
    circulating.Set(0);
    audioFramesPlayed.Set(0);
    audioWaitingForVideo.Set(0);
  }

  // The output has reached the bound. Deliberate: only once a frame of this play has been out, so
  // that a range of one frame is played before it ends.
  [[nodiscard]] bool HasReachedEnd() const {
    return stamped.Get() != 0 && PlayPace(speed).HasReached(currentFrame.Get(), bounds);
  }
  [[nodiscard]] bool SoundIsReady() const {
    return audioStarted.Get() == 0 || audioWaitingForVideo.Get() != 0 || !player.Running();
  }
  // Pictures are shown on the desktop while they play.
  [[nodiscard]] bool PreviewsPlay() const { return displayToDesktop.Get() >= 2; }
};

// Routines of the threads; `context` is the PlaybackJob.
void PlaybackReaderRoutine(void* context);
void PlaybackTransferRoutine(void* context);
void PlaybackAudioRoutine(void* context);
void PlaybackPreviewRoutine(void* context);

}  // namespace morvane
