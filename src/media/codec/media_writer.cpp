#include "media/codec/media_writer.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "media/codec/ffmpeg_handles.h"
#include "media/codec/picture_decoder.h"

namespace morvane {
namespace {

using codec::CodecHandle;
using codec::ErrorText;
using codec::FrameHandle;
using codec::PacketHandle;

}  // namespace

struct MediaWriter::Impl {
  std::string path;
  MediaWriteFormat format;
  AVFormatContext* output = nullptr;
  bool headerWritten = false;
  CodecHandle pictureCodec;
  CodecHandle soundCodec;
  AVStream* pictureStream = nullptr;
  AVStream* soundStream = nullptr;
  FrameHandle picture{av_frame_alloc()};
  PacketHandle packet{av_packet_alloc()};
  int64_t pictureCount = 0;
  int64_t soundCount = 0;

  ~Impl() {
    if (output == nullptr) return;
    avio_closep(&output->pb);
    avformat_free_context(output);
  }

  bool Fail(const char* what, int code, std::string* error) const {
    *error = std::string(what) + " \"" + path + "\" failed (" + ErrorText(code) + ")";
    return false;
  }

  bool OpenPictures(std::string* error) {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_FFVHUFF);
    if (codec == nullptr)
      return Fail("finding the FFVHUFF encoder for", AVERROR_ENCODER_NOT_FOUND, error);
    pictureCodec.reset(avcodec_alloc_context3(codec));
    pictureCodec->width = static_cast<int>(format.width);
    pictureCodec->height = static_cast<int>(format.height);
    pictureCodec->pix_fmt = AV_PIX_FMT_YUV422P10LE;
    pictureCodec->color_range = AVCOL_RANGE_MPEG;
    pictureCodec->time_base = {static_cast<int>(format.rateDuration),
                               static_cast<int>(format.rateScale)};
    pictureCodec->framerate = {static_cast<int>(format.rateScale),
                               static_cast<int>(format.rateDuration)};
    pictureCodec->thread_count = 1;
    pictureCodec->field_order = !format.interlaced   ? AV_FIELD_PROGRESSIVE
                                : format.bottomFirst ? AV_FIELD_BB
                                                     : AV_FIELD_TT;
    return AddStream(codec, pictureCodec.get(), &pictureStream, error);
  }

  bool OpenSound(std::string* error) {
    if (format.soundChannels == 0) return true;
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PCM_S32LE);
    if (codec == nullptr)
      return Fail("finding the PCM encoder for", AVERROR_ENCODER_NOT_FOUND, error);
    soundCodec.reset(avcodec_alloc_context3(codec));
    soundCodec->sample_fmt = AV_SAMPLE_FMT_S32;
    soundCodec->sample_rate = static_cast<int>(format.soundRate);
    soundCodec->time_base = {1, static_cast<int>(format.soundRate)};
    av_channel_layout_default(&soundCodec->ch_layout, static_cast<int>(format.soundChannels));
    return AddStream(codec, soundCodec.get(), &soundStream, error);
  }

  bool AddStream(const AVCodec* codec, AVCodecContext* context, AVStream** stream,
                 std::string* error) {
    if ((output->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
      context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    int code = avcodec_open2(context, codec, nullptr);
    if (code < 0) return Fail("preparing", code, error);
    *stream = avformat_new_stream(output, codec);
    if (*stream == nullptr) return Fail("preparing", AVERROR(ENOMEM), error);
    (*stream)->time_base = context->time_base;
    (*stream)->avg_frame_rate = context->framerate;
    code = avcodec_parameters_from_context((*stream)->codecpar, context);
    return code >= 0 || Fail("preparing", code, error);
  }

  // Encodes `frame` (null: the rest) and hands the packets on.
  bool Encode(AVCodecContext* context, AVStream* stream, const AVFrame* frame, std::string* error) {
    int code = avcodec_send_frame(context, frame);
    while (code >= 0) {
      code = avcodec_receive_packet(context, packet.get());
      if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) return true;
      if (code < 0) break;
      packet->stream_index = stream->index;
      if (packet->duration == 0 && stream == pictureStream) packet->duration = 1;
      av_packet_rescale_ts(packet.get(), context->time_base, stream->time_base);
      code = av_interleaved_write_frame(output, packet.get());
    }
    return Fail("writing", code, error);
  }
};

