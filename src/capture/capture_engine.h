#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/nx_err.h"
#include "base/shared_word.h"
#include "base/system.h"
#include "capture/capture_settings.h"
#include "processing/preview_frame.h"

namespace morvane {

class CRQD5Card2;
class NxMediaFileBase;
class PictureSink;
struct NxColorTables;
struct CaptureJob;
struct RQD5BoardInfo;

// Whether an engine keeps its settings: a tool whose options hold for one run does not.
enum class CaptureStore { Keep, Ignore };

// Where the card's dropped frames were lost, as far as can be told from this side of the driver.
// A frame that was dropped while the card still had a free slot in its memory was lost by the card
// (or before it). Otherwise nobody fetched frames for as long as the card could hold them: either
// the ring stood full of frames that the writer had not got to disk, or the ring had room and the
// program itself was late (its input thread, a transfer, or the preview that frees the ring).
// The three add up to FramesDropped().
struct CaptureDrops {
  uint32_t disk = 0;
  uint32_t card = 0;
  uint32_t processor = 0;
};

// Moves frames from one card's memory to media files. Prepare() and Start() on the main thread,
// then two threads: the input thread fetches frames into a ring, the writer thread takes them to
// disk. Somebody calls PreviewRound() every few milliseconds meanwhile, or the ring fills up.
//
// A job ends by itself when it has its length, or at a dropped frame if that is asked for; then
// HasEnded() is true and Stop() must follow. A failed write does not end it: it is counted.
// Threads: main thread, except where said. Operations that may fail return 0, -2 for a refused
// precondition, or the code told.
// Owns: the session with its driver connection, the file object, the ring.
//
// A tool's run:
//   engine.Open(board, CaptureStore::Ignore); ... choose in engine.Session() ...;
//   engine.KeepSessionChoices(); engine.Activate(); engine.SetFileType(7) ...;
//   engine.Prepare(); engine.Start();
//   while (!engine.HasEnded() && !interrupted) { engine.PreviewRound(nullptr); NxSleep(2); }
//   engine.Stop();
class CaptureEngine {
 public:
  CaptureEngine();
  ~CaptureEngine();  // Close()
  CaptureEngine(const CaptureEngine&) = delete;
  CaptureEngine& operator=(const CaptureEngine&) = delete;

  // --- Life -------------------------------------------------------------------------------------
  // Opens the session on the board, loads its settings (defaults where there are none, or with
  // Ignore) and makes the file object of the stored file type. -2 when the card cannot be opened.
  NxErr Open(const RQD5BoardInfo& board, CaptureStore store = CaptureStore::Keep);
  // Deactivates first. -2 when not open.
  NxErr Close();
  // Applies the settings' session configuration to the card and shows its live input.
  // -2, with nothing changed, when the card refuses.
  NxErr Activate();
  // Stops a job, blacks the output and saves the settings. -2 when not active.
  NxErr Deactivate();
  // Takes the session's present selections into the settings, so that Activate() applies them.
  // -2 unless open, not active, and no job.
  NxErr KeepSessionChoices();

  [[nodiscard]] bool IsOpen() const { return opened_; }
  [[nodiscard]] bool IsActive() const { return active_; }
  [[nodiscard]] bool HasLiveInput() const { return liveInput_; }
  // Needs Open().
  [[nodiscard]] CRQD5Card2& Session() { return *session_; }
  [[nodiscard]] const CaptureSettings& Settings() const { return settings_; }

  // --- A job ------------------------------------------------------------------------------------
  // Checks the input, sets the card, makes folder and files, takes the ring's memory and
  // initialises AutoCirculate. A job that is queued or running is stopped first. Nothing that
  // exists is ever overwritten; on failure all that was made is removed again.
  // Returns: 0; 200010 no input; 200011 input in another format; 200008 the card cannot deliver
  // the file's pixel format; 100004 folder; what the file's create says (100000 - 100003); 200003
  // memory; 200001 AutoCirculate; -2 not active, engine busy, or a choice that does not exist.
  // "Capture In/Out" needs a tape machine, which this engine does not drive yet: 200005.
  NxErr Prepare();
  // Launches the threads and AutoCirculate. Returns: 0; -2 unless queued; 200002, and then the job
  // is undone.
  NxErr Start();
  // Ends the job: the input stops, the writer empties the ring (a job without a length: at most
  // 300 frames more), files are closed. A clip without a frame is deleted with its folder. If the
  // job ran, the clip name advances. Safe to repeat; nothing happens without a job.
  void Stop();

