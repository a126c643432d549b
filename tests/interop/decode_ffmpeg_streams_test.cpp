// Streams that ffmpeg encodes decode to what ffmpeg's own decoder makes of them. The two may round
// differently: no sample differs by more than 2.

#include <algorithm>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

#include "mpeg2/start_codes.h"
#include "tests/interop/codec_runs.h"
#include "tests/interop/elementary_stream.h"
#include "tests/interop/ffmpeg.h"
#include "tests/interop/sample_difference.h"
#include "tests/interop/stream_statistics.h"
#include "tests/interop/stream_units.h"

namespace qivm::interop {

namespace {

constexpr int kLargestDifference = 2;
constexpr int kFrames = 3;
constexpr Size kCif = {352, 288};

// Two fields of different time, so that both values of dct_type are worth their bits.
const std::string kInterlaced = "testsrc2=size=SIZE:rate=50,tinterlace=mode=interleave_top";
const std::string kProgressive = "testsrc2=size=SIZE:rate=25";
const std::string kFractal = "mandelbrot=size=SIZE:rate=25:start_scale=0.2";
const std::string kNoise = "color=gray:size=SIZE:rate=25,noise=alls=100:allf=t+u";
const std::string kNoisy = "testsrc2=size=SIZE:rate=25,noise=alls=12:allf=t";

const Arguments kInterlacedOptions = {"-flags", "+ildct+ilme"};

/// A constant quantiser_scale_code for all macroblocks.
Arguments Quantiser(int code) {
  return {"-q:v", std::to_string(code), "-qmin", "1", "-qmax", std::to_string(std::max(code, 2))};
}

/// What ffmpeg makes of a stream, picture after picture.
std::vector<Bytes> DecodePicturesWithFfmpeg(const std::vector<Bytes>& frames, Size size) {
  const Bytes planar = DecodeWithFfmpeg(JoinFrames(frames)).data;
  const auto picture = static_cast<std::ptrdiff_t>(2 * size.Samples());
  std::vector<Bytes> pictures;
  for (auto at = planar.begin(); planar.end() - at >= picture; at += picture) {
    pictures.emplace_back(at, at + picture);
  }
  EXPECT_EQ(planar.size(), pictures.size() * static_cast<std::size_t>(picture));
  return pictures;
}

/// Decodes the frames on all processors and compares with ffmpeg's pictures.
void ExpectPictures(const std::vector<Bytes>& frames, const std::vector<Bytes>& expected,
                    Size size) {
  ASSERT_FALSE(frames.empty());
  ASSERT_EQ(frames.size(), expected.size());
  const std::vector<Bytes> first = DecodeToYuy2(frames, size, ProcessorsToTest().front());
  int largest = 0;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const SampleDifference difference = Compare(first[i], expected[i], size);
    EXPECT_LE(difference.largest, kLargestDifference) << "frame " << i << ", " << difference.place;
    largest = std::max(largest, difference.largest);
  }
  for (const Processor& processor : ProcessorsToTest()) {
    EXPECT_TRUE(DecodeToYuy2(frames, size, processor) == first)
        << "tier " << static_cast<int>(processor.tier) << " with " << processor.count
        << " processors decodes otherwise";
  }
  std::cout << "largest difference: " << largest << "\n";
}

void ExpectSamePictures(const std::vector<Bytes>& frames, Size size) {
  ExpectPictures(frames, DecodePicturesWithFfmpeg(frames, size), size);
}

std::vector<Bytes> EncodeFramesWithFfmpeg(const std::string& graph, Size size,
                                          const Arguments& options) {
  std::vector<Bytes> frames =
      SplitFrames(EncodeWithFfmpeg(GraphOfSize(graph, size), kFrames, options));
  EXPECT_EQ(frames.size(), std::size_t{kFrames});
  return frames;
}

// Every combination of the picture level settings.

struct Settings {
  bool nonLinear;
  bool alternateScan;
  bool interlaced;
  int dcBits;
};

class PictureSettings : public testing::TestWithParam<Settings> {};

std::string SettingsName(const testing::TestParamInfo<Settings>& info) {
  const Settings& settings = info.param;
  return std::string(settings.nonLinear ? "NonLinear" : "Linear") +
         (settings.alternateScan ? "Alternate" : "Zigzag") +
         (settings.interlaced ? "Interlaced" : "Progressive") + std::to_string(settings.dcBits) +
         "Bits";
}

std::vector<Settings> AllSettings() {
  constexpr int kCombinations = 32;
  std::vector<Settings> all;
  all.reserve(kCombinations);
  for (int i = 0; i < kCombinations; ++i) {
    all.push_back({(i & 1) != 0, (i & 2) != 0, (i & 4) != 0, 8 + i / 8});
  }
  return all;
}

TEST_P(PictureSettings, DecodeAsFfmpegDoes) {
  const Settings& settings = GetParam();
  Arguments options = Quantiser(4) + Arguments{"-dc", std::to_string(settings.dcBits)};
  if (settings.nonLinear) {
    options = options + Arguments{"-non_linear_quant", "1"};
  }
  if (settings.alternateScan) {
    options = options + Arguments{"-alternate_scan", "1"};
  }
  if (settings.interlaced) {
    options = options + kInterlacedOptions;
  }
  const std::vector<Bytes> frames =
      EncodeFramesWithFfmpeg(settings.interlaced ? kInterlaced : kNoisy, kCif, options);

  const StreamStatistics statistics = StatisticsOf(frames);
  EXPECT_EQ(statistics.picture.qScaleType, settings.nonLinear ? 1 : 0);
  EXPECT_EQ(statistics.picture.alternateScan, settings.alternateScan ? 1 : 0);
  // ffmpeg takes alternate scan for a sign of interlaced pictures.
  EXPECT_EQ(statistics.picture.framePredFrameDct,
            settings.interlaced || settings.alternateScan ? 0 : 1);
  EXPECT_EQ(statistics.picture.intraDcPrecision, settings.dcBits - 8);
  EXPECT_EQ(statistics.picture.intraVlcFormat, 1);
  EXPECT_EQ(statistics.macroblocks, kFrames * 22 * 18);
  if (settings.interlaced) {
    EXPECT_GT(statistics.fieldDct, statistics.macroblocks / 20);
    EXPECT_LT(statistics.fieldDct, statistics.macroblocks);
  } else {
    EXPECT_EQ(statistics.fieldDct, 0);
  }
  ExpectSamePictures(frames, kCif);
}

INSTANTIATE_TEST_SUITE_P(Interop, PictureSettings, testing::ValuesIn(AllSettings()), SettingsName);

// As ffmpeg does not write it; read so, the picture is another one, but the same for both decoders.
TEST(DecodeFfmpegStreams, AlternateScanOfProgressivePictures) {
  std::vector<Bytes> frames = EncodeFramesWithFfmpeg(kNoisy, kCif, Quantiser(6));
  for (Bytes& frame : frames) {
    SetAlternateScan(frame);
  }
  const StreamStatistics statistics = StatisticsOf(frames);
  EXPECT_EQ(statistics.picture.framePredFrameDct, 1);
  EXPECT_EQ(statistics.picture.alternateScan, 1);
  ExpectSamePictures(frames, kCif);
}

// Picture sizes, one macroblock row and one column among them.

class PictureSize : public testing::TestWithParam<Size> {};

std::string SizeName(const testing::TestParamInfo<Size>& info) {
  return std::to_string(info.param.width) + "x" + std::to_string(info.param.height);
}

TEST_P(PictureSize, DecodeAsFfmpegDoes) {
  const Size size = GetParam();
  ExpectSamePictures(EncodeFramesWithFfmpeg(kNoisy, size, Quantiser(2)), size);
  ExpectSamePictures(EncodeFramesWithFfmpeg(
                         kInterlaced, size,
                         Quantiser(3) + kInterlacedOptions + Arguments{"-non_linear_quant", "1"}),
                     size);
}

INSTANTIATE_TEST_SUITE_P(Interop, PictureSize,
                         testing::Values(Size{16, 16}, Size{48, 16}, Size{16, 80}, Size{64, 48},
                                         Size{176, 144}, Size{720, 480}, Size{720, 576},
                                         Size{1920, 1088}, Size{2048, 2048}),
                         SizeName);

// Quantiser scales, from noise that needs the longest codes and escapes to flat blocks.

struct Quantisation {
  bool nonLinear;
  int code;
};

class QuantiserCode : public testing::TestWithParam<Quantisation> {};

std::string QuantisationName(const testing::TestParamInfo<Quantisation>& info) {
  return (info.param.nonLinear ? "NonLinear" : "Linear") + std::to_string(info.param.code);
}

TEST_P(QuantiserCode, DecodesAsFfmpegDoes) {
  const Quantisation& quantisation = GetParam();
  Arguments options = Quantiser(quantisation.code);
  if (quantisation.nonLinear) {
    options = options + Arguments{"-non_linear_quant", "1"};
  }
  const std::vector<Bytes> frames = EncodeFramesWithFfmpeg(kNoise, kCif, options);
  EXPECT_EQ(StatisticsOf(frames).quantiserCodes, std::set<int>{quantisation.code});
  ExpectSamePictures(frames, kCif);
  ExpectSamePictures(EncodeFramesWithFfmpeg(kFractal, kCif, options), kCif);
}

INSTANTIATE_TEST_SUITE_P(Interop, QuantiserCode,
                         testing::Values(Quantisation{false, 1}, Quantisation{false, 2},
                                         Quantisation{false, 8}, Quantisation{false, 15},
                                         Quantisation{false, 17}, Quantisation{false, 31},
                                         Quantisation{true, 1}, Quantisation{true, 5},
                                         Quantisation{true, 9}, Quantisation{true, 16},
                                         Quantisation{true, 21}, Quantisation{true, 28}),
                         QuantisationName);

TEST(DecodeFfmpegStreams, FinestQuantiserUsesEscapes) {
  const std::vector<Bytes> frames = EncodeFramesWithFfmpeg(kNoise, kCif, Quantiser(1));
  constexpr int kLargestLevelWithCode = 40;
  EXPECT_GT(StatisticsOf(frames).largestLevel, kLargestLevelWithCode);
  ExpectSamePictures(frames, kCif);
}

// Code 16 of the linear scale is 22 for this codec and 32 for all others. So its streams look right
// to the others when they are told 11, whose scale is 22.
TEST(DecodeFfmpegStreams, LinearCode16CountsAs11) {
  const std::vector<Bytes> frames = EncodeFramesWithFfmpeg(kNoisy, kCif, Quantiser(16));
  std::vector<Bytes> withCode11 = frames;
  for (Bytes& frame : withCode11) {
    ReplaceSliceQuantiserCodes(frame, 16, 11);
  }
  ExpectPictures(frames, DecodePicturesWithFfmpeg(withCode11, kCif), kCif);
}

// Macroblocks with a quantiser_scale_code of their own.

class MacroblockQuantiser : public testing::TestWithParam<Arguments> {};

TEST_P(MacroblockQuantiser, DecodesAsFfmpegDoes) {
  // ffmpeg adapts the quantiser only under rate control. Up to 15: linear code 16 is another story.
  const Arguments adaptive = {"-b:v",       "30M", "-qmin",      "1",   "-qmax",       "15",
                              "-lumi_mask", "0.4", "-dark_mask", "0.4", "-scplx_mask", "0.5"};
  constexpr Size kSize = {720, 576};
  const std::vector<Bytes> frames =
      EncodeFramesWithFfmpeg(kInterlaced, kSize, adaptive + GetParam());
  const StreamStatistics statistics = StatisticsOf(frames);
  EXPECT_GT(statistics.quantiserChanges, statistics.macroblocks / 10);
  EXPECT_GE(statistics.quantiserCodes.size(), 4U);
  EXPECT_FALSE(statistics.picture.qScaleType == 0 && statistics.quantiserCodes.contains(16));
  ExpectSamePictures(frames, kSize);
}

INSTANTIATE_TEST_SUITE_P(
    Interop, MacroblockQuantiser,
    testing::Values(Arguments{}, kInterlacedOptions, Arguments{"-non_linear_quant", "1"},
                    Arguments{"-non_linear_quant", "1", "-alternate_scan", "1", "-dc", "10"} +
                        kInterlacedOptions));

// Headers that the codec has to pass over.

TEST(DecodeFfmpegStreams, UserDataOfTheEncoder) {
  const std::vector<Bytes> frames =
      EncodeFramesWithFfmpeg(kProgressive, kCif, Quantiser(3) + Arguments{"-scan_offset", "1"});
  for (const Bytes& frame : frames) {
    EXPECT_EQ(CountUnits(frame, mpeg2::kUserDataStartCode), 1);
  }
  ExpectSamePictures(frames, kCif);
}

TEST(DecodeFfmpegStreams, MatricesInTheSequenceHeader) {
  std::string matrix;
  for (const char* row :
       {"8,16,19,22,26,27,29,34,", "16,16,22,24,27,29,34,37,", "19,22,26,27,29,34,34,38,",
        "22,22,26,27,29,34,37,40,", "22,26,27,29,32,35,40,48,", "26,27,29,32,35,40,48,58,",
        "26,27,29,34,38,46,56,69,", "27,29,35,38,46,56,69,83"}) {
    matrix += row;
  }
  const std::vector<Bytes> plain = EncodeFramesWithFfmpeg(kProgressive, kCif, Quantiser(3));
  const std::vector<Bytes> frames =
      EncodeFramesWithFfmpeg(kProgressive, kCif, Quantiser(3) + Arguments{"-intra_matrix", matrix});
  EXPECT_EQ(frames.front().size(), plain.front().size() + 64);
  ExpectSamePictures(frames, kCif);
}

TEST(DecodeFfmpegStreams, SequenceDisplayExtensionOfABitstreamFilter) {
  const Arguments filter = {
      "-bsf:v", "mpeg2_metadata=display_aspect_ratio=16/9:video_format=1:colour_primaries=5"};
  const std::vector<Bytes> frames =
      EncodeFramesWithFfmpeg(kInterlaced, kCif, Quantiser(3) + kInterlacedOptions + filter);
  for (const Bytes& frame : frames) {
    // Those of the sequence and of the picture, and the filter's.
    EXPECT_EQ(CountUnits(frame, mpeg2::kExtensionStartCode), 3);
  }
  ExpectSamePictures(frames, kCif);
}

TEST(DecodeFfmpegStreams, UserDataInEveryPlace) {
  std::vector<Bytes> frames =
      EncodeFramesWithFfmpeg(kInterlaced, kCif, Quantiser(3) + kInterlacedOptions);
  for (Bytes& frame : frames) {
    InsertUnits(frame, HeaderPlace::afterSequenceExtension, UserData("of the sequence"));
    InsertUnits(frame, HeaderPlace::afterGroup, UserData("of the group"));
    InsertUnits(frame, HeaderPlace::afterPictureCodingExtension, UserData("of the picture, odd"));
  }
  ExpectSamePictures(frames, kCif);
}

TEST(DecodeFfmpegStreams, ManyExtensions) {
  std::vector<Bytes> interlaced =
      EncodeFramesWithFfmpeg(kInterlaced, kCif, Quantiser(3) + kInterlacedOptions);
  std::vector<Bytes> progressive = EncodeFramesWithFfmpeg(kFractal, kCif, Quantiser(3));
  auto insert = [](Bytes& frame, int centreOffsets) {
    // Each goes in front of those inserted before.
    const HeaderPlace picture = HeaderPlace::afterPictureCodingExtension;
    InsertUnits(frame, picture, UserData("behind them"));
    InsertUnits(frame, picture, CopyrightExtension());
    InsertUnits(frame, picture, PictureDisplayExtension(centreOffsets));
    InsertUnits(frame, picture, DefaultQuantMatrixExtension());
    InsertUnits(frame, HeaderPlace::afterGroup, UserData("group"));
    InsertUnits(frame, HeaderPlace::afterSequenceExtension, UserData(""));
    InsertUnits(frame, HeaderPlace::afterSequenceExtension, SequenceDisplayExtension({320, 240}));
  };
  for (Bytes& frame : interlaced) {
    insert(frame, 2);
  }
  for (Bytes& frame : progressive) {
    insert(frame, 1);
  }
  ExpectSamePictures(interlaced, kCif);
  ExpectSamePictures(progressive, kCif);
}

}  // namespace

}  // namespace qivm::interop
