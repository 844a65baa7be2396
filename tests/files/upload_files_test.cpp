// Reports of files that clients have stored elsewhere.
#include "tests/harness/people.h"

namespace vnq {
namespace {

class UploadFiles : public People {
 protected:
  // A role with these permissions, held by user 1.
  void GiveRole(int id, const std::string& permissions) {
    const std::string number = std::to_string(id);
    server.Run("insert into Role(ID,Permissions) values(" + number + ",'" + permissions +
               "'); insert into Users_Role values('1'," + number + ")");
  }
  Lines LeaveFiles() { return server.Rows("select * from LeaveFile"); }
  Lines ClotFiles() { return server.Rows("select * from ClotFile"); }
  std::string FileState() { return server.Value("select FileState from ClotFile"); }

  // How many statements a record skips.
  uint64_t SkippedBy(TestClient& client, const std::string& record) {
    const uint64_t before = SkippedStatements();
    client.Send(record);
    return SkippedStatements() - before;
  }
};

// --- What cannot be read ---

TEST_F(UploadFiles, PermissionsThatCannotBeReadAreNoRightAndASkip) {
  TestClient ann = server.Online("1");
  GiveRole(7, "3");
  const uint64_t usual = SkippedBy(ann, ".+upload_files|p|1|1|Clot000001|2|f|F1|#");
  server.Run("alter table Role rename column Permissions to Gone");
  EXPECT_EQ(SkippedBy(ann, ".+upload_files|p|1|1|Clot000001|2|f|F2|#"), usual + 1);
  EXPECT_EQ(server.Rows("select FileState from ClotFile order by Msg_ID"), (Lines{"1", "0"}));
}

// --- Files left for a user ---

TEST_F(UploadFiles, OfflineFileBecomesARowAStepOfTheCounterAndAReceipt) {
  TestClient ann = server.Online("1");
  Settle(ann);
  EXPECT_TRUE(RunsWhole(ann, ".+upload_files|a%5Cb.txt|1 KB|1|2|1|up%2Ff|F1|#"));
  EXPECT_EQ(LeaveFiles(), Lines{"F1|2|1|a\\b.txt|1 KB|2026-03-04 05:06:07|0|up/f"});
  EXPECT_EQ(Counter("LeaveFile_Vesr"), "1");
  EXPECT_EQ(Counter("ClotFile_Vesr"), "0");
  EXPECT_EQ(ann.Receive(), "");
  EXPECT_EQ(AfterTick(ann), ".+reply|3|2|F1|#");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(UploadFiles, FileForOneselfIsNotStoredAndTheReceiptStillGoesOut) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|1|1|f|F1|#");
  EXPECT_EQ(LeaveFiles(), Lines{});
  EXPECT_EQ(Counter("LeaveFile_Vesr"), "0");
  EXPECT_EQ(AfterTick(ann), ".+reply|3|1|F1|#");
}

TEST_F(UploadFiles, SameMsgIdTwiceGivesOneRowOneStepAndTwoReceipts) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|2|1|f|F1|#");
  ann.Send(".+upload_files|other|2|1|3|1|f|F1|#");
  EXPECT_EQ(LeaveFiles(), Lines{"F1|2|1|p|1|2026-03-04 05:06:07|0|f"});
  EXPECT_EQ(Counter("LeaveFile_Vesr"), "1");
  EXPECT_EQ(AfterTick(ann), ".+reply|3|2|F1|#.+reply|3|3|F1|#");
}

TEST_F(UploadFiles, PlusInAPathArrivesAsABlank) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|a+b|1|1|2|1|c+d|F1|#");
  EXPECT_EQ(LeaveFiles(), Lines{"F1|2|1|a b|1|2026-03-04 05:06:07|0|c d"});
}

TEST_F(UploadFiles, PathOfOtherScriptsIsDecoded) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|%E4%BD%A0|1|1|2|1|%E5%A5%BD|F1|#");
  EXPECT_EQ(server.Value("select TypePath||FilPath from LeaveFile"), "你好");
}

TEST_F(UploadFiles, QuoteInAPathIsStored) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|it's|1|1|2|1|o'f|F1|#");
  EXPECT_EQ(server.Value("select TypePath||FilPath from LeaveFile"), "it'so'f");
}

