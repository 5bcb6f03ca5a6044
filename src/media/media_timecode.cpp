#include "media/media_timecode.h"

#include "processing/timecode.h"

namespace morvane {
namespace {

// Returns: the frame count of `word`, false for a rate that timecode does not know.
bool FrameOfWord(const NxMediaMetadata& metadata, int64_t* frame) {
  uint32_t count = 0;
  const auto word = static_cast<int32_t>(metadata.timeCode);
  // Deliberate: at 60 the word counts pairs, so it is taken at 30 and doubled; that gives the
  // stored word back at frame 0. All other rates go through the common routine as they are.
  const bool pairs = metadata.tcScale == 60000;
  const int32_t scale = pairs ? 30000 : metadata.tcScale;
  if (TimecodeBcdToFrame(word, scale, metadata.tcRate, metadata.dropFrame, &count) != 0) {
    return false;
  }
  *frame = pairs ? int64_t{count} * 2 : int64_t{count};
  return true;
}

}  // namespace

NxErr TimecodeOfFrame(const NxMediaMetadata& metadata, int32_t frame, NxTimeCodeRecord* record) {
  *record = {};
  if (frame < 0 || (metadata.presentFlags & kMetaTimeCode) == 0) return NxErrFailure;
  record->flags = kTimeCodePresent;
  record->timeCodeType = metadata.timeCodeType;
  record->dropFrame = metadata.dropFrame;
  record->tcScale = metadata.tcScale;
  record->tcRate = metadata.tcRate;
  int64_t start = 0;
  uint32_t word = 0;
  if (FrameOfWord(metadata, &start)) {
    const int64_t sum = start + frame;
    const auto count = static_cast<int32_t>(sum > INT32_MAX ? INT32_MAX : sum);
    (void)FrameToTimecodeBcd(count, metadata.tcScale, metadata.tcRate,
                             static_cast<int8_t>(metadata.dropFrame), &word);
  }
  record->timeCode = word;
  return NxErrSuccess;
}

bool HasTimecodeRate(const NxMediaMetadata& metadata) {
  int64_t ignored = 0;
  return FrameOfWord(metadata, &ignored);
}

void PutTimecode(const NxTimeCodeRecord& timeCode, NxMediaMetadata* metadata) {
  metadata->timeCode = timeCode.timeCode;
  metadata->userBits = timeCode.userBits;
  metadata->timeCodeType = timeCode.timeCodeType;
  metadata->dropFrame = timeCode.dropFrame;
  metadata->tcScale = timeCode.tcScale;
  metadata->tcRate = timeCode.tcRate;
  metadata->presentFlags |= kMetaTimeCode;
  CompleteMetadata(metadata);
}

}  // namespace morvane
