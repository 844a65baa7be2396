// What a request of another program is answered with.
#pragma once

#include <string>
#include <utility>

namespace vnq {

struct RequestAnswer {
  std::string result;  ///< JSON; empty after a failure
  std::string kind;    ///< of a failure: bad_request, not_found, not_allowed or database
  std::string error;   ///< of a failure, in words

  static RequestAnswer Of(std::string result) { return {std::move(result), {}, {}}; }
  static RequestAnswer Failure(std::string kind, std::string error) {
    return {{}, std::move(kind), std::move(error)};
  }
};

}  // namespace vnq
