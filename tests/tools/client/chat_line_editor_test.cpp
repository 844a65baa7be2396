#include <gtest/gtest.h>

#include "tools/client/chat_text.h"
#include "tools/client/line_editor.h"

namespace vnq {
namespace {

using Event = LineEditor::Event;

class LineEditorTest : public testing::Test {
 protected:
  Event Type(std::string_view bytes) {
    Event last = Event::kNone;
    for (char byte : bytes) last = editor_.Key(byte);
    return last;
  }

  LineEditor editor_;
};

TEST_F(LineEditorTest, EnterGivesTheLine) {
  EXPECT_EQ(Type("你好 😀\r"), Event::kLine);
  EXPECT_EQ(editor_.TakeLine(), "你好 😀");
  EXPECT_EQ(editor_.text(), "");
}

TEST_F(LineEditorTest, BackspaceTakesWholeCharacters) {
  Type("a中😀");
  Type("\x7F");
  EXPECT_EQ(editor_.text(), "a中");
  Type("\x7F");
  EXPECT_EQ(editor_.text(), "a");
  Type("\x7F\x7F");
  EXPECT_EQ(editor_.text(), "");
}

TEST_F(LineEditorTest, BackspaceTakesTheMarksOfItsCharacter) {
  Type("xe\u0301\x7F");
  EXPECT_EQ(editor_.text(), "x");
}

TEST_F(LineEditorTest, TypingInTheMiddleKeepsCharactersWhole) {
  Type("中文\x1B[D国");
  EXPECT_EQ(editor_.text(), "中国文");
  Type("\x1B[H<\x1B[F>\x01[\x05]");
  EXPECT_EQ(editor_.text(), "[<中国文>]");
}

TEST_F(LineEditorTest, DeleteKeysTakeWhatIsUnderAndBehind) {
  Type("中文字\x1B[H\x1B[3~");
  EXPECT_EQ(editor_.text(), "文字");
  Type("\x06\x0B");
  EXPECT_EQ(editor_.text(), "文");
  Type("\x05 a b\x17");
  EXPECT_EQ(editor_.text(), "文 a ");
  Type("\x15");
  EXPECT_EQ(editor_.text(), "");
}

TEST_F(LineEditorTest, EarlierLinesComeBack) {
  Type("one\rtwo\rthr");
  Type("\x1B[A");
  EXPECT_EQ(editor_.text(), "two");
  Type("\x1B[A\x1B[A\x1B[A");
  EXPECT_EQ(editor_.text(), "one");
  Type("\x1B[B\x1B[B\x1B[B");
  EXPECT_EQ(editor_.text(), "thr");
}

TEST_F(LineEditorTest, EndAndInterruptOnlyOnAnEmptyLine) {
  EXPECT_EQ(Type("x\x04"), Event::kNone);
  EXPECT_EQ(Type("\x03"), Event::kNone);
  EXPECT_EQ(editor_.text(), "");
  EXPECT_EQ(Type("\x03"), Event::kInterrupt);
  EXPECT_EQ(Type("\x04"), Event::kEndOfInput);
}

TEST_F(LineEditorTest, StrayBytesAndUnknownKeysLeaveNoTrace) {
  Type(
      "a\x80\xC3(\xF0\x9F"
      "b\x1B[99~\x1BOP\x1Bx\x1B[1;5Cc\xED\xA0\xBD");
  EXPECT_EQ(editor_.text(), "a(bc");
}

TEST_F(LineEditorTest, PaintPutsTheCursorByColumnsNotBytes) {
  Type("中文\x1B[D");
  EXPECT_EQ(editor_.Paint("> ", 80), "\r> 中文\x1B[K\r\x1B[4C");
}

TEST_F(LineEditorTest, PaintOfALongLineShowsThePartAroundTheCursor) {
  for (int i = 0; i < 100; ++i) Type("中");
  const std::string end = editor_.Paint("> ", 20);
  EXPECT_LE(end.size(), 60U);
  Type("\x01");
  EXPECT_EQ(editor_.Paint("> ", 9), "\r> 中中中\x1B[K\r\x1B[2C");
}

TEST_F(LineEditorTest, WhateverIsPressedTheLineStaysText) {
  unsigned seed = 1;
  for (int i = 0; i < 20'000; ++i) {
    seed = seed * 1103515245 + 12345;
    editor_.Key(static_cast<char>(seed >> 16));
    if (i % 16 == 0) editor_.Paint("> ", (seed >> 8) % 30);
    ASSERT_EQ(TerminalLine(editor_.text()), editor_.text());
  }
}

}  // namespace
}  // namespace vnq
