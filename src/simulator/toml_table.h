#pragma once

#include <toml++/toml.h>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Private to this folder: a TOML table read key by key, strictly.
namespace morvane {

// What is wrong, and where. Thrown by the functions below; the one caller that parses catches it.
struct Refusal {
  uint32_t line;
  std::string key;
  std::string text;
};

[[noreturn]] void Refuse(const toml::node& at, const std::string& key, const std::string& text);

// One table of the file. Every member that takes a key counts it as known; a value of another
// kind or out of range is refused.
class TomlTable {
 public:
  // `path` is the name of the table for messages; empty for the file itself.
  TomlTable(const toml::table& table, const std::string& path) : table_(table), path_(path) {}

  [[nodiscard]] const toml::table& Node() const { return table_; }
  [[nodiscard]] std::string KeyPath(std::string_view key) const;

  // Null when the key is absent.
  [[nodiscard]] const toml::node* Find(const std::string& key);
  [[nodiscard]] const toml::table* Child(const std::string& key);

  [[nodiscard]] std::string Text(const std::string& key, const std::string& otherwise);
  [[nodiscard]] bool Flag(const std::string& key);  // false when the key is absent
  [[nodiscard]] std::optional<int64_t> Number(const std::string& key, int64_t least, int64_t most);
  [[nodiscard]] std::vector<int64_t> Numbers(const std::string& key, int64_t most);
  [[nodiscard]] static int64_t NumberOf(const toml::node& node, const std::string& key,
                                        int64_t least, int64_t most);

  // Refuses a key that nobody asked for.
  void Done() const;

 private:
  const toml::table& table_;
  std::string path_;
  std::vector<std::string> known_;
};

}  // namespace morvane
