#include <gtest/gtest.h>

#include <sstream>

#include <CLI/CLI.hpp>

#include "tools/library/json_commands.h"

namespace vnq {
namespace {

struct Outcome {
  int exitCode;
  std::string output;
  std::string errors;
};

Outcome Parse(const std::string& text) {
  std::istringstream input(text);
  std::ostringstream output;
  std::ostringstream errors;
  const int exitCode = RunJsonParseCommand(input, output, errors);
  return {exitCode, output.str(), errors.str()};
}

TEST(JsonParseCommand, WritesCompactJsonWithOneLineEnd) {
  const Outcome run = Parse("{ a : [1.50, 'é', \"\\u4e2d\"], 'b' : null }\n");
  EXPECT_EQ(run.output, "{\"a\":[1.50,\"é\",\"中\"],\"b\":null}\n");
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.exitCode, 0);
}

TEST(JsonParseCommand, ErrorsGoToStandardErrorBesideTheValue) {
  const Outcome run = Parse("{\"a\":1,\"a\":2}");
  EXPECT_EQ(run.output, "{\"a\":1}\n");
  EXPECT_EQ(run.errors, "This key is already associated with an element of this collection: a\r\n");
  EXPECT_EQ(run.exitCode, 1);
}

TEST(JsonParseCommand, NothingIsWrittenWhenNothingCameBack) {
  const Outcome run = Parse("hello");
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors, "Invalid JSON\n");
  EXPECT_EQ(run.exitCode, 1);
}

TEST(JsonParseCommand, ByteOrderMarkIsDroppedOnce) {
  EXPECT_EQ(Parse("\xEF\xBB\xBF[1]").output, "[1]\n");
  EXPECT_EQ(Parse("\xEF\xBB\xBF\xEF\xBB\xBF[1]").exitCode, 1);
}

TEST(JsonParseCommand, LoneSurrogateIsItsThreeBytes) {
  EXPECT_EQ(Parse("[\"\\ud83d\"]").output, "[\"\xED\xA0\xBD\"]\n");
  EXPECT_EQ(Parse("[\"\xED\xA0\xBD\"]").output, "[\"\xED\xA0\xBD\"]\n");
}

TEST(JsonParseCommand, BytesOfNoCharacterAndZeroBytesAreRead) {
  EXPECT_EQ(Parse("[\"\xFF\"]").output, "[\"\xEF\xBF\xBD\"]\n");
  EXPECT_EQ(Parse(std::string("[\"a\0b\"]", 7)).output, "[\"a\\u0000b\"]\n");
}

TEST(JsonParseCommand, IsReachedThroughItsSubcommandOnly) {
  CLI::App app;
  int exitCode = 7;
  AddJsonCommand(app, exitCode);
  EXPECT_NE(app.get_subcommand("json")->get_subcommand("parse"), nullptr);
  EXPECT_THROW(app.parse("json", false), CLI::ParseError);
  EXPECT_THROW(app.parse("json parse extra", false), CLI::ParseError);
  EXPECT_EQ(exitCode, 7);
}

}  // namespace
}  // namespace vnq
