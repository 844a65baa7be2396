#include "tools/watch/status_commands.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <memory>
#include <sstream>
#include <thread>

#include <CLI/CLI.hpp>

#include "host/settings/program_folder.h"
#include "platform/net/unix_socket.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

constexpr int kAnswerWaitMs = 15'000;  // longer than a database may keep the server busy

int Show(const StatusOptions& options, const std::string& question, std::ostream& out,
         std::ostream& err) {
  std::string answer, error;
  if (!AskServer(options.appPath, question + (options.json ? " json" : ""), answer, error)) {
    return Fail(err, question, error);
  }
  out << answer;
  return kExitDone;
}

// 0: no terminal.
int TerminalLines() {
  winsize size{};
  return isatty(STDOUT_FILENO) == 1 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row
                                                                                    : 0;
}

// Over the one before; what does not fit is left out.
void Paint(const std::string& text, int lines, std::ostream& out) {
  std::istringstream rest(text);
  out << "\x1b[H\x1b[J";
  for (std::string line; lines > 1 && std::getline(rest, line); --lines) out << line << '\n';
}

using Command = std::function<int(const StatusOptions&, std::ostream&, std::ostream&)>;

CLI::App* AddOne(CLI::App& app, const char* name, const char* words, const char* json,
                 const std::shared_ptr<StatusOptions>& options, Command run, int& exitCode) {
  CLI::App* command = app.add_subcommand(name, words);
  AddAppPath(*command, options->appPath)->required();
  command->add_flag("--json", options->json, json);
  command->callback([options, run = std::move(run), &exitCode] {
    exitCode = run(*options, std::cout, std::cerr);
  });
  return command;
}

}  // namespace

bool AskServer(const std::string& appPath, const std::string& question, std::string& answer,
               std::string& error) {
  const std::string folder = AbsoluteAppPath(appPath);
  if (!AskAtSocket(InstanceSocketPath(folder), question, kAnswerWaitMs, answer, error)) {
    error = "no server answers in " + folder + " (" + error + ")";
    return false;
  }
  const size_t end = std::min(answer.find('\n'), answer.size());
  const std::string verdict = answer.substr(0, end);
  answer.erase(0, end + 1);
  if (verdict == "ok") return true;
  error = verdict.starts_with("error ") ? verdict.substr(6) : "the server broke its answer off";
  return false;
}

int RunStatus(const StatusOptions& options, std::ostream& out, std::ostream& err) {
  return Show(options, "status", out, err);
}

int RunWho(const StatusOptions& options, std::ostream& out, std::ostream& err) {
  return Show(options, "who", out, err);
}

int RunTop(const StatusOptions& options, std::ostream& out, std::ostream& err) {
  for (int looks = 1;; ++looks) {
    std::string answer, error;
    if (!AskServer(options.appPath, options.json ? "status json" : "status", answer, error)) {
      return Fail(err, "top", error);
    }
    const int lines = options.json ? 0 : TerminalLines();
    if (lines > 0) {
      Paint(answer, lines, out);
    } else {
      out << (looks > 1 && !options.json ? "\n" : "") << answer;
    }
    out << std::flush;
    if (looks == options.count || !out) return kExitDone;
    std::this_thread::sleep_for(std::chrono::duration<double>(options.intervalS));
  }
}

void AddStatusCommands(CLI::App& app, int& exitCode) {
  AddOne(app, "status", "What the running server says of itself", "As one JSON object",
         std::make_shared<StatusOptions>(), RunStatus, exitCode);
  AddOne(app, "who", "Who is connected to the running server", "As a JSON array, an object a line",
         std::make_shared<StatusOptions>(), RunWho, exitCode);
  const auto options = std::make_shared<StatusOptions>();
  CLI::App* top = AddOne(app, "top", "The status of the running server, again and again",
                         "A JSON object a line", options, RunTop, exitCode);
  top->add_option("--interval", options->intervalS, "Seconds between two looks")
      ->check(CLI::Range(0.1, 3600.0))
      ->capture_default_str();
  top->add_option("--count", options->count, "End after so many looks; 0: never")
      ->check(CLI::NonNegativeNumber);
}

}  // namespace vnq
