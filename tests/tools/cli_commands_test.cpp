// vfwtool.exe's commands around recording and playing, with the codec that stores pictures.

#include <windows.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/cli_clips.h"
#include "tests/tools/cli_run.h"
#include "tests/tools/store_codec_format.h"
#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/media/picture.h"

namespace vfwtool {
namespace {

constexpr ClipFormat kFormat = {{PixelFormat::kYuy2, 64, 48}, {25, 1}};

/// A frame as the codec writes it, of one macroblock, with the first macroblock's first bit as
/// given.
std::vector<std::uint8_t> CodecFrame(std::uint8_t firstBit) {
  return {0, 0, 1, 0xB3, 1,    0,        0x10, 0x23, 0x1E, 0x84, 0x8B, 0xA8,  // 16x16, 25 a second
          0, 0, 1, 0xB5, 0x18, 0x54,     0,    1,    0,    0,    0,    0,     // 4:2:2
          0, 0, 1, 0,    0,    0x0F,     0xFF, 0xF8,                          // I
          0, 0, 1, 0xB5, 0x8F, 0xFF,     0xFF, 0x98, 0,    0,    0,    0,     // intra_vlc_format 1
          0, 0, 1, 1,    0x16, firstBit, 0xC1, 0x80,                          // the slice
          0, 0, 1, 0xB7};
}

class CliCommands : public testing::Test {
 protected:
  CliRun Record(const std::vector<Picture>& pictures) {
    StoreY4m(source_.Name(), kFormat, pictures);
    return RunCli({"record", source_.Name(), "-o", recorded_.Name(), "--codec", "STOR"});
  }

