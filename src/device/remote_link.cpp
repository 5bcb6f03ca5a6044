#include "device/remote_link.h"

namespace morvane {
namespace {

// Stands where no transport is built in: behaves as a host that nobody answers at.
class UnreachableLink final : public RemoteLink {
 public:
  int Open(const char*, uint16_t, uint32_t, int32_t*, uint32_t*) override { return kUnreachable; }
  bool Close() override { return false; }
  int ReadRegister(uint32_t, uint32_t*, uint32_t, uint32_t) override { return kUnreachable; }
  int WriteRegister(uint32_t, uint32_t, uint32_t, uint32_t) override { return kUnreachable; }
  int ReadRegisterMulti(uint32_t, uint32_t*, RQD5RegisterEntry*) override { return kUnreachable; }
  int AutoCirculate(RQD5AutoCirculateData&) override { return kUnreachable; }
  int WaitForInterrupt(uint32_t, uint32_t) override { return kUnreachable; }
  int GetBitFileInformation(RQD5BitFileInfo*, uint32_t) override { return kUnreachable; }
  int GetBuildInformation(void*, size_t) override { return kUnreachable; }
  int DownloadTestPattern(uint32_t, uint32_t, uint32_t, bool, uint32_t) override {
    return kUnreachable;
  }

 private:
  static constexpr int kUnreachable = -2;
};

}  // namespace

std::unique_ptr<RemoteLink> MakeRemoteLink() {
  return std::make_unique<UnreachableLink>();
}

}  // namespace morvane
