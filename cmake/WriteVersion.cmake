# Writes OUTPUT with the version and the commit of SOURCE; touches it only when they changed.
find_program(GIT git)
set(commit "unknown")
if(GIT)
  execute_process(COMMAND "${GIT}" -C "${SOURCE}" rev-parse --short HEAD
    OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET RESULT_VARIABLE result)
  if(result EQUAL 0)
    set(commit "${found}")
  endif()
endif()
file(CONFIGURE OUTPUT "${OUTPUT}" CONTENT
[[#include "tools/version.h"

namespace morvane::tools {

const char kVersion[] = "@VERSION@ (commit @commit@)";

}  // namespace morvane::tools
]] @ONLY)
