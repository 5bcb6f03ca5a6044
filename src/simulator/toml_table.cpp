#include "simulator/toml_table.h"

#include <algorithm>

namespace morvane {

void Refuse(const toml::node& at, const std::string& key, const std::string& text) {
  throw Refusal{static_cast<uint32_t>(at.source().begin.line), key, text};
}

std::string TomlTable::KeyPath(std::string_view key) const {
  return path_.empty() ? std::string(key) : path_ + "." + std::string(key);
}

const toml::node* TomlTable::Find(const std::string& key) {
  known_.push_back(key);
  return table_.get(key);
}

std::string TomlTable::Text(const std::string& key, const std::string& otherwise) {
  const toml::node* node = Find(key);
  if (node == nullptr) return otherwise;
  const auto value = node->value_exact<std::string>();
  if (!value) Refuse(*node, KeyPath(key), "a text in quotes is needed here");
  return *value;
}

bool TomlTable::Flag(const std::string& key) {
  const toml::node* node = Find(key);
  if (node == nullptr) return false;
  const auto value = node->value_exact<bool>();
  if (!value) Refuse(*node, KeyPath(key), "true or false is needed here");
  return *value;
}

std::optional<int64_t> TomlTable::Number(const std::string& key, int64_t least, int64_t most) {
  const toml::node* node = Find(key);
  if (node == nullptr) return std::nullopt;
  return NumberOf(*node, KeyPath(key), least, most);
}

std::vector<int64_t> TomlTable::Numbers(const std::string& key, int64_t most) {
  std::vector<int64_t> numbers;
  const toml::node* node = Find(key);
  if (node == nullptr) return numbers;
  const toml::array* array = node->as_array();
  if (array == nullptr) Refuse(*node, KeyPath(key), "a list like [10, 20] is needed here");
  for (const toml::node& item : *array) {
    numbers.push_back(NumberOf(item, KeyPath(key), 0, most));
  }
  return numbers;
}

const toml::table* TomlTable::Child(const std::string& key) {
  const toml::node* node = Find(key);
  if (node == nullptr) return nullptr;
  if (!node->is_table()) Refuse(*node, KeyPath(key), "a table is needed here");
  return node->as_table();
}

int64_t TomlTable::NumberOf(const toml::node& node, const std::string& key, int64_t least,
                            int64_t most) {
  const auto value = node.value_exact<int64_t>();
  if (!value || *value < least || *value > most) {
    Refuse(node, key,
           "a whole number from " + std::to_string(least) + " to " + std::to_string(most) +
               " is needed here");
  }
  return *value;
}

void TomlTable::Done() const {
  for (const auto& [key, node] : table_) {
    if (std::find(known_.begin(), known_.end(), key.str()) != known_.end()) continue;
    throw Refusal{static_cast<uint32_t>(key.source().begin.line), KeyPath(key.str()),
                  "unknown key"};
  }
}

}  // namespace morvane
