#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "device/autocirculate.h"
#include "device/driver_records.h"
#include "device/nub_wire.h"

namespace morvane {

// What an exchange ends with; -22 and -23 are not used.
enum NubResult : int {
  NubSuccess = 0,
  NubNotOpen = -1,   // no connection
  NubNotBuilt = -2,  // the version has no such request, or it or its reply would be too long
  NubNotSent = -3,   // the connection is broken
  NubPeerClosed = -4,
  NubSocketFailed = -5,
  NubTimedOut = -6,
  NubBadHandle = -7,  // the reply names no card; outputs are filled all the same
  NubNotOpenReply = -8,
  NubShortReply = -9,  // no whole header
  NubNotReadReply = -10,
  NubNotWriteReply = -11,
  NubNotCirculateReply = -12,
  NubNotWaitReply = -13,
  NubWaitFailed = -14,  // this and the other ...Failed: the other side said so
  NubControlFailed = -15,
  NubBitFileFailed = -16,
  NubNotBitFileReply = -17,
  NubNotPatternReply = -18,
  NubPatternFailed = -19,
  NubReadMultiFailed = -20,
  NubNotReadMultiReply = -21,
  NubReadFailed = -24,
  NubBuildFailed = -25,
  NubNotBuildReply = -26,
};

// One connection to another machine and the card that is open there. Strictly one request, then
// its reply: a request is written, then the caller's thread waits for what comes back.
//
// Each operation returns a NubResult. Where nothing else is said outputs are untouched unless it
// is NubSuccess or NubBadHandle. A reply that comes after its time is still read, as the answer to
// the next request: there are no numbers to tell them apart.
// Threads: one at a time.
class NubClient {
 public:
  NubClient() = default;
  ~NubClient();
  NubClient(const NubClient&) = delete;
  NubClient& operator=(const NubClient&) = delete;

  // Connects, unless connected to the same host, and opens a card there; the version that the
  // other side answers with is that of every later request. Null closes, and fails.
  // On failure there is no card; the connection stays unless the peer closed it.
  [[nodiscard]] int Open(const char* hostName, uint16_t boardNumber, uint32_t boardType);
  // Closes the connection. No packet is sent. Returns: false when there was none.
  bool Close();
  // Forgets the card, keeps the connection.
  void ForgetHandle() { handle_ = -1; }
  // Takes a connected socket over from the caller, as if Open() of `hostName` had given the rest.
  void Adopt(const char* hostName, int socket, int32_t handle, uint32_t version);

  // value = (register & mask) >> shift.
  [[nodiscard]] int ReadRegister(uint32_t registerNumber, uint32_t* value, uint32_t mask,
                                 uint32_t shift);
  // Deliberate: a write that the other side refuses is printed, and succeeds.
  [[nodiscard]] int WriteRegister(uint32_t registerNumber, uint32_t value, uint32_t mask,
                                  uint32_t shift);
  // Fills numbers and values of `count` entries, at most NubReadMultiLimit. `failedRegister` is
  // stored after NubSuccess and NubReadMultiFailed; the latter fills some of the values too.
  [[nodiscard]] int ReadRegisterMulti(uint32_t count, uint32_t* failedRegister,
                                      RQD5RegisterEntry* entries);
  // Status, start, stop, abort and commands 3 and 6; others are NubNotBuilt.
  // Deliberate: a status that the other side refuses is printed, and succeeds with the record
  // unwritten.
  [[nodiscard]] int AutoCirculate(const RQD5AutoCirculateData& data);
  // The other side waits, so a time-out near two seconds or above ends with NubTimedOut.
  [[nodiscard]] int WaitForInterrupt(uint32_t interruptType, uint32_t timeoutMs);
  // Sends the project number of `info`; fills all but the part name and what follows.
  [[nodiscard]] int GetBitFileInformation(RQD5BitFileInfo* info, uint32_t kind);
  [[nodiscard]] int GetBuildInformation(RQD5BuildInfo* info);  // version 3 alone
  [[nodiscard]] int DownloadTestPattern(uint32_t channel, uint32_t frameBufferFormat,
                                        uint16_t signalMask, bool dmaEnable,
                                        uint32_t patternNumber);

  [[nodiscard]] int Socket() const { return socket_; }      // -1: not connected
  [[nodiscard]] int32_t Handle() const { return handle_; }  // -1: no card
  [[nodiscard]] uint32_t Version() const { return version_; }
  [[nodiscard]] const std::string& Host() const { return host_; }
  // Replies to a request of `type` that were not its own.
  [[nodiscard]] uint32_t Mismatches(uint32_t type) const { return mismatches_.at(type / 2); }

 private:
  // One packet at a time: the request, and over it the reply.
  struct Packet {
    std::array<uint8_t, kNubPacketLimit> bytes;
    NubHeader header;  // of the reply

    [[nodiscard]] bool Is(uint32_t type) const;
    template <typename Payload>
    [[nodiscard]] Payload Load(uint32_t type) const;
  };

  void Disconnect();
  [[nodiscard]] int OpenExchange(uint16_t boardNumber, uint32_t boardType);
  [[nodiscard]] int Transact(size_t bytes, Packet* packet);
  template <typename Payload>
  [[nodiscard]] int Exchange(uint32_t version, uint32_t type, const Payload& request,
                             Packet* packet);
  template <typename Payload>
  [[nodiscard]] int Ask(uint32_t type, int mismatch, const char* invalidHandle, Payload* payload);
  template <typename Payload>
  [[nodiscard]] int Circulate(uint32_t type, const Payload& request,
                              const RQD5AutoCirculateData& data);
  [[nodiscard]] int SendReadMulti(uint32_t count, const RQD5RegisterEntry* entries, Packet* packet);
  [[nodiscard]] int ReceiveInPieces(size_t bytes, Packet* packet);

  int socket_ = -1;
  int32_t handle_ = -1;
  uint32_t version_ = 0;
  std::string host_;                                        // of the open connection
  std::array<uint32_t, kNubPacketTypes / 2> mismatches_{};  // by request type / 2
};

}  // namespace morvane
