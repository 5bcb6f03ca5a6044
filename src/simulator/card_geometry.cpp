#include <algorithm>
#include <limits>

#include "simulator/simulated_card.h"

// What the registers say about format and memory, and what lies on the inputs.
namespace morvane {
namespace {

constexpr uint32_t kControlRegisters[] = {1, 5, 257, 260};
constexpr uint32_t kQuadBit = 1u << 3;  // of register 267

bool HasVanc(uint32_t standard, uint32_t geometry) {
  switch (standard) {
    case Standard1080:
    case Standard1080p:
      return geometry == Geometry1920x1112 || geometry == Geometry2048x1112;
    case Standard720:
      return geometry == Geometry1280x740;
    case Standard525:
      return geometry == Geometry720x508 || geometry == Geometry720x514;
    case Standard625:
      return geometry == Geometry720x598 || geometry == Geometry720x612;
    case Standard2K:
      return geometry == Geometry2048x1588;
    default:
      return false;
  }
}

}  // namespace

uint32_t SimulatedCard::Geometry() const {
  const uint32_t geometry = (registers_[0] & 0x78) >> 3;
  const bool quad =
      BoardHasQuadGeometry(description_.identity) && (registers_[267] & kQuadBit) != 0;
  return quad ? QuadForGeometry(geometry) : geometry;
}

uint32_t SimulatedCard::Standard() const {
  return (registers_[0] & 0x380) >> 7;
}

uint32_t SimulatedCard::ChannelFormat(uint32_t channel) const {
  const uint32_t control = registers_[kControlRegisters[ChannelIndex(channel)]];
  return (control & 0x1E) >> 1 | (control & 0x40) >> 2;
}

FrameLayout SimulatedCard::LayoutOf(uint32_t frameBufferFormat) const {
  const uint32_t geometry = GeometryForQuad(Geometry());
  const uint32_t standard = Standard();
  const bool tall = geometry == Geometry720x514 || geometry == Geometry720x612;
  const bool wide = BaseGeometry(geometry) == Geometry2048x1080;
  const RQD5FormatDescriptor descriptor =
      GetFormatDescriptor(standard, frameBufferFormat, HasVanc(standard, geometry), wide, tall);
  FrameLayout layout;
  layout.frameBufferFormat = frameBufferFormat;
  layout.fourcc = descriptor.numLines == 0 ? 0 : FrameBufferFourCC(frameBufferFormat);
  layout.width = descriptor.numPixels;
  layout.height = descriptor.numLines;
  layout.pitch = descriptor.linePitch * 4;
  layout.firstActiveLine = descriptor.firstActiveLine;
  layout.matrix = standard == Standard525 || standard == Standard625 ? 1 : 3;
  return layout;
}

// The largest frame of the board's channels decides, so that none overlaps.
uint32_t SimulatedCard::FrameCountNow() const {
  const uint32_t geometry = Geometry();
  uint32_t count = std::numeric_limits<uint32_t>::max();
  for (const uint32_t channel : {RQD5Channel1, RQD5Channel2, RQD5Channel9, RQD5Channel10}) {
    if (!ValidChannel(channel)) continue;
    count = std::min(count, FrameCount(description_.identity, geometry, ChannelFormat(channel)));
  }
  return count;
}

size_t SimulatedCard::Stride() const {
  const uint32_t count = FrameCountNow();
  return count == 0 ? 0 : memory_.Bytes() / count;
}

uint32_t SimulatedCard::PresentVideoFormat() const {
  const uint32_t word = registers_[0];
  const uint32_t rate = (word & 7) | (word >> 19 & 8);
  return FormatFromColumns(Standard(), Geometry(), rate, word >> 15 & 1, Raw(10260) & 1);
}

InputConnector* SimulatedCard::FindConnector(const std::string& name) {
  for (const auto& connector : connectors_) {
    if (connector->Description().connector == name) return connector.get();
  }
  return nullptr;
}

// Channel 1 has a selector; the others take the input of their own number, or the first.
InputConnector* SimulatedCard::ConnectorOfChannel(uint32_t channel) {
  const uint32_t index = ChannelIndex(channel);
  if (index > 0) {
    const bool exists = index < board_->videoIn;
    return FindConnector(exists ? "input" + std::to_string(index + 1) : "input1");
  }
  const bool first = (registers_[1] & 0x8000) != 0;
  const bool second = (registers_[1] & 0x4000) != 0;
  const uint32_t identity = SessionIdentity(description_.identity);
  if (identity == BoardCedar || identity == BoardDogwood) {
    return FindConnector(second ? "analog" : "input1");
  }
  if (first && second) return FindConnector("hdmi");
  if (second) return FindConnector("input2");
  // Both clear is the analog input; a card that nobody has set up yet listens to input 1.
  if (!first && FindConnector("analog") != nullptr) return FindConnector("analog");
  return FindConnector("input1");
}

uint32_t SimulatedCard::ConnectorFormat(const InputConnector* connector) const {
  if (connector == nullptr) return 0;
  if (!connector->IsLoop()) return connector->HasSource() ? connector->VideoFormat() : 0;
  const auto cable = cables_.find(connector);
  return cable == cables_.end() ? 0 : cable->second.from->PresentVideoFormat();
}

bool SimulatedCard::InputLost(const AutoCirculateRing& ring) const {
  const FaultDescription& faults = description_.faults;
  if (!faults.loseInputAt || ring.runFrame < *faults.loseInputAt) return false;
  return !faults.returnInputAt || ring.runFrame < *faults.returnInputAt;
}

// A cable that was pulled during a capture is out for everybody who looks.
bool SimulatedCard::InputPresent(const InputConnector* connector) const {
  if (ConnectorFormat(connector) == 0) return false;
  for (const auto& [channel, ring] : rings_) {
    if (ring.input && ring.state == ACStateRunning && InputLost(ring)) return false;
  }
  return true;
}

}  // namespace morvane
