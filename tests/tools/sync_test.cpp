// Sound stays with the pictures, whatever the moments at which the streams of a file begin.

#include <gtest/gtest.h>
#include <string>

#include "tests/tools/commands_fixture.h"

namespace vfwtool {
namespace {

constexpr std::size_t kFrameSamples = 1920;

class Sync : public Commands {
 protected:
  /// A copy of a clip in which a field of a stream's header has another value.
  void Change(const std::string& from, const std::string& to, std::size_t stream, StreamField field,
              std::uint32_t value) const {
    Bytes contents = Contents(from);
    const std::string text(contents.begin(), contents.end());
    std::size_t position = text.find("strh");
    for (std::size_t i = 0; i < stream; ++i) {
      position = text.find("strh", position + 4);
    }
    StoreLittleEndian32(contents, position + 8 + static_cast<std::size_t>(field), value);
    Store(to, contents);
  }

  /// That many samples of the sound of a clip, from one of them on.
  Bytes Samples(const std::string& name, std::size_t from, std::size_t count) const {
    const Bytes sound = StreamBytes(In(name), 1);
    EXPECT_GE(sound.size(), 4 * (from + count));
    return {sound.begin() + static_cast<std::ptrdiff_t>(4 * from),
            sound.begin() + static_cast<std::ptrdiff_t>(4 * (from + count))};
  }

  std::uint32_t StartOf(const std::string& name, std::size_t stream) const {
    return AviReader(In(name)).Headers().streams[stream].Field(StreamField::kStart);
  }

