#include "host/manager_notice.h"

#include <spdlog/spdlog.h>

#include <memory>
#include <utility>

#include "host/host.h"
#include "host/slots/records.h"
#include "platform/net/tcp_client.h"
#include "support/base64_text.h"
#include "support/replace_all.h"

namespace vnq {
namespace {

constexpr uint16_t kMainPort = 6004;

// The properties of one notice, by the names that the receiving command knows them by.
struct Notice {
  std::string MyUserName, YouUserNames, ntitle, ncontent, nlink;
};

constexpr int kToNamedUsers = 3;

// The reader takes line ends out and then begins a record at each ".+": what people have named
// themselves is not to be one.
std::string WithoutRecords(std::string text) {
  std::erase(text, '\r');
  std::erase(text, '\n');
  ReplaceAll(text, kRecordPrefix, ". +");
  return text;
}

Expr InterfaceInformationRecord(const Notice& notice) {
  const Expr fields = Join(notice.MyUserName, "|", notice.YouUserNames, "|", notice.ntitle, "|",
                           notice.ncontent, "|", notice.nlink, "|", kToNamedUsers, "|#");
  return Join(".+interface_information|", Map(fields, WithoutRecords));
}

// Each name is followed by a comma, the last one too.
std::string ManagerNames(Host& host) {
  std::string names;
  Cursor managers(host.database);
  managers.Open(Sql("Select UserName from Users_ID where IsManager=1 and UserState=1"));
  for (; !managers.EndOfRows(); managers.MoveNext()) Append(names, Join(managers["UserName"], ","));
  return names;
}

Notice MakeNotice(Host& host, const Expr& userName, const Expr& displayName, int16_t kind) {
  Notice notice;
  Assign(notice.MyUserName, userName);
  notice.YouUserNames = ManagerNames(host);
  if (kind == kGroupFileNotice) {
    notice.ntitle = host.ReadLang("im300");
    Assign(notice.ncontent, Join("\"", displayName, "\"", host.ReadLang("im301")));
  } else if (kind == kApplicationNotice) {
    notice.ntitle = host.ReadLang("im304");
    Assign(notice.ncontent, Join("\"", displayName, "(", userName, ")\"", host.ReadLang("im305")));
  }
  return notice;
}

// Sends the bytes once the server has greeted. The timer owns the connection until one of the ends
// has come.
void SendBehindGreeting(EventLoop& loop, AcceptedSocket socket, std::string bytes) {
  const auto connection = TcpConnection::Start(loop, std::move(socket), {});
  const auto timer = loop.RunAfter(kManagerNoticeTimeoutMs, [connection] {
    spdlog::debug("manager notice: no greeting");
    connection->Close();
  });
  TcpConnection::Events events;
  const std::weak_ptr<TcpConnection> own = connection;
  events.onArrival = [&loop, own, timer, bytes = std::move(bytes)](const std::string&) {
    const auto open = own.lock();
    if (!open) return;
    open->Send(bytes);
    open->Close();
    loop.StopTimer(timer);
  };
  events.onPeerClosed = [&loop, own, timer] {
    const auto keepAlive = own.lock();  // the timer may hold the last reference
    loop.StopTimer(timer);
  };
  connection->SetEvents(std::move(events));
}

}  // namespace

void PushToManagers(Host& host, const Expr& userName, const Expr& displayName, int16_t kind) {
  if (Skips("PushToManagers", userName, displayName) || host.settings.CheckIM0 == 0) return;
  const Expr record = InterfaceInformationRecord(MakeNotice(host, userName, displayName, kind));
  std::string bytes = Base64EncodeText(host.page, record.text());
  ConnectTcp(host.loop, host.ServerIp, kMainPort, kManagerNoticeTimeoutMs,
             [&loop = host.loop, bytes = std::move(bytes)](std::optional<AcceptedSocket> socket) {
               if (!socket) return spdlog::debug("manager notice: no connection");
               SendBehindGreeting(loop, std::move(*socket), bytes);
             });
}

}  // namespace vnq
