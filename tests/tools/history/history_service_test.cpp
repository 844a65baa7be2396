// vnqctl history --serve: one body, one run an engine.
#include "tools/history/history_service.h"

#include <gmock/gmock.h>

#include "tests/tools/history/history_folder.h"

namespace vnq {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

class HistoryServing : public HistoryFolder {
 protected:
  void SetUp() override {
    HistoryFolder::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    std::string error;
    store_ = HistoryStore::Open(folder_.path(), error);
    ASSERT_NE(store_, nullptr) << error;
  }

  /// The answer to a request of Ben's desktop; `rest` are its other keys: R"("do":"people")".
  std::string Ask(const std::string& rest, const std::string& user = "2",
                  const std::string& device = "desktop") {
    return Raw(R"({"id":1,"user":")" + user + R"(","device":")" + device + "\"," + rest + "}");
  }
  std::string Raw(const std::string& line) { return HistoryService(*store_).Answer(line); }

  /// The Msg_IDs of the entries in an answer, and "+" when there are more.
  std::string Ids(const std::string& rest, const std::string& device = "desktop") {
    const std::string answer = Ask(rest, "2", device);
    std::string ids;
    const std::string key = "\"Msg_ID\":\"";
    for (size_t at = 0; (at = answer.find(key, at)) != std::string::npos;) {
      at += key.size();
      ids += (ids.empty() ? "" : " ") + answer.substr(at, answer.find('"', at) - at);
    }
    if (answer.find("\"more\":true") != std::string::npos) ids += " +";
    return answer.find("\"error\"") == std::string::npos ? ids : answer;
  }

  /// Four messages with Ann, one with Cai.
  void Talk() {
    Peer("M1", "1", "2", "one", "0111", "05:00:01");
    Peer("M2", "2", "1", "two", "0111", "05:00:02");
    Peer("M3", "1", "2", "three", "0111", "05:00:03");
    Peer("M4", "1", "2", "%u660E%u5929", "0111", "05:00:04");
    Peer("C1", "3", "2", "other", "0111", "05:00:05");
  }

  std::unique_ptr<HistoryStore> store_;
};

// --- Reading ---

TEST_P(HistoryServing, ConversationsComeLatestFirstWithUnreadCounts) {
  Talk();
  Group("G1", "1");
  Group("G2", "3");
  Do("insert into Clot_Ro(TypeID,TypeName) values('Clot000002','Silent')");
  Join("Clot000002", "2");
  Notice("N1", "1", "2", "title");
  EXPECT_THAT(
      Ask(R"("do":"conversations")"),
      AllOf(
          ContainsRegex(
              R"re(^\{"id":1,"result":\{"conversations":\[\{"kind":"notices","id":"","name":"","unread":1,"last":\{.*"Msg_ID":"N1")re"),
          ContainsRegex(
              R"re("kind":"group","id":"Clot000001","name":"Team","unread":2,"last":\{[^}]*"Msg_ID":"G2".*"kind":"peer","id":"3","name":"蔡","unread":1,"last":\{[^}]*"Msg_ID":"C1")re"),
          ContainsRegex(
              R"re("kind":"peer","id":"1","name":"Ann Lee","unread":3,"last":\{[^}]*"Msg_ID":"M4")re"),
          HasSubstr(
              R"({"kind":"group","id":"Clot000002","name":"Silent","unread":0,"last":null}]}})")));
}

TEST_P(HistoryServing, ConversationIsPagedBackAndForth) {
  Talk();
  EXPECT_EQ(Ids(R"("do":"messages","with":"1")"), "M1 M2 M3 M4");
  EXPECT_EQ(Ids(R"("do":"messages","with":"1","limit":2)"), "M3 M4 +");
  EXPECT_EQ(Ids(R"("do":"messages","with":"1","limit":2,"before":"M3")"), "M1 M2");
  EXPECT_EQ(Ids(R"("do":"messages","with":"1","limit":1,"after":"M2")"), "M3 +");
  EXPECT_EQ(Ids(R"("do":"messages","with":"1","since":"2026-03-04 05:00:03")"), "M3 M4");
  EXPECT_EQ(Ids(R"("do":"messages","with":"nobody")"), "");
  EXPECT_THAT(Ids(R"("do":"messages","with":"1","before":"C1")"), HasSubstr(R"("not_found")"));
}

