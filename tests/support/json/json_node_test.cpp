// Generated documents, read here and by JSON.parse of Node; json_node_comparison.mjs makes and
// judges them.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "support/utf16.h"
#include "tests/support/json/json_reading.h"

namespace vnq {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

std::string FromHex(const std::string& hex) {
  const auto digit = [](char c) { return static_cast<int>(std::string(kDigits).find(c)); };
  std::string bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(digit(hex[i]) * 16 + digit(hex[i + 1]));
  }
  return bytes;
}

std::string ToHexUtf16(const std::string& text) {
  std::string hex;
  for (const char16_t unit : Utf8ToUtf16(text)) {
    for (const int shift : {4, 0, 12, 8}) hex += kDigits[unit >> shift & 0xF];
  }
  return hex;
}

std::string ScriptPath() {
  return VNQ_ROOT "/tests/support/json/json_node_comparison.mjs";
}

bool Node(const std::string& arguments) {
  const std::string command = "node '" + ScriptPath() + "' " + arguments;
  return std::system(command.c_str()) == 0;
}

size_t ReadCases(const std::string& casesFile, const std::string& resultsFile) {
  std::ifstream cases(casesFile);
  std::ofstream results(resultsFile);
  size_t count = 0;
  for (std::string line; std::getline(cases, line); ++count) {
    const size_t start = line.find('\t') + 1;
    JSON json;
    const auto value = json.parse(FromHex(line.substr(start, line.find('\t', start) - start)));
    results << (json.GetParserErrors().empty() ? "ok" : "errors") << '\t'
            << ToHexUtf16(value ? WriteJson(*value) : "") << '\n';
  }
  return count;
}

TEST(JsonNode, GeneratedDocumentsAreReadAsJsonParseReadsThemButForTheListedKinds) {
  if (std::system("node --version > /dev/null 2>&1") != 0)
    GTEST_SKIP() << "no node on this machine";
  const char* seed = std::getenv("VNQ_JSON_SEED");
  const std::string cases = testing::TempDir() + "json_node_cases";
  const std::string results = testing::TempDir() + "json_node_results";
  ASSERT_TRUE(
      Node("generate " + std::string(seed == nullptr ? "1" : seed) + " 4000 > '" + cases + "'"));
  EXPECT_EQ(ReadCases(cases, results), 8000U);
  EXPECT_TRUE(Node("compare '" + cases + "' '" + results + "'"));
  std::filesystem::remove(cases);
  std::filesystem::remove(results);
}

}  // namespace
}  // namespace vnq
