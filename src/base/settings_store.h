#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace morvane {

// Keys with named values, as the platform registry offers them, in one SQLite file:
// $MORVANE_SETTINGS, else settings.db in the configuration folder.
// Threads: main thread only.
class SettingsStore {
 public:
  SettingsStore();
  ~SettingsStore();
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  // True when `key` exists. The file is not created by asking.
  [[nodiscard]] bool KeyExists(const std::string& key);
  [[nodiscard]] bool ReadNumber(const std::string& key, const std::string& name, uint32_t* value);
  // Reads a binary value of at most `capacity` bytes into `data`; `bytes` is its stored length.
  // Returns: false if there is none or it is longer than `capacity`.
  [[nodiscard]] bool ReadBinary(const std::string& key, const std::string& name, void* data,
                                size_t capacity, size_t* bytes);

  struct Value {
    std::string name;
    bool binary = false;
    uint32_t number = 0;
    std::vector<uint8_t> data;
  };
  // Writes all values of one save in one transaction, creating file and key when missing.
  // Returns: false on failure, and then nothing of the old values has changed.
  [[nodiscard]] bool Write(const std::string& key, const std::vector<Value>& values);
  // Removes a key with all its values. Returns: false on failure.
  [[nodiscard]] bool RemoveKey(const std::string& key);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace morvane
