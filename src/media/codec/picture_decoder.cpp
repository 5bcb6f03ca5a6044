#include "media/codec/picture_decoder.h"

#include <cstring>

namespace morvane::codec {
namespace {

MediaScan ScanOf(AVFieldOrder order) {
  switch (order) {
    case AV_FIELD_PROGRESSIVE:
      return MediaScan::kProgressive;
    case AV_FIELD_TT:
    case AV_FIELD_TB:
      return MediaScan::kTopFieldFirst;
    case AV_FIELD_BB:
    case AV_FIELD_BT:
      return MediaScan::kBottomFieldFirst;
    default:
      return MediaScan::kUnknown;
  }
}

// Eight-bit 4:2:2 in video levels comes through without a change; everything else goes by 10 bit.
bool IsEightBit422(const AVCodecParameters& parameters) {
  if (parameters.color_range == AVCOL_RANGE_JPEG) return false;
  return parameters.format == AV_PIX_FMT_YUV422P || parameters.format == AV_PIX_FMT_UYVY422 ||
         parameters.format == AV_PIX_FMT_YUYV422;
}

bool IsTenBit422(const AVCodecParameters& parameters) {
  return parameters.color_range != AVCOL_RANGE_JPEG && parameters.format == AV_PIX_FMT_YUV422P10LE;
}

}  // namespace

bool PictureDecoder::Open(const std::string& path, MediaInfo* info, std::string* error) {
  *this = PictureDecoder();
  path_ = path;
  input_ = OpenInput(path, error);
  if (!input_) return false;
  stream_ = av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream_ < 0) return true;
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    if (static_cast<int>(i) != stream_) input_->streams[i]->discard = AVDISCARD_ALL;
  }
  AVStream* stream = input_->streams[stream_];
  const AVCodecParameters& parameters = *stream->codecpar;
  if (parameters.width < 2 || parameters.height < 1 || parameters.width % 2 != 0 ||
      parameters.width > 16384 || parameters.height > 16384) {
    *error = "\"" + path + "\" has pictures of " + std::to_string(parameters.width) + " by " +
             std::to_string(parameters.height);
    return false;
  }
  AVRational rate = stream->avg_frame_rate;
  if (rate.num <= 0 || rate.den <= 0) rate = stream->r_frame_rate;
  info->hasPicture = true;
  info->width = static_cast<uint32_t>(parameters.width);
  info->height = static_cast<uint32_t>(parameters.height);
  info->rateScale = rate.num > 0 ? rate.num : 0;
  info->rateDuration = rate.den > 0 ? rate.den : 1;
  info->scan = ScanOf(parameters.field_order);
  info->frameCount = stream->nb_frames;

  const bool rawUyvy =
      parameters.codec_id == AV_CODEC_ID_RAWVIDEO && parameters.format == AV_PIX_FMT_UYVY422;
  const bool rawV210 = parameters.codec_id == AV_CODEC_ID_V210;
  way_ = rawUyvy || rawV210 ? Way::kRawBytes : Way::kDecode;
  const bool eightBit = rawUyvy || (!rawV210 && IsEightBit422(parameters));
  info->pictureFormat = eightBit ? FourCC("2vuy") : FourCC("v219");
  info->exact = way_ == Way::kRawBytes || eightBit || IsTenBit422(parameters);
  info->pictureBytes =
      info->height * (eightBit ? static_cast<size_t>(info->width) * 2 : V219RowBytes(info->width));
  info_ = *info;
  if (stream->start_time != AV_NOPTS_VALUE) {
    startSeconds_ = static_cast<double>(stream->start_time) * av_q2d(stream->time_base);
  }
  packet_.reset(av_packet_alloc());
  frame_.reset(av_frame_alloc());
  planar_.reset(av_frame_alloc());
  if (way_ == Way::kDecode) {
    codec_ = OpenDecoder(stream, error);
    if (!codec_) {
      *error = "\"" + path + "\": " + *error;
      return false;
    }
  }
  return true;
}

MediaRead PictureDecoder::NextPacket(AVPacket* packet, std::string* error) {
  for (;;) {
    av_packet_unref(packet);
    const int code = av_read_frame(input_.get(), packet);
    if (code == AVERROR_EOF) return MediaRead::kEnd;
    if (code < 0) {
      *error = "\"" + path_ + "\" cannot be read (" + ErrorText(code) + ")";
      return MediaRead::kFailed;
    }
    if (packet->stream_index == stream_) return MediaRead::kDone;
  }
}

MediaRead PictureDecoder::Next(uint8_t* out, std::string* error) {
  if (stream_ < 0) return MediaRead::kEnd;
  if (way_ == Way::kRawBytes) {
    const MediaRead read = NextPacket(packet_.get(), error);
    if (read != MediaRead::kDone) return read;
    if (packet_->size < 0 || static_cast<size_t>(packet_->size) < info_.pictureBytes) {
      *error = "\"" + path_ + "\" is cut short: its last picture is not whole";
      return MediaRead::kFailed;
    }
    std::memcpy(out, packet_->data, info_.pictureBytes);
    return MediaRead::kDone;
  }
  const MediaRead read = NextFrame(error);
  if (read != MediaRead::kDone) return read;
  return Deliver(out, error) ? MediaRead::kDone : MediaRead::kFailed;
}

