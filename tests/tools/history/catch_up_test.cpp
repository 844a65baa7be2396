#include "tools/history/catch_up.h"

#include <gmock/gmock.h>

#include "tests/tools/history/history_folder.h"

namespace vnq {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Records = std::vector<std::string>;

class CatchUpTest : public HistoryFolder {
 protected:
  void SetUp() override {
    HistoryFolder::SetUp();
    std::string error;
    catchUp_ = CatchUp::Open(folder_.path(), error);
    ASSERT_NE(catchUp_, nullptr) << error;
  }

  Records Read() {
    Records records;
    std::string error;
    EXPECT_TRUE(catchUp_->Read("2", names_, records, error)) << error;
    return records;
  }

  void Show(const Records& records) {
    std::string error;
    for (const std::string& record : records) catchUp_->NoteShown(record);
    EXPECT_TRUE(catchUp_->MarkShown(error)) << error;
  }

  std::unique_ptr<CatchUp> catchUp_;
  KnownNames names_;
};

TEST_P(CatchUpTest, RecordsAreThoseThatTheServerWouldHaveDelivered) {
  Peer("M1", "1", "2", "%u4F60", "0111", "05:00:01");
  Peer("M2", "2", "1", "copy", "1011", "05:00:02");
  Peer("M3", "2", "2", "note", "0011", "05:00:03");
  Peer("M4", "1", "2", "a.txt", "0111", "05:00:04", 60);
  Peer("M5", "2", "1", "b.txt", "1011", "05:00:05", 60);
  Group("G1", "3", "all");
  Group("G2", "2", "mine");
  Notice("N1", "1", "2", "title");
  EXPECT_THAT(Read(),
              ElementsAre(".+message|1|2026-03-04|05:00:01|%u4F60|font|M1|11|0|#",
                          ".+message|1|2026-03-04|05:00:02|copy|font|M2|10|0|#",
                          ".+message|2|2026-03-04|05:00:03|note|font|M3|11|0|#",
                          ".+message|1|2026-03-04|05:00:04|%7Bh%40a.txt%7D|font|M4|2|0|#",
                          ".+message|1|2026-03-04|05:00:05|%7Bh%40b.txt%7D|font|M5|1|0|#",
                          ".+clot_messeng|Clot000001|3|2026-03-04|06:00:00|all|font|G1|2|1|#",
                          ".+clot_messeng|Clot000001|2|2026-03-04|06:00:00|mine|font|G2|1|0|#",
                          ".+notification|title|the%20content||2026-03-04 07:00:00|N1|#"));
  EXPECT_EQ(names_.Label(KnownNames::Kind::kUser, "3"), "蔡 (3)");
  EXPECT_EQ(names_.Label(KnownNames::Kind::kGroup, "Clot000001"), "Team (Clot000001)");
}

TEST_P(CatchUpTest, WhatWasShownIsReadOnceAndLeftToTheOtherDevice) {
  Peer("M1", "1", "2", "x", "0111");
  Peer("M2", "2", "1", "copy", "1011");
  Group("G1", "1");
  Notice("N1", "1", "2", "title");
  const Records records = Read();
  EXPECT_THAT(records, SizeIs(4));
  EXPECT_THAT(Read(), SizeIs(4)) << "nothing is marked before it is shown";
  Show(records);
  EXPECT_THAT(Read(), IsEmpty());
  options_.onlyUnread = true;
  options_.device = Device::kMobile;
  const std::string onPhone = History();
  EXPECT_EQ(std::count(onPhone.begin(), onPhone.end(), '\n'), 3) << onPhone;
}

TEST_P(CatchUpTest, LiveRecordsAreMarkedInEveryForm) {
  EXPECT_THAT(Read(), IsEmpty());
  Peer("M1", "1", "2", "x", "0111");
  Peer("M2", "2", "1", "copy", "1011");
  Peer("M3", "2", "2", "note", "0011");
  Peer("M4", "1", "2", "a.txt", "0111", "05:06:07", 60);
  Group("G1", "1");
  Notice("N1", "1", "2", "title");
  Show({".+message|1|2026-03-04|05:06:07|x|font|M1|11|1|#",
        ".+message|1|2026-03-04|05:06:07|copy|font|M2|10|0|#",
        ".+message|2|2026-03-04|05:06:07|note|font|M3|11|1|#",
        ".+offline_file|2|1|path|1 KB|2026-03-04|M4|a.txt|#",
        ".+clot_messeng|Clot000001|1|2026-03-04|06:00:00|t|font|G1|2|1|#",
        ".+notification|title|the%20content||2026-03-04 07:00:00|N1|#", ".+y|#",
        ".+message|1|2026-03-04|05:06:07|from the older store|font|#"});
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_EQ(Rows("select IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text order by Msg_ID"),
            "0|1|0|1 0|0|1|1 0|0|0|1 0|1|0|1");
}

TEST_P(CatchUpTest, GroupMessageThatNeverCameLiveIsReadAtTheNextLogIn) {
  EXPECT_THAT(Read(), IsEmpty());
  Group("G1", "1", "lost");
  Group("G2", "1", "came");
  Show({".+clot_messeng|Clot000001|1|2026-03-04|06:00:00|came|font|G2|2|1|#"});
  EXPECT_THAT(Read(), ElementsAre(HasSubstr("|lost|"), HasSubstr("|came|")));
}

TEST_P(CatchUpTest, RequestsThatWaitedAreShownOnceAndLeftToTheOtherDevice) {
  Park("2", "2", "1", "1110");
  Park("2m", "2", "1", "1110");
  Park("2", "Clot000001", "3", "2110");
  const Records records = Read();
  EXPECT_THAT(records, ElementsAre(".+messengverify|2|1|let%20me|1|1|1|0|#",
                                   ".+messengverify|Clot000001|3|let%20me|2|1|1|0|#"));
  EXPECT_EQ(names_.Label(KnownNames::Kind::kUser, "1"), "Ann Lee (1)");
  Show(records);
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_EQ(Rows("select UserID1 from MessengVerify_Type"), "2m");
}

TEST_P(CatchUpTest, UserWhomTheDatabaseDoesNotKnowIsTold) {
  Records records;
  std::string error;
  EXPECT_FALSE(catchUp_->Read("ben", names_, records, error));
  EXPECT_EQ(error, "the database of the folder knows no user ben");
}

TEST_P(CatchUpTest, FailedMarkingIsTriedAgain) {
  Peer("M1", "1", "2", "x", "0111");
  const Records records = Read();
  Do("create trigger t before update on Messeng_Text begin select raise(abort,'no'); end");
  std::string error;
  catchUp_->NoteShown(records.front());
  EXPECT_FALSE(catchUp_->MarkShown(error));
  EXPECT_THAT(error, HasSubstr("no"));
  Do("drop trigger t");
  EXPECT_TRUE(catchUp_->MarkShown(error));
  EXPECT_EQ(Rows("select IsAck3 from Messeng_Text"), "0");
}

INSTANTIATE_TEST_SUITE_P(Engines, CatchUpTest, testing::Values(DatabaseEngine::kSqlite),
                         [](const auto&) { return "Sqlite"; });

}  // namespace
}  // namespace vnq