TEST_P(HistoryServing, WordsOfOneSecondStayInTheirOrder) {
  Peer("M1", "1", "2", "question", "0111");
  Peer("M2", "2", "1", "answer", "1011");
  Peer("M3", "1", "2", "thanks", "0111");
  Peer("N1", "2", "2", "note", "0011");
  EXPECT_EQ(Ids(R"("do":"messages","with":"1")"), "M1 M2 M3");
  EXPECT_EQ(Ids(R"("do":"messages","with":"2")"), "N1");
  EXPECT_EQ(Ids(R"("do":"search","words":"n")"), "M1 M2 M3 N1");
}

TEST_P(HistoryServing, IndexesForHistoriesChangeNoOrder) {
  std::ostringstream said;
  InitOptions init{folder_.path(), false, "en_US"};
  init.historyIndexes = true;
  ASSERT_EQ(RunInit(init, said, said), 0) << said.str();
  EXPECT_THAT(said.str(), HasSubstr("tables 0, indexes 2, rows 0"));
  Peer("M1", "1", "2", "question", "0111");
  Peer("M2", "2", "1", "answer", "0011");
  Peer("M3", "1", "2", "thanks", "0111");
  Ask(R"("do":"read","with":"1","through":"M1")");
  EXPECT_EQ(Ids(R"("do":"messages","with":"1")"), "M1 M2 M3");
  EXPECT_EQ(Ids(R"("do":"search","words":"n")"), "M1 M2 M3");
  EXPECT_EQ(Ids(R"("do":"unread")"), "M3");
}

TEST_P(HistoryServing, GroupsAndNoticesAreConversationsToo) {
  Talk();
  Group("G1", "1");
  Notice("N1", "1", "2", "title");
  EXPECT_EQ(Ids(R"("do":"messages","group":"Clot000001")"), "G1");
  EXPECT_EQ(Ids(R"("do":"messages","notices":true)"), "N1");
}

TEST_P(HistoryServing, GroupIsClosedToWhoIsNoMember) {
  Group("G1", "1");
  Do("delete from Clot_Form where UserID='2'");
  EXPECT_EQ(Ids(R"("do":"messages","group":"Clot000001")"), "");
  EXPECT_EQ(Ids(R"("do":"search","words":"t")"), "");
  EXPECT_THAT(Ask(R"("do":"members","group":"Clot000001")"), HasSubstr(R"("not_allowed")"));
}

TEST_P(HistoryServing, MessagesOfOthersAreNeverAmongThem) {
  Peer("X1", "1", "3", "secret", "0111");
  EXPECT_EQ(Ids(R"("do":"messages","with":"1")"), "");
  EXPECT_EQ(Ids(R"("do":"search","words":"secret")"), "");
  EXPECT_EQ(Ids(R"("do":"unread")"), "");
}

