#include "host/outgoing/outgoing_calls.h"

#include <random>
#include <utility>

#include "host/outgoing/response_text.h"
#include "support/replace_all.h"
#include "support/text_codecs.h"
#include "support/utf8.h"

namespace vnq {
namespace {

// Two tables: the numbers of a request and of the fallback differ from 5 on.
constexpr std::string_view kRequestedServices[] = {
    "VNQ_SetverPic_Service", "VNQ_Upload_Service", "VNQ_Download_Service",
    "VNQ_Main_Service",      "VNQ_Telnet_Service",
};
constexpr std::string_view kShellServices[] = {
    "VNQ_SetverPic_Service", "VNQ_Upload_Service", "VNQ_Download_Service", "VNQ_Main_Service",
    "VNQ_Site_Service",      "VNQ_Web_Service",    "VNQ_Telnet_Service",
};
constexpr int32_t kSiteService = 5;  // in kShellServices

// The name with this number, counted from 1; empty outside the table.
template <size_t kCount>
std::string_view ServiceName(const std::string_view (&names)[kCount], int32_t number) {
  if (number < 1 || static_cast<size_t>(number) > kCount) return "";
  return names[number - 1];
}

bool IsOneCharacter(std::string_view text) {
  if (text.empty()) return false;
  size_t at = 0;
  NextCodePoint(text, at);
  return at == text.size();
}

size_t CharacterCount(std::string_view text) {
  size_t count = 0;
  for (size_t at = 0; at < text.size();) count += NextCodePoint(text, at) > 0xFFFF ? 2 : 1;
  return count;
}

// At least 0 and below 1, with at most seven digits and no exponent.
std::string RandomNumberText() {
  std::mt19937 generator(std::random_device{}());
  const int value = std::uniform_int_distribution<int>(0, 9'999'999)(generator);
  std::string digits = std::to_string(value);
  digits.insert(0, 7 - digits.size(), '0');
  digits.erase(digits.find_last_not_of('0') + 1);
  return digits.empty() ? "0" : "0." + digits;
}

std::string CommandFor(std::string_view service, std::string command) {
  ReplaceAll(command, "%s", service);
  return command;
}

}  // namespace

OutgoingCalls::OutgoingCalls(HttpClient& http, CommandRunner& commands, const AnsiText& page,
                             OutgoingSettings settings)
    : http_(http), commands_(commands), page_(page), settings_(std::move(settings)) {}

std::string OutgoingCalls::HttpPost(const std::string& url, const std::string& body, int mode) {
  HttpRequest request;
  request.method = "POST";
  request.url = url;
  // Kept: characters, not bytes; the two differ only for a form that is not ASCII.
  request.headers = {{"Content-Length", std::to_string(CharacterCount(body))},
                     {"Content-Type", "application/x-www-form-urlencoded"}};
  request.body = body;
  // Yields: settings and slots may have changed by the time of the answer.
  const HttpResponse response = http_.Perform(std::move(request));
  if (!response.ok) return "";
  if (mode == kResponseText) return ResponseText(response.body, response.contentType);
  if (mode == kResponseBytes) return response.body;
  if (mode == kAnsiText) return BytesToText(response.body);
  return "";
}

std::string OutgoingCalls::BytesToText(std::string_view bytes) const {
  std::string text;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (byte < 128) {
      text += bytes[i];
      continue;
    }
    const std::string_view pair = bytes.substr(i, 2);
    const std::string character = page_.FromBytes(pair);
    if (pair.size() == 2 && IsOneCharacter(character)) text += character;
    ++i;
  }
  return text;
}

std::string OutgoingCalls::BuildPublicUrl(std::string_view page, std::string_view op,
                                          std::string_view extra) const {
  std::string url = "http://" + settings_.DataBaseIp + ":98/public/";
  url.append(page).append(".html?op=").append(op);
  if (!extra.empty()) url.append("&").append(extra);
  return url + "&rnd=" + RandomNumberText();
}

void OutgoingCalls::SameTime(int32_t code, int32_t service) {
  if (code != kRestartCode) return;
  // Kept: a number outside the table finds no name, and the steps behind it still run.
  const std::string name(ServiceName(kRequestedServices, service));
  const std::string url = BuildPublicUrl("service", "set_status", "myid=public");
  const std::string body = "services=" + name + "&service_op=restart";
  const std::string result = HttpPost(url, body, kResponseText);
  // Kept: the site service whichever sibling was asked for, since it is the one that did not
  // answer.
  if (result.empty()) RestartByShell(kSiteService);
}

void OutgoingCalls::RestartByShell(int32_t number) {
  const std::string_view name = ServiceName(kShellServices, number);
  if (name.empty() || stopping_.contains(number)) return;
  commands_.Start(CommandFor(name, settings_.stopCommand));
  if (settings_.restartBlocks) {
    commands_.BlockFor(kServiceStopMs);
  } else {
    stopping_.insert(number);
    commands_.WaitFor(kServiceStopMs);
    stopping_.erase(number);
  }
  commands_.Start(CommandFor(name, settings_.startCommand));
}

void OutgoingCalls::SendPush(const std::string& PushUrl, const std::string& text,
                             HttpClient::OnEnd onEnd) {
  HttpRequest request;
  request.url = UrlEncodeUtf8(PushUrl + "?bigdata=" + text);
  request.timeoutMs = kPushTimeoutMs;
  http_.Send(std::move(request), std::move(onEnd));
}

}  // namespace vnq
