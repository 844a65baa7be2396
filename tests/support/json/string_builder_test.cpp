#include "support/json/string_builder.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

using Compare = cStringBuilder::Compare;

cStringBuilder Holding(std::u16string_view text) {
  cStringBuilder builder;
  builder.Append(text);
  return builder;
}

TEST(StringBuilder, NewBuilderGivesTheEmptyTextAndHasNoBuffer) {
  const cStringBuilder builder;
  EXPECT_EQ(builder.toString(), u"");
  EXPECT_EQ(builder.Length(), 0);
  EXPECT_EQ(builder.Capacity(), 0);
  EXPECT_EQ(builder.ChunkSize(), 8192);
}

TEST(StringBuilder, FirstAppendOfOneCharacterAllocatesOneChunk) {
  const cStringBuilder builder = Holding(u"x");
  EXPECT_EQ(builder.Capacity(), 8192);
  EXPECT_EQ(builder.Length(), 1);
}

TEST(StringBuilder, AppendOfTheEmptyTextChangesNothing) {
  cStringBuilder builder;
  EXPECT_EQ(builder.Append(u""), RuntimeError::kNone);
  EXPECT_EQ(builder.Capacity(), 0);
}

TEST(StringBuilder, AppendsGrowByWholeChunksAndKeepTheText) {
  cStringBuilder builder = Holding(std::u16string(8192, u'a'));
  EXPECT_EQ(builder.Capacity(), 8192);
  builder.Append(u"b");
  EXPECT_EQ(builder.Capacity(), 16384);
  builder.Append(std::u16string(20000, u'c'));
  EXPECT_EQ(builder.Capacity(), 4 * 8192);
  EXPECT_EQ(builder.toString(), std::u16string(8192, u'a') + u"b" + std::u16string(20000, u'c'));
}

TEST(StringBuilder, AppendNLAddsTheTextAndALineEnd) {
  cStringBuilder builder;
  builder.AppendNL(u"one");
  builder.AppendNL(u"");
  EXPECT_EQ(builder.toString(), u"one\r\n\r\n");
}

TEST(StringBuilder, ByValFormsWorkOnACopyOfTheBuildersOwnText) {
  cStringBuilder builder = Holding(u"ab");
  builder.AppendByVal(builder.toString());
  builder.InsertByVal(1, builder.toString());
  EXPECT_EQ(builder.toString(), u"aababbab");
}

TEST(StringBuilder, InsertAtLengthAppends) {
  cStringBuilder builder = Holding(u"abc");
  EXPECT_EQ(builder.Insert(3, u"de"), RuntimeError::kNone);
  EXPECT_EQ(builder.toString(), u"abcde");
}