  TemporaryFile source_{".y4m"};
  TemporaryFile recorded_{".avi"};
  TemporaryFile stream_{".m2v"};
};

TEST_F(CliCommands, ComparesClipsOfAllKinds) {
  std::vector<Picture> pictures = TestPictures(kFormat.layout, 2);
  ExpectSuccess(Record(pictures));
  const CliRun same = RunCli({"compare", source_.Name(), recorded_.Name()});
  ExpectSuccess(same);
  EXPECT_TRUE(Contains(same.OutputText(), "  PSNR        equal\n  SSIM        1.00000\n"))
      << same.output;
  pictures[1][0] ^= 1;
  const TemporaryFile other(".avi");
  StoreAvi(other.Name(), kFormat, pictures);
  const CliRun differing = RunCli({"compare", recorded_.Name(), other.Name(), "--json"});
  ExpectSuccess(differing);
  // One sample of 12288 is off by 1.
  EXPECT_TRUE(Contains(differing.output, "\"psnr\": 89.0256")) << differing.output;
  EXPECT_TRUE(Contains(differing.output, "\"worstFrame\": 2")) << differing.output;
  pictures.pop_back();
  StoreAvi(other.Name(), kFormat, pictures);
  ExpectFailure(RunCli({"compare", recorded_.Name(), other.Name()}), ExitCode::kInput,
                "the second clip ends after 1 frame");
  ExpectSuccess(RunCli({"compare", recorded_.Name(), other.Name(), "--frames", "1"}));
  const CliRun piped = RunCli({"compare", "-", recorded_.Name()}, source_.Name());
  ExpectSuccess(piped);
  EXPECT_TRUE(Contains(piped.output, "equal")) << piped.output;
}

TEST_F(CliCommands, MeasuresSpeed) {
  const CliRun made =
      RunCli({"bench", "--codec", "STOR", "--seconds", "0", "--size", "64x48", "--json"});
  ExpectSuccess(made);
  for (const char* const member : {"\"source\": \"generated\"", "\"width\": 64", "\"pictures\": 8",
                                   "\"largest\": 6152", "\"compression\": {"}) {
    EXPECT_TRUE(Contains(made.output, member)) << made.output;
  }
  StoreY4m(source_.Name(), kFormat, TestPictures(kFormat.layout, 3));
  const CliRun clip = RunCli({"bench", "--codec", "STOR", "--seconds", "0", "-i", source_.Name()});
  ExpectSuccess(clip);
  EXPECT_TRUE(Contains(clip.OutputText(), "with 3 pictures of 64x48 yuy2 (" + source_.Name()))
      << clip.output;
  ExpectFailure(RunCli({"bench", "--codec", "STOR", "--size", "66x48"}), ExitCode::kCodec,
                "multiples of 8");
  ExpectFailure(RunCli({"bench", "-i", source_.Name(), "--size", "64x48"}), ExitCode::kUsage,
                "--size is of pictures that are made");
}

TEST_F(CliCommands, DiagnosesRegistrations) {
  const CliRun sound = RunCli({"diagnose", "--codec", "STOR"});
  // The other bitness is not registered: told, but not held against it.
  EXPECT_EQ(sound.exitCode, 0U);
  EXPECT_EQ(sound.errors, "");
  const std::string bits = sizeof(void*) == 8 ? "64" : "32";
  EXPECT_TRUE(Contains(sound.output, bits + "-bit, can be loaded)")) << sound.output;
  EXPECT_TRUE(Contains(sound.output, "    STOR (")) << sound.output;
  EXPECT_TRUE(Contains(sound.output, "compresses    yes")) << sound.output;
  const CliRun json = RunCli({"diagnose", "--codec", "STOR", "--json"});
  EXPECT_TRUE(Contains(json.output, "\"usable\": true")) << json.output;
  const CliRun missing = RunCli({"diagnose", "--codec", "NONE"});
  EXPECT_EQ(missing.exitCode, 4U);
  EXPECT_TRUE(Contains(missing.output, "vidc.NONE is not registered for them")) << missing.output;
  EXPECT_TRUE(Contains(missing.errors, "cannot use the codec NONE")) << missing.errors;
}

class Registration {
 public:
  explicit Registration(const std::wstring& file) {
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, kValue, REG_SZ, file.c_str(),
                              static_cast<DWORD>((file.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
  }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
  ~Registration() { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, kValue); }

 private:
  static constexpr wchar_t kKey[] = L"Software\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32";
  static constexpr wchar_t kValue[] = L"vidc.TEST";
};

TEST_F(CliCommands, DiagnosesWhatIsWrongWithTheFile) {
  const auto diagnose = [](const std::wstring& file) {
    const Registration registration(file);
    const CliRun run = RunCli({"diagnose", "--codec", "TEST"});
    EXPECT_EQ(run.exitCode, 4U);
    return run.OutputText();
  };
  const std::string missing = diagnose(L"no-such-driver.dll");
  EXPECT_TRUE(Contains(missing, "there is no C:\\windows\\system32\\no-such-driver.dll") ||
              Contains(missing, "there is no C:\\Windows\\system32\\no-such-driver.dll"))
      << missing;
  source_.Store("This is a text.");
  const std::string text = diagnose(PathOf(source_.Name()).wstring());
  EXPECT_TRUE(Contains(text, "is no Windows library. Replace it by the")) << text;
  const std::string program = diagnose(L"version.dll");
  EXPECT_TRUE(Contains(program, "is no codec: it does not export DriverProc")) << program;
}

TEST_F(CliCommands, ShowsTheCodecsDialogs) {
  const OwnedHandle configured(CreateEventW(nullptr, TRUE, FALSE, kStoreConfigureEvent));
  const OwnedHandle about(CreateEventW(nullptr, TRUE, FALSE, kStoreAboutEvent));
  const CliRun run = RunCli({"configure", "--codec", "STOR"});
  ExpectSuccess(run);
  EXPECT_TRUE(Contains(run.output, "Windows has to be started anew")) << run.output;
  EXPECT_EQ(WaitForSingleObject(configured.get(), 0), WAIT_OBJECT_0);
  EXPECT_EQ(WaitForSingleObject(about.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
  ExpectSuccess(RunCli({"about", "--codec", "STOR"}));
  EXPECT_EQ(WaitForSingleObject(about.get(), 0), WAIT_OBJECT_0);
  ExpectFailure(RunCli({"configure", "--codec", "NONE"}), ExitCode::kCodec,
                "no driver with the code NONE can be opened");
  ExpectFailure(RunCli({"about", "--codec", "NONE"}), ExitCode::kCodec, "no codec with the code");
}

TEST_F(CliCommands, ControlCLeavesACompleteRecording) {
  constexpr DWORD kPatience = 60000;
  std::vector<Picture> pictures = TestPictures(kFormat.layout, 3);
  pictures[2][0] = kStoreSignalByte;
  StoreY4m(source_.Name(), kFormat, pictures);
  const OwnedHandle compressed(CreateEventW(nullptr, TRUE, FALSE, kStoreCompressedEvent));
  InputPipe pipe;
  CliProcess process({"record", "-", "-o", recorded_.Name(), "--codec", "STOR"}, pipe.TakeReading(),
                     CliProcess::Console::kOwn);
  // The fourth picture never comes: the tool waits for it when it is interrupted.
  pipe.Write(source_.Text());
  ASSERT_EQ(WaitForSingleObject(compressed.get(), kPatience), WAIT_OBJECT_0);
  process.PressControlC();
  const CliRun run = process.Wait();
  EXPECT_EQ(run.exitCode, static_cast<unsigned long>(ExitCode::kInterrupted));
  EXPECT_TRUE(run.output.starts_with("recorded 3 frames")) << run.output;
  EXPECT_EQ(run.ErrorText(),
            "vfwtool record: stopped; " + recorded_.Name() + " has the 3 frames so far\n");
  EXPECT_EQ(LoadAvi(recorded_.Name()).frames.size(), 3U);
}

TEST_F(CliCommands, ExportsAndImports) {
  {
    AviWriter writer(recorded_.Name(),
                     {.streams = {MakeVideoHeaders(MakeBitmapFormat({PixelFormat::kRgb24, 16, 16}),
                                                   "QIVM"_fourcc, {50, 1}, true)},
                      .others = {},
                      .lists = {}});
    writer.Write(0, CodecFrame(0), true);
    writer.Write(0, CodecFrame(0), true);
    writer.Finish();
  }
  const CliRun run = RunCli({"export", recorded_.Name(), "-o", stream_.Name(), "--set-rate"});
  ExpectSuccess(run);
  EXPECT_TRUE(run.output.starts_with("exported 2 frames of 16x16 at 50 frames/s from "))
      << run.output;
  std::vector<std::uint8_t> frame = CodecFrame(1);
  frame[7] = 0x26;  // 50 frames a second.
  std::vector<std::uint8_t> expected = frame;
  expected.insert(expected.end(), frame.begin(), frame.end());
  EXPECT_EQ(stream_.Contents(), expected);
  // The standard streams carry bytes.
  const CliRun piped = RunCli({"export", recorded_.Name(), "-o", "-", "--set-rate", "--quiet"});
  ExpectSuccess(piped);
  EXPECT_EQ(std::vector<std::uint8_t>(piped.output.begin(), piped.output.end()), expected);
  const TemporaryFile imported(".avi");
  ExpectSuccess(RunCli({"import", "-", "-o", imported.Name(), "--codec", "MMES"}, stream_.Name()));
  const ReadAvi avi = LoadAvi(imported.Name());
  EXPECT_EQ(avi.handler, "MMES"_fourcc);
  EXPECT_EQ(avi.rate, (FrameRate{50, 1}));
  EXPECT_EQ(ReadBitmapFormat(avi.format).compression, "MMES"_fourcc);
  EXPECT_EQ(avi.frames, (std::vector<Picture>{frame, frame}));
  const CliRun info = RunCli({"info", imported.Name(), "--frames"});
  EXPECT_TRUE(Contains(info.OutputText(),
                       "  frame 2: 56 bytes, key frame, 1 frame picture, quantiser code 2\n"))
      << info.output;
  ExpectFailure(RunCli({"import", recorded_.Name(), "-o", imported.Name()}), ExitCode::kInput,
                "is no MPEG video elementary stream");
  ExpectSuccess(Record(TestPictures(kFormat.layout, 1)));
  ExpectFailure(RunCli({"export", recorded_.Name(), "-o", stream_.Name()}), ExitCode::kInput,
                "frame 1 is no MPEG-2 picture with a sequence header of its own");
}

}  // namespace
}  // namespace vfwtool
