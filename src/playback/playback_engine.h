#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/nx_err.h"
#include "base/page_memory.h"
#include "base/shared_word.h"
#include "base/system.h"
#include "media/media_records.h"
#include "playback/playback_settings.h"
#include "playback/playback_sound.h"
#include "playback/read_format.h"
#include "playback/timeline.h"
#include "processing/preview_frame.h"

namespace morvane {

class CRQD5AudioOutput;
class CRQD5Card2;
class NxMediaFileBase;
class PictureSink;
struct NxColorTables;
struct PlaybackJob;
struct RQD5BoardInfo;

// What the card's dropped boundaries of a play waited for, as far as can be told from this side of
// the driver. The three add up to FramesDropped().
struct PlaybackDrops {
  uint32_t disk = 0;       // every frame that was read had been sent: the reader was late
  uint32_t card = 0;       // frames were waiting in the card
  uint32_t processor = 0;  // frames were read and had not been sent yet
};

// Whether an engine keeps its settings: a tool whose options hold for one run does not.
enum class PlaybackStore { Keep, Ignore };

// Plays a timeline (bars, black leader, clip, black trailer) through a card, forwards or
// backwards, with sound on up to sixteen tracks. Play() starts four threads on a ring of frames: a
// reader from the file, a transfer thread to the card, an audio thread, and a preview thread that
// shows in a PictureSink what has gone out. Without a sink the preview only moves on, so that the
// ring never stalls.
//
// A play ends by itself at the bound of its range; then HasEnded() is true and Stop() must follow.
// Looping is the caller's: HasEnded(), Stop(1), Play() again, which goes on from the other bound.
// Threads: main thread, except where said. Operations that may fail return 0, -2 for a refused
// precondition, or the code told.
// Owns: the session with its driver connection, the audio output, the media files, the ring.
//
// A tool's run:
//   engine.Open(board, PlaybackStore::Ignore);
//   engine.OpenClip(path, audioFolder);
//   ... choose the video format for engine.ClipInfo() in engine.Session() ...;
//   engine.KeepSessionChoices(); engine.Activate();
//   engine.Play(1.0, nullptr);
//   while (!engine.HasEnded() && !interrupted) NxSleep(5);
//   engine.GetPlayingFrame(); engine.Stop(still);
class PlaybackEngine {
 public:
  PlaybackEngine();
  ~PlaybackEngine();  // Close()
  PlaybackEngine(const PlaybackEngine&) = delete;
  PlaybackEngine& operator=(const PlaybackEngine&) = delete;

  // --- Life -------------------------------------------------------------------------------------
  // Opens the session and the audio output on the board and loads the settings (defaults where
  // there are none, or with Ignore). -2 when the card cannot be opened.
  NxErr Open(const RQD5BoardInfo& board, PlaybackStore store = PlaybackStore::Keep);
  // Deactivates, closes clip and tracks. -2 when not open.
  NxErr Close();
  // Applies the settings' session configuration to the card, starts the audio ring (muted) and
  // shows the idle output. Redoes the frame plan: a clip may be open already.
  // -2, with the engine not active, when the card refuses.
  NxErr Activate();
  // Stops a play, blacks the output, frees the audio ring and saves the settings. -2 when not
  // active.
  NxErr Deactivate();
  // Takes the session's present selections into the settings, so that Activate() applies them, and
  // redoes the frame plan. -2 unless open, not active, and no play.
  NxErr KeepSessionChoices();

  [[nodiscard]] bool IsOpen() const { return opened_; }
  [[nodiscard]] bool IsActive() const { return active_; }
  // Needs Open().
  [[nodiscard]] CRQD5Card2& Session() { return *session_; }
  [[nodiscard]] const PlaybackSettings& Settings() const { return settings_; }

  // --- Media. Each refuses with -2 during a play or when not open; each redoes the plan ---------

  // Opens the clip at `path` (UTF-8) in place of the one before. Sound that the clip brings, or
  // that lies beside it or in `audioFolder` (empty: the settings' audio directory), fills the
  // tracks from the first on; a sound file may itself be the clip. Returns: 0; what the media layer
  // says (100005 cannot be read, 100000 format), and then the clip before stays open.
  NxErr OpenClip(const std::string& path, const std::string& audioFolder = {});
  NxErr CloseClip();  // its tracks too; position 0
  [[nodiscard]] bool HasClip() const { return clip_ != nullptr; }
  // What the clip says of itself: raster (width, height), rate (timeScale / timeRate, 0 or -1 where
  // the clip does not know), frameCount, sound. All zero without a clip.
  [[nodiscard]] const NxMediaFileInfo& ClipInfo() const { return clipInfo_; }
  // Puts channel `sourceTrack` (from 0, over all files of a set) of the sound file at `path` onto
  // `track`, 0 to 15. Returns: 0; -2 no such track; what the media layer says.
  NxErr OpenAudio(const std::string& path, int32_t track, int32_t sourceTrack = 0);
  NxErr CloseAudio(int32_t track);
  [[nodiscard]] int32_t GetAudioSlip(int32_t track) const;  // frames; 0 beyond the tracks
  NxErr SetAudioSlip(int32_t track, int32_t frames);        // within the track's length

