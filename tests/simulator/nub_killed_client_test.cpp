// A client that is killed, as a process of its own.
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "device/card.h"
#include "simulator/nub_server.h"
#include "simulator/port_client.h"
#include "simulator/simulated_driver.h"
#include "simulator/simulated_machine.h"

namespace morvane::test {
namespace {

constexpr char kHost[] = "127.0.0.1";
constexpr uint32_t kChannel = 1;

// The child's whole life: hears the port, starts the ring there, tells it, and waits to be killed.
void StartTheRingAndHang(int hears, int tells) {
  uint16_t port = 0;
  if (read(hears, &port, sizeof port) != sizeof port) _exit(1);
  setenv("MORVANE_NUB_PORT", std::to_string(port).c_str(), 1);
  CRQD5Card card;
  const bool started = card.Open(0, false, BOARDTYPE_OEM2K, kHost) && card.IsRemote() &&
                       card.StartAutoCirculate(kChannel);
  const char word = started ? 'y' : 'n';
  if (write(tells, &word, 1) != 1) _exit(1);
  for (;;) pause();
}

TEST(NubKilledClient, TheNextStopSucceedsAndTheRingIsIdle) {
  int toChild[2] = {-1, -1}, fromChild[2] = {-1, -1};
  ASSERT_EQ(pipe(toChild), 0);
  ASSERT_EQ(pipe(fromChild), 0);
  const pid_t child = fork();  // before there is any thread
  if (child == 0) StartTheRingAndHang(toChild[0], fromChild[1]);

  SimulatedMachine machine(BuiltInMachine());
  machine.Install();
  NubServerOptions options;
  options.port = 0;
  NubServer server(&machine.Driver(), options);
  std::string error;
  ASSERT_TRUE(server.Listen(&error)) << error;
  // The server's own side makes the ring: nobody else can.
  PortClient own(&machine.Driver(), BOARDTYPE_OEM2K);
  own.SetFormat(2);
  ASSERT_TRUE(own.Init(kChannel, 0, 9));
  std::thread serving([&server] { server.Run(); });

  const uint16_t port = server.Port();
  ASSERT_EQ(write(toChild[1], &port, sizeof port), ssize_t{sizeof port});
  char word = 0;
  ASSERT_EQ(read(fromChild[0], &word, 1), 1);
  EXPECT_EQ(word, 'y');
  kill(child, SIGKILL);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_NE(own.Status(kChannel).state, uint32_t{ACStateIdle}) << "it circulates without a client";

  setenv("MORVANE_NUB_PORT", std::to_string(port).c_str(), 1);
  CRQD5Card next;
  ASSERT_TRUE(next.Open(0, false, BOARDTYPE_OEM2K, kHost));
  ASSERT_TRUE(next.IsRemote());
  EXPECT_TRUE(next.StopAutoCirculate(kChannel));
  RQD5AutoCirculateStatus ring = {};
  EXPECT_TRUE(next.GetAutoCirculate(kChannel, &ring));
  EXPECT_EQ(uint32_t{ring.state}, uint32_t{ACStateIdle});
  server.Stop();
  serving.join();
}

}  // namespace
}  // namespace morvane::test
