#include "media/tif_library.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace morvane {
namespace {

// No block of a picture of the largest sides is longer.
constexpr tmsize_t kMostBlockBytes = tmsize_t{1} << 29;

// The frame's file as the library reads it.
struct Stream {
  FrameSource* source;
  uint64_t offset = 0;
};

Stream* StreamOf(thandle_t handle) {
  return static_cast<Stream*>(handle);
}

tmsize_t ReadBytes(thandle_t handle, void* buffer, tmsize_t bytes) {
  Stream* stream = StreamOf(handle);
  uint64_t done = 0;
  if (bytes < 0 ||
      stream->source->File()->ReadAt(stream->offset, buffer, static_cast<uint64_t>(bytes), &done) !=
          NxErrSuccess) {
    return -1;
  }
  stream->offset += done;
  return static_cast<tmsize_t>(done);
}

tmsize_t RefuseWrite(thandle_t, void*, tmsize_t) {
  return -1;
}

toff_t SeekTo(thandle_t handle, toff_t offset, int whence) {
  Stream* stream = StreamOf(handle);
  uint64_t base = 0;
  if (whence == SEEK_CUR) base = stream->offset;
  if (whence == SEEK_END) base = stream->source->Bytes();
  stream->offset = base + offset;
  return stream->offset;
}

int KeepOpen(thandle_t) {
  return 0;
}

toff_t SizeOf(thandle_t handle) {
  return StreamOf(handle)->source->Bytes();
}

int SayNothing(TIFF*, void*, const char*, const char*, va_list) {
  return 1;
}

struct TiffCloser {
  void operator()(TIFF* tiff) const { TIFFClose(tiff); }
};
using TiffPtr = std::unique_ptr<TIFF, TiffCloser>;

TiffPtr Open(Stream* stream) {
  TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
  if (options == nullptr) return nullptr;
  TIFFOpenOptionsSetMaxSingleMemAlloc(options, kMostBlockBytes);
  TIFFOpenOptionsSetErrorHandlerExtR(options, SayNothing, nullptr);
  TIFFOpenOptionsSetWarningHandlerExtR(options, SayNothing, nullptr);
  // "m": never map the file into memory.
  TIFF* tiff = TIFFClientOpenExt("frame", "rm", stream, ReadBytes, RefuseWrite, SeekTo, KeepOpen,
                                 SizeOf, nullptr, nullptr, options);
  TIFFOpenOptionsFree(options);
  return TiffPtr(tiff);
}

bool SizeOfPicture(TIFF* tiff, int64_t* width, int64_t* height) {
  uint32_t w = 0;
  uint32_t h = 0;
  if (TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &w) != 1 ||
      TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &h) != 1) {
    return false;
  }
  *width = w;
  *height = h;
  return true;
}

// True if the library has a way to 8-bit RGBA for the picture. No pixel is read.
bool CanDecode(TIFF* tiff) {
  char words[1024] = {};  // of the length that the library fills
  TIFFRGBAImage image = {};
  if (TIFFRGBAImageOK(tiff, words) != 1 || TIFFRGBAImageBegin(&image, tiff, 0, words) != 1) {
    return false;
  }
  TIFFRGBAImageEnd(&image);
  return true;
}

}  // namespace

bool TifLibrarySize(FrameSource* source, int64_t* width, int64_t* height) {
  Stream stream{source};
  const TiffPtr tiff = Open(&stream);
  return tiff != nullptr && SizeOfPicture(tiff.get(), width, height) && CanDecode(tiff.get());
}

bool TifLibraryRead(FrameSource* source, int32_t width, int32_t height, uint8_t* pixels,
                    int64_t bytes) {
  Stream stream{source};
  const TiffPtr tiff = Open(&stream);
  int64_t w = 0;
  int64_t h = 0;
  if (tiff == nullptr || !SizeOfPicture(tiff.get(), &w, &h) || w != width || h != height ||
      w * h * 4 > bytes) {
    return false;
  }
  // The library's words are 0xAABBGGRR, so on this processor the bytes are R, G, B, A.
  (void)TIFFReadRGBAImageOriented(tiff.get(), static_cast<uint32_t>(w), static_cast<uint32_t>(h),
                                  static_cast<uint32_t*>(static_cast<void*>(pixels)),
                                  ORIENTATION_TOPLEFT, 0);
  return true;
}

}  // namespace morvane
