// Presence: who writes it and who is told.
#include "server/timers.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr const char* kSynchronised = ".+SynchronousSuccessfully|#";

class Presence : public ServerTest {
 protected:
  Presence() {
    server.AddUser("1", {"NetworkIP=10.0.0.1", "LocalIP=192.168.0.1"});
    server.AddUser("2");
    server.AddUser("9");
  }
  std::string IcoLine(const std::string& userId = "1") {
    return server.Value("select UserIcoLine from Users_ID where UserID='" + userId + "'");
  }
  void SetIcoLine(int value) {
    server.Run("update Users_ID set UserIcoLine=" + std::to_string(value) + " where UserID='1'");
  }
  std::string RegistrationId() {
    return server.Value("select Registration_Id from Users_ID where UserID='1'");
  }
  void SetRegistrationId(const std::string& id) {
    server.Run("update Users_ID set Registration_Id='" + id + "' where UserID='1'");
  }
  Lines LogOf(std::string_view key, int icon) {
    return {"1" + server.Lang(key) + "|1|127.0.0.1|" + std::to_string(icon)};
  }
};

// --- Coming up ---

struct Told {
  const char* state;
  const char* record;
  const char* icoLine;
  const char* tag;
};

TEST_F(Presence, EachStateHasItsRecordItsValueAndItsTag) {
  const Told cases[] = {
      {"0", ".+new_is_offline|1|#", "0", "1"},
      {"1", ".+new_online|1|10.0.0.1|192.168.0.1|#", "1", "1"},
      {"2", ".+new_leaving|1|10.0.0.1|192.168.0.1|#", "2", "1"},
      {"3", ".+phone_line|1|#", "3", "1m"},
      {"4", "", "4", "1"},
      {"-1", "", "-1", "1"},
  };
  TestClient other = server.Connect();
  for (const Told& each : cases) {
    SetIcoLine(0);
    server.Run("delete from ServerLog");
    TestClient client = server.Connect();
    client.Send(std::string(".+successful_online|1|") + each.state + "|#");
    EXPECT_EQ(client.Receive(), kSynchronised) << each.state;
    EXPECT_EQ(other.Receive(), each.record) << each.state;
    EXPECT_EQ(IcoLine(), each.icoLine) << each.state;
    EXPECT_EQ(server.Tag(2), each.tag) << each.state;
    EXPECT_EQ(server.Log(), LogOf("im58", 1)) << each.state;
    client.Close();
    server.Slots(6004).SetTag(2, "");
    server.Everywhere(ErrTimerTick);
  }
}

TEST_F(Presence, AddressesThatAreMissingAreToldAsEmptyFields) {
  TestClient other = server.Connect();
  TestClient client = server.Online("2");
  EXPECT_EQ(other.Receive(), ".+new_online|2|||#");
}

TEST_F(Presence, StateThatIsNoNumberIsNotWrittenAndNotTold) {
  TestClient other = server.Connect();
  SetIcoLine(2);
  TestClient client = server.Connect();
  client.Send(".+successful_online|1|x|#");
  EXPECT_EQ(client.Receive(), kSynchronised);
  EXPECT_EQ(server.Tag(2), "1");
  EXPECT_EQ(IcoLine(), "2");
  EXPECT_EQ(other.Receive(), "");
}

TEST_F(Presence, PhoneOnAVisibleUserLeavesTheStateAndTellsNobody) {
  for (int visible : {1, 2, 3}) {
    TestClient other = server.Connect();
    SetIcoLine(visible);
    TestClient phone = server.Connect();
    phone.Send(".+successful_online|1|3|#");
    EXPECT_EQ(phone.Receive(), kSynchronised);
    EXPECT_EQ(IcoLine(), std::to_string(visible));
    EXPECT_EQ(server.Tag(2), "1m");
    EXPECT_EQ(other.Receive(), "");
    other.Close();
    phone.Close();
    server.Everywhere(ErrTimerTick);
  }
}

TEST_F(Presence, DesktopOverwritesAnyState) {
  for (int before : {0, 1, 2, 3}) {
    SetIcoLine(before);
    TestClient desktop = server.Online("1");
    EXPECT_EQ(IcoLine(), "1");
  }
}

