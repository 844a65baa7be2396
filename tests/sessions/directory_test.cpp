// How clients learn that their copy of the directory is stale, and how the sign-up dialog gets it.
#include <map>

#include "support/numbers.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr uint16_t kAccountPort = 6007;

class DepartmentTree : public ServerTest {
 protected:
  DepartmentTree() { server.Run("update UpDateForm set Users_RoVesr=5"); }

  TestClient Dialog() {
    TestClient client = server.ConnectTo(kAccountPort);
    EXPECT_EQ(client.Receive(), ".+successful_connection|#");
    return client;
  }
  std::string Ask(const std::string& record) {
    TestClient client = Dialog();
    client.Send(record);
    return client.Receive();
  }
  Lines Log() { return server.Rows("select * from ServerLog"); }
};

TEST_F(DepartmentTree, RightVersionGetsTheClosingRecordAlone) {
  server.Run("insert into Users_Ro values('000001','000000','Company','1','r')");
  EXPECT_EQ(Ask(".+request_data_synchronization|5|#"), ".+data_synchronization|#1");
  EXPECT_EQ(Log(), Lines{"5" + server.Lang("im21") + "|5|127.0.0.1|1"});
}

TEST_F(DepartmentTree, EmptyTreeGivesTheVersionAndTheClosingRecord) {
  EXPECT_EQ(Ask(".+request_data_synchronization|4|#"),
            ".+data_synchronization|Users_RoVesr|5|.+data_synchronization|#1");
  EXPECT_EQ(Log(), Lines{"4" + server.Lang("im22") + "|4|127.0.0.1|1"});
}

TEST_F(DepartmentTree, StaleVersionGetsEveryDepartmentByPosition) {
  server.Run(
      "insert into Users_Ro values('000001','000000','公司','1','r'),"
      "('000002','000001',NULL,NULL,'')");
  EXPECT_EQ(Ask(".+request_data_synchronization|0|#"),
            ".+data_synchronization|Users_RoVesr|5|"
            ".+data_synchronization|Users_Ro|000001|000000|公司|1|r|"
            ".+data_synchronization|Users_Ro|000002|000001||||"
            ".+data_synchronization|#1");
}

TEST_F(DepartmentTree, EverythingComesAsOneText) {
  server.Run("insert into Users_Ro values('000001','000000','Company','1','r')");
  TestClient client = server.ConnectTo(kAccountPort);
  client.Receive();
  client.Send(".+request_data_synchronization|0|#");
  const std::string wire = client.ReceiveBytes();
  EXPECT_EQ(wire.find('='), wire.find_last_not_of('=') + 1) << wire;
}

TEST_F(DepartmentTree, VersionsAreComparedAsNumbers) {
  EXPECT_EQ(Ask(".+request_data_synchronization| 05.0 |#"), ".+data_synchronization|#1");
}

