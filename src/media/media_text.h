#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/byte_order.h"

// A text argument of the media layer in one of its two forms. The `wide` flag of the call that
// takes it says which form is meant; text in the other form is refused as if it named nothing.
// Keeps: a view only; the text must outlive the call.
namespace morvane {

class NxText {
 public:
  constexpr NxText() = default;
  constexpr NxText(std::nullptr_t) {}                          // NOLINT: implicit by design
  constexpr NxText(const char* text) : narrow_(text) {}        // NOLINT
  constexpr NxText(const char16_t* text) : wide_(text) {}      // NOLINT
  NxText(const std::string& text) : narrow_(text.c_str()) {}   // NOLINT
  NxText(const std::u16string& text) : wide_(text.c_str()) {}  // NOLINT

  [[nodiscard]] constexpr bool IsNull() const { return narrow_ == nullptr && wide_ == nullptr; }
  // The text in the form that `wide` names, as UTF-8 (8-bit text is passed on as it stands).
  // Returns: false, with `out` empty, for null, for the other form, and for a lone surrogate.
  [[nodiscard]] bool ToUtf8(bool wide, std::string* out) const;

 private:
  const char* narrow_ = nullptr;
  const char16_t* wide_ = nullptr;
};

// A 16-bit text in a fixed field of a packed record, at any alignment: up to N - 1 characters and
// zeros.
template <size_t N>
struct NxWideText {
  uint8_t bytes[2 * N];

  // Cuts what does not fit. Text that is not UTF-8 leaves the field empty.
  void Set(std::string_view utf8);
  [[nodiscard]] std::u16string Get() const {
    std::u16string text;
    for (size_t i = 0; i < N && LoadLe16(bytes + 2 * i) != 0; ++i) {
      text.push_back(static_cast<char16_t>(LoadLe16(bytes + 2 * i)));
    }
    return text;
  }
};

// Sizes that every caller's buffer for a file name must have, terminator included.
inline constexpr size_t kNxFileNameChars = 4096;
inline constexpr size_t kFormatNameChars = 64;  // and for extensions
inline constexpr char kCannotDisplayName[] = "Cannot Display Name";
inline constexpr char kNoName[] = "None";

// Copies `utf8` into a buffer of `capacity` characters, cut to fit and terminated, the rest zero.
void PutText(std::string_view utf8, char* target, size_t capacity);
// The same in 16-bit form. Returns: false, with nothing written, if `utf8` is not valid UTF-8.
bool PutText(std::string_view utf8, char16_t* target, size_t capacity);
template <size_t N>
void NxWideText<N>::Set(std::string_view utf8) {
  char16_t text[N] = {};
  (void)PutText(utf8, text, N);
  for (size_t i = 0; i < N; ++i) StoreLe16(bytes + 2 * i, text[i]);
}
// What a file-name request answers: the name, "None" if it is empty, or "Cannot Display Name".
void PutFileName(std::string_view utf8, char* target);
void PutFileName(std::string_view utf8, char16_t* target);
// Text that every reader of UTF-8 and XML takes: bytes that are no UTF-8 count as Latin-1, control
// characters and the two non-characters are dropped.
[[nodiscard]] std::string CleanText(std::string_view text);
// Text of a fixed field: up to the terminator or the field's end.
[[nodiscard]] std::string FieldText(const char* field, size_t capacity);

}  // namespace morvane
