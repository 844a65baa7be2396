#include "bench/load/run_result.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace vnq::bench {
namespace {

using ::testing::HasSubstr;

RunResult Sample() {
  RunResult result;
  result.scenario = "peer";
  result.unit = "messages";
  result.seconds = 2;
  result.settledSeconds = 2.5;
  result.operations = 100;
  result.latencies.push_back({"delivery", {}});
  for (int i = 1; i <= 100; ++i) result.latencies[0].ns.Add(i * 1'000'000);
  return result;
}

TEST(RunResult, PassesOnlyWithoutFindings) {
  RunResult result = Sample();
  EXPECT_TRUE(result.Passed());
  EXPECT_THAT(TableText(result), HasSubstr("passed"));
  result.checks.lostReceipts = 1;
  EXPECT_FALSE(result.Passed());
  EXPECT_THAT(TableText(result), HasSubstr("FAILED"));
  EXPECT_THAT(JsonText(result), HasSubstr("\"lost_receipts\":1"));
  EXPECT_THAT(JsonText(result), HasSubstr("\"passed\":false"));
}

TEST(RunResult, WhatCameLateIsShownAndIsNotLost) {
  RunResult result = Sample();
  result.late = 7;
  EXPECT_TRUE(result.Passed());
  EXPECT_THAT(TableText(result), HasSubstr("passed, late 7"));
  EXPECT_THAT(JsonText(result), HasSubstr("\"late\":7"));
}

TEST(RunResult, ServerCpuIsShownForEachOperationAndBesideTheFloor) {
  RunResult result = Sample();
  result.server = ServerUseInRun{6000, 1000, 2000, 20};
  result.floor = Floor{25, 5};
  EXPECT_THAT(TableText(result), HasSubstr("60.0 us an operation"));
  EXPECT_THAT(TableText(result), HasSubstr("2.00 x floor"));
  EXPECT_THAT(JsonText(result), HasSubstr("\"cpu_us_per_operation\":60.000"));
}

TEST(RunResult, TheMarkdownRowHasAsManyCellsAsItsHead) {
  const std::string row = MarkdownRow(Sample());
  const std::string_view head = kMarkdownHead.substr(0, kMarkdownHead.find('\n'));
  EXPECT_EQ(std::count(row.begin(), row.end(), '|'), std::count(head.begin(), head.end(), '|'));
  EXPECT_THAT(row, HasSubstr("| 50 messages |"));
}

TEST(RunResult, JsonEscapesWhatAServerSent) {
  RunResult result = Sample();
  result.findings.push_back("a\"b\\c\n");
  EXPECT_THAT(JsonText(result), HasSubstr("\"a\\\"b\\\\c\\u000a\""));
}

TEST(RunResult, APlotThatCannotBeWrittenIsReported) {
  EXPECT_FALSE(WritePlot(Sample(), "/nonexistent/folder/a.svg"));
}

}  // namespace
}  // namespace vnq::bench
