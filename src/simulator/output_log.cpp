#include "simulator/output_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <initializer_list>

namespace morvane {
namespace {

constexpr char kHeader[] =
    "boundary,seconds,channel,kind,slot,md5,width,height,pitch,fourcc,flip,rp188,user,audio\n";

// True for an empty file, and for one that begins with any of `starts`.
bool BeginsWith(const std::string& path, std::initializer_list<const char*> starts) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  char text[sizeof kHeader] = {};
  const ssize_t got = read(file, text, sizeof kHeader - 1);
  close(file);
  if (got == 0) return true;
  return std::any_of(starts.begin(), starts.end(), [&](const char* start) {
    return std::strncmp(text, start, std::strlen(start)) == 0;
  });
}

// Only what a run like this one has written may be replaced.
bool CanReplace(const std::string& path, const char* what,
                std::initializer_list<const char*> starts, std::string* error) {
  struct stat facts = {};
  if (stat(path.c_str(), &facts) == 0) {
    if (S_ISREG(facts.st_mode) && !BeginsWith(path, starts)) {
      *error = "\"" + path + "\" exists and is no " + what + "; it is not replaced";
      return false;
    }
    if (access(path.c_str(), W_OK) == 0 && !S_ISDIR(facts.st_mode)) return true;
    *error = "\"" + path + "\" cannot be written";
    return false;
  }
  const size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    *error = "the folder \"" + folder + "\" does not exist or cannot be written";
    return false;
  }
  return true;
}

}  // namespace

OutputLog::~OutputLog() {
  if (file_ >= 0) close(file_);
}

bool OutputLog::CanWrite(const std::string& path, std::string* error) {
  return CanReplace(path, "output log", {kHeader}, error);
}

bool OutputLog::CanWriteTrace(const std::string& path, std::string* error) {
  return CanReplace(path, "trace of requests", {"get ", "set "}, error);
}

void OutputLog::Write(const Line& line) {
  if (failed_) return;
  if (file_ < 0) {
    std::string ignored;
    if (!CanWrite(path_, &ignored)) {
      failed_ = true;
      return;
    }
    file_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file_ < 0 || write(file_, kHeader, sizeof kHeader - 1) < 0) {
      failed_ = true;
      return;
    }
  }
  char text[512];
  int length = 0;
  if (line.kind == Line::kIdle) {
    length = std::snprintf(text, sizeof text, "%" PRId64 ",%.6f,%u,idle,,,,,,,,,,", line.boundary,
                           line.seconds, line.channel);
  } else {
    length = std::snprintf(text, sizeof text, "%" PRId64 ",%.6f,%u,%s,%u,%s,%u,%u,%u,%s,%u,%s,%u,",
                           line.boundary, line.seconds, line.channel,
                           line.kind == Line::kFrame ? "frame" : "repeat", line.slot,
                           line.md5.c_str(), line.width, line.height, line.pitch,
                           line.fourcc.c_str(), line.flip, line.rp188.c_str(), line.user);
  }
  const size_t room = sizeof text - static_cast<size_t>(length);
  length += line.audioSample >= 0
                ? std::snprintf(text + length, room, "%" PRId64 "\n", line.audioSample)
                : std::snprintf(text + length, room, "\n");
  if (write(file_, text, static_cast<size_t>(length)) != length) failed_ = true;
}

}  // namespace morvane
