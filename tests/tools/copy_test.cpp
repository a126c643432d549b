// What cuts, joins and rescues AVIs, and what becomes of damaged frames.

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/tools/commands_fixture.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

TEST_F(Commands, CopyCutsVideoAndSoundAtTheSameMoment) {
  RecordClip("a", 20);
  const Bytes sound = StreamBytes(In("a.avi"), 1);
  const auto part = [&](std::size_t from, std::size_t to) {
    return Bytes(sound.begin() + static_cast<std::ptrdiff_t>(4 * from),
                 sound.begin() + static_cast<std::ptrdiff_t>(4 * to));
  };
  struct Case {
    const char* cut;
    std::uint32_t first;
    std::uint32_t frames;
    std::size_t soundTo;
  };
  for (const Case& entry :
       {Case{"--from 6 --to 10", 5, 5, 10 * 1920},
        Case{"--from 00:00.2 --to 0:0:0.4", 5, 5, 10 * 1920},
        Case{"--from 20", 19, 1, 20 * 1920 + 100}, Case{"--to 1", 0, 1, 1920},
        Case{"--to 00:00:00.800", 0, 20, 20 * 1920}, Case{"", 0, 20, 20 * 1920 + 100}}) {
    Do(std::string("copy a.avi -o b.avi -q ") + entry.cut);
    const AviReader whole(In("a.avi"));
    const AviReader copy(In("b.avi"));
    ASSERT_EQ(copy.FrameCount(), entry.frames) << entry.cut;
    for (std::uint32_t i = 0; i < entry.frames; ++i) {
      EXPECT_EQ(LoadStream(copy, 0)[i], LoadStream(whole, 0)[entry.first + i]) << entry.cut;
    }
    EXPECT_EQ(StreamBytes(In("b.avi"), 1), part(1920 * entry.first, entry.soundTo)) << entry.cut;
    EXPECT_TRUE(Contains(Do("verify b.avi"), "Nothing is wrong."));
  }
}

TEST_F(Commands, CopyJoinsWhatItCut) {
  RecordClip("a", 20);
  Do("copy a.avi -o 1.avi --to 7 -q");
  Do("copy a.avi -o 2.avi --from 8 --to 0:0.52 -q");
  Do("copy a.avi -o 3.avi --from 0:0.52 -q");
  const std::string report = Do("copy 1.avi 2.avi 3.avi -o b.avi");
  EXPECT_TRUE(report.starts_with("copied 20 frames of 64x48 at 25 frames/s from "));
  EXPECT_EQ(StreamBytes(In("b.avi"), 0), StreamBytes(In("a.avi"), 0));
  EXPECT_EQ(StreamBytes(In("b.avi"), 1), StreamBytes(In("a.avi"), 1));
  // A cut of the whole of several.
  Do("copy 1.avi 2.avi 3.avi -o c.avi --from 5 --to 15 -q");
  Do("copy a.avi -o d.avi --from 5 --to 15 -q");
  EXPECT_EQ(StreamBytes(In("c.avi"), 0), StreamBytes(In("d.avi"), 0));
  EXPECT_EQ(StreamBytes(In("c.avi"), 1), StreamBytes(In("d.avi"), 1));
}

TEST_F(Commands, CopyKeepsSoundInStepAtAJoin) {
  RecordClip("a", 10);
  Do("record a.y4m -o short.avi --sound a.wav -q");
  // The first clip's sound ends 100 samples behind its video, the second's before it.
  WavWriter wav(In("b.wav"), SamplePcm().format);
  wav.Write(SampleBytes(4 * 1000, 3));
  wav.Finish();
  Do("record a.y4m -o b.avi --sound b.wav -q");
  Do("copy b.avi a.avi -o ba.avi -q");
  Bytes expected = SampleBytes(4 * 1000, 3);
  expected.resize(4 * 19200);
  AppendBytes(expected, StreamBytes(In("a.avi"), 1));
  EXPECT_EQ(StreamBytes(In("ba.avi"), 1), expected);
  Do("copy a.avi b.avi -o ab.avi -q");
  expected = StreamBytes(In("a.avi"), 1);
  expected.resize(4 * 19200);
  AppendBytes(expected, SampleBytes(4 * 1000, 3));
  EXPECT_EQ(StreamBytes(In("ab.avi"), 1), expected);
}

