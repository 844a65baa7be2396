#include "tools/client/control_command.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/settings/ansi_code_page.h"
#include "host/values/fields.h"
#include "platform/net/clock.h"
#include "support/ansi_text.h"
#include "support/text_codecs.h"
#include "tools/client/chat_text.h"
#include "tools/client/connection.h"
#include "tools/client/server_page.h"
#include "tools/company/company.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

// --- A peer of the control channel ---

constexpr std::string_view kGreeting = ".+successful_connection|#";
constexpr std::string_view kEcho = ".+y|#";
constexpr std::string_view kConsoleLanding = ".+landing|VNQPcTelnet|#";
constexpr std::string_view kInformation = ".+submit_information|";

int64_t NowMs() {
  return SystemClock().MonotonicMs();
}

// Plain text, one connection.
class ControlPeer {
 public:
  /// How many values a computer tells about itself.
  static constexpr size_t kInformationFields = 15;

  /// page  the server's code page; outlives the object.
  explicit ControlPeer(const AnsiText& page) : page_(page) {}

  /// Connects and waits for the greeting. False: `error` tells a person why.
  bool Open(const std::string& server, uint16_t port, int timeoutMs, std::string& error);

  /// Sends a record and waits until the server has carried it out, which an echo behind it proves;
  /// what the record brought about, the server does not tell.
  bool Order(std::string_view record, int timeoutMs, std::string& error);

  /// Asks a computer about itself and waits for what it answers. While this lasts the connection
  /// bears the console's name, the only one that answers go to; a console that is connected loses
  /// its connection.
  bool AskComputer(const std::string& endpoint, int timeoutMs, std::vector<std::string>& values,
                   std::string& error);

 private:
  bool Send(std::string_view text, std::string& error);
  bool WaitFor(std::string_view words, int timeoutMs, std::string& error);
  bool ReadMore(int64_t deadlineMs, std::string& error);
  bool TakeInformation(std::vector<std::string>& values) const;

  const AnsiText& page_;
  Connection connection_;
  std::string received_;  // in the code page, behind what was waited for
};

bool ControlPeer::Open(const std::string& server, uint16_t port, int timeoutMs,
                       std::string& error) {
  return connection_.Open(server, port, timeoutMs, error) && WaitFor(kGreeting, timeoutMs, error);
}

bool ControlPeer::Order(std::string_view record, int timeoutMs, std::string& error) {
  // One read, so that the echo is made when the record in front of it is through.
  return Send(std::string(record).append(kEcho), error) && WaitFor(kEcho, timeoutMs, error);
}

bool ControlPeer::AskComputer(const std::string& endpoint, int timeoutMs,
                              std::vector<std::string>& values, std::string& error) {
  const int64_t deadlineMs = NowMs() + timeoutMs;
  if (!Order(kConsoleLanding, timeoutMs, error)) return false;
  if (!Send(".+computer_information|" + endpoint + "|#", error)) return false;
  while (!TakeInformation(values)) {
    if (ReadMore(deadlineMs, error)) continue;
    if (error.empty()) error = "no answer: is the computer " + endpoint + " connected?";
    return false;
  }
  return true;
}

bool ControlPeer::Send(std::string_view text, std::string& error) {
  if (connection_.Send(page_.ToBytes(text), 5000)) return true;
  error = "the server has closed the connection";
  return false;
}

bool ControlPeer::WaitFor(std::string_view words, int timeoutMs, std::string& error) {
  const int64_t deadlineMs = NowMs() + timeoutMs;
  size_t at = 0;
  while ((at = received_.find(words)) == std::string::npos) {
    if (ReadMore(deadlineMs, error)) continue;
    if (error.empty()) error = "the server does not answer on its control port";
    return false;
  }
  received_.erase(0, at + words.size());
  return true;
}

