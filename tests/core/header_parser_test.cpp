#include "decoder/header_parser.h"

#include <functional>
#include <gtest/gtest.h>

#include "tests/support/guarded_buffer.h"
#include "tests/support/model_stream.h"

namespace qivm::test {

namespace {

ModelPicture SmallPicture() {
  ModelPicture picture;
  picture.width = 720;
  picture.height = 576;
  return picture;
}

/// A parser, fed with headers.
class HeaderParserTest : public testing::Test {
 protected:
  /// Parses the headers and expects that there is a slice behind them.
  void Parse(const BitString& headers) {
    BitString stream = headers;
    stream.PutStartCode(0x101).Put(0, 64);
    ASSERT_TRUE(parser_.ParsePictureHeaders(stream.Bytes()));
  }
  void Parse(const ModelPicture& picture) {
    BitString headers;
    PutHeaders(headers, picture);
    Parse(headers);
  }
  const PictureParameters& Parameters() const { return parser_.Parameters(); }

  HeaderParser parser_;
};

TEST_F(HeaderParserTest, TheCodecsOwnHeaders) {
  Parse(SmallPicture());
  EXPECT_EQ(parser_.EndOfHeaders(), 116U);
  EXPECT_EQ(Parameters().width, 720);
  EXPECT_EQ(Parameters().height, 576);
  EXPECT_EQ(Parameters().frameRate, 25U);
  EXPECT_EQ(Parameters().chromaFormat, 2);
  EXPECT_EQ(Parameters().intraDcPrecision, 3);
  EXPECT_EQ(Parameters().pictureStructure, 3);
  EXPECT_EQ(Parameters().framePredFrameDct, 0);
  EXPECT_EQ(Parameters().qScaleType, 1);
  EXPECT_EQ(Parameters().intraVlcFormat, 1);
  EXPECT_EQ(Parameters().alternateScan, 0);
  EXPECT_EQ(Parameters().DcReset(), 1024);
  EXPECT_EQ(Parameters().MbPerRow(), 45);
  EXPECT_EQ(Parameters().MbRows(), 36);
}

TEST_F(HeaderParserTest, LastPartialColumnIsLost) {
  ModelPicture picture = SmallPicture();
  picture.width = 728;
  picture.height = 488;
  Parse(picture);
  EXPECT_EQ(Parameters().width, 728);
  EXPECT_EQ(Parameters().MbPerRow(), 45);
  EXPECT_EQ(Parameters().MbRows(), 30);
}

TEST_F(HeaderParserTest, SizesBeyondTwelveBits) {
  ModelPicture picture = SmallPicture();
  picture.width = 0x2345;
  picture.height = 0x3ABC;
  Parse(picture);
  EXPECT_EQ(Parameters().width, 0x2345);
  EXPECT_EQ(Parameters().height, 0x3ABC);
}

TEST_F(HeaderParserTest, FrameRateCodes) {
  constexpr std::array<std::uint32_t, 16> kRates = {0,  23, 24, 25, 29, 30, 50, 59,
                                                    60, 0,  0,  0,  0,  0,  0,  0};
  for (unsigned code = 0; code < 16; ++code) {
    BitString headers;
    headers.PutStartCode(0x1B3).Put(720, 12).Put(576, 12).Put(2, 4).Put(code, 4);
    headers.Put(1, 18).Put(1, 1).Put(0, 13);
    Parse(headers);
    EXPECT_EQ(Parameters().frameRate, kRates[code]) << code;
  }
}

TEST_F(HeaderParserTest, ChromaFormats) {
  for (int format = 0; format < 4; ++format) {
    ModelPicture picture = SmallPicture();
    picture.chromaFormat = format;
    Parse(picture);
    EXPECT_EQ(Parameters().chromaFormat, format);
  }
}

TEST_F(HeaderParserTest, PictureCodingExtensionFields) {
  for (unsigned bits = 0; bits < 256; ++bits) {
    ModelPicture picture = SmallPicture();
    picture.intraDcPrecision = static_cast<int>(bits & 3);
    picture.pictureStructure = static_cast<int>(bits >> 2 & 3);
    picture.framePredFrameDct = static_cast<int>(bits >> 4 & 1);
    picture.qScaleType = static_cast<int>(bits >> 5 & 1);
    picture.intraVlcFormat = static_cast<int>(bits >> 6 & 1);
    picture.alternateScan = static_cast<int>(bits >> 7 & 1);
    Parse(picture);
    EXPECT_EQ(Parameters().intraDcPrecision, picture.intraDcPrecision);
    EXPECT_EQ(Parameters().pictureStructure, picture.pictureStructure);
    EXPECT_EQ(Parameters().framePredFrameDct, picture.framePredFrameDct);
    EXPECT_EQ(Parameters().qScaleType, picture.qScaleType);
    EXPECT_EQ(Parameters().intraVlcFormat, picture.intraVlcFormat);
    EXPECT_EQ(Parameters().alternateScan, picture.alternateScan);
    EXPECT_EQ(Parameters().DcReset(), picture.DcReset());
  }
}

TEST_F(HeaderParserTest, ExtensionsBehindTheSequenceExtensionAreSkipped) {
  BitString headers;
  PutSequenceHeader(headers, SmallPicture());
  PutSequenceExtension(headers, SmallPicture());
  for (unsigned identifier = 0; identifier < 16; ++identifier) {
    headers.PutStartCode(0x1B5).Put(identifier, 4).Put(0x5A5A5A5A5A, 40);
  }
  PutUserData(headers);
  PutGroupHeader(headers);
  PutUserData(headers);
  PutPictureHeader(headers);
  PutPictureCodingExtension(headers, SmallPicture());
  Parse(headers);
  EXPECT_EQ(Parameters().intraDcPrecision, 3);
  EXPECT_EQ(Parameters().chromaFormat, 2);
}

TEST_F(HeaderParserTest, ExtensionsBehindThePictureCodingExtension) {
  for (unsigned identifier = 0; identifier < 16; ++identifier) {
    BitString headers;
    PutHeaders(headers, SmallPicture());
    headers.PutStartCode(0x1B5).Put(identifier, 4).Put(0xFFFFFFFFFF, 40);
    PutUserData(headers);
    Parse(headers);
    EXPECT_EQ(Parameters().intraDcPrecision, 3);
    EXPECT_EQ(Parameters().alternateScan, 0);
  }
}

// Only intra pictures are coded by this codec's kind of stream; what a header says does not matter.
TEST_F(HeaderParserTest, PictureCodingTypeIsNotLookedAt) {
  for (int type = 0; type < 8; ++type) {
    BitString headers;
    PutSequenceHeader(headers, SmallPicture());
    PutSequenceExtension(headers, SmallPicture());
    PutPictureHeader(headers, type);
    PutPictureCodingExtension(headers, SmallPicture());
    Parse(headers);
    EXPECT_EQ(Parameters().intraDcPrecision, 3) << type;
  }
}

TEST_F(HeaderParserTest, GroupHeaderAndUserDataMayBeMissing) {
  BitString headers;
  PutSequenceHeader(headers, SmallPicture());
  PutSequenceExtension(headers, SmallPicture());
  PutPictureHeader(headers);
  PutPictureCodingExtension(headers, SmallPicture());
  Parse(headers);
  EXPECT_EQ(Parameters().qScaleType, 1);
}

// One user data is passed over before the group header and one behind it; without a group header
// these two may follow each other.
TEST_F(HeaderParserTest, TwoUserDataWithoutAGroupHeader) {
  BitString headers;
  PutSequenceHeader(headers, SmallPicture());
  PutSequenceExtension(headers, SmallPicture());
  PutUserData(headers);
  PutUserData(headers);
  PutPictureHeader(headers);
  PutPictureCodingExtension(headers, SmallPicture());
  Parse(headers);
  EXPECT_EQ(Parameters().intraDcPrecision, 3);
  EXPECT_EQ(Parameters().framePredFrameDct, 0);
}

// The second of two user data stands where the group header is due. It is passed over there, so
// that the group header is taken for the picture header and that for the picture coding extension.
TEST_F(HeaderParserTest, TwoUserDataBeforeAGroupHeader) {
  BitString headers;
  PutSequenceHeader(headers, SmallPicture());
  PutSequenceExtension(headers, SmallPicture());
  PutUserData(headers);
  PutUserData(headers);
  PutGroupHeader(headers);
  PutPictureHeader(headers);
  ModelPicture ignored = SmallPicture();
  ignored.alternateScan = 1;
  PutPictureCodingExtension(headers, ignored);
  Parse(headers);
  // temporal_reference 0, type 1, vbv_delay 0xFFFF where the extension's fields are due.
  EXPECT_EQ(Parameters().intraDcPrecision, 3);
  EXPECT_EQ(Parameters().pictureStructure, 3);
  EXPECT_EQ(Parameters().framePredFrameDct, 1);
  EXPECT_EQ(Parameters().qScaleType, 1);
  EXPECT_EQ(Parameters().intraVlcFormat, 1);
  EXPECT_EQ(Parameters().alternateScan, 0);
}

TEST_F(HeaderParserTest, StartCodesOnTrust) {
  // Any start code does where the sequence header, the picture header and the picture coding
  // extension are due.
  BitString headers;
  headers.PutStartCode(0x142).Put(352, 12).Put(288, 12).Put(2, 4).Put(5, 4);
  headers.Put(1000, 18).Put(1, 1).Put(0, 13);
  PutSequenceExtension(headers, SmallPicture());
  headers.PutStartCode(0x177).Put(0, 10).Put(4, 3).Put(0xFFFF, 16).Put(0, 1);
  headers.PutStartCode(0x1FF).Put(7, 4).Put(0xFFFF, 16).Put(1, 2).Put(3, 2).Put(0, 12);
  Parse(headers);
  EXPECT_EQ(Parameters().frameRate, 30U);
  EXPECT_EQ(Parameters().intraDcPrecision, 1);
  EXPECT_EQ(Parameters().intraVlcFormat, 0);
}

TEST_F(HeaderParserTest, BytesBeforeTheSequenceHeaderAreSkipped) {
  const Bytes junk = {0xFF, 0x00, 0x00, 0x02, 0x00};
  BitString headers;
  headers.PutBytes(junk).PutStartCode(0x1B3, 1).Put(720, 12).Put(576, 12).Put(2, 4).Put(3, 4);
  headers.Put(125000, 18).Put(1, 1).Put(0, 13);
  Parse(headers);
  EXPECT_EQ(Parameters().width, 720);
}

TEST_F(HeaderParserTest, WithoutASequenceExtensionTheFrameBeforeCounts) {
  ModelPicture before = SmallPicture();
  before.chromaFormat = 1;
  before.intraDcPrecision = 2;
  before.alternateScan = 1;
  before.qScaleType = 0;
  Parse(before);
  ModelPicture now = SmallPicture();
  now.width = 352;
  now.height = 288;
  BitString headers;
  PutSequenceHeader(headers, now);
  PutPictureHeader(headers, 2);
  PutPictureCodingExtension(headers, now);
  Parse(headers);
  EXPECT_EQ(Parameters().width, 352);
  EXPECT_EQ(Parameters().height, 288);
  EXPECT_EQ(Parameters().chromaFormat, 1);
  EXPECT_EQ(Parameters().intraDcPrecision, 2);
  EXPECT_EQ(Parameters().DcReset(), 512);
  EXPECT_EQ(Parameters().alternateScan, 1);
  EXPECT_EQ(Parameters().qScaleType, 0);
}

TEST_F(HeaderParserTest, QuantiserMatricesAreSkipped) {
  BitString headers;
  headers.PutStartCode(0x1B3).Put(720, 12).Put(576, 12).Put(2, 4).Put(3, 4);
  headers.Put(125000, 18).Put(1, 1).Put(373, 10).Put(0, 1).Put(1, 1);
  for (unsigned i = 0; i < 64; ++i) {
    headers.Put(200 - i, 8);
  }
  headers.Put(1, 1);
  for (unsigned i = 0; i < 64; ++i) {
    headers.Put(100 + i, 8);
  }
  PutSequenceExtension(headers, SmallPicture());
  PutPictureHeader(headers);
  PutPictureCodingExtension(headers, SmallPicture());
  Parse(headers);
  EXPECT_EQ(Parameters().chromaFormat, 2);
  EXPECT_EQ(Parameters().qScaleType, 1);
}

// Cut anywhere before the first slice's start code, a frame has no slice to offer, and no byte
// behind its end is looked at. Cut inside the start code of the sequence extension, it is one
// without that extension.
TEST_F(HeaderParserTest, EveryTruncation) {
  BitString headers;
  PutHeaders(headers, SmallPicture());
  headers.PutStartCode(0x101).Put(0, 32);
  const Bytes whole = headers.Bytes();
  const std::size_t sliceOffset = whole.size() - 8;
  constexpr std::size_t kInExtensionStartCode = 12 + 3;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const GuardedBuffer frame(std::span<const std::uint8_t>(whole).first(size));
    HeaderParser parser;
    EXPECT_EQ(parser.ParsePictureHeaders(frame.Bytes()),
              size >= sliceOffset + 3 || size == kInExtensionStartCode)
        << size;
  }
}

}  // namespace

}  // namespace qivm::test
