#include "host/outgoing/outgoing_calls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <optional>

#include "host/settings/ansi_code_page.h"
#include "tests/harness/loopback_http_server.h"
#include "tests/harness/recording_command_runner.h"

namespace vnq {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using Then = LoopbackHttpServer::Then;

constexpr uint16_t kPublicPort = 98;
constexpr uint16_t kPort = 8098;
constexpr int kAllModes[] = {OutgoingCalls::kResponseText, OutgoingCalls::kResponseBytes,
                             OutgoingCalls::kAnsiText};

class OutgoingCallsTest : public ::testing::Test {
 protected:
  void Serve() {
    std::string error;
    ASSERT_TRUE(server_.Start(address_, kPort, error)) << error;
  }

  std::string Url(const std::string& target) const {
    return "http://" + address_ + ":" + std::to_string(kPort) + target;
  }

  /// Runs a step as a handler, up to its end.
  void Run(EventLoop::Task step) {
    loop_.StartHandler(std::move(step));
    EXPECT_TRUE(RunUntil(loop_, [&] { return loop_.LiveHandlers() == 0; })) << "no end";
  }

  std::string HttpPost(const std::string& url, const std::string& body, int mode) {
    std::string result = "not assigned";
    Run([&] { result = calls_.HttpPost(url, body, mode); });
    return result;
  }

  void SameTime(int32_t code, int32_t service) {
    Run([&] { calls_.SameTime(code, service); });
  }

  bool PushEnds() {
    return RunUntil(loop_, [&] { return http_.InFlight() == 0; });
  }

  static std::vector<std::string> RestartOf(const std::string& service) {
    return {"start systemctl stop " + service, "block 10000", "start systemctl start " + service};
  }

