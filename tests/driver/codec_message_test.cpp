#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <utility>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"

namespace qivm::test {

namespace {

using CodecMessageTest = DriverTest;

constexpr UINT kHandledMessages[] = {
    ICM_COMPRESS_GET_FORMAT,
    ICM_COMPRESS_GET_SIZE,
    ICM_COMPRESS_QUERY,
    ICM_COMPRESS_BEGIN,
    ICM_COMPRESS,
    ICM_COMPRESS_END,
    ICM_DECOMPRESS_GET_FORMAT,
    ICM_DECOMPRESS_QUERY,
    ICM_DECOMPRESS_BEGIN,
    ICM_DECOMPRESS,
    ICM_DECOMPRESS_END,
    ICM_DRAW_BEGIN,
    ICM_DRAW,
    ICM_DRAW_START,
    ICM_DRAW_STOP,
    ICM_DRAW_END,
    ICM_DRAW_FLUSH,
    ICM_DRAW_QUERY,
    ICM_DRAW_GETTIME,
    ICM_DRAW_SETTIME,
    ICM_GETBUFFERSWANTED,
    ICM_GETSTATE,
    ICM_SETSTATE,
    ICM_GETINFO,
    ICM_CONFIGURE,
    ICM_ABOUT,
    ICM_GETDEFAULTQUALITY,
    ICM_GETQUALITY,
    ICM_SETQUALITY,
};

TEST_F(CodecMessageTest, TheMessageNumbersAreThePublishedOnes) {
  constexpr UINT kNumbers[] = {
      0x4004, 0x4005, 0x4006, 0x4007, 0x4008, 0x4009, 0x400A, 0x400B, 0x400C, 0x400D,
      0x400E, 0x400F, 0x4021, 0x4012, 0x4013, 0x4015, 0x4025, 0x401F, 0x4020, 0x4023,
      0x4029, 0x5000, 0x5001, 0x5002, 0x500A, 0x500B, 0x501E, 0x501F, 0x5020,
  };
  EXPECT_TRUE(std::equal(std::begin(kHandledMessages), std::end(kHandledMessages),
                         std::begin(kNumbers), std::end(kNumbers)));
}

TEST_F(CodecMessageTest, WithoutAnInstanceNoArgumentIsLookedAt) {
  // Unreadable, so that a look would fault.
  GuardedBuffer unreadable(4096);
  unreadable.Protect(GuardedBuffer::Access::none);
  for (const UINT message : kHandledMessages) {
    for (const DWORD_PTR id : {DWORD_PTR{0}, DWORD_PTR{0xFFFFFFFF}, ~DWORD_PTR{0}}) {
      EXPECT_EQ(driver_.Send(id, message, unreadable.Data(), unreadable.Data()), ICERR_ERROR)
          << std::hex << message;
      EXPECT_EQ(driver_.Send(id, message, 0, 0), ICERR_ERROR) << std::hex << message;
    }
  }
}

TEST_F(CodecMessageTest, EveryOtherCodecMessageIsUnsupported) {
  const Instance instance(driver_);
  int unsupported = 0;
  for (UINT message = DRV_USER; message < DRV_USER + 0x2000; ++message) {
    if (std::find(std::begin(kHandledMessages), std::end(kHandledMessages), message) !=
        std::end(kHandledMessages)) {
      continue;
    }
    ++unsupported;
    EXPECT_EQ(instance.Send(message, 1, 2), ICERR_UNSUPPORTED) << std::hex << message;
    EXPECT_EQ(driver_.Send(0, message, 1, 2), ICERR_UNSUPPORTED) << std::hex << message;
  }
  EXPECT_EQ(unsupported, 0x2000 - static_cast<int>(std::size(kHandledMessages)));
  EXPECT_EQ(instance.Send(0xFFFFFFFF, 1, 2), ICERR_UNSUPPORTED);
  EXPECT_EQ(driver_.Send(0, 0x80000000, 1, 2), ICERR_UNSUPPORTED);
}

TEST_F(CodecMessageTest, DrawingIsRefused) {
  const Instance instance(driver_);
  for (const UINT message : std::initializer_list<UINT>{
           ICM_DRAW_BEGIN, ICM_DRAW, ICM_DRAW_START, ICM_DRAW_STOP, ICM_DRAW_END, ICM_DRAW_FLUSH,
           ICM_DRAW_QUERY, ICM_DRAW_GETTIME, ICM_DRAW_SETTIME, ICM_GETBUFFERSWANTED}) {
    EXPECT_EQ(instance.Send(message, 1, 2), ICERR_ERROR) << std::hex << message;
  }
}

TEST_F(CodecMessageTest, CompressChecksItsSizeBeforeItLooksForAContext) {
  const Instance instance(driver_);
  CompressCall call(Header(kRgb24, 32, 16));
  constexpr LPARAM kSize = sizeof(ICCOMPRESS);
  for (const LPARAM size : {LPARAM{0}, LPARAM{-1}, kSize - 4, kSize - 1, kSize + 1, 2 * kSize}) {
    EXPECT_EQ(instance.Send(ICM_COMPRESS, &call.request, size), ICERR_BADPARAM) << size;
  }
  EXPECT_EQ(instance.Send(ICM_COMPRESS, &call.request, kSize), ICERR_ERROR);
  ASSERT_EQ(BeginCompress(instance, call.inputHeader), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_COMPRESS, &call.request, kSize - 1), ICERR_BADPARAM);
  EXPECT_EQ(call.outputHeader.biSizeImage, 0U);
}

TEST_F(CodecMessageTest, DecompressChecksItsSizeBeforeItLooksForAContext) {
  const BITMAPINFOHEADER header = Header(kRgb24, 32, 16);
  const auto frame = CompressAlone(driver_, header, MakePicture(header));
  const Instance instance(driver_);
  DecompressCall call(header, frame);
  constexpr LPARAM kSize = sizeof(ICDECOMPRESS);
  for (const LPARAM size : {LPARAM{0}, LPARAM{-1}, kSize - 4, kSize - 1, kSize + 1, 2 * kSize}) {
    EXPECT_EQ(instance.Send(ICM_DECOMPRESS, &call.request, size), ICERR_BADPARAM) << size;
  }
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS, &call.request, kSize), ICERR_ERROR);
  ASSERT_EQ(BeginDecompress(instance, header), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS, &call.request, kSize - 1), ICERR_BADPARAM);
  const auto bytes = call.output.Bytes();
  EXPECT_TRUE(std::all_of(bytes.begin(), bytes.end(), [](auto byte) { return byte == 0; }));
}

