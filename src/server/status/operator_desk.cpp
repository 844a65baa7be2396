#include "server/status/operator_desk.h"

#include <fmt/format.h>

#include <sstream>

#include "host/nodes/crossing.h"
#include "host/values/skipped.h"
#include "platform/system/event_log.h"
#include "server/status/session_list.h"
#include "server/status/status_text.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

constexpr std::string_view kLogout = "logout ", kTrace = "trace";

constexpr const char* kUnknown =
    "error this server does not know that question; is it older than vnqctl?\n";

std::string Ok(const std::string& answer) {
  return "ok\n" + answer;
}

std::string HttpAnswer(std::string_view status, const std::string& body) {
  return fmt::format(
      "HTTP/1.1 {}\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"
      "Content-Length: {}\r\nConnection: close\r\n\r\n{}",
      status, body.size(), body);
}

}  // namespace

OperatorDesk::OperatorDesk(EventLoop& loop, IndexForm& form, std::function<void()> onBeat)
    : loop_(loop),
      form_(form),
      startedMs_(loop.NowMs()),
      pulse_(
          loop, [&form] { return RecordsWorkedOff(form.ports()); }, std::move(onBeat)),
      lines_(loop, "\n", [this](const std::string& line) { return AnswerLine(line); }),
      requests_(loop, "\r\n\r\n", [this](const std::string& head) { return AnswerHttp(head); }),
      socket_(loop),
      listener_(loop) {
  pulse_.SetSlowMs(form.host().platform.log.slowMs);
}

void OperatorDesk::Open(const std::string& socketPath) {
  std::string error;
  auto onLine = [this](AcceptedSocket asker) { lines_.Accept(std::move(asker)); };
  if (!socket_.Listen(socketPath, onLine, error)) {
    LogWarning("control_socket", "vnqctl status will not work: {}", error);
  }
  const PlatformSettings& platform = form_.host().platform;
  if (platform.metricsPort == 0) return;
  auto onRequest = [this](AcceptedSocket asker) { requests_.Accept(std::move(asker)); };
  if (listener_.Listen(platform.metricsAddress, static_cast<uint16_t>(platform.metricsPort),
                       onRequest, error)) {
    LogInfo("metrics", "metrics on http://{}:{}/metrics", platform.metricsAddress,
            platform.metricsPort);
  } else {
    LogError("metrics", "no metrics: cannot listen on {}", error);
  }
}

ServerStatus OperatorDesk::Status() {
  return ReadStatus(form_.host(), form_.ports(), pulse_, startedMs_);
}

void OperatorDesk::LogStatus() {
  std::istringstream text(StatusText(Status()));
  for (std::string line; std::getline(text, line);) {
    if (!line.empty()) LogInfo("status", "status: {}", line);
  }
}

// --- The socket ---

std::string OperatorDesk::AnswerLine(const std::string& line) {
  if (line == "status") return Ok(StatusText(Status()));
  if (line == "status json") return Ok(StatusJson(Status()));
  if (line == "who") return Ok(SessionsText(ReadSessions(form_.host())));
  if (line == "who json") return Ok(SessionsJson(ReadSessions(form_.host())));
  if (line == "presence repair") return RepairPresence(false);
  if (line == "presence repair test") return RepairPresence(true);
  if (line == "keywords") return ReadKeywords();
  if (line.starts_with(kTrace)) return Trace(line.substr(kTrace.size()));
  if (line.starts_with(kLogout)) return EndSessions(line.substr(kLogout.size()));
  return kUnknown;
}

