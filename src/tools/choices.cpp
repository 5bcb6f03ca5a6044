#include "tools/choices.h"

#include <charconv>
#include <cmath>
#include <functional>
#include <iomanip>
#include <sstream>

#include "media/media_factory.h"
#include "processing/pixel_format.h"

namespace morvane::tools {
namespace {

constexpr struct {
  const char* name;
  NxFileType type;
} kClipTypes[] = {{"mov", NxFileTypeMOV}, {"avi", NxFileTypeAVI}, {"dpx", NxFileTypeDPX},
                  {"cin", NxFileTypeCIN}, {"tga", NxFileTypeTGA}, {"bmp", NxFileTypeBMP},
                  {"tif", NxFileTypeTIF}, {"yuv", NxFileTypeYUV}};

bool ParseNumber(const std::string& text, int32_t* value) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, *value);
  return error == std::errc() && stop == end && *value >= 0;
}

// Reads two numbers above 0 with `separator` between them.
bool ParsePair(const std::string& text, char separator, int32_t* first, int32_t* second) {
  const size_t at = text.find(separator);
  return at != std::string::npos && ParseNumber(text.substr(0, at), first) &&
         ParseNumber(text.substr(at + 1), second) && *first > 0 && *second > 0;
}

// An option whose text `parse` reads, or throws.
CLI::Option* AddParsed(CLI::App& command, const char* name, const char* typeName, const char* words,
                       const std::function<void(const std::string&)>& parse) {
  return command.add_option_function<std::string>(name, parse, words)->type_name(typeName);
}

}  // namespace

std::vector<std::string> ClipTypeNames() {
  std::vector<std::string> names;
  for (const auto& row : kClipTypes) {
    if (MediaFilePtr(CreateMediaFile(row.type)) != nullptr) names.emplace_back(row.name);
  }
  return names;
}

NxFileType ClipTypeFromName(const std::string& name) {
  for (const auto& row : kClipTypes) {
    if (name == row.name) return row.type;
  }
  return NxFileTypeNone;
}

bool ParseFourCC(const std::string& text, FourCCCode* code) {
  if (text.size() != 4) return false;
  *code = 0;
  for (size_t i = 0; i < 4; ++i) {
    *code |= static_cast<uint32_t>(static_cast<uint8_t>(text[i])) << (8 * i);
  }
  return true;
}

bool ParseRange(const std::string& text, int32_t* first, int32_t* last) {
  const size_t dash = text.find('-');
  if (dash == std::string::npos) {
    if (!ParseNumber(text, first)) return false;
    *last = *first;
    return true;
  }
  return ParseNumber(text.substr(0, dash), first) && ParseNumber(text.substr(dash + 1), last) &&
         *first <= *last;
}

std::string RateChoice::Text() const {
  return std::to_string(scale) + "/" + std::to_string(rate);
}

CLI::Option* AddRateOption(CLI::App& command, RateChoice* rate) {
  return AddParsed(command, "--rate", "S/R", "Frames a second, such as 30000/1001",
                   [rate](const std::string& text) {
                     if (ParsePair(text, '/', &rate->scale, &rate->rate)) return;
                     throw CLI::ValidationError("--rate", text + ": 30000/1001 is meant");
                   });
}

CLI::Option* AddSizeOption(CLI::App& command, const char* name, SizeChoice* size,
                           const char* words) {
  return AddParsed(command, name, "WxH", words, [name, size](const std::string& text) {
    if (ParsePair(text, 'x', &size->width, &size->height) && size->width <= kLargestSize &&
        size->height <= kLargestSize) {
      return;
    }
    throw CLI::ValidationError(name, text + ": 1920x1080 is meant, up to 32768 either way");
  });
}

CLI::Option* AddFourCCOption(CLI::App& command, const char* name, FourCCCode* code,
                             const char* words) {
  return AddParsed(command, name, "FOURCC", words, [name, code](const std::string& text) {
    if (ParseFourCC(text, code) && FindPixelFormat(*code) != nullptr) return;
    throw CLI::ValidationError(name, "\"" + text + "\" is no pixel format");
  });
}

CLI::Option* AddRangeOption(CLI::App& command, std::string* range) {
  const auto check = [](const std::string& text) {
    int32_t first = 0;
    int32_t last = 0;
    return ParseRange(text, &first, &last) ? std::string() : text + ": A-B is meant, such as 0-24";
  };
  return command.add_option("--range", *range, "Frames, both ends included")
      ->type_name("A-B")
      ->check(check);
}

CLI::Option* AddMatrixOption(CLI::App& command, int32_t* matrix) {
  return command
      .add_option("--matrix", *matrix,
                  "0, 1: 601 full, video; 2, 3: 709 full, video; 4, 5: 709 in other roundings")
      ->check(CLI::Range(0, 5));
}

CLI::Validator NumberBetween(double lowest, double highest) {
  std::ostringstream text;
  text << std::setprecision(9) << lowest << " to " << highest;
  const std::string range = text.str();
  const auto refusal = [lowest, highest, range](const std::string& typed) {
    double value = 0;
    if (!CLI::detail::lexical_cast(typed, value) || std::isnan(value))
      return typed + " is no number";
    const bool inside = value >= lowest && value <= highest;
    return inside ? std::string() : typed + " is not in the range " + range;
  };
  return {refusal, "FLOAT in " + range};
}

bool ParseAudioChoice(const std::string& text, AudioChoice* choice) {
  *choice = AudioChoice();
  if (text == "none") {
    choice->none = true;
    return true;
  }
  std::string format = text;
  if (text.size() == 6 && text.substr(4) == ":2") {
    choice->channelsPerFile = 2;
    format = text.substr(0, 4);
  }
  if (format != "16au" && format != "24au" && format != "32au" && format != "32af") return false;
  return ParseFourCC(format, &choice->fourcc);
}

int32_t FindImageFormat(NxFileType type, FourCCCode fourcc, uint32_t orientation) {
  const MediaFilePtr file(CreateMediaFile(type));
  if (file == nullptr) return -1;
  int32_t found = -1;
  for (int32_t i = 0; i < file->GetNumImageWriteFormats(); ++i) {
    NxImageWriteFormatDescription row = {};
    if (file->GetImageWriteFormatDescription(i, &row) != NxErrSuccess || row.fourcc != fourcc) {
      continue;
    }
    if (row.orientation == orientation) return i;
    if (found < 0) found = i;
  }
  return found;
}

std::string ImageFormatList(NxFileType type) {
  const MediaFilePtr file(CreateMediaFile(type));
  std::string list;
  for (int32_t i = 0; file != nullptr && i < file->GetNumImageWriteFormats(); ++i) {
    NxImageWriteFormatDescription row = {};
    if (file->GetImageWriteFormatDescription(i, &row) != NxErrSuccess) continue;
    const std::string quoted = "\"" + FourCCText(row.fourcc) + "\"";
    if (list.find(quoted) != std::string::npos) continue;  // one layout in both row orders
    list += (list.empty() ? "" : ", ") + quoted;
  }
  return list;
}

int32_t FindAudioFormat(NxFileType type, const AudioChoice& choice) {
  const MediaFilePtr file(CreateMediaFile(type));
  if (file == nullptr) return -1;
  for (int32_t i = 0; i < file->GetNumAudioWriteFormats() / 2; ++i) {
    NxAudioWriteFormatDescription row = {};
    if (file->GetAudioWriteFormatDescription(i, &row) != NxErrSuccess) continue;
    if (row.fourcc == choice.fourcc && row.channelsPerFile == choice.channelsPerFile) return i;
  }
  return -1;
}

}  // namespace morvane::tools
