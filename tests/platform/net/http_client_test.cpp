#include "platform/net/http_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "tests/harness/loopback_http_server.h"

namespace vnq {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Then = LoopbackHttpServer::Then;

constexpr uint16_t kPort = 8098;

class HttpClientTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(server_.Start(address_, kPort, error)) << error;
    server_.Answer(HttpAnswer("fine"));
  }

  std::string Url(const std::string& target) const {
    return "http://" + address_ + ":" + std::to_string(kPort) + target;
  }

  HttpRequest Get(const std::string& target) const {
    HttpRequest request;
    request.url = Url(target);
    return request;
  }

  /// Starts a handler that waits for the answer.
  std::shared_ptr<std::optional<HttpResponse>> Begin(HttpRequest request) {
    auto response = std::make_shared<std::optional<HttpResponse>>();
    loop_.StartHandler([this, request, response] { *response = client_->Perform(request); });
    return response;
  }

  HttpResponse Perform(HttpRequest request) {
    const auto response = Begin(std::move(request));
    EXPECT_TRUE(RunUntil(loop_, [&] { return response->has_value(); })) << "no end of the request";
    return response->value_or(HttpResponse{});
  }

  bool RunUntilRequests(size_t count) {
    return RunUntil(loop_, [&] { return server_.Requests().size() >= count; });
  }

  const std::string address_ = LoopbackAddress(1);
  MovableClock clock_;
  EventLoop loop_{clock_};
  LoopbackHttpServer server_{loop_};
  std::unique_ptr<HttpClient> client_ = std::make_unique<HttpClient>(loop_);
};

TEST_F(HttpClientTest, TheAnswerReachesTheHandler) {
  server_.Answer(HttpAnswer("body", "200 OK", "text/plain; charset=gbk"));
  const HttpResponse response = Perform(Get("/page?x=1"));
  EXPECT_TRUE(response.ok);
  EXPECT_EQ(response.status, 200);
  EXPECT_EQ(response.body, "body");
  EXPECT_EQ(response.contentType, "text/plain; charset=gbk");
  EXPECT_EQ(server_.RequestLine(0), "GET /page?x=1 HTTP/1.1");
  EXPECT_EQ(client_->InFlight(), 0u);
}

TEST_F(HttpClientTest, PostCarriesItsHeadersAndBody) {
  HttpRequest request = Get("/form");
  request.method = "POST";
  request.headers = {{"Content-Length", "3"}, {"Content-Type", "text/x"}, {"X-Empty", ""}};
  request.body = "a=b";
  EXPECT_TRUE(Perform(request).ok);
  EXPECT_EQ(server_.RequestLine(0), "POST /form HTTP/1.1");
  EXPECT_EQ(server_.Body(0), "a=b");
  const std::string& sent = server_.Requests()[0];
  EXPECT_THAT(sent, HasSubstr("\r\nContent-Length: 3\r\nContent-Type: text/x\r\nX-Empty:"));
  EXPECT_EQ(sent.find("Content-Length"), sent.rfind("Content-Length"));
  EXPECT_EQ(sent.find("Content-Type"), sent.rfind("Content-Type"));
}

TEST_F(HttpClientTest, ALargePostExpectsNothingFirst) {
  HttpRequest request = Get("/form");
  request.method = "POST";
  request.body = std::string(3'000'000, 'x');
  EXPECT_TRUE(Perform(request).ok);
  EXPECT_EQ(server_.Body(0), request.body);
  EXPECT_THAT(server_.Requests()[0].substr(0, 500), Not(HasSubstr("Expect")));
}

TEST_F(HttpClientTest, TheTargetReachesTheWireByteForByte) {
  Perform(Get("/a/./b/../c//d?p|1|中 |#&%zz%2e=+\"<>"));
  EXPECT_EQ(server_.RequestLine(0),
            "GET /a/./b/../c//d?p%7C1%7C%E4%B8%AD%20%7C%23&%zz%2e=+%22%3C%3E HTTP/1.1");
}

TEST_F(HttpClientTest, AnAddressWithoutPathAsksForTheRoot) {
  Perform(Get(""));
  Perform(Get("?a=b"));
  EXPECT_EQ(server_.RequestLine(0), "GET / HTTP/1.1");
  EXPECT_EQ(server_.RequestLine(1), "GET /?a=b HTTP/1.1");
}

