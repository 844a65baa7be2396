#include "tools/watch/probe_command.h"

#include <fmt/format.h>
#include <poll.h>

#include <chrono>
#include <deque>
#include <iostream>
#include <memory>
#include <random>

#include <CLI/CLI.hpp>

#include "host/settings/ansi_code_page.h"
#include "tools/client/chat_session.h"
#include "tools/client/connection.h"
#include "tools/client/password.h"
#include "tools/client/record_stream.h"
#include "tools/library/json_string.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

constexpr int64_t kBetweenTextsMs = 25;  // so that each is one read of the server
constexpr int64_t kQuietMs = 100;        // in which the last record of a text is known to be whole
constexpr int kPollMs = 10;
constexpr int64_t kGoodbyeMs = 1'000;

int64_t NowMs() {
  using std::chrono::steady_clock;
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             steady_clock::now().time_since_epoch())
      .count();
}

/// One of the two who are logged in.
class Party : private ChatSink {
 public:
  Party(const ProbeOptions& options, const AnsiText& ansi, const std::string& user)
      : options_(options),
        ansi_(ansi),
        user_(user),
        stream_(ansi),
        session_({user, "vnqctl-probe", false, false}, names_, *this) {}

  bool Begin(const std::string& passwordFile, std::string& error) {
    std::string password;
    if (!ReadPassword(passwordFile, password, error) ||
        !connection_.Open(options_.server, options_.port, static_cast<int>(options_.waitS * 1000),
                          error)) {
      return false;
    }
    session_.Begin(password, connection_.LocalAddress(), NowMs());
    return true;
  }

  // Takes what has come, and sends what is due.
  void Step() {
    const int64_t now = NowMs();
    std::string bytes;
    const auto result = connection_.Read(bytes, 0);
    if (result == Connection::ReadResult::kData) heardMs_ = now;
    Hear(stream_.Feed(bytes), now);
    const bool isClosed = result == Connection::ReadResult::kClosed;
    if (isClosed || now - heardMs_ >= kQuietMs) Hear(stream_.TakeRest(), now);
    if (isClosed) session_.OnPeerClosed();
    session_.Tick(now);
    if (texts_.empty() || now < nextTextMs_ || !connection_.IsOpen()) return;
    if (!connection_.Send(texts_.front(), kPollMs)) session_.OnPeerClosed();
    texts_.pop_front();
    nextTextMs_ = now + kBetweenTextsMs;
  }

  void Expect(const std::string& word) { awaited_ = word; }
  bool HasHeard() const { return hasHeard_; }
  bool IsReady() const { return session_.state() == ChatSession::State::kReady; }
  bool IsClosed() const { return session_.state() == ChatSession::State::kClosed; }

  /// Why the session ended; empty when nobody said.
  std::string Complaint() const {
    return user_ + ": " + (why_.empty() ? "the connection ended" : why_);
  }

  int fd() const { return connection_.fd(); }
  ChatSession& session() { return session_; }

 private:
  void Hear(const std::vector<std::string>& records, int64_t now) {
    for (const std::string& record : records) {
      const bool isMessage = RecordFields(record).word() == ".+message";
      hasHeard_ =
          hasHeard_ || (isMessage && !awaited_.empty() && record.find(awaited_) != record.npos);
      session_.OnRecord(record, now);
    }
  }

  void SendRecord(const std::string& record) override {
    for (std::string& text : EncodeForMainPort(ansi_, record)) texts_.push_back(std::move(text));
  }
  void Show(const std::string&) override {}
  void Complain(const std::string& line) override {
    if (why_.empty()) why_ = line;
  }

  const ProbeOptions& options_;
  const AnsiText& ansi_;
  std::string user_;
  Connection connection_;
  RecordStream stream_;
  KnownNames names_;
  ChatSession session_;
  std::deque<std::string> texts_;
  int64_t heardMs_ = 0, nextTextMs_ = 0;
  std::string awaited_, why_;
  bool hasHeard_ = false;
};

class Probe {
 public:
  Probe(const ProbeOptions& options, const AnsiText& ansi)
      : options_(options), from_(options, ansi, options.from), to_(options, ansi, options.to) {}

  bool Run(std::string& error) {
    startedMs_ = NowMs();
    if (!from_.Begin(options_.fromPasswordFile, error) ||
        !to_.Begin(options_.toPasswordFile, error)) {
      return false;
    }
    const bool done =
        WaitUntil([this] { return from_.IsReady() && to_.IsReady(); }, "log-in", loginMs, error) &&
        Send(error) && WaitUntil([this] { return to_.HasHeard(); }, "message", deliveryMs, error) &&
        WaitUntil([this] { return from_.session().WithoutReceipt() == 0; }, "receipt", receiptMs,
                  error);
    Leave();
    return done;
  }