  const std::string address_ = LoopbackAddress(3);
  MovableClock clock_;
  EventLoop loop_{clock_};
  LoopbackHttpServer server_{loop_};
  HttpClient http_{loop_};
  RecordingCommandRunner commands_;
  AnsiCodePage page_{CodePage::Open(936)};
  OutgoingCalls calls_{http_, commands_, page_, {.DataBaseIp = address_}};
};

// The public pages are on a port that only a privileged process can bind.
class SameTimeTest : public OutgoingCallsTest {
 protected:
  void SetUp() override {
    std::string error;
    if (!server_.Start(address_, kPublicPort, error)) {
      GTEST_SKIP() << "cannot serve the public pages: " << error;
    }
    server_.Answer(HttpAnswer("ok"));
  }
};

// --- BuildPublicUrl ---

TEST_F(OutgoingCallsTest, BuildPublicUrlPutsExtraBehindTheOp) {
  EXPECT_THAT(
      calls_.BuildPublicUrl("service", "set_status", "myid=public"),
      StartsWith("http://" + address_ + ":98/public/service.html?op=set_status&myid=public&rnd="));
}

TEST_F(OutgoingCallsTest, BuildPublicUrlWithoutExtraPutsRndRightBehindTheOp) {
  EXPECT_THAT(calls_.BuildPublicUrl("service", "get", ""),
              StartsWith("http://" + address_ + ":98/public/service.html?op=get&rnd="));
}

TEST_F(OutgoingCallsTest, BuildPublicUrlEndsWithADecimalNumberBelowOne) {
  for (int i = 0; i < 1000; ++i) {
    const std::string url = calls_.BuildPublicUrl("p", "o", "");
    const std::string number = url.substr(url.rfind('=') + 1);
    if (number == "0") continue;
    ASSERT_THAT(number, StartsWith("0.")) << url;
    ASSERT_LE(number.size(), 9u) << url;
    for (const char digit : number.substr(2)) ASSERT_TRUE(isdigit(digit)) << url;
  }
}

TEST_F(OutgoingCallsTest, BuildPublicUrlTakesAFreshNumberEachTime) {
  const std::string first = calls_.BuildPublicUrl("p", "o", "");
  bool differs = false;
  for (int i = 0; i < 10; ++i) differs |= calls_.BuildPublicUrl("p", "o", "") != first;
  EXPECT_TRUE(differs);
}

TEST_F(OutgoingCallsTest, BuildPublicUrlNamesTheDataBaseIp) {
  const OutgoingCalls calls(http_, commands_, page_, {.DataBaseIp = "10.1.2.3"});
  EXPECT_THAT(calls.BuildPublicUrl("p", "o", ""), StartsWith("http://10.1.2.3:98/public/p.html?"));
}

// --- BytesToText ---

TEST_F(OutgoingCallsTest, BytesToTextReadsAsciiAndDoubleByteCharacters) {
  EXPECT_EQ(calls_.BytesToText(""), "");
  EXPECT_EQ(calls_.BytesToText("a\xD6\xD0|\xCE\xC4z"), "a中|文z");
}

TEST_F(OutgoingCallsTest, BytesToTextKeepsAnAsciiSecondByteInItsPair) {
  EXPECT_EQ(calls_.BytesToText("\x81@x"), "\u4E02x");
}

TEST_F(OutgoingCallsTest, BytesToTextDropsALeadByteAtTheEnd) {
  EXPECT_EQ(calls_.BytesToText("ab\xD6"), "ab");
  EXPECT_EQ(calls_.BytesToText("\xD6"), "");
}

TEST_F(OutgoingCallsTest, BytesToTextDropsPairsOnAPageWithoutDoubleBytes) {
  AnsiCodePage latin{CodePage::Open(1252)};
  const OutgoingCalls calls(http_, commands_, latin, {});
  EXPECT_EQ(calls.BytesToText("a\xE9\xE8z"), "az");
}

TEST_F(OutgoingCallsTest, BytesToTextTakesTwoBytesOfAnyPair) {
  for (int lead = 128; lead < 256; ++lead) {
    for (int trail = 0; trail < 256; ++trail) {
      const char bytes[] = {static_cast<char>(lead), static_cast<char>(trail), 'x'};
      const std::string text = calls_.BytesToText({bytes, 3});
      ASSERT_FALSE(text.empty()) << lead << " " << trail;
      ASSERT_EQ(text.back(), 'x') << lead << " " << trail;
    }
  }
}

// --- HttpPost ---

TEST_F(OutgoingCallsTest, HttpPostSendsAFormWithItsLengthInCharacters) {
  Serve();
  server_.Answer(HttpAnswer("fine"));
  EXPECT_EQ(HttpPost(Url("/a.html?op=b"), "x=1&y=2", OutgoingCalls::kResponseText), "fine");
  EXPECT_EQ(server_.RequestLine(0), "POST /a.html?op=b HTTP/1.1");
  EXPECT_THAT(server_.Requests()[0],
              HasSubstr("\r\nContent-Length: 7\r\n"
                        "Content-Type: application/x-www-form-urlencoded\r\n"));
  EXPECT_EQ(server_.Body(0), "x=1&y=2");
}

TEST_F(OutgoingCallsTest, HttpPostCountsA16BitCharacterAsOne) {
  Serve();
  server_.Answer(HttpAnswer("fine"));
  HttpPost(Url("/"), "x=中😀", OutgoingCalls::kResponseText);
  EXPECT_THAT(server_.Requests()[0], HasSubstr("\r\nContent-Length: 5\r\n"));
}

TEST_F(OutgoingCallsTest, HttpPostOfAnEmptyBodyAnnouncesZero) {
  Serve();
  server_.Answer(HttpAnswer("fine"));
  EXPECT_EQ(HttpPost(Url("/"), "", OutgoingCalls::kResponseText), "fine");
  EXPECT_THAT(server_.Requests()[0], HasSubstr("\r\nContent-Length: 0\r\n"));
}

TEST_F(OutgoingCallsTest, HttpPostGivesTheResultByItsMode) {
  Serve();
  server_.Answer(HttpAnswer("\xEF\xBB\xBF中", "200 OK", "text/html"));
  EXPECT_EQ(HttpPost(Url("/"), "", OutgoingCalls::kResponseText), "中");
  EXPECT_EQ(HttpPost(Url("/"), "", OutgoingCalls::kResponseBytes), "\xEF\xBB\xBF中");
  server_.Answer(HttpAnswer("\xD6\xD0!"));
  EXPECT_EQ(HttpPost(Url("/"), "", OutgoingCalls::kAnsiText), "中!");
}

TEST_F(OutgoingCallsTest, HttpPostInAnyOtherModeIsEmpty) {
  Serve();
  server_.Answer(HttpAnswer("fine"));
  for (int mode : {-1, 0, 4, 100}) EXPECT_EQ(HttpPost(Url("/"), "", mode), "") << mode;
  EXPECT_EQ(server_.Requests().size(), 4u);
}

TEST_F(OutgoingCallsTest, HttpPostTakesTheBodyOfAnErrorStatus) {
  Serve();
  server_.Answer(HttpAnswer("broken", "500 Internal Server Error"));
  EXPECT_EQ(HttpPost(Url("/"), "", OutgoingCalls::kResponseText), "broken");
}

TEST_F(OutgoingCallsTest, HttpPostHidesItsFailures) {
  Serve();
  for (int mode : kAllModes) {
    EXPECT_EQ(HttpPost("", "", mode), "");
    EXPECT_EQ(HttpPost("http://:98/", "", mode), "");
    EXPECT_EQ(HttpPost("http://" + LoopbackAddress(4) + ":1/", "", mode), "");
    server_.Answer("");
    EXPECT_EQ(HttpPost(Url("/"), "", mode), "");
    server_.Answer("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf");
    EXPECT_EQ(HttpPost(Url("/"), "", mode), "");
  }
}

TEST_F(OutgoingCallsTest, HttpPostWaitsWithoutABoundWhileOthersAreServed) {
  Serve();
  server_.Answer("", Then::kKeepOpen);
  std::optional<std::string> result;
  loop_.StartHandler([&] { result = calls_.HttpPost(Url("/"), "", OutgoingCalls::kResponseText); });
  ASSERT_TRUE(RunUntil(loop_, [&] { return server_.Requests().size() == 1; }));
  clock_.AdvanceMs(int64_t{24} * 3600 * 1000);
  bool served = false;
  loop_.StartHandler([&] { served = true; });
  ASSERT_TRUE(RunUntil(loop_, [&] { return served; }));
  EXPECT_FALSE(result.has_value());
  server_.AnswerLate(0, HttpAnswer("at last"));
  ASSERT_TRUE(RunUntil(loop_, [&] { return result.has_value(); }));
  EXPECT_EQ(*result, "at last");
}

// --- RestartByShell ---

TEST_F(OutgoingCallsTest, RestartByShellStopsWaitsAndStarts) {
  const char* names[] = {"VNQ_SetverPic_Service", "VNQ_Upload_Service", "VNQ_Download_Service",
                         "VNQ_Main_Service",      "VNQ_Site_Service",   "VNQ_Web_Service",
                         "VNQ_Telnet_Service"};
  for (int32_t number = 1; number <= 7; ++number) {
    commands_.calls.clear();
    calls_.RestartByShell(number);
    EXPECT_EQ(commands_.calls, RestartOf(names[number - 1])) << number;
  }
}

TEST_F(OutgoingCallsTest, RestartByShellOfAnUnknownNumberDoesNothing) {
  for (int32_t number : {INT32_MIN, -1, 0, 8, INT32_MAX}) calls_.RestartByShell(number);
  EXPECT_THAT(commands_.calls, IsEmpty());
}

TEST_F(OutgoingCallsTest, RestartByShellFollowsTheCommandsOfTheDeployment) {
  OutgoingCalls calls(
      http_, commands_, page_,
      {.DataBaseIp = "", .stopCommand = "log %s; rc %s stop", .startCommand = "go"});
  calls.RestartByShell(6);
  EXPECT_THAT(commands_.calls, ElementsAre("start log VNQ_Web_Service; rc VNQ_Web_Service stop",
                                           "block 10000", "start go"));
}

// --- SameTime ---

TEST_F(SameTimeTest, PostsTheServiceToTheStatusPage) {
  SameTime(201, 2);
  ASSERT_EQ(server_.Requests().size(), 1u);
  EXPECT_THAT(server_.RequestLine(0),
              StartsWith("POST /public/service.html?op=set_status&myid=public&rnd=0"));
  EXPECT_EQ(server_.Body(0), "services=VNQ_Upload_Service&service_op=restart");
  EXPECT_THAT(commands_.calls, IsEmpty());
}

TEST_F(SameTimeTest, EachNumberHasItsService) {
  const char* names[] = {"VNQ_SetverPic_Service", "VNQ_Upload_Service", "VNQ_Download_Service",
                         "VNQ_Main_Service", "VNQ_Telnet_Service"};
  for (int32_t number = 1; number <= 5; ++number) {
    SameTime(201, number);
    ASSERT_EQ(server_.Requests().size(), static_cast<size_t>(number));
    EXPECT_EQ(server_.Body(static_cast<size_t>(number - 1)),
              std::string("services=") + names[number - 1] + "&service_op=restart");
  }
}

TEST_F(SameTimeTest, AnyOtherCodeSendsNothing) {
  for (int32_t code : {200, 0, -201, 202}) SameTime(code, 2);
  EXPECT_THAT(server_.Requests(), IsEmpty());
  EXPECT_THAT(commands_.calls, IsEmpty());
}

TEST_F(SameTimeTest, ANumberOutsideTheTableSendsAnEmptyName) {
  for (int32_t number : {0, 6, -1}) SameTime(201, number);
  ASSERT_EQ(server_.Requests().size(), 3u);
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(server_.Body(i), "services=&service_op=restart");
  EXPECT_THAT(commands_.calls, IsEmpty());
}

TEST_F(SameTimeTest, AnErrorStatusWithABodyIsNoReasonForTheFallback) {
  server_.Answer(HttpAnswer("no such page", "404 Not Found"));
  SameTime(201, 1);
  EXPECT_EQ(server_.Requests().size(), 1u);
  EXPECT_THAT(commands_.calls, IsEmpty());
}

TEST_F(SameTimeTest, AnEmptyAnswerRestartsTheSiteServiceWhateverWasAskedFor) {
  server_.Answer(HttpAnswer(""));
  for (int32_t number = 1; number <= 5; ++number) {
    commands_.calls.clear();
    SameTime(201, number);
    EXPECT_EQ(commands_.calls, RestartOf("VNQ_Site_Service")) << number;
  }
}

TEST_F(SameTimeTest, AServerThatHangsUpLeadsToTheFallback) {
  server_.Answer("");
  SameTime(201, 3);
  EXPECT_EQ(commands_.calls, RestartOf("VNQ_Site_Service"));
}

TEST_F(SameTimeTest, ASecondRequestRunsWhileTheFirstOneWaits) {
  server_.Answer("", Then::kKeepOpen);
  loop_.StartHandler([&] { calls_.SameTime(201, 1); });
  ASSERT_TRUE(RunUntil(loop_, [&] { return server_.Requests().size() == 1; }));
  loop_.StartHandler([&] { calls_.SameTime(201, 5); });
  ASSERT_TRUE(RunUntil(loop_, [&] { return server_.Requests().size() == 2; }));
  EXPECT_EQ(loop_.LiveHandlers(), 2u);
  server_.AnswerLate(1, HttpAnswer("ok"));
  ASSERT_TRUE(RunUntil(loop_, [&] { return loop_.LiveHandlers() == 1; }));
  EXPECT_THAT(commands_.calls, IsEmpty());
  server_.AnswerLate(0, HttpAnswer(""));
  ASSERT_TRUE(RunUntil(loop_, [&] { return loop_.LiveHandlers() == 0; }));
  EXPECT_EQ(commands_.calls, RestartOf("VNQ_Site_Service"));
}

TEST_F(OutgoingCallsTest, SameTimeToARefusedPortLeadsToTheFallback) {
  SameTime(201, 2);
  EXPECT_EQ(commands_.calls, RestartOf("VNQ_Site_Service"));
}

TEST_F(OutgoingCallsTest, SameTimeWithAnUnusableDataBaseIpLeadsToTheFallback) {
  for (const char* host : {"", "a b", "10.0.0.1,1433", "(local)", ".\\SQLEXPRESS"}) {
    commands_.calls.clear();
    OutgoingCalls calls(http_, commands_, page_, {.DataBaseIp = host});
    Run([&] { calls.SameTime(201, 2); });
    EXPECT_EQ(commands_.calls, RestartOf("VNQ_Site_Service")) << host;
  }
}

// --- SendPush ---

TEST_F(OutgoingCallsTest, SendPushGetsTheAddressWithItsText) {
  Serve();
  calls_.SendPush(Url("/push"), "p|1|a|Ann b|中|x%y");
  ASSERT_TRUE(PushEnds());
  ASSERT_EQ(server_.Requests().size(), 1u);
  EXPECT_EQ(server_.RequestLine(0),
            "GET /push?bigdata=p%7C1%7Ca%7CAnn%20b%7C%E4%B8%AD%7Cx%y HTTP/1.1");
}

// The address coding gives U+0905 two bytes, where UTF-8 has three.
TEST_F(OutgoingCallsTest, SendPushKeepsTheAddressCoding) {
  Serve();
  calls_.SendPush(Url("/push"), "\u0905");
  ASSERT_TRUE(PushEnds());
  ASSERT_EQ(server_.Requests().size(), 1u);
  EXPECT_EQ(server_.RequestLine(0), "GET /push?bigdata=%E4%85 HTTP/1.1");
}

TEST_F(OutgoingCallsTest, SendPushOfManyLinesGoesOutWhole) {
  Serve();
  std::string text;
  for (int i = 0; i < 2000; ++i) text += "p,someone,a,line,of,a,queue";
  calls_.SendPush(Url("/push"), text);
  ASSERT_TRUE(PushEnds());
  ASSERT_EQ(server_.Requests().size(), 1u);
  EXPECT_EQ(server_.RequestLine(0), "GET /push?bigdata=" + text + " HTTP/1.1");
}

TEST_F(OutgoingCallsTest, SendPushToASilentServerEndsWithItsTimeOut) {
  Serve();
  server_.Answer("", Then::kKeepOpen);
  calls_.SendPush(Url("/push"), "p|x");
  ASSERT_TRUE(RunUntil(loop_, [&] { return server_.Requests().size() == 1; }));
  EXPECT_EQ(http_.InFlight(), 1u);
  clock_.AdvanceMs(OutgoingCalls::kPushTimeoutMs);
  EXPECT_TRUE(PushEnds());
}

TEST_F(OutgoingCallsTest, SendPushToAnUnusableAddressIsForgotten) {
  for (const char* address : {"", "push", "http://", "ftp://x/"}) {
    calls_.SendPush(address, "p|x");
    EXPECT_TRUE(PushEnds()) << address;
  }
}

}  // namespace
}  // namespace vnq
