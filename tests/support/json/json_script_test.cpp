#include "support/json/json_script.h"

#include <gtest/gtest.h>

#include <clocale>
#include <sstream>

#include "support/json/json.h"
#include "support/json/json_script_terminal.h"
#include "tests/support/json/json_reading.h"
#include "tests/support/json/json_script_fake_dialogs.h"

namespace vnq {
namespace {

using Boxes = std::vector<std::string>;

class JsonScript : public testing::Test {
 protected:
  std::string Eval(std::string_view text) { return script.Eval(text); }

  FakeDialogs dialogs;
  cJSONScript script{&dialogs};
};

using JsonScriptAlert = JsonScript;
using JsonScriptInput = JsonScript;
using JsonScriptSwitch = JsonScript;
using JsonScriptVariables = JsonScript;
using JsonScriptIf = JsonScript;
using JsonScriptPlaceholder = JsonScript;
using JsonScriptNesting = JsonScript;

TEST_F(JsonScript, TopLevelValuesAreJoinedAsText) {
  EXPECT_EQ(Eval(R"(["a",1,null])"), "a1null");
  EXPECT_EQ(Eval(R"([true,false,1.50,"é"])"), "truefalse1.50é");
  EXPECT_EQ(Eval("[]"), "");
}

TEST_F(JsonScript, TopLevelObjectIsItsValuesInKeyOrder) {
  EXPECT_EQ(Eval(R"({"z":"a","b":1,"alert":{"foo":{}}})"), "a1<%FOO()%>");
}

TEST_F(JsonScript, ParserErrorsAreShownAndGiveTheEmptyText) {
  EXPECT_EQ(Eval("[\"a\",x]"), "");
  EXPECT_EQ(Eval("hello"), "");
  EXPECT_EQ(dialogs.boxes, (Boxes{"warning|Parser Error|Type mismatch: x]\r\n",
                                  "warning|Parser Error|Invalid JSON"}));
}

TEST_F(JsonScript, NestedValuesAreEvaluatedByTheirKind) {
  EXPECT_EQ(Eval(R"([["a",["b",2.0],true,false,null,[]]])"), "ab2.0truefalsenull");
}

TEST_F(JsonScript, EmptyValueGivesTheEmptyText) {
  EXPECT_EQ(script.ExecCommand(JsonValue()), "");
}

TEST_F(JsonScript, OutputsOfCommandsAreJoinedInKeyOrder) {
  EXPECT_EQ(Eval(R"([{"b":{},"return":"-","a":{"x":1}}])"), "<%B()%>-<%A(1)%>");
}

TEST_F(JsonScript, CommandNamesIgnoreLetterCase) {
  EXPECT_EQ(Eval(R"([{"Return":"x"},{"RETURN":"y"}])"), "xy");
}

TEST_F(JsonScript, ReturnGivesTheValueAsText) {
  EXPECT_EQ(Eval("[{return:'a'},{return:1.0},{return:true},{return:null},{return:{foo:{}}}]"),
            "a1.0truenull");
}

// A locale that writes "1.234,5".
class CommaLocale : public std::numpunct<char> {
 protected:
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(JsonScript, NumbersKeepThePointUnderALocaleThatWritesAComma) {
  const std::locale before = std::locale::global(std::locale(std::locale(), new CommaLocale));
  std::ostringstream probe;
  probe << 1234.5;
  EXPECT_EQ(probe.str(), "1.234,5");
  EXPECT_EQ(Eval("[1234.5,[2.25],{foo:{x:0.5}}]"), "1234.52.25<%FOO(0.5)%>");
  EXPECT_TRUE(ReadJson("[" + std::string(2000, ' ') + "n]")
                  .errors.starts_with("Invalid null value at position 2002 :"));
  std::locale::global(before);
}

TEST_F(JsonScript, HalvesOfACharacterThatMeetBecomeOne) {
  EXPECT_EQ(Eval(R"(["\ud83d","\ude00"])"), "\xF0\x9F\x98\x80");
}

TEST_F(JsonScript, WorksWithoutDialogs) {
  cJSONScript silent(nullptr);
  EXPECT_EQ(silent.Eval("[{alert:{message:'m'}},{input:{default:'d'}},'x']"), "x");
  EXPECT_EQ(silent.Eval("oops"), "");
}

TEST_F(JsonScriptAlert, ShowsTheEvaluatedMessageAndHasNoOutput) {
  EXPECT_EQ(Eval("[{alert:{message:['a',{foo:{}}],title:'t'}}]"), "");
  EXPECT_EQ(dialogs.boxes, Boxes{"information|t|a<%FOO()%>"});
}

TEST_F(JsonScriptAlert, MissingArgumentsAreEmpty) {
  Eval("[{alert:{}},{alert:'text'},{alert:null}]");
  EXPECT_EQ(dialogs.boxes, (Boxes{"information||", "information||", "information||"}));
}

TEST_F(JsonScriptInput, OutputsWhatWasEntered) {
  dialogs.answers = {"Ann", ""};
  EXPECT_EQ(Eval("['<',{input:{prompt:'Name?',title:'t',default:1.5}},{input:{}},'>']"), "<Ann>");
  EXPECT_EQ(dialogs.boxes, (Boxes{"ask|t|Name?|1.5", "ask|||"}));
}

TEST_F(JsonScriptSwitch, FirstItemOfTheSameCaseGivesTheOutput) {
  EXPECT_EQ(Eval(R"([{"switch":{"case":"B","default":"none","items":[
                    {"case":"a","return":"1"},{"case":"b","return":["2",{"foo":{}}]},
                    {"case":"B","return":"3"}]}}])"),
            "2<%FOO()%>");
}