  // One round of the preview: moves the mark that frees the ring's slots, and shows the newest
  // finished picture in `sink` (null: nothing is shown) when the writer is not behind.
  // Returns: true if a picture was shown.
  // Threads: one thread, not while Prepare(), Start() or Stop() run.
  bool PreviewRound(PictureSink* sink);
  // What ShowLiveInput did: the choices do not want a picture, or there is a job; the input has no
  // signal or cannot be read; a picture was shown.
  enum class LivePicture { NotWanted, NoSignal, Shown };
  // Shows the frame that the live input receives now. `buffer` (page memory, its contents lost)
  // takes it as 4 bytes a pixel of the card's frame.
  // Threads: one thread, not while a setter, Activate(), Deactivate(), Prepare() or Stop() runs.
  LivePicture ShowLiveInput(PictureSink* sink, void* buffer, size_t bytes);
  // The tables with which a sink shows YUV pictures of 8 and of 10 bits. Keeps the pointers.
  void SetColorTables(const NxColorTables* eightBit, const NxColorTables* tenBit) {
    tables8_ = eightBit;
    tables10_ = tenBit;
  }
  // Size of the pictures that a round shows, for PictureSink::Begin().
  void GetPreviewSize(int32_t* width, int32_t* height) const;

  // --- What a job tells. Any thread, but not while Prepare() or Stop() runs; kept until the next
  // Prepare() ------------------------------------------------------------------------------------
  [[nodiscard]] bool IsQueued() const { return queued_.Get() != 0; }
  [[nodiscard]] bool IsCapturing() const { return capturing_.Get() != 0; }  // until Stop()
  [[nodiscard]] bool HasEnded() const;  // capturing, and both threads have left
  [[nodiscard]] int32_t FramesCaptured() const;
  [[nodiscard]] uint32_t FramesDropped() const;
  // "00:00:05:00  ( 150 )", at the format's rate.
  [[nodiscard]] std::string FramesCapturedText() const;
  [[nodiscard]] std::string FramesDroppedText() const;
  // "Offline", "Capture Queued", "Capturing...", what is wrong with the input, or "Idle".
  [[nodiscard]] std::string StatusText();
  [[nodiscard]] bool WasAborted() const;  // ended by a dropped frame
  // Frames come in and none is written, because none has carried timecode so far.
  [[nodiscard]] bool AwaitsTimecode() const;
  [[nodiscard]] CaptureDrops Drops() const;
  // Frames whose picture or sound did not get to disk, and the system's words for the first.
  [[nodiscard]] int32_t WritesFailed() const;
  [[nodiscard]] std::string FirstWriteError() const;
  // Words for what failed when the last job's files were closed and brought to the disk; empty when
  // all went well. The end of the clip may then be lost.
  [[nodiscard]] std::string CloseError() const;
  // The last job's writer did not answer any more and had to be abandoned: its clip is not closed,
  // the frames that FramesCaptured() counts are whole.
  [[nodiscard]] bool WriterWasLost() const { return writerGone_; }
  [[nodiscard]] std::string FirstTimecode() const;  // of the first frame written; empty: none
  // Full paths as they were created; empty for what the clip does not have or when it was deleted.
  [[nodiscard]] const std::string& ClipPath() const { return clipPath_; }
  [[nodiscard]] const std::vector<std::string>& AudioPaths() const { return audioPaths_; }
  // Bytes that a second of the prepared job takes on the disks of pictures and of sound.
  [[nodiscard]] uint64_t PictureBytesPerSecond() const { return pictureBytesPerSecond_; }
  [[nodiscard]] uint64_t SoundBytesPerSecond() const { return soundBytesPerSecond_; }