  int64_t loginMs = 0, deliveryMs = 0, receiptMs = 0;  ///< what each step took

 private:
  bool Send(std::string& error) {
    const std::string text = "probe" + std::to_string(std::random_device{}());
    to_.Expect(text);
    from_.session().SetTarget(ChatSession::Kind::kUser, to_.session().userId());
    if (from_.session().SendText(text)) return true;
    error = from_.Complaint();
    return false;
  }

  template <typename Condition>
  bool WaitUntil(Condition isMet, std::string_view what, int64_t& tookMs, std::string& error) {
    const int64_t from = NowMs();
    const int64_t deadline = startedMs_ + static_cast<int64_t>(options_.waitS * 1000);
    while (!isMet()) {
      if (from_.IsClosed() || to_.IsClosed()) {
        error = (from_.IsClosed() ? from_ : to_).Complaint();
        return false;
      }
      if (NowMs() >= deadline) {
        error = fmt::format("no {} within {} seconds", what, options_.waitS);
        return false;
      }
      Step();
    }
    tookMs = NowMs() - from;
    return true;
  }

  void Step() {
    pollfd waited[] = {{from_.fd(), POLLIN, 0}, {to_.fd(), POLLIN, 0}};
    poll(waited, std::size(waited), kPollMs);
    from_.Step();
    to_.Step();
  }

  // Says good-bye, so that nobody seems to be online who is not.
  void Leave() {
    for (Party* party : {&from_, &to_}) {
      if (party->IsReady()) party->session().Leave();
    }
    const int64_t deadline = NowMs() + kGoodbyeMs;
    while (!(from_.IsClosed() && to_.IsClosed()) && NowMs() < deadline) Step();
  }

  const ProbeOptions& options_;
  Party from_, to_;
  int64_t startedMs_ = 0;
};

int Report(const ProbeOptions& options, const Probe& probe, const std::string& error,
           std::ostream& out, std::ostream& err) {
  if (options.json) {
    out << fmt::format(R"({{"ok":{},"error":{},"loginMs":{},"deliveryMs":{},"receiptMs":{}}})",
                       error.empty(), error.empty() ? "null" : JsonString(error), probe.loginMs,
                       probe.deliveryMs, probe.receiptMs)
        << '\n';
    return error.empty() ? kExitDone : kExitFailed;
  }
  if (!error.empty()) return Fail(err, "probe", error);
  out << fmt::format("ok: log-in {} ms, message {} ms, receipt {} ms\n", probe.loginMs,
                     probe.deliveryMs, probe.receiptMs);
  return kExitDone;
}

}  // namespace

int RunProbe(const ProbeOptions& options, std::ostream& out, std::ostream& err) {
  const std::shared_ptr<const CodePage> page = CodePage::Open(options.codePage);
  if (page == nullptr) {
    return Fail(err, "probe", "unknown code page " + std::to_string(options.codePage),
                kExitArguments);
  }
  const AnsiCodePage ansi(page);
  Probe probe(options, ansi);
  std::string error;
  if (!probe.Run(error) && error.empty()) error = "the server cannot be tried";
  return Report(options, probe, error, out, err);
}

void AddProbeCommand(CLI::App& app, int& exitCode) {
  const auto options = std::make_shared<ProbeOptions>();
  CLI::App* probe = app.add_subcommand(
      "probe", "Log two accounts in and send a message, for a monitoring system");
  probe->add_option("--server", options->server, "Name or address of the server")->required();
  probe->add_option("--port", options->port, "Port of the server")->capture_default_str();
  probe->add_option("--from", options->from, "Login name of the sender")->required();
  probe->add_option("--to", options->to, "Login name of the receiver")->required();
  probe->add_option("--from-password-file", options->fromPasswordFile,
                    "File with the sender's password in its first line; else VNQ_PASSWORD");
  probe->add_option("--to-password-file", options->toPasswordFile,
                    "File with the receiver's password; else VNQ_PASSWORD");
  probe->add_option("--wait", options->waitS, "Seconds that all of it may take")
      ->check(CLI::Range(1.0, 600.0))
      ->capture_default_str();
  probe->add_flag("--json", options->json, "The result as one JSON object");
  AddServerPage(*probe, options->codePage, options->appPath);
  probe->callback([options, &exitCode] { exitCode = RunProbe(*options, std::cout, std::cerr); });
}

}  // namespace vnq
