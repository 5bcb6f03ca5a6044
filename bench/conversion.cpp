// Speed of the pixel conversions against their own plain code, a copy of the larger side and other
// libraries. Contenders take turns on frames that have left the caches; each gets the median of its
// rounds in processor time of the one thread.
// Ours comes several times, with the best vectors of this processor and with older ones, and every
// result is compared with the plain code's.
// A run of all pairs begins with the exhaustive proofs of the tests (about 40 seconds): no speed is
// told of routines that are not exact.
//   conversion [rounds] [filter] [table]     table: rows of docs/conversion.md
#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <ctime>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numeric>
#include <random>
#include <string>

#include "conversion_peers.h"
#include "processing/convert.h"
#include "processing/pixel_format.h"

namespace morvane::bench {
namespace {

constexpr size_t kColdBytes = size_t{160} << 20;  // well above the last cache

struct Pair {
  const char (&from)[5];
  const char (&to)[5];
};

// clang-format off
const Pair kPairs[] = {
  {"2vuy", "bgrA"}, {"yuy2", "bgrA"}, {"v219", "bgrA"}, {"v219", "2vuy"}, {"v219", "yuy2"},
  {"bgrA", "2vuy"}, {"bgrA", "yuy2"}, {"bgrA", "v219"},
  {"10rl", "bgrA"}, {"10rb", "bgrA"}, {"11rQ", "bgrA"}, {"10RG", "bgrA"}, {"10RS", "bgrA"},
  {"10RA", "bgrA"}, {"rgb ", "bgrA"}, {"RGB ", "bgrA"}, {"bgrA", "rgb "}, {"bgrA", "bgr "},
  {"2vuy", "rgba"}, {"2vuy", "argB"}, {"2vuy", "rgb "}, {"2vuy", "10rb"}, {"2vuy", "11rQ"},
  {"2vuy", "10RG"}, {"v219", "rgba"}, {"v219", "10rb"}, {"v219", "11rQ"}, {"v219", "10RG"},
  {"v219", "10RS"}, {"v219", "10RA"},
  {"10rb", "10rl"}, {"10rb", "10RG"}, {"10rb", "11rQ"}, {"11rQ", "11rb"}, {"10RG", "10RS"},
  {"10rb", "10RA"}, {"10RA", "10rb"}, {"10rb", "rgba"}, {"10RG", "rgb "},
  {"rgba", "bgrA"}, {"argB", "bgrA"}, {"abgr", "rgba"}, {"bgr ", "bgrA"}, {"rgba", "rgb "},
  {"rgb ", "bgr "}, {"bgrA", "10rb"}, {"bgrA", "10RG"},
  {"rgba", "2vuy"}, {"rgb ", "2vuy"}, {"rgb ", "v219"}, {"10rb", "2vuy"}, {"10RG", "2vuy"},
  {"10rb", "v219"}, {"10RG", "v219"}, {"11rQ", "v219"}, {"RGB ", "2vuy"}, {"RGB ", "v219"},
  {"RGb ", "bgrA"}, {" RgB", "bgrA"}, {"RGBA", "bgrA"}, {"ARgB", "bgrA"}, {"RGB ", "10rb"},
  {"RGb ", "10rl"}, {"RGBA", "10RG"}, {"RGB ", "11rQ"}, {"RGBA", "10RA"}, {"bgrA", "RGB "},
};
// clang-format on

struct Buffers {
  std::vector<std::vector<uint8_t>> src, dst;
};

// Kinds of processor that are measured apart, the best one first.
struct Vectors {
  const char* name;
  int64_t targets;  // Highway's bits; 0 for all that there are
};
constexpr Vectors kVectors[] = {
    {"ours", 0}, {"avx2", HWY_AVX2 | HWY_SSE4 | HWY_SSSE3}, {"sse4", HWY_SSE4 | HWY_SSSE3}};

void UseVectors(int64_t targets) {
  // Asking the processor takes as long as a small frame: once is enough.
  static const int64_t all = hwy::SupportedTargets();
  hwy::SetSupportedTargetsForTest(targets == 0 ? all : targets);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

struct Contender {
  std::string name;
  std::function<void(const Frame&)> run;
  std::vector<double> ms;
};

double ThreadSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

double Median(std::vector<double> v) {
  std::nth_element(v.begin(), v.begin() + static_cast<ptrdiff_t>(v.size() / 2), v.end());
  return v[v.size() / 2];
}

// Smooth gradients with noise, near what a camera gives; 10-bit words keep their top bits clear.
void FillPicture(std::vector<uint8_t>* bytes, FourCCCode code, uint32_t seed) {
  std::mt19937 random(seed);
  uint32_t level = 0x80;
  for (size_t i = 0; i < bytes->size(); ++i) {
    level = (level * 15 + (random() & 0xFF)) / 16 + (i % 97 == 0 ? 3 : 0);
    (*bytes)[i] = static_cast<uint8_t>(std::clamp<uint32_t>(level + (random() & 31), 18, 234));
  }
  if (!IsYuv10(code)) return;
  for (size_t i = 3; i < bytes->size(); i += 4) (*bytes)[i] &= 0x3F;
}

Contender Ours(const Vectors& vectors, const Pair& pair, int32_t width, int32_t height,
               bool reference) {
  return {reference ? "plain" : vectors.name,
          [=](const Frame& f) {
            UseVectors(vectors.targets);
            ConvertContext context;
            context.reference = reference;
            NxColorContext color;
            color.matrix = height > 576 ? ColorMatrix709Video : ColorMatrix601Video;
            const NxErr result = ConvertImage(&context, f.src, width, height, FourCC(pair.from),
                                              f.srcPitch, f.dst, width, height, FourCC(pair.to),
                                              f.dstPitch, false, &color, false, nullptr);
            if (result != NxErrSuccess) std::abort();
          },
          {}};
}

// The first contenders are ours and then the plain code: all must give the same bytes.
void CompareWithPlain(const std::vector<Contender>& contenders, Frame frame) {
  std::vector<uint8_t> wanted(frame.dstBytes), got(frame.dstBytes);
  frame.dst = wanted.data();
  contenders[std::size(kVectors)].run(frame);
  frame.dst = got.data();
  for (size_t k = 0; k < std::size(kVectors); ++k) {
    std::fill(got.begin(), got.end(), uint8_t{0});
    contenders[k].run(frame);
    if (got == wanted) continue;
    std::printf("WRONG: %s is not what the plain code gives\n", contenders[k].name.c_str());
    std::exit(1);
  }
}

void PrintResult(const Pair& pair, int32_t width, int32_t height,
                 const std::vector<Contender>& contenders) {
  const double ours = Median(contenders[0].ms);
  std::printf("%4dx%-4d %s>%s %7.3f ms |", width, height, pair.from, pair.to, ours);
  for (size_t k = 1; k < contenders.size(); ++k) {
    const double other = Median(contenders[k].ms);
    const bool copy = contenders[k].name.starts_with("copy");
    // A copy: how many times its time we take. All others: how many times faster we are.
    std::printf(" %s %.3f (%s%.2f)", contenders[k].name.c_str(), other, copy ? "we take x" : "x",
                copy ? ours / other : other / ours);
  }
  std::printf("\n");
}

void PrintRow(const Pair& pair, const std::vector<Contender>& contenders) {
  std::printf("| `%s` | `%s` |", pair.from, pair.to);
  for (const char* name : {"ours", "avx2", "sse4", "plain", "copy larger", "copy source",
                           "sws point", "sws accurate", "libyuv"}) {
    const auto found = std::find_if(contenders.begin(), contenders.end(),
                                    [name](const Contender& c) { return c.name == name; });
    if (found == contenders.end()) {
      std::printf(" |");
    } else {
      std::printf(" %.2f |", Median(found->ms));
    }
  }
  std::printf("\n");
}

void RunPair(const Pair& pair, int32_t width, int32_t height, int rounds, bool table) {
  const FourCCCode from = FourCC(pair.from);
  const FourCCCode to = FourCC(pair.to);
  const int32_t srcPitch = PixelPitch(from, width);
  const int32_t dstPitch = PixelPitch(to, width);
  const size_t srcBytes = static_cast<size_t>(srcPitch) * static_cast<size_t>(height);
  const size_t dstBytes = static_cast<size_t>(dstPitch) * static_cast<size_t>(height);
  const size_t sets = std::max<size_t>(3, kColdBytes / (srcBytes + dstBytes));
  Buffers buffers;
  for (size_t i = 0; i < sets; ++i) {
    buffers.src.emplace_back(srcBytes);
    buffers.dst.emplace_back(std::max(srcBytes, dstBytes), uint8_t{1});
    if (i == 0) FillPicture(&buffers.src[0], from, 1);
    if (i > 0) buffers.src[i] = buffers.src[0];
  }
  std::vector<Contender> contenders;
  for (const Vectors& vectors : kVectors) {
    contenders.push_back(Ours(vectors, pair, width, height, false));
  }
  contenders.push_back(Ours(kVectors[0], pair, width, height, true));
  CompareWithPlain(contenders,
                   {buffers.src[0].data(), srcPitch, srcBytes, nullptr, dstPitch, dstBytes});
  // The copy's source must be as large as the larger side; the targets are.
  const size_t copied = std::max(srcBytes, dstBytes);
  contenders.push_back({"copy larger", nullptr, {}});
  contenders.push_back(
      {"copy source", [](const Frame& f) { std::memcpy(f.dst, f.src, f.srcBytes); }, {}});
  for (Peer& peer : PeersFor(from, to, width, height)) {
    contenders.push_back({peer.name, std::move(peer.run), {}});
  }
  size_t at = 0;
  std::mt19937 random(3);
  std::vector<size_t> order(contenders.size());
  std::iota(order.begin(), order.end(), size_t{0});
  for (int round = 0; round <= rounds; ++round) {
    // Nobody always comes behind the same one, whose memory is still on its way out.
    std::shuffle(order.begin(), order.end(), random);
    for (const size_t turn : order) {
      Contender& c = contenders[turn];
      if (c.name == "plain" && round % 4 > 1) continue;
      const size_t i = at++ % sets;
      const Frame frame = {buffers.src[i].data(), srcPitch, srcBytes,
                           buffers.dst[i].data(), dstPitch, dstBytes};
      const double start = ThreadSeconds();
      if (c.run) {
        c.run(frame);
      } else {
        std::memcpy(buffers.dst[i].data(), buffers.dst[(i + sets / 2) % sets].data(), copied);
      }
      if (round > 0) c.ms.push_back((ThreadSeconds() - start) * 1e3);
    }
  }
  if (table) {
    PrintRow(pair, contenders);
  } else {
    PrintResult(pair, width, height, contenders);
  }
  std::fflush(stdout);
}

int Main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 25;
  const std::string filter = argc > 2 ? argv[2] : "";
  const bool table = argc > 3 && std::string(argv[3]) == "table";
  if (filter.empty() && RUN_ALL_TESTS() != 0) return 1;
  const int32_t sizes[][2] = {{1920, 1080}, {720, 486}};
  for (const auto& size : sizes) {
    if (table) std::printf("%dx%d\n", size[0], size[1]);
    for (const Pair& pair : kPairs) {
      const std::string name = std::string(pair.from) + ">" + pair.to;
      if (name.find(filter) == std::string::npos) continue;
      RunPair(pair, size[0], size[1], rounds, table);
    }
  }
  return 0;
}

}  // namespace
}  // namespace morvane::bench

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return morvane::bench::Main(argc, argv);
}
