// Managed computers on their plain-text port.
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr uint16_t kControlPort = 6003;
constexpr uint16_t kEndpointPort = 6008;

class EndpointRegistration : public ServerTest {
 protected:
  TestClient Connect(uint16_t port) {
    TestClient client = server.ConnectTo(port);
    EXPECT_EQ(client.ReceiveBytes(), ".+successful_connection|#");
    return client;
  }
  Lines Computers() {
    return server.Rows(
        "select WindowsInfo,UserName,Upan,LocalIP,UserIcoLine from Users_WinInfo order by rowid");
  }
  std::string LastLog() {
    return server.Value("select Txt,UserID,Ip,Ico from ServerLog order by rowid desc");
  }
  TestSlots slots() { return server.Slots(6008); }
};

TEST_F(EndpointRegistration, ANewComputerGetsARow) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc1|ann|1|#");
  EXPECT_EQ(Computers(), Lines{"pc1|ann|1|127.0.0.1|1"});
  EXPECT_EQ(slots().Tag(1), "pc1");
  EXPECT_EQ(endpoint.ReceiveBytes(), "");
}

TEST_F(EndpointRegistration, AKnownComputersRowIsUpdated) {
  server.Run("insert into Users_WinInfo(WindowsInfo,UserName,UserIcoLine) values('pc1','x',0)");
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc1|ann|0|#");
  EXPECT_EQ(Computers(), Lines{"pc1|ann|0|127.0.0.1|1"});
}

TEST_F(EndpointRegistration, AnEmptyNameBecomesTheAddress) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing||user|u|#");
  EXPECT_EQ(Computers(), Lines{"127.0.0.1|user|u|127.0.0.1|1"});
  EXPECT_EQ(slots().Tag(1), "127.0.0.1");
}

TEST_F(EndpointRegistration, OfTwoRowsEachLandingMakesOneMore) {
  server.Run(
      "insert into Users_WinInfo(WindowsInfo) values('pc1');"
      "insert into Users_WinInfo(WindowsInfo) values('pc1')");
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc1|ann|u|#");
  EXPECT_EQ(Computers().size(), 3u);
  TestClient again = Connect(kEndpointPort);
  again.SendBytes(".+landing|pc1|ann|u|#");
  EXPECT_EQ(Computers().size(), 4u);
  EXPECT_EQ(Computers().back(), "pc1|ann|u|127.0.0.1|1");
}

TEST_F(EndpointRegistration, ASecondLandingOfANameClosesTheFirstConnection) {
  TestClient first = Connect(kEndpointPort);
  first.SendBytes(".+landing|pc1|ann|u|#");
  TestClient second = Connect(kEndpointPort);
  second.SendBytes(".+landing|pc1|ben|u|#");
  EXPECT_TRUE(first.IsClosed());
  EXPECT_FALSE(second.IsClosed());
  EXPECT_EQ(slots().Tag(1), "");
  EXPECT_EQ(slots().Tag(2), "pc1");
  EXPECT_EQ(Computers(), Lines{"pc1|ben|u|127.0.0.1|1"});
}

TEST_F(EndpointRegistration, AComputerThatLandsTwiceClosesItself) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc1|ann|u|#");
  endpoint.SendBytes(".+landing|pc1|ann|u|#");
  EXPECT_TRUE(endpoint.IsClosed());
  EXPECT_EQ(slots().Tag(1), "pc1");
  EXPECT_EQ(Computers(), Lines{"pc1|ann|u|127.0.0.1|1"});
}

TEST_F(EndpointRegistration, MissingFieldsAreLeftOutOfTheRow) {
  server.Run("insert into Users_WinInfo(WindowsInfo,UserName,Upan) values('pc1','x','y')");
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc1");
  EXPECT_EQ(Computers(), Lines{"pc1|x|y|127.0.0.1|1"});
  endpoint.SendBytes(".+landing");
  EXPECT_EQ(slots().Tag(1), "pc1");
}

TEST_F(EndpointRegistration, AQuoteInTheNameBindsTheTagWithoutARow) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc'1|ann|u|#");
  EXPECT_EQ(slots().Tag(1), "pc'1");
  EXPECT_TRUE(Computers().empty());
}

TEST_F(EndpointRegistration, ALostComputerIsShownAsGoneByTheNextSweep) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc1|ann|u|#");
  endpoint.Close();
  server.AdvanceMs(20'000);
  EXPECT_EQ(Computers(), Lines{"pc1|ann|u|127.0.0.1|0"});
  EXPECT_EQ(slots().Tag(1), "");
}

TEST_F(EndpointRegistration, AReadWithTwoRecordsIsOneRecord) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+landing|pc1|ann.+landing|pc2|ben|#");
  EXPECT_EQ(Computers(), Lines{"pc1|ann.+landing|pc2|127.0.0.1|1"});
}

