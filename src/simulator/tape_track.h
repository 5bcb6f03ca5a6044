#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "processing/timecode.h"

namespace morvane {

// How the pictures of a tape are counted and numbered.
struct TapeRate {
  uint32_t scale = 30000;  // pictures a second are scale / duration
  uint32_t duration = 1001;
  int64_t base = 30;       // numbers a second of the timecode: 24, 25 or 30
  bool dropFrame = false;  // base 30 only
  bool pairs = false;      // two pictures share a number, at 50 pictures a second and above

  friend bool operator==(const TapeRate&, const TapeRate&) = default;

  // The rate of a row of the format table. `dropFrame` counts where the base is 30.
  [[nodiscard]] static TapeRate Of(uint32_t videoFormat, bool dropFrame);

  [[nodiscard]] int64_t DayCount() const;  // numbers in 24 hours
  // Pictures of `numbers` numbers, and the other way round (rounded down).
  [[nodiscard]] int64_t Pictures(int64_t numbers) const { return pairs ? numbers * 2 : numbers; }
  [[nodiscard]] int64_t Numbers(int64_t pictures) const { return pairs ? pictures / 2 : pictures; }
};

// A timecode as a count of numbers since 00:00:00:00, to its forms and back. Counts wrap at a day.
[[nodiscard]] TimecodeFields TapeTimecode(const TapeRate& rate, int64_t count);
[[nodiscard]] std::string TapeTimecodeText(const TapeRate& rate, int64_t count);
// Fields need not be legal: what is too large counts on, and a number that drop frame leaves out
// is the next one that exists.
[[nodiscard]] int64_t TapeCount(const TapeRate& rate, const TimecodeFields& fields);
// "HH:MM:SS:FF" with any separators. Requires: SourceTimecode::IsTimecodeText(text).
[[nodiscard]] int64_t TapeCountOfText(const TapeRate& rate, const std::string& text);
// True when the number of `text` exists at `rate`: not 29 at 25 a second, none that drop frame
// leaves out. Requires: as above.
[[nodiscard]] bool IsTapeNumber(const TapeRate& rate, const std::string& text);
// The four bytes of the 9-pin line: frames (0x40: drop frame), seconds, minutes, hours in BCD.
// Bits that are flags are ignored on the way in.
[[nodiscard]] std::vector<uint8_t> TapeTimecodeBytes(const TapeRate& rate, int64_t count);
[[nodiscard]] int64_t TapeCountOfBytes(const TapeRate& rate, std::span<const uint8_t> bytes);

// The timecode that lies along a tape. Pictures count from 0 at the tape's beginning.
class TapeTrack {
 public:
  virtual ~TapeTrack() = default;
  [[nodiscard]] virtual const TapeRate& Rate() const = 0;
  [[nodiscard]] virtual int64_t Pictures() const = 0;  // at least 1
  // The number at `picture`, 0 .. Pictures() - 1.
  [[nodiscard]] virtual int64_t CountAt(int64_t picture) const = 0;
  // The first picture that carries `count`; where none does, the end of the tape that lies nearer.
  [[nodiscard]] virtual int64_t Find(int64_t count) const = 0;
};

// A track that counts without a break from `first`.
class PlainTrack : public TapeTrack {
 public:
  PlainTrack(const TapeRate& rate, int64_t first, int64_t pictures)
      : rate_(rate), first_(first), pictures_(pictures) {}

  const TapeRate& Rate() const override { return rate_; }
  int64_t Pictures() const override { return pictures_; }
  int64_t CountAt(int64_t picture) const override;
  int64_t Find(int64_t count) const override;

 private:
  TapeRate rate_;
  int64_t first_;
  int64_t pictures_;
};

}  // namespace morvane
