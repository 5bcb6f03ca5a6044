#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "device/card.h"
#include "device/driver_port.h"

// What every driver port owes the door above it, whatever stands behind it. A port joins by a
// ContractPort and one INSTANTIATE_TEST_SUITE_P(..., DriverPortContract, ...).
namespace morvane::test {

// One card of board Elm with two channels: a signal of 1080i 59.94 with sound and timecode from
// 01:00:00:00 on input 1, nothing on input 2. Its time passes only in Pass...().
class ContractPort {
 public:
  virtual ~ContractPort() = default;
  [[nodiscard]] virtual DriverPort& Port() = 0;
  // Lets this much of the card's time go by.
  virtual void PassNanoseconds(int64_t nanoseconds) = 0;
  // The number of a captured picture of the signal (8-bit 4:2:2), rising by one a frame.
  [[nodiscard]] virtual uint32_t PictureNumber(const uint8_t* uyvy) const = 0;
};

struct ContractSubject {
  std::string name;
  std::function<std::unique_ptr<ContractPort>()> make;
};
inline void PrintTo(const ContractSubject& subject, std::ostream* out) {
  *out << subject.name;
}

class DriverPortContract : public ::testing::TestWithParam<ContractSubject> {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Brings the card to 1080i 59.94 and its time to the middle of a frame.
  void SetFormat();
  void PassFrames(int frames);
  // StopAutoCirculate, with time going by meanwhile. Returns: its result.
  bool StopWhileTimePasses(uint32_t channelSpec);

  bool Init(uint32_t channelSpec, int32_t lastFrame);
  // Sends a small frame with this user word. Returns: transferFrame, or -2 when it failed.
  int32_t Send(uint32_t userData, const RQD5Rp188& rp188 = {}, RQD5RoutingTable* extra = nullptr);
  struct Captured {
    int32_t frame = -2;
    uint32_t picture = 0;
    uint32_t audioBytes = 0;
    RQD5Rp188 timecode = {};
  };
  Captured Take();
  RQD5AutoCirculateStatus Status(uint32_t channelSpec);

  std::unique_ptr<ContractPort> subject_;
  CRQD5Card card_;
};

}  // namespace morvane::test