TEST_F(EndpointRegistration, NothingIsCarriedOverAndLetterCaseCounts) {
  TestClient endpoint = Connect(kEndpointPort);
  for (const char* read : {".+lan", "ding|pc1|a|u|#", ".+Landing|pc1|a|u|#", "|", "#"}) {
    endpoint.SendBytes(read);
  }
  EXPECT_TRUE(Computers().empty());
  EXPECT_EQ(endpoint.ReceiveBytes(), "");
  EXPECT_FALSE(endpoint.IsClosed());
}

TEST_F(EndpointRegistration, NamesAreInTheCodePage) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(server.page().ToBytes(".+landing|电脑|张|u|#"));
  EXPECT_EQ(Computers(), Lines{"电脑|张|u|127.0.0.1|1"});
}

// --- Information ---

TEST_F(EndpointRegistration, InformationWithoutAConsoleIsDropped) {
  TestClient other = Connect(kControlPort);
  other.SendBytes(".+landing|VNQTelnet|#");
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+submit_information|1|2|3|4|5|6|7|8|9|10|11|12|13|14|15|#");
  EXPECT_EQ(other.ReceiveBytes(), "");
  EXPECT_EQ(endpoint.ReceiveBytes(), "");
}

TEST_F(EndpointRegistration, FieldsBehindTheFifteenthAreCutOff) {
  TestClient console = Connect(kControlPort);
  console.SendBytes(".+landing|VNQPcTelnet|#");
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+submit_information|1|2|3|4|5|6|7|8|9|10|11|12|13|14|15|16|17|#");
  EXPECT_EQ(console.ReceiveBytes(), ".+submit_information|1|2|3|4|5|6|7|8|9|10|11|12|13|14|15|#");
}

TEST_F(EndpointRegistration, TheClosingCountsAsAFieldAndFewerSendNothing) {
  TestClient console = Connect(kControlPort);
  console.SendBytes(".+landing|VNQPcTelnet|#");
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+submit_information|1|2|3|4|5|6|7|8|9|10|11|12|13|14|#");
  EXPECT_EQ(console.ReceiveBytes(), ".+submit_information|1|2|3|4|5|6|7|8|9|10|11|12|13|14|#|#");
  endpoint.SendBytes(".+submit_information|1|2|3|#");
  EXPECT_EQ(console.ReceiveBytes(), "");
}

// --- USB disks ---

TEST_F(EndpointRegistration, DisksAreLoggedByKindAndDirection) {
  TestClient endpoint = Connect(kEndpointPort);
  const auto log = [&](const std::string& kind, const std::string& inserted) {
    endpoint.SendBytes(".+insert_U_disk|pc1|ann|" + kind + "|" + inserted + "|#");
    return LastLog();
  };
  vnq::Texts& texts = server.host().texts;
  EXPECT_EQ(log("1", "False"), "pc1" + texts.ReadLang("im56") + "|ann|127.0.0.1|13");
  EXPECT_EQ(log("2", "False"), "pc1" + texts.ReadLang("PcTelnet", "im2") + "|ann|127.0.0.1|13");
  EXPECT_EQ(log("1", "True"), "pc1" + texts.ReadLang("im57") + "|ann|127.0.0.1|14");
  EXPECT_EQ(log("2", "True"), "pc1" + texts.ReadLang("PcTelnet", "im3") + "|ann|127.0.0.1|14");
}

TEST_F(EndpointRegistration, TruthIsAWordInAnyLetterCaseOrANumber) {
  TestClient endpoint = Connect(kEndpointPort);
  const auto icon = [&](const std::string& inserted) {
    endpoint.SendBytes(".+insert_U_disk|pc1|ann|1|" + inserted + "|#");
    const std::string row = LastLog();
    return row.substr(row.rfind('|') + 1);
  };
  for (const char* truth : {"true", "TRUE", "1", "-1", "0.5"})
    EXPECT_EQ(icon(truth), "14") << truth;
  for (const char* other : {"false", "FALSE", "0", "", "yes"})
    EXPECT_EQ(icon(other), "13") << other;
}

TEST_F(EndpointRegistration, AnyOtherKindLogsAnEmptyText) {
  TestClient endpoint = Connect(kEndpointPort);
  for (const char* kind : {"0", "3", "x", "", "99999"}) {
    endpoint.SendBytes(std::string(".+insert_U_disk|pc1|ann|") + kind + "|true|#");
  }
  EXPECT_EQ(server.Rows("select Txt,UserID,Ico from ServerLog where Ico=14"), Lines(5, "|ann|14"));
}

TEST_F(EndpointRegistration, ADiskRecordWithoutAUserIsNotLogged) {
  TestClient endpoint = Connect(kEndpointPort);
  endpoint.SendBytes(".+insert_U_disk|pc1");
  EXPECT_EQ(server.Value("select count(*) from ServerLog"), "0");
}

}  // namespace
}  // namespace vnq
