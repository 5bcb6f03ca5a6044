#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "device/nub_client.h"
#include "device/nub_fake.h"

// One exchange of the nub client with a peer that gives given bytes.
namespace morvane::test {

inline constexpr char kNubHost[] = "127.0.0.1";

inline std::string NameOf(const Bytes& packet) {
  return std::string(packet.begin() + 64, std::find(packet.begin() + 64, packet.end(), 0));
}
inline Bytes PayloadOf(const Bytes& packet) {
  return Bytes(std::find(packet.begin() + 64, packet.end(), 0) + 1, packet.end());
}
inline uint32_t VersionOf(const Bytes& packet) {
  return LoadBe32(&packet[0]);
}
inline uint32_t TypeOf(const Bytes& packet) {
  return LoadBe32(&packet[4]);
}
inline uint32_t DataLengthOf(const Bytes& packet) {
  return LoadBe32(&packet[8]);
}
inline Bytes Padded(Bytes bytes, size_t size) {
  bytes.resize(size, 0);
  return bytes;
}

inline int OpenThere(NubClient* client) {
  return client->Open(kNubHost, 0, 8);
}

// What an operation returns and prints.
struct Outcome {
  int result = 1;
  std::string out;
  std::string err;
  Bytes request;  // empty when nothing was sent
};

template <typename Operation>
Outcome Observe(Operation operation) {
  Outcome outcome;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  outcome.result = operation();
  outcome.out = testing::internal::GetCapturedStdout();
  outcome.err = testing::internal::GetCapturedStderr();
  return outcome;
}

// One exchange after a good open in `version`, with handle 7.
template <typename Operation>
Outcome After(uint32_t version, const Bytes& reply, Operation operation) {
  NubFake fake({OpenReply(version, 7), reply});
  NubClient client;
  EXPECT_EQ(OpenThere(&client), NubSuccess);
  Outcome outcome = Observe([&] { return operation(client); });
  client.Close();
  const std::vector<Bytes> requests = fake.Requests();
  if (requests.size() > 1) outcome.request = requests[1];
  return outcome;
}

}  // namespace morvane::test
