#include "tools/client/chat_command.h"

#include <unistd.h>

#include <memory>

#include <CLI/CLI.hpp>

#include "tools/client/chat_program.h"

namespace vnq {

void AddChatCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<ChatOptions>();
  CLI::App* chat = app.add_subcommand("chat", "Log in as a user and chat on this terminal");
  chat->add_option("--server", options->server, "Name or address of the server")->required();
  chat->add_option("--user", options->user, "Name to log in with")->required();
  chat->add_option("--password-file", options->passwordFile,
                   "File with the password in its first line; without it VNQ_PASSWORD, else asked");
  AddServerPage(*chat, options->codePage, options->appPath);
  chat->add_option("--port", options->port, "Port of the server")->capture_default_str();
  AddTlsOptions(*chat, options->tls);
  chat->add_option("--state-file", options->stateFile,
                   "File that keeps the names and ids seen so far");
  chat->add_option("--machine-id", options->machineId,
                   "Text that the server's restriction by machine compares");
  chat->add_flag("--catch-up", options->catchUp,
                 "Show what came since the last time, from the server's database, and mark what is "
                 "shown as read")
      ->needs("--app-path");
  chat->add_flag("--no-history{false}", options->keepHistory,
                 "Keep no lines that were typed for the next run");
  chat->add_flag("--verbose", options->verbose, "Show records that have no words, too");
  chat->callback([options, chat, &exitCode] {
    options->codePageIsGiven = IsServerPageGiven(*chat);
    exitCode = RunChat(*options, STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO);
  });
}

}  // namespace vnq
