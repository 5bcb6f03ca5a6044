#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/shared_word.h"
#include "base/system.h"
#include "capture/audio_extract.h"
#include "capture/frame_ring.h"
#include "device/autocirculate.h"
#include "media/media_records.h"
#include "media/media_requests.h"

namespace morvane {

class CRQD5Card2;
class NxMediaFileBase;

// Where a frame's timecode comes from.
enum class CaptureTimecode {
  Embedded,  // RP188 beside the picture
  None,      // zeros, always valid
  // The tape machine's comes with capture from tape.
};

// One capture: what Prepare() decided, the ring, the two threads, and the words that they share.
// The engine and the threads see nothing else of each other, and whatever a thread can touch lives
// as long as the job does: a job with a thread that had to be abandoned is never freed.
struct CaptureJob {
  // --- Written by the main thread while no thread runs, then only read --------------------------
  std::shared_ptr<CRQD5Card2> session;
  std::shared_ptr<NxMediaFileBase> file;
  bool videoOn = false;
  bool audioOn = false;
  CaptureTimecode timecode = CaptureTimecode::None;
  int32_t framesToDo = -1;  // -1: until stop
  int32_t frameLatency = 0;
  bool abortOnDrop = false;
  bool queuedWrites = false;
  int32_t queuedWriteDepth = 0;
  // For the input thread.
  uint32_t channelSpec = 0;
  int32_t cardSlots = 0;               // frames that the card can hold before it drops one
  RQD5AutoCirculateTransfer transfer;  // fixed fields; the slot's buffers are set frame by frame
  // For the writer thread.
  NxImageWriteRequest image;    // fixed fields
  NxTimeCodeRecord stamp = {};  // fixed fields of each frame's timecode
  size_t padBytes = 0;          // lines of the card's frame above the picture
  bool reverseRows = false;
  bool lowerByOneLine = false;
  AudioTrackFormat track;
  int32_t tracks = 0;

  FrameRing ring;
  WorkerThread input;
  WorkerThread writer;

  // --- Main thread writes -----------------------------------------------------------------------
  SharedWord<uint8_t> capturing;  // the card has been started
  // --- Input thread writes ----------------------------------------------------------------------
  SharedWord<uint32_t> framesDropped;  // the card's count
  SharedWord<uint32_t> droppedByDisk;
  SharedWord<uint32_t> droppedByCard;
  SharedWord<uint32_t> droppedByProcessor;
  SharedWord<uint8_t> dropFrame;  // of the timecode, from the first frame that has one
  // --- Writer thread writes ---------------------------------------------------------------------
  SharedWord<int32_t> framesDone;
  SharedWord<int32_t> queuedCount;  // pictures handed to the file in queued mode
  SharedWord<int32_t> writesFailed;
  SharedWord<int32_t> firstError;  // error number of the first failed write; 0: none
  SharedWord<uint8_t> begun;       // a slot with valid timecode has been seen
  char firstTimecode[12] = {};     // complete before `begun` is set

  // Puts the counters of a job back to its start, with no thread running.
  void Rewind() {
    ring.Rewind();
    capturing.Set(0);
    framesDropped.Set(0);
    droppedByDisk.Set(0);
    droppedByCard.Set(0);
    droppedByProcessor.Set(0);
    dropFrame.Set(0);
    framesDone.Set(0);
    queuedCount.Set(0);
    writesFailed.Set(0);
    firstError.Set(0);
    begun.Set(0);
    firstTimecode[0] = '\0';
  }

  // Deliberate: with frame latency the count runs past the length by the latency, since slots that
  // only fill the delay line are behind it.
  [[nodiscard]] bool HasItsLength() const {
    return framesToDo > 0 && framesDone.Get() >= framesToDo + frameLatency;
  }
  [[nodiscard]] bool IsAborted() const { return abortOnDrop && framesDropped.Get() != 0; }
  [[nodiscard]] bool IsFinished() const { return HasItsLength() || IsAborted(); }
};

// Routines of the two threads; `context` is the CaptureJob.
void CaptureInputRoutine(void* context);
void CaptureWriterRoutine(void* context);

}  // namespace morvane