// False at the deadline, with no words, and at the end of the connection.
bool ControlPeer::ReadMore(int64_t deadlineMs, std::string& error) {
  const int64_t leftMs = std::max<int64_t>(0, deadlineMs - NowMs());
  switch (connection_.Read(received_, static_cast<int>(leftMs))) {
    case Connection::ReadResult::kData:
      return true;
    case Connection::ReadResult::kNothing:
      return NowMs() < deadlineMs;
    case Connection::ReadResult::kClosed:
      error = "the server has closed the connection";
  }
  return false;
}

bool ControlPeer::TakeInformation(std::vector<std::string>& values) const {
  const size_t at = received_.find(kInformation);
  if (at == std::string::npos) return false;
  const std::string text = page_.FromBytes(std::string_view(received_).substr(at));
  const std::vector<std::string> elements = SplitText(text, "|");
  if (elements.size() < kInformationFields + 2) return false;
  if (!elements[kInformationFields + 1].starts_with('#')) return false;
  values.assign(elements.begin() + 1, elements.begin() + 1 + kInformationFields);
  return true;
}

// --- The record of each order ---

std::string Disconnect(const ControlOptions& options) {
  std::string record = ".+disconnect|" + EscapeText(options.reason) + "|";
  for (const std::string& user : options.users) record += user + "|";
  return record + "#";
}

std::string Broadcast(const ControlOptions& options) {
  return ".+broadcast|" + EscapeText(options.title) + "|" + EscapeText(options.text) + "|" +
         options.font + "|#";
}

std::string EndpointOrder(const char* word, const ControlOptions& options) {
  return std::string(word) + "|" + options.computer + "+" + options.user + "+" +
         std::to_string(options.code) + "|#";
}

std::string Computer(const ControlOptions& options) {
  return EndpointOrder(".+control_computer", options);
}

std::string Usb(const ControlOptions& options) {
  return EndpointOrder(".+control_usb", options);
}

std::string RemoteDesktop(const ControlOptions& options) {
  return ".+remote_desktop|" + options.computer + "|#";
}

std::string CloseRemoteDesktop(const ControlOptions& options) {
  return ".+close_remote_desktop|" + options.computer + "|#";
}

std::string Ping(const ControlOptions&) {
  return "";  // the echo behind each order is all of it
}

struct OrderRow {
  const char* name;
  std::string (*record)(const ControlOptions&);
  const char* done;
};

// What was brought about stays unsaid where the server does not say it.
constexpr OrderRow kOrders[] = {
    {"disconnect", Disconnect, "done: those who were connected are disconnected"},
    {"broadcast", Broadcast, "done: sent to every connected client"},
    {"computer", Computer, "done: if it was connected, it was told and disconnected"},
    {"usb", Usb, "done: if it was connected, it was told"},
    {"remote-desktop", RemoteDesktop, "done: if it was connected, it was told"},
    {"close-remote-desktop", CloseRemoteDesktop, "done: if it was connected, it was told"},
    {"ping", Ping, "the server answers"},
};

const OrderRow* FindOrder(const std::string& name) {
  for (const OrderRow& row : kOrders) {
    if (name == row.name) return &row;
  }
  return nullptr;
}

// --- Running ---

// The first name that would end its field, or its part of one; nothing when all are sound.
std::optional<std::string> UnsoundName(const ControlOptions& options) {
  std::vector<std::string> names = options.users;
  names.insert(names.end(), {options.computer, options.user, options.font});
  for (const std::string& name : names) {
    if (!FitsAField(name)) return name;
  }
  for (const std::string& part : {options.computer, options.user}) {
    if (!options.user.empty() && part.find('+') != std::string::npos) return part;
  }
  return std::nullopt;
}

