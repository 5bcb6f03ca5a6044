// How the tape counts, where its time comes from, how long it runs up.
#include <cstring>

#include "session/control.h"

namespace morvane {
namespace {

constexpr const char* kSources[] = {"LTC", "VITC", "LTC + VITC"};
static_assert(std::size(kSources) == 3);

}  // namespace

uint32_t CRQD5Control::GetNumTimeBases() {
  if (!RequireOpen()) return 0;
  return controlAvailable_ ? static_cast<uint32_t>(VtrTimeBases().size()) : 1;
}

bool CRQD5Control::GetTimeBaseDesc(uint32_t index, RQD5TimeBase* base) {
  if (!RequireOpen()) return false;
  if (index >= GetNumTimeBases()) return Fail("TC Format Not Found");
  *base = controlAvailable_ ? VtrTimeBases()[index] : NoVtrTimeBase();
  return true;
}

bool CRQD5Control::SetTimeBase(uint32_t index) {
  if (!RequireOpen()) return false;
  if (index >= GetNumTimeBases()) return Fail("TC Format Not Found");
  timeBaseIndex_ = index;
  return true;
}

const RQD5TimeBase& CRQD5Control::GetTimeBase() const {
  return boardOpen_ && !controlAvailable_ ? NoVtrTimeBase() : VtrTimeBases()[timeBaseIndex_];
}

uint32_t CRQD5Control::GetNumTcSources() {
  if (!RequireOpen()) return 0;
  return controlAvailable_ ? uint32_t{std::size(kSources)} : 1;
}

bool CRQD5Control::GetTcSourceDesc(uint32_t index, std::string* text) {
  if (!RequireOpen()) return false;
  if (index >= GetNumTcSources()) return Fail("TC Source Not Found");
  *text = controlAvailable_ ? kSources[index] : "None";
  return true;
}

bool CRQD5Control::SetTcSource(uint32_t index) {
  if (!RequireOpen()) return false;
  if (index >= GetNumTcSources()) return Fail("TC Source Not Found");
  tcSourceIndex_ = index;
  return true;
}

bool CRQD5Control::SetPreroll(uint32_t seconds) {
  if (!RequireOpen()) return false;
  if (seconds > kMaxPrerollSeconds) return Fail("Preroll Time Invalid");
  prerollSeconds_ = seconds;
  return true;
}

bool CRQD5Control::SetSettings(const VtrSettingsBlock& settings) {
  const uint32_t timeBase = timeBaseIndex_, source = tcSourceIndex_;
  if (SetTimeBase(settings.formatIndex) && SetTcSource(settings.source) &&
      SetPreroll(settings.prerollSeconds)) {
    return true;
  }
  timeBaseIndex_ = timeBase;
  tcSourceIndex_ = source;
  return false;
}

void CRQD5Control::GetSettings(VtrSettingsBlock* settings) const {
  const RQD5TimeBase& base = GetTimeBase();
  *settings = DefaultVtrSettings();
  settings->framesPerSecond = settings->baseFramesPerSecond = base.framesPerSecond;
  settings->dropFrame = base.dropFrame ? 1 : 0;
  settings->formatIndex = timeBaseIndex_;
  std::strncpy(settings->formatName, base.name, sizeof settings->formatName - 1);
  settings->scale = base.scale;
  settings->duration = base.duration;
  settings->source = tcSourceIndex_;
  settings->prerollSeconds = prerollSeconds_;
  std::strncpy(settings->controlType, controlType_.c_str(), sizeof settings->controlType - 1);
}

}  // namespace morvane
