#include "tools/library/script_command.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "support/json/json_script.h"
#include "support/json/json_script_terminal.h"
#include "tools/library/text_input.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

// A folder opens like a file and fails only when it is read.
bool ReadScript(const std::string& file, std::string& script, std::string& why) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) {
    why = std::strerror(EISDIR);
    return false;
  }
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    why = std::strerror(errno);
    return false;
  }
  script = ReadTextInput(stream);
  return true;
}

}  // namespace

int RunScriptEvalCommand(const std::string& file, std::istream& answers, std::ostream& output,
                         std::ostream& boxes) {
  std::string text;
  std::string why;
  if (!ReadScript(file, text, why)) {
    return Fail(boxes, "script", "cannot read script " + file + ": " + why);
  }
  TerminalDialogs dialogs(answers, boxes);
  output << cJSONScript(&dialogs).Eval(text);
  output.flush();
  return dialogs.Warnings() == 0 ? 0 : 1;
}

void AddScriptCommand(CLI::App& app, int& exitCode) {
  CLI::App* script = app.add_subcommand("script", "Evaluate JSON scripts");
  script->require_subcommand(1);
  CLI::App* eval = script->add_subcommand("eval", "Evaluate the script in FILE");
  auto file = std::make_shared<std::string>();
  eval->add_option("FILE", *file, "The script, a JSON text")->required();
  eval->callback([file, &exitCode] {
    exitCode = RunScriptEvalCommand(*file, std::cin, std::cout, std::cerr);
  });
}

}  // namespace vnq
