#include "media/media_text.h"

#include <algorithm>
#include <cstring>

#include "base/paths.h"

namespace morvane {

bool NxText::ToUtf8(bool wide, std::string* out) const {
  out->clear();
  if (wide) return wide_ != nullptr && Utf16ToUtf8(wide_, out);
  if (narrow_ == nullptr) return false;
  *out = narrow_;
  return true;
}

void PutText(std::string_view utf8, char* target, size_t capacity) {
  size_t length = std::min(utf8.size(), capacity - 1);
  // Never half of a character.
  while (length > 0 && length < utf8.size() && (utf8[length] & 0xC0) == 0x80) --length;
  std::memcpy(target, utf8.data(), length);
  std::memset(target + length, 0, capacity - length);
}

bool PutText(std::string_view utf8, char16_t* target, size_t capacity) {
  std::u16string text;
  if (!Utf8ToUtf16(utf8, &text)) return false;
  size_t length = std::min(text.size(), capacity - 1);
  if (length > 0 && length < text.size() && (text[length] & 0xFC00) == 0xDC00) --length;
  std::copy_n(text.data(), length, target);
  std::fill(target + length, target + capacity, u'\0');
  return true;
}

void PutFileName(std::string_view utf8, char* target) {
  PutText(utf8.empty() ? std::string_view(kNoName) : utf8, target, kNxFileNameChars);
}

void PutFileName(std::string_view utf8, char16_t* target) {
  if (PutText(utf8.empty() ? std::string_view(kNoName) : utf8, target, kNxFileNameChars)) return;
  (void)PutText(kCannotDisplayName, target, kNxFileNameChars);
}

namespace {

// Length of the UTF-8 character at the front of `text`, 0 if there is none.
size_t CharacterLength(std::string_view text) {
  const auto lead = static_cast<uint8_t>(text[0]);
  const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  std::u16string character;
  if (length > text.size() || !Utf8ToUtf16(text.substr(0, length), &character)) return 0;
  return length;
}

}  // namespace

std::string CleanText(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const size_t length = CharacterLength(text);
    const std::string_view character = text.substr(0, length);
    const auto byte = static_cast<uint8_t>(text[0]);
    if (length == 0) {
      // Bytes 0x80 to 0xFF; the control characters among them are legal in XML.
      clean.push_back(static_cast<char>(0xC0 | byte >> 6));
      clean.push_back(static_cast<char>(0x80 | (byte & 0x3F)));
    } else if (byte >= 0x20 && character != "\xEF\xBF\xBE" && character != "\xEF\xBF\xBF") {
      clean.append(character);
    }
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return clean;
}

std::string FieldText(const char* field, size_t capacity) {
  return std::string(field, std::find(field, field + capacity, '\0'));
}

}  // namespace morvane
