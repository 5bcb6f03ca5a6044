#include "media/codec/sound_decoder.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace morvane::codec {
namespace {

// Time stamps of some containers are whole milliseconds; a difference below this is rounding.
constexpr double kRoundingSeconds = 0.002;

}  // namespace

bool SoundDecoder::Open(const std::string& path, uint32_t rate, double startSeconds,
                        std::string* error) {
  *this = SoundDecoder();
  rate_ = rate;
  startSeconds_ = startSeconds;
  input_ = OpenInput(path, error);
  if (!input_) return false;
  packet_.reset(av_packet_alloc());
  frame_.reset(av_frame_alloc());
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    AVStream* stream = input_->streams[i];
    stream->discard = AVDISCARD_ALL;
    if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    const auto count = static_cast<uint32_t>(stream->codecpar->ch_layout.nb_channels);
    if (count == 0 || channels_ + count > kMaxSoundChannels) continue;
    Track track;
    std::string reason;
    track.codec = OpenDecoder(stream, &reason);
    if (!track.codec) continue;
    track.stream = static_cast<int>(i);
    track.channels = count;
    stream->discard = AVDISCARD_DEFAULT;
    channels_ += count;
    tracks_.push_back(std::move(track));
  }
  return true;
}

int64_t SoundDecoder::Next(int32_t* out, int64_t frames) {
  std::memset(out, 0, static_cast<size_t>(frames) * channels_ * sizeof(int32_t));
  if (channels_ == 0) return 0;
  const auto isShort = [frames](const Track& track) { return track.Available() < frames; };
  while (!ended_ && std::any_of(tracks_.begin(), tracks_.end(), isShort)) {
    if (!ReadOn()) ended_ = true;
  }
  int64_t longest = 0;
  uint32_t firstChannel = 0;
  for (Track& track : tracks_) {
    const int64_t count = std::min(frames, track.Available());
    longest = std::max(longest, count);
    const int32_t* from = track.waiting.data() + track.taken;
    for (int64_t i = 0; i < count; ++i) {
      std::copy_n(from + i * track.channels, track.channels, out + i * channels_ + firstChannel);
    }
    track.taken += static_cast<size_t>(count) * track.channels;
    if (track.taken > 65536) {
      track.waiting.erase(track.waiting.begin(),
                          track.waiting.begin() + static_cast<ptrdiff_t>(track.taken));
      track.taken = 0;
    }
    firstChannel += track.channels;
  }
  return longest;
}

bool SoundDecoder::ReadOn() {
  av_packet_unref(packet_.get());
  if (av_read_frame(input_.get(), packet_.get()) < 0) {
    for (Track& track : tracks_) Decode(&track, nullptr);
    return false;
  }
  for (Track& track : tracks_) {
    if (track.stream == packet_->stream_index) Decode(&track, packet_.get());
  }
  return true;
}

void SoundDecoder::Decode(Track* track, const AVPacket* packet) {
  if (avcodec_send_packet(track->codec.get(), packet) < 0) return;
  while (avcodec_receive_frame(track->codec.get(), frame_.get()) >= 0) {
    Append(track, frame_.get());
  }
  if (packet == nullptr) Append(track, nullptr);
}

void SoundDecoder::Append(Track* track, const AVFrame* frame) {
  if (frame != nullptr && !track->started) {
    track->started = true;
    AVChannelLayout layout = {};
    if (frame->ch_layout.nb_channels == static_cast<int>(track->channels)) {
      av_channel_layout_copy(&layout, &frame->ch_layout);
    } else {
      av_channel_layout_default(&layout, static_cast<int>(track->channels));
    }
    SwrContext* raw = nullptr;
    // The same layout on both sides: channels are never mixed.
    swr_alloc_set_opts2(&raw, &layout, AV_SAMPLE_FMT_S32, static_cast<int>(rate_), &layout,
                        static_cast<AVSampleFormat>(frame->format), frame->sample_rate, 0, nullptr);
    if (raw != nullptr && swr_init(raw) >= 0) {
      track->resampler.reset(raw);
    } else {
      swr_free(&raw);
    }
    if (frame->pts != AV_NOPTS_VALUE) {
      const double late =
          static_cast<double>(frame->pts) * av_q2d(input_->streams[track->stream]->time_base) -
          startSeconds_;
      const auto samples = static_cast<int64_t>(std::llround(late * rate_));
      if (late > kRoundingSeconds) {
        track->waiting.resize(static_cast<size_t>(samples) * track->channels);
      } else if (late < -kRoundingSeconds) {
        track->skip = -samples;
      }
    }
    av_channel_layout_uninit(&layout);
  }
  if (!track->resampler) return;
  const int bound = swr_get_out_samples(track->resampler.get(), frame ? frame->nb_samples : 0);
  if (bound <= 0) return;
  std::vector<int32_t> converted(static_cast<size_t>(bound) * track->channels);
  uint8_t* planes[1] = {static_cast<uint8_t*>(static_cast<void*>(converted.data()))};
  const int count =
      swr_convert(track->resampler.get(), planes, bound,
                  frame != nullptr ? const_cast<const uint8_t**>(frame->extended_data) : nullptr,
                  frame != nullptr ? frame->nb_samples : 0);
  if (count <= 0) return;
  const int64_t skipped = std::min<int64_t>(track->skip, count);
  track->skip -= skipped;
  track->waiting.insert(
      track->waiting.end(), converted.begin() + static_cast<ptrdiff_t>(skipped * track->channels),
      converted.begin() + static_cast<ptrdiff_t>(static_cast<int64_t>(count) * track->channels));
}

}  // namespace morvane::codec
