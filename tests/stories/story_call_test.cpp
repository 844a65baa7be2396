// The stories of a call and of remote assistance between two people with two devices each.
#include <atomic>
#include <sstream>
#include <thread>

#include "tests/harness/people.h"
#include "tools/client/meeting_command.h"
#include "tools/client/notify_command.h"

namespace vnq {
namespace {

class StoryCall : public People {
 protected:
  StoryCall() {
    RegisterPhone("2");
    Settle(ann, annsPhone, ben, bensPhone);
    server.Run("update Users_ID set UserIcoLine=3 where UserID='2'");
  }

  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  TestClient ben = server.Online("2"), bensPhone = server.Online("2", 3);
};

TEST_F(StoryCall, RingsOnBothDevicesIsAnsweredOnOneStopsOnTheOtherAndEnds) {
  std::ostringstream id, errors;
  ASSERT_EQ(RunMeetingOpen({server.folder(), "name1", "name2", true}, id, errors), 0)
      << errors.str();
  ASSERT_EQ(id.str(), "1\n");

  ann.Send(".+meeting_message|2|1|1|||0||1|#");
  server.Tick();
  const std::string ringing = ".+meeting_message|2|1|1|1|0|0|0|1|#";
  EXPECT_EQ(ben.Receive(), ringing);
  EXPECT_EQ(bensPhone.Receive(), ringing);
  EXPECT_EQ(ann.Receive() + annsPhone.Receive(), "");
  EXPECT_EQ(Pushes(), Lines{"2||1|1|" + server.Lang("im310")});

  bensPhone.Send(".+meeting_message|1|2|1||2|1||1|#");
  server.Tick();
  EXPECT_EQ(ann.Receive(), ".+meeting_message|2|1|1|1|2|1|0|1|#");
  EXPECT_EQ(ben.Receive(), ".+meeting_message|2|1|1|1|2|2|0|1|#") << "stops ringing";
  EXPECT_EQ(annsPhone.Receive() + bensPhone.Receive(), "");
  EXPECT_EQ(server.Rows("select * from Tab_Chat"), Lines{"1|1|2|1|1|2|1|0|2026-03-04 05:06:08"});

  ann.Send(".+meeting_message|2|1|1|||2||1|#");
  server.Tick();
  const std::string ended = ".+meeting_message|2|1|1|1|2|1|0|1|#";
  EXPECT_EQ(ben.Receive(), ended);
  EXPECT_EQ(bensPhone.Receive(), ended);
  EXPECT_EQ(annsPhone.Receive(), ".+meeting_message|2|1|1|1|2|2|0|1|#");
  EXPECT_EQ(ann.Receive(), "");
}

TEST_F(StoryCall, RemoteAssistanceIsAskedForOnBothDevicesAnsweredOnOneAndStopsOnTheOther) {
  ann.Send(".+request_remote|2|1|2|#");
  EXPECT_EQ(ben.Receive(), ".+request_remote|1|2026-03-04 05:06:07|2|#");
  EXPECT_EQ(Pushes(), Lines{"2||1|1|" + server.Lang("im312")});
  server.Tick();
  const std::string id = server.Value("select ChatId from remote_chat");
  EXPECT_EQ(bensPhone.Receive(), ".+request_remote|2|1|0|0|" + id + "|#");
  EXPECT_EQ(ann.Receive() + annsPhone.Receive(), "");

  ben.Send(".+reply_request_remote|1|2|1|#");
  const std::string tail = "|2026-03-04 05:06:08|127.0.0.1|1|#";
  EXPECT_EQ(bensPhone.Receive(), ".+reply_request_my_remote|1" + tail) << "stops offering";
  EXPECT_EQ(ann.Receive(), ".+reply_request_remote|2" + tail);
  EXPECT_EQ(annsPhone.Receive(), ".+reply_request_remote|2" + tail);
  EXPECT_EQ(ben.Receive(), "");

  ann.Send(".+remote_control|2|1|9|#");
  EXPECT_EQ(ben.Receive(), ".+remote_control|1|2026-03-04 05:06:08|127.0.0.1|9|#");
  EXPECT_EQ(bensPhone.Receive(), "");
}

TEST_F(StoryCall, NoticeOfAShellScriptReachesBothDevices) {
  NotifyOptions options;
  options.server = server.address();
  options.sender = "name1";
  options.receiver = "name2,nobody";
  options.title = "Disk full";
  options.link = "http://x/";
  std::ostringstream errors;
  int exitCode = -1;
  std::atomic<bool> ended = false;
  std::thread script([&] {
    exitCode = RunNotify(options, errors);
    ended = true;
  });
  while (!ended) server.Pump();
  script.join();
  EXPECT_EQ(exitCode, 0) << errors.str();
  server.Tick();
  const std::string notice = ".+notification|Disk full||http://x/|2026-03-04 05:06:07|" +
                             server.Value("select Msg_ID from MessengNotice_Text") + "|#";
  EXPECT_EQ(ben.Receive(), notice);
  EXPECT_EQ(bensPhone.Receive(), notice);
  EXPECT_EQ(ann.Receive(), "");
}

}  // namespace
}  // namespace vnq
