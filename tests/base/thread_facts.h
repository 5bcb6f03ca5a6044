#pragma once

#include <cstdint>
#include <set>
#include <string>

// What the kernel says of the calling thread, read without the code under test.
namespace morvane::test {

int NiceOfCaller();
std::string ProcessorsOfCaller();                   // "0-1", as in /proc
std::string ProcessorsOfThread(uint32_t threadId);  // of any thread of this process
// Of all threads of this process, with the one from which the product starts its threads.
std::set<uint32_t> ThreadIds();
// The list that the `position`-th processor of `list` alone makes: "1" of "0-1" and 1.
std::string OneProcessor(const std::string& list, int position);

}  // namespace morvane::test