TEST_P(HistoryServing, StrangerIsToldNothingByAnyRequest) {
  Talk();
  Group("G1", "1", "secret");
  Notice("N1", "1", "2", "secret");
  Park("2", "2", "1", "1110");
  const std::string before = Rows("select * from Messeng_Text") +
                             Rows("select * from Notice_Acks") + Rows("select * from Clot_Form") +
                             Rows("select * from Msg_Acks") +
                             Rows("select * from MessengVerify_Type");
  struct Attempt {
    const char* request;
    const char* answer;
  };
  constexpr const char* kNoEntries = R"({"id":1,"result":{"entries":[],"more":false}})";
  constexpr const char* kMarked = R"({"id":1,"result":{"marked":true}})";
  constexpr const char* kUnknown = R"({"id":1,"kind":"not_found","error":"no such entry"})";
  constexpr const char* kNoMember =
      R"({"id":1,"kind":"not_allowed","error":"not a member of this group"})";
  for (const Attempt& each : {
           Attempt{R"("do":"conversations")", R"({"id":1,"result":{"conversations":[]}})"},
           Attempt{R"("do":"messages","with":"1")", kNoEntries},
           Attempt{R"("do":"messages","with":"2","limit":1000)", kNoEntries},
           Attempt{R"("do":"messages","with":"2","before":"M3")", kUnknown},
           Attempt{R"("do":"messages","with":"2","after":"M1")", kUnknown},
           Attempt{R"("do":"messages","group":"Clot000001")", kNoEntries},
           Attempt{R"("do":"messages","group":"Clot000001","before":"G1")", kUnknown},
           Attempt{R"("do":"messages","group":"Clot999999")", kNoEntries},
           Attempt{R"("do":"messages","notices":true)", kNoEntries},
           Attempt{R"("do":"messages","notices":true,"after":"N1")", kUnknown},
           Attempt{R"("do":"unread")", kNoEntries},
           Attempt{R"("do":"search","words":"e")", kNoEntries},
           Attempt{R"("do":"search","words":"secret","group":"Clot000001")", kNoEntries},
           Attempt{R"("do":"search","words":"one","with":"2")", kNoEntries},
           Attempt{R"("do":"search","words":"secret","notices":true)", kNoEntries},
           Attempt{R"("do":"read","with":"2")", kMarked},
           Attempt{R"("do":"read","with":"2","through":"M3")", kUnknown},
           Attempt{R"("do":"read","group":"Clot000001")", kMarked},
           Attempt{R"("do":"read","group":"Clot000001","through":"G1")", kUnknown},
           Attempt{R"("do":"read","notices":true)", kMarked},
           Attempt{R"("do":"read","entries":[{"kind":"message","Msg_ID":"M1","to":"2"},
               {"kind":"message","Msg_ID":"M1","to":"2","own":true},
               {"kind":"group_message","Msg_ID":"G1","to":"Clot000001"},
               {"kind":"notice","Msg_ID":"N1","to":"2"}])",
                   kMarked},
           Attempt{R"("do":"members","group":"Clot000001")", kNoMember},
           Attempt{R"("do":"members","group":"Clot999999")", kNoMember},
           Attempt{R"("do":"requests")", R"({"id":1,"result":{"requests":[]}})"},
           Attempt{R"("do":"forget_requests","requests":[{"ClotID":"2","UserID2":"1",
               "UserText":"let%20me","To_Type1":"1","To_Type2":"1","To_Type3":"1","To_Type4":"0"}])",
                   R"({"id":1,"result":{"forgotten":true}})"},
       }) {
    for (const char* device : {"desktop", "mobile"}) {
      EXPECT_EQ(Ask(each.request, "4", device), each.answer) << each.request;
    }
  }
  EXPECT_EQ(Rows("select * from Messeng_Text") + Rows("select * from Notice_Acks") +
                Rows("select * from Clot_Form") + Rows("select * from Msg_Acks") +
                Rows("select * from MessengVerify_Type"),
            before)
      << "a stranger has changed a row";
}

TEST_P(HistoryServing, WhoHasLeftAGroupReadsNothingOfItNotEvenTheirOwn) {
  Group("G1", "1");
  Group("G2", "2");
  Do("delete from Clot_Form where UserID='2'");
  EXPECT_EQ(Ids(R"("do":"messages","group":"Clot000001")"), "");
  EXPECT_EQ(Ids(R"("do":"search","words":"t")"), "");
  EXPECT_EQ(Ids(R"("do":"unread")"), "");
  EXPECT_EQ(Ask(R"("do":"conversations")"), R"({"id":1,"result":{"conversations":[]}})");
  Join("Clot000001", "2");
  EXPECT_EQ(Ids(R"("do":"messages","group":"Clot000001")"), "G1 G2") << "a member again";
}

