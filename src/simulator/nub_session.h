#pragma once

#include <array>
#include <cstdint>
#include <future>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/clock.h"
#include "device/nub_payloads.h"
#include "device/nub_wire.h"
#include "simulator/nub_cards.h"
#include "simulator/nub_painter.h"

namespace morvane {

// One client of the nub server: the cards that it has opened, and what each of its requests does.
// Knows packets and no sockets. Takes any bytes.
// Owns: its card objects, until they are pushed out or it ends. What a client has started on a card
// goes on without it.
// Threads: one. Memory: a reply of at most kNubPacketLimit bytes, kMaxHandles card objects.
class NubSession {
 public:
  // With one more the oldest handle ends; a client needs one.
  static constexpr size_t kMaxHandles = 16;
  // Longest wait for an interrupt, whatever was asked, or for a pattern to be drawn: the client
  // gives a reply up after 2 seconds.
  static constexpr uint32_t kLongestWaitMs = 1500;

  // `protocol` is what an open reply answers; `buildText` (at most 1023 bytes) what the build
  // information says.
  // Patterns are drawn by `painter`, which outlives this; without one they are drawn at once.
  NubSession(NubCards* cards, uint32_t protocol, std::string buildText,
             NubPainter* painter = nullptr);

  enum class Outcome {
    kReply,    // Reply() is to be sent
    kWaiting,  // the reply comes when LookAtWait() is true
    kRefused,  // no request of any version: Refusal() says why, and nothing was done
  };
  // Carries out one packet. Requires: `packet` holds the header and as many bytes of body as the
  // header says; no wait is pending.
  [[nodiscard]] Outcome Execute(std::span<const uint8_t> packet);

  [[nodiscard]] bool IsWaiting() const { return wait_.pending || drawing_.result.valid(); }
  // Looks at the interrupt or the drawing that is waited for. Returns: true when the wait has ended
  // and Reply() tells how.
  [[nodiscard]] bool LookAtWait();
  // Process time at which it is to be looked at again. A drawing also when the painter tells.
  [[nodiscard]] int64_t WaitDueNs() const {
    if (drawing_.result.valid()) return drawing_.deadlineNs;
    return wait_.pending ? wait_.dueNs : kClockForeverNs;
  }

  [[nodiscard]] std::span<const uint8_t> Reply() const { return {reply_.data(), replyBytes_}; }
  [[nodiscard]] const std::string& Refusal() const { return refusal_; }
  [[nodiscard]] size_t HandleCount() const { return opened_.size(); }

 private:
  struct Opened {
    uint32_t handle = 0;
    std::unique_ptr<CRQD5TestPattern> card;
  };
  // A request that was recognised, and where its reply goes.
  struct Request {
    uint32_t version = 0;
    NubPacketType type = NubQuery;
    std::span<const uint8_t> payload;
  };
  struct Wait {
    bool pending = false;
    uint32_t version = 0;
    NubWaitPayload payload;
    CRQD5TestPattern* card = nullptr;
    DriverEvent event = 0;
    bool subscribed = false;  // for this wait alone
    int64_t deadlineNs = 0;
    int64_t dueNs = 0;
  };

  struct Drawing {
    uint32_t version = 0;
    NubPatternPayload payload;
    // For this drawing alone, as the painter may still be at it when the wait has ended. With it
    // goes the order, if the painter has not begun.
    std::shared_ptr<CRQD5TestPattern> card;
    std::future<bool> result;  // valid while it is waited for
    int64_t deadlineNs = 0;
  };

  [[nodiscard]] Outcome Dispatch(const Request& request);
  [[nodiscard]] Outcome Open(const Request& request);
  [[nodiscard]] Outcome ReadOrWrite(const Request& request);
  [[nodiscard]] Outcome ReadMulti(const Request& request);
  [[nodiscard]] Outcome Status(const Request& request);
  [[nodiscard]] Outcome Control(const Request& request);
  [[nodiscard]] Outcome BeginWait(const Request& request);
  [[nodiscard]] Outcome BitFile(const Request& request);
  [[nodiscard]] Outcome Build(const Request& request);
  [[nodiscard]] Outcome Pattern(const Request& request);
  [[nodiscard]] Outcome DriverVersion(const Request& request);
  void EndWait(bool came);
  void EndDrawing(bool good);

  [[nodiscard]] Outcome Refuse(std::string why);
  // Makes the reply's header and name. Returns: where its payload goes.
  [[nodiscard]] uint8_t* MakeReply(uint32_t version, uint32_t type, size_t payloadBytes);
  template <typename Payload>
  [[nodiscard]] Outcome Answer(const Request& request, const Payload& payload);
  // The card behind a handle. Without one the handle becomes invalid, and null is returned.
  [[nodiscard]] CRQD5TestPattern* CardOf(NubWord* handle) const;

  NubCards* const cards_;
  const uint32_t protocol_;
  const std::string buildText_;
  NubPainter* const painter_;
  std::vector<Opened> opened_;  // oldest first
  Wait wait_;
  Drawing drawing_;
  std::array<uint8_t, kNubPacketLimit> reply_ = {};
  size_t replyBytes_ = 0;
  std::string refusal_;
};

}  // namespace morvane
