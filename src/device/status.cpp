#include "device/status.h"

namespace morvane {

CRQD5Status::CRQD5Status() = default;
CRQD5Status::~CRQD5Status() = default;

}  // namespace morvane