  // --- Choices. Each refuses with -2 during a play or when not open -----------------------------

  NxErr SetRangeType(uint32_t type);  // PlayRange; above 1: sets 0 and returns -2
  NxErr SetLoopType(uint32_t type);   // PlayLoop; above 2: sets 0 and returns -2
  NxErr SetInPoint(int32_t frame);    // -2 outside the timeline or after the out point
  NxErr SetOutPoint(int32_t frame);   // -2 outside the timeline or before the in point
  NxErr SetPosition(int32_t frame);   // where the next play starts; -2 outside the timeline
  NxErr SetVideoEnable(bool on);
  NxErr SetTrackEnable(int32_t track, bool on);
  NxErr SetAudioVarispeed(bool on);         // sound at speeds other than 1
  NxErr SetTimeBaseDisplay(uint32_t base);  // TimeBaseDisplay; also decides on drop frame in RP188
  NxErr SetAudioAutoSearch(bool on);        // a clip's sound is looked for beside it
  NxErr SetEnforceAlignment(bool on);       // the file leaves pictures where the buffer begins
  NxErr SetVideoDirectory(const std::string& utf8);
  NxErr SetAudioDirectory(const std::string& utf8);
  NxErr SetHandles(int32_t frames);         // clamped to 0 .. 60
  NxErr SetTimecodeOffset(int32_t frames);  // clamped to -30 .. 30
  NxErr SetPrintType(uint32_t type);        // PrintType; above 3: -2
  NxErr SetDisplayType(uint32_t type);      // above 1: -2
  // The display size sets the zoom, index 8 leaves it: only then it can be set by itself (else -2).
  // Origin (pixels) and zoom (percent) begin at 0 and 100 each time an engine opens, then the kept
  // index is applied. All three hold from the next play on.
  NxErr SetDisplaySize(uint32_t index);  // above 8: -2
  NxErr SetDisplayOrigin(int32_t x, int32_t y);
  NxErr SetDisplayZoom(float percentX, float percentY);
  NxErr SetBars(bool on, uint32_t seconds);  // seconds above 120 are ignored here and below
  NxErr SetToneLevel(uint32_t percent);      // 0 to 100
  NxErr SetLeader(bool on, uint32_t seconds);
  NxErr SetTrailer(bool on, uint32_t seconds);
  NxErr SetActivationMode(uint32_t mode);  // 0 "Auto", 1 "Manual"; above 1: -2
  // At any time: 0 off, 1 while scrubbing, 2 while playing, 3 always; 0 full, 1 half, 2 quarter.
  NxErr SetDisplayToDesktop(uint32_t mode);  // above 3: -2
  NxErr SetDisplaySpeed(uint32_t speed);     // above 2: -2
  // The tables with which a sink shows YUV pictures of 8 and of 10 bits. Keeps the pointers.
  void SetColorTables(const NxColorTables* eightBit, const NxColorTables* tenBit) {
    tables8_ = eightBit;
    tables10_ = tenBit;
  }

  // --- A play -----------------------------------------------------------------------------------

  // Starts to play at `speed` (source frames per frame of output; negative is backwards) from
  // Position(), or from the near bound of the range when that lies at its far end. A play that runs
  // is stopped first. `sink` may be null; it must outlive the play. `mode` 0 is a plain play; 1,
  // print to tape, needs a tape machine, which this engine does not drive yet: -2.
  // Returns: 0, also when there was nothing to do (not active, engine busy, an empty timeline, no
  // media): ask IsPlaying(); 200003 memory; 200001 AutoCirculate; -2 no thread, or a speed that is
  // 0 or no number. On failure the card is idle again.
  NxErr Play(double speed, PictureSink* sink, int32_t mode = 0);
  // Ends a play. With `still` the last picture stays on the output, otherwise the idle output comes
  // back; that is all it does, with -2, when nothing plays. Safe to repeat.
  NxErr Stop(bool still);

