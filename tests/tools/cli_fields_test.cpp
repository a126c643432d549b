// Recording with the fields exchanged, which only the real codec does.

#include <cstdlib>
#include <gtest/gtest.h>

#include "tests/driver/driver_registration.h"
#include "tests/tools/cli_clips.h"
#include "tests/tools/cli_run.h"
#include "tests/tools/temporary_file.h"

namespace vfwtool {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 48;
constexpr int kStep = 4;

/// Grey rows, each a little lighter than the one above.
Picture GreyRows() {
  Picture picture;
  for (int row = 0; row < kHeight; ++row) {
    for (int pixel = 0; pixel < kWidth; ++pixel) {
      picture.push_back(static_cast<std::uint8_t>(16 + kStep * row));
      picture.push_back(128);
    }
  }
  return picture;
}

/// By how many rows the played picture lies above the source, in its upper half, where nothing of
/// the row that went round comes near.
int RowsMovedUp(const std::string& played) {
  int moved = 0;
  for (int row = 0; row < kHeight / 2; ++row) {
    const auto luminance =
        static_cast<std::uint8_t>(played[static_cast<std::size_t>(2 * kWidth * row)]);
    const int rowOfSource = (luminance - 16 + kStep / 2) / kStep;
    moved += rowOfSource - row;
  }
  EXPECT_EQ(moved % (kHeight / 2), 0);
  return moved / (kHeight / 2);
}

class CliFields : public testing::Test {
 protected:
  CliFields() {
    StoreY4m(source_.Name(), {{PixelFormat::kYuy2, kWidth, kHeight}, {25, 1}}, {GreyRows()});
  }

  /// Records with that codec and further options, plays, and returns the picture's bytes.
  std::string RoundTrip(std::vector<std::string> options) {
    options.insert(options.begin(),
                   {"record", source_.Name(), "-o", recorded_.Name(), "--quality", "10000"});
    ExpectSuccess(RunCli(options));
    const CliRun run =
        RunCli({"play", recorded_.Name(), "-o", "-", "--raw", "--format", "yuy2", "--quiet"});
    ExpectSuccess(run);
    EXPECT_EQ(run.output.size(), GreyRows().size());
    return run.output;
  }

  const qivm::test::DriverRegistration registration_{"QIVM"};
  TemporaryFile source_{".y4m"};
  TemporaryFile recorded_{".avi"};
};

TEST_F(CliFields, StayAsTheyAre) { EXPECT_EQ(RowsMovedUp(RoundTrip({})), 0); }

TEST_F(CliFields, AreExchangedOnRequest) {
  EXPECT_EQ(RowsMovedUp(RoundTrip({"--swap-fields"})), 1);
}

TEST_F(CliFields, OfAnotherCodecAreItsOwnAffair) {
  ExpectFailure(RunCli({"record", source_.Name(), "-o", recorded_.Name(), "--codec", "STOR",
                        "--swap-fields"}),
                ExitCode::kCodec, "only QIVM can");
}

}  // namespace
}  // namespace vfwtool