int ShowComputer(ControlPeer& peer, const ControlOptions& options, std::ostream& out,
                 std::ostream& errors) {
  std::vector<std::string> values;
  std::string error;
  if (!peer.AskComputer(options.computer, options.waitMs, values, error))
    return Fail(errors, "control", error);
  Listing listing{{"number", "value"}, {}};
  for (size_t i = 0; i < values.size(); ++i) {
    listing.rows.push_back({std::to_string(i + 1), ReadEscapedText(values[i])});
  }
  if (options.json) listing.Print(true, out);
  for (const auto& row : listing.rows) {
    if (!options.json) out << row[0] << "\t" << TerminalLine(row[1]) << "\n";
  }
  return kExitDone;
}

}  // namespace

int RunControl(const std::string& order, const ControlOptions& options, std::ostream& out,
               std::ostream& errors) {
  const OrderRow* row = FindOrder(order);
  if (row == nullptr && order != "info")
    return Fail(errors, "control", "no order " + order, kExitArguments);
  if (const auto name = UnsoundName(options)) {
    return Fail(errors, "control", "a record cannot carry the name " + TerminalLine(*name),
                kExitArguments);
  }
  const std::shared_ptr<const CodePage> codePage = CodePage::Open(options.codePage);
  if (codePage == nullptr) {
    return Fail(errors, "control", "unknown code page " + std::to_string(options.codePage),
                kExitArguments);
  }
  const AnsiCodePage page(codePage);
  ControlPeer peer(page);
  std::string error;
  if (!peer.Open(options.server, options.port, options.waitMs, error))
    return Fail(errors, "control", error);
  if (row == nullptr) return ShowComputer(peer, options, out, errors);
  if (!peer.Order(row->record(options), options.waitMs, error))
    return Fail(errors, "control", error);
  out << row->done << "\n";
  return kExitDone;
}

void AddControlCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<ControlOptions>();
  CLI::App* control = app.add_subcommand(
      "control", "Give orders over the control channel: users, notices, managed computers");
  control->require_subcommand(1);
  control->add_option("--server", options->server, "Name or address of the server")->required();
  control->add_option("--port", options->port, "Port of the server")->capture_default_str();
  AddServerPage(*control, options->codePage, options->appPath);
  control->add_option("--wait-ms", options->waitMs, "How long to wait for each answer")
      ->check(CLI::Range(1, 600'000))
      ->capture_default_str();

  auto add = [&](const char* name, const char* summary) {
    CLI::App* order = control->add_subcommand(name, summary);
    order->callback([&exitCode, options, name = std::string(name)] {
      exitCode = RunControl(name, *options, std::cout, std::cerr);
    });
    return order;
  };
  auto addComputer = [&](const char* name, const char* summary) {
    CLI::App* order = add(name, summary);
    order->add_option("COMPUTER", options->computer, "Name that the computer registered with")
        ->required();
    return order;
  };
  auto addEndpointOrder = [&](const char* name, const char* summary) {
    CLI::App* order = addComputer(name, summary);
    order->add_option("USER", options->user, "User who sits there")->required();
    order->add_option("CODE", options->code, "What the computer's agent is to do")->required();
  };

  CLI::App* disconnect = add("disconnect", "End the sessions of users, and tell the others");
  disconnect->add_option("--reason", options->reason, "Text for those who are disconnected");
  disconnect->add_option("USER", options->users, "UserID; with m behind it the mobile session")
      ->required();
  CLI::App* broadcast = add("broadcast", "Show a notice to every connected client");
  broadcast->add_option("--title", options->title, "Title of the notice");
  broadcast->add_option("--font", options->font, "Font that clients show it in");
  broadcast->add_option("TEXT", options->text, "Text of the notice")->required();
  addComputer("info",
              "List what a computer reports of itself; a console that is connected is let go")
      ->add_flag("--json", options->json, "As a JSON array, an object a value");
  addEndpointOrder("computer", "Order a computer down, and show its user as offline");
  addEndpointOrder("usb", "Switch the USB disks of a computer");
  addComputer("remote-desktop", "Open the remote desktop of a computer");
  addComputer("close-remote-desktop", "Close the remote desktop of a computer");
  add("ping", "See whether the server answers");
}

}  // namespace vnq
