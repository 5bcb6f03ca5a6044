#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The home of an engine's settings: one packed record under a key of its own, guarded by three
// numbers. A record whose numbers are not ours comes from another version and is not read.
// Threads: main thread.
namespace morvane {

inline constexpr uint32_t kSettingsMagic = 0x12345780;
inline constexpr uint32_t kSettingsMagicNI = 0x89;
inline constexpr uint32_t kSettingsMagicNS = 0x89;

enum class SettingsRecordState {
  Read,
  NotOurs,     // nothing there, or other numbers
  Unreadable,  // our numbers, but no record, or one of more than `capacity` bytes
};

// Reads the record `name` under `key`; `bytes` is its stored length, which may be shorter.
// On failure `record` may hold anything.
[[nodiscard]] SettingsRecordState ReadSettingsRecord(const std::string& key, const char* name,
                                                     void* record, size_t capacity, size_t* bytes);

// Writes numbers and record in one transaction.
// Deliberate: a store that cannot be written loses the settings, not the session.
void WriteSettingsRecord(const std::string& key, const char* name, const void* record,
                         size_t bytes);

}  // namespace morvane
