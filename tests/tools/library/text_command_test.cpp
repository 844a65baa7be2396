#include "tools/library/text_command.h"

#include <gtest/gtest.h>

#include <sstream>

#include <CLI/CLI.hpp>

namespace vnq {
namespace {

class TextCommand : public testing::Test {
 protected:
  std::string Run(const std::string& name, const std::string& input, int codePage = kTextCodePage) {
    std::istringstream in(input);
    std::ostringstream out;
    errors_.str("");
    exitCode_ = RunTextRoutine(name, codePage, in, out, errors_);
    return out.str();
  }

  int exitCode_ = -1;
  std::ostringstream errors_;
};

TEST_F(TextCommand, CodecsWriteExactlyTheirResult) {
  EXPECT_EQ(Run("escape", "中 \n"), "%u4E2D%20%0A");
  EXPECT_EQ(Run("unescape", "%u4E2D%20\n"), "中 \n");
  EXPECT_EQ(Run("url-encode", "a b中"), "a b%E4%B8%AD");
  EXPECT_EQ(Run("url-decode", "a+b%E4%B8%AD"), "a b中");
  EXPECT_EQ(Run("base64-encode", "中文"), "1tDOxA==");
  EXPECT_EQ(Run("base64-decode", "1tDOxA=="), "中文");
  EXPECT_EQ(exitCode_, 0);
  EXPECT_EQ(errors_.str(), "");
}

TEST_F(TextCommand, EmptyInputGivesEmptyOutput) {
  for (const char* name :
       {"escape", "unescape", "url-encode", "url-decode", "base64-encode", "base64-decode"}) {
    EXPECT_EQ(Run(name, ""), "") << name;
    EXPECT_EQ(exitCode_, 0) << name;
  }
}

TEST_F(TextCommand, CodePageIsTheNamedOne) {
  EXPECT_EQ(Run("base64-encode", "中文", 950), "pKSk5Q==");
  EXPECT_EQ(Run("unescape", "%E9", 1252), "é");
  EXPECT_EQ(Run("unescape", "%80", 936), "€");
}

TEST_F(TextCommand, Base64DecodeCountsTheBytesOfTheCodePage) {
  // One byte each: the first has no partner, two of them are one byte with all bits set.
  EXPECT_EQ(Run("base64-decode", "QUJDé", 1252), "ABC");
  EXPECT_EQ(Run("base64-decode", "QUJDéé", 1252), "ABCÿ");
  EXPECT_EQ(Run("base64-decode", "QUJD€A", 1252), "ABCü");
}

TEST_F(TextCommand, CharacterOutsideThePageIsAQuestionMark) {
  EXPECT_EQ(Run("base64-encode", "中", 1252), "Pw==");
  EXPECT_EQ(Run("base64-encode", "\xED\xA0\xBD"), "Pw==");
}

TEST_F(TextCommand, LoneSurrogateIsThreeBytes) {
  EXPECT_EQ(Run("unescape", "%uD83D"), "\xED\xA0\xBD");
}

TEST_F(TextCommand, UnknownCodePageIsABadArgument) {
  EXPECT_EQ(Run("escape", "a", 12345), "");
  EXPECT_EQ(exitCode_, 2);
  EXPECT_NE(errors_.str().find("12345"), std::string::npos);
}

TEST_F(TextCommand, Sha1IsFortyLowerCaseDigitsAndALineEnd) {
  EXPECT_EQ(Run("sha1", "abc"), "a9993e364706816aba3e25717850c26c9cd0d89d\n");
}

TEST_F(TextCommand, GuidIsOneLine) {
  const std::string guid = Run("guid", "");
  EXPECT_EQ(guid.size(), 33U);
  EXPECT_EQ(guid.back(), '\n');
}

TEST_F(TextCommand, IpNumberReadsOneLineAndWritesOne) {
  EXPECT_EQ(Run("ip-number", "0.0.1.0\n"), "2.56\n");
  EXPECT_EQ(Run("ip-number", "0.0.1.0\r\n9.9.9.9\n"), "2.56\n");
  EXPECT_EQ(Run("ip-number", "nonsense\n"), "0\n");
  EXPECT_EQ(Run("ip-number", ""), "0\n");
}

TEST_F(TextCommand, UnknownRoutineIsABadArgument) {
  EXPECT_EQ(Run("rot13", "a"), "");
  EXPECT_EQ(exitCode_, 2);
}

TEST_F(TextCommand, ArgumentsChooseTheRoutine) {
  CLI::App app;
  int exitCode = -1;
  AddTextCommand(app, exitCode);
  std::istringstream in("中");
  std::ostringstream out;
  std::streambuf* const input = std::cin.rdbuf(in.rdbuf());
  std::streambuf* const output = std::cout.rdbuf(out.rdbuf());
  app.parse("text base64-encode --code-page 950", false);
  std::cin.rdbuf(input);
  std::cout.rdbuf(output);
  EXPECT_EQ(exitCode, 0);
  EXPECT_EQ(out.str(), "pKQ=");
}

TEST_F(TextCommand, ArgumentsOfNoRoutineAreRefused) {
  for (const char* arguments :
       {"text", "text rot13", "text guid --code-page 936", "text escape --code-page x"}) {
    CLI::App app;
    int exitCode = -1;
    AddTextCommand(app, exitCode);
    EXPECT_THROW(app.parse(arguments, false), CLI::ParseError) << arguments;
    EXPECT_EQ(exitCode, -1) << arguments;
  }
}

}  // namespace
}  // namespace vnq