// A line a user: UserID, what was and what is, and the login name.
std::string OperatorDesk::RepairPresence(bool isDryRun) {
  Host& host = form_.host();
  const auto hasSession = [&host](const std::string& userId) {
    return host.SckServer.FirstConnected(userId) != kNoSlot ||
           host.SckServer.FirstConnected(userId + "m") != kNoSlot ||
           HoldsElsewhere(host, NodeArray::kClients, userId) ||
           HoldsElsewhere(host, NodeArray::kClients, userId + "m");
  };
  const auto repaired = vnq::RepairPresence(host.database, hasSession, isDryRun);
  if (!repaired) return "error the database does not answer\n";
  std::string answer;
  for (const RepairedPresence& user : *repaired) {
    answer += fmt::format("{}\t{}\t{}\t{}\n", user.userId, user.was, user.now, user.userName);
  }
  return Ok(answer);
}

std::string OperatorDesk::ReadKeywords() {
  form_.ReadKeywordsAgain();
  const Host& host = form_.host();
  return Ok(fmt::format("the server has read {} masked and {} blocking words\n",
                        host.MaskKeywords.size(), host.BlockKeywords.size()));
}

std::string OperatorDesk::Trace(const std::string& order) {
  RecordTrace& trace = form_.host().trace;
  constexpr std::string_view kOn = " on ", kOff = " off ";
  if (order.starts_with(kOn)) {
    trace.Follow(order.substr(kOn.size()));
  } else if (order.starts_with(kOff)) {
    trace.Leave(order.substr(kOff.size()));
  } else if (!order.empty()) {
    return kUnknown;
  }
  std::string users;
  for (const std::string& user : trace.users()) users += user + "\n";
  return Ok(users);
}

std::string OperatorDesk::EndSessions(const std::string& userIdAndText) {
  Host& host = form_.host();
  const size_t blank = std::min(userIdAndText.find(' '), userIdAndText.size());
  const std::string userId = userIdAndText.substr(0, blank);
  const std::string text = userIdAndText.substr(std::min(blank + 1, userIdAndText.size()));
  const int ended = EndSessionsOf(host, userId, text);
  AskEverywhere(host, order::kGoodbye, {userId, text});
  LogInfo("sessions_ended", "{} sessions of user {} ended by the operator", ended, userId);
  return Ok(fmt::format("{} sessions ended\n", ended));
}

// --- The listener ---

std::string OperatorDesk::AnswerHttp(const std::string& head) {
  std::istringstream firstLine(head.substr(0, head.find("\r\n")));
  std::string method, path;
  firstLine >> method >> path;
  path = path.substr(0, path.find('?'));
  if (method != "GET") return HttpAnswer("405 Method Not Allowed", "only GET\n");
  if (path == "/metrics") return HttpAnswer("200 OK", StatusMetrics(Status()));
  if (path == "/livez") return HttpAnswer("200 OK", "ok\n");
  if (path != "/readyz") return HttpAnswer("404 Not Found", "/metrics, /livez, /readyz\n");
  const std::vector<std::string> faults = Faults();
  if (faults.empty()) return HttpAnswer("200 OK", "ok\n");
  std::string body;
  for (const std::string& fault : faults) body += fault + "\n";
  return HttpAnswer("503 Service Unavailable", body);
}

std::vector<std::string> OperatorDesk::Faults() {
  std::vector<std::string> faults;
  for (const uint16_t port : form_.ports().Unbound()) {
    faults.push_back(fmt::format("port {} is not bound", port));
  }
  if (!DatabaseTakesWrites()) faults.emplace_back("the database takes no write");
  return faults;
}

// Writes a row as it is. A refused commit shows itself only when the turn is ended.
bool OperatorDesk::DatabaseTakesWrites() {
  const int64_t now = loop_.NowMs();
  if (wroteOnce_ && now - lastWriteMs_ < kWriteCountsMs) return lastWriteDone_;
  const uint64_t skippedBefore = SkippedStatements();
  form_.host().database.Execute(Sql("Update UpDateForm set id=id where id=1"));
  loop_.Settle();
  lastWriteDone_ = SkippedStatements() == skippedBefore;
  lastWriteMs_ = now;
  wroteOnce_ = true;
  return lastWriteDone_;
}

}  // namespace vnq
