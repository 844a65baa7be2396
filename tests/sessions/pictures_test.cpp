// Versions of pictures and of the logo, and the picture files.
#include <algorithm>
#include <filesystem>
#include <fstream>

#include "tests/harness/test_server.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;

class Pictures : public ServerTest {
 protected:
  Lines Versions() { return server.Rows("select UserID,pic from Users_Pic order by UserID"); }
  Lines Log() { return server.Rows("select * from ServerLog"); }
};

// --- Writing the version ---

TEST_F(Pictures, FirstVersionAddsTheRow) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_personal_pictures|1|4|#");
  EXPECT_EQ(Versions(), Lines{"1|4"});
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im61") + "4|1|127.0.0.1|1"});
  EXPECT_EQ(ann.Receive(), "");
}

TEST_F(Pictures, NextVersionWritesTheSameRow) {
  server.Run("insert into Users_Pic values('1',4),('2',9)");
  TestClient ann = server.Connect();
  ann.Send(".+modify_personal_pictures|1|5|#");
  EXPECT_EQ(Versions(), (Lines{"1|5", "2|9"}));
}

TEST_F(Pictures, UserWithTwoRowsGetsAThird) {
  server.Run("insert into Users_Pic values('1',4),('1',5)");
  TestClient ann = server.Connect();
  ann.Send(".+modify_personal_pictures|1|6|#");
  EXPECT_EQ(Versions(), (Lines{"1|4", "1|5", "1|6"}));
}

TEST_F(Pictures, VersionThatIsNoNumberLeavesTheDefaultInANewRow) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_personal_pictures|1|x|#");
  EXPECT_EQ(Versions(), Lines{"1|0"});
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im61") + "x|1|127.0.0.1|1"});
}

TEST_F(Pictures, QuoteInTheUserWritesNoRowAndIsLogged) {
  TestClient ann = server.Connect();
  ann.Send(".+modify_personal_pictures|a'b|4|#");
  EXPECT_EQ(Versions(), Lines{});
  EXPECT_EQ(Log(), Lines{"a'b" + server.Lang("im61") + "4|a'b|127.0.0.1|1"});
}

// --- The files ---

// A data root with the picture folder in the given spelling, and a stranger's file beside both.
class PictureFiles : public Pictures {
 protected:
  PictureFiles() : root_(server.folder() + "/root") {
    fs::create_directories(root_ + "/MYPIC");
    server.host().ServerRootPath = root_;
    std::replace(server.host().ServerRootPath.begin(), server.host().ServerRootPath.end(), '/',
                 '\\');
  }

  void Touch(const std::string& name) { std::ofstream(root_ + "/" + name) << "picture"; }
  bool Has(const std::string& name) { return fs::exists(fs::symlink_status(root_ + "/" + name)); }
  void Clear(const std::string& id) {
    TestClient ann = server.Connect();
    ann.Send(".+clear_personal_pictures|" + id + "|7|#");
    ann.Send(".+y|#");
    EXPECT_EQ(ann.Receive(), ".+y|#");
  }

  const std::string root_;
};

TEST_F(PictureFiles, ClearingDeletesTheUsersFileAndNoOther) {
  Touch("MYPIC/1.jpg");
  Touch("MYPIC/2.jpg");
  Clear("1");
  EXPECT_FALSE(Has("MYPIC/1.jpg"));
  EXPECT_TRUE(Has("MYPIC/2.jpg"));
  EXPECT_EQ(Versions(), Lines{"1|7"});
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im62") + "7|1|127.0.0.1|1"});
}

TEST_F(PictureFiles, LetterCaseOfFolderAndFileDoesNotMatter) {
  fs::rename(root_ + "/MYPIC", root_ + "/MyPic");
  Touch("MyPic/Abc.JPG");
  Clear("aBC");
  EXPECT_FALSE(Has("MyPic/Abc.JPG"));
}

TEST_F(PictureFiles, UserWithoutAFileStillGetsTheRow) {
  Clear("1");
  EXPECT_EQ(Versions(), Lines{"1|7"});
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im62") + "7|1|127.0.0.1|1"});
}

TEST_F(PictureFiles, MissingFolderOrRootIsNoFailure) {
  fs::remove_all(root_ + "/MYPIC");
  Clear("1");
  server.host().ServerRootPath = "Q:\\nowhere";
  Clear("2");
  server.host().ServerRootPath = "";
  Clear("3");
  EXPECT_EQ(Versions(), (Lines{"1|7", "2|7", "3|7"}));
}

TEST_F(PictureFiles, IdWithDotsNeverLeavesTheFolder) {
  Touch("x.jpg");
  fs::create_directory(root_ + "/MYPIC/sub");
  Touch("MYPIC/1.jpg");
  const Lines ids = {"../x",  "..\\x",      "sub/../../x",  "sub\\..\\..\\x",
                     "/../x", "../root/x",  "../MYPIC/1",   "./../x",
                     "..//x", root_ + "/x", "../../root/x", "\\..\\x"};
  for (const std::string& id : ids) Clear(id);
  EXPECT_TRUE(Has("x.jpg"));
  EXPECT_TRUE(Has("MYPIC/1.jpg"));
  EXPECT_EQ(server.Rows("select UserID from Users_Pic order by rowid"), ids);
}

TEST_F(PictureFiles, LinkedFolderBelowIsNotFollowed) {
  fs::create_directory(root_ + "/elsewhere");
  Touch("elsewhere/x.jpg");
  fs::create_directory_symlink(root_ + "/elsewhere", root_ + "/MYPIC/link");
  Clear("link/x");
  Clear("link\\x");
  EXPECT_TRUE(Has("elsewhere/x.jpg"));
}