TEST_F(DepartmentTree, VersionThatIsNoNumberGetsTheClosingRecordAndNoLogRow) {
  EXPECT_EQ(Ask(".+request_data_synchronization|x|#"), ".+data_synchronization|#1");
  EXPECT_EQ(Ask(".+request_data_synchronization"), ".+data_synchronization|#1");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(DepartmentTree, FetchBumpsNothing) {
  Ask(".+request_data_synchronization|0|#");
  EXPECT_EQ(server.Rows("select * from UpDateForm"), Lines{"1|5|0|0|0|0|0|0|0"});
}

TEST_F(DepartmentTree, ClientThatGoesBeforeTheAnswerIsNoFailure) {
  TestClient client = Dialog();
  client.SendQuietly(".+request_data_synchronization|0|#");
  client.Reset();
  EXPECT_EQ(Ask(".+request_data_synchronization|5|#"), ".+data_synchronization|#1");
}

TEST_F(DepartmentTree, IsNotServedOnTheMainPort) {
  TestClient ann = server.Connect();
  ann.Send(".+request_data_synchronization|0|#");
  EXPECT_EQ(ann.Receive(), "");
}

// --- The nudge ---

class Nudge : public ServerTest {};

TEST_F(Nudge, ReachesEveryConnectionTheSenderIncluded) {
  TestClient ann = server.Connect(), ben = server.Connect();
  ann.Send(".+request_data_synchronization_online|groups|#");
  EXPECT_EQ(ann.Receive(), ".+request_data_synchronization_online|groups|#");
  EXPECT_EQ(ben.Receive(), ".+request_data_synchronization_online|groups|#");
}

TEST_F(Nudge, EmptyOrMissingTextDoesNothing) {
  TestClient ann = server.Connect();
  ann.Send(".+request_data_synchronization_online||#");
  ann.Send(".+request_data_synchronization_online");
  EXPECT_EQ(ann.Receive(), "");
}

TEST_F(Nudge, ChangesNoCounterAndWritesNoLog) {
  TestClient ann = server.Connect();
  ann.Send(".+request_data_synchronization_online|x|#");
  EXPECT_EQ(server.Rows("select * from UpDateForm"), Lines{"1|0|0|0|0|0|0|0|0"});
  EXPECT_EQ(server.Rows("select * from ServerLog"), Lines{});
}

// --- Which command bumps which counter ---

// One command, where it is sent, and by how much it raises each counter. Counters that are not
// named must not move.
struct BumpCase {
  const char* name;
  uint16_t port;
  std::string record;
  std::map<std::string, int> bumps;  ///< keys of Counters()
};

void PrintTo(const BumpCase& bumpCase, std::ostream* out) {
  *out << bumpCase.record;
}

constexpr uint16_t kMainPort = 6004;

// A new command with a counter is one more row here.
const BumpCase kBumps[] = {
    {"ModifyData",
     kMainPort,
     ".+modify_data|1|a|b|c|d|e|f|g|h|i|j|k|#",
     {{"UpDateForm.Users_IDVesr", 1}, {"Users_ID.Users_IDVesr of 1", 1}}},
    {"ModifyDataOfNobody",
     kMainPort,
     ".+modify_data|77|a|b|c|d|e|f|g|h|i|j|k|#",
     {{"UpDateForm.Users_IDVesr", 1}}},
    {"AccountApplication",
     kAccountPort,
     ".+account_application|000001|1|new|New|pw|j|t|c|#",
     {{"UpDateForm.Users_IDVesr", 1}}},
    {"AccountApplicationUnderATakenName",
     kAccountPort,
     ".+account_application|000001|1|name1|New|pw|j|t|c|#",
     {}},
    {"DepartmentFetch", kAccountPort, ".+request_data_synchronization|99|#", {}},
    {"Nudge", kMainPort, ".+request_data_synchronization_online|x|#", {}},
    {"ChangePassword", kMainPort, ".+change_password|1|new|#", {}},
    {"ModifyIsVerify", kMainPort, ".+modify_isverify|1|1|#", {}},
    {"ModifyIsSilence", kMainPort, ".+modify_isSilence|1|Clot000001|1|#", {}},
    {"ModifyPersonalPictures", kMainPort, ".+modify_personal_pictures|1|4|#", {}},
    {"ClearPersonalPictures", kMainPort, ".+clear_personal_pictures|1|4|#", {}},
    {"RequestLogo", kMainPort, ".+request_synchronous_LOGO|1|9|#", {}},
    {"RequestPhotos", kMainPort, ".+request_personalized_photos|1|1|1|9|#", {}},
};

class VersionCounters : public ServerTest, public ::testing::WithParamInterface<BumpCase> {
 protected:
  VersionCounters() {
    server.AddUser("1");
    server.AddUser("2");
    server.Run(
        "insert into Clot_Ro(TypeID,TypeName) values('Clot000001','Team');"
        "insert into Clot_Form(UpperID,UserID,IsAdmin) values('Clot000001','1',1)");
  }

  std::map<std::string, int> Counters() {
    std::map<std::string, int> counters;
    auto read = [&](const std::string& key, const std::string& select) {
      counters[key] = ParseInt32(server.Value(select)).value_or(-1);
    };
    for (const char* column : {"Users_RoVesr", "Users_IDVesr", "Clot_RoVesr", "Clot_FormVesr",
                               "NewGo_Vesr", "NewRo_Vesr", "LeaveFile_Vesr", "ClotFile_Vesr"}) {
      read(std::string("UpDateForm.") + column,
           std::string("select ") + column + " from UpDateForm where id=1");
    }
    for (const char* user : {"1", "2"}) {
      for (const char* column : {"Users_IDVesr", "Fav_FormVesr"}) {
        read(std::string("Users_ID.") + column + " of " + user,
             std::string("select ") + column + " from Users_ID where UserID='" + user + "'");
      }
    }
    for (const char* column : {"Users_IDVesr", "Users_FormVesr"}) {
      read(std::string("Clot_Ro.") + column, std::string("select ") + column + " from Clot_Ro");
    }
    return counters;
  }
};

TEST_P(VersionCounters, CommandRaisesItsCountersAndNoOther) {
  std::map<std::string, int> expected = Counters();
  for (const auto& [counter, bump] : GetParam().bumps) {
    ASSERT_TRUE(expected.contains(counter)) << counter;
    expected[counter] += bump;
  }
  TestClient client = server.ConnectTo(GetParam().port);
  client.Send(GetParam().record);
  EXPECT_EQ(Counters(), expected);
}

INSTANTIATE_TEST_SUITE_P(Commands, VersionCounters, ::testing::ValuesIn(kBumps),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
}  // namespace vnq
