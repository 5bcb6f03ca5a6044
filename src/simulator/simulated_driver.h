#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "device/driver_port.h"
#include "simulator/machine_clock.h"
#include "simulator/simulated_card.h"

namespace morvane {

// The driver in front of a machine of simulated cards: decodes property records and nothing else.
// Threads: any. Owns: the cards.
class SimulatedDriver : public DriverPort {
 public:
  explicit SimulatedDriver(const MachineDescription& machine);
  ~SimulatedDriver() override;

  bool Enumerate(const PropertySetId& id, uint32_t index, DriverDevice* device) override;
  DriverHandle Open(const std::string& path, bool shared) override;
  void Close(DriverHandle handle) override;
  bool Request(DriverHandle handle, const void* in, size_t inBytes, void* out,
               size_t outBytes) override;
  DriverEvent CreateEvent() override;
  void CloseEvent(DriverEvent event) override;
  bool WaitEvent(DriverEvent event, uint32_t timeoutMs) override;
  // One look at an event, for who waits for several: what WaitEvent() does between its sleeps.
  struct EventLook {
    bool known = false;      // false: no such event
    bool signalled = false;  // and taken: the event is unsignalled again
    int64_t dueNs = 0;       // process time at which it may be signalled next; far off if unknown
  };
  // Advances the event's card to now, but not beyond the process time `latestNs`.
  [[nodiscard]] EventLook LookAtEvent(DriverEvent event, int64_t latestNs);
  void* MappedMemory(DriverHandle handle, uint32_t base, size_t bytes) override;
  UserMemory& Memory() override { return memory_; }

  // Lets no tape machine that records fall behind; see SimulatedCard::AdvanceDeckToNow().
  // Returns: true while one should be looked after again soon.
  bool AdvanceDecks();
  // What is wrong with the deck of the `index`-th card from now on. For tests.
  void SetDeckFaults(size_t index, const DeckFaultDescription& faults) {
    cards_[index]->SetDeckFaults(faults);
  }
  // Path of the `index`-th card, also of a board type that no device class lists.
  [[nodiscard]] static std::string CardPath(size_t index);
  [[nodiscard]] size_t CardCount() const { return cards_.size(); }
  [[nodiscard]] const MachineClock& Clock() const { return clock_; }

 private:
  struct Handle {
    size_t card = 0;
    bool shared = true;
  };
  struct Event {
    CardEventRef event;
    SimulatedCard* card = nullptr;  // where it is subscribed
    uint32_t type = 0;
  };
  struct Call;

  SimulatedCard* CardOf(DriverHandle handle);
  bool Dispatch(const Call& call);
  bool Register(const Call& call);
  bool Map(const Call& call);
  bool Interrupt(const Call& call);
  bool Subscription(const Call& call);
  bool Dma(const Call& call);
  bool Control(const Call& call);
  bool ControlWide(const Call& call);
  bool Status(const Call& call);
  bool Stamp(const Call& call);
  bool Transfer(const Call& call);
  bool BitFile(const Call& call);
  void Trace(const Call& call, bool done);

  MachineClock clock_;
  UserMemory memory_;
  std::vector<std::unique_ptr<SimulatedCard>> cards_;

  std::mutex mutex_;  // of handles and events
  std::map<DriverHandle, Handle> handles_;
  std::map<DriverEvent, Event> events_;
  DriverHandle nextHandle_ = 1;
  DriverEvent nextEvent_ = 1;

  std::mutex traceMutex_;
  std::string tracePath_;
  std::FILE* trace_ = nullptr;
};

}  // namespace morvane
