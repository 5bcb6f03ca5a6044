// Edit points and channels.
#include "session/control.h"

namespace morvane {
namespace {

constexpr size_t kAck = 3;

// Bits of the channel mask.
constexpr uint32_t kVideo = 1u << 0;
constexpr uint32_t kA1 = 1u << 1;
constexpr uint32_t kA2 = 1u << 2;
constexpr uint32_t kSecondByteShift = 1;  // A3 to A8 are bits 2 to 7 of the second byte
constexpr uint32_t kSecondByteMask = 0xFC;

uint8_t FirstChannelByte(uint32_t mask) {
  uint8_t byte = (mask & kVideo) != 0 ? 0x50 : 0x40;
  if ((mask & kA1) != 0) byte |= 1;
  if ((mask & kA2) != 0) byte |= 2;
  return byte;
}

uint8_t SecondChannelByte(uint32_t mask) {
  return static_cast<uint8_t>(mask >> kSecondByteShift & kSecondByteMask);
}

uint8_t Bcd(uint32_t value) {
  return static_cast<uint8_t>(value / 10 * 16 + value % 10);
}

}  // namespace

bool CRQD5Control::SendEditStart(uint8_t preroll) {
  return Exchange({0x40, 0x41}) && Exchange({0x44, 0x31, 0x00, preroll, 0x00, 0x00});
}

bool CRQD5Control::SetEditPoints(const std::string& in, const std::string& out,
                                 const std::string& secondIn, const std::string& secondOut,
                                 uint32_t mask) {
  if (!RequireActivated()) return false;
  const auto in1 = PackVtrTime(in), out1 = PackVtrTime(out);
  const auto in2 = PackVtrTime(secondIn), out2 = PackVtrTime(secondOut);
  if (!in1 || !out1 || !in2 || !out2) return Fail("Timecode Invalid");
  if (!SendEditStart(Bcd(prerollSeconds_)) || !ExchangeTime(0x44, 0x14, *in1) ||
      !ExchangeTime(0x44, 0x15, *out1) || !ExchangeTime(0x44, 0x16, *in2) ||
      !ExchangeTime(0x44, 0x17, *out2)) {
    return false;
  }
  const uint8_t second = SecondChannelByte(mask);
  // Deliberate: without A3 to A8 the command says one byte and brings two, as machines expect.
  const uint8_t command = second != 0 ? 0x42 : 0x41;
  return Exchange({command, 0x30, FirstChannelByte(mask), second}) && IsAck(kAck);
}

bool CRQD5Control::SetPunchIn(const std::string& in) {
  if (!RequireActivated()) return false;
  const auto time = PackVtrTime(in);
  if (!time) return Fail("Timecode Invalid");
  return SendEditStart(Bcd(prerollSeconds_)) && ExchangeTime(0x44, 0x14, *time) &&
         Exchange({0x41, 0x30, 0x20}) && IsAck(kAck);
}

bool CRQD5Control::ClearEdit() {
  if (!RequireActivated()) return false;
  // Each reply is waited for, so that the machine is never spoken over.
  if (Exchange({0x20, 0x00})) commandedSpeed_ = 0;
  Exchange({0x40, 0x40});
  Exchange({0x41, 0x30, 0x00, 0x00});
  for (const uint8_t point : {0x20, 0x21, 0x22, 0x23}) Exchange({0x40, point});
  return true;
}

}  // namespace morvane
