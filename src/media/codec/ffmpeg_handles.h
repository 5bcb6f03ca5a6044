#pragma once

// Private to this folder: owners of the codec library's objects, and its errors as text.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
#include <libavutil/frame.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

namespace morvane::codec {

struct InputDeleter {
  void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
};
struct CodecDeleter {
  void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
};
struct PacketDeleter {
  void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct FrameDeleter {
  void operator()(AVFrame* p) const { av_frame_free(&p); }
};
struct SwsDeleter {
  void operator()(SwsContext* p) const { sws_freeContext(p); }
};
struct SwrDeleter {
  void operator()(SwrContext* p) const { swr_free(&p); }
};
using InputHandle = std::unique_ptr<AVFormatContext, InputDeleter>;
using CodecHandle = std::unique_ptr<AVCodecContext, CodecDeleter>;
using PacketHandle = std::unique_ptr<AVPacket, PacketDeleter>;
using FrameHandle = std::unique_ptr<AVFrame, FrameDeleter>;
using SwsHandle = std::unique_ptr<SwsContext, SwsDeleter>;
using SwrHandle = std::unique_ptr<SwrContext, SwrDeleter>;

[[nodiscard]] std::string ErrorText(int code);

// Opens a file for reading with its streams known. Returns: null with a sentence in `error`.
[[nodiscard]] InputHandle OpenInput(const std::string& path, std::string* error);
// A decoder of `stream`, ready for packets. Returns: null with a sentence in `error`.
[[nodiscard]] CodecHandle OpenDecoder(const AVStream* stream, std::string* error);

}  // namespace morvane::codec
