#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "device/boards.h"
#include "device/driver_records.h"
#include "device/formats.h"
#include "simulator/autocirculate_ring.h"
#include "simulator/card_memory.h"
#include "simulator/card_uart.h"
#include "simulator/frame_timing.h"
#include "simulator/input_connector.h"
#include "simulator/machine_clock.h"
#include "simulator/machine_description.h"
#include "simulator/output_log.h"
#include "simulator/output_recorder.h"
#include "simulator/tape_machine.h"

namespace morvane {

class SimulatedCard;

// Cards that share a lock, because a cable may join any two of them: a machine's.
// A machine without cables between cards has one group for each card.
struct CardGroup {
  std::mutex mutex;
  std::vector<SimulatedCard*> cards;

  // Passes every boundary of every card up to `nowNs`, in the order of time; outputs before inputs
  // where they coincide. Requires: the lock.
  void AdvanceTo(int64_t nowNs);
};

// An auto-reset event of a driver handle.
struct CardEvent {
  std::atomic<bool> signalled{false};
};
using CardEventRef = std::shared_ptr<CardEvent>;

// One board: its state, in the time of its machine. It has no thread; every request takes the
// group's lock, advances what moves by itself to now, and then executes.
// Threads: any, for all public members.
class SimulatedCard {
 public:
  SimulatedCard(const CardDescription& description, const MachineClock* clock,
                std::shared_ptr<CardGroup> group);
  ~SimulatedCard();
  SimulatedCard(const SimulatedCard&) = delete;
  SimulatedCard& operator=(const SimulatedCard&) = delete;

  // Joins the cable of input `connector` to output `number` of `from`. Before any request.
  void Connect(const std::string& connector, SimulatedCard* from, uint32_t number);

  // --- Registers -------------------------------------------------------------------------------
  // (register & mask) >> shift. `reader` tells the handles apart that poll the line counter.
  // Returns: false for a number that does not exist.
  [[nodiscard]] bool ReadRegister(uint64_t reader, uint32_t number, uint32_t mask, uint32_t shift,
                                  uint32_t* value);
  // register = (register & ~mask) | ((value << shift) & mask), in one step.
  [[nodiscard]] bool WriteRegister(uint32_t number, uint32_t value, uint32_t mask, uint32_t shift);

  // --- Memory ----------------------------------------------------------------------------------
  // Base word and bytes of a mapped window (kMapKind...). Returns: false for another kind.
  [[nodiscard]] bool Map(uint32_t kind, uint32_t* base, uint32_t* bytes) const;
  [[nodiscard]] void* MappedMemory(uint32_t base, size_t bytes);
  struct DmaTransfer {
    uint32_t engine = 0;
    bool read = true;
    uint32_t frame = 0;
    void* buffer = nullptr;
    uint32_t offset = 0;
    uint32_t bytes = 0;
  };
  [[nodiscard]] bool Dma(const DmaTransfer& transfer);
  void BitFileInformation(RQD5BitFileInfo* info);

  // --- Interrupts ------------------------------------------------------------------------------
  [[nodiscard]] bool ConfigureInterrupt(uint32_t type, bool enable);
  [[nodiscard]] bool Subscribe(uint64_t handle, uint32_t type, CardEventRef event);
  [[nodiscard]] bool Unsubscribe(uint64_t handle, uint32_t type, const CardEventRef& event);
  void UnsubscribeAll(uint64_t handle);
  [[nodiscard]] bool InterruptCount(uint32_t type, uint32_t* count);
  // Advances the card to now, but not beyond the process time `latestNs`; signals what is due.
  // Returns: the process time at which the next interrupt of `type` is due.
  [[nodiscard]] int64_t AdvanceForWait(uint32_t type, int64_t latestNs);

