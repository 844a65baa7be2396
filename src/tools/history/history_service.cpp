#include "tools/history/history_service.h"

#include <fmt/format.h>

#include <map>
#include <vector>

#include "host/database/database_engine.h"
#include "platform/net/clock.h"
#include "support/dates.h"
#include "support/json/json_writer.h"
#include "support/text_codecs.h"
#include "tools/client/chat_text.h"
#include "tools/history/directory.h"
#include "tools/history/history_page.h"
#include "tools/history/request_page.h"
#include "tools/library/json_string.h"

namespace vnq {
namespace {

using Handler = RequestAnswer (*)(HistoryStore&, const JsonRequest&);

RequestAnswer Settings(HistoryStore& store, const JsonRequest&) {
  return RequestAnswer::Of(fmt::format(R"({{"code_page":{},"engine":{}}})",
                                       store.folder().codePage->number(),
                                       JsonString(EngineName(store.engine()))));
}

RequestAnswer Search(HistoryStore& store, const JsonRequest& request) {
  if (!request.Text("words").empty()) return Messages(store, request);
  return RequestAnswer::Failure("bad_request", "words to search for must be given");
}

RequestAnswer People(HistoryStore& store, const JsonRequest& request) {
  return ReadDirectory(store.database(), request.Text("user"));
}

RequestAnswer Members(HistoryStore& store, const JsonRequest& request) {
  return ReadMembers(store.database(), request.Text("user"), request.Text("group"));
}

RequestAnswer Profile(HistoryStore& store, const JsonRequest& request) {
  return ReadProfile(store.database(), request.Text("user"), request.Text("of"));
}

RequestAnswer States(HistoryStore& store, const JsonRequest& request) {
  std::vector<std::string> of;
  const JsonValue* named = request.Find("of");
  if (named != nullptr && named->AsCollection() != nullptr) {
    for (const JsonValue& id : named->AsCollection()->Items()) {
      if (id.AsText() != nullptr) of.push_back(*id.AsText());
    }
  }
  return ReadStates(store.database(), of);
}

// A visitor's line waits in the store that an agent's client asks for at its log-in, and with which
// the server then does away.
RequestAnswer Leave(HistoryStore& store, const JsonRequest& request) {
  const std::string agent = request.Text("for"), visitor = request.Text("visitor");
  if (agent.empty() || visitor.empty() || !FitsAField(visitor)) {
    return RequestAnswer::Failure("bad_request", "for and visitor must be given");
  }
  const auto text = [](std::string value) { return SqlValue::Text(std::move(value)); };
  const std::vector<SqlValue> values = {text(agent),
                                        text(visitor),
                                        text(FieldText(request.Text("name"))),
                                        text(SystemClock().Now().DateAndTime()),
                                        SqlValue::Integer(1),
                                        text(EscapeText(request.Text("text")))};
  SqlDriver& driver = store.database().driver();
  const bool stored =
      driver.Execute(
          "insert into MessengKefu_Type(UserID1,UserID2,FcName,To_Date,To_Type,UserText) "
          "values(?,?,?,?,?,?)",
          values) &&
      driver.SyncCommitted();
  return stored ? RequestAnswer::Of(R"({"stored":true})")
                : RequestAnswer::Failure("database", driver.LastError());
}

struct Request {
  Handler handler;
  bool isOfUser;
};

const std::map<std::string, Request>& Requests() {
  static const std::map<std::string, Request> requests = {
      {"settings", {Settings, false}},
      {"conversations", {Conversations, true}},
      {"messages", {Messages, true}},
      {"unread", {Unread, true}},
      {"search", {Search, true}},
      {"read", {Read, true}},
      {"requests", {WaitingRequests, true}},
      {"forget_requests", {ForgetRequests, true}},
      {"people", {People, true}},
      {"members", {Members, true}},
      {"profile", {Profile, true}},
      {"states", {States, false}},
      {"leave", {Leave, false}},
  };
  return requests;
}

// Why a request means nothing; empty when it does.
std::string Fault(const JsonRequest& request) {
  const std::string device = request.Text("device"), since = request.Text("since");
  if (!request.isObject()) return "not a JSON object";
  if (!device.empty() && device != "desktop" && device != "mobile") {
    return "device must be desktop or mobile";
  }
  if (!since.empty() && !ParseDateAndTime(since)) return "since must be a date";
  for (const char* key : {"user", "with", "group", "of"}) {
    if (request.Text(key).find('\'') != std::string::npos) return "an id cannot hold a quote";
  }
  return "";
}

}  // namespace

RequestAnswer HistoryService::Do(const JsonRequest& request) {
  const std::string fault = Fault(request);
  if (!fault.empty()) return RequestAnswer::Failure("bad_request", fault);
  const auto found = Requests().find(request.Text("do"));
  if (found == Requests().end()) return RequestAnswer::Failure("bad_request", "no such request");
  if (found->second.isOfUser && request.Text("user").empty()) {
    return RequestAnswer::Failure("bad_request", "user must be given");
  }
  store_->names().Forget();
  return found->second.handler(*store_, request);
}

std::string HistoryService::Answer(std::string_view line) {
  const JsonRequest request(line);
  const RequestAnswer answer = Do(request);
  const JsonValue* id = request.Find("id");
  const std::string idText = id == nullptr ? "null" : WriteJson(*id);
  if (answer.kind.empty()) return fmt::format(R"({{"id":{},"result":{}}})", idText, answer.result);
  return fmt::format(R"({{"id":{},"kind":"{}","error":{}}})", idText, answer.kind,
                     JsonString(answer.error));
}

}  // namespace vnq
