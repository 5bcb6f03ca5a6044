#include "simulator/tape_index.h"

#include <sqlite3.h>

#include "device/formats.h"

namespace morvane {
namespace {

constexpr int64_t kVersion = 1;
constexpr int kBusyTimeoutMs = 3000;  // another program may be reading
constexpr size_t kSumDigits = 32;

// clang-format off
constexpr char kSchema[] =
    "CREATE TABLE tape (version INTEGER NOT NULL, format TEXT NOT NULL, dropFrame INTEGER NOT NULL,"
    " first INTEGER NOT NULL, pictures INTEGER NOT NULL);"
    "CREATE TABLE frames (picture INTEGER PRIMARY KEY, number INTEGER, pictureSum TEXT,"
    " soundSum TEXT);"
    "CREATE TABLE deck (id INTEGER PRIMARY KEY, mode INTEGER, picture INTEGER, speed REAL,"
    " travelled REAL, target INTEGER, spin INTEGER, processNs INTEGER, boot TEXT, wallNs INTEGER);";
// clang-format on

sqlite3* Db(void* database) {
  return static_cast<sqlite3*>(database);
}

bool IsSum(const std::string& text) {
  return text.empty() || (text.size() == kSumDigits &&
                          text.find_first_not_of("0123456789abcdef") == std::string::npos);
}

}  // namespace

// One prepared statement; bound and read by position.
struct TapeIndex::Statement {
  Statement(void* database, const char* text) {
    result = sqlite3_prepare_v2(Db(database), text, -1, &handle, nullptr);
  }
  ~Statement() { sqlite3_finalize(handle); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Bind(int64_t value) {
    if (handle != nullptr) sqlite3_bind_int64(handle, ++bound, value);
    return *this;
  }
  Statement& Bind(double value) {
    if (handle != nullptr) sqlite3_bind_double(handle, ++bound, value);
    return *this;
  }
  Statement& Bind(const std::string& value) {
    if (handle != nullptr) {
      sqlite3_bind_text(handle, ++bound, value.c_str(), -1, SQLITE_TRANSIENT);
    }
    return *this;
  }
  Statement& BindNull() {
    ++bound;
    return *this;
  }
  bool Row() { return Step() == SQLITE_ROW; }
  bool Done() { return Step() == SQLITE_DONE; }
  int Step() {
    if (handle != nullptr) result = sqlite3_step(handle);
    return result;
  }
  [[nodiscard]] bool IsNull(int column) const {
    return sqlite3_column_type(handle, column) == SQLITE_NULL;
  }
  [[nodiscard]] int64_t Number(int column) const { return sqlite3_column_int64(handle, column); }
  [[nodiscard]] double Real(int column) const { return sqlite3_column_double(handle, column); }
  [[nodiscard]] std::string Text(int column) const {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(handle, column));
    return text == nullptr ? "" : text;
  }