TEST_F(Commands, CopyNamesTheFirstDifference) {
  RecordClip("a", 5);
  Do("record a.y4m -o silent.avi -q");
  ExpectFailure("copy a.avi silent.avi -o x.avi", ExitCode::kInput,
                "cannot be joined to " + In("a.avi") + ": it has 1 stream, not 2");
  Do("export a.avi -o a.m2v --sound b.wav -q");
  Do("import a.m2v -o rate.avi --rate 30 --sound b.wav -q");
  ExpectFailure("copy a.avi rate.avi -o x.avi", ExitCode::kInput,
                "its stream 1 has the rate 30, not 25");
  Do("import a.m2v -o code.avi --codec MMES --sound b.wav -q");
  ExpectFailure("copy a.avi code.avi -o x.avi", ExitCode::kInput,
                "its stream 1 has pictures of 64x48 of 24 bits and the code MMES, not 64x48 of 24 "
                "bits and the code QIVM");
  WavWriter wav(In("other.wav"), SamplePcm(44100).format);
  wav.Write(Bytes(400));
  wav.Finish();
  Do("record a.y4m -o sound.avi --sound other.wav -q");
  ExpectFailure("copy a.avi sound.avi -o x.avi", ExitCode::kInput,
                "its stream 2 has the rate 44100, not 48000");
  EXPECT_FALSE(Exists("x.avi"));
  for (const char* const cut : {"--from 6", "--to 6", "--from 0:0.2", "--from 4 --to 3", "--from 0",
                                "--to x", "--from 1.5"}) {
    ExpectFailure(std::string("copy a.avi -o x.avi ") + cut, ExitCode::kUsage, "--");
  }
  ExpectFailure("copy a.avi silent.avi -o silent.avi", ExitCode::kUsage, "is the input as well");
}

TEST_F(Commands, CopyTakesACutBackToAKeyFrame) {
  {
    AviStreamHeaders video = SampleVideo();
    StoreLittleEndian32(video.format, 16, "TEST"_fourcc);
    AviWriter writer(In("a.avi"), {.streams = {video}, .others = {}, .lists = {}});
    for (std::size_t i = 0; i < 10; ++i) {
      writer.Write(0, SampleBytes(20, i), i % 4 == 0);
    }
    writer.Finish();
  }
  const Outcome outcome = Run("copy a.avi -o b.avi --from 8");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.errors, In("a.avi") +
                                ": frame 8 builds on others; the cut begins with the key "
                                "frame before it, frame 5 (00:00:00.133)\n");
  const AviReader copy(In("b.avi"));
  ASSERT_EQ(copy.FrameCount(), 6U);
  EXPECT_EQ(LoadStream(copy, 0)[0], (SampleChunk{0, SampleBytes(20, 4), true}));
  EXPECT_FALSE(copy.Frame(1).isKeyFrame);
  // Without an index nobody knows.
  Bytes contents = Contents("a.avi");
  const std::string text(contents.begin(), contents.end());
  contents.resize(text.find("idx1"));
  Store("c.avi", contents);
  const Outcome unknown = Run("copy c.avi -o b.avi --from 8");
  EXPECT_EQ(unknown.code, 0);
  EXPECT_EQ(unknown.errors, In("c.avi") +
                                " has no index, which alone tells the key frames of the code TEST: "
                                "the cut may begin with a frame that builds on others\n");
}

