// The keyword filter in front of the store.
#include <cstdio>

#include "host/outgoing/control_tokens.h"
#include "messaging/messaging.h"
#include "support/text_codecs.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class Filter : public ServerTest {
 protected:
  explicit Filter(const TestServerOptions& options = {}) : ServerTest(options) {
    server.AddUser("1");
    server.AddUser("2");
  }
  void SetLists(std::vector<std::string> block, std::vector<std::string> mask) {
    server.OnEveryNode([&](Host& host) { host.BlockKeywords = std::move(block); });
    server.OnEveryNode([&](Host& host) { host.MaskKeywords = std::move(mask); });
  }
  std::string Filtered(const std::string& text) {
    std::string result;
    server.InHandler([&](Host& host) { result = FilterMessageText(host, text); });
    return result;
  }
  std::string Notice() { return EscapeText(server.Lang("im311")); }
};

TEST_F(Filter, WithoutListsEveryTextStaysAsItIs) {
  for (const char* text : {"", "plain text", "%u4F60%20", "100%", "a&b=c", "%zz"}) {
    EXPECT_EQ(Filtered(text), text);
  }
}

TEST_F(Filter, MaskedWordsBecomeThreeStarsEverywhere) {
  SetLists({}, {"bad", "ugly"});
  EXPECT_EQ(Filtered("bad and ugly and bad"), "***%20and%20***%20and%20***");
}

TEST_F(Filter, WordIsFoundInItsEscapedForm) {
  SetLists({}, {"脏话"});
  EXPECT_EQ(Filtered("%u4F60%u810F%u8BDD%u597D"), "%u4F60***%u597D");
}

TEST_F(Filter, WithAMaskListEveryTextComesBackEscapedByTheServer) {
  SetLists({}, {"bad"});
  EXPECT_EQ(Filtered("a b=c"), "a%20b%3Dc");
  EXPECT_EQ(Filtered("%u4f60"), "%u4F60");
  EXPECT_EQ(Filtered(""), "");
}

TEST_F(Filter, MaskingIsCaseSensitive) {
  SetLists({}, {"BAD"});
  EXPECT_EQ(Filtered("bad"), "bad");
  EXPECT_EQ(Filtered("BAD"), "***");
}

TEST_F(Filter, MasksRunOneBehindTheOtherOnTheRunningText) {
  SetLists({}, {"b", "a***c", "*"});
  EXPECT_EQ(Filtered("abc"), "*********");
}

TEST_F(Filter, EmptyMaskElementChangesNothing) {
  SetLists({}, {"", "bad", ""});
  EXPECT_EQ(Filtered("a bad b"), "a%20***%20b");
  SetLists({}, {""});
  EXPECT_EQ(Filtered("a b"), "a%20b");
}

TEST_F(Filter, BlockedWordReplacesTheWholeTextByTheNotice) {
  SetLists({"other", "secret"}, {});
  EXPECT_EQ(Filtered("my secret plan"), Notice());
  EXPECT_EQ(Filtered("my plan"), "my plan");
}

TEST_F(Filter, BlockingIsCaseSensitive) {
  SetLists({"secret"}, {});
  EXPECT_EQ(Filtered("my SECRET plan"), "my SECRET plan");
}

TEST_F(Filter, EmptyBlockElementIsFoundInEveryTextThatIsNotEmpty) {
  SetLists({"never", ""}, {});
  EXPECT_EQ(Filtered("anything"), Notice());
  EXPECT_EQ(Filtered(""), "");
  EXPECT_EQ(Filtered("{x@anything"), "{x@anything");
}

TEST_F(Filter, BlockListIsTestedBeforeTheMaskList) {
  SetLists({"secret"}, {"bad", "Nachricht", "message"});
  EXPECT_EQ(Filtered("bad secret"), Notice());
}

TEST_F(Filter, TextWithAnyTokenPassesWhateverItSays) {
  SetLists({"secret"}, {"bad"});
  ASSERT_EQ(std::size(kControlTokens), 12u);
  for (const ControlToken& token : kControlTokens) {
    const std::string text = "abc" + std::string(token.opening) + "secret bad";
    EXPECT_EQ(Filtered(text), text);
    EXPECT_EQ(Filtered(EscapeText(text)), EscapeText(text));
  }
}

TEST_F(Filter, TokenIsCaseSensitiveAndMustBeWhole) {
  SetLists({}, {"bad"});
  for (const char* text : {"{X@bad", "{xbad", "x@bad", "{ x@bad", "{g@bad", "{j@bad", "{z@bad"}) {
    EXPECT_NE(Filtered(text).find("***"), std::string::npos) << text;
  }
}

TEST_F(Filter, NoticeWithoutATextIsEmpty) {
  SetLists({"secret"}, {});
  std::remove((server.folder() + "/Language/English/lang.ini").c_str());
  EXPECT_EQ(Filtered("secret"), "");
}

TEST_F(Filter, StoredMessageIsTheFilteredOne) {
  SetLists({"secret"}, {"bad"});
  TestClient client = server.Connect();
  client.Send(
      ".+message|2|1|a bad|f|M1|1|#.+message|2|1|secret|f|M2|1|#.+message|2|1|abc{x@secret|f|"
      "M3|1|#");
  EXPECT_EQ(server.Rows("select UserText from Messeng_Text order by rowid"),
            (Lines{"a%20***", Notice(), "abc{x@secret"}));
}

// --- The lists ---

class FilterLists : public Filter {
 protected:
  FilterLists()
      : Filter({.sql = "insert into vnq_keyword(col_type,col_keyword) values(0,'bad,脏,,'),"
                       "(1,'secret,top'),(0,'second row'),(2,'other kind')"}) {}
};

TEST_F(FilterLists, AreSplitAtCommasWithEmptyElements) {
  EXPECT_EQ(server.host().MaskKeywords, (Lines{"bad", "脏", "", ""}));
  EXPECT_EQ(server.host().BlockKeywords, (Lines{"secret", "top"}));
}

TEST_F(FilterLists, ChangeInTheTableHasNoEffect) {
  server.Run("delete from vnq_keyword");
  EXPECT_EQ(Filtered("bad"), "***");
}

class FilterEmptyLists : public Filter {
 protected:
  FilterEmptyLists()
      : Filter({.sql = "insert into vnq_keyword(col_type,col_keyword) values(0,''),(1,NULL)"}) {}
};

TEST_F(FilterEmptyLists, HaveNoElements) {
  EXPECT_EQ(server.host().MaskKeywords, Lines{});
  EXPECT_EQ(server.host().BlockKeywords, Lines{});
  EXPECT_EQ(Filtered("a b"), "a b");
}

}  // namespace
}  // namespace vnq
