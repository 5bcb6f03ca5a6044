#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

// A peer of the nub client that gives given bytes, written without the client's own packets.
namespace morvane::test {

using Bytes = std::vector<uint8_t>;

// Words in network order.
[[nodiscard]] Bytes Wire(std::initializer_list<uint32_t> words);
[[nodiscard]] Bytes Join(std::initializer_list<Bytes> parts);
// Header of 64 bytes, name with its NUL, payload.
[[nodiscard]] Bytes Packet(uint32_t version, uint32_t type, std::string_view name,
                           const Bytes& payload);
[[nodiscard]] Bytes Header(uint32_t version, uint32_t type, uint32_t dataLength);
// Reply to an open request.
[[nodiscard]] Bytes OpenReply(uint32_t version, uint32_t handle);
// Reply to a read or write of version 2 or 3.
[[nodiscard]] Bytes ReadReply(uint32_t handle, uint32_t value, uint32_t result);
[[nodiscard]] Bytes WriteReply(uint32_t handle, uint32_t result);

// Listens on a loopback port of its own, where the client of this process then looks, and runs a
// script on a thread of its own. Threads: script members in the script, the others in the test.
class NubFake {
 public:
  using Script = std::function<void(NubFake&)>;
  using Answer = std::function<Bytes(const Bytes& request)>;

  explicit NubFake(Script script);
  // Answers the n-th request, of whatever connection, with the n-th reply; an empty one is none.
  explicit NubFake(std::vector<Bytes> replies);
  // Answers each request by what `answer` makes of it.
  [[nodiscard]] static std::unique_ptr<NubFake> Answering(Answer answer);
  // Ends the script's waits and joins it.
  ~NubFake();
  NubFake(const NubFake&) = delete;
  NubFake& operator=(const NubFake&) = delete;

  // Every packet that came so far, whole. Ends the script first, so the list is complete.
  [[nodiscard]] std::vector<Bytes> Requests();
  [[nodiscard]] int Connections();

  // ---- in the script ----
  // Waits for a client; the connection before is closed. Returns: false at the end of the test.
  bool Accept();
  // Waits for one whole packet. Returns: nothing when the client has gone.
  Bytes Receive();
  // Receives, and accepts the next client when one has gone. Returns: nothing at the end.
  Bytes ReceiveOfAny();
  void Send(const Bytes& bytes);
  void WaitForEnd();  // of the test
  // Waits until what was sent has been taken out of the client's socket.
  void WaitUntilTaken(int clientSocket);
  void Close();
  void Reset();  // closes so that the client sees an error

 private:
  void Listen();
  void End();
  [[nodiscard]] bool ReceiveExactly(std::span<uint8_t> into);

  int listener_ = -1;
  int stop_[2] = {-1, -1};  // a pipe whose end is closed to end all waits
  int client_ = -1;         // the script's
  std::mutex mutex_;
  std::vector<Bytes> requests_;
  int connections_ = 0;
  std::thread thread_;
};

}  // namespace morvane::test
