#pragma once

#include <string>
#include <string_view>

// Paths are native: '/' separates, 8-bit text is UTF-8.
namespace morvane {

inline constexpr char kPathSeparator = '/';

// `folder` and `name` with one separator between them, added only when missing.
[[nodiscard]] std::string JoinPath(std::string_view folder, std::string_view name);
// $XDG_VIDEOS_DIR, else $HOME/Videos, else $HOME. Not created here.
[[nodiscard]] std::string DefaultVideoFolder();
// $XDG_DATA_HOME/morvane, else $HOME/.local/share/morvane.
[[nodiscard]] std::string DataFolder();
// $XDG_CONFIG_HOME/morvane, else $HOME/.config/morvane.
[[nodiscard]] std::string ConfigFolder();
// Where lock files of machine-wide semaphores lie: $MORVANE_LOCKS, else /dev/shm.
[[nodiscard]] std::string LockFolder();

// Strict conversions: false (and `out` empty) on a lone surrogate or invalid UTF-8.
[[nodiscard]] bool Utf8ToUtf16(std::string_view text, std::u16string* out);
[[nodiscard]] bool Utf16ToUtf8(std::u16string_view text, std::string* out);

}  // namespace morvane