TEST(StringBuilder, InsertBehindLengthOrBelowZeroFailsAndChangesNothing) {
  cStringBuilder builder = Holding(u"abc");
  EXPECT_EQ(builder.Insert(4, u"x"), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.Insert(-1, u"x"), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(static_cast<int>(RuntimeError::kSubscriptOutOfRange), 9);
  EXPECT_EQ(builder.toString(), u"abc");
}

TEST(StringBuilder, InsertAtTheFrontAndInsideMovesTheTail) {
  cStringBuilder builder = Holding(u"ad");
  builder.Insert(1, u"bc");
  builder.Insert(0, u"<");
  EXPECT_EQ(builder.toString(), u"<abcd");
}

TEST(StringBuilder, InsertThatDoesNotFitGrowsByOneChunk) {
  cStringBuilder builder = Holding(std::u16string(8192, u'a'));
  builder.Insert(0, u"b");
  EXPECT_EQ(builder.Capacity(), 16384);
  EXPECT_EQ(builder.toString(), u"b" + std::u16string(8192, u'a'));
}

TEST(StringBuilder, InsertOfMoreThanAChunkStaysInsideTheBuffer) {
  cStringBuilder builder = Holding(u"ac");
  builder.Insert(1, std::u16string(40000, u'b'));
  EXPECT_EQ(builder.toString(), u"a" + std::u16string(40000, u'b') + u"c");
  EXPECT_LE(builder.Length(), builder.Capacity());
}

TEST(StringBuilder, RemoveOfEverythingEmptiesTheTextAndKeepsTheCapacity) {
  cStringBuilder builder = Holding(u"abc");
  EXPECT_EQ(builder.Remove(0, builder.Length()), RuntimeError::kNone);
  EXPECT_EQ(builder.toString(), u"");
  EXPECT_EQ(builder.Capacity(), 8192);
}

TEST(StringBuilder, RemoveInsideMovesTheTailDown) {
  cStringBuilder builder = Holding(u"abcdef");
  builder.Remove(1, 3);
  EXPECT_EQ(builder.toString(), u"aef");
}

TEST(StringBuilder, RemoveOutsideTheTextFailsAndChangesNothing) {
  cStringBuilder builder = Holding(u"abc");
  EXPECT_EQ(builder.Remove(4, 0), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.Remove(2, 2), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.Remove(2, INT32_MAX), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.Remove(-1, 1), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.Remove(3, -1), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.toString(), u"abc");
}

TEST(StringBuilder, TheStringReplacesAndKeepsOrRaisesTheCapacity) {
  cStringBuilder builder = Holding(u"a longer text");
  builder.TheString(u"short");
  EXPECT_EQ(builder.toString(), u"short");
  EXPECT_EQ(builder.Find(u"text", 1, Compare::kBinary), 0);
  builder.TheString(std::u16string(9000, u'x'));
  EXPECT_EQ(builder.Capacity(), 16384);
}

TEST(StringBuilder, TheStringOfTheEmptyTextClears) {
  cStringBuilder builder = Holding(u"abc");
  builder.TheString(u"");
  EXPECT_EQ(builder.Length(), 0);
  EXPECT_EQ(builder.Capacity(), 0);
}

TEST(StringBuilder, ClearDropsTheBufferAndKeepsTheChunkSize) {
  cStringBuilder builder = Holding(u"abc");
  builder.ChunkSize(10);
  builder.Clear();
  EXPECT_EQ(builder.Capacity(), 0);
  EXPECT_EQ(builder.ChunkSize(), 10);
  builder.Append(u"12345678901");
  EXPECT_EQ(builder.Capacity(), 20);
}

TEST(StringBuilder, ChunkSizeThatCannotGrowTheBufferIsRefused) {
  cStringBuilder builder;
  EXPECT_EQ(builder.ChunkSize(0), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.ChunkSize(-5), RuntimeError::kSubscriptOutOfRange);
  EXPECT_EQ(builder.ChunkSize(0x40000000), RuntimeError::kOverflow);
  EXPECT_EQ(builder.ChunkSize(), 8192);
}

TEST(StringBuilder, AppendBeyondThe32BitSizeFailsAndChangesNothing) {
  cStringBuilder builder = Holding(u"abc");
  builder.ChunkSize(0x3FFFFFFF);
  EXPECT_EQ(builder.Append(std::u16string(8192, u'x')), RuntimeError::kOverflow);
  EXPECT_EQ(builder.toString(), u"abc");
  EXPECT_EQ(builder.Capacity(), 8192);
}

TEST(StringBuilder, FindGivesA1BasedPositionFromTheStartOn) {
  const cStringBuilder builder = Holding(u"abcabc");
  EXPECT_EQ(builder.Find(u"bc", 1, Compare::kBinary), 2);
  EXPECT_EQ(builder.Find(u"bc", 3, Compare::kBinary), 5);
  EXPECT_EQ(builder.Find(u"bc", 0, Compare::kBinary), 2);
  EXPECT_EQ(builder.Find(u"bc", -7, Compare::kBinary), 2);
  EXPECT_EQ(builder.Find(u"bd", 1, Compare::kBinary), 0);
  EXPECT_EQ(builder.Find(u"bc", 9000, Compare::kBinary), 0);
}

TEST(StringBuilder, FindIgnoresCaseOnlyWhenAskedTo) {
  const cStringBuilder builder = Holding(u"aÄΣЖ");
  EXPECT_EQ(builder.Find(u"äσж", 1, Compare::kBinary), 0);
  EXPECT_EQ(builder.Find(u"äσж", 1, Compare::kText), 2);
}

TEST(StringBuilder, FindBehindTheUsedPartIsNotFound) {
  cStringBuilder builder = Holding(u"ab");
  EXPECT_EQ(builder.Find(u" ", 1, Compare::kBinary), 0);
  EXPECT_EQ(builder.Find(u"b ", 1, Compare::kBinary), 2);
  builder.Remove(1, 1);
  EXPECT_EQ(builder.Find(u"b", 1, Compare::kBinary), 0);
}

TEST(StringBuilder, FindOfTheEmptyTextGivesTheStart) {
  const cStringBuilder builder = Holding(u"ab");
  EXPECT_EQ(builder.Find(u"", 2, Compare::kBinary), 2);
  EXPECT_EQ(builder.Find(u"", 3, Compare::kBinary), 0);
  EXPECT_EQ(cStringBuilder().Find(u"", 1, Compare::kBinary), 0);
}

TEST(StringBuilder, HeapMinimizeGivesBackUnusedChunks) {
  cStringBuilder builder = Holding(std::u16string(20000, u'x'));
  builder.Remove(0, 12000);
  EXPECT_EQ(builder.Capacity(), 3 * 8192);
  builder.HeapMinimize();
  EXPECT_EQ(builder.Capacity(), 8192);
  EXPECT_EQ(builder.Length(), 8000);
  builder.Remove(0, 8000);
  builder.HeapMinimize();
  EXPECT_EQ(builder.Capacity(), 0);
}

}  // namespace
}  // namespace vnq
