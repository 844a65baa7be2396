#include "tools/library/json_commands.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string_view>
#include <utility>

#include <CLI/CLI.hpp>

#include "support/json/json.h"
#include "support/json/json_script.h"
#include "support/json/json_script_terminal.h"
#include "support/json/json_writer.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

// Everything up to the end of the stream, less a leading UTF-8 byte order mark.
std::string ReadTextInput(std::istream& input) {
  static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::ostringstream whole;
  whole << input.rdbuf();
  std::string text = std::move(whole).str();
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  return text;
}

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

int RunJsonParseCommand(std::istream& input, std::ostream& output, std::ostream& errors) {
  JSON json;
  const std::optional<JsonValue> value = json.parse(ReadTextInput(input));
  if (value) output << WriteJson(*value) << '\n';
  output.flush();
  const std::string& message = json.GetParserErrors();
  if (message.empty()) return 0;
  errors << message;
  if (!message.ends_with('\n')) errors << '\n';
  return 1;
}

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

void AddJsonCommand(CLI::App& app, int& exitCode) {
  CLI::App* json = app.add_subcommand("json", "Read lenient JSON");
  json->require_subcommand(1);
  CLI::App* parse =
      json->add_subcommand("parse", "Read JSON on standard input and write it in compact form");
  parse->callback([&exitCode] { exitCode = RunJsonParseCommand(std::cin, std::cout, std::cerr); });
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
