#include "tools/card_door.h"

#include "base/paths.h"

namespace morvane::tools {
namespace {

constexpr uint32_t kAllBoardTypes = 0xFF;

}  // namespace

std::unique_ptr<CardDoor> CardDoor::Open(const CommandContext& context, int* exitCode) {
  std::string error;
  auto machine = SimulatedMachine::Load(context.machine, &error);
  if (machine == nullptr) {
    *exitCode = Fail(context, NxErrFailure, error);
    return nullptr;
  }
  std::unique_ptr<CardDoor> door(new CardDoor);
  door->machine_ = std::move(machine);
  door->machine_->Install();
  door->boards_ = RQD5BoardScan(kAllBoardTypes);
  return door;
}

std::unique_ptr<CardDoor> CardDoor::OpenOver(const MachineDescription& description) {
  std::unique_ptr<CardDoor> door(new CardDoor);
  door->machine_ = std::make_unique<SimulatedMachine>(description);
  door->machine_->Install();
  door->boards_ = RQD5BoardScan(kAllBoardTypes);
  return door;
}

const RQD5BoardInfo* CardDoor::Find(const CommandContext& context, int index) const {
  if (boards_.empty()) {
    Fail(context, NxErrNoBoards);
    return nullptr;
  }
  if (index < 0 || static_cast<size_t>(index) >= boards_.size()) {
    Fail(context, NxErrFailure,
         "--board " + std::to_string(index) + ": this machine has boards 0 to " +
             std::to_string(boards_.size() - 1) + "; see morvanectl boards.");
    return nullptr;
  }
  return &boards_[static_cast<size_t>(index)];
}

bool CardDoor::Lock(const CommandContext& context, int index) {
  if (!locks_.Create()) {
    Fail(context, NxErrFailure,
         "The board locks cannot be made in " + LockFolder() +
             "; make that folder writable or set MORVANE_LOCKS.");
    return false;
  }
  const NxErr result = locks_.Acquire(index);
  if (result == NxErrSuccess) return true;
  Fail(context, result);
  return false;
}

}  // namespace morvane::tools
