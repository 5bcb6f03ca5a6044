#include "media/codec/media_reader.h"

#include <algorithm>
#include <vector>

#include "media/codec/picture_decoder.h"
#include "media/codec/sound_decoder.h"

namespace morvane {
namespace {

using codec::InputHandle;
using codec::PacketHandle;

// Sound that is coded in blocks may end this much before or after the duration that is told.
constexpr int64_t kEndTolerance = AV_TIME_BASE / 5;

std::string CutShort(const std::string& path) {
  return "\"" + path + "\" is cut short: it does not hold all that its index promises";
}

// Looks at the file's index: every entry must lie within the file.
bool IndexIsWithin(AVFormatContext* input) {
  const int64_t size = avio_size(input->pb);
  if (size <= 0) return true;
  for (unsigned s = 0; s < input->nb_streams; ++s) {
    AVStream* stream = input->streams[s];
    const int count = avformat_index_get_entries_count(stream);
    for (int i = 0; i < count; ++i) {
      const AVIndexEntry* entry = avformat_index_get_entry(stream, i);
      if (entry->pos >= 0 && entry->pos + entry->size > size) return false;
    }
  }
  return true;
}

// Reads from near the end: the last packets must reach what the file tells of its duration.
bool EndIsThere(AVFormatContext* input) {
  if (input->duration == AV_NOPTS_VALUE || input->duration <= 0) return true;
  // A duration that was guessed from the size of the file tells nothing of what is missing.
  if (input->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) return true;
  const int64_t start = input->start_time != AV_NOPTS_VALUE ? input->start_time : 0;
  const int64_t wanted = start + input->duration;
  av_seek_frame(input, -1, std::max(start, wanted - 2 * AV_TIME_BASE), AVSEEK_FLAG_BACKWARD);
  PacketHandle packet(av_packet_alloc());
  int64_t last = start;
  int code = 0;
  bool damaged = false;
  while ((code = av_read_frame(input, packet.get())) >= 0) {
    const AVStream* stream = input->streams[packet->stream_index];
    damaged |= (packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
    const int64_t time = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    if (time != AV_NOPTS_VALUE) {
      last = std::max(last, av_rescale_q(time + packet->duration, stream->time_base,
                                         AVRational{1, AV_TIME_BASE}));
    }
    av_packet_unref(packet.get());
  }
  return code == AVERROR_EOF && !damaged && last + kEndTolerance >= wanted;
}

}  // namespace

struct MediaReader::Impl {
  std::string path;
  uint32_t soundRate = 48000;
  MediaInfo info;
  codec::PictureDecoder pictures;
  codec::SoundDecoder sound;

  bool Open(std::string* error) {
    info = MediaInfo();
    if (!pictures.Open(path, &info, error)) return false;
    if (!sound.Open(path, soundRate, pictures.StartSeconds(), error)) return false;
    info.soundChannels = sound.Channels();
    return true;
  }
};

MediaReader::MediaReader(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
MediaReader::~MediaReader() = default;

std::unique_ptr<MediaReader> MediaReader::Open(const std::string& path, uint32_t soundRate,
                                               std::string* error) {
  auto impl = std::make_unique<Impl>();
  impl->path = path;
  impl->soundRate = soundRate;
  if (!impl->Open(error)) return nullptr;
  if (!impl->info.hasPicture && impl->info.soundChannels == 0) {
    *error = "\"" + path + "\" holds neither pictures nor sound that can be decoded";
    return nullptr;
  }
  return std::unique_ptr<MediaReader>(new MediaReader(std::move(impl)));
}

bool MediaReader::CheckWhole(const std::string& path, std::string* error) {
  const std::unique_ptr<MediaReader> reader = Open(path, 48000, error);
  if (!reader) return false;
  if (reader->Info().hasPicture) {
    std::vector<uint8_t> picture(reader->Info().pictureBytes);
    const MediaRead read = reader->NextPicture(picture.data(), error);
    if (read == MediaRead::kEnd) *error = "\"" + path + "\" holds no picture";
    if (read != MediaRead::kDone) return false;
  }
  const InputHandle input = codec::OpenInput(path, error);
  if (!input) return false;
  if (!IndexIsWithin(input.get()) || !EndIsThere(input.get())) {
    *error = CutShort(path);
    return false;
  }
  return true;
}

const MediaInfo& MediaReader::Info() const {
  return impl_->info;
}

MediaRead MediaReader::NextPicture(uint8_t* out, std::string* error) {
  return impl_->pictures.Next(out, error);
}

int64_t MediaReader::NextSound(int32_t* out, int64_t frames) {
  return impl_->sound.Next(out, frames);
}

bool MediaReader::Rewind(std::string* error) {
  return impl_->Open(error);
}

}  // namespace morvane
