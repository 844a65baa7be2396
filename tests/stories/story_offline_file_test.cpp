// The story of a file left for somebody: from the report to both of the other's devices.
#include "tests/harness/people.h"

namespace vnq {
namespace {

using StoryOfflineFile = People;

TEST_F(StoryOfflineFile, ReportMessageAndTheFormThatEachDeviceGets) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  TestClient ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, annsPhone, ben, bensPhone);
  server.Run("update Users_ID set UserIcoLine=3 where UserID='2'");

  ann.Send(".+upload_files|Docs%5Creport.pdf|12 KB|1|2|1|store%2F7|F1|#");
  EXPECT_EQ(server.Rows("select * from LeaveFile"),
            Lines{"F1|2|1|Docs\\report.pdf|12 KB|2026-03-04 05:06:07|0|store/7"});
  EXPECT_EQ(AfterTick(ann), ".+reply|3|2|F1|#");
  EXPECT_EQ(ben.Receive() + bensPhone.Receive(), "");

  ann.Send(".+message|2|1|report.pdf|font|F1|5|#");
  server.Tick();
  EXPECT_EQ(ann.Receive(), ".+reply|1|2|F1|#");
  EXPECT_EQ(ben.Receive(),
            ".+offline_file|2|1|Docs\\report.pdf|12 KB|2026-03-04 05:06:07|F1|store/7|#");
  EXPECT_EQ(bensPhone.Receive(),
            ".+message|1|2026-03-04|05:06:08|%7Ba%40report.pdf%7D|font|F1|2|1|#");
  // Of the sender's two flags only the other device's is set, so their product is 0.
  EXPECT_EQ(annsPhone.Receive(),
            ".+message|2|2026-03-04|05:06:08|%7Ba%40report.pdf%7D|font|F1|1|0|#");
  EXPECT_EQ(Pushes(), Lines{"2||1|1|" + server.Lang("im283")});
}

TEST_F(StoryOfflineFile, MessageBeforeTheReportReachesTheMobileOnly) {
  TestClient ann = server.Online("1"), ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, ben, bensPhone);
  ann.Send(".+message|2|1|x|font|F1|5|#");
  ann.Send(".+upload_files|p|1|1|2|1|f|F1|#");
  server.Tick();
  EXPECT_EQ(ben.Receive(), "");
  EXPECT_EQ(bensPhone.Receive(), ".+message|1|2026-03-04|05:06:07|%7Ba%40x%7D|font|F1|2|1|#");
}

}  // namespace
}  // namespace vnq
