#include <gtest/gtest.h>

#include <iterator>
#include <set>

#include "tools/client/record_words.h"

namespace vnq {
namespace {

std::string Words(std::string_view record) {
  KnownNames names;
  names.Learn(KnownNames::Kind::kUser, "7", "李");
  names.Learn(KnownNames::Kind::kGroup, "5", "组");
  return RecordWords(RecordFields(record), names);
}

TEST(RecordWords, NoticeHasTitleContentAndLink) {
  EXPECT_EQ(Words(".+notification|T|C|http://x|2024-01-02 03:04:05|ID|#"),
            "notice of 2024-01-02 03:04:05: T - C <http://x>");
}

TEST(RecordWords, OfflineFileNamesItsSenderAndPath) {
  EXPECT_EQ(Words(".+offline_file|1|7|p|12 KB|2024-01-02|ID|a.pdf|#"),
            "李 (7) left you a file: a.pdf (12 KB, 2024-01-02)");
}

TEST(RecordWords, RetractionNamesThePersonOrTheGroup) {
  EXPECT_EQ(Words(".+retract|0|7|ID|x|#"), "李 (7) has taken back a message");
  EXPECT_EQ(Words(".+retract|1|5|ID|x|#"), "a message in group 组 (5) was taken back");
}

TEST(RecordWords, FriendRecordsTellRequestAndAnswer) {
  EXPECT_EQ(Words(".+messengverify|1|7|hello|1|1|1|0|#"), "李 (7) asks to be your friend: hello");
  EXPECT_EQ(Words(".+messengverify|1|7||1|1|2|1|#"), "李 (7) and 1 are friends now");
  EXPECT_EQ(Words(".+messengverify|1|7||1|1|2|2|#"),
            "the friend request between 李 (7) and 1 was refused");
  EXPECT_EQ(Words(".+messengverify|1|7||1|1|2|3|#"),
            "the friend request between 李 (7) and 1 was refused and blocked");
  EXPECT_EQ(Words(".+messengverify|1|7||1|2|1|0|#"), "李 (7) and 1 are no longer friends");
}

TEST(RecordWords, GroupRecordsTellWhatBecameOfTheMember) {
  EXPECT_EQ(Words(".+messengverify|5|7|please|2|1|1|0|#"),
            "李 (7) asks to join group 组 (5): please");
  EXPECT_EQ(Words(".+messengverify|5|7||2|1|2|0|#"), "李 (7) is now a member of group 组 (5)");
  for (const char* accepted : {"1", "4"}) {
    EXPECT_EQ(Words(std::string(".+messengverify|5|7||2|1|2|") + accepted + "|#"),
              "the application of 李 (7) to join group 组 (5) was accepted");
  }
  EXPECT_EQ(Words(".+messengverify|5|7||2|1|2|5|#"),
            "the application of 李 (7) to join group 组 (5) was refused");
  EXPECT_EQ(Words(".+messengverify|5|7||2|1|2|6|#"),
            "the application of 李 (7) to join group 组 (5) was refused and blocked");
  EXPECT_EQ(Words(".+messengverify|5|7||2|2|1|0|#"), "李 (7) has left group 组 (5)");
  EXPECT_EQ(Words(".+messengverify|5|7||2|2|2|0|#"), "李 (7) was removed from group 组 (5)");
  EXPECT_EQ(Words(".+messengverify|5|7||2|2|2|1|#"), "group 组 (5) was disbanded");
  EXPECT_EQ(Words(".+messengverify|5|7||2|3|2|0|#"),
            "李 (7) is no longer an administrator of group 组 (5)");
  EXPECT_EQ(Words(".+messengverify|5|7||2|4|2|0|#"),
            "李 (7) is now an administrator of group 组 (5)");
}

TEST(RecordWords, MembershipNewsCopesWithTheFormThatNamesNoGroup) {
  EXPECT_EQ(Words(".+new_group_memberships|7|5|1:0:-|#"), "group 组 (5) has new members");
  EXPECT_EQ(Words(".+new_group_memberships|7|name|remark|#"), "a group has new members");
}

TEST(RecordWords, NudgeWithoutClosingHashIsRead) {
  EXPECT_EQ(Words(".+jitter_window|7|2024-01-02 03:04:05|1.2.3.4"), "李 (7) nudges you");
}

TEST(RecordWords, RemoteAssistanceIsToldOnEveryDevice) {
  EXPECT_EQ(Words(".+request_remote|7|2026-01-02 03:04:05|2|#"),
            "李 (7) asks for remote assistance");
  EXPECT_EQ(Words(".+request_remote|1|7|0|0|1772600767|#"), "李 (7) asks for remote assistance")
      << "as a mobile gets it";
  EXPECT_EQ(Words(".+reply_request_my_remote|7|2026-01-02 03:04:05|1.2.3.4|1|#"),
            "you have answered 李 (7) about remote assistance on your other device");
  EXPECT_EQ(Words(".+remote_control|7|2026-01-02 03:04:05|1.2.3.4|stop|#"),
            "李 (7) gives an order of remote assistance: stop");
  EXPECT_EQ(Words(".+meeting_force|a|b|c|#"), "a call was ended by force");
}

TEST(RecordWords, CallsAndRemoteRequestsNameTheirParties) {
  EXPECT_EQ(Words(".+meeting_message|1|7|0|1||0||33|#"), "audio call between 李 (7) and 1 rings");
  EXPECT_EQ(Words(".+meeting_message|1|7|1|1||2||33|#"),
            "video call between 李 (7) and 1 has ended");
  EXPECT_EQ(Words(".+request_remote|7|2024-01-02 03:04:05|1|#"),
            "李 (7) asks for remote assistance");
}

TEST(RecordWords, VisitorLineIsUnescaped) {
  EXPECT_EQ(Words(".+customer_information|v1|City|2024-01-02|03:04:05|%u4F60|#"),
            "visitor v1 (City) at 03:04:05: 你");
}

TEST(RecordWords, VisitorWhoHasJustComeIsAnnounced) {
  EXPECT_EQ(Words(".+customer_information|v1||2024-01-02|03:04:05||#"),
            "visitor v1 at 03:04:05 is here");
}

TEST(RecordWords, VisitorsTextCannotSteerTheTerminal) {
  EXPECT_EQ(Words(".+customer_information|v1|City|2024-01-02|03:04:05|a%1B%5B2Jb%0Ac|#"),
            "visitor v1 (City) at 03:04:05: a\xEF\xBF\xBD[2Jb c");
}

TEST(RecordWords, NoticeToAllAndFailedDownloadAreTold) {
  EXPECT_EQ(Words(".+broadcast|Title|%u4F60|f|#"), "notice to all: Title: 你");
  EXPECT_EQ(Words(".+broadcast||text|f|#"), "notice to all: text");
  EXPECT_EQ(Words(".+download_myfailed|a.txt|gone|#"), "a download has failed: a.txt: gone");
}

std::string KeyOf(std::string_view record) {
  return DeliveryKey(RecordFields(record), record);
}

TEST(DeliveryKey, IsTheSameForADeliveryThatComesAgain) {
  EXPECT_EQ(KeyOf(".+message|1|d|t|x|f|M1|11|1|#"), KeyOf(".+message|1|d|t|x|f|M1|11|0|#"));
  EXPECT_EQ(KeyOf(".+message|1|d|t|x|f|M1|2|1|#"), KeyOf(".+offline_file|2|1|p|1|d|M1|x|#"));
  EXPECT_EQ(KeyOf(".+notification|a||l|d|N1|#"), KeyOf(".+notification|a||l|d e|N1|#"));
}

TEST(DeliveryKey, TellsPeopleGroupsAndCopiesApart) {
  const std::string_view records[] = {
      ".+message|1|d|t|x|f|M1|11|1|#",       ".+message|3|d|t|x|f|M1|11|1|#",
      ".+message|1|d|t|x|f|M2|11|1|#",       ".+message|1|d|t|x|f|M1|10|1|#",
      ".+clot_messeng|1|3|d|t|x|f|M1|2|1|#", ".+notification|a||l|d|M1|#"};
  std::set<std::string> keys;
  for (std::string_view record : records) keys.insert(KeyOf(record));
  EXPECT_EQ(keys.size(), std::size(records));
}

TEST(DeliveryKey, IsTheWholeRecordWithoutAnIdAndEmptyForOtherRecords) {
  EXPECT_EQ(KeyOf(".+message|1|d|t|x|f|0|11|1|#"), ".+message|1|d|t|x|f|0|11|1|#");
  EXPECT_EQ(KeyOf(".+message|1|d|t|x|f|#"), ".+message|1|d|t|x|f|#");
  EXPECT_EQ(KeyOf(".+jitter_window|1|d t|a"), "");
}

TEST(RecordWords, UnknownRecordHasNone) {
  EXPECT_EQ(Words(".+x|#"), "");
}

}  // namespace
}  // namespace vnq
