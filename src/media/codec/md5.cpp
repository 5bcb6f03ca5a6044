#include "media/codec/md5.h"

extern "C" {
#include <libavutil/md5.h>
#include <libavutil/mem.h>
}

namespace morvane {

struct Md5::Impl {
  AVMD5* context = av_md5_alloc();
  ~Impl() { av_free(context); }
};

Md5::Md5() : impl_(std::make_unique<Impl>()) {
  av_md5_init(impl_->context);
}
Md5::~Md5() = default;

void Md5::Update(const void* data, size_t bytes) {
  av_md5_update(impl_->context, static_cast<const uint8_t*>(data), bytes);
}

std::string Md5::Finish() {
  static constexpr char kDigits[] = "0123456789abcdef";
  uint8_t sum[16];
  av_md5_final(impl_->context, sum);
  av_md5_init(impl_->context);
  std::string text;
  for (const uint8_t byte : sum) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string Md5Of(const void* data, size_t bytes) {
  Md5 md5;
  md5.Update(data, bytes);
  return md5.Finish();
}

}  // namespace morvane
