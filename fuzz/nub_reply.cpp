// Any bytes as what another machine answers: the first says what is asked, the second in which
// version and whether an open goes before it. The rest is a row of {length, 16 bits; bytes}, each
// of which one receive gives; then the peer closes.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <span>
#include <vector>

#include "device/nub_client.h"

using namespace morvane;

namespace {

constexpr size_t kInputLimit = 4 * kNubPacketLimit;
constexpr size_t kPieces = 6;  // few enough for the socket to hold them all
constexpr char kHost[] = "there";
constexpr uint32_t kVersions[] = {1, 2, 3, 7};
constexpr uint32_t kCounts[] = {0, 1, 3, 64, 507, 508, 510, 511};
constexpr uint8_t kMark = 0xA5;

// A record that must be as it was unless the reply was good.
template <typename Record>
class Guarded {
 public:
  Guarded() { std::memset(&record_, kMark, sizeof record_); }
  Record* Get() { return &record_; }
  void Check(int result) const {
    Record untouched;
    std::memset(&untouched, kMark, sizeof untouched);
    const bool same = std::memcmp(&record_, &untouched, sizeof record_) == 0;
    if (!same && result != NubSuccess && result != NubBadHandle) std::abort();
  }

 private:
  Record record_;
};

void AskSeveral(NubClient& client, uint32_t count) {
  std::vector<RQD5RegisterEntry> entries(count, RQD5RegisterEntry{1, 2, 3, 4});
  uint32_t failed = 0;
  const int result = client.ReadRegisterMulti(count, &failed, entries.data());
  for (const RQD5RegisterEntry& entry : entries) {
    if (entry.mask != 3 || entry.shift != 4) std::abort();
    if (result == NubNotBuilt && entry.value != 2) std::abort();
  }
}

void Circulate(NubClient& client, uint32_t command) {
  Guarded<RQD5AutoCirculateStatus> status;
  RQD5AutoCirculateData data;
  data.command = command;
  data.record1 = status.Get();
  status.Check(client.AutoCirculate(data));
}

void Ask(NubClient& client, uint8_t what) {
  switch (what % 8) {
    case 0: {
      Guarded<uint32_t> value;
      value.Check(client.ReadRegister(50, value.Get(), 0xFFFFFFFF, 0));
      break;
    }
    case 1:
      (void)client.WriteRegister(50, 1, 0xFFFFFFFF, 0);
      break;
    case 2:
      AskSeveral(client, kCounts[what / 8 % std::size(kCounts)]);
      break;
    case 3:
      Circulate(client, what / 8 % 2 == 0 ? ACStatus : ACStart);
      break;
    case 4:
      (void)client.WaitForInterrupt(0, 0);
      break;
    case 5: {
      Guarded<RQD5BitFileInfo> info;
      info.Check(client.GetBitFileInformation(info.Get(), 0));
      break;
    }
    case 6: {
      Guarded<RQD5BuildInfo> info;
      info.Check(client.GetBuildInformation(info.Get()));
      break;
    }
    case 7:
      (void)client.DownloadTestPattern(1, 1, 7, true, 0);
      break;
  }
}

}  // namespace

// What the client prints is not of interest, at thousands of replies a second.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2 || size > kInputLimit) return 0;
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) return 0;
  std::span<const uint8_t> rest(data + 2, size - 2);
  for (size_t piece = 0; piece < kPieces && rest.size() >= 2; ++piece) {
    const size_t bytes = std::min<size_t>(rest[0] << 8 | rest[1], rest.size() - 2);
    const ssize_t sent = send(ends[1], rest.data() + 2, bytes, 0);
    if (sent != static_cast<ssize_t>(bytes)) std::abort();
    rest = rest.subspan(2 + bytes);
  }
  shutdown(ends[1], SHUT_WR);
  NubClient client;
  client.Adopt(kHost, ends[0], 7, kVersions[data[1] % std::size(kVersions)]);
  if ((data[1] & 0x80) != 0 && client.Open(kHost, 0, 8) != NubSuccess && client.Handle() != -1) {
    std::abort();
  }
  Ask(client, data[0]);
  close(ends[1]);
  return 0;
}
