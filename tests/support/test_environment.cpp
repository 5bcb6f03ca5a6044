#include "support/test_environment.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace morvane::test {
namespace {

std::string* g_folder = nullptr;

void MakePrivateFolders() {
  const char* base = getenv("TMPDIR");
  std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/morvane-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    perror("mkdtemp");
    _exit(1);
  }
  g_folder = new std::string(pattern);
  const struct {
    const char* variable;
    const char* folder;
  } kFolders[] = {{"MORVANE_LOCKS", "locks"},      {"XDG_CONFIG_HOME", "config"},
                  {"XDG_DATA_HOME", "data"},       {"XDG_VIDEOS_DIR", "videos"},
                  {"XDG_RUNTIME_DIR", "runtime"},  {"HOME", "home"}};
  for (const auto& entry : kFolders) {
    const std::string path = *g_folder + "/" + entry.folder;
    std::filesystem::create_directories(path);
    setenv(entry.variable, path.c_str(), 1);
  }
  setenv("MORVANE_SETTINGS", (*g_folder + "/settings.db").c_str(), 1);
  unsetenv("MORVANE_MACHINE");
}

}  // namespace

const std::string& PrivateFolder() { return *g_folder; }

std::string FreshFolder(const std::string& name) {
  static int counter = 0;
  const std::string path = *g_folder + "/" + name + "-" + std::to_string(counter++);
  std::filesystem::create_directories(path);
  return path;
}

std::string DataPath(const std::string& name) { return std::string(MORVANE_TEST_DATA "/") + name; }

}  // namespace morvane::test

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  morvane::test::MakePrivateFolders();
  const int result = RUN_ALL_TESTS();
  std::error_code ignored;
  std::filesystem::remove_all(morvane::test::PrivateFolder(), ignored);
  return result;
}
