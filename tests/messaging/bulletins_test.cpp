// Bulletins and who shares them.
#include "tests/harness/people.h"

namespace vnq {
namespace {

class Bulletins : public People {
 protected:
  Bulletins() : ann(server.Online("1")) { Settle(ann); }
  Lines Forms() { return server.Rows("select UserID,Motif from News_Form"); }
  Lines Sharers() { return server.Rows("select MyID,UserID from News_Ro"); }
  TestClient ann;
};

// --- .+delete_bulletin ---

using DeleteBulletin = Bulletins;

TEST_F(DeleteBulletin, FirstOfEqualBulletinsGoes) {
  server.Run("insert into News_Form values('1','a'),('1','b'),('1','b'),('2','b')");
  EXPECT_TRUE(RunsWhole(ann, ".+delete_bulletin|1|b|#"));
  EXPECT_EQ(Forms(), (Lines{"1|a", "1|b", "2|b"}));
  EXPECT_EQ(Counter("NewGo_Vesr"), "1");
  EXPECT_EQ(Counter("NewRo_Vesr"), "0");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im99") + "b|1|127.0.0.1|1"});
  EXPECT_EQ(AfterTick(ann), "");
}

TEST_F(DeleteBulletin, UnknownBulletinIsCountedAllTheSame) {
  server.Run("insert into News_Form values('1','a')");
  ann.Send(".+delete_bulletin|1|b|#");
  EXPECT_EQ(Forms(), Lines{"1|a"});
  EXPECT_EQ(Counter("NewGo_Vesr"), "1");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im99") + "b|1|127.0.0.1|1"});
}

TEST_F(DeleteBulletin, QuoteInTheTitleDeletesNothingAndIsCounted) {
  server.Run("insert into News_Form values('1','a')");
  ann.Send(".+delete_bulletin|1|a' or '1'='1|#");
  EXPECT_EQ(Forms(), Lines{"1|a"});
  EXPECT_EQ(Counter("NewGo_Vesr"), "1");
}

TEST_F(DeleteBulletin, CounterStaysWhereTheVersionRowIsMissing) {
  server.Run("delete from UpDateForm; insert into News_Form values('1','a')");
  ann.Send(".+delete_bulletin|1|a|#");
  EXPECT_EQ(Forms(), Lines{});
  EXPECT_EQ(Counter("NewGo_Vesr"), "(none)");
  EXPECT_EQ(Log().size(), 1u);
}

// --- .+shared_notice ---

class SharedNotice : public Bulletins {
 protected:
  SharedNotice() { server.Run("insert into News_Ro values('1','7'),('1','8'),('2','9')"); }
};

TEST_F(SharedNotice, ListIsReplacedNotMerged) {
  EXPECT_TRUE(RunsWhole(ann, ".+shared_notice|1|3\\4|#"));
  EXPECT_EQ(Sharers(), (Lines{"2|9", "1|3", "1|4"}));
  EXPECT_EQ(Counter("NewRo_Vesr"), "1");
  EXPECT_EQ(Counter("NewGo_Vesr"), "0");
}

TEST_F(SharedNotice, LogTellsTheLastIndex) {
  ann.Send(".+shared_notice|1|3\\4\\5|#");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im100") + server.Lang("im68") + "2|1|127.0.0.1|1"});
}

TEST_F(SharedNotice, EmptyElementsAreWrittenAsTheyAre) {
  ann.Send(".+shared_notice|1|3\\\\4\\|#");
  EXPECT_EQ(Sharers(), (Lines{"2|9", "1|3", "1|", "1|4", "1|"}));
}

TEST_F(SharedNotice, EmptyFieldChangesNothing) {
  ann.Send(".+shared_notice|1||#");
  EXPECT_EQ(Sharers(), (Lines{"1|7", "1|8", "2|9"}));
  EXPECT_EQ(Counter("NewRo_Vesr"), "0");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(SharedNotice, ClosingSignIsTakenForTheListWhereTheListIsMissing) {
  ann.Send(".+shared_notice|1|#");
  EXPECT_EQ(Sharers(), (Lines{"2|9", "1|#"}));
}

TEST_F(SharedNotice, MissingFieldChangesNothing) {
  ann.Send(".+shared_notice|1");
  EXPECT_EQ(Sharers(), (Lines{"1|7", "1|8", "2|9"}));
}

TEST_F(SharedNotice, EmptyTableTakesRows) {
  server.Run("delete from News_Ro");
  ann.Send(".+shared_notice|1|3|#");
  EXPECT_EQ(Sharers(), Lines{"1|3"});
}

}  // namespace
}  // namespace vnq
