#include "base/file_io.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "base/page_memory.h"
#include "child_process.h"
#include "support/test_environment.h"

namespace morvane {
namespace {

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Put(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

class FileTest : public testing::Test {
 protected:
  std::string folder_ = test::FreshFolder("file");
  std::string path_ = folder_ + "/clip";
};

TEST_F(FileTest, ReadsWhatItWroteAtAnyPlace) {
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kCreate), 0);
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(file.WriteAt("world", 5, 6), 0);
  EXPECT_EQ(file.WriteAt("hello,", 6, 0), 0);
  char text[20] = {};
  size_t done = 77;
  EXPECT_EQ(file.ReadAt(text, 11, 0, &done), 0);
  EXPECT_EQ(done, 11u);
  EXPECT_STREQ(text, "hello,world");
  uint64_t bytes = 0;
  EXPECT_EQ(file.Size(&bytes), 0);
  EXPECT_EQ(bytes, 11u);
  EXPECT_EQ(file.Sync(), 0);
  EXPECT_EQ(file.Close(), 0);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(Contents(path_), "hello,world");
}

TEST_F(FileTest, ReadsLessOnlyAtTheEnd) {
  Put(path_, "0123456789");
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kRead), 0);
  char text[20];
  size_t done = 0;
  EXPECT_EQ(file.ReadAt(text, 20, 7, &done), 0);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(file.ReadAt(text, 20, 10, &done), 0);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file.ReadAt(text, 20, 5000000000, &done), 0);
  EXPECT_EQ(done, 0u);
}

TEST_F(FileTest, WritesBeyondFourGigabytes) {
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kCreate), 0);
  EXPECT_EQ(file.WriteAt("x", 1, 5000000000), 0);
  uint64_t bytes = 0;
  EXPECT_EQ(file.Size(&bytes), 0);
  EXPECT_EQ(bytes, 5000000001u);
  EXPECT_EQ(file.Truncate(3), 0);
  EXPECT_EQ(file.Size(&bytes), 0);
  EXPECT_EQ(bytes, 3u);
}

TEST_F(FileTest, CreateNeverTouchesAFileThatIsThere) {
  Put(path_, "precious");
  File file;
  EXPECT_EQ(file.Open(path_, FileMode::kCreate), EEXIST);
  EXPECT_EQ(file.Open(path_, FileMode::kCreate, true), EEXIST);
  EXPECT_FALSE(file.IsOpen());
  EXPECT_EQ(Contents(path_), "precious");
}

TEST_F(FileTest, UpdateKeepsAndReplaceEmpties) {
  File file;
  EXPECT_EQ(file.Open(path_, FileMode::kUpdate), ENOENT);
  Put(path_, "precious");
  ASSERT_EQ(file.Open(path_, FileMode::kUpdate), 0);
  EXPECT_EQ(file.WriteAt("P", 1, 0), 0);
  EXPECT_EQ(Contents(path_), "Precious");
  ASSERT_EQ(file.Open(path_, FileMode::kReplace), 0);
  EXPECT_EQ(Contents(path_), "");
}

TEST_F(FileTest, ReadOnlyRefusesToWrite) {
  Put(path_, "precious");
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kRead), 0);
  EXPECT_EQ(file.WriteAt("P", 1, 0), EBADF);
  EXPECT_EQ(Contents(path_), "precious");
}

TEST_F(FileTest, ClosedFileRefusesAll) {
  File file;
  char byte;
  size_t done = 77;
  uint64_t bytes;
  EXPECT_EQ(file.ReadAt(&byte, 1, 0, &done), EBADF);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(file.WriteAt("x", 1, 0), EBADF);
  EXPECT_EQ(file.Size(&bytes), EBADF);
  EXPECT_EQ(file.Truncate(0), EBADF);
  EXPECT_EQ(file.Sync(), EBADF);
  EXPECT_EQ(file.Close(), 0);
}

TEST_F(FileTest, MovesAndClosesOnce) {
  File first;
  ASSERT_EQ(first.Open(path_, FileMode::kCreate), 0);
  const int descriptor = first.Descriptor();
  {
    File second(std::move(first));
    EXPECT_EQ(second.Descriptor(), descriptor);
    EXPECT_EQ(first.Descriptor(), -1);  // NOLINT: a moved-from file is closed
    File third;
    ASSERT_EQ(third.Open(folder_ + "/other", FileMode::kCreate), 0);
    const int closed = third.Descriptor();
    third = std::move(second);
    EXPECT_EQ(third.Descriptor(), descriptor);
    EXPECT_EQ(fcntl(closed, F_GETFD), -1);
  }
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(FileTest, UnbufferedTransfersAreWhole) {
  constexpr size_t kBytes = 1 << 20;
  PageBuffer buffer;
  ASSERT_TRUE(buffer.Allocate(kBytes));
  for (size_t i = 0; i < kBytes; ++i) buffer.Data()[i] = static_cast<uint8_t>(i * 7 >> 3);
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kCreate, true), 0);
  EXPECT_EQ(file.WriteAt(buffer.Data(), kBytes, 4096), 0);
  PageBuffer back;
  ASSERT_TRUE(back.Allocate(kBytes));
  size_t done = 0;
  EXPECT_EQ(file.ReadAt(back.Data(), kBytes, 4096, &done), 0);
  EXPECT_EQ(done, kBytes);
  EXPECT_EQ(std::memcmp(back.Data(), buffer.Data(), kBytes), 0);
}

