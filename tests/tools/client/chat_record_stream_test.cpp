#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/settings/ansi_code_page.h"
#include "support/base64_text.h"
#include "tools/client/record_stream.h"

namespace vnq {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RecordStreamTest : public testing::Test {
 protected:
  std::string Encoded(std::string_view text) const { return Base64EncodeText(ansi_, text); }

  // Everything that comes out of `bytes`, the rest at the end of the stream included.
  std::vector<std::string> All(std::string_view bytes) {
    std::vector<std::string> records = stream_.Feed(bytes);
    for (std::string& rest : stream_.TakeRest()) records.push_back(std::move(rest));
    return records;
  }

  AnsiCodePage ansi_{CodePage::Open(936)};
  RecordStream stream_{ansi_};
};

TEST_F(RecordStreamTest, PaddedTextIsWholeAtOnce) {
  ASSERT_TRUE(Encoded(".+y|#").ends_with("="));
  EXPECT_THAT(stream_.Feed(Encoded(".+y|#")), ElementsAre(".+y|#"));
  EXPECT_FALSE(stream_.HasRest());
}

TEST_F(RecordStreamTest, UnpaddedTextWaitsForSilence) {
  ASSERT_FALSE(Encoded(".+yy|#").ends_with("="));
  EXPECT_THAT(stream_.Feed(Encoded(".+yy|#")), IsEmpty());
  EXPECT_TRUE(stream_.RestLooksComplete());
  EXPECT_THAT(stream_.TakeRest(), ElementsAre(".+yy|#"));
}

TEST_F(RecordStreamTest, RecordsOfOneTextAreCutAtTheNextPrefix) {
  EXPECT_THAT(All(Encoded(".+reply|1|a|b|#.+reply|2|c|d|#")),
              ElementsAre(".+reply|1|a|b|#", ".+reply|2|c|d|#"));
}

TEST_F(RecordStreamTest, HashWithoutPrefixBehindItEndsNothing) {
  EXPECT_THAT(All(Encoded(".+x|#|b|#")), ElementsAre(".+x|#|b|#"));
}

TEST_F(RecordStreamTest, RecordWithoutClosingHashDoesNotLookComplete) {
  EXPECT_THAT(stream_.Feed(Encoded(".+landing_restrictions").substr(0, 28)), IsEmpty());
  EXPECT_FALSE(stream_.RestLooksComplete());
  EXPECT_THAT(stream_.TakeRest(), ElementsAre(".+landing_restriction"));
}

TEST_F(RecordStreamTest, LoneAndDoubledPrefixesGiveNoEmptyRecord) {
  EXPECT_THAT(All(Encoded(".+.+y|#.+")), ElementsAre(".+y|#"));
}

TEST_F(RecordStreamTest, TextThatIsNoRecordComesOutAsItIs) {
  EXPECT_THAT(All(Encoded("hello.+y|#")), ElementsAre("hello", ".+y|#"));
}

TEST_F(RecordStreamTest, EmptyTextGivesNothing) {
  EXPECT_THAT(All(Encoded("")), IsEmpty());
}

TEST_F(RecordStreamTest, CharactersOutsideTheAlphabetAreDropped) {
  std::string bytes = Encoded(".+y|#");
  bytes.insert(3, "\r\n -\x80\x01");
  EXPECT_THAT(All("=" + bytes + "\r\n"), ElementsAre(".+y|#"));
}

TEST_F(RecordStreamTest, PaddingThatIsCutShortEndsItsText) {
  EXPECT_THAT(All("Lit5fA=" + Encoded(".+z|#")), ElementsAre(".+y|", ".+z|#"));
}

TEST_F(RecordStreamTest, HalfAGroupAtTheEndIsDropped) {
  EXPECT_THAT(All(Encoded(".+yy|#") + "Li"), ElementsAre(".+yy|#"));
}

TEST_F(RecordStreamTest, EveryCutOfTheStreamGivesTheSameRecords) {
  const std::vector<std::string> texts = {
      ".+SuccessfulConnection|#", ".+message|10001|2024-01-02|03:04:05|%u4F60|宋体|ID|11|1|#.+y|#",
      ".+new_group_information|5|项目组|说明|王|1:0:王-|#",
      ".+jitter_window|7|2024-01-02 03:04:05|1.2.3.4", ".+clot_messeng|5|7|d|t|x|f|i|1|1|#"};
  std::string bytes;
  for (const std::string& text : texts) bytes += Encoded(text);
  const std::vector<std::string> expected = All(bytes);
  ASSERT_EQ(expected.size(), 6U);
  EXPECT_EQ(expected[3], texts[2]);
  for (size_t first = 0; first <= bytes.size(); ++first) {
    std::vector<std::string> records = stream_.Feed(std::string_view(bytes).substr(0, first));
    for (std::string& record : All(std::string_view(bytes).substr(first))) {
      records.push_back(std::move(record));
    }
    EXPECT_EQ(records, expected) << "cut at " << first;
  }
}

TEST_F(RecordStreamTest, OneByteAtATimeGivesTheSameRecords) {
  const std::string bytes = Encoded(".+a|中文|#.+b|#") + Encoded(".+c|😀|#");
  const std::vector<std::string> expected = All(bytes);
  std::vector<std::string> records;
  for (char byte : bytes) {
    for (std::string& record : stream_.Feed({&byte, 1})) records.push_back(std::move(record));
  }
  for (std::string& record : stream_.TakeRest()) records.push_back(std::move(record));
  EXPECT_EQ(records, expected);
}

class EncodeForMainPortTest : public RecordStreamTest {};

TEST_F(EncodeForMainPortTest, TextsAreNeverPadded) {
  for (std::string_view record : {".+y|#", ".+yy|#", ".+yyy|#", ".+中|#"}) {
    const std::vector<std::string> texts = EncodeForMainPort(ansi_, record);
    ASSERT_EQ(texts.size(), 1U);
    EXPECT_EQ(texts[0].find('='), std::string::npos) << record;
  }
}

TEST_F(EncodeForMainPortTest, TextsThatMeetInOneReadAreAllDecoded) {
  std::string read;
  for (std::string_view record : {".+a|#", ".+bb|#", ".+ccc|#"}) {
    for (const std::string& text : EncodeForMainPort(ansi_, record)) read += text;
  }
  std::string decoded = Base64DecodeText(ansi_, read);
  std::erase(decoded, '\n');
  EXPECT_EQ(decoded, ".+a|#.+bb|#.+ccc|#");
}

TEST_F(EncodeForMainPortTest, LongRecordGoesOutInPartsThatFitAPacket) {
  const std::string record = ".+message|a|b|" + std::string(5000, 'x') + "|f|i|1|#";
  std::string decoded;
  const std::vector<std::string> texts = EncodeForMainPort(ansi_, record);
  EXPECT_GT(texts.size(), 5U);
  for (const std::string& text : texts) {
    EXPECT_LE(text.size(), 1400U);
    decoded += Base64DecodeText(ansi_, text);
  }
  std::erase(decoded, '\n');
  EXPECT_EQ(decoded, record);
}

TEST_F(EncodeForMainPortTest, PartsAreCutBetweenCharacters) {
  std::string record = ".+message|a|b|";
  for (int i = 0; i < 1000; ++i) record += "中";
  std::string decoded;
  for (const std::string& text : EncodeForMainPort(ansi_, record)) {
    decoded += Base64DecodeText(ansi_, text);
  }
  std::erase(decoded, '\n');
  EXPECT_EQ(decoded, record);
}

}  // namespace
}  // namespace vnq
