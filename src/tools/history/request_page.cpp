#include "tools/history/request_page.h"

#include <fmt/format.h>

#include "tools/client/chat_text.h"
#include "tools/history/history_page.h"
#include "tools/history/parked_requests.h"
#include "tools/library/json_string.h"

namespace vnq {
namespace {

constexpr size_t kMostRequests = 1000;

std::string AsJson(const ParkedRequest& request, NameBook& names) {
  const bool isGroup = request.To_Type1 == "2";
  return fmt::format(
      R"({{"time":{},"text":{},"name":{},"target_name":{},"ClotID":{},"UserID2":{},"UserText":{},)"
      R"("To_Type1":{},"To_Type2":{},"To_Type3":{},"To_Type4":{}}})",
      JsonString(request.To_Date), JsonString(ReadEscapedText(request.UserText)),
      JsonString(names.UserName(request.UserID2)),
      JsonString(isGroup ? names.GroupName(request.ClotID) : names.UserName(request.ClotID)),
      JsonString(request.ClotID), JsonString(request.UserID2), JsonString(request.UserText),
      JsonString(request.To_Type1), JsonString(request.To_Type2), JsonString(request.To_Type3),
      JsonString(request.To_Type4));
}

ParkedRequest RequestOf(const JsonRequest& json) {
  return {json.Text("ClotID"),   json.Text("UserID2"),  json.Text("UserText"),
          json.Text("To_Type1"), json.Text("To_Type2"), json.Text("To_Type3"),
          json.Text("To_Type4"), json.Text("time")};
}

}  // namespace

RequestAnswer WaitingRequests(HistoryStore& store, const JsonRequest& request) {
  std::vector<ParkedRequest> requests;
  if (!ReadParkedRequests(store.database(), request.Text("user"), DeviceOf(request), requests)) {
    return RequestAnswer::Failure("database", store.database().driver().LastError());
  }
  if (requests.size() > kMostRequests) requests.resize(kMostRequests);
  std::string list;
  for (const ParkedRequest& each : requests) {
    list += (list.empty() ? "" : ",") + AsJson(each, store.names());
  }
  return RequestAnswer::Of("{\"requests\":[" + list + "]}");
}

RequestAnswer ForgetRequests(HistoryStore& store, const JsonRequest& request) {
  const JsonValue* named = request.Find("requests");
  const JsonCollection* list = named == nullptr ? nullptr : named->AsCollection();
  if (list == nullptr || list->Count() > kMostRequests) {
    return RequestAnswer::Failure("bad_request",
                                  fmt::format("requests must be up to {} objects", kMostRequests));
  }
  std::vector<ParkedRequest> requests;
  requests.reserve(list->Count());
  for (const JsonValue& item : list->Items()) {
    requests.push_back(RequestOf(JsonRequest(item.AsDictionary())));
  }
  std::string error;
  const bool dropped = DropParkedRequests(store.database(), store.engine(), request.Text("user"),
                                          DeviceOf(request), requests, error);
  return dropped ? RequestAnswer::Of(R"({"forgotten":true})")
                 : RequestAnswer::Failure("database", error);
}

}  // namespace vnq
