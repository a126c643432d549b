#include "tools/vfwtool/base/progress.h"

#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>

namespace vfwtool {
namespace {

TEST(Progress, ShortStepsStaySilent) {
  std::ostringstream errors;
  {
    Progress progress(errors, Progress::Style::kTerminal, 100);
    progress.Update(99, 0.99);
  }
  EXPECT_EQ(errors.str(), "");
}

TEST(Progress, SilenceIsKept) {
  std::ostringstream errors;
  {
    Progress progress(errors, Progress::Style::kSilent, 100);
    progress.Update(50, 100.0);
  }
  EXPECT_EQ(errors.str(), "");
}

TEST(Progress, LinesComeNowAndThen) {
  std::ostringstream errors;
  {
    Progress progress(errors, Progress::Style::kLines, 1000);
    for (unsigned frame = 1; frame <= 200; ++frame) {
      progress.Update(frame, frame / 20.0);
    }
  }
  EXPECT_EQ(errors.str(),
            "frame 20 of 1000 (2 %), 20.0 frames/s, 49 s left\n"
            "frame 120 of 1000 (12 %), 20.0 frames/s, 44 s left\n");
}

TEST(Progress, LongWaitsAreToldInMinutes) {
  std::ostringstream errors;
  Progress progress(errors, Progress::Style::kLines, 2510);
  progress.Update(10, 1.0);
  EXPECT_EQ(errors.str(), "frame 10 of 2510 (0 %), 10.0 frames/s, 4:10 min left\n");
}

TEST(Progress, WithoutATotalThereIsNoShare) {
  std::ostringstream errors;
  {
    Progress progress(errors, Progress::Style::kLines, std::nullopt);
    progress.Update(30, 2.0);
  }
  EXPECT_EQ(errors.str(), "frame 30, 15.0 frames/s\n");
}

TEST(Progress, AnEstimateThatWasTooLowIsDropped) {
  std::ostringstream errors;
  {
    Progress progress(errors, Progress::Style::kLines, 10);
    progress.Update(30, 2.0);
  }
  EXPECT_EQ(errors.str(), "frame 30, 15.0 frames/s\n");
}

TEST(Progress, ATerminalLineIsRewrittenAndTakenAway) {
  std::ostringstream errors;
  {
    Progress progress(errors, Progress::Style::kTerminal, 1000);
    progress.Update(100, 1.0);
    progress.Update(101, 1.1);
    progress.Update(999, 10.0);
  }
  const std::string first = "frame 100 of 1000 (10 %), 100.0 frames/s, 9 s left";
  const std::string second = "frame 999 of 1000 (99 %), 99.9 frames/s, 0 s left ";
  ASSERT_EQ(first.size(), second.size());
  EXPECT_EQ(errors.str(),
            "\r" + first + "\r" + second + "\r" + std::string(second.size() - 1, ' ') + "\r");
}

}  // namespace
}  // namespace vfwtool