TEST_F(CodecMessageTest, TheStructuresHaveThePublishedSizes) {
#ifdef _WIN64
  EXPECT_EQ(sizeof(ICCOMPRESS), 88U);
  EXPECT_EQ(sizeof(ICDECOMPRESS), 48U);
#else
  EXPECT_EQ(sizeof(ICCOMPRESS), 48U);
  EXPECT_EQ(sizeof(ICDECOMPRESS), 24U);
  EXPECT_EQ(sizeof(ICOPEN), 36U);
#endif
}

TEST_F(CodecMessageTest, StructuresAreReadToTheirEndsOnly) {
  const auto guarded = [](const auto& value) {
    auto buffer = std::make_unique<GuardedBuffer>(sizeof(value));
    std::memcpy(buffer->Data(), &value, sizeof(value));
    buffer->Protect(GuardedBuffer::Access::read);
    return buffer;
  };
  ICOPEN open = {};
  open.fccHandler = kQivmCode;
  const auto openBuffer = guarded(open);
  const auto id = static_cast<DWORD_PTR>(driver_.Send(0, DRV_OPEN, 0, openBuffer->Data()));
  ASSERT_NE(id, 0U);
  const BITMAPINFOHEADER header = Header(kRgb24, 64, 48);
  const auto bitmap = guarded(header);
  const auto stream = guarded(CompressedHeader(64, 48));
  EXPECT_EQ(driver_.Send(id, ICM_COMPRESS_QUERY, bitmap->Data(), stream->Data()), ICERR_OK);
  EXPECT_EQ(driver_.Send(id, ICM_DECOMPRESS_QUERY, stream->Data(), bitmap->Data()), ICERR_OK);
  EXPECT_EQ(driver_.Send(id, ICM_COMPRESS_BEGIN, bitmap->Data(), stream->Data()), ICERR_OK);
  EXPECT_EQ(driver_.Send(id, ICM_DECOMPRESS_BEGIN, stream->Data(), bitmap->Data()), ICERR_OK);

  auto picture = MakePicture(header);
  CompressCall compress(header);
  compress.request.lpInput = picture.data();
  const auto compressRequest = guarded(compress.request);
  EXPECT_EQ(driver_.Send(id, ICM_COMPRESS, compressRequest->Data(), sizeof(ICCOMPRESS)), ICERR_OK);
  EXPECT_GT(compress.outputHeader.biSizeImage, 0U);
  DecompressCall decompress(header, compress.Frame());
  const auto decompressRequest = guarded(decompress.request);
  EXPECT_EQ(driver_.Send(id, ICM_DECOMPRESS, decompressRequest->Data(), sizeof(ICDECOMPRESS)),
            ICERR_OK);
  EXPECT_GT(Psnr(header, picture, decompress.output.Bytes()), 30.0);
  EXPECT_EQ(driver_.Send(id, DRV_CLOSE), 1);
}

TEST_F(CodecMessageTest, EndIsAlwaysOk) {
  const Instance instance(driver_);
  EXPECT_EQ(instance.Send(ICM_COMPRESS_END), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS_END), ICERR_OK);
  ASSERT_EQ(BeginCompress(instance, Header(kRgb24, 32, 32)), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_COMPRESS_END), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_COMPRESS_END), ICERR_OK);
  CompressCall call(Header(kRgb24, 32, 32));
  EXPECT_EQ(call.Send(instance), ICERR_ERROR);
}

