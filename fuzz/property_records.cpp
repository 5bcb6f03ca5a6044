// Any bytes as requests to the simulated driver: a row of {size, record}, with time passing
// between them. The header is put in place, so that the payload is what varies.
#include <algorithm>
#include <cstring>
#include <vector>

#include "base/clock.h"
#include "device/driver_records.h"
#include "simulator/machine_description.h"
#include "simulator/simulated_driver.h"

using namespace morvane;

namespace {

constexpr uint32_t kNumbers[] = {0, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 14, 15, 16, 17, 18, 1};
constexpr size_t kSizes[] = {40, 40,  32,  40,  64,  56,   112, 168, 336,
                             40, 584, 616, 208, 208, 1048, 88,  24};
constexpr int64_t kStepNs = 20'000'000;
constexpr size_t kMaxRequests = 24;

bool IsTransfer(uint32_t number) {
  return number == PropertyTransfer || number == PropertyTransferExtended ||
         number == PropertyTransferFull;
}

void PutToken(uint32_t token, size_t offset, std::vector<uint8_t>* record) {
  if (offset + sizeof token <= record->size()) {
    std::memcpy(record->data() + offset, &token, sizeof token);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ManualClock clock;
  MachineDescription machine = BuiltInMachine();
  machine.cards[0].rs422 = false;  // its tape is a folder, and would remember
  SimulatedDriver driver(machine);
  const DriverHandle handle = driver.Open(SimulatedDriver::CardPath(0), true);
  std::vector<uint8_t> buffer(1 << 16);
  const uint32_t token = driver.Memory().Pin(buffer.data(), buffer.size());
  const uint8_t* end = data + size;
  for (size_t request = 0; request < kMaxRequests && end - data >= 2; ++request) {
    const size_t choice = data[0] % std::size(kNumbers);
    const bool wrongSize = (data[1] & 0xF0) == 0xF0;
    const size_t bytes = wrongSize ? data[1] & 0x0F : kSizes[choice];
    std::vector<uint8_t> record(std::max(bytes, sizeof(PropertyHeader)), 0);
    const PropertyHeader header{kPropertySetOem2K, kNumbers[choice], 1u + (data[1] & 1u)};
    std::memcpy(record.data(), &header, sizeof header);
    // The token is not to be guessed: it goes to the address words when the input asks for it, and
    // to no other word, so that the request can succeed.
    const bool withToken = (data[1] & 2) != 0;
    data += 2;
    const size_t payload = std::min<size_t>(record.size() - sizeof header, end - data);
    if (payload > 0) std::memcpy(record.data() + sizeof header, data, payload);
    data += payload;
    if (withToken) {
      if (kNumbers[choice] == PropertyDma) {
        PutToken(token, 28, &record);
      } else if (IsTransfer(kNumbers[choice])) {
        PutToken(token, 32, &record);  // picture
        PutToken(token, 44, &record);  // sound
      }
    }
    const size_t out = bytes == 336 || bytes == 584 || bytes == 616 ? 160 : bytes;
    (void)driver.Request(handle, record.data(), bytes, record.data(), out);
    clock.Advance(kStepNs);
  }
  driver.Close(handle);
  driver.Memory().Unpin(token);
  return 0;
}