TEST_P(HistoryServing, SearchFindsChineseInAllOrOneConversation) {
  Talk();
  EXPECT_EQ(Ids(R"("do":"search","words":"明天")"), "M4");
  EXPECT_EQ(Ids(R"("do":"search","words":"O","limit":2)"), "M2 C1 +");
  EXPECT_EQ(Ids(R"("do":"search","words":"O","limit":2,"before":"M2")"), "M1");
  EXPECT_EQ(Ids(R"("do":"search","words":"O","with":"3")"), "C1");
}

TEST_P(HistoryServing, UnreadComesOldestFirstForTheDevice) {
  Peer("D", "1", "2", "desktop", "1110", "05:06:01");
  Peer("P", "1", "2", "phone", "1101", "05:06:02");
  Peer("B", "1", "2", "both", "1111", "05:06:03");
  EXPECT_EQ(Ids(R"("do":"unread")"), "D B");
  EXPECT_EQ(Ids(R"("do":"unread","limit":1)"), "D +");
  EXPECT_EQ(Ids(R"("do":"unread")", "mobile"), "P B");
}

TEST_P(HistoryServing, WhatAnotherProgramWritesIsSeenByTheNextRequest) {
  EXPECT_EQ(Ids(R"("do":"unread")"), "");
  Peer("M1", "1", "2", "new", "0111");
  EXPECT_EQ(Ids(R"("do":"unread")"), "M1");
  Do("update Users_ID set FcName='Anna' where UserID='1'");
  EXPECT_THAT(Ask(R"("do":"unread")"), HasSubstr(R"("from_name":"Anna")"));
}

TEST_P(HistoryServing, OwnMessageIsDeliveredOnceADeviceOfTheOtherHasHadIt) {
  Peer("M1", "2", "1", "owed to both", "0111", "05:00:01");
  Peer("M2", "2", "1", "read on the desktop", "0101", "05:00:02");
  Peer("M3", "2", "1", "read on the phone", "0110", "05:00:03");
  Peer("M4", "1", "2", "received", "0100", "05:00:04");
  const std::string answer = Ask(R"("do":"messages","with":"1")");
  EXPECT_THAT(answer, AllOf(ContainsRegex(R"re("Msg_ID":"M1"[^}]*"delivered":false)re"),
                            ContainsRegex(R"re("Msg_ID":"M2"[^}]*"delivered":true)re"),
                            ContainsRegex(R"re("Msg_ID":"M3"[^}]*"delivered":true)re"),
                            Not(ContainsRegex(R"re("Msg_ID":"M4"[^}]*"delivered")re"))));
}

// --- Requests that found nobody ---

TEST_P(HistoryServing, RequestsWaitForTheDeviceUntilTheyAreTakenAway) {
  Park("2", "2", "1", "1110");
  Park("2m", "2", "1", "1110");
  Park("2", "Clot000001", "3", "2110", "07:00:00");
  Park("3", "3", "1", "1110");
  const std::string friendly =
      R"({"time":"2026-03-04 08:00:00","text":"let me","name":"Ann Lee","target_name":"Ben",)"
      R"("ClotID":"2","UserID2":"1","UserText":"let%20me",)"
      R"("To_Type1":"1","To_Type2":"1","To_Type3":"1","To_Type4":"0"})";
  const std::string joining =
      R"({"time":"2026-03-04 07:00:00","text":"let me","name":"蔡","target_name":"Team",)"
      R"("ClotID":"Clot000001","UserID2":"3","UserText":"let%20me",)"
      R"("To_Type1":"2","To_Type2":"1","To_Type3":"1","To_Type4":"0"})";
  const auto listed = [](const std::string& requests) {
    return R"({"id":1,"result":{"requests":[)" + requests + "]}}";
  };
  EXPECT_EQ(Ask(R"("do":"requests")"), listed(joining + "," + friendly));
  EXPECT_EQ(Ask(R"("do":"requests")", "2", "mobile"), listed(friendly));
  EXPECT_EQ(Ask(R"("do":"forget_requests","requests":[)" + friendly + "]"),
            R"({"id":1,"result":{"forgotten":true}})");
  EXPECT_EQ(Ask(R"("do":"requests")"), listed(joining));
  EXPECT_EQ(Ask(R"("do":"requests")", "2", "mobile"), listed(friendly));
  EXPECT_EQ(Rows("select UserID1 from MessengVerify_Type order by UserID1"), "2 2m 3");
  for (const char* wrong :
       {R"("do":"forget_requests")", R"("do":"forget_requests","requests":1)"}) {
    EXPECT_THAT(Ask(wrong), HasSubstr(R"("bad_request")"));
  }
}

