#include "tools/demo_check.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sstream>

#include "base/fourcc.h"
#include "media/codec/md5.h"
#include "simulator/input_connector.h"
#include "simulator/signal_picture.h"

namespace morvane::tools {
namespace {

constexpr uint32_t kSoundRate = 48000;

std::vector<std::string> Columns(const std::string& line) {
  std::vector<std::string> columns;
  std::istringstream stream(line);
  for (std::string column; std::getline(stream, column, ',');) columns.push_back(column);
  return columns;
}

int64_t NumberOf(const std::string& text) {
  int64_t value = -1;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

}  // namespace

bool ReadOutputLog(const std::string& path, std::vector<LoggedFrame>* frames) {
  std::ifstream file(path);
  std::string line;
  if (!std::getline(file, line)) return false;
  const std::vector<std::string> header = Columns(line);
  const auto column = [&header](const char* name) {
    return static_cast<size_t>(std::find(header.begin(), header.end(), name) - header.begin());
  };
  const size_t kind = column("kind");
  const size_t md5 = column("md5");
  const size_t fourcc = column("fourcc");
  const size_t user = column("user");
  const size_t audio = column("audio");
  if (std::max({kind, md5, fourcc, user, audio}) >= header.size()) return false;
  while (std::getline(file, line)) {
    std::vector<std::string> columns = Columns(line);
    columns.resize(header.size());
    frames->push_back({columns[kind], columns[md5], columns[fourcc], NumberOf(columns[user]),
                       NumberOf(columns[audio])});
  }
  return true;
}

std::vector<std::string> HashInput(const InputDescription& input, int64_t first, int64_t count) {
  InputConnector connector(input);
  connector.Cue(kSoundRate);
  const SignalFormat& format = connector.Format();
  const FrameLayout layout = PlainLayout(FourCC("2vuy"), format.width, format.height);
  std::vector<uint8_t> pixels(layout.Bytes());
  std::vector<std::string> hashes;
  for (int64_t frame = 0; frame < first + count; ++frame) {
    const SignalFrameRef signal = connector.Frame(frame);
    if (frame < first) continue;
    const PictureRef picture = signal->Picture();
    if (picture == nullptr) {
      StoreBlack(layout, pixels.data());
    } else {
      picture->Store(layout, pixels.data());
    }
    hashes.push_back(Md5Of(pixels.data(), pixels.size()));
  }
  return hashes;
}

int64_t CountMismatches(const std::vector<LoggedFrame>& log,
                        const std::vector<std::string>& inputHashes) {
  int64_t mismatches = 0;
  int64_t expected = 0;
  const auto wanted = static_cast<int64_t>(inputHashes.size());
  for (const LoggedFrame& line : log) {
    if (expected == wanted) break;
    if (line.kind == "idle") continue;
    if (line.kind != "frame" || line.user != expected ||
        line.md5 != inputHashes[static_cast<size_t>(expected)]) {
      ++mismatches;
    }
    // A repeat stands for a frame that was not there in time; the next line brings it.
    if (line.kind == "frame") ++expected;
  }
  return mismatches + (wanted - expected);
}

}  // namespace morvane::tools
