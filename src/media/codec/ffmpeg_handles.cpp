#include "media/codec/ffmpeg_handles.h"

#include <sys/stat.h>

namespace morvane::codec {

std::string ErrorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

InputHandle OpenInput(const std::string& path, std::string* error) {
  // What goes wrong is told by our own results; the library's chatter on standard error is not.
  av_log_set_level(AV_LOG_QUIET);
  struct stat facts = {};
  if (stat(path.c_str(), &facts) != 0) {
    *error = "\"" + path + "\" does not exist";
    return nullptr;
  }
  if (!S_ISREG(facts.st_mode)) {
    *error = "\"" + path + "\" is no file";
    return nullptr;
  }
  AVFormatContext* raw = nullptr;
  // The protocol prefix keeps a name with a colon in it from being taken for an address.
  int code = avformat_open_input(&raw, ("file:" + path).c_str(), nullptr, nullptr);
  InputHandle input(raw);
  if (code >= 0) code = avformat_find_stream_info(raw, nullptr);
  if (code < 0) {
    *error = "\"" + path + "\" is no media file, or it is cut short (" + ErrorText(code) + ")";
    return nullptr;
  }
  return input;
}

CodecHandle OpenDecoder(const AVStream* stream, std::string* error) {
  const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
  if (codec == nullptr) {
    *error = std::string("there is no decoder for ") + avcodec_get_name(stream->codecpar->codec_id);
    return nullptr;
  }
  CodecHandle context(avcodec_alloc_context3(codec));
  int code = avcodec_parameters_to_context(context.get(), stream->codecpar);
  context->pkt_timebase = stream->time_base;
  context->thread_count = 1;
  if (code >= 0) code = avcodec_open2(context.get(), codec, nullptr);
  if (code < 0) {
    *error =
        std::string("the decoder of ") + codec->name + " does not start (" + ErrorText(code) + ")";
    return nullptr;
  }
  return context;
}

}  // namespace morvane::codec
