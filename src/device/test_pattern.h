#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "device/driver_records.h"
#include "device/pattern_drawing.h"
#include "device/status.h"

namespace morvane {

// A driver object of its own that draws a test pattern into a frame of card memory and shows it on
// a channel, or draws into the caller's memory and leaves the card alone. Threads: the owner only.
class CRQD5TestPattern : public CRQD5Status {
 public:
  // Fills a cleared routing table for the channel and format that the pattern is shown on.
  using RouteBuilder = std::function<void(RQD5RoutingTable*)>;

  CRQD5TestPattern();
  ~CRQD5TestPattern() override;

  void SetChannel(uint32_t channel);  // values other than 1, 2, 9 and 10 become 1
  void SetSignalMask(uint16_t mask);  // keeps bits 0 Y, 1 Cb, 2 Cr; 7 at first
  using CRQD5Card::SetFrameBufferFormat;
  void SetFrameBufferFormat(uint32_t format);  // of the drawing; 1 at first
  // True (at first): drawn in memory and sent by DMA. False: through the mapped frame window, where
  // it reaches the frame.
  void SetDmaEnable(bool enable);
  // With `enable` a pattern that was drawn on the card is routed to the outputs by `builder`, which
  // knows the crosspoints of the board.
  // Off at first, and left off where no session's selections say what to route (the nub server,
  // `morvanectl registers pattern`): the pattern then goes where the crosspoints lead already.
  void SetAutoRoute(bool enable, RouteBuilder builder);
  // Where to draw instead of on the card; empty for the card. The caller's, at least
  // FrameBytes() of the descriptor at the card's present standard and geometry.
  void SetUserBuffer(std::span<uint8_t> buffer);

  [[nodiscard]] uint32_t Channel() const { return channel_; }
  [[nodiscard]] uint16_t SignalMask() const { return signalMask_; }
  [[nodiscard]] const std::vector<std::string>& GetPatternNames() const { return patternNames_; }

  // What pattern would be drawn for: standard, geometry and ancillary lines are read from the card.
  // Returns: false when the card cannot be read.
  [[nodiscard]] bool ReadRaster(PatternRaster* raster);

  // Draws pattern `number` in the card's standard and geometry and shows it; in another machine the
  // other side does. A combination without a drawing gives a message and changes nothing.
  // Returns: true also for those and for a number past the last; false when the card, or the other
  // machine, refuses, memory is short, or the caller's buffer is.
  bool DownloadTestPattern(uint32_t number);

 private:
  [[nodiscard]] bool DrawOnCard(uint32_t number, const PatternRaster& raster);
  [[nodiscard]] bool DrawByDma(uint32_t number, const PatternRaster& raster, uint32_t frame);
  [[nodiscard]] uint8_t* FrameWindow(uint32_t frame, uint32_t bytes);
  [[nodiscard]] bool ShowFrame(uint32_t frame);
  [[nodiscard]] uint32_t ShownFrame();

  std::vector<std::string> patternNames_;
  uint32_t channel_ = RQD5Channel1;
  uint16_t signalMask_ = 7;
  uint32_t frameBufferFormat_ = FrameBuffer8BitUyvy;
  bool dmaEnable_ = true;
  bool autoRoute_ = false;
  std::span<uint8_t> userBuffer_;
  RouteBuilder routeBuilder_;
};

}  // namespace morvane
