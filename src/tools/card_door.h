#pragma once

#include <memory>
#include <vector>

#include "base/board_locks.h"
#include "device/board_scan.h"
#include "simulator/simulated_machine.h"
#include "tools/command.h"

namespace morvane::tools {

// This machine's cards, as a command meets them: the description is read, the driver installed,
// the boards are scanned. Held for the whole run of a command; card objects close before it.
// Threads: main thread.
class CardDoor {
 public:
  // Returns: null after the diagnostic was printed; *exitCode is then what the command returns.
  [[nodiscard]] static std::unique_ptr<CardDoor> Open(const CommandContext& context, int* exitCode);
  // The same over a description that the command made itself.
  [[nodiscard]] static std::unique_ptr<CardDoor> OpenOver(const MachineDescription& description);

  [[nodiscard]] const std::vector<RQD5BoardInfo>& Boards() const { return boards_; }
  // Board `index` of the scan. Returns: null after the diagnostic was printed.
  [[nodiscard]] const RQD5BoardInfo* Find(const CommandContext& context, int index) const;
  // Takes the board's three locks for the rest of the run. Returns: false after the diagnostic was
  // printed (200000 when another program holds the board).
  [[nodiscard]] bool Lock(const CommandContext& context, int index);
  [[nodiscard]] SimulatedMachine& Machine() { return *machine_; }

 private:
  CardDoor() = default;

  std::unique_ptr<SimulatedMachine> machine_;
  std::vector<RQD5BoardInfo> boards_;
  BoardLocks locks_;
};

}  // namespace morvane::tools
