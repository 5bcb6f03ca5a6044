#include "conversion_peers.h"

#include <libyuv.h>

#include <cstring>

#include "base/byte_order.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace morvane::bench {
namespace {

constexpr int kAccurate = SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;

AVPixelFormat SwsFormat(FourCCCode code) {
  switch (code) {
    case FourCC("2vuy"):
      return AV_PIX_FMT_UYVY422;
    case FourCC("yuy2"):
      return AV_PIX_FMT_YUYV422;
    case FourCC("v219"):
      return AV_PIX_FMT_YUV422P10LE;  // through the v210 codec
    case FourCC("bgrA"):
      return AV_PIX_FMT_BGRA;
    case FourCC("rgba"):
      return AV_PIX_FMT_RGBA;
    case FourCC("argB"):
      return AV_PIX_FMT_ARGB;
    case FourCC("abgr"):
      return AV_PIX_FMT_ABGR;
    case FourCC("rgb "):
      return AV_PIX_FMT_RGB24;
    case FourCC("bgr "):
      return AV_PIX_FMT_BGR24;
    case FourCC("RGB "):
      return AV_PIX_FMT_RGB48LE;
    case FourCC("RGb "):
      return AV_PIX_FMT_RGB48BE;
    case FourCC("RGBA"):
      return AV_PIX_FMT_RGBA64LE;
    default:
      return AV_PIX_FMT_NONE;
  }
}

bool IsV210(FourCCCode code) {
  return code == FourCC("v219");
}

// One conversion of libswscale, with the v210 codec in front or behind where it needs one.
class SwsPeer {
 public:
  SwsPeer(FourCCCode from, FourCCCode to, int32_t width, int32_t height, int flags)
      : width_(width), height_(height), fromV210_(IsV210(from)), toV210_(IsV210(to)) {
    sws_ = sws_getContext(width, height, SwsFormat(from), width, height, SwsFormat(to), flags,
                          nullptr, nullptr, nullptr);
    planar_ = av_frame_alloc();
    planar_->format = AV_PIX_FMT_YUV422P10LE;
    planar_->width = width;
    planar_->height = height;
    if (fromV210_) codec_ = OpenCodec(avcodec_find_decoder(AV_CODEC_ID_V210));
    if (toV210_) {
      codec_ = OpenCodec(avcodec_find_encoder(AV_CODEC_ID_V210));
      av_frame_get_buffer(planar_, 0);
    }
    packet_ = av_packet_alloc();
  }
  ~SwsPeer() {
    sws_freeContext(sws_);
    av_frame_free(&planar_);
    av_packet_free(&packet_);
    avcodec_free_context(&codec_);
  }
  SwsPeer(const SwsPeer&) = delete;
  SwsPeer& operator=(const SwsPeer&) = delete;

  [[nodiscard]] bool Ready() const {
    return sws_ != nullptr && (!(fromV210_ || toV210_) || codec_ != nullptr);
  }

  void Run(const Frame& frame) {
    if (fromV210_) Decode(frame);
    const uint8_t* src[4] = {frame.src, nullptr, nullptr, nullptr};
    const int srcPitch[4] = {frame.srcPitch, 0, 0, 0};
    uint8_t* dst[4] = {frame.dst, nullptr, nullptr, nullptr};
    const int dstPitch[4] = {frame.dstPitch, 0, 0, 0};
    sws_scale(sws_, fromV210_ ? planar_->data : src, fromV210_ ? planar_->linesize : srcPitch, 0,
              height_, toV210_ ? planar_->data : dst, toV210_ ? planar_->linesize : dstPitch);
    if (toV210_) Encode(frame);
  }

 private:
  AVCodecContext* OpenCodec(const AVCodec* codec) const {
    AVCodecContext* context = avcodec_alloc_context3(codec);
    context->width = width_;
    context->height = height_;
    context->pix_fmt = AV_PIX_FMT_YUV422P10LE;
    context->time_base = {1, 25};
    context->thread_count = 1;
    if (avcodec_open2(context, codec, nullptr) < 0) avcodec_free_context(&context);
    return context;
  }

