// Histories for another program: requests and answers, a JSON object a line each.
//
//   {"id":7,"do":"messages","user":"2","device":"desktop","with":"1","limit":50}
//   {"id":7,"result":{"entries":[...],"more":false}}
//   {"id":8,"kind":"bad_request","error":"limit must be 1 to 1000"}
//
//   do              takes besides user and device                        result
//   settings        nothing, no user either                              code_page, engine
//   conversations                                                        conversations
//   messages        with, group or notices; limit, before, after, since  entries, more
//   unread          limit                                                entries, more
//   search          words; messages' own, with or without conversation   entries, more
//   read            entries, or a conversation with or without through   marked
//   requests                                                             requests
//   forget_requests requests                                             forgotten
//   people, members (group), profile (of), states (of, an array)         see directory.h
//   leave           for, visitor, name, text; no user                    stored
//
// Who asks is trusted to name a user who has been proven. The answers to one line never depend on
// another.
#pragma once

#include <string>
#include <string_view>

#include "tools/history/history_store.h"
#include "tools/history/json_request.h"
#include "tools/history/request_answer.h"

namespace vnq {

class HistoryService {
 public:
  /// The store must outlive the service.
  explicit HistoryService(HistoryStore& store) : store_(&store) {}

  /// The answer to a request, one line without its end.
  std::string Answer(std::string_view line);

 private:
  RequestAnswer Do(const JsonRequest& request);

  HistoryStore* store_;
};

}  // namespace vnq
