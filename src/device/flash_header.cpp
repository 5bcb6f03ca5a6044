#include "device/flash_header.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"

namespace morvane {
namespace {

constexpr size_t kLeadBytes = 13;
constexpr uint8_t kSyncWord[8] = {0xFF, 0xFF, 0xFF, 0xFF, 0xAA, 0x99, 0x55, 0x66};
constexpr size_t kSyncPadding = 44;

using Bytes = std::span<const uint8_t>;

// Walks the header; every step fails past the end.
class HeaderReader {
 public:
  explicit HeaderReader(Bytes bytes) : rest_(bytes) {}

  bool Skip(size_t count) {
    if (rest_.size() < count) return false;
    rest_ = rest_.subspan(count);
    return true;
  }
  bool Letter(char letter) {
    if (rest_.empty() || rest_[0] != static_cast<uint8_t>(letter)) return false;
    return Skip(1);
  }
  bool Word(uint32_t* value) {
    if (rest_.size() < 4) return false;
    *value = LoadBe32(rest_.data());
    return Skip(4);
  }
  // Letter, 16-bit length, text of that length.
  bool Text(char letter, Bytes* text) {
    if (!Letter(letter) || rest_.size() < 2) return false;
    const size_t length = LoadBe16(rest_.data());
    if (rest_.size() - 2 < length) return false;
    *text = rest_.subspan(2, length);
    return Skip(2 + length);
  }
  bool Match(Bytes wanted) {
    return rest_.size() >= wanted.size() && std::equal(wanted.begin(), wanted.end(), rest_.begin());
  }

 private:
  Bytes rest_;
};

void CopyText(Bytes text, char (&field)[16]) {
  std::memset(field, 0, sizeof field);
  if (!text.empty()) std::memcpy(field, text.data(), std::min(text.size(), sizeof field));
}

}  // namespace

bool ParseFlashHeader(std::span<const uint8_t> bytes, RQD5BitFileInfo* info) {
  HeaderReader reader(bytes);
  // Deliberate: the lead is compared as a string, which ends at its first byte, a zero.
  if (bytes.empty() || bytes[0] != 0 || !reader.Skip(kLeadBytes)) return false;

  Bytes design, part, date, time;
  uint32_t byteCount = 0;
  if (!reader.Text('a', &design) || !reader.Text('b', &part) || !reader.Text('c', &date) ||
      !reader.Text('d', &time) || !reader.Letter('e') || !reader.Word(&byteCount)) {
    return false;
  }
  const bool padded = !part.empty() && (part[0] == '5' || part[0] == '6');
  if (padded && !reader.Skip(kSyncPadding)) return false;
  if (!reader.Match(kSyncWord)) return false;

  info->checksum = 0;
  info->recordVersion = 0;
  info->recordSize = sizeof(RQD5BitFileInfo);
  info->byteCount = byteCount;
  CopyText(date, info->date);
  CopyText(time, info->time);
  CopyText(design, info->designName);
  info->kind = 0;
  CopyText(part, info->partName);
  info->projectNumber = 0;
  return true;
}

}  // namespace morvane
