#include "media/media_records.h"

#include <cstring>

namespace morvane {

void CompleteMetadata(NxMediaMetadata* metadata) {
  metadata->valid = 1;
  metadata->size = sizeof(NxMediaMetadata);
  metadata->magic = kMetadataMagic;
  metadata->extended.kind = 1;
  metadata->extended.bytes = sizeof(NxMediaExtended);
}

NxErr MergeMetadata(const NxMediaMetadata& from, NxMediaMetadata* into) {
  const uint32_t bits = from.presentFlags & kMetaAllBits;
  if (bits == 0) return NxErrFailure;
  if (bits & kMetaKeyKode) std::memcpy(into->keyKode, from.keyKode, sizeof from.keyKode);
  if (bits & kMetaTimeCode) {
    into->timeCode = from.timeCode;
    into->userBits = from.userBits;
    into->timeCodeType = from.timeCodeType;
    into->dropFrame = from.dropFrame;
    into->tcScale = from.tcScale;
    into->tcRate = from.tcRate;
  }
  if (bits & kMetaProject) std::memcpy(into->project, from.project, sizeof from.project);
  if (bits & kMetaReelName) std::memcpy(into->reelName, from.reelName, sizeof from.reelName);
  if (bits & kMetaDescription) {
    std::memcpy(into->description, from.description, sizeof from.description);
  }
  if (bits & kMetaScene) std::memcpy(into->scene, from.scene, sizeof from.scene);
  if (bits & kMetaShot) std::memcpy(into->shot, from.shot, sizeof from.shot);
  if (bits & kMetaTake) std::memcpy(into->take, from.take, sizeof from.take);
  if (bits & kMetaExtended) into->extended = from.extended;
  into->presentFlags |= bits;
  CompleteMetadata(into);
  return NxErrSuccess;
}

}  // namespace morvane