  // --- AutoCirculate ---------------------------------------------------------------------------
  struct InitRequest {
    uint32_t channelSpec = 0;
    int32_t first = 0;
    int32_t last = 0;
    bool audio = false;
    bool options[3] = {};
  };
  [[nodiscard]] bool Init(const InitRequest& request);
  [[nodiscard]] bool Start(uint32_t channelSpec);
  [[nodiscard]] bool Stop(uint32_t channelSpec);
  [[nodiscard]] bool Abort(uint32_t channelSpec);
  [[nodiscard]] bool Status(uint32_t channelSpec, RQD5AutoCirculateStatus* status);
  [[nodiscard]] bool Stamp(uint32_t channelSpec, uint32_t frame, RQD5FrameStamp* stamp);
  struct TransferRequest {
    TransferRecord record = {};
    void* video = nullptr;
    void* audio = nullptr;
    const RQD5RoutingTable* routing = nullptr;
  };
  [[nodiscard]] bool Transfer(const TransferRequest& request,
                              RQD5AutoCirculateTransferStatus* status);

  // Passes what the serial line and a tape machine that records have missed. Nothing is lost when
  // nobody asks for long, but then the next request takes long.
  // Returns: true while there is more of it to come.
  bool AdvanceDeckToNow();
  // What is wrong with the deck on its port from now on. For tests.
  void SetDeckFaults(const DeckFaultDescription& faults);

  [[nodiscard]] uint32_t Identity() const { return description_.identity; }
  [[nodiscard]] const CardDescription& Description() const { return description_; }
  [[nodiscard]] const BoardRow& Board() const { return *board_; }

 private:
  friend struct CardGroup;

  // A frame of memory as an idle output shows it.
  struct StillKey {
    uint32_t frame = kACNoFrame;
    FrameLayout layout;
    bool flip = false;
    friend bool operator==(const StillKey&, const StillKey&) = default;
  };
  struct Output {
    uint32_t number = 0;
    std::unique_ptr<OutputLog> log;
    std::unique_ptr<OutputRecorder> recorder;
    std::vector<InputConnector*> loops;  // inputs that a cable joins to it
    bool recording = false;              // a first picture of this run was recorded
    std::vector<int32_t> sound;          // to be recorded; by AudioChannels(1)
    StillKey heldKey;                    // how the frame lies that the last run left
    PictureRef still;                    // idle picture of `stillKey`, for loops
    StillKey stillKey;
    uint64_t stillGeneration = 0;
  };
  struct Subscription {
    uint64_t handle = 0;
    uint32_t type = 0;
    CardEventRef event;
  };

  // card_registers.cpp
  uint32_t Animated(uint64_t reader, uint32_t number);
  [[nodiscard]] bool HasRoomFor(uint32_t number, uint32_t value) const;
  bool Store(uint32_t number, uint32_t value);
  void Written(uint32_t number, uint32_t before, uint32_t mask);
  uint32_t Raw(uint32_t number) const;
  uint32_t OutputLine() const;
  uint32_t LineNow(uint64_t reader);
  uint32_t InputWord();
  uint32_t Flags3G();
  uint32_t StatusWord(uint32_t format) const;
  uint32_t FlashWord(uint32_t address) const;
  void Retime();
  void DownloadBitfile(uint32_t bitfile);
  bool Refused(uint32_t number) const;

  // card_geometry.cpp
  uint32_t Geometry() const;
  uint32_t Standard() const;
  uint32_t ChannelFormat(uint32_t channel) const;
  FrameLayout LayoutOf(uint32_t frameBufferFormat) const;
  uint32_t FrameCountNow() const;
  size_t Stride() const;
  uint32_t PresentVideoFormat() const;
  uint32_t ConnectorFormat(const InputConnector* connector) const;
  InputConnector* FindConnector(const std::string& name);
  InputConnector* ConnectorOfChannel(uint32_t channel);
  bool InputLost(const AutoCirculateRing& ring) const;
  bool InputPresent(const InputConnector* connector) const;

  // card_audio.cpp
  uint32_t AudioControl(uint32_t channel) const;
  uint32_t AudioChannels(uint32_t channel) const;
  uint32_t AudioRate(uint32_t channel) const;
  uint32_t AudioRingBytes() const;
  void UpdateAudio(bool restart);
  int64_t AudioSamples(int64_t nowNs) const;
  uint32_t AudioPosition() const;
  uint64_t AudioClock(int64_t nowNs) const;
  void DrainSound(int64_t nowNs);
  bool SoundIsWanted() const;
  void SetAudioMode(uint32_t mode);
  void FirstFrameShown();

  // card_deck.cpp
  void AdvanceLine();
  void AdvanceDeck();
  [[nodiscard]] int64_t NextDeckNs() const;

