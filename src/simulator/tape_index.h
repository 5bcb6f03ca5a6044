#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "simulator/deck_transport.h"
#include "simulator/tape_track.h"

namespace morvane {

// What a tape is.
struct TapeFacts {
  uint32_t videoFormat = 0;  // RQD5VideoFormat
  TapeRate rate;
  int64_t first = 0;     // number at its beginning
  int64_t pictures = 0;  // 1 .. 24 hours
};

// What was recorded on one picture's place. Nothing of it is what the tape was made with.
struct TapeRow {
  std::optional<int64_t> count;  // its number
  std::string picture;           // sum of its picture; empty: as made
  std::string sound;             // sum of its sound; empty: as made

  friend bool operator==(const TapeRow&, const TapeRow&) = default;
};

// Where a deck was left, and when.
struct DeckState {
  DeckTransport::Saved transport;
  int64_t processNs = 0;  // of base/clock.h
  std::string boot;       // of the system whose clock that is
  int64_t wallNs = 0;     // since 1970
};

// The index of a tape folder: an SQLite file. Every change is one transaction; after a crash it is
// whole up to the last of them.
// Threads: any.
class TapeIndex {
 public:
  ~TapeIndex();
  TapeIndex(const TapeIndex&) = delete;
  TapeIndex& operator=(const TapeIndex&) = delete;

  // Makes the index at `path`, which must not exist. Returns: false with a sentence in `error`.
  [[nodiscard]] static bool Create(const std::string& path, const TapeFacts& facts,
                                   std::string* error);
  // Returns: null with a sentence in `error`, also for facts that make no sense.
  [[nodiscard]] static std::unique_ptr<TapeIndex> Open(const std::string& path, std::string* error);

  [[nodiscard]] const TapeFacts& Facts() const { return facts_; }
  // Rows outside the tape and rows that make no sense are left out; `skipped` counts them.
  // Returns: false with a sentence in `error` when not all of them could be read.
  [[nodiscard]] bool LoadRows(std::map<int64_t, TapeRow>* rows, int64_t* skipped,
                              std::string* error);
  // Keeps the row in place of an older one.
  [[nodiscard]] bool PutRow(int64_t picture, const TapeRow& row, std::string* error);
  [[nodiscard]] std::optional<DeckState> LoadDeck();
  [[nodiscard]] bool SaveDeck(const DeckState& state, std::string* error);
  // The tape ends behind so many pictures from now on; for one that nobody else has open.
  [[nodiscard]] bool Trim(int64_t pictures, std::string* error);

 private:
  struct Statement;
  TapeIndex() = default;
  [[nodiscard]] bool Run(const char* text, std::string* error);
  [[nodiscard]] bool LoadFacts(std::string* error);
  [[nodiscard]] std::string Failure() const;

  std::mutex mutex_;
  std::string path_;
  void* database_ = nullptr;  // sqlite3
  TapeFacts facts_;
};

}  // namespace morvane
