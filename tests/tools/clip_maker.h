#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "media/media_factory.h"
#include "media/riff_wave.h"
#include "support/test_environment.h"
#include "tools/tool_runner.h"

// What the tests of the clip commands work on.
namespace morvane::test {

// A clip of `frames` TGA frames, 6x4, each of another colour and no two pixels alike.
inline void MakeClip(const std::string& folder, int frames) {
  for (int frame = 0; frame < frames; ++frame) {
    std::string file(18, '\0');
    file[2] = 2;  // plain RGB
    file[12] = 6;
    file[14] = 4;
    file[16] = 24;
    file[17] = 0x20;  // top row first
    for (int i = 0; i < 24; ++i) {
      file += static_cast<char>(10 + i);          // blue
      file += static_cast<char>(200 - 3 * i);     // green
      file += static_cast<char>(frame * 20 + i);  // red
    }
    char name[32];
    std::snprintf(name, sizeof name, "/src_%06d.tga", frame + 1);
    WriteFile(folder + name, file);
  }
}

// A WAV file of 48 kHz sound, 16 bits, whose n-th sample is n + `offset` (mod 2^16).
inline void MakeSound(const std::string& path, int channels, int samples, int offset) {
  RiffWaveFile file;
  WaveFormat format;
  format.fourcc = FourCC("16au");
  format.channels = channels;
  format.sampleRate = 48000;
  format.bits = 16;
  ASSERT_EQ(file.Create(path, kCreateNew, format), NxErrSuccess);
  std::vector<int16_t> data;
  for (int i = 0; i < samples * channels; ++i) data.push_back(static_cast<int16_t>(i + offset));
  ASSERT_EQ(file.Append(data.data(), data.size() * 2), NxErrSuccess);
  ASSERT_EQ(file.Flush(), NxErrSuccess);
  ASSERT_EQ(file.Close(), NxErrSuccess);
}

// A sidecar that somebody wrote: its rate as it stands there, a timecode of 00:00:01:00.
inline void WriteSidecar(const std::string& path, const std::string& scale,
                         const std::string& rate) {
  WriteFile(path,
            "<VYRFileData version=\"1.0\"><MasterClip>src</MasterClip><PARNum>1</PARNum>"
            "<PARDen>1</PARDen><TimeScale>" +
                scale + "</TimeScale><TimeRate>" + rate +
                "</TimeRate><FieldType>0</FieldType><FileDataFlags>2</FileDataFlags>"
                "<TimeCode version=\"1.0\"><TC>65536</TC><UserBits>0</UserBits>"
                "<TimeCodeType>1</TimeCodeType><DF>0</DF><TCScale>" +
                scale + "</TCScale><TCRate>" + rate + "</TCRate></TimeCode></VYRFileData>");
}

// Writes a clip of 8x4 pixels as a capture does: frames of `words`, user bits, drop frame, the
// aspect and field order of tape.
inline void CaptureClip(const std::string& folder, NxFileType type, const char* startNumber,
                        uint32_t orientation, const std::vector<uint32_t>& words) {
  const MediaFilePtr file(CreateMediaFile(type));
  NxMediaCreateInfo info = {};
  info.streams = NxStreamsPicture;
  info.fourcc = type == NxFileTypeDPX ? FourCC("11rb") : FourCC("bgr ");
  info.orientation = orientation;
  info.width = 8;
  info.height = 4;
  info.fieldType = 2;
  info.parNum = 10;
  info.parDen = 11;
  info.timeScale = 30000;
  info.timeRate = 1001;
  ASSERT_EQ(
      file->CreateWrite("a", startNumber, folder, folder, &info, kCreateNew, kAccessWrite, false),
      NxErrSuccess);
  std::vector<uint8_t> pixels;
  for (int i = 0; i < 8 * 4 * 4; ++i) pixels.push_back(static_cast<uint8_t>(31 * i));
  for (const uint32_t word : words) {
    NxImageWriteRequest request;
    request.fourcc = info.fourcc;
    request.width = 8;
    request.height = 4;
    request.pitch = info.linePitch;
    request.orientation = static_cast<int32_t>(orientation);
    request.imageBuffer = pixels.data();
    request.timeCode.flags = kTimeCodePresent;
    request.timeCode.timeCode = word;
    request.timeCode.userBits = 0x78563412;
    request.timeCode.timeCodeType = 2;
    request.timeCode.dropFrame = 1;
    request.timeCode.tcScale = 30000;
    request.timeCode.tcRate = 1001;
    ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  }
  ASSERT_EQ(file->Close(), NxErrSuccess);
}

// 01:00:59;28 and on; the first two frames of the minute are not counted.
inline const std::vector<uint32_t> kAcrossAMinute = {0x28590001, 0x29590001, 0x02000101,
                                                     0x03000101};

}  // namespace morvane::test
