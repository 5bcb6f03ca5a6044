#pragma once

#include "media/still_clip.h"

// Checks that the tests of every still format make.
namespace morvane::test {

// What a small good frame, 64x48, looks like.
struct StillSample {
  NxFileType type;
  FourCCCode fourcc;
  uint32_t orientation;
};

// Writes the sample with a change at byte `at`. Returns: its path.
inline std::string Changed(const StillSample& sample, size_t at,
                           const std::vector<uint8_t>& bytes) {
  const std::string path =
      WritePicture(sample.type, FreshFolder("changed"), sample.fourcc, sample.orientation, 64, 48);
  std::vector<uint8_t> file = ReadBytes(path);
  std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<ptrdiff_t>(at));
  WriteBytes(path, file);
  return path;
}

// A frame of 1920x1080 of ours: the checksum of its header, and the length of its file.
struct KnownHeader {
  const char code[5];
  uint32_t orientation;
  uint32_t crc;
  size_t fileBytes;
};
inline void ExpectHeaders(NxFileType type, size_t headerBytes,
                          const std::vector<KnownHeader>& headers) {
  for (const KnownHeader& known : headers) {
    const auto file = ReadBytes(WritePicture(type, FreshFolder("header"), FourCC(known.code),
                                             known.orientation, 1920, 1080));
    ASSERT_EQ(file.size(), known.fileBytes);
    EXPECT_EQ(Crc32(file.data(), headerBytes), known.crc) << known.code << known.orientation;
  }
}

// Every row, in a raster of `width` and 50 lines, comes back to the byte, and as RGB top line first
// in whichever order it was written.
inline void ExpectRowsComeBack(NxFileType type, int32_t width, int32_t imageOffset) {
  for (const StillRow& row : RowsOf(type)) {
    SCOPED_TRACE(row.name);
    const std::string path =
        WritePicture(type, FreshFolder("rows"), row.fourcc, row.orientation, width, 50);
    NxMediaFileInfo info;
    ASSERT_EQ(OpenCode(path, &info), NxErrSuccess);
    EXPECT_EQ(FourCCText(info.fourcc), FourCCText(row.fourcc));
    EXPECT_EQ(FourCCText(info.nativeFourcc), FourCCText(row.fourcc));
    EXPECT_EQ(uint32_t{info.orientation}, row.orientation);
    EXPECT_EQ(std::string(info.name), row.name);
    EXPECT_EQ(static_cast<uint32_t>(info.bitDepth), row.bitDepth);
    EXPECT_EQ(int32_t{info.imageOffset}, imageOffset);
    EXPECT_EQ(Difference(Picture(row.fourcc, width, 50, row.orientation), StoredPixels(path), width,
                         info.imageBytes / width / 50, 1),
              "");
    // What lies deeper than 8 bits is rounded on the way.
    EXPECT_EQ(Difference(Picture(FourCC("rgb "), width, 50, 1), PixelsAs(path, FourCC("rgb ")),
                         width, 3, 1, row.bitDepth > 8 ? 1 : 0),
              "");
  }
}

// A picture without alpha that becomes `fourcc`, whose fourth byte is alpha, is opaque in the file.
inline void ExpectOpaque(NxFileType type, FourCCCode fourcc, size_t imageOffset) {
  const std::string folder = FreshFolder("opaque");
  const MediaFilePtr file(CreateMediaFile(type));
  NxMediaCreateInfo info = PictureInfo(64, 48, fourcc);
  ASSERT_EQ(Create(file.get(), folder, "clip", &info), NxErrSuccess);
  const auto pixels = Noise(64 * 48 * 2, 7);
  NxImageWriteRequest request = CopiedWrite(info, pixels.data());
  request.fourcc = FourCC("2vuy");
  request.pitch = 128;
  ASSERT_EQ(file->WriteImage(&request), NxErrSuccess);
  ASSERT_EQ(file->Close(), NxErrSuccess);
  const auto bytes = ReadBytes(FramePath(folder, type));
  ASSERT_GE(bytes.size(), imageOffset + 64 * 48 * 4);
  for (size_t i = imageOffset + 3; i < imageOffset + 64 * 48 * 4; i += 4) {
    ASSERT_EQ(bytes[i], 255) << i;
  }
}

// A change of the header after which a frame is no picture of ours.
struct BadField {
  const char* what;
  size_t at;
  std::vector<uint8_t> bytes;
};
inline void ExpectRefused(const StillSample& sample, const std::vector<BadField>& fields) {
  for (const BadField& field : fields) {
    EXPECT_EQ(OpenCode(Changed(sample, field.at, field.bytes)), NxErrVideoFormatNotSupported)
        << field.what;
  }
}

// A clip of three samples whose second file is replaced plays it black, and goes on.
inline void ExpectBlackInTheMiddle(const StillSample& sample, const std::vector<uint8_t>& other) {
  const std::string folder = FreshFolder("middle");
  const auto good = Picture(sample.fourcc, 64, 48, sample.orientation);
  ASSERT_EQ(WriteStills(sample.type, folder, PictureInfo(64, 48, sample.fourcc, sample.orientation),
                        {good, good, good}),
            NxErrSuccess);
  WriteBytes(FramePath(folder, sample.type, 1), other);
  const auto info = std::make_unique<NxMediaFileInfo>();
  MediaFilePtr file;
  ASSERT_EQ(Open(FramePath(folder, sample.type), info.get(), &file), NxErrSuccess);
  EXPECT_EQ(int32_t{info->frameCount}, 3);
  PageBuffer buffer;
  NxImageReadRequest request = PlainRead(*info, &buffer);
  std::memset(buffer.Data(), 0xEE, buffer.Bytes());
  request.frame = 1;
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(request.dataOffset, 0u);
  EXPECT_EQ(std::count(buffer.Data(), buffer.Data() + request.bufferBytes, 0), request.bufferBytes);
  request.frame = 2;
  ASSERT_EQ(file->ReadImage(&request), NxErrSuccess);
  EXPECT_EQ(std::memcmp(buffer.Data() + request.dataOffset, good.data(), good.size()), 0);
}

// The bytes of a frame of the test picture.
inline std::vector<uint8_t> OtherFrame(NxFileType type, FourCCCode fourcc, uint32_t orientation,
                                       int32_t width, int32_t height) {
  return ReadBytes(WritePicture(type, FreshFolder("other"), fourcc, orientation, width, height));
}

// Clips of these formats are not made, and leave no file.
inline void ExpectNotCreated(NxFileType type, std::initializer_list<const char*> codes) {
  for (const char* code : codes) {
    const char text[5] = {code[0], code[1], code[2], code[3], 0};
    const std::string folder = FreshFolder("create");
    EXPECT_EQ(WriteStills(type, folder, PictureInfo(64, 48, FourCC(text)), {}),
              NxErrVideoFormatNotSupported)
        << code;
    EXPECT_FALSE(Exists(FramePath(folder, type))) << code;
  }
}

}  // namespace morvane::test