TEST_F(UploadFiles, QuoteInTheMsgIdAddsNoRowAndIsAnswered) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|2|1|f|F'1|#.+upload_files|p|1|1|g|2|f|F'1|#");
  EXPECT_EQ(LeaveFiles(), Lines{});
  EXPECT_EQ(ClotFiles(), Lines{});
  EXPECT_EQ(AfterTick(ann), ".+reply|3|2|F'1|#.+reply|4|g|F'1|#");
}

TEST_F(UploadFiles, CounterStaysWhereTheVersionRowStandsTwice) {
  server.Run("insert into UpDateForm(id,LeaveFile_Vesr) values(1,5)");
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|2|1|f|F1|#");
  EXPECT_EQ(server.Rows("select LeaveFile_Vesr from UpDateForm"), (Lines{"0", "5"}));
  EXPECT_EQ(LeaveFiles().size(), 1u);
}

TEST_F(UploadFiles, RecordThatIsTooShortStoresNothing) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|2|1|f");
  ann.Send(".+upload_files|p|1|1|g|2");
  ann.Send(".+upload_files|p");
  EXPECT_EQ(LeaveFiles(), Lines{});
  EXPECT_EQ(ClotFiles(), Lines{});
  EXPECT_EQ(Counter("LeaveFile_Vesr"), "0");
  ann.Send(".+y|#");
  EXPECT_EQ(ann.Receive(), ".+y|#");
}

TEST_F(UploadFiles, OtherKindsAreIgnored) {
  TestClient ann = server.Online("1");
  for (const char* kind : {"3", "0", "-1", "", "x", "99999999999"}) {
    ann.Send(std::string(".+upload_files|p|1|1|2|") + kind + "|f|F1|#");
  }
  EXPECT_EQ(LeaveFiles(), Lines{});
  EXPECT_EQ(ClotFiles(), Lines{});
  EXPECT_EQ(AfterTick(ann), "");
}

// --- Files shared with a group ---

TEST_F(UploadFiles, GroupFileOfAnUploaderWithTheRightIsVisibleAndCounted) {
  GiveRole(1, "1,3");
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|a+b|2 KB|1|Clot000001|2|f|F1|#");
  EXPECT_EQ(ClotFiles(), Lines{"F1|1|Clot000001|a b|2 KB|Name 1|f|1"});
  EXPECT_EQ(Counter("ClotFile_Vesr"), "1");
  EXPECT_EQ(Counter("LeaveFile_Vesr"), "0");
  EXPECT_EQ(AfterTick(ann), ".+reply|4|Clot000001|F1|#");
}

TEST_F(UploadFiles, GroupFileOfAnUploaderWithoutTheRightIsHiddenAndNotCounted) {
  GiveRole(1, "1,2");
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|Clot000001|2|f|F1|#");
  EXPECT_EQ(FileState(), "0");
  EXPECT_EQ(Counter("ClotFile_Vesr"), "0");
  EXPECT_EQ(AfterTick(ann), ".+reply|4|Clot000001|F1|#");
}

TEST_F(UploadFiles, ListsOfTwoRolesRunIntoOneAnother) {
  GiveRole(1, "1,2");
  GiveRole(2, "3");
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  EXPECT_EQ(FileState(), "0") << "1,2 and 3 read as 1,23";
}

TEST_F(UploadFiles, SecondRoleCountsWhereItsListBeginsWithAComma) {
  GiveRole(1, "1,2");
  GiveRole(2, ",3");
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  EXPECT_EQ(FileState(), "1");
}

TEST_F(UploadFiles, GroupFileOfAnUnknownUploaderHasNoName) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|77|g|2|f|F1|#");
  EXPECT_EQ(ClotFiles(), Lines{"F1|77|g|p|1||f|0"});
}

TEST_F(UploadFiles, SecondReportOfAGroupFileChangesNothing) {
  GiveRole(1, "3");
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  ann.Send(".+upload_files|q|2|1|h|2|f|F1|#");
  EXPECT_EQ(ClotFiles(), Lines{"F1|1|g|p|1|Name 1|f|1"});
  EXPECT_EQ(Counter("ClotFile_Vesr"), "1");
  EXPECT_EQ(AfterTick(ann), ".+reply|4|g|F1|#.+reply|4|h|F1|#");
}