TEST_F(Commands, EveryFrameOfThisCodecIsAKeyFrame) {
  RecordClip("a", 10);
  Bytes contents = Contents("a.avi");
  const std::string text(contents.begin(), contents.end());
  for (std::size_t entry = text.find("idx1") + 8; entry < text.size(); entry += kIndexEntryBytes) {
    StoreLittleEndian32(contents, entry + 4, 0);
  }
  Store("b.avi", contents);
  Do("copy a.avi -o x.avi --from 6 --to 7 -q");
  Do("copy b.avi -o y.avi --from 6 --to 7 -q");
  EXPECT_EQ(StreamBytes(In("y.avi"), 0), StreamBytes(In("x.avi"), 0));
  EXPECT_TRUE(Contains(Do("verify y.avi"), "Nothing is wrong."));
  EXPECT_TRUE(Contains(Run("verify b.avi").output,
                       "the index does not mark 10 frames as the key frames that they are\n"));
}

TEST_F(Commands, CopyRescuesAFileWhoseWriterWasKilled) {
  RecordClip("a", 10);
  Bytes contents = Contents("a.avi");
  const std::string text(contents.begin(), contents.end());
  // No index, sizes as at the start, and the last frame's chunk breaks off.
  contents.resize(text.rfind("00dc", text.find("idx1")) + 100);
  StoreLittleEndian32(contents, 4, 0);
  StoreLittleEndian32(contents, text.find("movi") - 4, 4);
  Store("broken.avi", contents);
  const Outcome outcome = Run("copy broken.avi -o b.avi");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_TRUE(outcome.errors.starts_with(In("broken.avi") + " breaks off inside frame 10: the last "
                                                            "92 of "))
      << outcome.errors;
  EXPECT_TRUE(Contains(Do("verify b.avi"), "Nothing is wrong."));
  EXPECT_EQ(AviReader(In("b.avi")).FrameCount(), 9U);
  EXPECT_EQ(Run("verify broken.avi").code, static_cast<int>(ExitCode::kDamage));
  // All of the sound was written before the frame.
  EXPECT_EQ(StreamBytes(In("b.avi"), 1), StreamBytes(In("a.avi"), 1));
  // The headers were never written either.
  std::fill_n(contents.begin(), text.find("movi") + 4, std::uint8_t{0});
  Store("headless.avi", contents);
  ExpectFailure("copy headless.avi -o c.avi", ExitCode::kInput, "is not an AVI");
  EXPECT_EQ(Run("copy headless.avi -o c.avi --like a.avi").code, 0);
  EXPECT_EQ(Contents("c.avi"), Contents("b.avi"));
  const Outcome needless = Run("copy a.avi -o c.avi --like a.avi");
  EXPECT_EQ(needless.code, 0);
  EXPECT_TRUE(Contains(needless.errors, "has headers of its own")) << needless.errors;
}

TEST_F(Commands, CopyTakesTheHeadersThatItLacks) {
  RecordClip("a", 10);
  const Bytes contents = Contents("a.avi");
  const std::string text(contents.begin(), contents.end());
  Bytes noSound = contents;
  noSound[text.find("strl", text.find("strl") + 1) - 8] = 'X';
  Store("b.avi", noSound);
  const Outcome without = Run("copy b.avi -o x.avi --keep-going");
  EXPECT_EQ(without.code, 8);
  EXPECT_TRUE(Contains(without.errors, " of stream 2 left out, which has no headers"))
      << without.errors;
  EXPECT_TRUE(Contains(Run("verify b.avi").output, "  stream 2, of which there are "));
  const Outcome lent = Run("copy b.avi -o x.avi --like a.avi --keep-going");
  EXPECT_EQ(lent.code, 0);
  EXPECT_EQ(lent.errors,
            In("b.avi") + ": the headers of stream 2 are those of " + In("a.avi") + '\n');
  EXPECT_EQ(StreamBytes(In("x.avi"), 1), StreamBytes(In("a.avi"), 1));
  // Headers of a file without sound leave the sound without.
  Do("record a.y4m -o silent.avi -q");
  Bytes headless = contents;
  std::fill_n(headless.begin(), text.find("movi") + 4, std::uint8_t{0});
  Store("c.avi", headless);
  EXPECT_EQ(Run("copy c.avi -o x.avi --like silent.avi --keep-going").code, 8);
  // And such of other pictures are none for these frames.
  StoreY4m(In("d.y4m"), {{PixelFormat::kYuy2, 80, 48}, {25, 1}, FieldOrder::kTopFirst},
           TestPictures({PixelFormat::kYuy2, 80, 48}, 1));
  Do("record d.y4m -o d.avi -q");
  ExpectFailure("copy c.avi -o y.avi --like d.avi", ExitCode::kInput,
                "has frames of 64x48, the headers of " + In("d.avi") + " are for 80x48");
  Do("play a.avi -o plain.avi --format yuy2 -q");
  ExpectFailure("copy c.avi -o y.avi --like plain.avi", ExitCode::kInput,
                "has no frame of the code YUY2");
  EXPECT_FALSE(Exists("y.avi"));
}

