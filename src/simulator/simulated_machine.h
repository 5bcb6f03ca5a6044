#pragma once

#include <memory>
#include <string>

#include "simulator/machine_description.h"

namespace morvane {

class DriverPort;
class SimulatedDriver;

// A machine of simulated cards and the driver in front of them.
// Owns: the driver, its cards, and their threads (clip decoders, recorders), from construction to
// destruction. Close every card object that was opened through the driver first.
//
//   std::string error;
//   auto machine = SimulatedMachine::Load("", &error);      // the rule of the command line
//   if (!machine) return Fail(error);
//   machine->Install();                                     // before any card is opened
class SimulatedMachine {
 public:
  explicit SimulatedMachine(const MachineDescription& description);
  ~SimulatedMachine();  // takes the driver out of the process if it is installed
  SimulatedMachine(const SimulatedMachine&) = delete;
  SimulatedMachine& operator=(const SimulatedMachine&) = delete;

  // Builds the machine of `path`; when that is empty, of $MORVANE_MACHINE, then of machine.toml in
  // the configuration folder if it exists, then the built-in one.
  // Returns: null with one clear line in `error`.
  [[nodiscard]] static std::unique_ptr<SimulatedMachine> Load(const std::string& path,
                                                              std::string* error);

  // Only reads and checks the description that Load() would build. Returns: false with the line.
  [[nodiscard]] static bool Describe(const std::string& path, MachineDescription* machine,
                                     std::string* error);

  // Makes this machine's driver the driver port of the process.
  // Threads: main thread, before any card is opened.
  void Install();
  [[nodiscard]] SimulatedDriver& Driver() { return *driver_; }
  [[nodiscard]] const MachineDescription& Description() const { return description_; }

 private:
  MachineDescription description_;
  std::unique_ptr<SimulatedDriver> driver_;
};

}  // namespace morvane
