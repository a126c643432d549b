#include <algorithm>
#include <array>
#include <cstring>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

class CompressFormatTest : public DriverTest {
 protected:
  LRESULT Query(const BITMAPINFOHEADER& input) const {
    return instance_.Send(ICM_COMPRESS_QUERY, &input, nullptr);
  }
  LRESULT Query(const BITMAPINFOHEADER& input, const BITMAPINFOHEADER& output) const {
    return instance_.Send(ICM_COMPRESS_QUERY, &input, &output);
  }

  Instance instance_{driver_};
};

TEST_F(CompressFormatTest, ExactlyTheCodecsFormatsAreAccepted) {
  constexpr DWORD kCodes[] = {BI_RGB,
                              BI_RLE8,
                              BI_BITFIELDS,
                              kYuy2Code,
                              kUyvyCode,
                              kYvyuCode,
                              kY16Code,
                              kY16ACode,
                              kQivmCode,
                              MAKEFOURCC('y', 'u', 'y', '2'),
                              MAKEFOURCC('Y', '1', '6', ' '),
                              MAKEFOURCC('Y', 'V', '1', '2')};
  for (const DWORD code : kCodes) {
    for (const WORD bits : std::initializer_list<WORD>{0, 1, 8, 12, 15, 16, 24, 32, 48}) {
      const bool accepted =
          std::any_of(std::begin(kPixelFormats), std::end(kPixelFormats), [&](const auto& format) {
            return format.compression == code && format.bitCount == bits;
          });
      EXPECT_EQ(Query(Header({"", code, bits}, 720, 576)), accepted ? ICERR_OK : ICERR_BADFORMAT)
          << std::hex << code << " with " << std::dec << bits << " bits";
    }
  }
}

TEST_F(CompressFormatTest, SidesAreMultiplesOfSixteen) {
  for (const LONG size : {16L, 32L, 720L, 576L, 2048L, 65536L, 0L, -16L, -480L}) {
    EXPECT_EQ(Query(Header(kRgb24, size, 16)), ICERR_OK) << size;
    EXPECT_EQ(Query(Header(kRgb24, 16, size)), ICERR_OK) << size;
  }
  for (const LONG size : {1L, 8L, 15L, 17L, 574L, 722L, -8L, -1L, 0x7FFFFFFFL}) {
    EXPECT_EQ(Query(Header(kRgb24, size, 16)), ICERR_BADFORMAT) << size;
    EXPECT_EQ(Query(Header(kRgb24, 16, size)), ICERR_BADFORMAT) << size;
  }
  EXPECT_EQ(Query(Header(kRgb24, 16, static_cast<LONG>(0x80000000))), ICERR_OK);
}

TEST_F(CompressFormatTest, WithoutInputTheFormatIsBad) {
  const BITMAPINFOHEADER output = CompressedHeader(720, 576);
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_QUERY, nullptr, nullptr), ICERR_BADFORMAT);
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_QUERY, nullptr, &output), ICERR_BADFORMAT);
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_GET_FORMAT, nullptr, nullptr), ICERR_BADFORMAT);
}

TEST_F(CompressFormatTest, OutputCodesAreThoseOfTheList) {
  const BITMAPINFOHEADER input = Header(kRgb24, 720, 576);
  for (const char* code : {"QIVM", "qivm", "QiVm", "MMES", "mmes"}) {
    DWORD number = 0;
    std::memcpy(&number, code, sizeof(number));
    EXPECT_EQ(Query(input, CompressedHeader(720, 576, number)), ICERR_OK) << code;
  }
  for (const char* code : {"MJPG", "QIV ", "QIVN", "\0\0\0\0", "q\0vm"}) {
    DWORD number = 0;
    std::memcpy(&number, code, sizeof(number));
    EXPECT_EQ(Query(input, CompressedHeader(720, 576, number)), ICERR_BADFORMAT) << code;
  }
}

TEST_F(CompressFormatTest, OutputHasTheInputsSize) {
  const BITMAPINFOHEADER input = Header(kRgb24, 720, 576);
  EXPECT_EQ(Query(input, CompressedHeader(704, 576)), ICERR_BADFORMAT);
  EXPECT_EQ(Query(input, CompressedHeader(720, 480)), ICERR_BADFORMAT);
  EXPECT_EQ(Query(input, CompressedHeader(720, -576)), ICERR_BADFORMAT);
  EXPECT_EQ(Query(Header(kRgb24, 720, -576), CompressedHeader(720, -576)), ICERR_OK);
}

TEST_F(CompressFormatTest, TheRestOfTheOutputHeaderDoesNotMatter) {
  BITMAPINFOHEADER output = CompressedHeader(720, 576);
  output.biSize = 0;
  output.biBitCount = 7;
  output.biPlanes = 9;
  output.biSizeImage = 0xFFFFFFFF;
  EXPECT_EQ(Query(Header(kRgb24, 720, 576), output), ICERR_OK);
}