TEST_F(Commands, WhatIsPassedOverIsTold) {
  RecordClip("a", 10);
  Bytes contents = Contents("a.avi");
  const AviReader whole(In("a.avi"));
  // No index; zeros over frame 4, and over the code of the last one.
  const std::uint64_t hole = whole.Frame(3).position - 8;
  const std::uint64_t last = whole.Frame(9).position - 8;
  std::fill_n(contents.begin() + static_cast<std::ptrdiff_t>(hole), whole.Frame(3).bytes + 8,
              std::uint8_t{0});
  std::fill_n(contents.begin() + static_cast<std::ptrdiff_t>(last), 4, std::uint8_t{0});
  const std::string text(contents.begin(), contents.end());
  contents.resize(text.rfind("idx1"));
  Store("b.avi", contents);
  const std::string lost =
      Concat(In("b.avi"), ": ", PaddedBytes(whole.Frame(3).bytes + 8), " bytes at byte ", hole,
             ", behind frame 3, are left out: no chunk begins there\n", In("b.avi"), ": ",
             PaddedBytes(whole.Frame(9).bytes + 8), " bytes at byte ", last,
             ", behind frame 8, are left out: no chunk begins there\n", In("b.avi"),
             ": behind what is left out, streams may be out of step with each other\n");
  for (const char* const line : {"copy b.avi -o x.avi", "play b.avi -o x.avi",
                                 "record b.avi -o x.avi", "export b.avi -o x.m2v --sound x.wav"}) {
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.code, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, lost) << line;
    const Outcome goneOn = Run(std::string(line) + " --keep-going");
    EXPECT_EQ(goneOn.code, 8) << line;
    EXPECT_TRUE(Contains(goneOn.errors, ": 2 places of " + In("b.avi") + " are lost\n"))
        << goneOn.errors;
  }
}

TEST_F(Commands, VerifyListsWhatIsWrong) {
  RecordClip("a", 10);
  EXPECT_TRUE(Contains(Do("verify a.avi --json"), "\"defects\": 0"));
  DamageFrame("a.avi", 3);
  DamageFrame("a.avi", 7);
  const Outcome outcome = Run("verify a.avi");
  EXPECT_EQ(outcome.code, 8);
  EXPECT_TRUE(Contains(outcome.output, "  frame 4 (00:00:00.120), at byte ")) << outcome.output;
  EXPECT_TRUE(Contains(outcome.output, ": is damaged in row 3: ")) << outcome.output;
  EXPECT_TRUE(Contains(outcome.output, "  frame 8 (00:00:00.280), at byte ")) << outcome.output;
  EXPECT_EQ(outcome.errors, "vfwtool verify: " + In("a.avi") + " has 2 defects\n");
  const std::string json = Run("verify a.avi --json").output;
  for (const char* const member :
       {"\"defects\": 2", "\"frame\": 4", "\"time\": \"00:00:00.280\"", "\"offset\": "}) {
    EXPECT_TRUE(Contains(json, member)) << json;
  }
}

