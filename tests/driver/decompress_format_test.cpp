#include <algorithm>
#include <array>
#include <clocale>
#include <cstring>

#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/driver/replaced_imports.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

class DecompressFormatTest : public DriverTest {
 protected:
  LRESULT Query(const BITMAPINFOHEADER& input) const {
    return instance_.Send(ICM_DECOMPRESS_QUERY, &input, nullptr);
  }
  LRESULT Query(const BITMAPINFOHEADER& input, const BITMAPINFOHEADER& output) const {
    return instance_.Send(ICM_DECOMPRESS_QUERY, &input, &output);
  }

  Instance instance_{driver_};
};

TEST_F(DecompressFormatTest, WithoutInputTheParameterIsBad) {
  const BITMAPINFOHEADER output = Header(kRgb24, 720, 576);
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_QUERY, nullptr, nullptr), ICERR_BADPARAM);
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_QUERY, nullptr, &output), ICERR_BADPARAM);
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_GET_FORMAT, nullptr, nullptr), ICERR_BADPARAM);
}

TEST_F(DecompressFormatTest, InputCodesAreThoseOfTheList) {
  for (const char* code : {"QIVM", "qivm", "MMES", "mMeS"}) {
    DWORD number = 0;
    std::memcpy(&number, code, sizeof(number));
    EXPECT_EQ(Query(CompressedHeader(720, 576, number)), ICERR_OK) << code;
  }
  for (const char* code : {"MJPG", "QIVN", "YUY2", "\0\0\0\0"}) {
    DWORD number = 0;
    std::memcpy(&number, code, sizeof(number));
    EXPECT_EQ(Query(CompressedHeader(720, 576, number)), ICERR_BADFORMAT) << code;
  }
}

TEST_F(DecompressFormatTest, TheHostsLocaleDoesNotChangeTheCodes) {
  // The host and the driver may share one C runtime, with its locale.
  const DWORD lower = MAKEFOURCC('\xe4', 'b', 'c', '1');
  std::array<DWORD, 274> state = {};
  ASSERT_EQ(instance_.Send(ICM_GETSTATE, state.data(), sizeof(state)), ICERR_OK);
  state[2] = MAKEFOURCC('\xe4', 'B', 'C', '1');
  ASSERT_EQ(instance_.Send(ICM_SETSTATE, state.data(), sizeof(state)), LRESULT{sizeof(state)});
  EXPECT_EQ(Query(CompressedHeader(720, 576, lower)), ICERR_OK);
  ASSERT_NE(std::setlocale(LC_ALL, "German_Germany.1252"), nullptr);
  EXPECT_EQ(Query(CompressedHeader(720, 576, lower)), ICERR_OK);
  std::setlocale(LC_ALL, "C");
}

TEST_F(DecompressFormatTest, SizesOfTheInput) {
  for (const auto& [width, height] : {std::pair{720L, 576L},
                                      {720L, 2800L},
                                      {4096L, 16L},
                                      {1L << 20, 2800L},
                                      {0L, 0L},
                                      {-16L, -16L},
                                      {16L, -4096L}}) {
    EXPECT_EQ(Query(CompressedHeader(width, height)), ICERR_OK) << width << 'x' << height;
  }
  for (const auto& [width, height] :
       {std::pair{720L, 574L}, {722L, 576L}, {720L, 2816L}, {8L, 16L}, {16L, 0x7FFFFFF0L}}) {
    EXPECT_EQ(Query(CompressedHeader(width, height)), ICERR_BADFORMAT) << width << 'x' << height;
  }
}

TEST_F(DecompressFormatTest, ExactlyTheCodecsFormatsAreGiven) {
  constexpr DWORD kCodes[] = {BI_RGB,    BI_RLE8,  BI_BITFIELDS, kYuy2Code, kUyvyCode,
                              kYvyuCode, kY16Code, kY16ACode,    kQivmCode};
  for (const DWORD code : kCodes) {
    for (const WORD bits : std::initializer_list<WORD>{0, 1, 8, 16, 24, 32}) {
      const bool accepted =
          code != kY16ACode &&
          std::any_of(std::begin(kPixelFormats), std::end(kPixelFormats), [&](const auto& format) {
            return format.compression == code && format.bitCount == bits;
          });
      EXPECT_EQ(Query(CompressedHeader(720, 576), Header({"", code, bits}, 720, 576)),
                accepted ? ICERR_OK : ICERR_BADFORMAT)
          << std::hex << code << " with " << std::dec << bits << " bits";
    }
  }
}

TEST_F(DecompressFormatTest, OutputHasTheInputsSize) {
  const BITMAPINFOHEADER input = CompressedHeader(720, 576);
  EXPECT_EQ(Query(input, Header(kRgb24, 704, 576)), ICERR_BADFORMAT);
  EXPECT_EQ(Query(input, Header(kRgb24, 720, 480)), ICERR_BADFORMAT);
  EXPECT_EQ(Query(input, Header(kRgb24, 720, -576)), ICERR_BADFORMAT);
  EXPECT_EQ(Query(CompressedHeader(720, -576), Header(kRgb24, 720, -576)), ICERR_OK);
}

TEST_F(DecompressFormatTest, TheSuggestedFormatIs32BitRgb) {
  const BITMAPINFOHEADER input = CompressedHeader(720, 576);
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_GET_FORMAT, &input, nullptr), 40);
  GuardedBuffer output(40);
  output.Fill(std::uint8_t{0xCC});
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_GET_FORMAT, &input, output.Data()), ICERR_OK);
  EXPECT_TRUE(output.GapsIntact());
  BITMAPINFOHEADER expected = Header(kRgb32, 720, 576);
  expected.biSizeImage = 1662976;
  EXPECT_EQ(std::memcmp(output.Data(), &expected, sizeof(expected)), 0);
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_QUERY, &input, output.Data()), ICERR_OK);
}