  // --- Choices. Each refuses with -2, the field untouched, during a job or when not open ---------
  NxErr SetCaptureMode(int32_t mode);
  NxErr SetFileType(int32_t type);
  NxErr SetStyle(int32_t index);         // out of range: sets 0 and returns -2; so the next two
  NxErr SetVideoSubtype(int32_t index);  // resets a quality that the subtype does not allow
  NxErr SetAudioSubtype(int32_t index);  // resets the tracks
  NxErr SetAudioTracks(int32_t index);   // the count is one more
  NxErr SetVideoQuality(int32_t quality);
  NxErr SetVideoDirectory(const std::string& utf8);
  NxErr SetAudioDirectory(const std::string& utf8);
  // These also need an active engine whose lock is free.
  NxErr SetClipName(const std::string& utf8);        // empty: "Untitled Clip 01"; 250 characters
  NxErr SetSequenceOffset(const std::string& text);  // digits; padded to four
  NxErr SetReelName(const std::string& utf8);        // empty: "Untitled"
  NxErr SetFolderPerSequence(bool on);
  NxErr SetAbortOnDrop(bool on);
  NxErr SetIn(const std::string& timecode);
  NxErr SetOut(const std::string& timecode);
  NxErr SetInOutDuration(const std::string& timecode);
  NxErr SetDurationFrames(int32_t frames);
  // These also need the lock, but no active engine.
  NxErr SetHandles(int32_t frames);         // clamped to 0 .. 60
  NxErr SetTimecodeOffset(int32_t frames);  // clamped to -30 .. 30
  NxErr SetEnforceAlignment(bool on);
  NxErr SetAudioAutoSearch(bool on);
  NxErr SetAudioScrubbing(bool on);
  NxErr SetAudioVarispeed(bool on);
  // Display of the desktop preview.
  NxErr SetDisplayToDesktop(int32_t mode);  // 0 .. 3
  NxErr SetDisplayType(int32_t type);       // 0, 1
  NxErr SetDisplaySize(int32_t index);      // 0 .. 8; sets the zoom
  NxErr SetDisplayOrigin(int32_t x, int32_t y);
  NxErr SetDisplayZoom(float percentX, float percentY);
  NxErr SetActivationMode(int32_t mode);  // 0, 1

  // --- Lists. Count, and the text of an entry: 0, or -2 with words instead
  // ------------------------
  [[nodiscard]] int32_t GetNumCaptureModes() const;
  NxErr GetCaptureModeText(int32_t index, std::string* text) const;
  [[nodiscard]] int32_t GetNumFileTypes() const { return kCaptureFileTypes; }
  NxErr GetFileTypeText(int32_t index, std::string* text) const;
  [[nodiscard]] int32_t GetNumStyles();
  NxErr GetStyleText(int32_t index, std::string* text);
  [[nodiscard]] int32_t GetNumVideoSubtypes() const;
  NxErr GetVideoSubtypeText(int32_t index, std::string* text) const;
  [[nodiscard]] int32_t GetNumAudioSubtypes() const;  // half of the file class's list
  NxErr GetAudioSubtypeText(int32_t index, std::string* text) const;
  [[nodiscard]] int32_t GetNumAudioTracks();
  // Texts for display: "Cannot Display Name" when there is no 8-bit form.
  [[nodiscard]] std::string ClipNameText() const;
  [[nodiscard]] std::string VideoDirectoryText() const;
  [[nodiscard]] std::string AudioDirectoryText() const;

 private:
  friend class CapturePreparation;  // the steps of Prepare()

  // What a setter asks of the engine before it touches a field.
  enum class Guard { Open, OpenLocked, ActiveLocked };
  template <typename Change>
  NxErr Guarded(Guard guard, Change change);
  [[nodiscard]] bool MayChoose() const;

  void UndoJob();       // after a failed start
  void DiscardFiles();  // closes, deletes, and removes the folder that this job made
  void CloseClip();
  void StopInput();
  void StopWriter();
  void ReleaseJob();

  void MakeFile();
  void LiveInputOn();
  [[nodiscard]] PreviewSource Source() const;
  [[nodiscard]] bool HasSound() const;
  [[nodiscard]] bool Samples96k() const;
  [[nodiscard]] int32_t AudioRow(int32_t subtype) const;
  [[nodiscard]] std::string CountText(int32_t count) const;

  // Main thread.
  std::shared_ptr<CRQD5Card2> session_;
  std::shared_ptr<NxMediaFileBase> file_;
  std::shared_ptr<CaptureJob> job_;  // never null; shared with threads that had to be abandoned
  CaptureSettings settings_;
  CaptureStore store_ = CaptureStore::Keep;
  NxHandle lock_ = nullptr;
  bool opened_ = false;
  bool active_ = false;
  bool inputConfigured_ = false;
  bool liveInput_ = false;
  PreviewView view_;        // of the desktop preview
  bool inputLost_ = false;  // this job's thread did not end and had to be abandoned
  bool writerLost_ = false;
  bool writerGone_ = false;  // the same, kept for who asks after the job
  int closeError_ = 0;       // error number; 0: none
  const NxColorTables* tables8_ = nullptr;
  const NxColorTables* tables10_ = nullptr;
  std::string madeFolder_;  // by this job; empty: none
  std::string clipPath_;
  std::vector<std::string> audioPaths_;
  uint64_t pictureBytesPerSecond_ = 0;
  uint64_t soundBytesPerSecond_ = 0;

  // Main thread writes, all read.
  SharedWord<uint8_t> queued_;
  SharedWord<uint8_t> capturing_;
};

}  // namespace morvane