  sqlite3_stmt* handle = nullptr;
  int bound = 0;
  int result = SQLITE_OK;  // of what was done last
};

TapeIndex::~TapeIndex() {
  sqlite3_close(Db(database_));
}

std::string TapeIndex::Failure() const {
  return "\"" + path_ +
         "\": " + (database_ == nullptr ? "no memory" : sqlite3_errmsg(Db(database_)));
}

bool TapeIndex::Run(const char* text, std::string* error) {
  if (sqlite3_exec(Db(database_), text, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  *error = Failure();
  return false;
}

bool TapeIndex::Create(const std::string& path, const TapeFacts& facts, std::string* error) {
  TapeIndex index;
  index.path_ = path;
  sqlite3* database = nullptr;
  const int result =
      sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  index.database_ = database;
  if (result != SQLITE_OK) {
    *error = index.Failure();
    return false;
  }
  if (!index.Run("PRAGMA journal_mode=WAL", error) || !index.Run(kSchema, error)) return false;
  Statement row(index.database_, "INSERT INTO tape VALUES (?, ?, ?, ?, ?)");
  row.Bind(kVersion).Bind(std::string(VideoFormatText(facts.videoFormat)));
  row.Bind(static_cast<int64_t>(facts.rate.dropFrame)).Bind(facts.first).Bind(facts.pictures);
  if (row.Done()) return true;
  *error = index.Failure();
  return false;
}

std::unique_ptr<TapeIndex> TapeIndex::Open(const std::string& path, std::string* error) {
  std::unique_ptr<TapeIndex> index(new TapeIndex);
  index->path_ = path;
  sqlite3* database = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
  index->database_ = database;
  if (result != SQLITE_OK) {
    *error = index->Failure();
    return nullptr;
  }
  sqlite3_busy_timeout(database, kBusyTimeoutMs);
  // A change is safe against the end of the process at once, against that of the system soon.
  if (!index->Run("PRAGMA synchronous=NORMAL", error) || !index->LoadFacts(error)) return nullptr;
  return index;
}

bool TapeIndex::LoadFacts(std::string* error) {
  Statement row(database_, "SELECT version, format, dropFrame, first, pictures FROM tape");
  if (!row.Row()) {
    const bool foreign =
        row.result == SQLITE_DONE || row.result == SQLITE_ERROR || row.result == SQLITE_NOTADB;
    *error = foreign ? "\"" + path_ + "\" is no index of a tape" : Failure();
    return false;
  }
  if (row.Number(0) != kVersion) {
    *error = "\"" + path_ + "\" was made by another version of this program";
    return false;
  }
  facts_.videoFormat = FormatOfText(row.Text(1));
  facts_.rate = TapeRate::Of(facts_.videoFormat, row.Number(2) != 0);
  facts_.first = row.Number(3);
  facts_.pictures = row.Number(4);
  const int64_t most = facts_.rate.Pictures(facts_.rate.DayCount());
  if (facts_.videoFormat != 0 && facts_.first >= 0 && facts_.first < facts_.rate.DayCount() &&
      facts_.pictures >= 1 && facts_.pictures <= most) {
    return true;
  }
  *error = "\"" + path_ + "\" describes no tape that could be";
  return false;
}

bool TapeIndex::LoadRows(std::map<int64_t, TapeRow>* rows, int64_t* skipped, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement row(database_, "SELECT picture, number, pictureSum, soundSum FROM frames");
  *skipped = 0;
  while (row.Row()) {
    const int64_t picture = row.Number(0);
    TapeRow found;
    if (!row.IsNull(1)) found.count = row.Number(1);
    found.picture = row.Text(2);
    found.sound = row.Text(3);
    const bool counts =
        !found.count || (*found.count >= 0 && *found.count < facts_.rate.DayCount());
    const bool inside = picture >= 0 && picture < facts_.pictures;
    if (inside && counts && IsSum(found.picture) && IsSum(found.sound)) {
      (*rows)[picture] = found;
    } else {
      ++*skipped;
    }
  }
  if (row.result == SQLITE_DONE) return true;
  *error = Failure();
  return false;
}

bool TapeIndex::PutRow(int64_t picture, const TapeRow& row, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement put(database_, "INSERT OR REPLACE INTO frames VALUES (?, ?, ?, ?)");
  put.Bind(picture);
  if (row.count) {
    put.Bind(*row.count);
  } else {
    put.BindNull();
  }
  put.Bind(row.picture).Bind(row.sound);
  if (put.Done()) return true;
  *error = Failure();
  return false;
}

std::optional<DeckState> TapeIndex::LoadDeck() {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement row(database_,
                "SELECT mode, picture, speed, travelled, target, spin, processNs, boot, wallNs "
                "FROM deck WHERE id = 1");
  if (!row.Row()) return std::nullopt;
  constexpr auto kLastMode = static_cast<int64_t>(DeckTransport::Mode::kEditRun);
  DeckState state;
  if (row.Number(0) >= 0 && row.Number(0) <= kLastMode) {
    state.transport.mode = static_cast<DeckTransport::Mode>(row.Number(0));
  }
  state.transport.picture = row.Number(1);
  state.transport.speed = row.Real(2);
  state.transport.travelled = row.Real(3);
  state.transport.target = row.Number(4);
  state.transport.spin = static_cast<int>(row.Number(5));
  state.processNs = row.Number(6);
  state.boot = row.Text(7);
  state.wallNs = row.Number(8);
  return state;
}

bool TapeIndex::SaveDeck(const DeckState& state, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement put(database_, "INSERT OR REPLACE INTO deck VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  const DeckTransport::Saved& deck = state.transport;
  put.Bind(static_cast<int64_t>(deck.mode)).Bind(deck.picture).Bind(deck.speed);
  put.Bind(deck.travelled).Bind(deck.target).Bind(static_cast<int64_t>(deck.spin));
  put.Bind(state.processNs).Bind(state.boot).Bind(state.wallNs);
  if (put.Done()) return true;
  *error = Failure();
  return false;
}

bool TapeIndex::Trim(int64_t pictures, std::string* error) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Statement row(database_, "UPDATE tape SET pictures = ?");
  row.Bind(pictures);
  facts_.pictures = pictures;
  if (row.Done()) return true;
  *error = Failure();
  return false;
}

}  // namespace morvane