TEST_F(DecompressFormatTest, TheSuggestedSizeWrapsLikeTheHeadersField) {
  const BITMAPINFOHEADER input = CompressedHeader(1 << 20, 2048);
  BITMAPINFOHEADER output = {};
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_GET_FORMAT, &input, &output), ICERR_OK);
  EXPECT_EQ(output.biSizeImage, 4096U);
}

TEST_F(DecompressFormatTest, ARefusedInputLeavesTheOutputAlone) {
  const BITMAPINFOHEADER input = CompressedHeader(720, 576, kYuy2Code);
  GuardedBuffer output(40);
  output.Fill(std::uint8_t{0xCC});
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_GET_FORMAT, &input, nullptr), ICERR_BADFORMAT);
  EXPECT_EQ(instance_.Send(ICM_DECOMPRESS_GET_FORMAT, &input, output.Data()), ICERR_BADFORMAT);
  EXPECT_EQ(output.Bytes()[0], 0xCC);
}

class DefectiveHostTest : public DecompressFormatTest {
 protected:
  bool IsDefective() const {
    const BITMAPINFOHEADER input = CompressedHeader(720, 576);
    // What every host is offered.
    EXPECT_EQ(Query(input, Header(kRgb24, 720, 576)), ICERR_OK);
    EXPECT_EQ(Query(input, Header(kRgb32, 720, 576)), ICERR_OK);
    EXPECT_EQ(Query(input), ICERR_OK);
    const LRESULT yuv = Query(input, Header(kYuy2, 720, 576));
    for (const PixelFormat& format : kPixelFormats) {
      if (format.compression != BI_RGB && format.compression != kY16ACode) {
        EXPECT_EQ(Query(input, Header(format, 720, 576)), yuv) << format.name;
      }
    }
    return yuv == ICERR_BADFORMAT;
  }
  bool IsDefective(const std::optional<std::string>& path) const {
    const HostPath host(driver_.Handle(), path);
    return IsDefective();
  }
};

TEST_F(DefectiveHostTest, TheTestProgramIsNot) { EXPECT_FALSE(IsDefective()); }

TEST_F(DefectiveHostTest, TheFileNameCountsInAnyCase) {
  EXPECT_TRUE(IsDefective("C:\\Program Files\\Player\\wmplayer.exe"));
  EXPECT_TRUE(IsDefective("C:\\Program Files\\Player\\WMPLAYER.EXE"));
  EXPECT_TRUE(IsDefective("WmPlayer.exe"));
  EXPECT_TRUE(IsDefective("\\\\server\\share\\wmplayer.exe"));
}

TEST_F(DefectiveHostTest, OtherNamesDoNotMatch) {
  EXPECT_FALSE(IsDefective("C:\\Player\\WMPLAYER.EXE.BAK"));
  EXPECT_FALSE(IsDefective("C:\\Player\\MYWMPLAYER.EXE"));
  EXPECT_FALSE(IsDefective("C:\\wmplayer.exe\\other.exe"));
  EXPECT_FALSE(IsDefective("C:\\Player\\"));
}

TEST_F(DefectiveHostTest, OnlyTheBackslashSeparates) {
  EXPECT_FALSE(IsDefective("C:/Player/wmplayer.exe"));
  EXPECT_FALSE(IsDefective("C:wmplayer.exe"));
  EXPECT_TRUE(IsDefective("C:/Player\\wmplayer.exe"));
}

TEST_F(DefectiveHostTest, AHostWithoutANameIsDefective) { EXPECT_TRUE(IsDefective(std::nullopt)); }

TEST_F(DefectiveHostTest, APathThatFillsTheBufferIsReadToItsEndOnly) {
  const std::string name = "\\wmplayer.exe";
  EXPECT_TRUE(IsDefective(std::string(260 - name.size(), 'a') + name));
  EXPECT_FALSE(IsDefective(std::string(261 - name.size(), 'a') + name)) << "the last letter is cut";
}

TEST_F(DefectiveHostTest, ItIsAskedAnewAtEveryQuery) {
  EXPECT_FALSE(IsDefective());
  EXPECT_TRUE(IsDefective("wmplayer.exe"));
  EXPECT_FALSE(IsDefective());
}

TEST_F(DefectiveHostTest, BeginRefusesYuvToo) {
  const HostPath host(driver_.Handle(), "wmplayer.exe");
  EXPECT_EQ(BeginDecompress(instance_, Header(kYuy2, 64, 32)), ICERR_BADFORMAT);
  EXPECT_EQ(BeginDecompress(instance_, Header(kRgb32, 64, 32)), ICERR_OK);
}

TEST_F(DefectiveHostTest, CompressionIsTheSame) {
  const HostPath host(driver_.Handle(), "wmplayer.exe");
  const BITMAPINFOHEADER input = Header(kYuy2, 64, 32);
  EXPECT_EQ(instance_.Send(ICM_COMPRESS_QUERY, &input, nullptr), ICERR_OK);
  EXPECT_EQ(BeginCompress(instance_, input), ICERR_OK);
}

DWORD WINAPI FaultingGetModuleFileName(HMODULE /*module*/, LPSTR /*buffer*/, DWORD /*size*/) {
  RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), 0, 0, nullptr);
  return 0;
}

TEST_F(DefectiveHostTest, AFaultWhileAskingCountsAsNo) {
  const ImportHook hook(driver_.Handle(), "GetModuleFileNameA",
                        reinterpret_cast<void*>(&FaultingGetModuleFileName));
  EXPECT_FALSE(IsDefective());
}

}  // namespace

}  // namespace qivm::test
