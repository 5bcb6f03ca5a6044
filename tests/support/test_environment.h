#pragma once

#include <string>

// Every test program runs with folders of its own (locks, settings, XDG), made before the first
// test and removed after the last one.
namespace morvane::test {

// The private folder of this process; MORVANE_LOCKS and the rest lie below it.
const std::string& PrivateFolder();
// A new empty folder below it.
std::string FreshFolder(const std::string& name);
// A file that lies in the tree below tests/.
std::string DataPath(const std::string& name);

}  // namespace morvane::test