TEST_F(UploadFiles, MembersOfTheGroupAreNotTold) {
  server.Run("insert into Clot_Form(UpperID,UserID) values('g','1'),('g','2')");
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  EXPECT_EQ(AfterTick(ben), "");
}

// --- The notice to managers ---

class GroupFileNotice : public UploadFiles {
 protected:
  GroupFileNotice() {
    server.host().settings.CheckIM0 = 1;
    server.Run("update Users_ID set IsManager=1 where UserID in('2','3')");
  }

  std::string Notice() {
    return ".+notification|" + server.Lang("im300") + "|\"Name 1\"" + server.Lang("im301") +
           "||2026-03-04 05:06:07|" + server.Value("select Msg_ID from MessengNotice_Text") + "|#";
  }
};

TEST_F(GroupFileNotice, GroupFileReachesEveryDeviceOfEveryManager) {
  TestClient ann = server.Online("1");
  TestClient ben = server.Online("2"), bensPhone = server.Online("2", 3);
  TestClient cat = server.Online("3"), dan = server.Online("4");
  Settle(ann, ben, bensPhone, cat, dan);
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  server.Tick();
  EXPECT_EQ(ann.Receive(), ".+reply|4|g|F1|#");
  EXPECT_EQ(ben.Receive(), Notice());
  EXPECT_EQ(bensPhone.Receive(), Notice());
  EXPECT_EQ(cat.Receive(), Notice());
  EXPECT_EQ(dan.Receive(), "");
  EXPECT_EQ(server.Rows("select YouID,IsAck1,IsAck2 from Notice_Acks"), (Lines{"2|1|1", "3|1|1"}));
  EXPECT_EQ(server.Value("select MyID from MessengNotice_Text"), "");
}

TEST_F(GroupFileNotice, GroupFileWithTheRightIsToldOfToo) {
  GiveRole(1, "1,3");
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  EXPECT_EQ(AfterTick(ben), Notice());
}

TEST_F(GroupFileNotice, SecondReportIsNotToldOf) {
  TestClient ann = server.Online("1");
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  ann.Send(".+upload_files|p|1|1|g|2|f|F1|#");
  server.Tick();
  EXPECT_EQ(server.Value("select count(*) from MessengNotice_Text"), "1");
}

TEST_F(GroupFileNotice, OfflineFileIsNotToldOf) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+upload_files|p|1|1|3|1|f|F1|#");
  EXPECT_EQ(AfterTick(ben), "");
}

// --- Operations for outside callers ---

class OnlineFiles : public UploadFiles {
 protected:
  void Insert(const std::string& typePath, const std::string& size) {
    server.form().InsertOnlineFile("1", typePath, size, "f");
  }
  Lines Files() { return server.Rows("select * from OnlineFile order by TypePath"); }
};

TEST_F(OnlineFiles, FirstReportIsNotStamped) {
  Insert("p", "1");
  EXPECT_EQ(Files(), Lines{"1|Name 1|p|1|f|1|NULL|NULL"});
}

TEST_F(OnlineFiles, SecondReportOfAPathUpdatesItsRowAndStampsIt) {
  Insert("p", "1");
  Insert("q", "1");
  server.Run("update OnlineFile set FileState=0");
  Insert("p", "2");
  EXPECT_EQ(Files(), (Lines{"1|Name 1|p|2|f|1|2026-03-04|05:06:07", "1|Name 1|q|1|f|0|NULL|NULL"}));
  EXPECT_EQ(server.Rows("select LeaveFile_Vesr,ClotFile_Vesr from UpDateForm"), Lines{"0|0"});
}

TEST_F(OnlineFiles, UnknownUserHasNoName) {
  server.form().InsertOnlineFile("77", "p", "1", "f");
  EXPECT_EQ(Files(), Lines{"77||p|1|f|1|NULL|NULL"});
}

TEST_F(UploadFiles, OperationsForOutsideCallersStoreAsTheCommandDoes) {
  server.form().InsertLeaveFile("2", "1", "p", "1", "f", "F1");
  server.form().InsertClotFile("g", "1", "p", "1", "f", "F2");
  EXPECT_EQ(LeaveFiles(), Lines{"F1|2|1|p|1|2026-03-04 05:06:07|0|f"});
  EXPECT_EQ(ClotFiles(), Lines{"F2|1|g|p|1|Name 1|f|0"});
}

}  // namespace
}  // namespace vnq
