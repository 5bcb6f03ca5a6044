#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/test_environment.h"

namespace morvane::test {

// The lines of tests/golden/`name` without those that begin with '#'.
inline std::vector<std::string> GoldenLines(const std::string& name) {
  std::ifstream file(DataPath("golden/" + name));
  EXPECT_TRUE(file.is_open()) << name;
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (!line.empty() && line[0] != '#') lines.push_back(line);
  }
  EXPECT_FALSE(lines.empty()) << name;
  return lines;
}

}  // namespace morvane::test
