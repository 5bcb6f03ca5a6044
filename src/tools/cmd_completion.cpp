// Completion files for the shells, made of the command line as it was declared.
#include <cstdio>
#include <memory>
#include <vector>

#include "tools/command.h"

namespace morvane::tools {
namespace {

constexpr char kTool[] = "morvanectl";

// One level of the command line, such as "/timecode/text"; "" is the tool itself.
struct Level {
  std::string path;
  std::vector<const CLI::App*> commands;
  std::vector<const CLI::Option*> options;
};

void Collect(const CLI::App& app, const std::string& path, std::vector<Level>* levels) {
  Level level{path, app.get_subcommands([](const CLI::App*) { return true; }), {}};
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_lnames().empty()) level.options.push_back(option);
  }
  levels->push_back(level);
  for (const CLI::App* command : level.commands) {
    Collect(*command, path + "/" + command->get_name(), levels);
  }
}

std::string CommandWords(const Level& level) {
  std::string words;
  for (const CLI::App* command : level.commands) {
    words += (words.empty() ? "" : " ") + command->get_name();
  }
  return words;
}

std::string OptionWords(const Level& level) {
  std::string words;
  for (const CLI::Option* option : level.options) {
    for (const std::string& name : option->get_lnames()) {
      words += (words.empty() ? "--" : " --") + name;
    }
  }
  return words;
}

// The paths of all commands, as alternatives of a shell's case.
std::string Paths(const std::vector<Level>& levels) {
  std::string paths;
  for (const Level& level : levels) {
    if (!level.path.empty()) paths += (paths.empty() ? "" : "|") + level.path;
  }
  return paths;
}

// bash and zsh walk the line in the same words.
std::string Walk(const std::vector<Level>& levels) {
  std::string text = "    case \"$level/$word\" in\n      " + Paths(levels) +
                     ") level=\"$level/$word\" ;;\n    esac\n  done\n  case \"$level\" in\n";
  for (const Level& level : levels) {
    text += "    '" + level.path + "') commands='" + CommandWords(level) + "' options='" +
            OptionWords(level) + "' ;;\n";
  }
  return text + "  esac\n";
}

std::string BashFile(const std::vector<Level>& levels) {
  return R"(# bash completion of morvanectl
_morvanectl() {
  local current="${COMP_WORDS[COMP_CWORD]}" level= word= commands= options= i
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word="${COMP_WORDS[i]}"
)" + Walk(levels) +
         R"(  if [[ $current == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$current"))
  else
    COMPREPLY=($(compgen -W "$commands" -- "$current"))
  fi
}
complete -o default -F _morvanectl morvanectl
)";
}

std::string ZshFile(const std::vector<Level>& levels) {
  return R"(#compdef morvanectl
_morvanectl() {
  local level= word= commands= options=
  for word in "${(@)words[2,CURRENT-1]}"; do
)" + Walk(levels) +
         R"(  if [[ $words[CURRENT] == -* ]]; then
    compadd -- ${=options}
  elif [[ -n $commands ]]; then
    compadd -- ${=commands}
  else
    _files
  fi
}
if [[ $funcstack[1] == _morvanectl ]]; then
  _morvanectl "$@"
else
  compdef _morvanectl morvanectl
fi
)";
}

// In single quotes, as fish reads them.
std::string FishText(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + "'";
}

// True in fish where the line stands at `level`, none of its own commands given yet.
std::string FishCondition(const Level& level) {
  std::string condition;
  std::string rest = level.path;
  while (!rest.empty()) {
    const size_t next = rest.find('/', 1);
    condition += (condition.empty() ? "" : "; and ") + std::string("__fish_seen_subcommand_from ") +
                 rest.substr(1, next == std::string::npos ? next : next - 1);
    rest = next == std::string::npos ? std::string() : rest.substr(next);
  }
  if (!level.commands.empty()) {
    condition += (condition.empty() ? "" : "; and ") +
                 std::string("not __fish_seen_subcommand_from ") + CommandWords(level);
  }
  return condition;
}

std::string FishFile(const std::vector<Level>& levels) {
  std::string text = "# fish completion of morvanectl\n";
  for (const Level& level : levels) {
    const std::string head =
        std::string("complete -c ") + kTool + " -n " + FishText(FishCondition(level));
    for (const CLI::App* command : level.commands) {
      text += head + " -f -a " + command->get_name() + " -d " +
              FishText(command->get_description()) + "\n";
    }
    for (const CLI::Option* option : level.options) {
      for (const std::string& name : option->get_lnames()) {
        text += head + " -l " + name + (option->get_items_expected_max() > 0 ? " -r" : "") +
                " -d " + FishText(option->get_description()) + "\n";
      }
    }
  }
  return text;
}

int RunCompletion(const CLI::App& app, const std::string& shell) {
  std::vector<Level> levels;
  Collect(app, "", &levels);
  const std::string text = shell == "bash"  ? BashFile(levels)
                           : shell == "zsh" ? ZshFile(levels)
                                            : FishFile(levels);
  std::fputs(text.c_str(), stdout);
  return kExitDone;
}

}  // namespace

void AddCompletionCommand(CLI::App& app, CommandContext& context) {
  auto shell = std::make_shared<std::string>();
  CLI::App* command =
      app.add_subcommand("completion", "Prints the completion file of a shell for this tool");
  command->add_option("shell", *shell, "bash, zsh or fish")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command->callback([&app, &context, shell] {
    context.run = [&app, shell](CommandContext&) { return RunCompletion(app, *shell); };
  });
}

}  // namespace morvane::tools