// --- Marking ---

TEST_P(HistoryServing, NamedEntriesAreMarkedForTheDeviceOnly) {
  Talk();
  Notice("N1", "1", "2", "title");
  Group("G1", "1");
  EXPECT_THAT(Ask(R"("do":"read","entries":[{"kind":"message","Msg_ID":"M1","to":"2"},
      {"kind":"notice","Msg_ID":"N1"},{"kind":"group_message","Msg_ID":"G1","to":"Clot000001"}])"),
              HasSubstr(R"({"marked":true})"));
  EXPECT_EQ(Ids(R"("do":"unread")"), "M3 M4 C1");
  EXPECT_EQ(Ids(R"("do":"unread")", "mobile"), "M1 M2 M3 M4 C1 G1 N1");
}

TEST_P(HistoryServing, ConversationIsReadUpToAnEntry) {
  Talk();
  for (int i = 1; i <= 3; ++i) Group("G" + std::to_string(i), "1");
  Ask(R"("do":"read","with":"1","through":"M3")");
  Ask(R"("do":"read","group":"Clot000001","through":"G2")");
  EXPECT_EQ(Ids(R"("do":"unread")"), "M4 C1 G3");
  Ask(R"("do":"read","with":"1")");
  EXPECT_EQ(Ids(R"("do":"unread")"), "C1 G3");
}

TEST_P(HistoryServing, NobodyMarksForAnother) {
  Peer("M1", "1", "3", "for Cai", "0111");
  Ask(R"("do":"read","entries":[{"kind":"message","Msg_ID":"M1","to":"3"},
      {"kind":"message","Msg_ID":"M1","to":"3","own":true}])");
  EXPECT_EQ(Rows("select IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text"), "0|1|1|1");
}

// --- The directory ---

TEST_P(HistoryServing, DirectoryHasPeopleDepartmentsGroupsAndFriends) {
  Do("insert into Users_Ro(TypeID,ParentID,TypeName) values('000001','000000','Sales')");
  Do("update Users_ID set UppeId='000001',Jod='Clerk',UserIcoLine=1,UserState=1 where UserID='1'");
  Do("update Users_ID set UserState=0 where UserID='3'");
  Do("insert into Users_Pic(UserID,pic) values('1',4)");
  Do("insert into Fav_Form(UserID,MyID) values('1','2')");
  Do("insert into Clot_Silence(MyID,YouID) values('2','Clot000001')");
  EXPECT_THAT(
      Ask(R"("do":"people")"),
      AllOf(HasSubstr(R"("departments":[{"id":"000001","parent":"000000","name":"Sales"}])"),
            HasSubstr(R"({"id":"1","login":"ann","name":"Ann Lee","department":"000001",)"
                      R"("job":"Clerk","picture":4,"state":1})"),
            Not(HasSubstr(R"("login":"cai")")), HasSubstr(R"("friends":["1"])"),
            HasSubstr(R"("groups":[{"id":"Clot000001","name":"Team","remark":"","admin":false,)"
                      R"("muted":true}])")));
}

