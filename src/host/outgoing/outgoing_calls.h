// Calls that leave this machine, and the control of its services: the restart of a sibling service
// that fell silent, and the push of notices to mobile devices.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "platform/net/http_client.h"
#include "platform/system/command_runner.h"
#include "support/ansi_text.h"

namespace vnq {

/// What a deployment tells about the machines that are called.
struct OutgoingSettings {
  std::string DataBaseIp;  ///< host of the database, and of the public pages on port 98
  std::string stopCommand =
      "systemctl stop %s";  ///< shell command; each "%s" is the service's name
  std::string startCommand = "systemctl start %s";  ///< the same
  bool restartBlocks = true;  ///< false: everything else goes on while a service has time to stop
};

class OutgoingCalls {
 public:
  /// What HttpPost makes of an answer.
  static constexpr int kResponseText = 1;   ///< text, by the answer's own charset
  static constexpr int kResponseBytes = 2;  ///< the bytes as they came
  static constexpr int kAnsiText = 3;       ///< text by BytesToText

  /// The code on which SameTime acts.
  static constexpr int32_t kRestartCode = 201;

  /// How long a service has to stop before it is started again.
  static constexpr int64_t kServiceStopMs = 10'000;

  /// How long a push may take.
  static constexpr int64_t kPushTimeoutMs = 30'000;

  /// What is passed by reference must outlive this object.
  OutgoingCalls(HttpClient& http, CommandRunner& commands, const AnsiText& page,
                OutgoingSettings settings);

  /// Posts a form and waits for the answer, without a bound.
  ///
  /// body  form text; goes out as UTF-8, and its length is announced in 16-bit characters.
  /// mode  kResponseText, kResponseBytes or kAnsiText; any other gives the empty result.
  ///
  /// An answer with an error status counts as an answer. No answer, or half of one: empty.
  /// Only in a handler. Yields: yes.
  std::string HttpPost(const std::string& url, const std::string& body, int mode);

  /// Text of bytes: those below 128 by themselves, any other together with the one behind it as one
  /// character of the code page. A pair that is no double-byte character of the page, and a single
  /// one at the end, add nothing.
  std::string BytesToText(std::string_view bytes) const;

  /// "http://<DataBaseIp>:98/public/<page>.html?op=<op>[&<extra>]&rnd=<0.nnnnnnn>", the number a
  /// fresh one each time, so that no cache answers.
  std::string BuildPublicUrl(std::string_view page, std::string_view op,
                             std::string_view extra) const;

  /// Asks the service host on the database machine to restart a sibling service, and restarts
  /// `VNQ_Site_Service` here when it does not answer.
  ///
  /// code     anything but 201 does nothing.
  /// service  1 VNQ_SetverPic_Service
  ///          2 VNQ_Upload_Service
  ///          3 VNQ_Download_Service
  ///          4 VNQ_Main_Service
  ///          5 VNQ_Telnet_Service
  ///          for any other number the request goes out with an empty name.
  ///
  /// Only in a handler. Yields: yes, until the host has answered.
  void SameTime(int32_t code, int32_t service);

  /// Stops a service of this machine, blocks the whole event thread for ten seconds, and starts it
  /// again.
  ///
  /// number  1 VNQ_SetverPic_Service     5 VNQ_Site_Service
  ///         2 VNQ_Upload_Service        6 VNQ_Web_Service
  ///         3 VNQ_Download_Service      7 VNQ_Telnet_Service
  ///         4 VNQ_Main_Service          any other does nothing
  ///
  /// Exit codes are not read. Yields: no; but where the deployment wants no blocking: yes, and a
  /// second call for a service while it stops does nothing.
  void RestartByShell(int32_t number);

  /// Hands queued notices to the push server by one GET of `<PushUrl>?bigdata=<text>`; nobody waits
  /// for the answer, and `onEnd` is told what came of it. Yields: no.
  void SendPush(const std::string& PushUrl, const std::string& text, HttpClient::OnEnd onEnd = {});

 private:
  HttpClient& http_;
  CommandRunner& commands_;
  const AnsiText& page_;
  OutgoingSettings settings_;
  std::set<int32_t> stopping_;  // services that have not been started again yet
};

}  // namespace vnq
