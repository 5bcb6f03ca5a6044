#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/deck_transport.h"
#include "simulator/input_source.h"
#include "simulator/tape_index.h"
#include "simulator/tape_store.h"

namespace morvane {

inline constexpr uint32_t kTapeChannels = 16;
inline constexpr uint32_t kTapeSampleRate = 48000;

// One picture's time as a deck records it.
struct TapeRecording {
  int64_t picture = 0;         // its place
  DeckChannels channels = 0;   // what of it is recorded; the rest stays as it is
  PictureRef image;            // null: black
  std::vector<int32_t> sound;  // kTapeChannels interleaved; TapeFolder::SamplesOf(picture) each
  int64_t count = 0;           // its number
};

// Puts the channels that were recorded over `samples` of that picture.
void MergeTapeSound(const TapeRecording& recording, std::vector<int32_t>* samples);

// A tape: a folder with an index (tape.db), pictures and sounds. What nobody has recorded on is not
// stored: there lie bars with the picture's place as their frame number, and tone.
//
// Recordings are written by a thread of their own, and can be read at once. A recording replaces
// what was there when it is whole on the disk, picture by picture.
// Threads: any.
class TapeFolder : public TapeTrack {
 public:
  // Makes the folder `path`; only its last part may be missing, and nothing may be there.
  // Returns: false with a sentence in `error`, and nothing is left.
  [[nodiscard]] static bool Create(const std::string& path, const TapeFacts& facts,
                                   std::string* error);
  // Opens a tape. With `forDeck` the folder is this object's alone (other processes too may still
  // read); a tape that is in another deck is refused.
  // Returns: null with a sentence in `error`.
  [[nodiscard]] static std::shared_ptr<TapeFolder> Open(const std::string& path, bool forDeck,
                                                        std::string* error);
  ~TapeFolder() override;  // writes what is waiting
  TapeFolder(const TapeFolder&) = delete;
  TapeFolder& operator=(const TapeFolder&) = delete;

  [[nodiscard]] const std::string& Path() const { return path_; }
  [[nodiscard]] const TapeFacts& Facts() const { return index_->Facts(); }
  [[nodiscard]] const SignalFormat& Format() const { return format_; }

  const TapeRate& Rate() const override { return Facts().rate; }
  int64_t Pictures() const override { return Facts().pictures; }
  int64_t CountAt(int64_t picture) const override;
  int64_t Find(int64_t count) const override;

  // First sample of a picture's sound, and how many there are.
  [[nodiscard]] int64_t SamplesBefore(int64_t picture) const;
  [[nodiscard]] int64_t SamplesOf(int64_t picture) const;

  // Returns: null with a sentence in `error` when it cannot be read.
  [[nodiscard]] PictureRef Picture(int64_t picture, std::string* error) const;
  // kTapeChannels interleaved, SamplesOf(picture) each.
  [[nodiscard]] bool Sound(int64_t picture, std::vector<int32_t>* samples,
                           std::string* error) const;
  // The same as a signal. `audible`: with its sound, else silence; `sampleRate` is the card's.
  [[nodiscard]] static SignalFrameRef Signal(std::shared_ptr<const TapeFolder> tape,
                                             int64_t picture, bool audible, uint32_t sampleRate);

  // Requires: opened for a deck. Waits while too much is still to be written.
  void Record(TapeRecording recording);
  // Returns when half of what may wait to be written has room.
  void WaitForRoom();
  // Returns when everything is written.
  void Flush();
  // True once a recording could not be written; later ones are dropped until ForgiveFailure().
  [[nodiscard]] bool Failed(std::string* error) const;
  void ForgiveFailure();

  [[nodiscard]] std::optional<DeckState> LoadDeck() { return index_->LoadDeck(); }
  [[nodiscard]] bool SaveDeck(const DeckState& state, std::string* error) {
    return index_->SaveDeck(state, error);
  }

 private:
  TapeFolder(const std::string& path, std::unique_ptr<TapeIndex> index);
  [[nodiscard]] bool Lock(std::string* error);
  void CountUses(bool complete);
  void Run();
  [[nodiscard]] bool Write(const TapeRecording& recording, std::string* error);
  [[nodiscard]] bool WritePicture(const TapeRecording& recording, std::string* sum,
                                  std::string* error);
  [[nodiscard]] bool WriteSound(const TapeRecording& recording, const TapeRow& row,
                                std::string* sum, std::string* error);
  void Replace(int64_t picture, const TapeRow& row);
  [[nodiscard]] TapeRow RowOf(int64_t picture) const;
  [[nodiscard]] TapeRead StoredSound(int64_t picture, const TapeRow& row,
                                     std::vector<int32_t>* samples, std::string* error) const;
  [[nodiscard]] SignalFrameRef Made(int64_t picture) const;

  const std::string path_;
  const std::unique_ptr<TapeIndex> index_;
  const SignalFormat format_;
  mutable TapeStore store_;
  const std::unique_ptr<InputSource> made_;
  int lock_ = -1;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::map<int64_t, TapeRow> rows_;
  std::multimap<int64_t, int64_t> placesOfCount_;  // recorded number -> picture
  std::map<std::string, int64_t> uses_;            // of pictures and sounds
  bool removes_ = true;                            // files that no row names any more
  std::deque<std::shared_ptr<const TapeRecording>> waiting_;
  std::deque<size_t> waitingSizes_;  // of each, in memory,
  size_t waitingBytes_ = 0;          // and of all
  bool stop_ = false;
  std::string failure_;  // empty: none
  std::thread thread_;

  // Of the writing thread.
  PictureRef lastImage_;
  std::string lastSum_;
};

}  // namespace morvane
