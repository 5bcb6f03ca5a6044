#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "desktop.h"
#include "support/test_environment.h"

// What "cmake --install" puts below a prefix, and that it works from there.
namespace morvane::test {
namespace {

// Runs a command. Returns: its exit code, and all that it printed in `said`.
int Execute(const std::string& command, std::string* said) {
  FILE* pipe = popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return -1;
  said->clear();
  for (int letter = 0; (letter = fgetc(pipe)) != EOF;) *said += static_cast<char>(letter);
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The value of a key of a desktop entry.
std::string EntryOf(const std::string& path, const std::string& key) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(key + "=")) return line.substr(key.size() + 1);
  }
  return {};
}

// Width and height of a PNG file, such as "256x256".
std::string PictureSize(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::array<unsigned char, 24> head{};
  file.read(reinterpret_cast<char*>(head.data()), head.size());
  const auto number = [&](size_t at) { return head[at + 2] * 256 + head[at + 3]; };
  return std::to_string(number(16)) + "x" + std::to_string(number(20));
}

class InstallTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const int code = Execute(
        "'" MORVANE_CMAKE "' --install '" MORVANE_BUILD "' --prefix '" + prefix + "'", &said);
    ASSERT_EQ(0, code) << said;
  }

  const std::string prefix = FreshFolder("prefix");
  const std::string entry = prefix + "/share/applications/morvane.desktop";
  std::string said;
};

TEST_F(InstallTest, TheDesktopFindsProgramAndIcon) {
  const std::string program = prefix + "/bin/" + EntryOf(entry, "Exec");
  EXPECT_EQ("morvane-gui", EntryOf(entry, "Exec"));
  EXPECT_EQ(0, access(program.c_str(), X_OK)) << program;
  // An icon lies in the folder of its size.
  const std::string icon = "/apps/" + EntryOf(entry, "Icon") + ".png";
  int icons = 0;
  for (const auto& size : std::filesystem::directory_iterator(prefix + "/share/icons/hicolor")) {
    const std::string path = size.path().string() + icon;
    if (!std::filesystem::exists(path)) continue;
    EXPECT_EQ(size.path().filename().string(), PictureSize(path)) << path;
    ++icons;
  }
  EXPECT_GT(icons, 0);
  EXPECT_EQ(0, Execute("desktop-file-validate '" + entry + "'", &said)) << said;
  EXPECT_EQ("", said);
}

TEST_F(InstallTest, TheWindowStandsWithItsIconAndItsLogo) {
  const Desktop desktop(1030, 768);
  ASSERT_TRUE(desktop.Stands());
  // The build's own folder is out of sight: what it needs it finds where it was put.
  MorvaneProgram program(desktop, "installed", {}, prefix + "/bin/morvane-gui");
  ASSERT_TRUE(program.Started()) << program.Describe();
  EXPECT_NE(std::string::npos, program.Property("_NET_WM_ICON").find("Icon (64 x 64)"))
      << program.Property("_NET_WM_ICON");
  const std::string name = "\"" + EntryOf(entry, "StartupWMClass") + "\"";
  EXPECT_NE(std::string::npos, program.Property("WM_CLASS").find(name))
      << program.Property("WM_CLASS");
  EXPECT_TRUE(std::filesystem::exists(prefix + "/bin/data/icons/vyr.bmp"));
  program.Signal(SIGTERM);
  EXPECT_EQ(0, program.Wait());
}

TEST_F(InstallTest, TheCommandLinesProgramsRun) {
  for (const char* program : {"morvanectl", "morvane-nub"}) {
    EXPECT_EQ(0, Execute("'" + prefix + "/bin/" + program + "' --help", &said)) << program << said;
    EXPECT_NE(std::string::npos, said.find(program)) << said;
  }
}

}  // namespace
}  // namespace morvane::test
