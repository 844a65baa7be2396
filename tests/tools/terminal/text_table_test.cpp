#include "tools/terminal/text_table.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vnq {
namespace {

std::string Print(const std::vector<std::vector<std::string>>& rows) {
  std::ostringstream out;
  PrintTable(rows, out);
  return out.str();
}

TEST(PrintTable, AlignsColumnsAndEndsLinesAtTheLastCell) {
  EXPECT_EQ(Print({{"id", "name"}, {"1", "王芳"}, {"22", "ben"}}), "id  name\n1   王芳\n22  ben\n");
  EXPECT_EQ(Print({{"name", "x"}, {"王芳小", "y"}}), "name    x\n王芳小  y\n");
}

TEST(PrintTable, RowMayBeShorter) {
  EXPECT_EQ(Print({{"a", "b"}, {"c"}}), "a  b\nc\n");
}

}  // namespace
}  // namespace vnq
