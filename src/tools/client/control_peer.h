// A peer of the server's control channel, for a person's orders: plain text, one connection.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/ansi_text.h"
#include "tools/client/connection.h"

namespace vnq {

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

}  // namespace vnq