TEST_F(Presence, UnknownUserIsTaggedAndAnsweredAndNobodyIsTold) {
  TestClient other = server.Connect();
  TestClient client = server.Connect();
  client.Send(".+successful_online|77|1|#");
  EXPECT_EQ(client.Receive(), kSynchronised);
  EXPECT_EQ(server.Tag(2), "77");
  EXPECT_EQ(other.Receive(), "");
  EXPECT_EQ(server.Log(), Lines{"77" + server.Lang("im58") + "|77|127.0.0.1|1"});
}

TEST_F(Presence, QuoteInTheUserIdIsTaggedAndLoggedAndNothingElse) {
  TestClient client = server.Connect();
  client.Send(".+successful_online|a'b|1|#");
  EXPECT_EQ(client.Receive(), kSynchronised);
  EXPECT_EQ(server.Tag(1), "a'b");
  EXPECT_EQ(server.Log(), Lines{"a'b" + server.Lang("im58") + "|a'b|127.0.0.1|1"});
}

TEST_F(Presence, EarlierSessionIsToldTheNewAddressAndClosed) {
  TestClient old = server.Online("1");
  TestClient fresh = server.Connect("127.0.0.9");
  fresh.Send(".+successful_online|1|1|#");
  EXPECT_EQ(old.Receive(), ".+busy_force|127.0.0.9|#");
  EXPECT_TRUE(old.IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(fresh.Receive(), kSynchronised);
  EXPECT_EQ(server.Tag(2), "1");
}

TEST_F(Presence, OneEarlierSessionIsRemovedAtMost) {
  TestClient one = server.Connect();
  TestClient two = server.Connect();
  server.Slots(6004).SetTag(1, "1");
  server.Slots(6004).SetTag(2, "1");
  TestClient fresh = server.Online("1");
  EXPECT_EQ(one.Receive(), ".+busy_force|127.0.0.1|#");
  EXPECT_TRUE(one.IsClosed());
  EXPECT_EQ(two.Receive(), ".+new_online|1|10.0.0.1|192.168.0.1|#");
  EXPECT_EQ(server.Tag(2), "1");
}

TEST_F(Presence, EarlierSessionWhosePeerHasGoneStaysForTheSweep) {
  TestClient old = server.Online("1");
  old.Close();
  TestClient fresh = server.Online("1");
  EXPECT_EQ(server.State(1), SocketState::kClosing);
  EXPECT_EQ(server.Tag(1), "1");
}

TEST_F(Presence, SessionReportsTwiceWithoutPushingItselfOut) {
  TestClient client = server.Online("1");
  client.Send(".+successful_online|1|2|#");
  EXPECT_EQ(client.Receive(), kSynchronised);
  EXPECT_FALSE(client.IsClosed());
  EXPECT_EQ(IcoLine(), "2");
}

TEST_F(Presence, DesktopLeavesTheMobileSessionAlone) {
  TestClient phone = server.Online("1", 3);
  TestClient desktop = server.Online("1");
  EXPECT_EQ(phone.Receive(), ".+new_online|1|10.0.0.1|192.168.0.1|#");
  EXPECT_FALSE(phone.IsClosed());
  EXPECT_EQ(server.Tag(1), "1m");
}

TEST_F(Presence, With39SlotsALoginIsToldAndWith40ItIsNot) {
  std::vector<TestClient> others;
  for (int i = 0; i < 38; ++i) others.push_back(server.Connect());
  TestClient last = server.Online("1");
  ASSERT_EQ(server.Slots(6004).Highest(), 39);
  for (TestClient& other : others) {
    EXPECT_EQ(other.Receive(), ".+new_online|1|10.0.0.1|192.168.0.1|#");
  }
  TestClient fortieth = server.Connect();
  ASSERT_EQ(server.Slots(6004).Highest(), 40);
  last.Send(".+successful_online|1|2|#");
  EXPECT_EQ(last.Receive(), kSynchronised);
  EXPECT_EQ(IcoLine(), "2");
  EXPECT_EQ(fortieth.Receive(), "");
  for (TestClient& other : others) EXPECT_EQ(other.Receive(), "");
}

TEST_F(Presence, CeilingCountsTheArrayAndNotTheConnections) {
  {
    std::vector<TestClient> gone;
    for (int i = 0; i < 40; ++i) gone.push_back(server.Connect());
  }
  server.Everywhere(ErrTimerTick);
  TestClient other = server.Connect();
  TestClient client = server.Online("1");
  EXPECT_EQ(other.Receive(), "");
  EXPECT_EQ(IcoLine(), "1");
}

// --- Changing ---

struct Change {
  const char* command;
  const char* record;
  const char* icoLine;
  const char* logKey;
  int icon;
};
constexpr Change kChanges[] = {
    {".+on_line", ".+new_online|1|||#", "1", "im83", 4},
    {".+go_away", ".+new_leaving|1|||#", "2", "im82", 2},
    {".+stealth", ".+new_is_offline|1|#", "0", "im81", 3},
};

TEST_F(Presence, ChangesAreToldToAllOthersWrittenAndLogged) {
  TestClient client = server.Online("1");
  TestClient named = server.Online("2");
  TestClient unnamed = server.Connect();
  client.Receive();
  for (const Change& each : kChanges) {
    for (int before : {0, 1, 2, 3}) {
      SetIcoLine(before);
      server.Run("delete from ServerLog");
      client.Send(std::string(each.command) + "|1|#");
      EXPECT_EQ(named.Receive(), each.record);
      EXPECT_EQ(unnamed.Receive(), each.record);
      EXPECT_EQ(client.Receive(), "");
      EXPECT_EQ(IcoLine(), each.icoLine) << each.command;
      EXPECT_EQ(server.Log(), LogOf(each.logKey, each.icon));
      EXPECT_EQ(server.Tag(1), "1");
    }
  }
}

TEST_F(Presence, ChangesKnowNoCeiling) {
  TestClient client = server.Online("1");
  std::vector<TestClient> others;
  for (int i = 0; i < 45; ++i) others.push_back(server.Connect());
  for (const Change& each : kChanges) {
    client.Send(std::string(each.command) + "|1|#");
    for (TestClient& other : others) EXPECT_EQ(other.Receive(), each.record);
  }
}

TEST_F(Presence, ChangesOfAnUnknownUserAreToldAndLoggedAllTheSame) {
  TestClient client = server.Connect();
  TestClient other = server.Connect();
  client.Send(".+on_line|77|#.+go_away|77|#.+stealth|77|#");
  EXPECT_EQ(other.Receive(), ".+new_online|77|||#.+new_leaving|77|||#.+new_is_offline|77|#");
  EXPECT_EQ(server.Rows("select UserIcoLine from Users_ID"), (Lines{"0", "0", "0"}));
  EXPECT_EQ(server.Log().size(), 3u);
}

TEST_F(Presence, QuoteInTheUserIdIsToldAndLoggedAndNotWritten) {
  TestClient client = server.Connect();
  TestClient other = server.Connect();
  client.Send(".+go_away|a'b|#");
  EXPECT_EQ(other.Receive(), ".+new_leaving|a'b|||#");
  EXPECT_EQ(server.Log(), Lines{"a'b" + server.Lang("im82") + "|a'b|127.0.0.1|2"});
}

TEST_F(Presence, ChangeIsWrittenBehindTheBroadcast) {
  TestClient client = server.Online("1");
  TestClient other = server.Connect();
  client.SendQuietly(".+go_away|1|#");
  server.loop().Turn(0);
  EXPECT_EQ(IcoLine(), "1");
  server.Pump();
  EXPECT_EQ(IcoLine(), "2");
}

TEST_F(Presence, InvisibleUserIsStillReachedByMessages) {
  TestClient client = server.Online("1");
  TestClient other = server.Online("2");
  client.Send(".+stealth|1|#");
  other.Send(".+message|1|2|hello|font|M1|1|#");
  client.Receive();
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+message|2|2026-03-04|05:06:07|hello|font|M1|11|1|#");
}

TEST_F(Presence, SlotMadeDuringABroadcastIsNotSeenByIt) {
  TestClient client = server.Online("1");
  std::vector<TestClient> others;
  for (int i = 0; i < 10; ++i) others.push_back(server.Connect());
  client.SendQuietly(".+go_away|1|#");
  server.loop().Turn(0);
  server.loop().Turn(0);
  ASSERT_EQ(IcoLine(), "1");
  TestClient late = server.Connect();
  EXPECT_EQ(late.Receive(), "");
  EXPECT_EQ(others.back().Receive(), ".+new_leaving|1|||#");
}

TEST_F(Presence, SessionThatIsClosedDuringABroadcastIsPassedOver) {
  TestClient client = server.Online("1");
  std::vector<TestClient> others;
  for (int i = 0; i < 10; ++i) others.push_back(server.Connect());
  TestClient old = server.Online("2");
  TestClient fresh = server.Connect();
  for (TestClient& other : others) other.Receive();
  client.Receive();
  client.SendQuietly(".+go_away|1|#");
  server.loop().Turn(0);
  server.loop().Turn(0);
  fresh.Send(".+landing|name2|pw2|10.0.0.2|mac2|x|#");
  EXPECT_EQ(old.Receive(), ".+busy_force|127.0.0.1|#");
  EXPECT_TRUE(old.IsClosed());
  for (TestClient& other : others) EXPECT_EQ(other.Receive(), ".+new_leaving|1|||#");
}

TEST_F(Presence, TwoUsersChangeAtTheSameMomentAndEverybodyHearsBoth) {
  TestClient ann = server.Online("1");
  TestClient ben = server.Online("2");
  ann.Receive();
  std::vector<TestClient> others;
  for (int i = 0; i < 5; ++i) others.push_back(server.Connect());
  ann.SendQuietly(".+go_away|1|#");
  ben.SendQuietly(".+stealth|2|#");
  server.Pump();
  EXPECT_EQ(ann.Receive(), ".+new_is_offline|2|#");
  EXPECT_EQ(ben.Receive(), ".+new_leaving|1|||#");
  for (TestClient& other : others) {
    EXPECT_EQ(other.Receive(), ".+new_leaving|1|||#.+new_is_offline|2|#");
  }
  EXPECT_EQ(IcoLine("1"), "2");
  EXPECT_EQ(IcoLine("2"), "0");
}

// --- Leaving ---

TEST_F(Presence, DesktopWithAPushIdentifierLeavesItsPhoneReachable) {
  TestClient client = server.Online("1");
  TestClient other = server.Connect();
  SetRegistrationId("reg");
  server.Run("delete from ServerLog");
  client.Send(".+offline|1|#");
  EXPECT_EQ(other.Receive(), ".+phone_line|1|#");
  EXPECT_EQ(client.Receive(), "");
  EXPECT_TRUE(client.IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(IcoLine(), "3");
  EXPECT_EQ(RegistrationId(), "reg");
  EXPECT_EQ(server.Log(), LogOf("im80", 10));
}

TEST_F(Presence, DesktopWithoutAPushIdentifierGoesOffline) {
  for (const char* none : {"NULL", "''"}) {
    TestClient client = server.Online("1");
    TestClient other = server.Connect();
    server.Run(std::string("update Users_ID set Registration_Id=") + none);
    client.Send(".+offline|1|#");
    EXPECT_EQ(other.Receive(), ".+new_is_offline|1|#") << none;
    EXPECT_TRUE(client.IsClosed());
    EXPECT_EQ(IcoLine(), "0");
    other.Close();
    server.Everywhere(ErrTimerTick);
  }
}

TEST_F(Presence, DesktopGoesOfflineFromAnyState) {
  for (int before : {0, 1, 2, 3}) {
    TestClient client = server.Online("1");
    SetIcoLine(before);
    client.Send(".+offline|1|#");
    EXPECT_EQ(IcoLine(), "0");
  }
}

TEST_F(Presence, MobileInThePhoneStateGoesOfflineAndLosesItsPushIdentifier) {
  TestClient phone = server.Online("1", 3);
  TestClient other = server.Connect();
  SetRegistrationId("reg");
  server.Run("delete from ServerLog");
  phone.Send(".+offline|1|#");
  EXPECT_EQ(other.Receive(), ".+new_is_offline|1|#");
  EXPECT_TRUE(phone.IsClosed());
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(IcoLine(), "0");
  EXPECT_EQ(RegistrationId(), "");
  EXPECT_EQ(server.Log(), LogOf("im80", 10));
}

TEST_F(Presence, MobileInAnotherStateLosesOnlyItsPushIdentifier) {
  for (int state : {0, 1, 2}) {
    TestClient phone = server.Online("1", 3);
    TestClient other = server.Connect();
    SetRegistrationId("reg");
    SetIcoLine(state);
    phone.Send(".+offline|1|#");
    EXPECT_EQ(other.Receive(), "") << state;
    EXPECT_TRUE(phone.IsClosed());
    EXPECT_EQ(IcoLine(), std::to_string(state));
    EXPECT_EQ(RegistrationId(), "");
    SetIcoLine(0);
    other.Close();
    server.Everywhere(ErrTimerTick);
  }
}

TEST_F(Presence, LeavingKnowsNoCeiling) {
  TestClient client = server.Online("1");
  std::vector<TestClient> others;
  for (int i = 0; i < 45; ++i) others.push_back(server.Connect());
  client.Send(".+offline|1|#");
  for (TestClient& other : others) EXPECT_EQ(other.Receive(), ".+new_is_offline|1|#");
}

TEST_F(Presence, LeavingOfAnUnknownUserTellsNobodyAndClosesTheSlot) {
  TestClient client = server.Online("1");
  TestClient other = server.Connect();
  client.Send(".+offline|77|#");
  EXPECT_EQ(other.Receive(), "");
  EXPECT_TRUE(client.IsClosed());
  EXPECT_EQ(IcoLine(), "1");
  EXPECT_EQ(server.Log().back(), "77" + server.Lang("im80") + "|77|127.0.0.1|10");
}

TEST_F(Presence, TheFirstSlotWithTheLeaversTagIsTheOneThatIsClosed) {
  TestClient lower = server.Connect();
  TestClient leaver = server.Connect();
  server.Slots(6004).SetTag(1, "1");
  server.Slots(6004).SetTag(2, "1");
  leaver.Send(".+offline|1|#");
  EXPECT_TRUE(lower.IsClosed());
  EXPECT_FALSE(leaver.IsClosed());
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(server.Tag(2), "1");
}

TEST_F(Presence, LeavingOfASlotWithoutANameClosesTheFirstSlotWithoutOne) {
  TestClient named = server.Online("2");
  TestClient unnamed = server.Connect();
  TestClient leaver = server.Connect();
  leaver.Send(".+offline|1|#");
  EXPECT_TRUE(unnamed.IsClosed());
  EXPECT_FALSE(leaver.IsClosed());
  EXPECT_FALSE(named.IsClosed());
}

TEST_F(Presence, LeavingWritesBehindTheBroadcast) {
  TestClient client = server.Online("1");
  TestClient other = server.Connect();
  client.SendQuietly(".+offline|1|#");
  server.loop().Turn(0);
  EXPECT_EQ(IcoLine(), "1");
  EXPECT_EQ(server.State(1), SocketState::kConnected);
  server.Pump();
  EXPECT_EQ(IcoLine(), "0");
}

// --- Lost connections ---

TEST_F(Presence, SweptDesktopFallsBackToItsPhoneOrOfflineAndNobodyIsTold) {
  for (const bool hasPhone : {true, false}) {
    TestClient other = server.Connect();
    TestClient client = server.Online("1");
    other.Receive();
    SetRegistrationId(hasPhone ? "reg" : "");
    client.Close();
    EXPECT_EQ(IcoLine(), "1");
    server.AdvanceMs(20000);
    EXPECT_EQ(IcoLine(), hasPhone ? "3" : "0");
    EXPECT_EQ(other.Receive(), "");
    EXPECT_EQ(server.State(2), SocketState::kClosed);
    EXPECT_EQ(server.Tag(2), "");
    EXPECT_EQ(server.Log().back(), "1" + server.Lang("im14") + "|1|127.0.0.1|16");
    other.Close();
    server.Everywhere(ErrTimerTick);
  }
}

TEST_F(Presence, SweptMobileKeepsItsStateAndIsLogged) {
  TestClient phone = server.Online("1", 3);
  SetRegistrationId("reg");
  phone.Close();
  server.AdvanceMs(20000);
  EXPECT_EQ(IcoLine(), "3");
  EXPECT_EQ(RegistrationId(), "reg");
  EXPECT_EQ(server.Log().back(), "1m" + server.Lang("im14") + "|1m|127.0.0.1|16");
}

TEST_F(Presence, SweptClientWithoutANameIsNotLogged) {
  TestClient client = server.Connect();
  client.Close();
  server.AdvanceMs(20000);
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Log(), Lines{});
}

}  // namespace
}  // namespace vnq
