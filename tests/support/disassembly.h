#pragma once

#include <string>

// What the compiler made of a program or library, through objdump.
namespace morvane::test {

// Locked instructions and atomic exchanges have a meaning only in plain x86-64 code: the sanitizers
// replace atomic operations by calls.
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__) || !defined(__x86_64__)
inline constexpr bool kPlainCode = false;
#else
inline constexpr bool kPlainCode = true;
#endif

[[nodiscard]] bool HaveObjdump();
// Returns: the disassembly of `file`, of one function only where `symbol` (as the linker sees it)
// is given; empty when objdump cannot read it.
[[nodiscard]] std::string Disassembly(const std::string& file, const std::string& symbol = {});
// Returns: the lines with a lock prefix or an exchange with memory, each with its function's name
// before it; empty when there is none.
[[nodiscard]] std::string LockedInstructions(const std::string& disassembly);

}  // namespace morvane::test