TEST_F(JsonScriptSwitch, DefaultKeepsItsLetters) {
  EXPECT_EQ(Eval("[{switch:{case:'x',default:'None',items:[{case:'y',return:1}]}}]"), "None");
  EXPECT_EQ(Eval("[{switch:{case:'x',default:'None'}}]"), "None");
  EXPECT_EQ(Eval("[{switch:{case:'x',items:[]}}]"), "");
}

TEST_F(JsonScriptSwitch, CaseIsEvaluatedAndLetterCaseIgnored) {
  Eval("[{set:{name:'v',value:'ÄB'}}]");
  EXPECT_EQ(Eval("[{switch:{case:{get:{name:'v'}},items:[{case:'äb',return:'hit'}]}}]"), "hit");
  EXPECT_EQ(Eval("[{switch:{case:1.0,items:[{case:'1.0',return:'hit'}]}}]"), "hit");
}

TEST_F(JsonScriptSwitch, MissingCaseEqualsTheEmptyText) {
  EXPECT_EQ(Eval("[{switch:{items:[{return:'hit'}]}}]"), "hit");
}

TEST_F(JsonScriptSwitch, WhatIsNoItemIsPassedOver) {
  EXPECT_EQ(Eval("[{switch:{case:'a',items:['a',1,[],{case:{foo:{}},return:1},{case:'a'}],"
                 "default:'d'}}]"),
            "");
}

TEST_F(JsonScriptSwitch, OnlyTheItemThatIsTakenIsEvaluated) {
  Eval(
      "[{switch:{case:'b',items:[{case:'a',return:{alert:{message:1}}},"
      "{case:'b',return:{alert:{message:2}}}]}}]");
  EXPECT_EQ(dialogs.boxes, Boxes{"information||2"});
}

TEST_F(JsonScriptVariables, SetStoresAndGetReads) {
  EXPECT_EQ(Eval("[{set:{name:'v',value:['a',1]}},{get:{name:'v'}}]"), "a1");
}

TEST_F(JsonScriptVariables, SetReplaces) {
  EXPECT_EQ(Eval("[{set:{name:'v',value:1}},{set:{name:'v',value:2}},{get:{name:'v'}}]"), "2");
  EXPECT_EQ(script.Vars().Count(), 1U);
}

TEST_F(JsonScriptVariables, NameIsTakenAsItIsWritten) {
  Eval(
      "[{set:{name:'V',value:'upper'}},{set:{name:' v "
      "',value:'blanks'}},{set:{name:1.0,value:'n'}}]");
  EXPECT_EQ(Eval("[{get:{name:'V'}},{get:{name:'v'}},{get:{name:' v '}},{get:{name:'1.0'}}]"),
            "upperblanksn");
}