  /// The samples of a WAV file.
  Bytes SamplesOfWav(const std::string& name) const {
    WavPackets packets(In(name));
    Bytes samples;
    PacketSource::Packet packet;
    while (packets.NextBegin()) {
      packets.Read(packet);
      AppendBytes(samples, packet.bytes);
    }
    return samples;
  }
};

TEST_F(Sync, CopyCutsSoundWhereTheLateVideoIsCut) {
  RecordClip("a", 20);
  Change("a.avi", "late.avi", 0, StreamField::kStart, 5);
  Do("copy late.avi -o all.avi -q");
  EXPECT_EQ(StartOf("all.avi", 0), 5U);
  EXPECT_EQ(StreamBytes(In("all.avi"), 1), StreamBytes(In("a.avi"), 1));
  // The video lasts from frame 5 of the sound on.
  Do("copy late.avi -o begin.avi --to 10 -q");
  EXPECT_EQ(StartOf("begin.avi", 0), 5U);
  EXPECT_EQ(StreamBytes(In("begin.avi"), 1), Samples("a.avi", 0, 15 * kFrameSamples));
  Do("copy late.avi -o middle.avi --from 6 --to 10 -q");
  EXPECT_EQ(StartOf("middle.avi", 0), 0U);
  EXPECT_EQ(StreamBytes(In("middle.avi"), 1),
            Samples("a.avi", 10 * kFrameSamples, 5 * kFrameSamples));
}

TEST_F(Sync, CopyJoinsLateVideoToLateVideo) {
  RecordClip("a", 20);
  Change("a.avi", "late.avi", 0, StreamField::kStart, 5);
  Do("copy late.avi late.avi -o b.avi -q");
  // Sound for 20 frames, of which 5 precede the video; silence to its end; and the second part from
  // where its video begins.
  Bytes expected = StreamBytes(In("a.avi"), 1);
  expected.resize(4 * 25 * kFrameSamples);
  AppendBytes(expected, Samples("a.avi", 5 * kFrameSamples, 15 * kFrameSamples + 100));
  EXPECT_EQ(StreamBytes(In("b.avi"), 1), expected);
}

TEST_F(Sync, CopyTellsHowFarSoundThatCannotBeFilledUpIsOff) {
  {
    AviWriter writer(In("a.avi"),
                     {.streams = {SampleVideo(), SampleVbr()}, .others = {}, .lists = {}});
    for (std::size_t i = 0; i < 30; ++i) {
      writer.Write(0, SampleBytes(20, i), true);
    }
    for (std::size_t i = 0; i < 10; ++i) {
      writer.Write(1, SampleBytes(100, i), true);
    }
    writer.Finish();
  }
  // The video lasts as long as 38 packets.
  const Outcome outcome = Run("copy a.avi a.avi a.avi -o b.avi -q");
  EXPECT_EQ(outcome.code, 0);
  const std::string place =
      In("a.avi") + ": from the join on, sound stream 1 (MP3, 44100 Hz, 2 channels) is ";
  const std::string reason = ", for only PCM is cut to the sample and filled up with silence\n";
  EXPECT_EQ(outcome.errors, place + "0.731 s early" + reason + place + "1.489 s early" + reason);
  EXPECT_EQ(Run("copy a.avi -o b.avi -q").errors, "");
}

TEST_F(Sync, CopyNamesStreamsThatItCannotCut) {
  RecordClip("a", 10);
  Change("a.avi", "rate.avi", 1, StreamField::kRate, 0);
  Change("a.avi", "text.avi", 1, StreamField::kType, "txts"_fourcc);
  for (const char* const cut : {" --from 3", " --to 5"}) {
    EXPECT_EQ(Run(std::string("copy a.avi -o x.avi -q") + cut).errors, "");
    EXPECT_EQ(Run(std::string("copy rate.avi -o x.avi -q") + cut).errors,
              In("rate.avi") +
                  ": sound stream 1 (PCM, 48000 Hz, 2 channels, 16 bits) states no rate; it is not "
                  "cut\n");
    EXPECT_EQ(StreamBytes(In("x.avi"), 1), StreamBytes(In("a.avi"), 1));
    EXPECT_EQ(Run(std::string("copy text.avi -o x.avi -q") + cut).errors,
              In("text.avi") +
                  ": stream 2 (txts) is cut by the number of its packets, for they do not say when "
                  "they are due\n");
  }
  for (const char* const name : {"rate.avi", "text.avi"}) {
    EXPECT_EQ(Run(std::string("copy ") + name + " -o x.avi -q").errors, "");
  }
}

TEST_F(Sync, RecordAndPlayKeepTheMomentsOfAllStreams) {
  RecordClip("a", 6);
  Change("a.avi", "x.avi", 0, StreamField::kStart, 5);
  Change("x.avi", "late.avi", 1, StreamField::kStart, 700);
  Do("play late.avi -o plain.avi --format yuy2 -q");
  Do("record plain.avi -o again.avi -q");
  for (const char* const name : {"plain.avi", "again.avi"}) {
    EXPECT_EQ(StartOf(name, 0), 5U) << name;
    EXPECT_EQ(StartOf(name, 1), 700U) << name;
  }
  Do("record a.y4m -o silent.avi -q");
  Change("silent.avi", "late.avi", 0, StreamField::kStart, 5);
  Do("record late.avi -o again.avi --sound a.wav -q");
  EXPECT_EQ(StartOf("again.avi", 0), 5U);
  EXPECT_EQ(StartOf("again.avi", 1), 5 * kFrameSamples);
}

TEST_F(Sync, WavFilesBeginWithTheVideo) {
  RecordClip("a", 20);
  const Bytes sound = StreamBytes(In("a.avi"), 1);
  Change("a.avi", "sound.avi", 1, StreamField::kStart, 700);
  Do("play sound.avi -o x.y4m --sound x.wav -q");
  Bytes expected(4 * 700);
  AppendBytes(expected, sound);
  EXPECT_EQ(SamplesOfWav("x.wav"), expected);
  Do("export sound.avi -o x.m2v --sound y.wav -q");
  EXPECT_EQ(Contents("y.wav"), Contents("x.wav"));
  Change("a.avi", "video.avi", 0, StreamField::kStart, 5);
  Do("play video.avi -o x.y4m --sound x.wav -q");
  EXPECT_EQ(SamplesOfWav("x.wav"), Samples("a.avi", 5 * kFrameSamples, 15 * kFrameSamples + 100));
}

TEST_F(Sync, CompareTellsOfAnotherMomentOrRate) {
  RecordClip("a", 6);
  const auto sound = [&](std::size_t stream, StreamField field, std::uint32_t value) {
    Change("a.avi", "b.avi", stream, field, value);
    const std::string report = Do("compare a.avi b.avi");
    const std::size_t begin = report.find("  sound       ");
    return report.substr(begin, report.find('\n', begin) - begin);
  };
  EXPECT_EQ(sound(1, StreamField::kStart, 24000),
            "  sound       stream 1 begins 00:00:00.500 later in the second clip");
  EXPECT_EQ(sound(0, StreamField::kStart, 25),
            "  sound       stream 1 begins 00:00:01.000 earlier in the second clip");
  EXPECT_EQ(sound(1, StreamField::kRate, 24000),
            "  sound       stream 1 has the rate 48000 in the first clip and 24000 in the second");
  EXPECT_EQ(sound(1, StreamField::kRate, 48000),
            "  sound       the same, byte for byte (1 stream)");
}

TEST_F(Sync, SoundWithoutARateIsWrittenAsItIs) {
  RecordClip("a", 5);
  for (const StreamField field : {StreamField::kRate, StreamField::kScale}) {
    Change("a.avi", "b.avi", 1, field, 0);
    Do("play b.avi -o x.y4m --sound x.wav -q");
    EXPECT_EQ(SamplesOfWav("x.wav"), StreamBytes(In("a.avi"), 1));
  }
}

}  // namespace
}  // namespace vfwtool
