#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "media/clip_builder.h"
#include "media/data_vyr.h"
#include "support/test_environment.h"

// Sidecar documents: the two that have known bytes, and the way there and back.
namespace morvane::test {

inline void SetClipName(const std::string& name, NxVyrHead* head) {
  ASSERT_TRUE(PutText(name, head->clipName, kVyrClipNameChars));
}

inline NxVyrHead DefaultHead() {
  NxVyrHead head = {};
  SetClipName("clip_000000.dpx", &head);
  head.parNum = head.parDen = 1;
  head.timeScale = 30000;
  head.timeRate = 1001;
  return head;
}

// The head and block of a tape clip: reel, timecode, aspect, a rate that is written normalised.
inline NxVyrHead TapeHead() {
  NxVyrHead head = DefaultHead();
  head.parNum = 10;
  head.parDen = 11;
  head.timeScale = 2997;
  head.timeRate = 100;
  head.fieldType = 2;
  return head;
}

inline NxMediaMetadata TapeMetadata() {
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName | kMetaTimeCode;
  PutText("REEL 7", metadata.reelName, sizeof metadata.reelName);
  metadata.timeCode = 0x02000100;
  metadata.timeCodeType = 2;
  metadata.dropFrame = 1;
  metadata.tcScale = 30000;
  metadata.tcRate = 1001;
  return metadata;
}

inline NxErr Write(const std::string& path, const NxVyrHead& head,
                   const NxMediaMetadata& metadata) {
  NxDataVYR sidecar;
  sidecar.head = head;
  const NxErr result = sidecar.OpenWrite(path, FolderOf(path), &metadata, kCreateNew, 0x3E, false);
  if (result == NxErrSuccess) {
    EXPECT_EQ(sidecar.Close(), 0);
  }
  return result;
}

struct ReadBack {
  NxErr result = NxErrFailure;
  std::u16string clipName;
  NxVyrHead head = {};
  NxMediaMetadata metadata = {};
};

inline std::unique_ptr<ReadBack> Read(const std::string& path) {
  auto back = std::make_unique<ReadBack>();
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  back->result = sidecar.OpenRead(path, name.get(), &back->head, kOpenExisting, 0x0C, false);
  if (back->result == NxErrSuccess) {
    back->clipName = name.get();
    EXPECT_EQ(sidecar.GetMetadata(&back->metadata), 0);
    EXPECT_EQ(sidecar.Close(), 0);
  }
  return back;
}

inline std::unique_ptr<ReadBack> ReadDocumentText(const std::string& text) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  WriteText(path, text);
  return Read(path);
}

inline constexpr char kHead[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<VYRFileData version=\"1.0\">";

}  // namespace morvane::test
