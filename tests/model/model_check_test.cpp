// Random sequences through the server and a model of it: every record and every row is equal.
//
//   vnq_model_tests --seeds N [--first N] [--deeds N]     more of them, by hand
//
// A seed that failed once is a line of tests/model/kept_seeds.txt and is tried in every run.
#include "tests/model/model_check.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <charconv>
#include <fstream>

#include "server/command_table.h"

namespace vnq::model {
namespace {

struct Amount {
  uint64_t seeds = 20, first = 1;
  int deeds = 120;
};
Amount amount;

TEST(ModelCheck, EveryRecordAndRowIsThatOfTheModel) {
  for (uint64_t seed = amount.first; seed < amount.first + amount.seeds; ++seed) {
    const std::string difference = ModelCheck(seed).Run(amount.deeds);
    ASSERT_EQ(difference, "");
  }
  fmt::print("{} sequences of {} deeds\n", amount.seeds, amount.deeds);
}

TEST(ModelCheck, SeedsThatFailedOnceAreEqual) {
  std::ifstream kept(VNQ_KEPT_SEEDS);
  ASSERT_TRUE(kept.is_open()) << VNQ_KEPT_SEEDS;
  int tried = 0;
  for (std::string line; std::getline(kept, line);) {
    if (line.empty() || line.starts_with("#")) continue;
    ++tried;
    EXPECT_EQ(ModelCheck(std::stoull(line)).Run(300), "") << line;
  }
  EXPECT_GT(tried, 0);
}

TEST(ModelCheck, EveryCommandOfTheMainPortIsInTheModel) {
  for (const CommandRow& row : ClientCommands()) {
    EXPECT_TRUE(NaiveServer::Knows(row.word)) << row.word << " needs a place in the model";
  }
}

bool ReadNumber(std::string_view text, uint64_t& number) {
  return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

}  // namespace

bool TakeArguments(int count, char** arguments) {
  for (int i = 1; i + 1 < count; i += 2) {
    const std::string_view name = arguments[i];
    uint64_t number = 0;
    if (!ReadNumber(arguments[i + 1], number)) return false;
    if (name == "--seeds") amount.seeds = number;
    if (name == "--first") amount.first = number;
    if (name == "--deeds") amount.deeds = static_cast<int>(number);
  }
  return true;
}

}  // namespace vnq::model

int main(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  if (!vnq::model::TakeArguments(count, arguments)) return 2;
  return RUN_ALL_TESTS();
}
