#include "tools/client/notify_command.h"

#include <chrono>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/settings/ansi_code_page.h"
#include "support/text_codecs.h"
#include "tools/client/chat_text.h"
#include "tools/client/connection.h"
#include "tools/client/record_stream.h"
#include "tools/client/record_words.h"
#include "tools/client/server_page.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

constexpr int kNoticeToNames = 3;  // what the record's mode field says
constexpr int kSilenceMs = 300;    // in which the last record of a text is known to be whole

constexpr std::string_view kGreeting = ".+SuccessfulConnection";
constexpr std::string_view kEcho = ".+y";

std::string NoticeText(const std::string& text, const CodePage& page) {
  return page.Holds(text) ? FieldText(text) : EscapeText(text);
}

// The first name that a record cannot carry or the server cannot look up.
const std::string* UnusableName(const NotifyOptions& options, const CodePage& page) {
  for (const std::string* name : {&options.sender, &options.receiver}) {
    if (name->empty() || !FitsAField(*name) || !page.Holds(*name)) return name;
  }
  return nullptr;
}

/// A client that never logs in: it hears the greeting, speaks once and asks for an echo.
class Notifier {
 public:
  Notifier(const NotifyOptions& options, const AnsiText& ansi)
      : options_(options), ansi_(ansi), stream_(ansi) {}

  bool Post(std::string_view record, std::string& error) {
    return connection_.Open(options_.server, options_.port, options_.waitMs, error) &&
           WaitFor(kGreeting, "did not greet", error) && Send(record, error) &&
           // Records of one connection are worked off in order: the echo comes behind the notice.
           Send(std::string(kEcho) + "|#", error) &&
           WaitFor(kEcho, "did not say that it has taken the notice", error);
  }

 private:
  using Clock = std::chrono::steady_clock;

  std::string Server() const { return options_.server + " port " + std::to_string(options_.port); }

  bool Send(std::string_view record, std::string& error) {
    for (const std::string& text : EncodeForMainPort(ansi_, record)) {
      if (connection_.Send(text, options_.waitMs)) continue;
      error = "the connection to " + Server() + " is lost";
      return false;
    }
    return true;
  }

  static bool Holds(const std::vector<std::string>& records, std::string_view word) {
    for (const std::string& record : records) {
      if (RecordFields(record).word() == word) return true;
    }
    return false;
  }

  bool WaitFor(std::string_view word, const char* otherwise, std::string& error) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(options_.waitMs);
    auto result = Connection::ReadResult::kNothing;
    while (result != Connection::ReadResult::kClosed && Clock::now() < deadline) {
      if (stream_.RestLooksComplete() && Holds(stream_.TakeRest(), word)) return true;
      std::string bytes;
      result = connection_.Read(bytes, std::min(kSilenceMs, options_.waitMs));
      if (Holds(stream_.Feed(bytes), word)) return true;
    }
    if (Holds(stream_.TakeRest(), word)) return true;
    error = "the server at " + Server() + " " + otherwise;
    return false;
  }

  const NotifyOptions& options_;
  const AnsiText& ansi_;
  Connection connection_;
  RecordStream stream_;
};

}  // namespace

// .+interface_information|sender|receivers|title|text|link|mode|#
std::string NotifyRecord(const NotifyOptions& options, const CodePage& page) {
  return ".+interface_information|" + options.sender + "|" + options.receiver + "|" +
         NoticeText(options.title, page) + "|" + NoticeText(options.text, page) + "|" +
         NoticeText(options.link, page) + "|" + std::to_string(kNoticeToNames) + "|#";
}

int RunNotify(const NotifyOptions& options, std::ostream& errors) {
  const std::shared_ptr<const CodePage> page = CodePage::Open(options.codePage);
  if (page == nullptr) {
    return Fail(errors, "notify", "unknown code page " + std::to_string(options.codePage),
                kExitArguments);
  }
  if (const std::string* name = UnusableName(options, *page)) {
    return Fail(errors, "notify", "a record cannot carry the name \"" + TerminalLine(*name) + "\"",
                kExitArguments);
  }
  const AnsiCodePage ansi(page);
  const std::string record = NotifyRecord(options, *page);
  if (EncodeForMainPort(ansi, record).size() > 1) {
    return Fail(errors, "notify",
                "the notice is too long for one record; shorten it or name fewer people",
                kExitArguments);
  }
  std::string error;
  return Notifier(options, ansi).Post(record, error) ? kExitDone : Fail(errors, "notify", error);
}

void AddNotifyCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<NotifyOptions>();
  CLI::App* notify = app.add_subcommand("notify", "Post a notice to people's clients");
  notify->add_option("--server", options->server, "Name or address of the server")->required();
  notify->add_option("--as", options->sender, "Login name that the notice is from")->required();
  notify
      ->add_option("--to", options->receiver,
                   "Login names joined by commas, or * for everybody who may log in")
      ->required();
  notify->add_option("--title", options->title, "Title of the notice")->required();
  notify->add_option("--text", options->text, "Text of the notice");
  notify->add_option("--link", options->link, "Link that the notice opens");
  AddServerPage(*notify, options->codePage, options->appPath);
  notify->add_option("--port", options->port, "Port of the server")->capture_default_str();
  notify->callback([options, &exitCode] { exitCode = RunNotify(*options, std::cerr); });
}

}  // namespace vnq
