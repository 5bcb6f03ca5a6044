#pragma once

#include <cstddef>
#include <string>

// Names around the frames of a sequence. Paths are UTF-8.
namespace morvane {

inline constexpr size_t kFrameSuffixChars = 4;  // "." and an extension of three letters

[[nodiscard]] std::string FolderOfPath(const std::string& path);  // "." for a bare name
[[nodiscard]] std::string FileOfPath(const std::string& path);
// Where the sidecar of a clip is written: beside its first frame, which is `path`.
[[nodiscard]] std::string SidecarOfFrame(const std::string& path);
// Where it is looked for when `path` is opened: under number 1 of the digit field.
[[nodiscard]] std::string SidecarToFind(const std::string& path);

}  // namespace morvane