TEST_P(HistoryServing, MembersAndProfilesAreTold) {
  Do("update Clot_Form set IsAdmin=1 where UserID='1'");
  EXPECT_THAT(Ask(R"("do":"members","group":"Clot000001")"),
              HasSubstr(R"({"id":"1","name":"Ann Lee","admin":true,"remark":""})"));
  Do("update Users_ID set Tel1='123',IsVerify=1 where UserID='2'");
  EXPECT_THAT(Ask(R"("do":"profile","of":"2")"),
              AllOf(HasSubstr(R"("tel1":"123")"), HasSubstr(R"("verify":1})")));
  EXPECT_THAT(Ask(R"("do":"profile","of":"1")"), Not(HasSubstr("verify")));
  EXPECT_THAT(Ask(R"("do":"profile","of":"99")"), HasSubstr(R"("not_found")"));
  EXPECT_THAT(Ask(R"("do":"states","of":["3","99"])"),
              HasSubstr(R"({"states":[{"id":"3","name":"蔡","state":0}]})"));
}

TEST_P(HistoryServing, VisitorsLineIsLeftWhereTheServerFindsIt) {
  EXPECT_THAT(Raw(R"({"id":1,"do":"leave","for":"2","visitor":"web-1","name":"Zoé","text":"a|b"})"),
              HasSubstr(R"({"stored":true})"));
  EXPECT_EQ(Rows("select UserID1,UserID2,FcName,To_Type,UserText from MessengKefu_Type"),
            "2|web-1|Zoé|1|a%7Cb");
  EXPECT_THAT(Raw(R"({"id":1,"do":"leave","for":"2","visitor":"a|b","text":"x"})"),
              HasSubstr(R"("bad_request")"));
}

// --- Requests ---

TEST_P(HistoryServing, SettingsTellTheCodePage) {
  EXPECT_THAT(
      Raw(R"({"id":"x","do":"settings"})"),
      ContainsRegex(R"re(^\{"id":"x","result":\{"code_page":[0-9]+,"engine":"[^"]+"\}\}$)re"));
}

TEST_P(HistoryServing, WhatIsNoRequestIsRefusedAndTheNextIsAnswered) {
  for (const char* line :
       {"", "x", "[1]", R"({"id":1})", R"({"id":1,"do":"destroy"})", R"({"id":1,"do":"people"})",
        R"({"id":1,"do":"messages","user":"2"})",
        R"({"id":1,"do":"messages","user":"2","with":"1","group":"g"})",
        R"({"id":1,"do":"messages","user":"2","with":"1","limit":0})",
        R"({"id":1,"do":"messages","user":"2","with":"1","limit":"9"})",
        R"({"id":1,"do":"messages","user":"2","with":"1","since":"x"})",
        R"({"id":1,"do":"unread","user":"2","device":"tablet"})",
        R"({"id":1,"do":"search","user":"2"})", R"({"id":1,"do":"read","user":"2","entries":{}})",
        R"({"id":1,"do":"read","user":"2","entries":[{"kind":"x","Msg_ID":"1"}]})",
        R"({"id":1,"do":"messages","user":"2","with":"1' or '1'='1"})",
        R"({"id":1,"do":"read","user":"2"})"}) {
    EXPECT_THAT(Raw(line), HasSubstr(R"("kind":"bad_request","error":")")) << line;
  }
  EXPECT_EQ(Ids(R"("do":"unread")"), "");
}

TEST_P(HistoryServing, EachLineIsAnsweredByALine) {
  std::istringstream in("{\"id\":1,\"do\":\"settings\"}\nx\n");
  std::ostringstream out, err;
  EXPECT_EQ(RunHistoryService(folder_.path(), in, out, err), 0);
  EXPECT_THAT(out.str(), ContainsRegex("^\\{\"id\":1,\"result\":.*\n\\{\"id\":null,.*\n$"));
  EXPECT_EQ(RunHistoryService("/nowhere", in, out, err), 1);
  EXPECT_THAT(err.str(), HasSubstr("/nowhere"));
}

INSTANTIATE_TEST_SUITE_P(Engines, HistoryServing,
                         testing::Values(DatabaseEngine::kSqlite, DatabaseEngine::kPostgres,
                                         DatabaseEngine::kSqlServer),
                         [](const auto& engine) {
                           std::string name(EngineName(engine.param));
                           std::erase(name, ' ');
                           return name;
                         });

}  // namespace
}  // namespace vnq
