#include "base/settings_store.h"

#include <sqlite3.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "base/paths.h"

namespace morvane {
namespace {

// One row a value; a row with an empty name says that its key exists.
// clang-format off
constexpr char kSchema[] =
    "CREATE TABLE IF NOT EXISTS settings ("
    " key   TEXT    NOT NULL,"
    " name  TEXT    NOT NULL,"
    " type  INTEGER NOT NULL,"
    " value         ,"
    " PRIMARY KEY (key, name))";
// clang-format on
enum ValueType : int { kTypeKey = 0, kTypeNumber = 1, kTypeBinary = 2 };

constexpr int kBusyTimeoutMs = 3000;  // another copy of the application may be saving

std::string StorePath() {
  const char* path = std::getenv("MORVANE_SETTINGS");
  if (path != nullptr && *path != '\0') return path;
  return JoinPath(ConfigFolder(), "settings.db");
}

class Statement {
 public:
  Statement(sqlite3* database, const char* text) {
    if (sqlite3_prepare_v2(database, text, -1, &statement_, nullptr) != SQLITE_OK) {
      statement_ = nullptr;
    }
  }
  ~Statement() { sqlite3_finalize(statement_); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  // On a statement that could not be prepared all of these do nothing and Step() is an error.
  void BindText(int index, const std::string& text) {
    sqlite3_bind_text64(statement_, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  }
  void BindNumber(int index, int64_t number) { sqlite3_bind_int64(statement_, index, number); }
  void BindBytes(int index, const std::vector<uint8_t>& data) {
    // Not null even when empty: a value of no bytes is a value.
    const void* bytes = data.empty() ? static_cast<const void*>("") : data.data();
    sqlite3_bind_blob64(statement_, index, bytes, data.size(), SQLITE_TRANSIENT);
  }
  [[nodiscard]] bool StepRow() { return sqlite3_step(statement_) == SQLITE_ROW; }
  [[nodiscard]] bool StepDone() { return sqlite3_step(statement_) == SQLITE_DONE; }
  [[nodiscard]] sqlite3_stmt* Get() const { return statement_; }

 private:
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace

struct SettingsStore::Impl {
  std::string path = StorePath();
  sqlite3* database = nullptr;

  ~Impl() { Close(); }

  void Close() {
    sqlite3_close(database);
    database = nullptr;
  }

  bool Execute(const char* text) {
    return sqlite3_exec(database, text, nullptr, nullptr, nullptr) == SQLITE_OK;
  }

  bool Open(int flags) {
    if (database != nullptr) return true;
    if (sqlite3_open_v2(path.c_str(), &database, flags, nullptr) != SQLITE_OK) {
      Close();
      return false;
    }
    sqlite3_busy_timeout(database, kBusyTimeoutMs);
    return true;
  }

  bool OpenExisting() {
    if (database != nullptr) return true;
    return access(path.c_str(), F_OK) == 0 && Open(SQLITE_OPEN_READWRITE);
  }

  bool OpenForWriting() {
    std::error_code ignored;  // opening tells
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    return Open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  }

  // Runs `changes` in one transaction. Returns: false, with nothing changed, on any failure.
  template <typename Changes>
  bool Transaction(Changes changes) {
    if (!OpenForWriting() || !Execute("BEGIN IMMEDIATE")) return false;
    if (Execute(kSchema) && changes() && Execute("COMMIT")) return true;
    Execute("ROLLBACK");
    return false;
  }

  bool WriteRow(const std::string& key, const Value& value) {
    Statement row(database,
                  "INSERT OR REPLACE INTO settings (key, name, type, value) VALUES (?, ?, ?, ?)");
    row.BindText(1, key);
    row.BindText(2, value.name);
    row.BindNumber(3, value.binary ? kTypeBinary : kTypeNumber);
    if (value.binary) {
      row.BindBytes(4, value.data);
    } else {
      row.BindNumber(4, value.number);
    }
    return row.StepDone();
  }

  bool WriteKey(const std::string& key) {
    Statement row(database, "INSERT OR IGNORE INTO settings (key, name, type) VALUES (?, '', ?)");
    row.BindText(1, key);
    row.BindNumber(2, kTypeKey);
    return row.StepDone();
  }
};

namespace {

constexpr char kSelectValue[] =
    "SELECT value FROM settings WHERE key = ? AND name = ? AND type = ?";

}  // namespace

SettingsStore::SettingsStore() : impl_(std::make_unique<Impl>()) {}

SettingsStore::~SettingsStore() = default;

bool SettingsStore::KeyExists(const std::string& key) {
  if (!impl_->OpenExisting()) return false;
  Statement row(impl_->database, "SELECT 1 FROM settings WHERE key = ? LIMIT 1");
  row.BindText(1, key);
  return row.StepRow();
}

bool SettingsStore::ReadNumber(const std::string& key, const std::string& name, uint32_t* value) {
  if (!impl_->OpenExisting()) return false;
  Statement row(impl_->database, kSelectValue);
  row.BindText(1, key);
  row.BindText(2, name);
  row.BindNumber(3, kTypeNumber);
  if (!row.StepRow()) return false;
  *value = static_cast<uint32_t>(sqlite3_column_int64(row.Get(), 0));
  return true;
}

bool SettingsStore::ReadBinary(const std::string& key, const std::string& name, void* data,
                               size_t capacity, size_t* bytes) {
  *bytes = 0;
  if (!impl_->OpenExisting()) return false;
  Statement row(impl_->database, kSelectValue);
  row.BindText(1, key);
  row.BindText(2, name);
  row.BindNumber(3, kTypeBinary);
  if (!row.StepRow()) return false;
  const void* stored = sqlite3_column_blob(row.Get(), 0);
  *bytes = static_cast<size_t>(sqlite3_column_bytes(row.Get(), 0));
  if (*bytes > capacity) return false;
  if (*bytes > 0) std::memcpy(data, stored, *bytes);
  return true;
}

bool SettingsStore::Write(const std::string& key, const std::vector<Value>& values) {
  return impl_->Transaction([&] {
    if (!impl_->WriteKey(key)) return false;
    for (const Value& value : values) {
      if (!impl_->WriteRow(key, value)) return false;
    }
    return true;
  });
}

bool SettingsStore::RemoveKey(const std::string& key) {
  if (!impl_->OpenExisting()) return true;  // nothing there to remove
  return impl_->Transaction([&] {
    Statement rows(impl_->database, "DELETE FROM settings WHERE key = ?");
    rows.BindText(1, key);
    return rows.StepDone();
  });
}

}  // namespace morvane