MediaWriter::MediaWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

MediaWriter::~MediaWriter() {
  std::string ignored;
  (void)Close(&ignored);
}

std::unique_ptr<MediaWriter> MediaWriter::Create(const std::string& path,
                                                 const MediaWriteFormat& format,
                                                 std::string* error) {
  av_log_set_level(AV_LOG_QUIET);
  struct stat facts = {};
  if (lstat(path.c_str(), &facts) == 0) {
    *error = "\"" + path + "\" exists already";
    return nullptr;
  }
  auto impl = std::make_unique<Impl>();
  impl->path = path;
  impl->format = format;
  int code = avformat_alloc_output_context2(&impl->output, nullptr, "matroska", path.c_str());
  if (code < 0) {
    impl->Fail("preparing", code, error);
    return nullptr;
  }
  if (!impl->OpenPictures(error) || !impl->OpenSound(error)) return nullptr;
  code = avio_open(&impl->output->pb, ("file:" + path).c_str(), AVIO_FLAG_WRITE);
  if (code >= 0) code = avformat_write_header(impl->output, nullptr);
  if (code < 0) {
    impl->Fail("creating", code, error);
    return nullptr;
  }
  impl->headerWritten = true;
  AVFrame* picture = impl->picture.get();
  picture->format = AV_PIX_FMT_YUV422P10LE;
  picture->width = static_cast<int>(format.width);
  picture->height = static_cast<int>(format.height);
  code = av_frame_get_buffer(picture, 0);
  if (code < 0) {
    impl->Fail("preparing", code, error);
    return nullptr;
  }
  return std::unique_ptr<MediaWriter>(new MediaWriter(std::move(impl)));
}

bool MediaWriter::WritePicture(const uint8_t* v219, std::string* error) {
  if (!impl_->headerWritten) return impl_->Fail("writing", AVERROR(EINVAL), error);
  AVFrame* picture = impl_->picture.get();
  const int code = av_frame_make_writable(picture);
  if (code < 0) return impl_->Fail("writing", code, error);
  codec::UnpackV219(v219, impl_->format.width, impl_->format.height, picture);
  picture->pts = impl_->pictureCount++;
  picture->interlaced_frame = impl_->format.interlaced ? 1 : 0;
  picture->top_field_first = impl_->format.bottomFirst ? 0 : 1;
  return impl_->Encode(impl_->pictureCodec.get(), impl_->pictureStream, picture, error);
}

bool MediaWriter::WriteSound(const int32_t* samples, int64_t frames, std::string* error) {
  if (!impl_->headerWritten || impl_->soundStream == nullptr) {
    return impl_->Fail("writing", AVERROR(EINVAL), error);
  }
  if (frames <= 0) return true;
  FrameHandle frame(av_frame_alloc());
  frame->format = AV_SAMPLE_FMT_S32;
  frame->nb_samples = static_cast<int>(frames);
  frame->sample_rate = static_cast<int>(impl_->format.soundRate);
  int code = av_channel_layout_copy(&frame->ch_layout, &impl_->soundCodec->ch_layout);
  if (code >= 0) code = av_frame_get_buffer(frame.get(), 0);
  if (code < 0) return impl_->Fail("writing", code, error);
  std::memcpy(frame->data[0], samples,
              static_cast<size_t>(frames) * impl_->format.soundChannels * sizeof(int32_t));
  frame->pts = impl_->soundCount;
  impl_->soundCount += frames;
  return impl_->Encode(impl_->soundCodec.get(), impl_->soundStream, frame.get(), error);
}

bool MediaWriter::Close(std::string* error) {
  if (!impl_->headerWritten) return true;
  impl_->headerWritten = false;
  bool whole = impl_->Encode(impl_->pictureCodec.get(), impl_->pictureStream, nullptr, error);
  if (impl_->soundStream != nullptr) {
    whole &= impl_->Encode(impl_->soundCodec.get(), impl_->soundStream, nullptr, error);
  }
  int code = av_write_trailer(impl_->output);
  const int closed = avio_closep(&impl_->output->pb);
  if (code >= 0) code = closed;
  if (code < 0) whole = impl_->Fail("closing", code, error);
  return whole;
}

}  // namespace morvane
