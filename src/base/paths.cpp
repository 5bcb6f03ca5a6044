#include "base/paths.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

namespace morvane {
namespace {

// An environment variable that names a folder; a relative path does not count.
std::string FolderVariable(const char* variable) {
  const char* value = std::getenv(variable);
  return value != nullptr && *value == kPathSeparator ? value : std::string();
}

std::string HomeFolder() {
  std::string home = FolderVariable("HOME");
  if (!home.empty()) return home;
  std::vector<char> text(16384);
  passwd entry;
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, text.data(), text.size(), &found) == 0 && found != nullptr &&
      *found->pw_dir == kPathSeparator) {
    return found->pw_dir;
  }
  return "/";
}

bool IsFolder(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string OwnFolder(const char* variable, const char* belowHome) {
  std::string folder = FolderVariable(variable);
  if (folder.empty()) folder = JoinPath(HomeFolder(), belowHome);
  return JoinPath(folder, "morvane");
}

constexpr bool IsHighSurrogate(uint32_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool IsLowSurrogate(uint32_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

// Takes one character from `text` at `*at`. Returns: its code, or -1 where the text is not UTF-8.
int32_t NextUtf8(std::string_view text, size_t* at) {
  const auto lead = static_cast<uint8_t>(text[(*at)++]);
  if (lead < 0x80) return lead;
  const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
  constexpr uint32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
  if (lead < 0xC2 || lead > 0xF4) return -1;
  uint32_t code = lead & (0x3Fu >> more);
  for (int i = 0; i < more; ++i) {
    if (*at >= text.size()) return -1;
    const auto next = static_cast<uint8_t>(text[(*at)++]);
    if ((next & 0xC0) != 0x80) return -1;
    code = code << 6 | (next & 0x3F);
  }
  const bool surrogate = IsHighSurrogate(code) || IsLowSurrogate(code);
  return code < kSmallest[more] || code > 0x10FFFF || surrogate ? -1 : static_cast<int32_t>(code);
}

void AppendUtf8(uint32_t code, std::string* out) {
  const auto tail = [code](int shift) { return static_cast<char>(0x80 | (code >> shift & 0x3F)); };
  if (code < 0x80) {
    *out += static_cast<char>(code);
  } else if (code < 0x800) {
    *out += {static_cast<char>(0xC0 | code >> 6), tail(0)};
  } else if (code < 0x10000) {
    *out += {static_cast<char>(0xE0 | code >> 12), tail(6), tail(0)};
  } else {
    *out += {static_cast<char>(0xF0 | code >> 18), tail(12), tail(6), tail(0)};
  }
}

}  // namespace

std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string path(folder);
  if (path.empty()) return std::string(name);
  if (path.back() != kPathSeparator) {
    if (name.empty() || name.front() != kPathSeparator) path += kPathSeparator;
  } else if (!name.empty() && name.front() == kPathSeparator) {
    name.remove_prefix(1);
  }
  return path.append(name);
}

std::string DefaultVideoFolder() {
  std::string folder = FolderVariable("XDG_VIDEOS_DIR");
  if (!folder.empty()) return folder;
  const std::string home = HomeFolder();
  folder = JoinPath(home, "Videos");
  return IsFolder(folder) ? folder : home;
}

std::string DataFolder() {
  return OwnFolder("XDG_DATA_HOME", ".local/share");
}

std::string ConfigFolder() {
  return OwnFolder("XDG_CONFIG_HOME", ".config");
}

std::string LockFolder() {
  const char* folder = std::getenv("MORVANE_LOCKS");
  return folder != nullptr && *folder != '\0' ? folder : "/dev/shm";
}

bool Utf8ToUtf16(std::string_view text, std::u16string* out) {
  out->clear();
  for (size_t at = 0; at < text.size();) {
    const int32_t code = NextUtf8(text, &at);
    if (code < 0) {
      out->clear();
      return false;
    }
    if (code < 0x10000) {
      *out += static_cast<char16_t>(code);
    } else {
      *out += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
      *out += static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
  }
  return true;
}

bool Utf16ToUtf8(std::u16string_view text, std::string* out) {
  out->clear();
  for (size_t at = 0; at < text.size(); ++at) {
    uint32_t code = text[at];
    if (IsHighSurrogate(code) && at + 1 < text.size() && IsLowSurrogate(text[at + 1])) {
      code = 0x10000 + ((code - 0xD800) << 10) + (text[++at] - 0xDC00u);
    } else if (IsHighSurrogate(code) || IsLowSurrogate(code)) {
      out->clear();
      return false;
    }
    AppendUtf8(code, out);
  }
  return true;
}

}  // namespace morvane