TEST_F(FileTest, UnbufferedReadEndsAtAnOddEnd) {
  Put(path_, std::string(5000, 'x'));
  PageBuffer buffer;
  ASSERT_TRUE(buffer.Allocate(8192));
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kRead, true), 0);
  size_t done = 0;
  EXPECT_EQ(file.ReadAt(buffer.Data(), 8192, 0, &done), 0);
  EXPECT_EQ(done, 5000u);
}

TEST_F(FileTest, UnbufferedGoesOnBufferedWhereATransferIsRefused) {
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kCreate, true), 0);
  if (!file.IsUnbuffered()) GTEST_SKIP() << "this file system knows no direct transfers";
  EXPECT_EQ(file.WriteAt("odd", 3, 1), 0);
  EXPECT_FALSE(file.IsUnbuffered());
  EXPECT_EQ(Contents(path_), std::string("\0odd", 4));
}

TEST_F(FileTest, UnbufferedOpensBufferedWhereTheFileSystemRefuses) {
  File file;
  ASSERT_EQ(file.Open("/proc/self/status", FileMode::kRead, true), 0);
  EXPECT_FALSE(file.IsUnbuffered());
  char text[5] = {};
  size_t done = 0;
  EXPECT_EQ(file.ReadAt(text, 4, 0, &done), 0);
  EXPECT_STREQ(text, "Name");
}

TEST_F(FileTest, UnbufferedCreateWhereTheFileSystemRefuses) {
  test::ChildProcess child({"without-direct", folder_});
  const std::string line = child.ReadLine();
  if (child.Wait() == 77) GTEST_SKIP() << "no private mount for this user: " << line;
  EXPECT_EQ(line, "0 0 0 1 0 3");
}

TEST_F(FileTest, RenameNeverReplaces) {
  Put(path_, "one");
  Put(path_ + "2", "two");
  EXPECT_EQ(FileRename(path_, path_ + "2"), EEXIST);
  EXPECT_EQ(Contents(path_), "one");
  EXPECT_EQ(Contents(path_ + "2"), "two");
  EXPECT_EQ(FileRename(path_, path_ + "3"), 0);
  EXPECT_FALSE(std::filesystem::exists(path_));
  EXPECT_EQ(Contents(path_ + "3"), "one");
  EXPECT_EQ(FileRename(path_, path_ + "4"), ENOENT);
}

TEST_F(FileTest, RemovesAndSyncsAndMeasures) {
  Put(path_, "one");
  EXPECT_EQ(FileRemove(path_), 0);
  EXPECT_EQ(FileRemove(path_), ENOENT);
  EXPECT_EQ(FolderSync(folder_), 0);
  EXPECT_EQ(FolderSync(folder_ + "/none"), ENOENT);
  uint64_t bytes = 0;
  EXPECT_EQ(FolderFreeBytes(folder_, &bytes), 0);
  EXPECT_GT(bytes, 0u);
  EXPECT_LE(bytes, std::filesystem::space(folder_).capacity);
  EXPECT_EQ(FolderFreeBytes(folder_ + "/none", &bytes), ENOENT);
}

TEST_F(FileTest, FullDiskIsAnError) {
  File file;
  ASSERT_EQ(file.Open("/dev/full", FileMode::kUpdate), 0);
  EXPECT_EQ(file.WriteAt("x", 1, 0), ENOSPC);
  EXPECT_EQ(FileErrorText(ENOSPC), "No space left on device");
}

TEST_F(FileTest, FaultFailsTheNthWriteOnly) {
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kCreate), 0);
  EXPECT_EQ(file.WriteAt("A", 1, 0), 0);
  FileFault fault(FileCall::kWrite, 3, ENOSPC);
  EXPECT_EQ(file.WriteAt("B", 1, 1), 0);
  EXPECT_EQ(file.WriteAt("C", 1, 2), 0);
  char byte;
  size_t done;
  EXPECT_EQ(file.ReadAt(&byte, 1, 0, &done), 0);  // of another kind, not counted
  EXPECT_EQ(file.WriteAt("D", 1, 3), ENOSPC);
  EXPECT_EQ(file.WriteAt("E", 1, 4), 0);
  EXPECT_EQ(fault.Calls(), 4);
  EXPECT_EQ(fault.Failed(), 1);
  EXPECT_EQ(Contents(path_), std::string("ABC\0E", 5));
}

