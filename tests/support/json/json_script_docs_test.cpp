// Runs the examples of docs/json_script.md.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/json/json_script.h"
#include "support/json/json_script_terminal.h"

namespace vnq {
namespace {

// The fenced blocks that belong to one script, by their kind: json, answers, boxes, output.
using Example = std::map<std::string, std::string>;

std::vector<Example> ReadExamples(std::istream& page) {
  std::vector<Example> examples;
  std::string kind;  // of the block that is open
  for (std::string line; std::getline(page, line);) {
    if (!line.starts_with("```")) {
      if (!kind.empty()) examples.back()[kind] += line + "\n";
    } else if (kind.empty()) {
      kind = line.substr(3);
      if (kind == "json") examples.emplace_back();
      if (!examples.empty()) examples.back()[kind];
    } else {
      kind.clear();
    }
  }
  return examples;
}

std::string WithoutCarriageReturns(std::string text) {
  std::erase(text, '\r');
  return text;
}

TEST(JsonScriptDocs, ExamplesGiveWhatThePageSays) {
  const auto file = std::filesystem::path(VNQ_ROOT) / "docs/json_script.md";
  std::ifstream page(file);
  ASSERT_TRUE(page) << file;
  const std::vector<Example> examples = ReadExamples(page);
  EXPECT_EQ(examples.size(), 15U);
  for (Example example : examples) {
    SCOPED_TRACE(example["json"]);
    ASSERT_TRUE(example.contains("output"));
    std::istringstream answers(example["answers"]);
    std::ostringstream boxes;
    TerminalDialogs dialogs(answers, boxes);
    const std::string output = cJSONScript(&dialogs).Eval(example["json"]);
    EXPECT_EQ(output.empty() ? "" : output + "\n", example["output"]);
    EXPECT_EQ(WithoutCarriageReturns(boxes.str()), example["boxes"]);
  }
}

}  // namespace
}  // namespace vnq
