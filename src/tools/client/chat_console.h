// What a person types: commands behind a slash, and texts.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/client/chat_session.h"

namespace vnq {

/// What a typed line asks of the program; everything else is done when Line() returns.
struct ConsoleRequest {
  enum class Kind { kNone, kQuit, kReconnect, kWait };
  Kind kind = Kind::kNone;
  int seconds = 0;  ///< of kWait
};

/// Turns typed lines into calls of the session. Remembers whether anything went wrong, for a
/// script's exit code.
class ChatConsole {
 public:
  ChatConsole(ChatSession& session, KnownNames& names, ChatSink& sink)
      : session_(&session), names_(&names), sink_(&sink) {}

  /// One line without its end. A line that begins with "//" is a text that begins with "/". Empty
  /// lines do nothing.
  ConsoleRequest Line(std::string_view line);

  /// What the beginning of a line may become: a command, or a command with a known name or id.
  std::vector<std::string> Completions(const std::string& before) const;

  /// True when a line could not be done.
  bool Failed() const { return failed_; }

 private:
  using Command = ConsoleRequest (ChatConsole::*)(std::string_view rest);
  struct CommandRow {
    std::string_view word, arguments, summary;
    Command command;
  };
  static const CommandRow kCommands[];

  ConsoleRequest To(std::string_view rest);
  ConsoleRequest Group(std::string_view rest);
  ConsoleRequest Groups(std::string_view rest);
  ConsoleRequest Create(std::string_view rest);
  ConsoleRequest Invite(std::string_view rest);
  ConsoleRequest Leave(std::string_view rest);
  ConsoleRequest Friend(std::string_view rest);
  ConsoleRequest Unread(std::string_view rest);
  ConsoleRequest Who(std::string_view rest);
  ConsoleRequest Names(std::string_view rest);
  ConsoleRequest Name(std::string_view rest);
  ConsoleRequest Away(std::string_view rest);
  ConsoleRequest Back(std::string_view rest);
  ConsoleRequest Hide(std::string_view rest);
  ConsoleRequest Retract(std::string_view rest);
  ConsoleRequest Nudge(std::string_view rest);
  ConsoleRequest Notice(std::string_view rest);
  ConsoleRequest Wait(std::string_view rest);
  ConsoleRequest Reconnect(std::string_view rest);
  ConsoleRequest Help(std::string_view rest);
  ConsoleRequest Quit(std::string_view rest);

  void AddNames(KnownNames::Kind kind, const std::string& before, size_t from,
                std::vector<std::string>& found) const;
  void Address(KnownNames::Kind kind, std::string_view rest);
  void ShowGroups();
  void Fail(const std::string& sentence);

  ChatSession* session_;
  KnownNames* names_;
  ChatSink* sink_;
  bool failed_ = false;
};

}  // namespace vnq
