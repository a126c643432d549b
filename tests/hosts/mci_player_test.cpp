#include <windows.h>

#include <mmsystem.h>

#include <array>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "tests/driver/driver_registration.h"
#include "tests/driver/pictures.h"
#include "tests/hosts/avi_clip.h"
#include "tests/hosts/leave_picture.h"
#include "tests/ui/window_picture.h"

namespace qivm::test {

namespace {

/// Sends a command to the player; its answer.
std::string Mci(const std::string& command) {
  std::array<char, 256> answer = {};
  const MCIERROR error = mciSendStringA(command.c_str(), answer.data(), answer.size(), nullptr);
  if (error != 0) {
    std::array<char, 256> text = {};
    mciGetErrorStringA(error, text.data(), text.size());
    throw std::runtime_error("'" + command + "': " + text.data());
  }
  return answer.data();
}

/// The system's player with a clip open in its own window, which is shown.
class Player {
 public:
  explicit Player(const AviClip& clip) {
    Mci("open " + clip.Path() + " type avivideo alias clip wait");
    Mci("set clip time format frames");
    window_ = Window(
        reinterpret_cast<HWND>(static_cast<INT_PTR>(std::stoll(Mci("status clip window handle")))));
    // Not by a command: 64-bit wine reads the state from the wrong place and hides the window.
    ShowWindow(window_.Handle(), SW_SHOW);
  }
  ~Player() { EXPECT_NO_THROW(Mci("close clip wait")); }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  /// The window's content, as a 32-bit bitmap.
  WindowPicture Show(LONG frame) const {
    Mci("seek clip to " + std::to_string(frame) + " wait");
    InvalidateRect(window_.Handle(), nullptr, FALSE);
    UpdateWindow(window_.Handle());
    return WindowPicture(window_, WindowPart::client);
  }

 private:
  Window window_;
};

double WindowPsnr(const WindowPicture& shown, LONG frame) {
  const BITMAPINFOHEADER header = Header(kRgb32, shown.Header().biWidth, shown.Header().biHeight);
  const auto source = MakePicture(header, static_cast<unsigned>(frame));
  const auto* const pixels = reinterpret_cast<const std::uint8_t*>(shown.Pixels().data());
  return Psnr(header, source, {pixels, shown.Pixels().size() * sizeof(DWORD)});
}

class MciPlayerTest : public ::testing::Test {
 protected:
  const DriverRegistration registration_{"QIVM"};
  const AviClip clip_{Header(kRgb24, 320, 240)};
};

TEST_F(MciPlayerTest, TheClipIsKnown) {
  const Player player(clip_);
  EXPECT_EQ(Mci("status clip length"), std::to_string(AviClip::kFrames));
  EXPECT_EQ(Mci("where clip source"), "0 0 320 240");
}

TEST_F(MciPlayerTest, FramesAreShownInTheWindow) {
  const Player player(clip_);
  for (const LONG frame : {0, 2, 1}) {
    const WindowPicture shown = player.Show(frame);
    LeavePicture(shown, "mci-player-" + std::to_string(frame));
    ASSERT_EQ(shown.Header().biWidth, 320);
    ASSERT_EQ(shown.Header().biHeight, 240);
    EXPECT_GT(WindowPsnr(shown, frame), 34.0) << frame;
    // Not another frame's picture.
    EXPECT_LT(WindowPsnr(shown, frame + 1), 26.0) << frame;
  }
}

TEST_F(MciPlayerTest, TheClipPlaysToItsEnd) {
  const Player player(clip_);
  Mci("play clip from 0 wait");
  EXPECT_EQ(Mci("status clip mode"), "stopped");
  EXPECT_GE(std::stol(Mci("status clip position")), AviClip::kFrames - 1);
}

}  // namespace

}  // namespace qivm::test
