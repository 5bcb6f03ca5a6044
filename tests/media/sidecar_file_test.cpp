// The sidecar as a file and as an object: what stays, what is updated, what is refused.
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

#include "base/file_io.h"
#include "media/sidecar_builder.h"

namespace morvane::test {
namespace {

TEST(SidecarFile, DocumentThatIsThereStaysAsItIs) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, DefaultHead(), {}), 0);
  const auto before = ReadBytes(path);
  EXPECT_EQ(Write(path, TapeHead(), TapeMetadata()), 0);
  EXPECT_EQ(ReadBytes(path), before);
}

TEST(SidecarFile, ShorterUpdateLeavesNoOldEnd) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName;
  PutText("A VERY LONG NAME OF A REEL", metadata.reelName, sizeof metadata.reelName);
  ASSERT_EQ(Write(path, DefaultHead(), metadata), 0);
  const size_t longBytes = ReadBytes(path).size();
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  PutText("B", metadata.reelName, sizeof metadata.reelName);
  EXPECT_EQ(sidecar.SetMetadata(&metadata), 0);
  EXPECT_EQ(sidecar.Close(), 0);
  EXPECT_LT(ReadBytes(path).size(), longBytes);
  const auto back = Read(path);
  ASSERT_EQ(back->result, 0);
  EXPECT_STREQ(back->metadata.reelName, "B");
  EXPECT_EQ(back->clipName, u"clip_000000.dpx");
}

TEST(SidecarFile, UpdateThatFailsLeavesFileAndBlock) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, TapeHead(), TapeMetadata()), 0);
  const auto before = ReadBytes(path);
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  NxMediaMetadata metadata = {};
  metadata.presentFlags = kMetaReelName;
  PutText("ANOTHER REEL", metadata.reelName, sizeof metadata.reelName);
  for (const FileCall call : {FileCall::kOpen, FileCall::kWrite, FileCall::kTruncate}) {
    {
      const FileFault fault(call, 1, ENOSPC);
      EXPECT_EQ(sidecar.SetMetadata(&metadata), -2);
    }
    EXPECT_EQ(ReadBytes(path), before);
    NxMediaMetadata block;
    ASSERT_EQ(sidecar.GetMetadata(&block), 0);
    EXPECT_STREQ(block.reelName, "REEL 7");
  }
  metadata.presentFlags = 0;
  EXPECT_EQ(sidecar.SetMetadata(&metadata), -2) << "no section named";
}

TEST(SidecarFile, HalfWrittenDocumentIsRemoved) {
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  const FileFault fault(FileCall::kWrite, 1, ENOSPC);
  EXPECT_EQ(Write(path, DefaultHead(), {}), 0) << "frames without a sidecar are a clip";
  EXPECT_FALSE(Exists(path));
}

TEST(SidecarFile, StatesAndRefusals) {
  const std::string folder = FreshFolder("vyr");
  const std::string path = folder + "/a.vyr";
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  NxMediaMetadata metadata = {};
  EXPECT_EQ(sidecar.GetMetadata(&metadata), 2);
  EXPECT_EQ(sidecar.Close(), -2);
  EXPECT_EQ(sidecar.OpenRead(path, nullptr, nullptr, kOpenExisting, 0x0C, false), 1);
  EXPECT_EQ(sidecar.OpenRead(path, name.get(), nullptr, 0, 0x0C, false), 100005);
  EXPECT_EQ(sidecar.OpenWrite(path, nullptr, nullptr, kCreateNew, 0x3E, false), 1);
  EXPECT_EQ(sidecar.OpenWrite(path, folder, nullptr, kOpenExisting, 0x3E, false), 0);
  EXPECT_FALSE(Exists(path));
  EXPECT_EQ(sidecar.IsReadable(), -2);
  sidecar.head = DefaultHead();
  ASSERT_EQ(sidecar.OpenWrite(path, folder, nullptr, kCreateNew, 0x3E, false), 0);
  EXPECT_EQ(sidecar.IsReadable(), -2);
  EXPECT_EQ(sidecar.OpenWrite(path, folder, nullptr, kCreateNew, 0x3E, false), 10002);
  EXPECT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 10002);
  metadata.timeCode = 5;
  EXPECT_EQ(sidecar.SetMetadata(&metadata), -2) << "while writing it only replaces the block";
  metadata = {};
  EXPECT_EQ(sidecar.GetMetadata(&metadata), 0);
  EXPECT_EQ(metadata.timeCode, 5u);
  EXPECT_EQ(sidecar.GetMetadata(nullptr), 2);
  EXPECT_EQ(sidecar.DeleteFile(), -2);
  EXPECT_EQ(sidecar.Close(), 0);
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  EXPECT_EQ(sidecar.IsReadable(), 0);
  char text[260];
  EXPECT_EQ(sidecar.GetFolder(text, false), 0);
  EXPECT_EQ(std::string(text), folder);
  EXPECT_EQ(sidecar.GetClipName(text, false), 0);
  EXPECT_STREQ(text, "clip_000000.dpx");
  EXPECT_EQ(sidecar.ReservedA(), 2);
  EXPECT_EQ(sidecar.ReservedB(), 0);
  EXPECT_EQ(sidecar.Close(), 0);
  EXPECT_EQ(sidecar.DeleteFile(), 0);
  EXPECT_FALSE(Exists(path));
}

TEST(SidecarFile, ClipNameIsCutTo31CharactersInItsShortForm) {
  NxVyrHead head = DefaultHead();
  SetClipName(std::string(40, 'n'), &head);
  const std::string path = FreshFolder("vyr") + "/a.vyr";
  ASSERT_EQ(Write(path, head, {}), 0);
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR sidecar;
  ASSERT_EQ(sidecar.OpenRead(path, name.get(), nullptr, kOpenExisting, 0x0C, false), 0);
  char text[64];
  EXPECT_EQ(sidecar.GetClipName(text, false), 0);
  EXPECT_EQ(std::string(text), std::string(31, 'n'));
}

TEST(SidecarFile, WidePathsOpenTheSameFile) {
  const std::string folder = FreshFolder("vyr");
  const std::string path = folder + "/\xC3\x84.vyr";
  std::u16string widePath, wideFolder;
  ASSERT_TRUE(Utf8ToUtf16(path, &widePath));
  ASSERT_TRUE(Utf8ToUtf16(folder, &wideFolder));
  NxDataVYR writer;
  writer.head = DefaultHead();
  ASSERT_EQ(writer.OpenWrite(widePath, wideFolder, nullptr, kCreateNew, 0x3E, true), 0);
  EXPECT_EQ(writer.Close(), 0);
  EXPECT_TRUE(Exists(path));
  auto name = std::make_unique<char16_t[]>(kVyrClipNameChars);
  NxDataVYR reader;
  ASSERT_EQ(reader.OpenRead(widePath, name.get(), nullptr, kOpenExisting, 0x0C, true), 0);
  auto folderBack = std::make_unique<char16_t[]>(kNxFileNameChars);
  EXPECT_EQ(reader.GetFolder(folderBack.get(), true), 0);
  EXPECT_EQ(std::u16string(folderBack.get()), wideFolder);
}

}  // namespace
}  // namespace morvane::test
