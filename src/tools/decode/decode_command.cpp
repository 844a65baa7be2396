#include "tools/decode/decode_command.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/settings/ansi_code_page.h"
#include "host/values/fields.h"
#include "tools/client/chat_text.h"
#include "tools/client/server_page.h"
#include "tools/decode/capture_file.h"
#include "tools/decode/port_stream.h"
#include "tools/library/json_string.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

// Where and when a record was seen; without a capture nothing is known of that.
struct Sighting {
  uint16_t port = 0;
  Side from = Side::kServer;
  std::string client;
  double seconds = 0;
};

class Printer {
 public:
  Printer(const DecodeOptions& options, std::ostream& out) : options_(options), out_(out) {}

  void Print(const Sighting& seen, const std::string& record) {
    std::vector<std::string> fields = SplitText(record, "|");
    const std::string word = fields.front();
    fields.erase(fields.begin());
    const RecordForm* const form = FindRecordForm(seen.port, seen.from, word, fields.size());
    if (options_.json) {
      PrintJson(seen, word, form, fields);
    } else {
      PrintLines(seen, word, form, fields);
    }
  }

 private:
  static std::string NameOf(const RecordForm* form, size_t field) {
    const bool isNamed = form != nullptr && field < form->names.size() &&
                         form->names[field] != "#" && !form->names[field].empty();
    return isNamed ? std::string(form->names[field]) : fmt::format("field {}", field + 1);
  }

  std::string Shown(const std::string& name, const std::string& value) const {
    const bool isSecret = name == "password" || name == "new password";
    return isSecret && !options_.passwords ? "(hidden)" : value;
  }

  void PrintLines(const Sighting& seen, const std::string& word, const RecordForm* form,
                  const std::vector<std::string>& fields) {
    const bool fromClient = seen.from == Side::kClient;
    const std::string who = seen.client.empty() ? "client" : seen.client;
    out_ << fmt::format("{} {} {} {}{}\n", who, fromClient ? ">" : "<", seen.port,
                        TerminalLine(word), form == nullptr ? " (not known)" : "");
    for (size_t i = 0; i < fields.size(); ++i) {
      if (i + 1 == fields.size() && (fields[i] == "#" || fields[i].empty())) break;
      const std::string name = NameOf(form, i);
      out_ << "    " << name << ": " << TerminalLine(Shown(name, fields[i])) << "\n";
    }
  }

  void PrintJson(const Sighting& seen, const std::string& word, const RecordForm* form,
                 const std::vector<std::string>& fields) {
    out_ << fmt::format(R"({{"port":{},"from":"{}","word":{})", seen.port,
                        seen.from == Side::kClient ? "client" : "server", JsonString(word));
    if (!seen.client.empty()) {
      out_ << fmt::format(R"(,"client":{},"time":{:.6f})", JsonString(seen.client), seen.seconds);
    }
    out_ << R"(,"fields":[)";
    for (size_t i = 0; i < fields.size(); ++i) {
      const std::string name = NameOf(form, i);
      out_ << (i == 0 ? "" : ",")
           << fmt::format(R"({{"name":{},"value":{}}})", JsonString(name),
                          JsonString(Shown(name, fields[i])));
    }
    out_ << "]}\n";
  }

  const DecodeOptions& options_;
  std::ostream& out_;
};

void PrintStream(const DecodeOptions& options, const AnsiText& page, std::string_view bytes,
                 Printer& printer) {
  const auto stream = PortStream::Of(static_cast<uint16_t>(options.port), options.from, page);
  const Sighting seen{static_cast<uint16_t>(options.port), options.from, "", 0};
  for (const std::string& record : stream->Feed(bytes)) printer.Print(seen, record);
  for (const std::string& record : stream->TakeRest()) printer.Print(seen, record);
}

// Both sides of all connections to a port that is known.
class CapturePrinter {
 public:
  CapturePrinter(const AnsiText& page, Printer& printer) : page_(page), printer_(printer) {}

  void Take(const CapturedBytes& captured) {
    const bool fromClient = IsKnownPort(captured.targetPort);
    if (!fromClient && !IsKnownPort(captured.sourcePort)) return;
    Direction& direction = directions_[captured.source + ">" + captured.target];
    direction.seen = {fromClient ? captured.targetPort : captured.sourcePort,
                      fromClient ? Side::kClient : Side::kServer,
                      fromClient ? captured.source : captured.target, captured.seconds};
    if (direction.stream == nullptr) {
      direction.stream = PortStream::Of(direction.seen.port, direction.seen.from, page_);
    }
    Print(direction, direction.stream->Feed(captured.bytes));
  }

  void TakeRest() {
    for (auto& [name, direction] : directions_) Print(direction, direction.stream->TakeRest());
  }

 private:
  struct Direction {
    std::unique_ptr<PortStream> stream;
    Sighting seen;
  };

  void Print(const Direction& direction, const std::vector<std::string>& records) {
    for (const std::string& record : records) printer_.Print(direction.seen, record);
  }

  const AnsiText& page_;
  Printer& printer_;
  std::map<std::string, Direction> directions_;
};

}  // namespace

int RunDecodeCommand(const DecodeOptions& options, std::istream& in, std::ostream& out,
                     std::ostream& err) {
  const auto codePage = CodePage::Open(options.codePage);
  if (!codePage) {
    return Fail(err, "decode", fmt::format("unknown code page {}", options.codePage),
                kExitArguments);
  }
  std::ifstream file;
  errno = 0;
  if (!options.file.empty()) file.open(options.file, std::ios::binary);
  if (!options.file.empty() && (!file || file.peek() == std::ifstream::traits_type::eof())) {
    const char* const why = errno == 0 ? "it is empty" : std::strerror(errno);
    return Fail(err, "decode", fmt::format("cannot read {}: {}", options.file, why));
  }
  std::istream& input = options.file.empty() ? in : file;
  const std::string bytes(std::istreambuf_iterator<char>(input), {});
  const AnsiCodePage page(codePage);
  Printer printer(options, out);
  if (!IsCapture(bytes)) {
    PrintStream(options, page, bytes, printer);
    return kExitDone;
  }
  CapturePrinter capture(page, printer);
  std::string error;
  const auto take = [&](const CapturedBytes& captured) { capture.Take(captured); };
  if (!ReadCapture(bytes, take, error)) return Fail(err, "decode", error);
  capture.TakeRest();
  return kExitDone;
}

void AddDecodeCommand(CLI::App& app, int& exitCode) {
  CLI::App* decode =
      app.add_subcommand("decode", "Show captured bytes of the six ports as records");
  const auto options = std::make_shared<DecodeOptions>();
  const auto appPath = std::make_shared<std::string>();
  const auto from = std::make_shared<std::string>("server");
  decode->add_option("FILE", options->file,
                     "a capture (pcap), or the bytes of one side; without it standard input");
  decode->add_option("--port", options->port, "the port of bytes that are no capture")
      ->check(CLI::IsMember({6001, 6002, 6003, 6004, 6007, 6008}))
      ->capture_default_str();
  decode->add_option("--from", *from, "who sent bytes that are no capture: client or server")
      ->check(CLI::IsMember({"client", "server"}))
      ->capture_default_str();
  decode->add_flag("--json", options->json, "an object a line");
  decode->add_flag("--passwords", options->passwords, "show passwords as they are");
  AddServerPage(*decode, options->codePage, *appPath);
  decode->callback([&exitCode, options, appPath, from] {
    options->from = *from == "client" ? Side::kClient : Side::kServer;
    exitCode = RunDecodeCommand(*options, std::cin, std::cout, std::cerr);
  });
}

}  // namespace vnq
