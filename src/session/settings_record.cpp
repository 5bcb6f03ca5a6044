#include "session/settings_record.h"

#include <utility>
#include <vector>

#include "base/settings_store.h"

namespace morvane {
namespace {

constexpr struct {
  const char* name;
  uint32_t number;
} kGuards[] = {{"MagicNumber", kSettingsMagic},
               {"MagicNumberNI", kSettingsMagicNI},
               {"MagicNumberNS", kSettingsMagicNS}};

}  // namespace

SettingsRecordState ReadSettingsRecord(const std::string& key, const char* name, void* record,
                                       size_t capacity, size_t* bytes) {
  SettingsStore store;
  if (!store.KeyExists(key)) return SettingsRecordState::NotOurs;
  for (const auto& guard : kGuards) {
    uint32_t number = 0;
    if (!store.ReadNumber(key, guard.name, &number) || number != guard.number) {
      return SettingsRecordState::NotOurs;
    }
  }
  return store.ReadBinary(key, name, record, capacity, bytes) ? SettingsRecordState::Read
                                                              : SettingsRecordState::Unreadable;
}

void WriteSettingsRecord(const std::string& key, const char* name, const void* record,
                         size_t bytes) {
  std::vector<SettingsStore::Value> values;
  for (const auto& guard : kGuards) {
    SettingsStore::Value value;
    value.name = guard.name;
    value.number = guard.number;
    values.push_back(value);
  }
  SettingsStore::Value value;
  value.name = name;
  value.binary = true;
  const auto* first = static_cast<const uint8_t*>(record);
  value.data.assign(first, first + bytes);
  values.push_back(std::move(value));
  SettingsStore store;
  (void)store.Write(key, values);
}

}  // namespace morvane