TEST_F(JsonScriptVariables, ObjectNamesNoVariable) {
  EXPECT_EQ(Eval("[{set:{name:{foo:{}},value:1}},{get:{name:['v'],default:'d'}}]"), "d");
  EXPECT_EQ(script.Vars().Count(), 0U);
}

TEST_F(JsonScriptVariables, GetOfAnUnknownVariableAddsItAndFallsToTheDefault) {
  EXPECT_EQ(Eval("[{get:{name:'v',default:{foo:{}}}}]"), "<%FOO()%>");
  ASSERT_TRUE(script.Vars().Exists("v"));
  EXPECT_EQ(script.Vars().Find("v")->kind(), JsonValue::Kind::kEmpty);
}

TEST_F(JsonScriptVariables, GetOfAnEmptyVariableFallsToTheDefault) {
  EXPECT_EQ(Eval("[{set:{name:'v'}},{get:{name:'v',default:'d'}}]"), "d");
}

TEST_F(JsonScriptVariables, DefaultIsEvaluatedOnlyWhenItIsNeeded) {
  Eval("[{set:{name:'v',value:1}},{get:{name:'v',default:{alert:{}}}}]");
  EXPECT_EQ(dialogs.boxes, Boxes{});
}

TEST_F(JsonScriptVariables, StayFromOneCallToTheNext) {
  Eval("[{set:{name:'v',value:'x'}}]");
  EXPECT_EQ(Eval("[{get:{name:'v'}}]"), "x");
  EXPECT_EQ(cJSONScript(&dialogs).Eval("[{get:{name:'v'}}]"), "");
}

TEST_F(JsonScriptIf, NumbersAreComparedAsTexts) {
  EXPECT_EQ(
      Eval(R"([{"if":{"value1":"10","value2":"9","type":"gt","true":"big","false":"small"}}])"),
      "small");
}

TEST_F(JsonScriptIf, EachTypeComparesInItsWay) {
  const auto holds = [&](const std::string& type, const std::string& a, const std::string& b) {
    return Eval("[{if:{value1:'" + a + "',value2:'" + b + "',type:'" + type +
                "',true:'y',false:'n'}}]") == "y";
  };
  EXPECT_TRUE(holds("eq", "aÄ", "Aä"));
  EXPECT_FALSE(holds("eq", "a", "a "));
  EXPECT_TRUE(holds("gt", "b", "a"));
  EXPECT_FALSE(holds("gt", "a", "a"));
  EXPECT_TRUE(holds("lt", "B", "a"));
  EXPECT_FALSE(holds("lt", "a", "B"));
  EXPECT_TRUE(holds("gte", "a", "a"));
  EXPECT_FALSE(holds("gte", "a", "b"));
  EXPECT_TRUE(holds("lte", "a", "a"));
  EXPECT_TRUE(holds("lte", "a", "ab"));
  EXPECT_FALSE(holds("lte", "b", "a"));
  EXPECT_TRUE(holds("GTE", "b", "a"));
}

TEST_F(JsonScriptIf, OrderIsThatOf16BitCharacters) {
  EXPECT_EQ(Eval("[{if:{value1:'\xF0\x9F\x98\x80',value2:'\xEF\xBC\xA1',type:'lt',true:'y'}}]"),
            "y");
}

TEST_F(JsonScriptIf, UnknownTypeIsFalse) {
  EXPECT_EQ(Eval("[{if:{value1:1,value2:1,type:'ne',true:'y',false:'n'}}]"), "n");
  EXPECT_EQ(Eval("[{if:{value1:1,value2:1,true:'y',false:'n'}}]"), "n");
  EXPECT_EQ(Eval("[{if:{}}]"), "");
}

TEST_F(JsonScriptIf, OnlyTheBranchThatIsTakenIsEvaluated) {
  Eval(
      "[{if:{value1:1,value2:1,type:'eq',true:{alert:{message:'t'}},false:{alert:{message:'f'}}}}"
      "]");
  EXPECT_EQ(dialogs.boxes, Boxes{"information||t"});
}

