// morvane-nub: lends this machine's cards to other machines.
#include <poll.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "simulator/nub_server.h"
#include "tools/card_door.h"
#include "tools/command.h"
#include "tools/stop_signal.h"
#include "tools/tool_main.h"
#include "tools/version.h"

namespace {

using morvane::tools::CommandContext;

constexpr uint32_t kLoopbackNet = 0x7F;  // 127.0.0.0/8

morvane::NubServer* g_server = nullptr;

void StopServer() {
  g_server->Stop();
}

// A line that nobody takes is left out: a full pipe must not hold the server.
void PrintLine(const std::string& line) {
  pollfd output = {STDERR_FILENO, POLLOUT, 0};
  if (poll(&output, 1, 0) != 1 || (output.revents & POLLOUT) == 0) return;
  std::fprintf(stderr, "morvane-nub: %s\n", line.c_str());
}

struct NubOptions {
  morvane::NubServerOptions server;
  std::vector<std::string> allow;
};

std::string CheckAddress(const std::string& text) {
  return morvane::ParseAddress(text) ? "" : text + " is no IPv4 address";
}

std::string CheckRange(const std::string& text) {
  return morvane::AddressRange::Parse(text) ? "" : text + " is no range such as 192.168.7.0/24";
}

void WarnOfOpenDoor(const morvane::NubServerOptions& options) {
  const bool loopback = *morvane::ParseAddress(options.bindAddress) >> 24 == kLoopbackNet;
  if (loopback || !options.allowed.empty()) return;
  PrintLine("whoever reaches " + options.bindAddress +
            " owns the cards; --allow narrows it, docs/nub.md tells more");
}

int Serve(CommandContext& context, const NubOptions& options) {
  int exitCode = morvane::tools::kExitDone;
  const auto door = morvane::tools::CardDoor::Open(context, &exitCode);
  if (door == nullptr) return exitCode;
  if (door->Boards().empty()) return morvane::tools::Fail(context, morvane::NxErrNoBoards);
  for (size_t i = 0; i < door->Boards().size(); ++i) {
    if (!door->Lock(context, static_cast<int>(i))) return morvane::tools::kExitFailed;
  }
  morvane::NubServer server(&door->Machine().Driver(), options.server);
  std::string error;
  if (!server.Listen(&error)) {
    return morvane::tools::Fail(context, morvane::NxErrFailure, error);
  }
  g_server = &server;
  morvane::tools::OnStopSignal(StopServer);
  WarnOfOpenDoor(options.server);
  std::printf("serving on %s:%u\n", options.server.bindAddress.c_str(), unsigned{server.Port()});
  std::fflush(stdout);
  if (!morvane::tools::StopAsked()) server.Run();
  morvane::tools::OnStopSignal(nullptr);
  return morvane::tools::kExitDone;
}

int RunCommandLine(int argc, char** argv) {
  CommandContext context;
  context.tool = "morvane-nub";
  NubOptions options;
  options.server.log = PrintLine;
  options.server.buildText = std::string("morvane-nub ") + morvane::tools::kVersion;
  CLI::App app{"Lends this machine's cards to other machines, until SIGTERM."};
  app.name(context.tool);
  app.set_version_flag("--version", options.server.buildText);
  app.add_option("--machine", context.machine, "TOML description of this machine's cards")
      ->type_name("FILE");
  app.add_option("--port", options.server.port, "TCP port; 0 for one that the system chooses")
      ->capture_default_str();
  app.add_option("--bind", options.server.bindAddress, "Address of this machine to serve on")
      ->type_name("ADDRESS")
      ->check(CheckAddress)
      ->capture_default_str();
  app.add_option("--protocol", options.server.protocol, "Version of the protocol to answer with")
      ->check(CLI::Range(1, 3))
      ->capture_default_str();
  app.add_option("--allow", options.allow, "Serve these addresses only, such as 192.168.7.0/24")
      ->type_name("CIDR")
      ->check(CheckRange);
  // Only when the whole line is good.
  app.callback([&] {
    context.run = [&options](CommandContext& run) {
      for (const std::string& range : options.allow) {
        options.server.allowed.push_back(*morvane::AddressRange::Parse(range));
      }
      return Serve(run, options);
    };
  });
  return morvane::tools::RunParsed(app, context, argc, argv);
}

}  // namespace

int main(int argc, char** argv) {
  return morvane::tools::RunTool("morvane-nub", RunCommandLine, argc, argv);
}
