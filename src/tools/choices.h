#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "base/fourcc.h"
#include "media/media_records.h"

namespace morvane::tools {

// How files and formats are typed on the command line.

// Names of the clip types that can be written, in the order of their file types.
[[nodiscard]] std::vector<std::string> ClipTypeNames();
// File type of a name; NxFileTypeNone for anything else.
[[nodiscard]] NxFileType ClipTypeFromName(const std::string& name);

// Reads a FourCC as it is typed: four characters, blanks kept. Returns: false for other lengths.
[[nodiscard]] bool ParseFourCC(const std::string& text, FourCCCode* code);

// Reads "A-B" (both ends included) or one number. Returns: false for anything else or B below A.
[[nodiscard]] bool ParseRange(const std::string& text, int32_t* first, int32_t* last);

// A frame rate as it is typed: "30000/1001", both numbers above 0.
struct RateChoice {
  int32_t scale = 0;  // 0: not told
  int32_t rate = 0;
  [[nodiscard]] std::string Text() const;
};
// A picture size as it is typed: "1920x1080".
struct SizeChoice {
  int32_t width = 0;  // 0: not told
  int32_t height = 0;
};
inline constexpr int32_t kLargestSize = 32768;  // that can be typed, either way

// Options that are checked as the line is read; a value that is none is exit code 2.
CLI::Option* AddRateOption(CLI::App& command, RateChoice* rate);  // --rate
CLI::Option* AddSizeOption(CLI::App& command, const char* name, SizeChoice* size,
                           const char* words);
// A pixel format of ours; its blanks count.
CLI::Option* AddFourCCOption(CLI::App& command, const char* name, FourCCCode* code,
                             const char* words);
CLI::Option* AddRangeOption(CLI::App& command, std::string* range);  // --range, as ParseRange reads
CLI::Option* AddMatrixOption(CLI::App& command, int32_t* matrix);    // --matrix, 0 to 5

// The check of an option that is any number from `lowest` to `highest`. Unlike CLI::Range it
// refuses what compares with neither: "nan".
[[nodiscard]] CLI::Validator NumberBetween(double lowest, double highest);
inline constexpr double kMostSeconds = 366 * 86400.0;  // of anything that is told to last so long
inline constexpr double kLeastSeconds = 0.001;         // and that must last at all

// An audio choice: 16au, 24au, 32au, 32af, with ":2" behind it for stereo files, or "none".
struct AudioChoice {
  bool none = false;
  FourCCCode fourcc = 0;
  int32_t channelsPerFile = 1;
};
[[nodiscard]] bool ParseAudioChoice(const std::string& text, AudioChoice* choice);

// Index of the image format `fourcc` in what file type `type` can write, with the lines in the
// order of `orientation` where there are both; -1 if it is not offered.
[[nodiscard]] int32_t FindImageFormat(NxFileType type, FourCCCode fourcc,
                                      uint32_t orientation = kOrientationTopDown);
// The codes it offers, quoted and separated by commas, for a diagnostic.
[[nodiscard]] std::string ImageFormatList(NxFileType type);
// Index of an audio format in the 48 kHz half of the type's list; -1 if it is not offered.
[[nodiscard]] int32_t FindAudioFormat(NxFileType type, const AudioChoice& choice);

}  // namespace morvane::tools
