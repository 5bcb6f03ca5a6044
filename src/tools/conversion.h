#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "base/fourcc.h"
#include "media/dpx.h"
#include "media/media_factory.h"
#include "tools/choices.h"
#include "tools/clip_door.h"
#include "tools/command.h"
#include "tools/frame_feed.h"
#include "tools/sound_copy.h"

// What `morvanectl convert` does.
namespace morvane::tools {

struct ConvertOptions {
  std::string source;
  std::string destination;
  std::string audioDir;
  std::string type;
  FourCCCode format = 0;  // 0: not told
  std::string range;
  int32_t matrix = -1;  // -1: not told
  SizeChoice size;
  bool stretch = false;
  RateChoice rate;
  std::string audio;
  std::string startNumber;
  std::string reel;
  int32_t threads = 0;  // 0: not told
};

// A refusal: the code of the command's end, or exit code 2 for `usage`.
struct Refusal {
  NxErr code = NxErrFailure;
  std::string words;
  bool usage = false;
};

// One conversion, from the open source to the closed destination. `options` outlives it.
class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options) : options_(options) {}

  // Opens the source and settles what the new clip is. Returns: false with Why().
  [[nodiscard]] bool Prepare();
  // Makes the clip; a stop that was asked for leaves a shorter one that is whole.
  // Returns: false with Why(). Then nothing is left of what was made, except where only the last
  // step failed, to bring a complete clip to the disk.
  [[nodiscard]] bool Run();
  [[nodiscard]] const Refusal& Why() const { return refusal_; }
  // What was made, after Run.
  [[nodiscard]] Json Document() const;

 private:
  using Clock = std::chrono::steady_clock;

  bool Refuse(NxErr code, const std::string& words, bool usage = false) {
    refusal_ = {code, words, usage};
    return false;
  }
  bool OpenSource();
  void ReadSidecar();
  void WarnOfSound() const;
  bool ChooseRange();
  void ChooseRate();
  bool ChooseFormat();
  bool CheckSoundRate();
  bool ChooseSound();
  void DescribeClip();
  bool CheckSize();
  void DescribeTimecode(NxMediaMetadata* metadata);
  bool Create();
  bool CopyFrames(FrameFeed& feed, SoundCopy* sound);
  bool WriteFrame(int32_t index, const uint8_t* pixels);
  [[nodiscard]] NxTimeCodeRecord TimecodeOf(int32_t index) const;
  bool TakeOwnTimecode(int32_t frame, NxTimeCodeRecord* record) const;
  void Abandon();
  void Draw(Clock::time_point start) const;

  const ConvertOptions& options_;
  Refusal refusal_;
  OpenClip source_;
  MediaFilePtr writer_;
  NxFileType type_ = NxFileTypeNone;
  NxMediaCreateInfo info_ = {};
  bool withSound_ = false;
  RateChoice rate_;                    // of the new clip; scale 0: unknown
  RateChoice sourceRate_;              // at which the source's sound is found
  NxMediaDPX* ownTimecode_ = nullptr;  // the source, where each frame carries its timecode
  bool recounts_ = false;              // the new clip counts at another rate than the source
  int32_t first_ = 0;
  int32_t last_ = 0;
  int32_t frames_ = 0;  // written
  double seconds_ = 0;
  std::string clip_;
  std::vector<std::string> soundFiles_;
};

}  // namespace morvane::tools