TEST_F(HttpClientTest, AVeryLongAddressGoesOutWhole) {
  const std::string target = "/push?bigdata=" + std::string(500'000, 'p');
  EXPECT_TRUE(Perform(Get(target)).ok);
  EXPECT_EQ(server_.RequestLine(0), "GET " + target + " HTTP/1.1");
}

TEST_F(HttpClientTest, AnAddressBeyondTheLibrarysBoundFails) {
  EXPECT_FALSE(Perform(Get("/" + std::string(9'000'000, 'p'))).ok);
  EXPECT_FALSE(Perform(Get("/" + std::string(2'000'000, 'p'))).ok);
  EXPECT_TRUE(server_.Requests().empty());
}

TEST_F(HttpClientTest, AProxyOfTheEnvironmentIsNotUsed) {
  setenv("http_proxy", "http://127.0.0.1:1", 1);
  const HttpResponse response = Perform(Get("/"));
  unsetenv("http_proxy");
  EXPECT_TRUE(response.ok);
}

TEST_F(HttpClientTest, AnErrorStatusIsAnAnswer) {
  server_.Answer(HttpAnswer("not here", "404 Not Found"));
  const HttpResponse response = Perform(Get("/"));
  EXPECT_TRUE(response.ok);
  EXPECT_EQ(response.status, 404);
  EXPECT_EQ(response.body, "not here");
}

TEST_F(HttpClientTest, ARedirectionIsAnAnswer) {
  server_.Answer("HTTP/1.1 302 Found\r\nLocation: /other\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(Perform(Get("/")).status, 302);
  EXPECT_EQ(server_.Requests().size(), 1u);
}

TEST_F(HttpClientTest, AnEmptyBodyIsAnAnswer) {
  server_.Answer(HttpAnswer(""));
  const HttpResponse response = Perform(Get("/"));
  EXPECT_TRUE(response.ok);
  EXPECT_EQ(response.body, "");
}

TEST_F(HttpClientTest, AChunkedBodyIsPutTogether) {
  server_.Answer(
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nab\r\n1\r\nc\r\n0\r\n\r\n");
  EXPECT_EQ(Perform(Get("/")).body, "abc");
}

TEST_F(HttpClientTest, ABodyWithoutLengthEndsWithTheConnection) {
  server_.Answer("HTTP/1.0 200 OK\r\n\r\nold");
  EXPECT_EQ(Perform(Get("/")).body, "old");
}

TEST_F(HttpClientTest, AnAnswerThatBreaksOffFails) {
  server_.Answer("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf");
  const HttpResponse response = Perform(Get("/"));
  EXPECT_FALSE(response.ok);
  EXPECT_EQ(response.body, "");
  EXPECT_EQ(response.status, 0);
}

TEST_F(HttpClientTest, AServerThatHangsUpFails) {
  server_.Answer("");
  EXPECT_FALSE(Perform(Get("/")).ok);
}

TEST_F(HttpClientTest, AnAnswerThatIsNoHttpFails) {
  server_.Answer("220 mail ready\r\n");
  EXPECT_FALSE(Perform(Get("/")).ok);
}

TEST_F(HttpClientTest, AnAnswerAboveTheBoundFails) {
  server_.Answer(HttpAnswer(std::string(HttpClient::kMaxAnswerBytes + 1, 'x')));
  EXPECT_FALSE(Perform(Get("/")).ok);
}

TEST_F(HttpClientTest, ARefusedConnectionFails) {
  HttpRequest request;
  request.url = "http://" + LoopbackAddress(2) + ":1/";
  EXPECT_FALSE(Perform(request).ok);
}

TEST_F(HttpClientTest, WhatIsNoHttpAddressFails) {
  for (const char* url : {"", "h", "?bigdata=", "http://", "http:///x", "http://:98/public",
                          "https://127.0.0.1/", "file:///etc/passwd", "ftp://127.0.0.1/",
                          "http://a b/", "http://127.0.0.1:99999/", "http://h\r\nX: y/"}) {
    HttpRequest request;
    request.url = url;
    EXPECT_FALSE(Perform(request).ok) << url;
  }
}

TEST_F(HttpClientTest, AHostNameIsLookedUp) {
  HttpRequest request;
  request.url = "http://localhost:1/";  // nobody listens there; the look-up itself has to end
  EXPECT_FALSE(Perform(request).ok);
}

TEST_F(HttpClientTest, OthersAreServedWhileAServerIsSilent) {
  server_.Answer("", Then::kKeepOpen);
  const auto silent = Begin(Get("/silent"));
  ASSERT_TRUE(RunUntilRequests(1));
  int others = 0;
  loop_.StartHandler([&] { ++others; });
  server_.Answer(HttpAnswer("second"));
  EXPECT_EQ(Perform(Get("/second")).body, "second");
  EXPECT_EQ(others, 1);
  EXPECT_FALSE(silent->has_value());
  server_.AnswerLate(0, HttpAnswer("first"));
  ASSERT_TRUE(RunUntil(loop_, [&] { return silent->has_value(); }));
  EXPECT_EQ((*silent)->body, "first");
}

TEST_F(HttpClientTest, WithoutATimeOutTheWaitHasNoBound) {
  server_.Answer("", Then::kKeepOpen);
  const auto silent = Begin(Get("/"));
  ASSERT_TRUE(RunUntilRequests(1));
  clock_.AdvanceMs(int64_t{24} * 3600 * 1000);
  for (int i = 0; i < 10; ++i) loop_.Turn(0);
  EXPECT_FALSE(silent->has_value());
  EXPECT_EQ(client_->InFlight(), 1u);
}

TEST_F(HttpClientTest, TheTimeOutEndsAWait) {
  server_.Answer("", Then::kKeepOpen);
  HttpRequest request = Get("/");
  request.timeoutMs = 3'600'000;
  const auto silent = Begin(request);
  ASSERT_TRUE(RunUntilRequests(1));
  clock_.AdvanceMs(3'500'000);
  for (int i = 0; i < 10; ++i) loop_.Turn(0);
  EXPECT_FALSE(silent->has_value());
  clock_.AdvanceMs(100'000);
  ASSERT_TRUE(RunUntil(loop_, [&] { return silent->has_value(); }));
  EXPECT_FALSE((*silent)->ok);
}

TEST_F(HttpClientTest, SendNeedsNoHandlerAndForgetsTheAnswer) {
  client_->Send(Get("/push"));
  EXPECT_EQ(client_->InFlight(), 1u);
  ASSERT_TRUE(RunUntil(loop_, [&] { return client_->InFlight() == 0; }));
  EXPECT_EQ(server_.RequestLine(0), "GET /push HTTP/1.1");
}

TEST_F(HttpClientTest, SendToASilentServerEndsWithItsTimeOut) {
  server_.Answer("", Then::kKeepOpen);
  HttpRequest request = Get("/push");
  request.timeoutMs = 30'000;
  client_->Send(request);
  ASSERT_TRUE(RunUntilRequests(1));
  EXPECT_EQ(client_->InFlight(), 1u);
  clock_.AdvanceMs(30'000);
  EXPECT_TRUE(RunUntil(loop_, [&] { return client_->InFlight() == 0; }));
}

TEST_F(HttpClientTest, SendToNobodyIsForgotten) {
  HttpRequest request;
  request.url = "http://" + LoopbackAddress(2) + ":1/";
  client_->Send(request);
  EXPECT_TRUE(RunUntil(loop_, [&] { return client_->InFlight() == 0; }));
  request.url = "nowhere";
  client_->Send(request);
  EXPECT_EQ(client_->InFlight(), 0u);
}

TEST_F(HttpClientTest, ManyRequestsAtOnceAllEnd) {
  std::vector<std::shared_ptr<std::optional<HttpResponse>>> responses;
  for (int i = 0; i < 200; ++i) responses.push_back(Begin(Get("/" + std::to_string(i))));
  ASSERT_TRUE(RunUntil(loop_, [&] { return loop_.LiveHandlers() == 0; }));
  for (const auto& response : responses) EXPECT_EQ((*response)->body, "fine");
  EXPECT_EQ(server_.Requests().size(), 200u);
}

TEST_F(HttpClientTest, UnwindingAWaitingHandlerTakesItsRequestAlong) {
  server_.Answer("", Then::kKeepOpen);
  const auto silent = Begin(Get("/"));
  ASSERT_TRUE(RunUntilRequests(1));
  loop_.UnwindHandlers();
  EXPECT_EQ(client_->InFlight(), 0u);
  EXPECT_FALSE(silent->has_value());
  server_.Answer(HttpAnswer("after"));
  EXPECT_EQ(Perform(Get("/")).body, "after");
}

TEST_F(HttpClientTest, UnwindingBetweenTheAnswerAndItsHandlerIsClean) {
  const auto response = Begin(Get("/"));
  bool unwound = false;
  // Stands in the ready queue in front of the handler that the poll of the same turn wakes.
  const auto unwindOnceAnswered = [&] {
    if (unwound || client_->InFlight() > 0) return;
    unwound = true;
    loop_.UnwindHandlers();
  };
  ASSERT_TRUE(RunUntil(loop_, [&] {
    if (!unwound) loop_.Enqueue(unwindOnceAnswered);
    return unwound;
  }));
  EXPECT_EQ(server_.Requests().size(), 1u);
  EXPECT_FALSE(response->has_value());
  EXPECT_EQ(loop_.LiveHandlers(), 0u);
}

TEST_F(HttpClientTest, AClientThatGoesLeavesItsHandlersSuspended) {
  server_.Answer("", Then::kKeepOpen);
  const auto silent = Begin(Get("/"));
  client_->Send(Get("/push"));
  ASSERT_TRUE(RunUntilRequests(2));
  client_.reset();
  for (int i = 0; i < 10; ++i) loop_.Turn(0);
  EXPECT_FALSE(silent->has_value());
  EXPECT_EQ(loop_.LiveHandlers(), 1u);
  loop_.UnwindHandlers();
  EXPECT_FALSE(silent->has_value());
}

TEST_F(HttpClientTest, AClientThatGoesBeforeItsFirstTurnIsClean) {
  client_->Send(Get("/push"));
  HttpRequest byName;
  byName.url = "http://localhost:1/";
  client_->Send(byName);
  client_.reset();
  for (int i = 0; i < 10; ++i) loop_.Turn(0);
  EXPECT_TRUE(server_.Requests().empty());
}

}  // namespace
}  // namespace vnq
