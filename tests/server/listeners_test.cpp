// Listeners beside the six fixed ones: the same protocols, travelling in other ways.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "platform/net/tls.h"
#include "support/base64_text.h"
#include "tests/harness/app_folder.h"
#include "tests/harness/certificate.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"
#include "tests/webgate/visitor_client.h"

namespace vnq {
namespace {

constexpr uint16_t kPort = 16004;
constexpr const char* kGreeting = ".+SuccessfulConnection|#";
constexpr const char* kMessage = ".+message|2|1|hello|font|id1|1|#";
constexpr const char* kReceipt = ".+reply|1|2|id1|#";

// A client whose bytes go through TLS.
class TlsTestClient {
 public:
  TlsTestClient(TestServer& server, uint16_t port, const TlsTrust& trust,
                const std::string& host = "im.example")
      : client_(server.ConnectTo(port)), page_(server.page()) {
    std::string error;
    EXPECT_TRUE(tls_.Load(trust, error)) << error;
    filter_ = tls_.Filter(host);
    Take(filter_->FromPeer(""));
    Receive();
  }
  void Send(const std::string& records) {
    client_.SendBytes(filter_->ToPeer(Base64EncodeText(page_, records)));
  }
  // Everything that has come since the last call, decoded.
  std::string Receive() {
    for (std::string wire; !(wire = client_.ReceiveBytes()).empty();) Take(filter_->FromPeer(wire));
    std::string text;
    for (const std::string& each : std::exchange(arrivals_, {})) {
      text += Base64DecodeText(page_, each);
    }
    heard_ += text;
    return text;
  }
  const std::string& heard() const { return heard_; }
  bool IsReady() const { return filter_->IsReady(); }
  bool EndedInOrder() {
    Receive();
    return ended_ && filter_->Fault().empty();
  }
  std::string Fault() const { return filter_->Fault(); }
  void TakeLeave() {
    client_.SendBytes(filter_->Farewell());
    client_.Close();
  }

 private:
  void Take(StreamFilter::Result result) {
    for (std::string& each : result.arrivals) arrivals_.push_back(std::move(each));
    ended_ = ended_ || result.ended;
    if (!result.wire.empty()) client_.SendBytes(result.wire);
  }

  TestClient client_;
  const AnsiText& page_;
  TlsClient tls_;
  std::unique_ptr<StreamFilter> filter_;
  std::vector<std::string> arrivals_;
  std::string heard_;
  bool ended_ = false;
};

class Listeners : public ::testing::Test {
 protected:
  ListenerSettings Plain() {
    ListenerSettings listener;
    listener.name = "more";
    listener.protocol = 6004;
    listener.port = kPort;
    return listener;
  }
  ListenerSettings Tls() {
    certificate = MakeCertificate(folder.path(), "127.0.0.1");
    ListenerSettings listener = Plain();
    listener.tls = true;
    listener.certificateFile = certificate.file;
    listener.keyFile = certificate.keyFile;
    return listener;
  }
  TestServer& Start(const ListenerSettings& listener) {
    TestServerOptions options;
    options.listeners = {listener};
    server.emplace(options);
    server->AddUser("1");
    server->AddUser("2");
    said.emplace();  // a server's start turns the log off
    return *server;
  }
  SlotArray& Slots() { return server->host().SckServer; }

