#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/harness/app_folder.h"
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

// --- Searching, completing, pasting ---

TEST_F(LineEditorTest, SearchFindsTheNewestLineThatHoldsWhatIsTyped) {
  Type("/to ben\r/to carol\rnothing\rown\x12");
  EXPECT_EQ(editor_.text(), "own");
  Type("/to");
  EXPECT_EQ(editor_.text(), "/to carol");
  Type(" b");
  EXPECT_EQ(editor_.text(), "/to ben");
  EXPECT_EQ(editor_.Paint("> ", 80), "\r(search) /to b: /to ben\x1B[K\r\x1B[16C");
  EXPECT_EQ(Type("\r"), Event::kLine);
  EXPECT_EQ(editor_.TakeLine(), "/to ben");
  EXPECT_EQ(editor_.Paint("> ", 80), "\r> \x1B[K\r\x1B[2C");
}

TEST_F(LineEditorTest, SearchGoesFurtherBackAndIsGivenUpForTheOwnLine) {
  Type(
      "a1\ra2\ra3\rmine\x12"
      "a\x12");
  EXPECT_EQ(editor_.text(), "a2");
  Type("\x12\x12\x12");
  EXPECT_EQ(editor_.text(), "a1");
  Type("\x07");
  EXPECT_EQ(editor_.text(), "mine");
  Type(
      "\x12"
      "2x\x7F");
  EXPECT_EQ(editor_.text(), "a2");
  Type("\x1B[H>");  // any other key is for the line that was found
  EXPECT_EQ(editor_.text(), ">a2");
}

TEST_F(LineEditorTest, TabCompletesAsFarAsAllAgreeAndThenGoesThroughThem) {
  editor_.SetCompleter([](const std::string& before) {
    std::vector<std::string> found;
    for (const char* name : {"/to 李伟", "/to 李娜", "/to ben"}) {
      if (std::string(name).starts_with(before)) found.emplace_back(name);
    }
    return found;
  });
  Type("/to b\t");
  EXPECT_EQ(editor_.text(), "/to ben");
  Type("\x15/to 李\t");
  EXPECT_EQ(editor_.text(), "/to 李伟");
  Type("\t");
  EXPECT_EQ(editor_.text(), "/to 李娜");
  Type("\t!");
  EXPECT_EQ(editor_.text(), "/to 李伟!");
  Type("\x15/t\t");
  EXPECT_EQ(editor_.text(), "/to ");
  Type("\x15x\ty");
  EXPECT_EQ(editor_.text(), "x y");
}

TEST_F(LineEditorTest, LineEndsOfAPasteAreBlanks) {
  EXPECT_EQ(Type("\x1B[200~one\r\ntwo\tthree\x03\x1B[201~"), Event::kNone);
  EXPECT_EQ(editor_.text(), "one  two three");
  EXPECT_EQ(Type("\r"), Event::kLine);
}

// --- Lines of earlier runs ---

TEST(InputHistoryTest, LinesComeBackInTheNextRunForTheirOwnerOnly) {
  const AppFolder folder;
  const std::string file = folder.path() + "/typed";
  {
    InputHistory history;
    history.KeepIn(file);
    for (const char* line : {"one", "two", "two", "", "你好"}) history.Add(line);
  }
  InputHistory next;
  next.KeepIn(file);
  ASSERT_EQ(next.size(), 3U);
  EXPECT_EQ(next[0] + next[1] + next[2], "onetwo你好");
  EXPECT_EQ(std::filesystem::status(file).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(InputHistoryTest, AFileIsShortenedAndWhatNoTerminalCouldShowIsPassedOver) {
  const AppFolder folder;
  std::string text = "\x1B[31mred\n";
  for (int i = 0; i < 500; ++i) text += "line " + std::to_string(i) + "\n";
  folder.Write("typed", text);
  InputHistory history;
  history.KeepIn(folder.path() + "/typed");
  EXPECT_EQ(history.size(), InputHistory::kMaxLines);
  EXPECT_EQ(history[history.size() - 1], "line 499");
  const std::string kept = folder.ReadBytes("typed");
  EXPECT_EQ(std::count(kept.begin(), kept.end(), '\n'), 200);
}

}  // namespace
}  // namespace vnq
