#include "tools/client/chat_text.h"

#include <gtest/gtest.h>

#include "support/text_codecs.h"

namespace vnq {
namespace {

TEST(ReadEscapedText, IsTheInverseOfEscapeText) {
  for (std::string_view text : {"", "plain", "你好，世界", "😀 and 👨‍👩‍👧",
                                "100% %41 %u4E2D", "é·ÿ", "a|b.+c", "%%41", "tab\tand\x7F"}) {
    EXPECT_EQ(ReadEscapedText(EscapeText(text)), text);
  }
}

TEST(ReadEscapedText, EscapedSurrogatePairIsOneCharacter) {
  EXPECT_EQ(ReadEscapedText("%uD83D%uDE00"), "\xF0\x9F\x98\x80");
}

TEST(ReadEscapedText, LoneSurrogatesStayThreeBytes) {
  EXPECT_EQ(ReadEscapedText("%uD83Dx"), "\xED\xA0\xBDx");
  EXPECT_EQ(ReadEscapedText("%uDE00%uD83D"), "\xED\xB8\x80\xED\xA0\xBD");
}

TEST(ReadEscapedText, BrokenEscapesStayAsTheyStand) {
  for (std::string_view text : {"%", "%4", "%u", "%u4E2", "%uXYZW", "%G1", "50%"}) {
    EXPECT_EQ(ReadEscapedText(text), text);
  }
}

TEST(ReadMessageText, FileFormIsToldAsAFile) {
  const std::string wrapped = EscapeText("{h@" + EscapeText("报告 1.pdf") + "}");
  EXPECT_EQ(ReadMessageText(wrapped), "[file] 报告 1.pdf");
  EXPECT_EQ(ReadMessageText(EscapeText("{a@x}")), "[file] x");
}

TEST(ReadMessageText, OtherTokensAreShownAsTheyAre) {
  EXPECT_EQ(ReadMessageText(EscapeText("{b@x}")), "{b@x}");
  EXPECT_EQ(ReadMessageText(EscapeText("{h@")), "{h@");
}

TEST(TerminalLine, ControlCharactersCannotReachTheTerminal) {
  EXPECT_EQ(TerminalLine("a\x1B[2Jb\x07"), "a\uFFFD[2Jb\uFFFD");
  EXPECT_EQ(TerminalLine("\xC2\x9B"
                         "1m"),
            "\uFFFD1m");
  EXPECT_EQ(TerminalLine("\u202Egnp"), "\uFFFDgnp");
}

TEST(TerminalLine, LineBreaksAndTabsAreBlanks) {
  EXPECT_EQ(TerminalLine("a\r\nb\tc"), "a  b c");
}

TEST(TerminalLine, BytesThatAreNoTextAreReplaced) {
  EXPECT_EQ(TerminalLine("\xFF"
                         "a\xE4\xB8"),
            "\uFFFDa\uFFFD");
  EXPECT_EQ(TerminalLine("\xED\xA0\xBD"), "\uFFFD");
}

TEST(DisplayWidth, ChineseAndEmojiTakeTwoColumns) {
  EXPECT_EQ(DisplayWidth("abc"), 3U);
  EXPECT_EQ(DisplayWidth("中文"), 4U);
  EXPECT_EQ(DisplayWidth("😀"), 2U);
  EXPECT_EQ(DisplayWidth("e\u0301"), 1U);
}

TEST(FirstWords, CutsBetweenCharactersAndSaysSo) {
  EXPECT_EQ(FirstWords("中文字", 5), "中文...");
  EXPECT_EQ(FirstWords("中文字", 6), "中文字");
}

TEST(FitsAField, RefusesWhatWouldEndFieldOrRecord) {
  EXPECT_TRUE(FitsAField("zhang.san+x"));
  for (std::string_view text : {"a|b", "a\nb", "a\rb", "a.+b"}) EXPECT_FALSE(FitsAField(text));
}

TEST(FieldText, PlainTextStaysAndEverythingReadsBack) {
  for (const char* text : {"Disk 90% full", "磁盘", "it's", ""}) EXPECT_EQ(FieldText(text), text);
  EXPECT_EQ(FieldText("a|b"), "a%7Cb");
  EXPECT_EQ(FieldText("a%20b"), "a%2520b");
  for (const char* text : {"a|b", "a.+b", "a\nb", "50%25", "%u4F60", "😀"}) {
    EXPECT_EQ(ReadEscapedText(FieldText(text)), text);
    EXPECT_TRUE(FitsAField(FieldText(text)));
  }
}

}  // namespace
}  // namespace vnq
