#include "playback/read_format.h"

#include "device/formats.h"
#include "session/card_layout.h"
#include "processing/color_context.h"
#include "processing/pixel_format.h"
#include "session/card2.h"

namespace morvane {
namespace {

// The compressed HD format stores fewer pixels a line than the video has.
bool RasterMatches(const NxMediaFileInfo& clip, uint32_t width, uint32_t height) {
  const auto clipWidth = static_cast<uint32_t>(clip.width);
  if (static_cast<uint32_t>(clip.height) != height) return false;
  if (clipWidth == width) return true;
  if (width == 1920) return clipWidth == 1280 || clipWidth == 1440;
  return width == 1280 && clipWidth == 960;
}

bool CardTakes(FourCCCode fourcc, bool is1080At25, CRQD5Card2& session, uint32_t* layout) {
  return fourcc != 0 && CardLayoutOf(fourcc, is1080At25, layout) &&
         session.CanUseFrameBufferFormat(*layout);
}

// Bytes of a line as the card has it; `own` where the card's raster is another.
int32_t CardPitch(uint32_t layout, const NxMediaFileInfo& clip, CRQD5Card2& session, int32_t own) {
  uint32_t width = 0;
  uint32_t height = 0;
  session.GetFrameRaster(&width, &height);
  const uint32_t bytes = session.GetFrameBytes(layout);
  if (height == 0 || bytes == 0 || static_cast<uint32_t>(clip.width) != width) return own;
  return static_cast<int32_t>(bytes / height);
}

}  // namespace

ReadFormat ChooseReadFormat(const NxMediaFileInfo& clip, CRQD5Card2& session) {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t scale = 0;
  uint32_t duration = 0;
  session.GetRaster(&width, &height);
  session.GetRate(&scale, &duration);
  const bool is1080At25 = height == 1080 && scale == 25000;
  ReadFormat read;
  read.width = clip.width;
  read.height = clip.height;
  read.orientation = static_cast<int32_t>(clip.orientation);
  read.colorMatrix = width < 800 ? ColorMatrix601Video : ColorMatrix709Video;
  const FourCCCode own = clip.fourcc;
  const FourCCCode second = clip.nativeFourcc;
  if (RasterMatches(clip, width, height)) {
    if (own == FourCC("v219") || own == FourCC("V219")) {
      read.fourcc = FourCC("2vuy");
      read.cardLayout = FrameBuffer8BitUyvy;
      read.rowBytes = PixelPitch(read.fourcc, read.width);
      return read;
    }
    for (const FourCCCode code : {own, second}) {
      if (!CardTakes(code, is1080At25, session, &read.cardLayout)) continue;
      read.fourcc = code;
      const int32_t pitch = code == own ? clip.linePitch : PixelPitch(code, read.width);
      read.rowBytes = CardPitch(read.cardLayout, clip, session, pitch);
      return read;
    }
  }
  read.fourcc = FourCC("bgrA");
  read.width = static_cast<int32_t>(width);
  read.height = static_cast<int32_t>(height);
  read.rowBytes = read.width * 4;
  read.cardLayout = FrameBuffer8BitArgb;
  read.softConvert = !session.HasRgbFrameBuffer();
  return read;
}

}  // namespace morvane
