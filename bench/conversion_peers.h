#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/fourcc.h"

// Other libraries' conversions, for yardsticks of speed. They follow other rules than ours, so
// their pixels are not compared.
namespace morvane::bench {

struct Frame {
  const uint8_t* src;
  int32_t srcPitch;
  size_t srcBytes;
  uint8_t* dst;
  int32_t dstPitch;
  size_t dstBytes;
};

struct Peer {
  std::string name;
  std::function<void(const Frame&)> run;
};

// The peers that have the pair, ready for frames of this size. Returns: none where nothing fits.
[[nodiscard]] std::vector<Peer> PeersFor(FourCCCode from, FourCCCode to, int32_t width,
                                         int32_t height);

}  // namespace morvane::bench
