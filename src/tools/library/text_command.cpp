#include "tools/library/text_command.h"

#include <functional>
#include <iostream>
#include <iterator>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/settings/ansi_code_page.h"
#include "support/ascii_case.h"
#include "support/base64_text.h"
#include "support/hex_digits.h"
#include "support/ids.h"
#include "support/numbers.h"
#include "support/sha1.h"
#include "support/text_codecs.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

using Text = std::string_view;

struct Codec {
  const char* name;
  const char* summary;
  std::string (*run)(const AnsiText& page, Text input);
};

constexpr Codec kCodecs[] = {
    {"escape", "percent-escape a chat text",
     [](const AnsiText&, Text text) { return EscapeText(text); }},
    {"unescape", "read the percent escapes of a chat text", UnescapeText},
    {"url-encode", "percent-encode what is not ASCII",
     [](const AnsiText&, Text text) { return UrlEncodeUtf8(text); }},
    {"url-decode", "read the percent escapes of a web text",
     [](const AnsiText&, Text text) { return UrlDecodeUtf8(text); }},
    {"base64-encode", "encode a text as it travels", Base64EncodeText},
    {"base64-decode", "decode a text as it travels",
     [](const AnsiText& page, Text text) { return Base64DecodeText(page, page.ToBytes(text)); }},
};

struct LineRoutine {
  const char* name;
  const char* summary;
  std::string (*run)(std::istream& in);
};

std::string ReadAll(std::istream& in) {
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string ReadLine(std::istream& in) {
  std::string line;
  std::getline(in, line);
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

std::string Sha1Digits(Text bytes) {
  std::string digits;
  for (const char byte : Sha1Bytes(bytes)) AppendHex(digits, static_cast<unsigned char>(byte), 2);
  return AsciiLower(digits);
}

constexpr LineRoutine kLineRoutines[] = {
    {"sha1", "the SHA-1 digest of the bytes",
     [](std::istream& in) { return Sha1Digits(ReadAll(in)); }},
    {"guid", "a new identifier", [](std::istream&) { return NewGuidString(); }},
    {"ip-number", "the number of the address on the first line",
     [](std::istream& in) { return FormatNumber(IpToNumber(ReadLine(in))); }},
};

int RunCodec(const Codec& codec, int codePage, std::istream& in, std::ostream& out,
             std::ostream& errors) {
  const std::shared_ptr<const CodePage> page = CodePage::Open(codePage);
  if (!page) {
    return Fail(errors, "text", "unknown code page " + std::to_string(codePage), kExitArguments);
  }
  out << codec.run(AnsiCodePage(page), ReadAll(in)) << std::flush;
  return 0;
}

}  // namespace

int RunTextRoutine(const std::string& name, int codePage, std::istream& in, std::ostream& out,
                   std::ostream& errors) {
  for (const Codec& codec : kCodecs) {
    if (name == codec.name) return RunCodec(codec, codePage, in, out, errors);
  }
  for (const LineRoutine& routine : kLineRoutines) {
    if (name != routine.name) continue;
    out << routine.run(in) << '\n' << std::flush;
    return 0;
  }
  return Fail(errors, "text", "unknown routine " + name, kExitArguments);
}

void AddTextCommand(CLI::App& app, int& exitCode) {
  CLI::App* text =
      app.add_subcommand("text", "Codecs and small routines on standard input and output");
  text->require_subcommand(1);
  const auto codePage = std::make_shared<int>(kTextCodePage);
  auto add = [&](const char* name, const char* summary) {
    CLI::App* routine = text->add_subcommand(name, summary);
    routine->callback([&exitCode, codePage, name = std::string(name)] {
      exitCode = RunTextRoutine(name, *codePage, std::cin, std::cout, std::cerr);
    });
    return routine;
  };
  for (const Codec& codec : kCodecs) {
    add(codec.name, codec.summary)
        ->add_option("--code-page", *codePage, "number of the code page")
        ->capture_default_str();
  }
  for (const LineRoutine& routine : kLineRoutines) add(routine.name, routine.summary);
}

}  // namespace vnq
