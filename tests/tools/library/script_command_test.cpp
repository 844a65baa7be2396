#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include <CLI/CLI.hpp>

#include "tools/library/json_commands.h"

namespace vnq {
namespace {

class ScriptEvalCommand : public testing::Test {
 protected:
  ~ScriptEvalCommand() override { std::filesystem::remove(file); }

  int Eval(const std::string& script, const std::string& answers = "") {
    std::ofstream(file, std::ios::binary) << script;
    return RunFile(file, answers);
  }

  int RunFile(const std::string& name, const std::string& answers) {
    std::istringstream input(answers);
    return RunScriptEvalCommand(name, input, output, boxes);
  }

  // Tests of one program may run side by side.
  std::string file = testing::TempDir() + "script_eval_command_" +
                     testing::UnitTest::GetInstance()->current_test_info()->name() + ".json";
  std::ostringstream output;
  std::ostringstream boxes;
};

TEST_F(ScriptEvalCommand, WritesExactlyTheResult) {
  EXPECT_EQ(Eval("[\"a\",1,null]"), 0);
  EXPECT_EQ(output.str(), "a1null");
  EXPECT_EQ(boxes.str(), "");
}

TEST_F(ScriptEvalCommand, AlertIsALineOfTitleAndMessage) {
  EXPECT_EQ(Eval("[{alert:{message:'m',title:'t'}}]"), 0);
  EXPECT_EQ(output.str(), "");
  EXPECT_EQ(boxes.str(), "t: m\n");
}

TEST_F(ScriptEvalCommand, InputTakesOneLineForEachQuestion) {
  const std::string ask = "{input:{prompt:'Name?',default:'nobody'}},'/'";
  EXPECT_EQ(Eval("[" + ask + "," + ask + "," + ask + "]", "Ann\n\n"), 0);
  EXPECT_EQ(output.str(), "Ann/nobody//");
  EXPECT_EQ(boxes.str(), "Name?\nName?\nName?\n");
}

TEST_F(ScriptEvalCommand, ParserErrorsAreAWarningAndExitWith1) {
  EXPECT_EQ(Eval("[\"a\",x"), 1);
  EXPECT_EQ(output.str(), "");
  EXPECT_EQ(boxes.str(), "Parser Error: Type mismatch: x\r\nMissing ']': [\"a\",x\r\n");
}

TEST_F(ScriptEvalCommand, TextThatIsNoScriptIsAParserError) {
  EXPECT_EQ(Eval("hello"), 1);
  EXPECT_EQ(boxes.str(), "Parser Error: Invalid JSON\n");
}

TEST_F(ScriptEvalCommand, ByteOrderMarkIsDropped) {
  EXPECT_EQ(Eval("\xEF\xBB\xBF['x']"), 0);
  EXPECT_EQ(output.str(), "x");
}

TEST_F(ScriptEvalCommand, FileThatCannotBeReadIsNamed) {
  EXPECT_EQ(RunFile(file + ".missing", ""), 1);
  EXPECT_EQ(boxes.str(),
            "vnqctl script: cannot read script " + file + ".missing: No such file or directory\n");
  EXPECT_EQ(RunFile(testing::TempDir(), ""), 1);
  EXPECT_EQ(output.str(), "");
}

TEST_F(ScriptEvalCommand, FileIsAnArgumentThatMustBeThere) {
  CLI::App app;
  int exitCode = 7;
  AddScriptCommand(app, exitCode);
  EXPECT_THROW(app.parse("script eval", false), CLI::ParseError);
  EXPECT_EQ(exitCode, 7);
  app.parse("script eval " + file + ".missing", false);
  EXPECT_EQ(exitCode, 1);
}

}  // namespace
}  // namespace vnq