TEST_F(CodecMessageTest, BeginRefusesWhatTheQueryRefuses) {
  const Instance instance(driver_);
  const BITMAPINFOHEADER stream = CompressedHeader(720, 574);
  const BITMAPINFOHEADER bitmap = Header(kRgb24, 720, 574);
  EXPECT_EQ(instance.Send(ICM_COMPRESS_BEGIN, &bitmap, &stream), ICERR_BADFORMAT);
  EXPECT_EQ(instance.Send(ICM_COMPRESS_BEGIN, nullptr, &stream), ICERR_BADFORMAT);
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS_BEGIN, &stream, &bitmap), ICERR_BADFORMAT);
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS_BEGIN, nullptr, &bitmap), ICERR_BADPARAM);
}

TEST_F(CodecMessageTest, BeginThatTheQueryRefusesLeavesTheOpenContext) {
  const Instance instance(driver_);
  const BITMAPINFOHEADER header = Header(kRgb24, 32, 32);
  const auto picture = MakePicture(header);
  ASSERT_EQ(BeginCompress(instance, header), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, header), ICERR_OK);
  EXPECT_EQ(BeginCompress(instance, Header(kRgb24, 33, 32)), ICERR_BADFORMAT);
  EXPECT_EQ(BeginDecompress(instance, Header(kRgb24, 33, 32)), ICERR_BADFORMAT);
  Decompress(instance, header, Compress(instance, header, picture));
}

TEST_F(CodecMessageTest, BeginSizes) {
  const Instance instance(driver_);
  for (const auto& [width, height] : {std::pair{720, 480}, {2048, 2048}, {16, 16}, {2048, 16}}) {
    EXPECT_EQ(BeginCompress(instance, Header(kRgb24, width, height)), ICERR_OK)
        << width << 'x' << height;
  }
  for (const auto& [width, height] :
       {std::pair{722, 480}, {2064, 16}, {16, 2064}, {0, 16}, {16, 0}, {-16, 16}, {16, -16}}) {
    EXPECT_EQ(BeginCompress(instance, Header(kRgb24, width, height)), ICERR_BADFORMAT)
        << width << 'x' << height;
  }
  for (const auto& [width, height] : {std::pair{720, 2800}, {4096, 16}, {16, 16}}) {
    EXPECT_EQ(BeginDecompress(instance, Header(kRgb24, width, height)), ICERR_OK)
        << width << 'x' << height;
  }
  // These pass the query.
  for (const auto& [width, height] : {std::pair{0, 16}, {16, 0}, {-16, 16}, {16, -16}}) {
    EXPECT_EQ(BeginDecompress(instance, Header(kRgb24, width, height)), ICERR_ERROR)
        << width << 'x' << height;
  }
}

#ifndef _WIN64
TEST_F(CodecMessageTest, BeginRefusesWhatCannotBeAddressed) {
  const Instance instance(driver_);
  for (const auto& [width, height] : {std::pair{0x7FFFFFF0, 2800}, {0x7FFFFFF0, 16}}) {
    EXPECT_EQ(BeginDecompress(instance, Header(kRgb24, width, height)), ICERR_ERROR)
        << width << 'x' << height;
  }
}
#endif

TEST_F(CodecMessageTest, BeginWithoutAnOutputFailsAndEndsTheOpenContext) {
  const Instance instance(driver_);
  const BITMAPINFOHEADER bitmap = Header(kRgb24, 32, 32);
  const BITMAPINFOHEADER stream = CompressedHeader(32, 32);
  ASSERT_EQ(BeginCompress(instance, bitmap), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, bitmap), ICERR_OK);
  EXPECT_EQ(instance.Send(ICM_COMPRESS_BEGIN, &bitmap, nullptr), ICERR_BADFORMAT);
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS_BEGIN, &stream, nullptr), ICERR_ERROR);
  CompressCall compress(bitmap);
  EXPECT_EQ(compress.Send(instance), ICERR_ERROR);
  EXPECT_EQ(instance.Send(ICM_DECOMPRESS, nullptr, sizeof(ICDECOMPRESS)), ICERR_ERROR);
}

TEST_F(CodecMessageTest, ASecondBeginReplacesTheContext) {
  const Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, Header(kRgb24, 64, 32)), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, Header(kRgb24, 64, 32)), ICERR_OK);
  const BITMAPINFOHEADER header = Header(kYuy2, 32, 48);
  ASSERT_EQ(BeginCompress(instance, header), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, header), ICERR_OK);
  const auto picture = MakePicture(header);
  EXPECT_GT(
      Psnr(header, Decompress(instance, header, Compress(instance, header, picture)), picture),
      30.0);
}

TEST_F(CodecMessageTest, AnInstanceIsClosedWithBothContextsOpen) {
  Instance instance(driver_);
  ASSERT_EQ(BeginCompress(instance, Header(kRgb24, 32, 32)), ICERR_OK);
  ASSERT_EQ(BeginDecompress(instance, Header(kRgb24, 32, 32)), ICERR_OK);
  instance.Close();
}

}  // namespace

}  // namespace qivm::test