TEST_F(Commands, DamagedFramesEndTheWorkOrAreReplaced) {
  RecordClip("a", 6);
  Do("play a.avi -o whole.raw --raw --format yuy2 --sound s.wav -q");
  DamageFrame("a.avi", 2);
  for (const char* const line :
       {"play a.avi -o x.raw --raw --format yuy2 --sound x.wav",
        "export a.avi -o x.m2v --sound x.wav", "compare a.avi a.avi", "record a.avi -o x.avi"}) {
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.code, 3) << line;
    EXPECT_TRUE(Contains(outcome.errors, ": frame 3 (00:00:00.080), at byte ")) << outcome.errors;
    EXPECT_TRUE(Contains(outcome.errors, "; --keep-going goes on behind it")) << outcome.errors;
  }
  EXPECT_EQ(Contents("x.raw").size(), 2 * kLayout.FrameBytes());
  EXPECT_EQ(AviReader(In("x.avi")).FrameCount(), 2U);

  const std::size_t frameBytes = kLayout.FrameBytes();
  const Outcome played =
      Run("play a.avi -o x.raw --raw --format yuy2 --sound x.wav --keep-going --json");
  EXPECT_EQ(played.code, 8);
  EXPECT_TRUE(Contains(played.errors, ": frame 3 (00:00:00.080), at byte ")) << played.errors;
  EXPECT_TRUE(Contains(played.errors, "vfwtool play: 1 frame of " + In("a.avi") + " is damaged\n"));
  EXPECT_TRUE(Contains(played.output, "\"damagedFrames\": 1")) << played.output;
  Bytes expected = Contents("whole.raw");
  std::copy_n(expected.begin() + static_cast<std::ptrdiff_t>(frameBytes), frameBytes,
              expected.begin() + static_cast<std::ptrdiff_t>(2 * frameBytes));
  EXPECT_EQ(Contents("x.raw"), expected);
  EXPECT_EQ(Contents("x.wav"), Contents("a.wav"));

  EXPECT_EQ(Run("export a.avi -o x.m2v --sound x.wav --keep-going").code, 8);
  Do("import x.m2v -o y.avi -q");
  const AviReader exported(In("y.avi"));
  ASSERT_EQ(exported.FrameCount(), 6U);
  EXPECT_EQ(LoadStream(exported, 0)[2], LoadStream(exported, 0)[1]);

  EXPECT_EQ(Run("compare a.avi a.avi --keep-going").code, 8);

  // By itself copying does not look into frames.
  Do("copy a.avi -o x.avi -q");
  EXPECT_EQ(StreamBytes(In("x.avi"), 0), StreamBytes(In("a.avi"), 0));
  EXPECT_EQ(Run("copy a.avi -o x.avi --keep-going").code, 8);
  const AviReader copied(In("x.avi"));
  EXPECT_EQ(copied.FrameCount(), 6U);
  EXPECT_EQ(copied.Frame(2).bytes, 0U);
  EXPECT_EQ(StreamBytes(In("x.avi"), 1), StreamBytes(In("a.avi"), 1));
  EXPECT_TRUE(Contains(Do("verify x.avi"), "Nothing is wrong."));
}

TEST_F(Commands, WithoutAPictureBeforeThemDamagedFramesAreBlack) {
  RecordClip("a", 3);
  DamageFrame("a.avi", 0);
  EXPECT_EQ(Run("play a.avi -o x.raw --raw --format yuy2 --keep-going").code, 8);
  const Bytes pictures = Contents("x.raw");
  EXPECT_EQ(pictures[0], 16);
  EXPECT_EQ(pictures[1], 128);
  EXPECT_EQ(pictures.size(), 3 * kLayout.FrameBytes());
}

}  // namespace
}  // namespace vfwtool
