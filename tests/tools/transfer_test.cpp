// How commands that write end when the user stops them. The signals are true ones.

#include "tools/vfwtool/commands/transfer.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sstream>
#include <string>

#include "tests/tools/avi_samples.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

class Interruptions : public testing::Test {
 protected:
  // What runs in a shell's background has the signal ignored, as the tool then does.
  Interruptions() : previous_(std::signal(SIGINT, SIG_DFL)) {}
  ~Interruptions() override { std::signal(SIGINT, previous_); }

  /// That the user does not get through fails a test rather than keep it running.
  static constexpr std::uint64_t kMostFrames = 10;

  Arguments arguments_{{}, {}};
  std::istringstream in_;
  std::ostringstream out_;
  std::ostringstream errors_;
  ToolStreams streams_{in_, out_, errors_};
  TransferReport report_{.action = "", .input = "in", .output = "-", .rate = {25, 1}};
  std::uint64_t written_ = 0;
  std::string end_;
  void (*previous_)(int);

  /// The message with which a transfer ends.
  std::string Run(const std::function<bool()>& read, const std::function<void()>& write) {
    return MessageOf(ExitCode::kInterrupted, [&] {
      const Transfer transfer(arguments_, streams_);
      transfer.Run({.read = read,
                    .write = write,
                    .finish = [&] { end_ += "finish "; },
                    .stop = [&] { end_ += "stop "; },
                    .finishEarly =
                        [&] {
                          end_ += "early ";
                          return written_;
                        }},
                   std::nullopt, report_);
      transfer.Conclude(report_, DamageLog());
    });
  }
};

TEST_F(Interruptions, BeforeTheFirstFrameLeaveNothing) {
  EXPECT_EQ(
      Run([&] { return std::raise(SIGINT) == 0 && written_ < kMostFrames; }, [&] { ++written_; }),
      "stopped before the first frame; nothing was written");
  EXPECT_EQ(end_, "early ");
  EXPECT_FALSE(InterruptionWatch::IsRequested());
}

TEST_F(Interruptions, CompleteWhatThereIs) {
  EXPECT_EQ(Run([&] { return written_ < kMostFrames; },
                [&] {
                  if (++written_ == 3) {
                    std::raise(SIGINT);
                  }
                }),
            "stopped; the standard output has the 3 frames so far");
  EXPECT_EQ(end_, "stop ");
}

TEST_F(Interruptions, OfTheOutputsReaderAreTheSame) {
  EXPECT_EQ(Run([&] { return written_ < kMostFrames; },
                [&] {
                  if (written_ == 2) {
                    std::raise(SIGINT);
                    throw ToolError(ExitCode::kOutput, "broken pipe");
                  }
                  ++written_;
                }),
            "stopped; the standard output has the 2 frames so far");
  EXPECT_EQ(end_, "early ");
}

TEST_F(Interruptions, EndTheSearchForChunks) {
  const TemporaryFile file(".avi");
  StoreSample(file, SampleHeaders(2), SampleChunks(20, 2));
  file.Overwrite(file.PositionOf("idx1"), "xxxx");
  EXPECT_EQ(AviReader(file.Name()).FrameCount(), 20U);
  {
    const InterruptionWatch watch;
    std::raise(SIGINT);
    EXPECT_EQ(AviReader(file.Name()).FrameCount(), 0U);
    EXPECT_TRUE(InterruptionWatch::IsRequested());
  }
  EXPECT_EQ(AviReader(file.Name()).FrameCount(), 20U);
}

}  // namespace
}  // namespace vfwtool