TEST_F(FileTest, FaultMayStay) {
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kCreate), 0);
  {
    FileFault fault(FileCall::kWrite, 2, EIO, true);
    EXPECT_EQ(file.WriteAt("A", 1, 0), 0);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(file.WriteAt("B", 1, 0), EIO);
    EXPECT_EQ(fault.Failed(), 3);
  }
  EXPECT_EQ(file.WriteAt("C", 1, 0), 0);
}

TEST_F(FileTest, FaultReachesEveryCall) {
  const std::string other = folder_ + "/other";
  const struct {
    FileCall call;
    int (*run)(File*, const std::string& path, const std::string& other);
  } kCalls[] = {
      {FileCall::kOpen,
       [](File*, const std::string& path, const std::string&) {
         File second;
         return second.Open(path, FileMode::kRead);
       }},
      {FileCall::kRead,
       [](File* file, const std::string&, const std::string&) {
         char byte;
         size_t done;
         return file->ReadAt(&byte, 1, 0, &done);
       }},
      {FileCall::kWrite,
       [](File* file, const std::string&, const std::string&) { return file->WriteAt("x", 1, 0); }},
      {FileCall::kSize,
       [](File* file, const std::string&, const std::string&) {
         uint64_t bytes;
         return file->Size(&bytes);
       }},
      {FileCall::kTruncate,
       [](File* file, const std::string&, const std::string&) { return file->Truncate(0); }},
      {FileCall::kSync,
       [](File* file, const std::string&, const std::string&) { return file->Sync(); }},
      {FileCall::kSync,
       [](File* file, const std::string&, const std::string&) { return file->SyncFileSystem(); }},
      {FileCall::kFolderSync,
       [](File*, const std::string& path, const std::string&) {
         return FolderSync(std::filesystem::path(path).parent_path());
       }},
      {FileCall::kFreeBytes,
       [](File*, const std::string& path, const std::string&) {
         uint64_t bytes;
         return FolderFreeBytes(path, &bytes);
       }},
      {FileCall::kRename,
       [](File*, const std::string& path, const std::string& to) { return FileRename(path, to); }},
      {FileCall::kRemove,
       [](File*, const std::string&, const std::string& to) { return FileRemove(to); }},
      {FileCall::kClose,
       [](File* file, const std::string&, const std::string&) { return file->Close(); }},
  };
  File file;
  ASSERT_EQ(file.Open(path_, FileMode::kCreate), 0);
  for (const auto& entry : kCalls) {
    SCOPED_TRACE(static_cast<int>(entry.call));
    if (entry.call != FileCall::kClose) {
      FileFault any(FileCall::kAny, 1, EIO);
      EXPECT_EQ(entry.run(&file, path_, other), EIO);
    }
    {
      FileFault fault(entry.call, 1, EDQUOT);
      EXPECT_EQ(entry.run(&file, path_, other), EDQUOT);
      EXPECT_EQ(fault.Failed(), 1);
    }
    EXPECT_EQ(entry.run(&file, path_, other), 0);  // the failed ones did nothing
  }
  EXPECT_FALSE(file.IsOpen());
}

TEST_F(FileTest, OnlyAFileIsOpenedForReading) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  for (const bool unbuffered : {false, true}) {
    File file;  // with nobody at the other end of the pipe
    EXPECT_EQ(file.Open(path_, FileMode::kRead, unbuffered), ESPIPE);
    EXPECT_EQ(file.Open(folder_, FileMode::kRead, unbuffered), EISDIR);
    EXPECT_EQ(file.Open("/dev/zero", FileMode::kRead, unbuffered), ESPIPE);
    EXPECT_FALSE(file.IsOpen());
  }
  const std::string plain = folder_ + "/plain";
  Put(plain, "plain");
  File file;
  ASSERT_EQ(file.Open(plain, FileMode::kRead), 0);
  EXPECT_EQ(fcntl(file.Descriptor(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(FileTest, FaultyReplaceKeepsTheOldFile) {
  Put(path_, "precious");
  FileFault fault(FileCall::kOpen, 1, EMFILE);
  File file;
  EXPECT_EQ(file.Open(path_, FileMode::kReplace), EMFILE);
  EXPECT_EQ(Contents(path_), "precious");
}

}  // namespace
}  // namespace morvane
