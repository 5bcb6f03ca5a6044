#include "processing/preview_frame.h"

#include <iterator>

namespace morvane {
namespace {

// Stored rasters that are narrower than the picture they hold.
// clang-format off
constexpr struct {
  int32_t width, height, aspectX, aspectY;
} kDv100Rasters[] = {
  { 1280, 1080, 3, 2 },
  { 1440, 1080, 4, 3 },
  {  960,  720, 4, 3 },
};
// clang-format on

constexpr float kDisplaySizePercent[] = {0, 25, 50, 75, 100, 200, 400, 800};
static_assert(std::size(kDisplaySizePercent) == kFreeDisplaySize);

}  // namespace

void ApplyDisplaySize(uint32_t index, PreviewView* view) {
  if (index >= std::size(kDisplaySizePercent)) return;
  view->widthPercent = view->heightPercent = kDisplaySizePercent[index];
  if (index == 0) view->originX = view->originY = 0;
}

NXVideoFrame MakeIdleFrame(const PreviewSource& source) {
  NXVideoFrame frame;
  frame.picture = source.picture;
  frame.width = source.width;
  frame.height = source.height;
  frame.rowBytes = source.rowBytes;
  frame.aspectX = source.aspectX;
  frame.aspectY = source.aspectY;
  frame.fourcc = source.fourcc;
  frame.bottomUp = source.bottomUp ? 1 : 0;
  frame.originX = source.originX;
  frame.originY = source.originY;
  frame.zoomX = source.widthPercent / 100.0f;
  frame.zoomY = source.heightPercent / 100.0f;
  return frame;
}

NXVideoFrame MakeJobFrame(const PreviewSource& source) {
  NXVideoFrame frame = MakeIdleFrame(source);
  frame.modeA = frame.modeB = 4;
  frame.fields = source.fields;
  const bool tenBits = source.fourcc == FourCC("v219") || source.fourcc == FourCC("V219");
  frame.colorTable = tenBits ? source.tables10 : source.tables8;
  if (source.fourcc == FourCC("dvhd")) {
    for (const auto& raster : kDv100Rasters) {
      if (raster.width != source.width || raster.height != source.height) continue;
      frame.aspectX = raster.aspectX;
      frame.aspectY = raster.aspectY;
    }
  }
  return frame;
}

}  // namespace morvane
