#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// The connection to another machine, as the client's exchanges use it: TCP over IPv4.
// Threads: any, one at a time for a socket.
namespace morvane {

// Port that is connected to: $MORVANE_NUB_PORT when it is a number from 1 to 65535, else kNubPort.
[[nodiscard]] uint16_t NubPort();

// Connects to the first address of `hostName`.
// Returns: the socket, the caller's to close; -1 when the name is not known, and, with the
// system's words on the standard error, when there is no socket or nobody answers.
[[nodiscard]] int ConnectNub(const char* hostName);
void CloseNub(int socket);

// Sends all of it. Returns: false when the connection is broken, or takes nothing for two seconds.
[[nodiscard]] bool SendNub(int socket, std::span<const uint8_t> bytes);

// Waits at most `timeoutMs` for something to come, and takes what one receive gives.
// Returns: bytes received; else NubPeerClosed, NubTimedOut, or, with the system's words on the
// standard error, NubSocketFailed.
[[nodiscard]] int ReceiveNub(int socket, std::span<uint8_t> into, int timeoutMs);

}  // namespace morvane
