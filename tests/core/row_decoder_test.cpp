// Input that goes away between the index and the rows: what the frame leaves does not depend on the
// number of threads, it ends, and nothing of it is left in the decoders.

#include "decoder/row_decoder.h"

#include <gtest/gtest.h>

#include "decoder/header_parser.h"
#include "tests/core/codec_runs.h"
#include "tests/core/random_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/model_codec.h"

namespace qivm::test {

namespace {

constexpr ClientFormat kFormat = ClientFormat::yuy2;

/// The rows of a frame, decoded by as many threads as are asked for.
class Rows {
 public:
  Rows(std::span<const std::uint8_t> stream, const ModelPicture& picture, unsigned threads)
      : width_(picture.width), height_(picture.height), converter_(kernels_) {
    HeaderParser headers;
    EXPECT_TRUE(headers.ParsePictureHeaders(stream));
    frame_.parameters = headers.Parameters();
    crew_.Start(threads);
    frame_.index.Find(stream, headers.EndOfHeaders(), picture.Rows(), kernels_.findStartCode,
                      crew_);
    for (unsigned seat = 0; seat < crew_.Seats(); ++seat) {
      decoders_.emplace_back(new RowDecoder(kernels_));
    }
  }

  Bytes Decode(bool& sound) {
    Bytes bitmap = Background(kFormat, width_, height_);
    EXPECT_TRUE(converter_.Init(UncompressedHeader(kFormat, width_, height_), &frame_.parameters));
    converter_.SetBuffer(bitmap.data());
    constexpr RowCrew::Work kDecodeRows = [](void* self, RowCrew::Seat& seat) {
      auto& rows = *static_cast<Rows*>(self);
      rows.decoders_[seat.Number()]->DecodeRows(rows.frame_, rows.converter_, seat);
    };
    sound = crew_.Run(frame_.parameters.MbRows(), kDecodeRows, this);
    return bitmap;
  }

 private:
  FrameRows frame_;
  RowCrew crew_;
  int width_;
  int height_;
  KernelSet kernels_ = KernelsFor(KernelTier::plain);
  PackedYuvOutputConverter converter_;
  std::vector<std::unique_ptr<RowDecoder>> decoders_;
};

TEST(RowDecoder, InputThatGoesAway) {
  Random random(51);
  const ModelPicture picture = RandomPicture(random, 8, 12);
  const Bytes stream = StreamOf(picture);
  Bytes expected = Background(kFormat, picture.width, picture.height);
  ModelDecode(picture, kFormat, picture.width, picture.height, expected);
  GuardedBuffer input(stream);
  const std::size_t pages = (stream.size() + GuardedBuffer::kPage - 1) / GuardedBuffer::kPage;
  ASSERT_GE(pages, 4U);
  for (std::size_t missing = 0; missing < pages; ++missing) {
    Bytes alone;
    for (const unsigned threads : {1U, 2U, 3U, 8U}) {
      Rows rows(input.Bytes(), picture, threads);
      bool sound = true;
      input.ProtectPage(missing, GuardedBuffer::Access::none);
      const Bytes bitmap = rows.Decode(sound);
      input.Protect(GuardedBuffer::Access::readWrite);
      EXPECT_FALSE(sound);
      alone = threads == 1 ? bitmap : alone;
      EXPECT_TRUE(bitmap == alone) << threads << " threads, page " << missing;
      EXPECT_TRUE(rows.Decode(sound) == expected) << threads << " threads, page " << missing;
      EXPECT_TRUE(sound);
    }
  }
}

}  // namespace

}  // namespace qivm::test