  // card_advance.cpp
  void Advance();
  bool Moves() const;
  void UpdateNextBoundary();
  void SkipTo(int64_t nowNs);
  void PassOutputs(int64_t atNs);
  void PassInputs(int64_t atNs);
  void StepOutput(AutoCirculateRing* ring);
  void Show(AutoCirculateRing* ring);
  void StepInput(AutoCirculateRing* ring);
  void TakeIn(AutoCirculateRing* ring);
  void BeginInput(AutoCirculateRing* ring);
  void LogBoundary(AutoCirculateRing* ring, bool fresh);
  void Record(AutoCirculateRing* ring);
  void Raise(uint32_t type, int64_t times);
  Output* FindOutput(uint32_t number);

  // card_still.cpp
  LoopedFrame OutputNow(uint32_t number);
  StillKey StillNow(const Output& output) const;
  void HoldStill(AutoCirculateRing* ring);
  void FrameSetAnew(uint32_t number, uint32_t before, uint32_t mask);
  void MemoryWritten(const uint8_t* at, size_t bytes);

  // card_autocirculate.cpp
  AutoCirculateRing* FindRing(uint32_t channelSpec);
  bool ValidChannel(uint32_t channelSpec) const;
  void ToIdle(AutoCirculateRing* ring);
  void FillStamp(const AutoCirculateRing& ring, RQD5FrameStamp* stamp);
  void FillMoment(const AutoCirculateRing& ring, RQD5FrameStamp* stamp) const;
  void FillTransferStatus(AutoCirculateRing* ring, int32_t frame,
                          RQD5AutoCirculateTransferStatus* status);
  bool RunFaultDrops(const AutoCirculateRing& ring) const;

  // card_transfer.cpp
  bool TransferOut(std::unique_lock<std::mutex>* lock, AutoCirculateRing* ring,
                   const TransferRequest& request, RQD5AutoCirculateTransferStatus* status);
  bool TransferIn(std::unique_lock<std::mutex>* lock, AutoCirculateRing* ring,
                  const TransferRequest& request, RQD5AutoCirculateTransferStatus* status);
  void Stall(int64_t transfer) const;
  bool IdleInputInto(uint32_t frame);

  const CardDescription description_;
  const BoardRow* board_;
  const MachineClock* clock_;
  const std::shared_ptr<CardGroup> group_;

  CardMemory memory_;
  std::vector<uint8_t> audioRing_;
  std::vector<uint8_t> flash_;
  std::vector<uint32_t> registers_;                         // 0 .. 4095
  std::unordered_map<uint32_t, uint32_t> driverRegisters_;  // 10000 and up, but 0
  std::vector<std::unique_ptr<InputConnector>> connectors_;
  struct Cable {
    SimulatedCard* from = nullptr;
    uint32_t output = 0;
  };
  std::map<const InputConnector*, Cable> cables_;
  std::vector<Output> outputs_;

  // Time.
  int64_t nowNs_ = 0;
  FrameTiming timing_;
  int64_t boundary_ = 0;                         // the last one passed
  int64_t nextBoundaryNs_ = 0;                   // INT64_MAX without boundaries
  std::map<uint32_t, AutoCirculateRing> rings_;  // by channelSpec
  uint64_t memoryGeneration_ = 0;                // counts what was written to frame memory
  bool framesMapped_ = false;                    // what a program writes there is not counted

  // Audio output.
  uint32_t audioMode_ = 0;  // 0 run, 2 stop, 3 run with the first frame shown
  bool audioArmFired_ = false;
  bool audioRuns_ = false;
  int64_t audioStartNs_ = 0;
  int64_t audioDrained_ = 0;  // samples handed on since the start

  // Registers with a memory.
  struct LineSample {
    bool repeat = false;
    uint32_t line = 0;
  };
  std::unordered_map<uint64_t, LineSample> lineSamples_;
  uint32_t flashBusyReads_ = 0;
  CardUart uart_;
  std::unique_ptr<TapeMachine> deck_;  // null: nothing is connected to the port

  // Interrupts.
  std::array<uint32_t, InterruptLast + 1> interruptCounts_ = {};
  std::array<bool, InterruptLast + 1> interruptsEnabled_ = {};
  std::vector<Subscription> subscriptions_;
};

}  // namespace morvane
