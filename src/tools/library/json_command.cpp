#include "tools/library/json_command.h"

#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "support/json/json.h"
#include "support/json/json_writer.h"
#include "tools/library/text_input.h"

namespace vnq {

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

void AddJsonCommand(CLI::App& app, int& exitCode) {
  CLI::App* json = app.add_subcommand("json", "Read lenient JSON");
  json->require_subcommand(1);
  CLI::App* parse =
      json->add_subcommand("parse", "Read JSON on standard input and write it in compact form");
  parse->callback([&exitCode] { exitCode = RunJsonParseCommand(std::cin, std::cout, std::cerr); });
}

}  // namespace vnq
