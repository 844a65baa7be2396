#include "tools/terminal/progress_bar.h"

#include <gtest/gtest.h>

#include <sstream>

namespace vnq {
namespace {

TEST(ProgressBar, ShowsHowFarTheJobHasComeAndGoes) {
  std::ostringstream out;
  {
    ProgressBar bar(out, 2, true);
    bar.Advance();
    bar.Advance();
  }
  EXPECT_EQ(out.str(),
            "\r[------------------------------]   0 %  0 of 2"
            "\r[###############---------------]  50 %  1 of 2"
            "\r[##############################] 100 %  2 of 2"
            "\r\x1b[K");
}

TEST(ProgressBar, LineIsSaidAboveTheBar) {
  std::ostringstream out;
  ProgressBar bar(out, 2, true);
  out.str("");
  bar.Say("line 3: bad");
  EXPECT_EQ(out.str(), "\r\x1b[Kline 3: bad\n\r[------------------------------]   0 %  0 of 2");
}

TEST(ProgressBar, IsDrawnOncePerPercent) {
  std::ostringstream out;
  ProgressBar bar(out, 1000, true);
  out.str("");
  for (int i = 0; i < 9; ++i) bar.Advance();
  EXPECT_EQ(out.str(), "");
  bar.Advance();
  EXPECT_NE(out.str().find("  1 %  10 of 1000"), std::string::npos);
}

TEST(ProgressBar, SaysWhatIsBeingDone) {
  std::ostringstream out;
  ProgressBar bar(out, 1, true, "Users_ID");
  EXPECT_TRUE(out.str().ends_with("  0 %  0 of 1  Users_ID")) << out.str();
}

TEST(ProgressBar, MoreThanAllIsAll) {
  std::ostringstream out;
  ProgressBar bar(out, 1, true);
  for (int i = 0; i < 3; ++i) bar.Advance();
  EXPECT_TRUE(out.str().ends_with("] 100 %  1 of 1")) << out.str();
}

TEST(ProgressBar, NobodyWatchingMeansLinesOnly) {
  std::ostringstream out;
  {
    ProgressBar bar(out, 2, false);
    bar.Say("said");
    bar.Advance();
  }
  EXPECT_EQ(out.str(), "said\n");
}

}  // namespace
}  // namespace vnq