  void Decode(const Frame& frame) {
    packet_->data = const_cast<uint8_t*>(frame.src);  // borrowed, only read
    packet_->size = static_cast<int>(frame.srcBytes);
    // Without a reference of its own the packet would be copied when sent; a borrowed one is not.
    packet_->buf = av_buffer_create(
        packet_->data, frame.srcBytes, [](void*, uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
    avcodec_send_packet(codec_, packet_);
    avcodec_receive_frame(codec_, planar_);
    av_packet_unref(packet_);
  }

  void Encode(const Frame& frame) {
    avcodec_send_frame(codec_, planar_);
    avcodec_receive_packet(codec_, packet_);
    static_cast<void>(frame);  // the packet is the result; it is not copied on
    av_packet_unref(packet_);
  }

  int32_t width_, height_;
  bool fromV210_, toV210_;
  SwsContext* sws_ = nullptr;
  AVCodecContext* codec_ = nullptr;
  AVFrame* planar_ = nullptr;
  AVPacket* packet_ = nullptr;
};

void AddSws(std::vector<Peer>* peers, const char* name, FourCCCode from, FourCCCode to,
            int32_t width, int32_t height, int flags) {
  if (SwsFormat(from) == AV_PIX_FMT_NONE || SwsFormat(to) == AV_PIX_FMT_NONE) return;
  auto sws = std::make_shared<SwsPeer>(from, to, width, height, flags);
  if (!sws->Ready()) return;
  peers->push_back({name, [sws](const Frame& frame) { sws->Run(frame); }});
}

using YuvFunction = int (*)(const uint8_t*, int, uint8_t*, int, int, int);

// libyuv names formats by words: its ARGB is B, G, R, A in memory, its RAW is R, G, B.
YuvFunction FindYuvFunction(FourCCCode from, FourCCCode to) {
  struct Row {
    FourCCCode from, to;
    YuvFunction function;
  };
  static const Row kRows[] = {
      {FourCC("2vuy"), FourCC("bgrA"), libyuv::UYVYToARGB},
      {FourCC("yuy2"), FourCC("bgrA"), libyuv::YUY2ToARGB},
      {FourCC("bgrA"), FourCC("2vuy"), libyuv::ARGBToUYVY},
      {FourCC("bgrA"), FourCC("yuy2"), libyuv::ARGBToYUY2},
      {FourCC("rgb "), FourCC("bgrA"), libyuv::RAWToARGB},
      {FourCC("bgr "), FourCC("bgrA"), libyuv::RGB24ToARGB},
      {FourCC("bgrA"), FourCC("rgb "), libyuv::ARGBToRAW},
      {FourCC("bgrA"), FourCC("bgr "), libyuv::ARGBToRGB24},
      {FourCC("rgba"), FourCC("bgrA"), libyuv::ABGRToARGB},
      {FourCC("argB"), FourCC("bgrA"), libyuv::BGRAToARGB},
      {FourCC("abgr"), FourCC("bgrA"), libyuv::RGBAToARGB},
  };
  for (const Row& row : kRows) {
    if (row.from == from && row.to == to) return row.function;
  }
  return nullptr;
}

}  // namespace

std::vector<Peer> PeersFor(FourCCCode from, FourCCCode to, int32_t width, int32_t height) {
  std::vector<Peer> peers;
  AddSws(&peers, "sws point", from, to, width, height, SWS_POINT);
  AddSws(&peers, "sws accurate", from, to, width, height, kAccurate);
  if (const YuvFunction function = FindYuvFunction(from, to)) {
    peers.push_back({"libyuv", [function, width, height](const Frame& f) {
                       function(f.src, f.srcPitch, f.dst, f.dstPitch, width, height);
                     }});
  }
  return peers;
}

}  // namespace morvane::bench
