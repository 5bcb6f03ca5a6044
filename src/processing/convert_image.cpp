#include <algorithm>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "base/byte_order.h"
#include "processing/line_job.h"

namespace morvane {
namespace {

constexpr int32_t kRowsPerThread = 16;  // fewer are not worth a thread

// Where the rows of the picture come from and go to.
struct RowPlacement {
  int32_t width = 0;     // of the picture when it is scaled, else of the destination
  int32_t height = 0;    // the same
  int32_t rows = 0;      // rows written
  int32_t firstSrc = 0;  // for rows that are not scaled
  int32_t firstDst = 0;
  bool scaled = false;
  bool bars = false;
  int32_t barRows = 0;  // above; the lower bar has as many
};

struct Size {
  int32_t width, height;
};

// The half of a difference, rounded up.
int32_t Half(int32_t difference) {
  return static_cast<int32_t>(difference * 0.5 + 0.5);
}

// The destination's size, made smaller in one direction when the aspects differ.
Size FittedSize(const Size& src, const Size& dst) {
  const float srcAspect = static_cast<float>(src.width) / static_cast<float>(src.height);
  const float dstAspect = static_cast<float>(dst.width) / static_cast<float>(dst.height);
  if (srcAspect == dstAspect || src.width == dst.width || src.height == dst.height) return dst;
  const float scaleY = static_cast<float>(dst.height) / static_cast<float>(src.height);
  const float scaleX = static_cast<float>(dst.width) / static_cast<float>(src.width);
  Size fitted = dst;
  if (scaleY >= scaleX) {
    fitted.height =
        std::min(dst.height, static_cast<int32_t>(static_cast<float>(dst.width) / srcAspect));
  } else {
    fitted.width =
        std::min(dst.width, static_cast<int32_t>(static_cast<float>(dst.height) * srcAspect));
  }
  return fitted;
}

RowPlacement Place(const Size& src, const Size& dst, bool stretch) {
  RowPlacement p;
  const Size fitted = stretch ? FittedSize(src, dst) : dst;
  p.width = fitted.width;
  p.height = fitted.height;
  p.scaled = stretch && p.height != src.height;
  p.rows = stretch ? p.height : std::min(p.height, src.height);
  const int32_t blank = dst.height - p.rows;
  p.barRows = std::min(Half(blank), dst.height - 1);
  p.firstDst = p.barRows;
  p.firstSrc = stretch ? 0 : Half(src.height - p.rows);
  // Deliberate: no bars round a picture whose rows are neither scaled nor fewer than its lines.
  p.bars = p.height != src.height && blank > 0;
  return p;
}

int32_t SourceRow(const RowPlacement& p, int32_t srcHeight, int32_t y) {
  int32_t row = p.firstSrc + y;
  if (p.scaled) row = static_cast<int32_t>(static_cast<double>(y) * srcHeight / p.height + 0.5);
  return std::min(row, srcHeight - 1);
}

// The buffers of one conversion.
struct Image {
  const uint8_t* src;
  int32_t srcHeight;
  ptrdiff_t srcPitch;
  uint8_t* dst;
  ptrdiff_t dstPitch;
  bool flip;
};

void RunRows(const LineJob& job, const Image& image, const RowPlacement& p, int32_t first,
             int32_t end) {
  for (int32_t y = first; y < end; ++y) {
    int32_t row = SourceRow(p, image.srcHeight, y);
    if (image.flip) row = image.srcHeight - 1 - row;
    job.run(job, image.src + row * image.srcPitch, image.dst + (p.firstDst + y) * image.dstPitch);
  }
}

void RunAllRows(const LineJob& job, const Image& image, const RowPlacement& p, int32_t threads) {
  const int32_t parts = std::clamp(threads, 1, std::max(p.rows / kRowsPerThread, 1));
  const auto bound = [&p, parts](int32_t part) {
    return static_cast<int32_t>(static_cast<int64_t>(p.rows) * part / parts);
  };
  std::vector<std::thread> helpers;
  for (int32_t part = 1; part < parts; ++part) {
    const int32_t first = bound(part);
    const int32_t end = bound(part + 1);
    try {
      helpers.emplace_back([&job, &image, &p, first, end] { RunRows(job, image, p, first, end); });
    } catch (const std::exception&) {  // no thread to be had: the rows are done here
      RunRows(job, image, p, first, end);
    }
  }
  RunRows(job, image, p, bound(0), bound(1));
  for (std::thread& helper : helpers) helper.join();
}

// Puts `fill` into the rows above and below the picture.
NxErr DrawBars(ConvertContext* context, FourCCCode srcFourcc, FourCCCode dstFourcc,
               const Image& image, const RowPlacement& p, uint32_t fill) {
  std::vector<uint8_t> line;
  try {
    line.resize(static_cast<size_t>(p.width) * 4);
  } catch (const std::bad_alloc&) {
    return NxErrFailure;
  }
  for (size_t i = 0; i < line.size(); i += 4) StoreLe32(&line[i], fill);
  constexpr FourCCCode kFillFormat = FourCC("rgba");
  SetColorMatrix(context->color.matrix, kFillFormat, &context->color);
  LineJob job;
  const NxErr result = MakeLineJob(kFillFormat, p.width, dstFourcc, p.width, context->width, false,
                                   context->color, context->reference, &job);
  SetColorMatrix(context->color.matrix, srcFourcc, &context->color);
  if (result != NxErrSuccess) return result;
  int32_t bottomStart = std::min(context->height - p.barRows, context->height - 1);
  // Deliberate: an 8-bit 4:2:2 destination gets the colour into every row.
  if (IsYuv8(dstFourcc)) bottomStart = 0;
  const auto draw = [&](int32_t row) {
    job.run(job, line.data(), image.dst + row * image.dstPitch);
  };
  for (int32_t row = bottomStart; row < context->height; ++row) draw(row);
  for (int32_t row = 0; row < p.barRows; ++row) draw(row);
  return NxErrSuccess;
}

bool HasCoefficients(const NxColorContext& c) {
  return c.yGainG != 0 || c.yG != 0;
}

}  // namespace

NxErr ConvertImage(ConvertContext* context, const uint8_t* src, int32_t srcWidth, int32_t srcHeight,
                   FourCCCode srcFourcc, int32_t srcPitch, uint8_t* dst, int32_t dstWidth,
                   int32_t dstHeight, FourCCCode dstFourcc, int32_t dstPitch, bool stretch,
                   NxColorContext* color, bool flip, const uint32_t* fill) {
  if (context == nullptr) return NxErrFailure;
  if (color != nullptr) {
    // A matrix that is not known leaves the caller's coefficients, and they are used.
    SetColorMatrix(color->matrix, srcFourcc, color);
    context->color = *color;
  }
  context->width = dstWidth;
  context->height = dstHeight;
  if (srcWidth < 1 || srcHeight < 1 || dstWidth < 1 || dstHeight < 1) return NxErrSuccess;
  if (src == nullptr || dst == nullptr || !HasCoefficients(context->color)) return NxErrFailure;

  const RowPlacement p = Place({srcWidth, srcHeight}, {dstWidth, dstHeight}, stretch);
  const Image image = {src, srcHeight, srcPitch, dst, dstPitch, flip};
  LineJob job;
  NxErr result = MakeLineJob(srcFourcc, srcWidth, dstFourcc, p.width, context->width, stretch,
                             context->color, context->reference, &job);
  if (result != NxErrSuccess) return result;
  if (p.bars && fill != nullptr) {
    result = DrawBars(context, srcFourcc, dstFourcc, image, p, *fill);
    if (result != NxErrSuccess) return result;
  }
  RunAllRows(job, image, p, context->threads);
  return NxErrSuccess;
}

}  // namespace morvane
