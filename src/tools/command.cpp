#include "tools/command.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace morvane::tools {
namespace {

bool g_progressDrawn = false;

}  // namespace

int Fail(const CommandContext& context, int32_t code, const std::string& text) {
  EndProgress();
  if (context.json) PrintJson(Json{{"error", code}, {"text", text}});
  std::cout.flush();
  std::fprintf(stderr, "%s: error %d: %s\n", context.tool.c_str(), code, text.c_str());
  return kExitFailed;
}

int Fail(const CommandContext& context, int32_t code) {
  char text[kNxErrTextBytes] = {};
  NxErrText(code, text);
  return Fail(context, code, text);
}

void PrintJson(const Json& document) {
  // Names on disk may hold any bytes; what is no UTF-8 is replaced, never thrown at the user.
  std::cout << document.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

std::string HexWord(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

void DrawProgress(const std::string& line) {
  static const bool terminal = isatty(STDERR_FILENO) == 1;
  if (!terminal) return;
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
  g_progressDrawn = true;
}

void EndProgress() {
  if (!g_progressDrawn) return;
  std::fputs("\r\033[K", stderr);
  g_progressDrawn = false;
}

}  // namespace morvane::tools
