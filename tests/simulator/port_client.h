#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/clock.h"
#include "device/autocirculate.h"
#include "device/boards.h"
#include "device/driver_port.h"
#include "device/driver_records.h"
#include "device/formats.h"
#include "simulator/machine_description.h"

// A caller of the driver door that speaks in records alone, so that the tests hold for any port.
namespace morvane::test {

class PortClient {
 public:
  PortClient(DriverPort* port, uint32_t boardType, uint32_t index = 0);
  ~PortClient();
  PortClient(const PortClient&) = delete;
  PortClient& operator=(const PortClient&) = delete;

  [[nodiscard]] bool IsOpen() const { return handle_ != 0; }
  [[nodiscard]] DriverHandle Handle() const { return handle_; }

  [[nodiscard]] bool Request(void* record, size_t bytes);
  [[nodiscard]] PropertyHeader Header(uint32_t number, uint32_t flags) const;

  bool Write(uint32_t number, uint32_t value, uint32_t mask = 0xFFFFFFFF, uint32_t shift = 0);
  bool Read(uint32_t number, uint32_t* value, uint32_t mask = 0xFFFFFFFF, uint32_t shift = 0);
  // A read that must succeed; 0xBADBADBA otherwise.
  [[nodiscard]] uint32_t Get(uint32_t number, uint32_t mask = 0xFFFFFFFF, uint32_t shift = 0);
  // Standard, geometry, rate, level and picture flag of a row of the format table.
  void SetFormat(uint32_t videoFormat);
  void SetFrameBufferFormat(uint32_t channel, uint32_t format);

  [[nodiscard]] bool Dma(uint32_t engine, bool read, uint32_t frame, void* buffer, uint32_t bytes,
                         uint32_t offset = 0);
  [[nodiscard]] bool Init(uint32_t channelSpec, int32_t first, int32_t last, bool audio = true,
                          bool timecode = true);
  [[nodiscard]] bool Control(uint32_t command, uint32_t channelSpec);
  [[nodiscard]] RQD5AutoCirculateStatus Status(uint32_t channelSpec);
  [[nodiscard]] bool Stamp(uint32_t channelSpec, uint32_t frame, RQD5FrameStamp* stamp);

  struct Frame {
    uint32_t channelSpec = 1;
    std::vector<uint8_t> video;
    std::vector<uint8_t> audio;
    uint32_t format = 1;
    uint32_t flip = 0;
    uint32_t user = 0;
    RQD5Rp188 rp188 = {};
    RQD5RoutingTable routing = {};
    RQD5AutoCirculateTransferStatus status = {};
  };
  // Sends or takes one frame; `frame->status` comes back. Returns: the result of the request.
  [[nodiscard]] bool Transfer(Frame* frame);

 private:
  DriverPort* port_;
  PropertySetId set_ = {};
  DriverHandle handle_ = 0;
};

// An "Elm" with bars and tone of `videoFormat` on input 1, and a tape of its own.
[[nodiscard]] MachineDescription ElmWithBars(uint32_t videoFormat = 2);

// Steps a manual clock by whole frames of `scale` / `duration`, never short of a boundary.
class FrameStepper {
 public:
  FrameStepper(ManualClock* clock, uint32_t scale, uint32_t duration)
      : clock_(clock), scale_(scale), duration_(duration) {}
  void Step(int frames = 1);

 private:
  ManualClock* clock_;
  uint32_t scale_;
  uint32_t duration_;
  int64_t frame_ = 0;
  int64_t passedNs_ = 0;
};

}  // namespace morvane::test
