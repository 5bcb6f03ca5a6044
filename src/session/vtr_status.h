#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

// What a tape machine tells of itself: ten status bytes as single claims, and as a word for people.
// Threads: all functions are pure, any thread.
namespace morvane {

inline constexpr size_t kVtrStatusBytes = 10;
inline constexpr size_t kVtrStatusEntries = 60;

// Places in a status record that have a name. The rest follow the order of the status bytes; see
// VtrStatusRows().
enum VtrStatusEntry : uint32_t {
  VtrNoReply = 0,
  VtrTapeOut = 1,
  VtrLocal = 3,
  VtrStandby = 4,
  VtrStopped = 5,
  VtrEjecting = 6,
  VtrRewinding = 7,
  VtrFastForwarding = 8,
  VtrRecording = 9,
  VtrPlaying = 10,
  VtrServoLocked = 11,
  VtrShuttling = 13,
  VtrJogging = 14,
  VtrVariableSpeed = 15,
  VtrReverse = 16,
  VtrStill = 17,
  VtrCuedUp = 18,
  VtrPrerolling = 28,
  VtrRecordInhibited = 54,
};

struct RQD5VtrStatus {
  // By VtrStatusEntry. Entries behind the table's are always false.
  bool entries[kVtrStatusEntries] = {};

  [[nodiscard]] bool Is(VtrStatusEntry entry) const { return entries[entry]; }
};

// Where an entry comes from.
struct VtrStatusRow {
  uint32_t entry;  // place in the record; row i is entry i + 1
  uint32_t byte;   // of the status bytes
  uint32_t bit;
};
[[nodiscard]] std::span<const VtrStatusRow> VtrStatusRows();

using VtrStatusData = std::span<const uint8_t, kVtrStatusBytes>;

[[nodiscard]] RQD5VtrStatus DecodeVtrStatus(VtrStatusData data);

// True when only the tape's speed tells what the machine does: it shuttles or jogs, and nothing
// that has a word of its own goes before.
[[nodiscard]] bool VtrMovesBySpeed(VtrStatusData data);
// The word for a machine that does not move by speed, such as "Stop". Empty when none fits.
[[nodiscard]] std::string VtrStatusText(VtrStatusData data);
// The word for a machine that moves by speed: `speed` in plays, its sign does not count.
[[nodiscard]] std::string VtrSpeedText(VtrStatusData data, double speed);
// The same with a speed that is not known: "Shuttle" or "Jog".
[[nodiscard]] std::string VtrUnknownSpeedText(VtrStatusData data);

}  // namespace morvane