MediaRead PictureDecoder::NextFrame(std::string* error) {
  for (;;) {
    int code = avcodec_receive_frame(codec_.get(), frame_.get());
    if (code >= 0) return MediaRead::kDone;
    if (code == AVERROR_EOF) return MediaRead::kEnd;
    if (code != AVERROR(EAGAIN) || draining_) {
      *error = "\"" + path_ + "\": a picture cannot be decoded (" + ErrorText(code) + ")";
      return MediaRead::kFailed;
    }
    const MediaRead read = NextPacket(packet_.get(), error);
    if (read == MediaRead::kFailed) return read;
    draining_ = read == MediaRead::kEnd;
    code = avcodec_send_packet(codec_.get(), draining_ ? nullptr : packet_.get());
    if (code < 0 && code != AVERROR_EOF && code != AVERROR_INVALIDDATA) {
      *error = "\"" + path_ + "\": a picture cannot be decoded (" + ErrorText(code) + ")";
      return MediaRead::kFailed;
    }
  }
}

bool PictureDecoder::Deliver(uint8_t* out, std::string* error) {
  const bool eightBit = info_.pictureFormat == FourCC("2vuy");
  const AVPixelFormat wanted = eightBit ? AV_PIX_FMT_YUV422P : AV_PIX_FMT_YUV422P10LE;
  const AVFrame* planar = frame_.get();
  if (frame_->format != wanted || frame_->color_range == AVCOL_RANGE_JPEG ||
      frame_->width != static_cast<int>(info_.width) ||
      frame_->height != static_cast<int>(info_.height)) {
    planar_->format = wanted;
    planar_->width = static_cast<int>(info_.width);
    planar_->height = static_cast<int>(info_.height);
    if (planar_->data[0] == nullptr && av_frame_get_buffer(planar_.get(), 0) < 0) {
      *error = "out of memory for a picture of \"" + path_ + "\"";
      return false;
    }
    if (!Resample(*frame_, planar_.get(), error)) return false;
    planar = planar_.get();
  }
  if (eightBit) {
    PackUyvy(*planar, info_.width, info_.height, out);
  } else {
    PackV219(*planar, info_.width, info_.height, out);
  }
  return true;
}

bool PictureDecoder::Resample(const AVFrame& from, AVFrame* to, std::string* error) {
  const auto format = static_cast<AVPixelFormat>(from.format);
  const AVPixFmtDescriptor* facts = av_pix_fmt_desc_get(format);
  // Chroma of an interlaced picture with half the chroma lines belongs to its own field.
  const bool byField = from.interlaced_frame != 0 && facts != nullptr && facts->log2_chroma_h > 0 &&
                       from.height == to->height && from.height % 4 == 0;
  const int fields = byField ? 2 : 1;
  sws_.reset(sws_getCachedContext(
      sws_.release(), from.width, from.height / fields, format, to->width, to->height / fields,
      static_cast<AVPixelFormat>(to->format), SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP,
      nullptr, nullptr, nullptr));
  if (!sws_) {
    *error = "\"" + path_ + "\": pictures of this kind cannot be brought to 4:2:2";
    return false;
  }
  const int matrix = to->width < 800 ? SWS_CS_ITU601 : SWS_CS_ITU709;
  const bool fullRange = from.color_range == AVCOL_RANGE_JPEG ||
                         (facts != nullptr && (facts->flags & AV_PIX_FMT_FLAG_RGB) != 0);
  sws_setColorspaceDetails(sws_.get(), sws_getCoefficients(matrix), fullRange ? 1 : 0,
                           sws_getCoefficients(matrix), 0, 0, 1 << 16, 1 << 16);
  for (int field = 0; field < fields; ++field) {
    const uint8_t* source[4];
    uint8_t* target[4];
    int sourceStride[4];
    int targetStride[4];
    for (int plane = 0; plane < 4; ++plane) {
      source[plane] =
          from.data[plane] != nullptr ? from.data[plane] + field * from.linesize[plane] : nullptr;
      target[plane] =
          to->data[plane] != nullptr ? to->data[plane] + field * to->linesize[plane] : nullptr;
      sourceStride[plane] = from.linesize[plane] * fields;
      targetStride[plane] = to->linesize[plane] * fields;
    }
    // A palette is no picture plane; it stays where it is.
    if (facts != nullptr && (facts->flags & AV_PIX_FMT_FLAG_PAL) != 0) source[1] = from.data[1];
    sws_scale(sws_.get(), source, sourceStride, 0, from.height / fields, target, targetStride);
  }
  return true;
}

}  // namespace morvane::codec
