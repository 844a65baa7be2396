// Chinese text through deployments of different code pages. Inside it is Unicode throughout; the
// page decides only what travels on the wire.
#include <optional>

#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class CodePages : public ::testing::Test {
 protected:
  // A server of a page, with two users, the second of them online on slot 1 and the first on
  // slot 2.
  void Start(int codePage, int languageId = 1033) {
    clients.clear();
    server.emplace(TestServerOptions{.languageId = languageId, .codePage = codePage});
    server->AddUser("1");
    server->AddUser("2");
    clients.push_back(server->Online("2"));
    clients.push_back(server->Online("1"));
    target().Receive();
  }
  TestClient& target() { return clients[0]; }
  TestClient& sender() { return clients[1]; }
  std::string Stored() { return server->Value("select UserText from Messeng_Text"); }
  // The bytes that the target has been sent, out of their Base64 form.
  std::string BytesAfterTick() {
    server->Tick();
    return Base64DecodeBytes(target().ReceiveBytes());
  }
  static std::string Delivered(const std::string& text) {
    return ".+message|1|2026-03-04|05:06:07|" + text + "|f|M1|11|1|#";
  }

  std::optional<TestServer> server;
  std::vector<TestClient> clients;
};

TEST_F(CodePages, SimplifiedChineseTravelsInItsBytesAndIsStoredAsUnicode) {
  Start(936);
  sender().SendBytes("LittZXNzYWdlfDJ8MXzE47rDfGZ8TTF8MXwj");
  EXPECT_EQ(Stored(), "你好");
  EXPECT_EQ(BytesAfterTick(), Delivered("\xC4\xE3\xBA\xC3"));
}

TEST_F(CodePages, TraditionalChineseTravelsInItsBytesAndIsStoredAsUnicode) {
  Start(950);
  sender().SendBytes("LittZXNzYWdlfDJ8MXynQaZufGZ8TTF8MXwj");
  EXPECT_EQ(Stored(), "你好");
  EXPECT_EQ(BytesAfterTick(), Delivered("\xA7\x41\xA6\x6E"));
}

TEST_F(CodePages, WesternTextTravelsInItsBytesAndIsStoredAsUnicode) {
  Start(1252);
  sender().SendBytes("LittZXNzYWdlfDJ8MXxHcvbfZXxmfE0xfDF8Iw==");
  EXPECT_EQ(Stored(), "Größe");
  EXPECT_EQ(BytesAfterTick(), Delivered("Gr\xF6\xDF"
                                        "e"));
}

TEST_F(CodePages, CharacterWhoseSecondByteIsTheSeparatorIsNoSeparator) {
  Start(936);
  sender().SendBytes("LittZXNzYWdlfDJ8MXyCfHxmfE0xfDF8Iw==");
  EXPECT_EQ(Stored(), "倈");
  EXPECT_EQ(BytesAfterTick(), Delivered("\x82\x7C"));
  Start(950);
  sender().SendBytes("LittZXNzYWdlfDJ8MXyofHxmfE0xfDF8Iw==");
  EXPECT_EQ(Stored(), "育");
  EXPECT_EQ(BytesAfterTick(), Delivered("\xA8\x7C"));
}

TEST_F(CodePages, CharacterOutsideThePageLeavesAsAQuestionMark) {
  struct Case {
    int codePage;
    const char* text;
    const char* bytes;
  };
  const Case cases[] = {
      {1252, "你a好é", "?a?\xE9"},
      {936, "aéñ你", "a\xA8\xA6?\xC4\xE3"},
      {950, "们a們", "?a\xAD\xCC"},
  };
  for (const Case& each : cases) {
    Start(each.codePage);
    server->Run(std::string("insert into Messeng_Type(UserID1,UserID2,To_Date,To_Type,UserText,"
                            "FontInfo) values('2','1','2026-01-02 03:04:05',1,'") +
                each.text + "','f')");
    target().Send(".+offline_request_web_information|2|#");
    EXPECT_EQ(Base64DecodeBytes(target().ReceiveBytes()),
              std::string(".+message|1|2026-01-02|03:04:05|") + each.bytes + "|f|#")
        << each.codePage;
  }
}

TEST_F(CodePages, EscapedTextPassesEveryPageUntouched) {
  for (int codePage : {936, 950, 1252}) {
    Start(codePage);
    sender().Send(".+message|2|1|%u4F60%u597D%uD83D%uDE00|f|M1|1|#");
    EXPECT_EQ(Stored(), "%u4F60%u597D%uD83D%uDE00");
    EXPECT_EQ(BytesAfterTick(), Delivered("%u4F60%u597D%uD83D%uDE00")) << codePage;
  }
}

TEST_F(CodePages, ChineseWordIsMaskedInsideEscapedTextOnEveryPage) {
  for (int codePage : {936, 950, 1252}) {
    Start(codePage);
    server->host().MaskKeywords = {"你好"};
    sender().Send(".+message|2|1|%u4F60%u597D%u554A|f|M1|1|#");
    EXPECT_EQ(Stored(), "***%u554A") << codePage;
  }
}

TEST_F(CodePages, SingleEscapedByteIsACharacterOfThePage) {
  const std::pair<int, const char*> cases[] = {{1252, "€"}, {950, "\xC2\x80"}, {936, "€"}};
  for (const auto& [codePage, character] : cases) {
    Start(codePage);
    server->Run("update Users_ID set UserIcoLine=0, Registration_Id='reg' where UserID='2'");
    sender().Send(".+message|2|1|%80|f|M1|1|#");
    ASSERT_EQ(server->host().PushQueue.lines().size(), 1u) << codePage;
    EXPECT_EQ(server->host().PushQueue.lines().front(), std::string("2||1|1|") + character)
        << codePage;
  }
}

TEST_F(CodePages, TextsOfTheLanguageFileTravelInThePage) {
  struct Case {
    int languageId;
    int codePage;
    const char* text;
  };
  for (const Case& each :
       {Case{2052, 936, "您已在手机上登录。"}, Case{1028, 950, "您已在手機上登入。"},
        Case{1033, 1252, "You have signed in on your phone."}}) {
    Start(each.codePage, each.languageId);
    sender().Send(".+phone_log|2|#");
    const std::string bytes = Base64DecodeBytes(target().ReceiveBytes());
    EXPECT_EQ(server->page().FromBytes(bytes), std::string(".+busy_force|") + each.text + "|#");
    EXPECT_EQ(bytes, server->page().ToBytes(std::string(".+busy_force|") + each.text + "|#"));
  }
}

TEST_F(CodePages, ChineseNameLogsInOnBothChinesePages) {
  for (int codePage : {936, 950}) {
    Start(codePage);
    server->Run("update Users_ID set UserName='王小明', UserPaws='密' where UserID='1'");
    TestClient client = server->Connect();
    client.Send(".+landing|王小明|密|10.0.0.1|mac1|x|#");
    EXPECT_TRUE(client.Receive().starts_with(".+landing_successful|1|")) << codePage;
    EXPECT_EQ(server->Log().back(), "王小明" + server->Lang("im53") + "|1|127.0.0.1|1");
  }
}

TEST_F(CodePages, ByteWithoutACharacterOfItsOwnComesBackAsItWas) {
  Start(936);
  sender().SendBytes(
      Base64EncodeBytes(".+message|2|1|a\xFF"
                        "b|f|M1|1|#"));
  EXPECT_EQ(BytesAfterTick(), Delivered("a\xFF"
                                        "b"));
}

}  // namespace
}  // namespace vnq
