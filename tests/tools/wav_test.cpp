#include "tools/vfwtool/media/wav.h"

#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>

#include "tests/tools/avi_samples.h"
#include "tests/tools/tool_errors.h"

namespace vfwtool {
namespace {

std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

std::string Number(std::uint64_t value, std::size_t bytes = 4) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> 8 * i);
  }
  return text;
}

std::string Chunk(const std::string& code, const std::string& contents) {
  return code + Number(contents.size()) + contents + std::string(contents.size() % 2, '\0');
}

/// A WAV file of that sound, with what stands between its header and the data.
std::string Wav(const std::string& data, const std::string& between = "") {
  return "RIFF" + Number(0) + "WAVE" + between + Chunk("fmt ", Text(SamplePcm().format)) +
         Chunk("data", data);
}

std::unique_ptr<WavPackets> Open(const std::string& text) {
  return std::make_unique<WavPackets>(std::make_unique<std::istringstream>(text), text.size(),
                                      "sound");
}

std::string Read(const std::string& text) {
  const std::unique_ptr<WavPackets> packets = Open(text);
  std::string samples;
  PacketSource::Packet packet;
  while (packets->NextBegin()) {
    packets->Read(packet);
    samples += Text(packet.bytes);
  }
  return samples;
}

const std::string kData = Text(SampleBytes(40000, 1));

TEST(WavPackets, HaveTheSoundOfTheFile) {
  const std::unique_ptr<WavPackets> packets = Open(Wav(kData, Chunk("LIST", "INFOabc")));
  EXPECT_EQ(packets->Headers().format, SamplePcm().format);
  EXPECT_EQ(packets->Headers().Rate(), (FrameRate{48000, 1}));
  EXPECT_EQ(packets->Headers().Field(StreamField::kSampleSize), 4U);
  EXPECT_EQ(packets->NextBegin(), 0U);
  PacketSource::Packet packet;
  packets->Read(packet);
  EXPECT_EQ(packet.bytes.size(), 4 * 6000U);
  EXPECT_EQ(packets->NextBegin(), 6000U);
  packets->Read(packet);
  EXPECT_EQ(packet.bytes.size(), 4 * 4000U);
  EXPECT_FALSE(packets->NextBegin().has_value());
  EXPECT_EQ(Read(Wav(kData)), kData);
}

TEST(WavPackets, EndWithTheLastWholeBlock) {
  EXPECT_EQ(Read(Wav(kData + "abc")), kData);
  const std::string wav = Wav(kData);
  EXPECT_EQ(Read(wav.substr(0, wav.size() - 5)), kData.substr(0, kData.size() - 8));
}

TEST(WavPackets, ReachToTheEndWhereTheSizeIsNotKnown) {
  for (const std::uint32_t stated : {0U, 0xFFFFFFFFU}) {
    std::string wav = Wav(kData);
    wav.replace(wav.find("data") + 4, 4, Number(stated));
    EXPECT_EQ(Read(wav), kData);
  }
}

TEST(WavPackets, TakeTheSizeOfRf64) {
  const std::string sizes =
      Chunk("ds64", Number(99, 8) + Number(4000, 8) + Number(1000, 8) + Number(0));
  std::string wav = Wav(kData, sizes);
  wav.replace(0, 4, "RF64");
  wav.replace(wav.find("data") + 4, 4, Number(0xFFFFFFFF));
  EXPECT_EQ(Read(wav), kData.substr(0, 4000));
}

TEST(WavPackets, RefuseWhatIsNoPcm) {
  const auto message = [](const std::string& text) {
    return MessageOf(ExitCode::kInput, [&] { Open(text); });
  };
  EXPECT_EQ(message(""), "sound: is not a WAV file");
  EXPECT_EQ(message("RIFF____AVI "), "sound: is not a WAV file");
  EXPECT_EQ(message("RIFF____WAVE"), "sound: has no sound");
  EXPECT_EQ(message("RIFF____WAVE" + Chunk("data", kData)), "sound: has no sound");
  EXPECT_EQ(
      message("RIFF____WAVE" + Chunk("fmt ", Text(SampleVbr().format)) + Chunk("data", kData)),
      "sound: has sound that is no PCM: MP3, 44100 Hz, 2 channels");
  // A block of no bytes, and a rate of no samples.
  for (const std::size_t field : {12U, 4U}) {
    std::string format = Text(SamplePcm().format);
    format.replace(field, 4, Number(0));
    EXPECT_TRUE(message("RIFF____WAVE" + Chunk("fmt ", format) + Chunk("data", kData))
                    .starts_with("sound: has sound that is no PCM"));
  }
}

TEST(WavPackets, TakeExtensibleFormats) {
  std::string format = Text(SamplePcm().format) + Number(22, 2) + Number(16, 2) + Number(3) +
                       Number(1, 2) + std::string(14, '\0');
  format.replace(0, 2, Number(0xFFFE, 2));
  const std::string wav = "RIFF____WAVE" + Chunk("fmt ", format) + Chunk("data", kData);
  EXPECT_EQ(Read(wav), kData);
  EXPECT_EQ(Text(Open(wav)->Headers().format), format);
}

TEST(WavWriter, WritesWhatIsReadBack) {
  const TemporaryFile file(".wav");
  {
    WavWriter writer(file.Name(), SamplePcm().format);
    writer.Write(SampleBytes(40000, 1));
    writer.Finish();
  }
  EXPECT_EQ(Read(file.Text()), kData);
  const Bytes contents = file.Contents();
  EXPECT_EQ(ReadLittleEndian32(contents, 4), contents.size() - 8);
  EXPECT_EQ(file.Text().substr(0, 4), "RIFF");
}

TEST(WavWriter, WorkBrokenOffLeavesAWholeFile) {
  const TemporaryFile file(".wav");
  {
    WavWriter writer(file.Name(), SamplePcm().format);
    writer.Write(SampleBytes(40000, 1));
  }
  EXPECT_EQ(Read(file.Text()), kData);
  EXPECT_EQ(ReadLittleEndian32(file.Contents(), file.PositionOf("data") + 4), 40000U);
  std::make_unique<WavWriter>(file.Name(), SamplePcm().format).reset();
  EXPECT_FALSE(file.Exists());
}

TEST(WavWriter, BecomesRf64WhereTheSizesAreTooSmall) {
  const TemporaryFile file(".wav");
  {
    WavWriter writer(file.Name(), SamplePcm().format, 40000);
    writer.Write(SampleBytes(40000, 1));
    writer.Finish();
  }
  const Bytes contents = file.Contents();
  EXPECT_EQ(ReadLittleEndian32(contents, 0), "RF64"_fourcc);
  EXPECT_EQ(ReadLittleEndian32(contents, 4), 0xFFFFFFFFU);
  EXPECT_EQ(ReadLittleEndian32(contents, 12), "ds64"_fourcc);
  EXPECT_EQ(ReadLittleEndian64(contents, 20), contents.size() - 8);
  EXPECT_EQ(ReadLittleEndian64(contents, 28), 40000U);
  EXPECT_EQ(ReadLittleEndian64(contents, 36), 10000U);
  EXPECT_EQ(ReadLittleEndian32(contents, file.PositionOf("data") + 4), 0xFFFFFFFFU);
  EXPECT_EQ(Read(file.Text()), kData);
}

}  // namespace
}  // namespace vfwtool
