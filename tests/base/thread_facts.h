#pragma once

#include <cstdint>
#include <string>

// What the kernel says of the calling thread, read without the code under test.
namespace morvane::test {

int NiceOfCaller();
std::string ProcessorsOfCaller();                   // "0-1", as in /proc
std::string ProcessorsOfThread(uint32_t threadId);  // of any thread of this process
// The list that the `position`-th processor of `list` alone makes: "1" of "0-1" and 1.
std::string OneProcessor(const std::string& list, int position);

}  // namespace morvane::test
