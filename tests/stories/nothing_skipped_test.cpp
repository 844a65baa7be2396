// Days of a small company in which nothing goes wrong: every statement of every command runs.
#include "host/values/skipped.h"
#include "tests/harness/people.h"

namespace vnq {
namespace {

class NothingSkipped : public People {
 protected:
  NothingSkipped() {
    server.Run("update Users_ID set IsVerify=1,UserIcoLine=0,Fav_FormVesr=0,Users_IDVesr=0");
  }

  /// A new connection on which a user has logged in and come online.
  TestClient LogIn(const std::string& userId) {
    TestClient client = server.Connect();
    Step(client, ".+landing|name" + userId + "|pw" + userId + "|10.0.0.1|mac|x|1|#");
    Step(client, ".+successful_online|" + userId + "|1|#");
    client.Receive();
    return client;
  }

  /// Sends a record, lets the reply buffers leave, and names the record if anything was skipped.
  void Step(TestClient& client, const std::string& record) {
    const uint64_t before = SkippedStatements();
    client.Send(record);
    server.Tick();
    if (SkippedStatements() != before) skippedAt_.push_back(record);
  }

  Lines skippedAt_;
};

TEST_F(NothingSkipped, InADayOfMessagesFriendsGroupsFilesAndCalls) {
  TestClient ann = LogIn("1"), ben = LogIn("2"), cid = LogIn("3");

  Step(ann, ".+messengverify|2|1|hi|1|1|1|0|#");
  Step(ben, ".+messengverify|1|2||1|1|2|1|#");
  Step(ann, ".+message|2|1|hello%20ben|font|M1|1|#");
  Step(ben, ".+jitter_window|1|2|#");
  Step(ann, ".+retract|0|2|1|M1|x|#");
  Step(ann, ".+notification|1|2,3|title|content|link|#");
  Step(ann, ".+mass_information|2*3|1|to%20all|1|#");

  Step(ann, ".+new_group_information|1|Team|about|Ann|1:1:Ann-2:0:Ben-|#");
  Step(ben, ".+clot_messeng|Clot000001|2|hello%20team|font|G1|1|#");
  Step(cid, ".+messengverify|Clot000001|3|me too|2|1|1|0|#");
  Step(ann, ".+messengverify|Clot000001|3||2|1|2|1|#");
  Step(ann, ".+add_group_members|1|Clot000001|4:0:Dan-|#");
  Step(ann, ".+set_group_administrator|1|Clot000001|2:1|#");
  Step(ann, ".+modify_group_members|1|Clot000001|2:1:Ben-3:0:Cid-|#");
  Step(ann, ".+modify_group_information|1|Clot000001|Team|new|Ann|#");
  Step(ann, ".+modify_group_photos|1|Clot000001|1|#");
  Step(ann, ".+del_group_members|1|Clot000001|3|#");
  Step(ben, ".+messengverify|Clot000001|2||2|2|1|0|#");
  Step(ann, ".+messengverify|Clot000001|1||2|2|2|1|#");

  Step(ann, ".+upload_files|a.txt|1|1|2|1|store|F1|#");
  Step(ann, ".+message|2|1|a.txt|font|F1|5|#");
  server.Run(
      "insert into Tab_Chat(ChatId,MyID,YouID,IsVideo,LoginType1,LoginType2,Status,CloseRole)"
      " values(7,'1','2','0','1','1','0','0')");
  Step(ann, ".+meeting_message|2|1|0|1|1|0|0|7|#");
  Step(ben, ".+meeting_message|1|2|0|1|1|1|0|7|#");
  Step(ann, ".+request_remote|2|1|2|#");
  Step(ben, ".+reply_request_remote|1|2|1|#");

  Step(ann, ".+modify_data|1|Boss|Ann|30|f|1|2|there|school|Leo|hi|3|#");
  Step(ann, ".+change_password|1|new|#");
  Step(ann, ".+modify_isverify|1|0|#");
  Step(ann, ".+modify_personal_pictures|1|2|#");
  Step(ann, ".+request_personalized_photos|2|1|1|0|#");
  Step(ann, ".+offline_request_web_information|1|#");
  Step(ann, ".+messengverify|2|1||1|2|1|0|#");
  Step(cid, ".+go_away|3|#");
  Step(ben, ".+offline|2|#");
  EXPECT_EQ(skippedAt_, Lines{});
}

TEST_F(NothingSkipped, ButWhatIsSkippedIsSeen) {
  TestClient ann = LogIn("1"), ben = LogIn("2");
  Step(ann, ".+message|2|1|whole|font|M1|1|#");
  EXPECT_EQ(skippedAt_, Lines{});

  const Lines broken = {
      ".+message|2|1|it's|font|M'2|1|#",              // a quote breaks the look-up of the Msg_ID
      ".+add_group_members|1|Clot000001|4-|#",        // a member without right and name
      ".+successful_online|1",                        // no state
      ".+shared_notice|1",                            // no list
      ".+retract|0|2",                                // not from anybody
      ".+meeting_message|2|1|0|1|1|0|0|no number|#",  // of no call
      ".+messengverify|Clot000001|2||2|3",            // shorter than what is relayed
  };
  for (const std::string& record : broken) Step(ann, record);
  EXPECT_EQ(skippedAt_, broken);
}

}  // namespace
}  // namespace vnq