  // --- What a play tells. Any thread, but not while Play() or Stop() run ------------------------

  [[nodiscard]] bool IsPlaying() const { return playing_.Get() != 0; }  // until Stop()
  [[nodiscard]] bool IsCirculating() const;  // frames (or, without video, sound) leave the card
  // True once reader, transfer and audio thread have left by themselves: at the end, or because the
  // card would not start (GetPlayError()).
  [[nodiscard]] bool HasEnded() const;
  [[nodiscard]] double Speed() const { return speed_.Get(); }  // 0 when nothing plays
  // The frame on the output (without pictures: the frame of the sound); becomes Position().
  // Threads: main.
  int32_t GetPlayingFrame();
  [[nodiscard]] int32_t Position() const { return position_; }
  [[nodiscard]] int32_t InPoint() const { return inPoint_; }
  [[nodiscard]] int32_t OutPoint() const { return outPoint_; }
  [[nodiscard]] int32_t TimelineLength() const { return plan_.Length(); }
  [[nodiscard]] const Timeline& GetTimeline() const { return plan_; }
  [[nodiscard]] bool HasVideo() const { return hasVideo_; }  // the next play sends pictures
  [[nodiscard]] bool HasAudio() const { return hasAudio_; }  // and sound
  // Distinct timeline frames that became active on the card in the last play; without video, those
  // whose sound has left.
  [[nodiscard]] int32_t FramesPlayed() const;
  // Frames of the clip that could not be read and went out black.
  [[nodiscard]] int32_t FramesLost() const;
  // 200002 when the card refused to circulate, else 0.
  [[nodiscard]] NxErr GetPlayError() const;
  // The card's count of boundaries without a new frame, while there were frames left to read.
  [[nodiscard]] uint32_t FramesDropped() const;
  [[nodiscard]] PlaybackDrops Drops() const;
  // "Offline"; "Play 1x", "Fast Forward 8x", "Reverse Play -1x", "Rewind -8x"; "Still"; "Stop".
  [[nodiscard]] std::string GetStatusWord() const;

 private:
  [[nodiscard]] bool MayChoose() const { return opened_ && !IsPlaying(); }
  template <typename Change>
  NxErr Choose(Change change);  // under the lock, with the card disarmed
  template <typename Change>
  NxErr Replan(Change change);  // the same, and redoes the frame plan
  void PlanFrames();
  void PlanMedia();
  void PlanBars();
  void PlanReading();
  void PlanSound();
  void DropTracksOf(const NxMediaFileBase* media);
  void FillTracks();

  void Disarm();
  void Arm();
  void RestoreIdle();
  NxErr Launch(double speed, PictureSink* sink);
  void FillJob(double speed, PictureSink* sink);
  void FillCardPart();
  bool InitCirculation();
  bool StartThreads();
  void StopThreads();
  void ReleaseJob();
  void EndPlay(bool still);

  // Main thread.
  std::shared_ptr<CRQD5Card2> session_;
  std::shared_ptr<CRQD5AudioOutput> audio_;
  std::shared_ptr<NxMediaFileBase> clip_;
  PlaybackSound sound_;               // the tracks
  std::shared_ptr<PlaybackJob> job_;  // never null; shared with threads that had to be abandoned
  NxMediaFileInfo clipInfo_ = {};
  PlaybackSettings settings_ = {};
  PlaybackStore store_ = PlaybackStore::Keep;
  NxHandle lock_ = nullptr;
  bool opened_ = false;
  bool active_ = false;
  bool armed_ = false;  // idle, and a single frame may be drawn
  bool sessionApplied_ = false;
  bool audioOpened_ = false;
  bool audioActive_ = false;
  bool still_ = false;  // the last stop kept the picture
  bool hasVideo_ = false;
  bool hasAudio_ = false;
  int32_t audioTrackCount_ = 0;
  uint32_t processorCount_ = 1;
  Timeline plan_;
  ReadFormat read_;
  std::shared_ptr<const PageBuffer> bars_;  // null without bars
  int32_t position_ = 0;
  int32_t inPoint_ = 0;
  int32_t outPoint_ = 0;
  bool anyThreadLost_ = false;  // a thread of this play did not end and had to be abandoned
  PreviewView view_;            // of the desktop preview, from the next play on
  const NxColorTables* tables8_ = nullptr;
  const NxColorTables* tables10_ = nullptr;

  // Main thread writes, all read.
  SharedWord<uint8_t> playing_;
  SharedWord<uint8_t> launched_;  // Play() has returned: only now can a play have ended
  SharedWord<double> speed_;
};

}  // namespace morvane
