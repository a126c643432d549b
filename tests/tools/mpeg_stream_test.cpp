// Units, headers and frames of MPEG-2 streams that are put together here byte by byte.

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "mpeg2/quantiser.h"
#include "mpeg2/scan.h"
#include "tests/tools/temporary_file.h"
#include "tests/tools/tool_errors.h"
#include "tools/vfwtool/media/mpeg.h"

namespace vfwtool {
namespace {

namespace mpeg2 = qivm::mpeg2;

/// Bits, most significant first, behind a start code.
class Unit {
 public:
  explicit Unit(std::uint32_t startCode) : bytes_(StartCode(startCode)) {}

  Unit& Put(std::uint32_t value, unsigned bits) {
    for (unsigned bit = bits; bit-- > 0;) {
      if (used_ % 8 == 0) {
        bytes_.push_back(0);
      }
      bytes_.back() =
          static_cast<std::uint8_t>(bytes_.back() | (value >> bit & 1U) << (7 - used_ % 8));
      ++used_;
    }
    return *this;
  }
  operator Bytes() const { return bytes_; }  // NOLINT: units are bytes in the lists below.

 private:
  Bytes bytes_;
  unsigned used_ = 0;
};

Bytes Join(const std::vector<Bytes>& units) {
  Bytes bytes;
  for (const Bytes& unit : units) {
    bytes.insert(bytes.end(), unit.begin(), unit.end());
  }
  return bytes;
}

/// What a stream of the tests has; the defaults are what the codec takes.
struct Settings {
  std::uint32_t width = 48;
  std::uint32_t height = 32;
  std::uint32_t chroma = 2;
  std::uint32_t rateCode = 3;
  std::uint32_t codingType = 1;
  std::uint32_t structure = 3;
  std::uint32_t nonLinear = 1;
  std::uint32_t vlcFormat = 1;
  std::uint32_t quantiser = 5;
  std::uint32_t firstIncrement = 1;
};

Unit SequenceHeader(const Settings& s) {
  return Unit(mpeg2::kSequenceHeaderCode)
      .Put(s.width & 0xFFF, 12)
      .Put(s.height & 0xFFF, 12)
      .Put(2, 4)
      .Put(s.rateCode, 4)
      .Put(1000, 18)
      .Put(1, 1)
      .Put(100, 10)
      .Put(0, 1);
}

Bytes Sequence(const Settings& s) { return SequenceHeader(s).Put(0, 2); }

Bytes SequenceExtension(const Settings& s) {
  return Unit(mpeg2::kExtensionStartCode)
      .Put(1, 4)
      .Put(0x85, 8)
      .Put(0, 1)
      .Put(s.chroma, 2)
      .Put(s.width >> 12, 2)
      .Put(s.height >> 12, 2)
      .Put(0, 12)
      .Put(1, 1)
      .Put(0, 9)
      .Put(0, 2)
      .Put(0, 5);
}

Bytes Picture(const Settings& s) {
  return Unit(mpeg2::kPictureStartCode).Put(0, 10).Put(s.codingType, 3).Put(0xFFFF, 16).Put(0, 1);
}

Bytes PictureExtension(const Settings& s) {
  return Unit(mpeg2::kExtensionStartCode)
      .Put(8, 4)
      .Put(0xFFFF, 16)
      .Put(3, 2)
      .Put(s.structure, 2)
      .Put(1, 1)
      .Put(0, 2)
      .Put(s.nonLinear, 1)
      .Put(s.vlcFormat, 1)
      .Put(0, 5);
}

Bytes Slice(const Settings& s, std::uint32_t row, std::uint32_t increment = 1) {
  return Unit(mpeg2::kFirstSliceStartCode + row)
      .Put(s.quantiser, 5)
      .Put(0, 1)
      .Put(increment, 1)
      .Put(0x155, 9);
}

Bytes Slices(const Settings& s) { return Join({Slice(s, 0, s.firstIncrement), Slice(s, 1)}); }

Bytes Frame(const Settings& s) {
  return Join({Sequence(s), SequenceExtension(s), Picture(s), PictureExtension(s), Slices(s)});
}

Bytes UserData(char letter) {
  return Join({StartCode(mpeg2::kUserDataStartCode), Bytes(5, static_cast<std::uint8_t>(letter))});
}

const Bytes kSequenceEnd = StartCode(mpeg2::kSequenceEndCode);

TEST(MpegUnits, AreFoundWithTheirStuffing) {
  const Bytes stream = {9, 0, 0, 1, 0xB3, 7, 0, 0, 0, 1, 0x00, 0, 0, 1};
  const std::vector<MpegUnit> units = FindUnits(stream);
  ASSERT_EQ(units.size(), 2U);
  EXPECT_EQ(units[0].startCode, mpeg2::kSequenceHeaderCode);
  EXPECT_EQ(units[0].begin, 1U);
  EXPECT_EQ(units[0].end, 7U);
  EXPECT_EQ(units[1].startCode, mpeg2::kPictureStartCode);
  EXPECT_EQ(units[1].end, stream.size());
}

TEST(MpegUnits, BitsBehindTheEndAreZero) {
  const Bytes unit = {0, 0, 1, 0xB5, 0xA5, 0xFF};
  EXPECT_EQ(UnitBits(unit, 0, 4), 0xAU);
  EXPECT_EQ(UnitBits(unit, 3, 6), 0x0BU);
  EXPECT_EQ(UnitBits(unit, 12, 8), 0xF0U);
}

TEST(MpegUnits, SliceHeadersHaveThreeForms) {
  EXPECT_EQ(SliceHeaderBits(Bytes(Unit(1).Put(5, 5).Put(0, 1))), 6U);
  EXPECT_EQ(SliceHeaderBits(Bytes(Unit(1).Put(5, 5).Put(1, 1).Put(0, 9))), 15U);
  EXPECT_EQ(SliceHeaderBits(Bytes(
                Unit(1).Put(5, 5).Put(1, 1).Put(0, 8).Put(1, 1).Put(0xFF, 8).Put(1, 1).Put(0, 9))),
            33U);
}

TEST(MpegHeaders, AreRead) {
  const MpegHeaders headers = ReadMpegHeaders(Frame({.width = 4096 + 48, .quantiser = 7}));
  EXPECT_TRUE(headers.hasSequence);
  EXPECT_TRUE(headers.isMpeg2);
  EXPECT_EQ(headers.width, 4144U);
  EXPECT_EQ(headers.height, 32U);
  EXPECT_EQ(headers.rate, (FrameRate{25, 1}));
  EXPECT_EQ(headers.ChromaText(), "4:2:2");
  EXPECT_EQ(headers.pictures, 1U);
  EXPECT_TRUE(headers.areAllIntra);
  EXPECT_EQ(headers.structure, 3U);
  EXPECT_EQ(headers.dcBits, 11U);
  EXPECT_TRUE(headers.usesTableB15);
  EXPECT_TRUE(headers.isNonLinear);
  EXPECT_FALSE(headers.isAlternateScan);
  EXPECT_TRUE(headers.isTopFieldFirst);
  EXPECT_EQ(headers.slices, 2U);
  EXPECT_EQ(headers.smallestQuantiser, 7U);
  EXPECT_EQ(headers.largestQuantiser, 7U);
  EXPECT_EQ(WhyNotDecodable(ReadMpegHeaders(Frame({}))), std::nullopt);
}

TEST(MpegHeaders, KnowTheDefaultMatrix) {
  Unit defaults = SequenceHeader({}).Put(1, 1);
  for (const std::uint8_t position : mpeg2::kZigzagScan) {
    defaults.Put(mpeg2::kDefaultIntraMatrix[position], 8);
  }
  EXPECT_FALSE(ReadMpegHeaders(Bytes(defaults)).hasOwnMatrix);
  Bytes other = defaults;
  other.back() ^= 2;  // The last bit is the next element's.
  EXPECT_TRUE(ReadMpegHeaders(other).hasOwnMatrix);
  // The fourth matrix of an extension is no intra matrix.
  Unit extension = Unit(mpeg2::kExtensionStartCode).Put(3, 4).Put(0, 3).Put(1, 1);
  for (int i = 0; i < 64; ++i) {
    extension.Put(99, 8);
  }
  EXPECT_FALSE(ReadMpegHeaders(Bytes(extension)).hasOwnMatrix);
  Unit chroma = Unit(mpeg2::kExtensionStartCode).Put(3, 4).Put(0, 2).Put(1, 1);
  for (int i = 0; i < 64; ++i) {
    chroma.Put(99, 8);
  }
  EXPECT_TRUE(ReadMpegHeaders(Bytes(chroma)).hasOwnMatrix);
}

TEST(MpegHeaders, RatesHaveCodes) {
  for (std::uint32_t code = 1; code <= 8; ++code) {
    EXPECT_EQ(CodeOfRate(RateOfCode(code)), code);
  }
  EXPECT_EQ(CodeOfRate({50, 2}), 3U);
  EXPECT_EQ(CodeOfRate({15, 1}), 0U);
  EXPECT_EQ(RateOfCode(0).numerator, 0U);
  EXPECT_EQ(RateOfCode(15).numerator, 0U);
}

TEST(MpegExport, SetsOneBit) {
  const Bytes before = Frame({.firstIncrement = 0});
  Bytes after = before;
  EXPECT_TRUE(MakeStandard(after));
  EXPECT_EQ(after, Frame({.firstIncrement = 1}));
  EXPECT_TRUE(MakeStandard(after));
  EXPECT_EQ(after, Frame({.firstIncrement = 1}));
  // With intra_slice_flag the bit is bit 15 behind the start code.
  Bytes longer = Join({Sequence({}), Unit(1).Put(5, 5).Put(3, 2).Put(0, 13)});
  const Bytes unset = longer;
  EXPECT_TRUE(MakeStandard(longer));
  EXPECT_EQ(longer[longer.size() - 2], unset[unset.size() - 2] | 1);
}

/// What the exporter makes of frames.
Bytes Exported(const std::vector<Bytes>& frames, std::optional<std::uint32_t> rateCode = {}) {
  const TemporaryFile file(".m2v");
  Output output(file.Name());
  MpegExporter exporter(output, rateCode);
  for (const Bytes& frame : frames) {
    exporter.Write(frame);
  }
  exporter.Finish();
  // Which does nothing more.
  EXPECT_EQ(exporter.FinishEarly(), frames.size());
  return file.Contents();
}

TEST(MpegExport, EndsTheStreamOnce) {
  EXPECT_EQ(Exported({Frame({})}), Join({Frame({}), kSequenceEnd}));
  EXPECT_EQ(Exported({Join({Frame({}), kSequenceEnd})}), Join({Frame({}), kSequenceEnd}));
}

TEST(MpegExport, AnEmptyFrameRepeatsAnother) {
  const Bytes first = Join({Frame({}), kSequenceEnd});
  const Bytes second = Join({Frame({.quantiser = 9}), kSequenceEnd});
  EXPECT_EQ(Exported({first, {}, second}), Join({first, first, second}));
  // Before the first one it stands for that.
  EXPECT_EQ(Exported({{}, {}, first, second}), Join({first, first, first, second}));
}

TEST(MpegExport, StatesAnotherRate) {
  EXPECT_EQ(Exported({Frame({})}, CodeOfRate({30000, 1001})),
            Join({Frame({.rateCode = 4}), kSequenceEnd}));
}

TEST(MpegExport, RefusesOtherFrames) {
  const TemporaryFile file(".m2v");
  Output output(file.Name());
  MpegExporter exporter(output, std::nullopt);
  exporter.Write(Frame({}));
  for (const Bytes& frame :
       {Bytes(20, 1), Sequence({}), Join({Picture({}), PictureExtension({}), Slices({})}),
        Join({Sequence({}), StartCode(1)})}) {
    EXPECT_TRUE(MessageOf(ExitCode::kInput, [&] {
                  exporter.Write(frame);
                }).starts_with("frame 2 is no MPEG-2 picture with a sequence header"));
  }
  EXPECT_EQ(exporter.FinishEarly(), 1U);
  EXPECT_EQ(file.Contents(), Join({Frame({}), kSequenceEnd}));
}

TEST(MpegExport, EndsTheStreamBehindTheLastWholeFrame) {
  const TemporaryFile file(".m2v");
  {
    Output output(file.Name());
    MpegExporter exporter(output, std::nullopt);
    exporter.Write(Frame({}));
    // As much of the next frame as the disk had room for.
    output.Write("a good deal of a frame");
    EXPECT_EQ(exporter.FinishEarly(), 1U);
  }
  EXPECT_EQ(file.Contents(), Join({Frame({}), kSequenceEnd}));
  {
    Output output(file.Name());
    MpegExporter exporter(output, std::nullopt);
    output.Write("a good deal of a frame");
    EXPECT_EQ(exporter.FinishEarly(), 0U);
  }
  EXPECT_FALSE(file.Exists());
}

std::vector<Bytes> ImportedFrames(const Bytes& bytes) {
  std::istringstream stream(std::string(bytes.begin(), bytes.end()));
  MpegFrameReader reader(stream, "in");
  std::vector<Bytes> frames;
  for (Bytes frame; reader.Next(frame);) {
    frames.push_back(frame);
  }
  return frames;
}

TEST(MpegImport, SplitsAtPicturesAndRepeatsSequenceHeaders) {
  const Settings other = {.rateCode = 5};
  const Bytes group = Unit(mpeg2::kGroupStartCode).Put(1, 27);
  const Bytes picture = Join({Picture({}), PictureExtension({}), Slices({})});
  const std::vector<Bytes> frames =
      ImportedFrames(Join({Sequence({}), SequenceExtension({}), group, picture, picture,
                           kSequenceEnd, Sequence(other), SequenceExtension(other), picture}));
  ASSERT_EQ(frames.size(), 3U);
  EXPECT_EQ(frames[0], Join({Sequence({}), SequenceExtension({}), group, picture, kSequenceEnd}));
  EXPECT_EQ(frames[1], Join({Sequence({}), SequenceExtension({}), picture, kSequenceEnd}));
  EXPECT_EQ(frames[2], Join({Sequence(other), SequenceExtension(other), picture, kSequenceEnd}));
}

TEST(MpegImport, PutsExtensionsBeforeTheOneUserData) {
  const Bytes display = Unit(mpeg2::kExtensionStartCode).Put(2, 4).Put(0xABC, 12);
  const std::vector<Bytes> frames = ImportedFrames(
      Join({Bytes(3), Sequence({}), SequenceExtension({}), UserData('a'), display, UserData('b'),
            Picture({}), PictureExtension({}), UserData('c'), UserData('d'), Slices({})}));
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(frames[0],
            Join({Sequence({}), SequenceExtension({}), display, UserData('a'), Picture({}),
                  PictureExtension({}), UserData('c'), Slices({}), kSequenceEnd}));
}

TEST(MpegImport, FindsStartCodesAcrossReads) {
  // Slices of all sizes around the 64 KiB that are read at once.
  for (std::size_t padding = 65400; padding < 65560; ++padding) {
    const Bytes large = Join({Slice({}, 0), Bytes(padding, 3), Slice({}, 1)});
    const Bytes first =
        Join({Sequence({}), SequenceExtension({}), Picture({}), PictureExtension({}), large});
    const std::vector<Bytes> frames = ImportedFrames(Join({first, Frame({})}));
    ASSERT_EQ(frames.size(), 2U) << padding;
    EXPECT_EQ(frames[0], Join({first, kSequenceEnd})) << padding;
    EXPECT_EQ(frames[1], Join({Frame({}), kSequenceEnd})) << padding;
  }
}

TEST(MpegImport, AStreamMayBreakOffInsideAStartCode) {
  const Bytes prefix = {0, 0, 1};
  const std::vector<Bytes> frames = ImportedFrames(Join({Frame({}), prefix}));
  ASSERT_EQ(frames.size(), 1U);
  EXPECT_EQ(frames[0], Join({Frame({}), kSequenceEnd}));
}

TEST(MpegImport, RefusesOtherStreams) {
  const auto message = [](const Bytes& bytes) {
    return MessageOf(ExitCode::kInput, [&] { ImportedFrames(bytes); });
  };
  EXPECT_EQ(message({}), "in: is empty");
  EXPECT_TRUE(message(Bytes(1000, 0x47)).starts_with("in: is no MPEG video elementary stream."));
  EXPECT_TRUE(message(Join({StartCode(0xBA), Frame({})}))
                  .starts_with("in: is an MPEG program stream, not a video elementary stream."));
  EXPECT_TRUE(Contains(message(Join({Picture({}), PictureExtension({}), Slices({})})),
                       "before the first sequence and picture headers"));
  EXPECT_TRUE(ImportedFrames(Sequence({})).empty());
}

TEST(MpegImport, TellsWhatTheCodecDoesNotDecode) {
  struct Case {
    Bytes frame;
    const char* message;
  };
  const Bytes own = Join({SequenceHeader({}).Put(1, 1).Put(0, 32), SequenceExtension({}),
                          Picture({}), PictureExtension({}), Slices({})});
  const Bytes scalable = Join({Sequence({}), SequenceExtension({}),
                               Unit(mpeg2::kExtensionStartCode).Put(5, 4).Put(0, 12), Picture({}),
                               PictureExtension({}), Slices({})});
  const Bytes head = Join({Sequence({}), SequenceExtension({}), Picture({}), PictureExtension({})});
  const std::vector<Case> cases = {
      {Join({Sequence({}), Picture({}), Slices({})}), "is MPEG-1"},
      {Frame({.codingType = 2}), "is no intra picture"},
      {Frame({.chroma = 1}), "is 4:2:0; the codec decodes 4:2:2"},
      {Frame({.chroma = 3}), "is 4:4:4"},
      {Frame({.vlcFormat = 0}), "has intra_vlc_format 0"},
      {Frame({.structure = 1}), "is a pair of field pictures"},
      {Frame({.width = 40}), "is 40x32; the codec decodes"},
      {Frame({.height = 2816}), "heights up to 2800"},
      {Frame({.nonLinear = 0, .quantiser = 16}), "uses quantiser_scale_code 16 of the linear"},
      {own, "brings a quantiser matrix of its own"},
      {scalable, "is part of a scalable stream"},
      {Join({head, Slice({}, 0)}), "is not made of one slice"},
      {Join({head, Slice({}, 0), Slice({}, 0), Slice({}, 1)}), "is not made of one slice"},
      {Join({head, Slice({}, 0), Slice({}, 1, 0)}), "is not made of one slice"},
  };
  for (const Case& entry : cases) {
    const std::optional<std::string> why = WhyNotDecodable(ReadMpegHeaders(entry.frame));
    ASSERT_TRUE(why.has_value()) << entry.message;
    EXPECT_TRUE(Contains(*why, entry.message)) << *why;
  }
  EXPECT_EQ(WhyNotDecodable(ReadMpegHeaders(Frame({.quantiser = 16}))), std::nullopt);
  EXPECT_EQ(WhyNotDecodable(ReadMpegHeaders(Frame({.firstIncrement = 0}))), std::nullopt);
}

TEST(MpegImport, HeadersThatAreTooLargeAreRefused) {
  // A sequence that grows with every picture: a small stream would become a large file.
  const Bytes stream =
      Join({Sequence({}), SequenceExtension({}), UserData('a'), Bytes(70000, 9), Frame({})});
  EXPECT_EQ(MessageOf(ExitCode::kInput, [&] { ImportedFrames(stream); }),
            "in: the headers of a picture take more than 65536 bytes");
}

}  // namespace
}  // namespace vfwtool
