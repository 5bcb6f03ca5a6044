#include "support/disassembly.h"

#include <stdio.h>
#include <stdlib.h>

#include <sstream>

namespace morvane::test {

bool HaveObjdump() {
  return system("objdump --version >/dev/null 2>&1") == 0;
}

std::string Disassembly(const std::string& file, const std::string& symbol) {
  std::string command = "objdump -d -C --no-show-raw-insn '" + file + "' 2>/dev/null";
  if (!symbol.empty()) command += " --disassemble=" + symbol;
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return {};
  std::string text;
  char part[65536];
  for (size_t got; (got = fread(part, 1, sizeof part, pipe)) > 0;) text.append(part, got);
  pclose(pipe);
  return text;
}

std::string LockedInstructions(const std::string& disassembly) {
  std::istringstream lines(disassembly);
  std::string function;
  std::string found;
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with(">:")) {
      function = line.substr(line.find('<'));
      continue;
    }
    const size_t tab = line.rfind('\t');
    const std::string instruction = tab == std::string::npos ? line : line.substr(tab + 1);
    // An exchange of two registers is an ordinary instruction (and a two-byte no-operation).
    const bool exchange =
        instruction.starts_with("xchg ") && instruction.find("(") != std::string::npos;
    if (exchange || instruction.starts_with("lock ")) found += function + line + "\n";
  }
  return found;
}

}  // namespace morvane::test
