#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

#include "base/nx_err.h"

namespace morvane::tools {

// Exit codes of the tool: a contract that scripts depend on.
inline constexpr int kExitDone = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUsage = 2;

// Keys of a document come out in the order in which they were put in.
using Json = nlohmann::ordered_json;

// What every command is given.
struct CommandContext {
  std::string tool = "morvanectl";  // as diagnostics name it
  std::string machine;              // --machine, empty when not told
  bool json = false;                // --json
  // The command that was chosen; set by its callback, run by main after the line was accepted.
  std::function<int(CommandContext&)> run;
};

// Ends a command with a failure: the diagnostic on standard error, and with --json the document
// {"error", "text"} on standard output. Returns: kExitFailed.
int Fail(const CommandContext& context, int32_t code, const std::string& text);
// The same with the text of the error table.
int Fail(const CommandContext& context, int32_t code);
// Prints `document` (with --json) as one JSON document on standard output.
void PrintJson(const Json& document);
// "0x10196500".
[[nodiscard]] std::string HexWord(uint32_t value);
// Draws a progress line on standard error where that is a terminal; nothing elsewhere.
void DrawProgress(const std::string& line);
// Ends the progress line, if one was drawn.
void EndProgress();

// Each adds one command (or family) to the tool.
void AddBoardsCommand(CLI::App& app, CommandContext& context);
void AddBoardCommand(CLI::App& app, CommandContext& context);
void AddPatternCommand(CLI::App& app, CommandContext& context);
void AddRegistersCommand(CLI::App& app, CommandContext& context);
// Last of all: it tells of the commands that are there.
void AddCompletionCommand(CLI::App& app, CommandContext& context);
void AddStatusCommand(CLI::App& app, CommandContext& context);
void AddInfoCommand(CLI::App& app, CommandContext& context);
void AddFramehashCommand(CLI::App& app, CommandContext& context);
void AddExtractCommand(CLI::App& app, CommandContext& context);
void AddConvertCommand(CLI::App& app, CommandContext& context);
void AddPixelsCommand(CLI::App& app, CommandContext& context);
void AddTimecodeCommand(CLI::App& app, CommandContext& context);
void AddLutCommand(CLI::App& app, CommandContext& context);
void AddCaptureCommand(CLI::App& app, CommandContext& context);
void AddPlayCommand(CLI::App& app, CommandContext& context);
void AddVtrCommand(CLI::App& app, CommandContext& context);
void AddTapeCommand(CLI::App& app, CommandContext& context);
void AddDemoCommand(CLI::App& app, CommandContext& context);

}  // namespace morvane::tools
