#pragma once

#include <string>
#include <string_view>

// Paths are native: '/' separates, 8-bit text is UTF-8.
namespace morvane {

inline constexpr char kPathSeparator = '/';

// `folder` and `name` with one separator between them, added only when missing.
[[nodiscard]] std::string JoinPath(std::string_view folder, std::string_view name);
// $XDG_VIDEOS_DIR, else $HOME/Videos if there is one, else $HOME. Not created here. As everywhere
// below, a variable that is empty or a relative path counts as not set.
[[nodiscard]] std::string DefaultVideoFolder();
// $XDG_DATA_HOME/morvane, else $HOME/.local/share/morvane.
[[nodiscard]] std::string DataFolder();
// $XDG_CONFIG_HOME/morvane, else $HOME/.config/morvane.
[[nodiscard]] std::string ConfigFolder();
// Where the files of machine-wide semaphores and events lie: $MORVANE_LOCKS, else /dev/shm.
[[nodiscard]] std::string LockFolder();

// Strict conversions: false (and `out` empty) on a lone surrogate or invalid UTF-8.
[[nodiscard]] bool Utf8ToUtf16(std::string_view text, std::u16string* out);
[[nodiscard]] bool Utf16ToUtf8(std::u16string_view text, std::string* out);

}  // namespace morvane
