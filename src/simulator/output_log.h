#pragma once

#include <cstdint>
#include <string>

namespace morvane {

// The outside view of what left an output: one line of text a boundary.
// The file begins with the first line; an older log of the same name is replaced, any other file
// is left alone. Threads: one at a time.
class OutputLog {
 public:
  explicit OutputLog(const std::string& path) : path_(path) {}
  ~OutputLog();
  OutputLog(const OutputLog&) = delete;
  OutputLog& operator=(const OutputLog&) = delete;

  struct Line {
    int64_t boundary = 0;
    double seconds = 0;  // card time since its start
    uint32_t channel = 0;
    enum Kind { kFrame, kRepeat, kIdle } kind = kIdle;
    // The rest counts for frame and repeat.
    uint32_t slot = 0;
    std::string md5;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t pitch = 0;
    std::string fourcc;
    uint32_t flip = 0;
    std::string rp188;  // text, empty without
    uint32_t user = 0;
    int64_t audioSample = -1;  // samples played since the audio ring ran; -1: it stands
  };

  void Write(const Line& line);
  // Looks whether a log could be written to `path`.
  // Returns: false with a sentence in `error`.
  [[nodiscard]] static bool CanWrite(const std::string& path, std::string* error);
  // The same for a trace of requests, whose lines begin with "get " or "set ".
  [[nodiscard]] static bool CanWriteTrace(const std::string& path, std::string* error);

 private:
  std::string path_;
  int file_ = -1;
  bool failed_ = false;
};

}  // namespace morvane
