// A writer that is killed leaves a clip that opens.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "base/clock.h"
#include "media/clip_builder.h"
#include "support/test_environment.h"

namespace morvane::test {
namespace {

constexpr size_t kPictureBytes = 699840;
constexpr size_t kSoundBytes = 1602 * 2;

// Writes frames of picture and sound without end, five to a second of its clock, and says each
// frame that is complete with a byte to `told`. Runs in a process of its own.
[[noreturn]] void WriteUntilKilled(const std::string& folder, int told) {
  ManualClock clock;
  MediaFilePtr file(CreateMediaFile(NxFileTypeYUV));
  NxMediaCreateInfo info = PictureInfo(720, 486, FourCC("2vuy"));
  AddAudio(&info, 0, 2);
  if (Create(file.get(), folder, "clip", &info, "000001") != NxErrSuccess) _exit(1);
  for (uint32_t i = 1;; ++i) {
    const auto pixels = Noise(kPictureBytes, i);
    NxImageWriteRequest request = CopiedWrite(info, pixels.data());
    if (file->WriteImage(&request) != NxErrSuccess) _exit(2);
    const auto sound = Noise(kSoundBytes, i);
    for (int32_t track = 0; track < 2; ++track) {
      NxAudioWriteRequest audio;
      audio.file = track;
      audio.buffer = sound.data();
      audio.bytes = static_cast<int32_t>(kSoundBytes);
      if (file->WriteAudio(&audio) != NxErrSuccess) _exit(3);
    }
    clock.Advance(200'000'000);
    if (write(told, "f", 1) != 1) _exit(4);
  }
}

TEST(KilledWriter, LeavesEveryFrameButTheLastAndSoundThatReads) {
  const std::string folder = FreshFolder("killed");
  int pipes[2];
  ASSERT_EQ(pipe(pipes), 0);
  const pid_t writer = fork();
  ASSERT_GE(writer, 0);
  if (writer == 0) {
    close(pipes[0]);
    WriteUntilKilled(folder, pipes[1]);
  }
  close(pipes[1]);
  int32_t complete = 0;
  for (char byte; complete < 13 && read(pipes[0], &byte, 1) == 1;) ++complete;
  kill(writer, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(writer, &status, 0), writer);
  ASSERT_TRUE(WIFSIGNALED(status)) << "exit code " << WEXITSTATUS(status);
  for (char byte; read(pipes[0], &byte, 1) == 1;) ++complete;
  close(pipes[0]);
  ASSERT_GE(complete, 13);

  NxMediaFileInfo info;
  MediaFilePtr file;
  ASSERT_EQ(Open(folder + "/clip_000001.yuv", &info, &file), 0);
  EXPECT_GE(info.frameCount, complete);
  EXPECT_LE(info.frameCount, complete + 1) << "at most the frame that was being written";
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(info, &buffer, 0);
  for (int32_t frame = 0; frame < complete; ++frame) {
    request.frame = frame;
    ASSERT_EQ(file->ReadImage(&request), 0);
    const auto wanted = Noise(kPictureBytes, static_cast<uint32_t>(frame + 1));
    ASSERT_EQ(std::memcmp(buffer.Data(), wanted.data(), wanted.size()), 0) << frame;
  }
  // Sound is on disk up to the last full second of the writer's clock, ten frames in.
  EXPECT_EQ(info.streams, 4u);
  EXPECT_EQ(info.audio.fileCount, 2);
  for (int32_t track = 0; track < 2; ++track) {
    EXPECT_GE(info.samplesPerFile[track], 10u * 1602) << track;
  }
  std::vector<uint8_t> sound(kSoundBytes);
  NxAudioReadRequest audio;
  audio.timeScale = 30000;
  audio.timeRate = 1001;
  audio.buffer = sound.data();
  audio.bytes = static_cast<int32_t>(sound.size());
  for (int32_t frame = 0; frame < 10; ++frame) {
    audio.frame = frame == 0 ? 0 : -1;
    ASSERT_EQ(file->ReadAudio(&audio), 0);
    EXPECT_EQ(sound, Noise(kSoundBytes, static_cast<uint32_t>(frame + 1))) << frame;
  }
}

}  // namespace
}  // namespace morvane::test