TEST_F(PictureFiles, LinkInTheFilesPlaceGoesAndItsTargetStays) {
  Touch("x.jpg");
  fs::create_symlink(root_ + "/x.jpg", root_ + "/MYPIC/1.jpg");
  Clear("1");
  EXPECT_FALSE(Has("MYPIC/1.jpg"));
  EXPECT_TRUE(Has("x.jpg"));
}

TEST_F(PictureFiles, FolderInTheFilesPlaceStays) {
  fs::create_directory(root_ + "/MYPIC/1.jpg");
  Clear("1");
  EXPECT_TRUE(Has("MYPIC/1.jpg"));
}

TEST_F(PictureFiles, PictureFolderItselfMayBeALink) {
  fs::rename(root_ + "/MYPIC", root_ + "/pictures");
  fs::create_directory_symlink(root_ + "/pictures", root_ + "/Mypic");
  Touch("pictures/1.jpg");
  Clear("1");
  EXPECT_FALSE(Has("pictures/1.jpg"));
}

TEST_F(PictureFiles, NewVersionDeletesNoFile) {
  Touch("MYPIC/1.jpg");
  TestClient ann = server.Connect();
  ann.Send(".+modify_personal_pictures|1|7|#");
  EXPECT_TRUE(Has("MYPIC/1.jpg"));
}

// --- The logo ---

class Logo : public Pictures {
 protected:
  std::string Ask(const std::string& version) {
    TestClient ann = server.Connect();
    ann.Send(".+request_synchronous_LOGO|1|" + version + "|#");
    return ann.Receive();
  }
};

TEST_F(Logo, AnotherVersionGetsTheServers) {
  server.Run("update OtherForm set Logo=3");
  EXPECT_EQ(Ask("2"), ".+synchronization_LOGO|3|#");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im71") + "|1|127.0.0.1|1"});
}

TEST_F(Logo, SameVersionGetsNothingAndIsLogged) {
  server.Run("update OtherForm set Logo=3");
  EXPECT_EQ(Ask("3"), "");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im72") + "|1|127.0.0.1|1"});
}

TEST_F(Logo, ClientsVersionIsItsLeadingNumber) {
  server.Run("update OtherForm set Logo=3");
  EXPECT_EQ(Ask("3rd"), "");
  EXPECT_EQ(Ask("3.5"), ".+synchronization_LOGO|3|#");
}

TEST_F(Logo, MissingRowAndOversizedVersionCountAsZero) {
  server.Run("update OtherForm set Logo=40000");
  EXPECT_EQ(Ask("1"), ".+synchronization_LOGO|0|#");
  server.Run("delete from OtherForm");
  EXPECT_EQ(Ask("none"), "");
}

TEST_F(Logo, RecordWithoutAVersionDoesNothing) {
  TestClient ann = server.Connect();
  ann.Send(".+request_synchronous_LOGO|1");
  EXPECT_EQ(ann.Receive(), "");
  EXPECT_EQ(Log(), Lines{});
}

// --- Pictures of users and groups ---

class Photos : public Pictures {
 protected:
  Photos() {
    server.Run(
        "insert into Users_Pic values('5',4);"
        "insert into Clot_Pic(ClotID,ClotInfo,pic) values('Clot000001',0,'6')");
  }
  std::string Ask(const std::string& fields) {
    TestClient ann = server.Connect();
    ann.Send(".+request_personalized_photos|1|" + fields + "|#");
    return ann.Receive();
  }
};

TEST_F(Photos, StaleUserPictureIsAnsweredWithoutAClosingMark) {
  EXPECT_EQ(Ask("1|5|3"), ".+synchronization_personality_picture|1|5|4");
  EXPECT_EQ(Log(),
            Lines{"1" + server.Lang("im74") + "5" + server.Lang("im73") + "4|1|127.0.0.1|1"});
}

TEST_F(Photos, StaleGroupPictureIsAnsweredWithoutAClosingMark) {
  EXPECT_EQ(Ask("2|Clot000001|3"), ".+synchronization_personality_picture|2|Clot000001|6");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im75") + "Clot000001" + server.Lang("im73") +
                         "6|1|127.0.0.1|1"});
}

TEST_F(Photos, CurrentVersionGetsNothingAndNoLogRow) {
  EXPECT_EQ(Ask("1|5|4"), "");
  EXPECT_EQ(Ask("2|Clot000001|6.0"), "");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(Photos, UserWithoutARowAndClientAtZeroGetNothing) {
  EXPECT_EQ(Ask("1|77|0"), "");
  EXPECT_EQ(Ask("1|77|"), "");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(Photos, UserWithoutARowCountsAsVersionZero) {
  EXPECT_EQ(Ask("1|77|3"), ".+synchronization_personality_picture|1|77|0");
}

TEST_F(Photos, GroupVersionThatIsNoNumberCountsAsZero) {
  server.Run("update Clot_Pic set pic='old'");
  EXPECT_EQ(Ask("2|Clot000001|0"), "");
  EXPECT_EQ(Ask("2|Clot000001|3"), ".+synchronization_personality_picture|2|Clot000001|0");
}

TEST_F(Photos, AnyOtherKindGetsNothingAndNoLogRow) {
  for (const char* fields : {"3|5|0", "|5|0", "01|5|0"}) EXPECT_EQ(Ask(fields), "") << fields;
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(Photos, ShortRecordsGetNothing) {
  TestClient ann = server.Connect();
  std::string record = ".+request_personalized_photos";
  for (const char* field : {"|1", "|1", "|5"}) {
    ann.Send(record);
    record += field;
  }
  ann.Send(record);
  EXPECT_EQ(ann.Receive(), "");
  EXPECT_EQ(Log(), Lines{});
}

}  // namespace
}  // namespace vnq