/// The description of a 720x576 stream as bytes, written down field by field.
std::array<std::uint8_t, 252> ExpectedDescription(DWORD handler, WORD planes, DWORD used,
                                                  DWORD important) {
  std::array<std::uint8_t, 252> bytes = {};
  const auto put = [&](std::size_t offset, DWORD value) {
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
  };
  const auto putHeader = [&](std::size_t offset, DWORD size, DWORD code) {
    put(offset, size);
    put(offset + 4, 720);
    put(offset + 8, 576);
    put(offset + 12, planes | 24U << 16);
    put(offset + 16, code);
    put(offset + 20, 1007000);
    put(offset + 32, used);
    put(offset + 36, important);
  };
  constexpr std::uint8_t kVideo[] = {'v',  'i',  'd',  's',  0x00, 0x00, 0x10, 0x00,
                                     0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
  constexpr std::uint8_t kMpeg2Video[] = {0x26, 0x80, 0x6D, 0xE0, 0x46, 0xDB, 0xCF, 0x11,
                                          0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA};
  constexpr std::uint8_t kMpeg2VideoFormat[] = {0xE3, 0x80, 0x6D, 0xE0, 0x46, 0xDB, 0xCF, 0x11,
                                                0xB4, 0xD1, 0x00, 0x80, 0x5F, 0x6C, 0xBB, 0xEA};
  putHeader(0, 252, handler);
  put(40, 44);
  std::copy(std::begin(kVideo), std::end(kVideo), bytes.begin() + 44);
  std::copy(std::begin(kMpeg2Video), std::end(kMpeg2Video), bytes.begin() + 60);
  std::copy(std::begin(kMpeg2VideoFormat), std::end(kMpeg2VideoFormat), bytes.begin() + 88);
  put(108, 136);
  put(148, 50000000);
  put(156, 400000);
  putHeader(188, 40, kMmesCode);
  put(236, 6);
  put(240, 2);
  return bytes;
}

TEST_F(CompressFormatTest, TheDescriptionByteForByte) {
  for (const DWORD handler : std::initializer_list<DWORD>{kQivmCode, kMmesCode}) {
    const Instance opened(driver_, handler);
    BITMAPINFOHEADER input = Header(kYuy2, 720, 576);
    input.biPlanes = 3;
    input.biClrUsed = 0x11223344;
    input.biClrImportant = 0x55667788;
    input.biXPelsPerMeter = 99;
    EXPECT_EQ(opened.Send(ICM_COMPRESS_GET_FORMAT, &input, nullptr), 252);
    GuardedBuffer output(252);
    output.Fill(std::uint8_t{0xCC});
    EXPECT_EQ(opened.Send(ICM_COMPRESS_GET_FORMAT, &input, output.Data()), ICERR_OK);
    EXPECT_TRUE(output.GapsIntact());
    const auto expected = ExpectedDescription(handler, 3, 0x11223344, 0x55667788);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(output.Bytes()[i], expected[i]) << "at offset " << i;
    }
  }
}

TEST_F(CompressFormatTest, TheDescriptionIsAcceptedAgain) {
  const BITMAPINFOHEADER input = Header(kRgb32, 320, 240);
  GuardedBuffer output(252);
  ASSERT_EQ(instance_.Send(ICM_COMPRESS_GET_FORMAT, &input, output.Data()), ICERR_OK);
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_QUERY, &input, output.Data()), ICERR_OK);
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_QUERY, output.Data(), &input), ICERR_OK);
}

TEST_F(CompressFormatTest, ARefusedInputLeavesTheOutputAlone) {
  const BITMAPINFOHEADER input = Header(kRgb32, 321, 240);
  GuardedBuffer output(252);
  output.Fill(std::uint8_t{0xCC});
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_GET_FORMAT, &input, nullptr), ICERR_BADFORMAT);
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_GET_FORMAT, &input, output.Data()), ICERR_BADFORMAT);
  EXPECT_EQ(output.Bytes()[0], 0xCC);
}

TEST_F(CompressFormatTest, FrameSizes) {
  const auto size = [&](LONG width, LONG height) {
    const BITMAPINFOHEADER input = Header({"", 77, 1}, width, height);
    return instance_.Send(ICM_COMPRESS_GET_SIZE, &input, nullptr);
  };
  EXPECT_EQ(size(720, 576), 1244160);
  EXPECT_EQ(size(5, 7), 105);
  EXPECT_EQ(size(0, 576), 0);
  EXPECT_EQ(size(720, -576), -1244160);
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_GET_SIZE, nullptr, nullptr), ICERR_BADFORMAT);
  // Modulo 2^32.
  EXPECT_EQ(size(40000, 40000), 505032704);
  EXPECT_EQ(size(0x10000, 0x10000), 0);
  EXPECT_EQ(size(32768, 32768), -1073741824);
}

}  // namespace

}  // namespace qivm::test
