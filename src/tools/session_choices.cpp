#include "tools/session_choices.h"

#include "session/card2.h"
#include "session/video_format_desc.h"

namespace morvane::tools {
namespace {

std::optional<std::string> SelectByText(CRQD5Card2& session, SessionFamily family,
                                        const char* option, const std::string& text) {
  uint32_t index = 0;
  if (session.FindItem(family, text, &index)) {
    if (session.SetItem(family, index)) return std::nullopt;
    return std::string(option) + " \"" + text + "\": " + session.GetLastError() + ".";
  }
  std::string offered;
  for (uint32_t i = 0; i < session.GetNumItems(family); ++i) {
    std::string item;
    if (!session.GetItemDesc(family, i, &item)) continue;
    offered += (offered.empty() ? "\"" : ", \"") + item + "\"";
  }
  return std::string(option) + " \"" + text + "\" is not offered by this board; there are " +
         offered + ".";
}

// Selects the first item, one clip frame a card frame, that runs the card in `videoFormat`; where
// there is none, the first that the session takes for the same (segmented for interlaced).
// Returns: false with the selection as it was.
bool SelectCardFormat(CRQD5Card2& session, uint32_t videoFormat) {
  uint32_t before = 0;
  if (!session.GetVideoFormat(&before)) return false;
  for (const bool exact : {true, false}) {
    for (uint32_t i = 0; i < session.GetNumVideoFormats(); ++i) {
      RQD5VideoFormatDesc desc = {};
      if (!session.GetVideoFormatDesc(i, &desc) || desc.cadence != 0) continue;
      if (exact && desc.videoFormat != videoFormat) continue;
      if (session.SetVideoFormat(i, true) && (exact || session.CheckInput() == 0)) return true;
    }
  }
  session.SetVideoFormat(before, true);
  return false;
}

bool SameRate(const RQD5VideoFormatDesc& desc, int32_t timeScale, int32_t timeRate) {
  if (timeScale <= 0 || timeRate <= 0) return true;
  return desc.frameScale * timeRate == desc.frameDuration * timeScale;
}

}  // namespace

void AddSessionOptions(CLI::App& command, SessionTexts* texts) {
  command.add_option("--video-format", texts->videoFormat,
                     "Video format, as the board lists it, such as \"720x576 @ 25.00i\"");
  command.add_option("--video-input", texts->videoInput, "Video input, as the board lists it");
  command.add_option("--timecode-input", texts->timecodeInput,
                     "Timecode input, as the board lists it");
}

std::optional<std::string> ApplySessionTexts(CRQD5Card2& session, const SessionTexts& texts,
                                             FormatSource source) {
  if (!texts.videoFormat.empty()) {
    if (auto refusal = SelectByText(session, SessionFamily::VideoFormat, "--video-format",
                                    texts.videoFormat)) {
      return refusal;
    }
  }
  if (!texts.videoInput.empty()) {
    if (auto refusal =
            SelectByText(session, SessionFamily::VideoInput, "--video-input", texts.videoInput)) {
      return refusal;
    }
  }
  if (texts.videoFormat.empty() && source == FormatSource::Input) {
    // A signal that the board has no item for is left for the job to refuse.
    const uint32_t detected = session.DetectSelectedInput();
    if (detected != 0) (void)SelectCardFormat(session, detected);
  }
  if (!texts.timecodeInput.empty()) {
    return SelectByText(session, SessionFamily::TimecodeInput, "--timecode-input",
                        texts.timecodeInput);
  }
  return std::nullopt;
}

bool SelectFormatOfClip(CRQD5Card2& session, int32_t width, int32_t height, int32_t timeScale,
                        int32_t timeRate) {
  // Items that show every clip frame once come first; 24 and 30 frames in 60 second.
  for (const bool withCadence : {false, true}) {
    for (uint32_t i = 0; i < session.GetNumVideoFormats(); ++i) {
      RQD5VideoFormatDesc desc = {};
      if (!session.GetVideoFormatDesc(i, &desc)) continue;
      if ((desc.cadence != 0) != withCadence) continue;
      if (desc.displayWidth != static_cast<uint32_t>(width) ||
          desc.displayHeight != static_cast<uint32_t>(height)) {
        continue;
      }
      if (SameRate(desc, timeScale, timeRate)) return session.SetVideoFormat(i, true);
    }
  }
  return false;
}

}  // namespace morvane::tools
