#include "processing/fast_scaled.h"

#include <cstring>
#include <new>

#include "processing/line_job.h"

namespace morvane {
namespace {

// Memory for one line, kept by each thread. Returns: null when out of memory.
uint8_t* ScratchLine(size_t bytes) {
  static thread_local std::vector<uint8_t> line;
  try {
    if (line.size() < bytes) line.resize(bytes);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return line.data();
}

template <size_t kBytes>
void PickFixed(const std::vector<int32_t>& pixels, const uint8_t* from, uint8_t* to) {
  for (const int32_t pixel : pixels) {
    std::memcpy(to, from + static_cast<size_t>(pixel) * kBytes, kBytes);
    to += kBytes;
  }
}

void PickPixels(const std::vector<int32_t>& pixels, size_t bytes, const uint8_t* from,
                uint8_t* to) {
  switch (bytes) {
    case 3:
      return PickFixed<3>(pixels, from, to);
    case 4:
      return PickFixed<4>(pixels, from, to);
    case 5:
      return PickFixed<5>(pixels, from, to);
    case 6:
      return PickFixed<6>(pixels, from, to);
    default:
      return PickFixed<8>(pixels, from, to);
  }
}

size_t BytesOf(const PixelFormat& format, int32_t pixels) {
  return static_cast<size_t>(PixelLineBytes(format.code, pixels));
}

// To RGB: all of the line is converted, then pixels are chosen.
void ConvertThenPick(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const ScaledLine& scaled = *job.scaled;
  uint8_t* const line = ScratchLine(BytesOf(*job.dst, job.shape.srcWidth));
  if (line == nullptr) return PlainRoutine(job.path)(job, src, dst);
  scaled.whole->run(*scaled.whole, src, line);
  const size_t bytes = static_cast<size_t>(job.dst->bytesPerGroup);
  PickPixels(scaled.pixels, bytes, line, dst + static_cast<size_t>(job.shape.dstStart) * bytes);
}

// RGB to 4:2:2: the chroma is made of the chosen pixels, so the choice comes first.
void PickThenConvert(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const ScaledLine& scaled = *job.scaled;
  uint8_t* const line = ScratchLine(BytesOf(*job.src, job.shape.count));
  if (line == nullptr) return PlainRoutine(job.path)(job, src, dst);
  PickPixels(scaled.pixels, static_cast<size_t>(job.src->bytesPerGroup), src, line);
  scaled.whole->run(*scaled.whole, line, dst);
}

// Between 4:2:2 formats: each luma from its pixel, the chroma from the even one's pair.
void ConvertThenPickPairs(const LineJob& job, const uint8_t* src, uint8_t* dst) {
  const ScaledLine& scaled = *job.scaled;
  uint8_t* const line = ScratchLine(BytesOf(*job.dst, job.shape.srcWidth));
  if (line == nullptr) return PlainRoutine(job.path)(job, src, dst);
  scaled.whole->run(*scaled.whole, src, line);
  const size_t luma = job.dst->layout == PixelLayout::kYuyv ? 0 : 1;
  uint8_t* to = dst + static_cast<size_t>(job.shape.dstStart) * 2;
  for (size_t i = 0; i + 1 < scaled.pixels.size(); i += 2, to += 4) {
    const size_t even = static_cast<size_t>(scaled.pixels[i]);
    const size_t odd = static_cast<size_t>(scaled.pixels[i + 1]);
    std::memcpy(to, line + even / 2 * 4, 4);
    to[luma] = line[even * 2 + luma];
    to[luma + 2] = line[odd * 2 + luma];
  }
}

void FillPixels(const LineJob& job, std::vector<int32_t>* pixels) {
  const LineShape& shape = job.shape;
  pixels->resize(static_cast<size_t>(shape.count));
  for (int32_t i = 0; i < shape.count; ++i) {
    int32_t& pixel = (*pixels)[static_cast<size_t>(i)];
    if (job.path == LinePath::kRgbToRgb) {
      const int32_t bytes = job.src->bytesPerGroup;
      pixel = static_cast<int32_t>(SourceRgbOffset(shape, bytes, i) / bytes);
    } else if (job.path == LinePath::kRgbToYuv) {
      pixel = SourcePixel(shape, i);
    } else {
      pixel = SourcePairPixel(shape, i);
    }
  }
}

LineRoutine RoutineOf(LinePath path) {
  switch (path) {
    case LinePath::kYuvToYuv:
      return ConvertThenPickPairs;
    case LinePath::kRgbToYuv:
      return PickThenConvert;
    default:
      return ConvertThenPick;
  }
}

}  // namespace

bool PickScaledRoutine(LineJob* job) {
  if (job->shape.scaledWidth == 0 || job->shape.count == 0) return false;
  try {
    auto scaled = std::make_shared<ScaledLine>();
    scaled->whole = std::make_unique<LineJob>();
    LineJob& whole = *scaled->whole;
    whole.src = job->src;
    whole.dst = job->dst;
    whole.path = job->path;
    whole.color = job->color;
    const bool first = job->path == LinePath::kRgbToYuv;  // the choice comes first
    const bool yuv = job->path == LinePath::kYuvToYuv || job->path == LinePath::kYuvToRgb;
    whole.shape.srcWidth = first ? job->shape.count : job->shape.srcWidth;
    whole.shape.count = yuv ? whole.shape.srcWidth & ~1 : whole.shape.srcWidth;
    whole.shape.dstStart = first ? job->shape.dstStart : 0;
    if (!PickFastRoutine(&whole)) return false;
    FillPixels(*job, &scaled->pixels);
    job->scaled = std::move(scaled);
  } catch (const std::bad_alloc&) {
    return false;
  }
  job->run = RoutineOf(job->path);
  return true;
}

}  // namespace morvane
