// The contract of a driver port, run against the simulated driver.
#include "base/clock.h"
#include "device/driver_port_contract.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_driver.h"

namespace morvane::test {
namespace {

// The number that the bars carry: 32 cells across the first lines, most significant first.
uint32_t CellNumber(const uint8_t* uyvy, uint32_t width) {
  const uint32_t cell = width / 32 / 2 * 2;
  const uint8_t* line = uyvy + size_t{8} * width * 2;
  uint32_t number = 0;
  for (uint32_t bit = 0; bit < 32; ++bit) {
    number = number << 1 | (line[(bit * cell + cell / 2) * 2 + 1] > 128 ? 1 : 0);
  }
  return number;
}

class SimulatedContractPort final : public ContractPort {
 public:
  SimulatedContractPort() {
    MachineDescription machine;
    CardDescription card;
    card.identity = BoardElm;
    InputDescription input;
    input.connector = "input1";
    input.source = SignalSource::kBars;
    input.videoFormat = 2;
    card.inputs.push_back(input);
    machine.cards.push_back(card);
    driver_ = std::make_unique<SimulatedDriver>(machine);
  }
  DriverPort& Port() override { return *driver_; }
  void PassNanoseconds(int64_t nanoseconds) override { clock_.Advance(nanoseconds); }
  uint32_t PictureNumber(const uint8_t* uyvy) const override { return CellNumber(uyvy, 1920); }

 private:
  ManualClock clock_;
  std::unique_ptr<SimulatedDriver> driver_;
};

INSTANTIATE_TEST_SUITE_P(Simulated, DriverPortContract,
                         ::testing::Values(ContractSubject{
                             "Simulated",
                             [] { return std::make_unique<SimulatedContractPort>(); }}),
                         [](const auto& subject) { return subject.param.name; });

}  // namespace
}  // namespace morvane::test
