// The door to a card: one masked register write, and a frame to the ring against its plain copy.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "base/page_memory.h"
#include "device/card.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_driver.h"

namespace morvane {
namespace {

constexpr uint32_t kFrameBytes = 5529600;  // 1080 lines of 10-bit 4:2:2

// The built-in machine, opened.
class Door {
 public:
  Door() : driver_(BuiltInMachine()) {
    InstallDriverPort(&driver_);
    open_ = card_.Open(0, false, BOARDTYPE_OEM2K, nullptr) && card_.SetVideoFormat(2);
  }
  ~Door() {
    card_.Close();
    InstallDriverPort(nullptr);
  }
  [[nodiscard]] bool IsOpen() const { return open_; }
  CRQD5Card& Card() { return card_; }

 private:
  SimulatedDriver driver_;
  CRQD5Card card_;
  bool open_ = false;
};

void BM_MaskedRegisterWrite(benchmark::State& state) {
  Door door;
  if (!door.IsOpen()) state.SkipWithError("no card");
  uint32_t value = 0;
  for (auto _ : state) {
    if (!door.Card().WriteRegister(200, ++value & 15, 0x1E, 1)) state.SkipWithError("refused");
  }
}
BENCHMARK(BM_MaskedRegisterWrite);

void BM_MaskedRegisterRead(benchmark::State& state) {
  Door door;
  if (!door.IsOpen()) state.SkipWithError("no card");
  uint32_t value = 0;
  for (auto _ : state) {
    if (!door.Card().ReadRegister(200, &value, 0x1E, 1)) state.SkipWithError("refused");
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(BM_MaskedRegisterRead);

void BM_FrameCopy(benchmark::State& state) {
  PageBuffer from, to;
  if (!from.Allocate(kFrameBytes) || !to.Allocate(size_t{kFrameBytes} * 29)) {
    state.SkipWithError("no memory");
    return;
  }
  size_t slot = 0;
  for (auto _ : state) {
    std::memcpy(to.Data() + slot * kFrameBytes, from.Data(), kFrameBytes);
    slot = (slot + 1) % 29;
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrameBytes);
}
BENCHMARK(BM_FrameCopy);

void BM_OutputTransfer(benchmark::State& state) {
  Door door;
  PageBuffer picture;
  if (!door.IsOpen() || !picture.Allocate(kFrameBytes)) {
    state.SkipWithError("no card or no memory");
    return;
  }
  const bool flags[8] = {};
  RQD5AutoCirculateTransfer transfer;
  transfer.channelSpec = 1;
  transfer.videoBuffer = picture.Data();
  transfer.videoSize = kFrameBytes;
  transfer.frameRequest = -1;
  RQD5AutoCirculateTransferStatus status{};
  bool good = true;
  // Fills the ring once untimed: the plain copy's target is populated before it counts, too.
  good = door.Card().InitAutoCirculate(1, 0, 28, flags, false);
  for (int i = 0; i < 29; ++i) good = door.Card().TransferAutoCirculate(&transfer, &status) && good;
  int32_t next = 29;
  for (auto _ : state) {
    if (next >= 29) {
      state.PauseTiming();
      good = door.Card().AbortAutoCirculate(1) &&
             door.Card().InitAutoCirculate(1, 0, 28, flags, false) && good;
      next = 0;
      state.ResumeTiming();
    }
    good =
        door.Card().TransferAutoCirculate(&transfer, &status) && status.transferFrame >= 0 && good;
    ++next;
  }
  if (!good) state.SkipWithError("a transfer was refused");
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrameBytes);
}
BENCHMARK(BM_OutputTransfer);

}  // namespace
}  // namespace morvane