TEST_F(JsonScriptPlaceholder, HoldsTheValuesInKeyOrder) {
  EXPECT_EQ(Eval(R"([{"foo":{"x":"1","y":"2"}}])"), "<%FOO(1,2)%>");
  EXPECT_EQ(Eval("[{foo:{z:1.50,a:true,b:null,c:''}}]"), "<%FOO(1.50,true,null,)%>");
}

TEST_F(JsonScriptPlaceholder, NameIsInUpperCase) {
  EXPECT_EQ(Eval("[{'größe x':{}}]"), "<%GRÖßE X()%>");
}

TEST_F(JsonScriptPlaceholder, ValueThatIsNoDictionaryGivesNoParameters) {
  EXPECT_EQ(Eval("[{foo:'text'},{foo:1},{foo:['a']},{foo:null}]"),
            "<%FOO()%><%FOO()%><%FOO()%><%FOO()%>");
}

TEST_F(JsonScriptPlaceholder, CommandsInParametersAreEvaluated) {
  EXPECT_EQ(Eval("[{set:{name:'v',value:7}},{foo:{x:{get:{name:'v'}},y:['a','b']}}]"),
            "<%FOO(7,ab)%>");
}

// The text "x" inside so many arrays, the script's own among them.
std::string Nested(size_t arrays) {
  return Repeated("[", arrays) + "'x'" + Repeated("]", arrays);
}

TEST_F(JsonScriptNesting, FortyLevelsAreEvaluated) {
  EXPECT_EQ(Eval(Nested(40)), "x");
  EXPECT_EQ(Eval(Nested(41)), "x");
}

TEST_F(JsonScriptNesting, LevelTooDeepGivesTheEmptyText) {
  EXPECT_EQ(Eval(Nested(42)), "");
  EXPECT_EQ(Eval(Nested(10000)), "");
  EXPECT_EQ(dialogs.boxes, Boxes{});
}

TEST_F(JsonScriptNesting, LevelsAroundAreEvaluated) {
  const std::string inner = Nested(42);
  EXPECT_EQ(Eval("['a'," + inner.substr(1, inner.size() - 2) + ",'b']"), "ab");
  EXPECT_EQ(Eval("[['a'," + Nested(10000) + ",'b'],'c']"), "abc");
}

TEST_F(JsonScriptNesting, LevelIsBackAtZeroAfterwards) {
  for (int i = 0; i < 50; ++i) Eval(Nested(100));
  EXPECT_EQ(Eval(Nested(41)), "x");
}

TEST_F(JsonScriptNesting, ArgumentsOfCommandsCountAsLevels) {
  const std::string open = "{if:{value1:1,value2:1,type:'eq',true:";
  const auto branches = [&](size_t levels) {
    std::string text = "[";
    return text.append(Repeated(open, levels)).append("'x'").append(Repeated("}}", levels)) + "]";
  };
  EXPECT_EQ(Eval(branches(40)), "x");
  EXPECT_EQ(Eval(branches(41)), "");
}

// The terminal.

TEST(JsonScriptTerminal, BoxesAreLinesOfTitleAndMessage) {
  std::istringstream answers;
  std::ostringstream boxes;
  TerminalDialogs terminal(answers, boxes);
  terminal.ShowInformation("done", "Note");
  terminal.ShowWarning("bad\r\n", "Parser Error");
  EXPECT_EQ(boxes.str(), "Note: done\nParser Error: bad\r\n");
  EXPECT_EQ(terminal.Warnings(), 1);
}

TEST(JsonScriptTerminal, AnswerIsOneLine) {
  std::istringstream answers("Ann\r\n\nrest");
  std::ostringstream boxes;
  TerminalDialogs terminal(answers, boxes);
  EXPECT_EQ(terminal.Ask("Name?", "t", "x"), "Ann");
  EXPECT_EQ(terminal.Ask("Name?", "t", "x"), "x");
  EXPECT_EQ(terminal.Ask("Name?", "t", "x"), "rest");
  EXPECT_EQ(terminal.Ask("Name?", "t", "x"), "");
  EXPECT_EQ(boxes.str(), "Name?\nName?\nName?\nName?\n");
}

}  // namespace
}  // namespace vnq
