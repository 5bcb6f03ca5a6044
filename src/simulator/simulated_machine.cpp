#include "simulator/simulated_machine.h"

#include <unistd.h>

#include <cstdlib>

#include "base/paths.h"
#include "device/driver_port.h"
#include "simulator/simulated_driver.h"

namespace morvane {

SimulatedMachine::SimulatedMachine(const MachineDescription& description)
    : description_(description), driver_(std::make_unique<SimulatedDriver>(description_)) {}

SimulatedMachine::~SimulatedMachine() {
  if (InstalledDriverPort() == driver_.get()) InstallDriverPort(nullptr);
}

bool SimulatedMachine::Describe(const std::string& path, MachineDescription* machine,
                                std::string* error) {
  std::string file = path;
  const char* variable = std::getenv("MORVANE_MACHINE");
  if (file.empty() && variable != nullptr) file = variable;
  if (file.empty()) {
    const std::string usual = JoinPath(ConfigFolder(), "machine.toml");
    if (access(usual.c_str(), F_OK) == 0) file = usual;
  }
  if (!file.empty()) return LoadMachineDescription(file, machine, error);
  *machine = BuiltInMachine();
  return true;
}

std::unique_ptr<SimulatedMachine> SimulatedMachine::Load(const std::string& path,
                                                         std::string* error) {
  MachineDescription machine;
  if (!Describe(path, &machine, error)) return nullptr;
  return std::make_unique<SimulatedMachine>(machine);
}

void SimulatedMachine::Install() {
  InstallDriverPort(driver_.get());
}

}  // namespace morvane