  AppFolder folder;
  Certificate certificate;
  std::optional<TestServer> server;
  std::optional<SaidLines> said;
};

// --- Plain ---

TEST_F(Listeners, PlainOneIsAnotherDoorToTheSameSlots) {
  Start(Plain());
  TestClient fixed = server->Connect();
  TestClient more = server->ConnectTo(kPort);
  EXPECT_EQ(more.Receive(), kGreeting);
  EXPECT_TRUE(Slots().IsConnected(2));
  more.Send(kMessage);
  server->Tick();
  EXPECT_EQ(more.Receive(), kReceipt);
}

TEST_F(Listeners, UnloadTellsAndClosesThoseWhoCameByIt) {
  Start(Plain());
  TestClient more = server->ConnectTo(kPort);
  more.Receive();
  server->InHandler([this](Host&) { server->form().Unload(); });
  EXPECT_TRUE(more.Receive().starts_with(".+forced_disconnection|"));
  EXPECT_TRUE(more.IsClosed());
  EXPECT_TRUE(server->ConnectTo(kPort).IsClosed());
}

TEST_F(Listeners, ReadinessCountsThem) {
  ListenerSettings listener = Plain();
  Start(listener);
  EXPECT_EQ(server->form().Readiness(), "6 of 6 ports, 1 of 1 listeners, database usable");
}

TEST_F(Listeners, OneThatCannotBeOpenedIsSaidAndTheOthersServe) {
  ListenerSettings listener = Tls();
  listener.certificateFile = "/nowhere.pem";
  TestServerOptions options;
  options.listeners = {listener};
  server.emplace(options);
  EXPECT_EQ(server->form().Readiness(),
            "6 of 6 ports, 0 of 1 listeners (without more), database usable");
  EXPECT_FALSE(server->ConnectTo(6004).IsClosed());
}

TEST_F(Listeners, Ipv6PeerIsServedUnderItsAddress) {
  ListenerSettings listener = Plain();
  listener.address = "::1";
  listener.port = 20'000 + getpid() % 20'000;
  Start(listener);
  if (server->form().Readiness().find("1 of 1") == std::string::npos) GTEST_SKIP() << "no IPv6";
  const int descriptor = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in6 peer{};
  peer.sin6_family = AF_INET6;
  peer.sin6_port = htons(static_cast<uint16_t>(listener.port));
  peer.sin6_addr = in6addr_loopback;
  ASSERT_EQ(connect(descriptor, reinterpret_cast<sockaddr*>(&peer), sizeof peer), 0);
  server->Pump();
  EXPECT_EQ(Slots().RemoteHostIP(1), "::1");
  EXPECT_TRUE(Slots().IsConnected(1));
  close(descriptor);
}

// --- TLS ---

TEST_F(Listeners, TlsCarriesAWholeConversation) {
  Start(Tls());
  TlsTestClient client(*server, kPort, {certificate.file});
  EXPECT_EQ(client.heard(), kGreeting);
  client.Send(".+landing|name1|pw1|10.0.0.1|mac1|x|#");
  EXPECT_EQ(client.Receive(), ".+landing_successful|1|0|,/,\\,~,@,+|0|0|#");
  EXPECT_EQ(server->Tag(1), "1");
  client.Send(kMessage);
  server->Tick();
  EXPECT_EQ(client.Receive(), kReceipt);
  client.TakeLeave();
  server->Pump();
  EXPECT_TRUE(Slots().IsGone(1));
}

TEST_F(Listeners, EachTlsRecordIsOneArrival) {
  Start(Tls());
  TlsTestClient client(*server, kPort, {certificate.file});
  // Joined in one read, these two would be one Base64 text that ends at the first one's padding.
  client.Send(".+y|#");
  client.Send(".+message|2|1|half");
  client.Send("|font|id1|1|#");
  server->Tick();
  EXPECT_EQ(client.Receive(), std::string(".+y|#") + kReceipt);
}

TEST_F(Listeners, LongRecordsAndAnswersTravelWhole) {
  Start(Tls());
  TlsTestClient client(*server, kPort, {certificate.file});
  std::string keepAlives;
  for (int i = 0; i < 2000; ++i) keepAlives += ".+y|#";
  client.Send(keepAlives);
  EXPECT_EQ(client.Receive(), keepAlives);
}

TEST_F(Listeners, ServersEndIsATlsEndInOrder) {
  Start(Tls());
  TlsTestClient client(*server, kPort, {certificate.file});
  client.Send(".+landing|nobody|x|10.0.0.1|mac1|x|#");
  EXPECT_EQ(client.Receive(), ".+LoginFailed|#");
  EXPECT_TRUE(client.EndedInOrder());
}

TEST_F(Listeners, ClientBelievesOnlyWhomItIsToldTo) {
  Start(Tls());
  TlsTestClient stranger(*server, kPort, {});
  EXPECT_FALSE(stranger.IsReady());
  EXPECT_EQ(stranger.Fault(), "self-signed certificate");
  TlsTestClient elsewhere(*server, kPort, {certificate.file}, "other.example");
  EXPECT_FALSE(elsewhere.IsReady());
  EXPECT_EQ(elsewhere.Fault(), "hostname mismatch");
  TlsTestClient byAddress(*server, kPort, {certificate.file}, "127.0.0.1");
  EXPECT_EQ(byAddress.heard(), kGreeting);
  TlsTestClient blind(*server, kPort, {"", true}, "other.example");
  EXPECT_EQ(blind.heard(), kGreeting);
}

TEST_F(Listeners, WhoDoesNotAgreeTakesNoSlotAndIsClosedInTime) {
  Start(Tls());
  TestClient silent = server->ConnectTo(kPort);
  TestClient clear = server->ConnectTo(kPort);
  clear.SendBytes(Base64EncodeText(server->page(), kMessage));
  EXPECT_TRUE(clear.IsClosed());
  EXPECT_FALSE(silent.IsClosed());
  EXPECT_FALSE(Slots().IsConnected(1));
  server->AdvanceMs(10'000);
  EXPECT_TRUE(silent.IsClosed());
  const Lines lines = said->Take();
  ASSERT_FALSE(lines.empty());
  EXPECT_TRUE(lines.front().starts_with("warning: connection came to nothing: from 127.0.0.1: "));
}

TEST_F(Listeners, CertificateReadAgainIsForNewConnectionsAndABadOneChangesNothing) {
  Start(Tls());
  TlsTestClient before(*server, kPort, {certificate.file});
  const Certificate next = MakeCertificate(folder.path(), "127.0.0.1", "next");
  std::filesystem::copy_file(certificate.file, folder.path() + "/old.pem");
  std::filesystem::rename(next.file, certificate.file);
  server->form().ReadCertificatesAgain();  // the key is still the old one's
  EXPECT_EQ(TlsTestClient(*server, kPort, {folder.path() + "/old.pem"}).heard(), kGreeting);
  std::filesystem::rename(next.keyFile, certificate.keyFile);
  server->form().ReadCertificatesAgain();
  EXPECT_EQ(TlsTestClient(*server, kPort, {certificate.file}).heard(), kGreeting);
  EXPECT_FALSE(TlsTestClient(*server, kPort, {folder.path() + "/old.pem"}).IsReady());
  before.Send(".+y|#");
  EXPECT_EQ(before.Receive(), ".+y|#");
  const Lines lines = said->Take();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0],
            "warning: listener more: certificate not read again, the old one stays: key " +
                certificate.keyFile + " for " + certificate.file + ": key values mismatch");
  EXPECT_EQ(lines[1], "info: listener more: certificate read again");
}

// --- WebSocket and proxies ---

TEST_F(Listeners, WebSocketMessageIsOneArrival) {
  ListenerSettings listener = Plain();
  listener.webSocket = true;
  Start(listener);
  TestClient browser = server->ConnectTo(kPort);
  EXPECT_EQ(browser.ReceiveBytes(), "");
  EXPECT_FALSE(Slots().IsConnected(1));
  const std::string hello = Base64EncodeText(server->page(), kGreeting);
  browser.SendBytes(GoodUpgradeRequest());
  const std::string answer = browser.ReceiveBytes();
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 101 "));
  EXPECT_TRUE(answer.ends_with(hello));
  const std::string record = Base64EncodeText(server->page(), kMessage);
  browser.SendBytes(TextFrame(Base64EncodeText(server->page(), ".+y|#")) + TextFrame(record));
  const std::string echo = Base64EncodeText(server->page(), ".+y|#");
  EXPECT_EQ(browser.ReceiveBytes(), "\x81" + std::string(1, static_cast<char>(echo.size())) + echo);
  server->Tick();
  EXPECT_TRUE(browser.ReceiveBytes().ends_with(Base64EncodeText(server->page(), kReceipt)));
}

TEST_F(Listeners, ProxyNamesThePeerAndNobodyElseMay) {
  ListenerSettings listener = Plain();
  std::string wrong;
  ASSERT_TRUE(listener.proxyFrom.Parse("127.0.0.8", wrong));
  Start(listener);
  TestClient proxy(*server, kPort, "127.0.0.8");
  EXPECT_EQ(proxy.ReceiveBytes(), "");
  proxy.SendBytes("PROXY TCP4 203.0.113.7 127.0.0.1 50000 6004\r\n" +
                  Base64EncodeText(server->page(), ".+landing|name1|pw1|10.0.0.1|mac1|x|#"));
  EXPECT_EQ(Slots().RemoteHostIP(1), "203.0.113.7");
  EXPECT_EQ(proxy.Receive(), std::string(kGreeting) + ".+landing_successful|1|0|,/,\\,~,@,+|0|0|#");
  EXPECT_EQ(server->Value("select LocalIP from Users_ID where UserID='1'"), "203.0.113.7");
  EXPECT_TRUE(TestClient(*server, kPort, "127.0.0.9").IsClosed());
}

}  // namespace
}  // namespace vnq
