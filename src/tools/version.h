#pragma once

namespace morvane::tools {

extern const char kVersion[];  // "0.1.0 (commit 1a2b3c4)"

}  // namespace morvane::tools
