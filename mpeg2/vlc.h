#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// The variable-length codes of intra blocks, each written once. Both directions derive their
/// look-up tables from these at compile time.
namespace qivm::mpeg2 {

/// A variable-length code: the low `length` bits of `bits`, first bit highest.
struct Code {
  std::uint16_t bits = 0;
  std::uint8_t length = 0;
};

/// Reads a code as the standard prints it: a string of 0 and 1; blanks separate groups.
constexpr Code ParseCode(std::string_view text) {
  unsigned bits = 0;
  unsigned length = 0;
  for (const char digit : text) {
    if (digit != ' ') {
      bits = bits << 1 | (digit == '1' ? 1U : 0U);
      ++length;
    }
  }
  return {static_cast<std::uint16_t>(bits), static_cast<std::uint8_t>(length)};
}

constexpr std::size_t kDctDcSizes = 12;

/// dct_dc_size_luminance, Table B-12.
constexpr std::array<Code, kDctDcSizes> kDcSizeLuma = {
    ParseCode("100"),     ParseCode("00"),       ParseCode("01"),        ParseCode("101"),
    ParseCode("110"),     ParseCode("1110"),     ParseCode("11110"),     ParseCode("111110"),
    ParseCode("1111110"), ParseCode("11111110"), ParseCode("111111110"), ParseCode("111111111"),
};

/// dct_dc_size_chrominance, Table B-13.
constexpr std::array<Code, kDctDcSizes> kDcSizeChroma = {
    ParseCode("00"),       ParseCode("01"),        ParseCode("10"),         ParseCode("110"),
    ParseCode("1110"),     ParseCode("11110"),     ParseCode("111110"),     ParseCode("1111110"),
    ParseCode("11111110"), ParseCode("111111110"), ParseCode("1111111110"), ParseCode("1111111111"),
};

/// End of block and escape of Tables B-15 and B-16. An escape is followed by the run in 6 bits and
/// the level in 12.
constexpr Code kEndOfBlock = ParseCode("0110");
constexpr Code kEscape = ParseCode("0000 01");
constexpr unsigned kEscapeRunBits = 6;
constexpr unsigned kEscapeLevelBits = 12;
constexpr unsigned kEscapeTotalBits = 24;

struct RunLevelCode {
  std::uint8_t run = 0;
  std::uint8_t level = 0;
  Code code;  // without the sign bit
};

/// Table B-15 (intra_vlc_format 1), ordered by run, then by level.
constexpr std::array<RunLevelCode, 111> kRunLevelCodes = {{
    {0, 1, ParseCode("10")},
    {0, 2, ParseCode("110")},
    {0, 3, ParseCode("0111")},
    {0, 4, ParseCode("1110 0")},
    {0, 5, ParseCode("1110 1")},
    {0, 6, ParseCode("0001 01")},
    {0, 7, ParseCode("0001 00")},
    {0, 8, ParseCode("1111 011")},
    {0, 9, ParseCode("1111 100")},
    {0, 10, ParseCode("0010 0011")},
    {0, 11, ParseCode("0010 0010")},
    {0, 12, ParseCode("1111 1010")},
    {0, 13, ParseCode("1111 1011")},
    {0, 14, ParseCode("1111 1110")},
    {0, 15, ParseCode("1111 1111")},
    {0, 16, ParseCode("0000 0000 0111 11")},
    {0, 17, ParseCode("0000 0000 0111 10")},
    {0, 18, ParseCode("0000 0000 0111 01")},
    {0, 19, ParseCode("0000 0000 0111 00")},
    {0, 20, ParseCode("0000 0000 0110 11")},
    {0, 21, ParseCode("0000 0000 0110 10")},
    {0, 22, ParseCode("0000 0000 0110 01")},
    {0, 23, ParseCode("0000 0000 0110 00")},
    {0, 24, ParseCode("0000 0000 0101 11")},
    {0, 25, ParseCode("0000 0000 0101 10")},
    {0, 26, ParseCode("0000 0000 0101 01")},
    {0, 27, ParseCode("0000 0000 0101 00")},
    {0, 28, ParseCode("0000 0000 0100 11")},
    {0, 29, ParseCode("0000 0000 0100 10")},
    {0, 30, ParseCode("0000 0000 0100 01")},
    {0, 31, ParseCode("0000 0000 0100 00")},
    {0, 32, ParseCode("0000 0000 0011 000")},
    {0, 33, ParseCode("0000 0000 0010 111")},
    {0, 34, ParseCode("0000 0000 0010 110")},
    {0, 35, ParseCode("0000 0000 0010 101")},
    {0, 36, ParseCode("0000 0000 0010 100")},
    {0, 37, ParseCode("0000 0000 0010 011")},
    {0, 38, ParseCode("0000 0000 0010 010")},
    {0, 39, ParseCode("0000 0000 0010 001")},
    {0, 40, ParseCode("0000 0000 0010 000")},
    {1, 1, ParseCode("010")},
    {1, 2, ParseCode("0011 0")},
    {1, 3, ParseCode("1111 001")},
    {1, 4, ParseCode("0010 0111")},
    {1, 5, ParseCode("0010 0000")},
    {1, 6, ParseCode("0000 0000 1011 0")},
    {1, 7, ParseCode("0000 0000 1010 1")},
    {1, 8, ParseCode("0000 0000 0011 111")},
    {1, 9, ParseCode("0000 0000 0011 110")},
    {1, 10, ParseCode("0000 0000 0011 101")},
    {1, 11, ParseCode("0000 0000 0011 100")},
    {1, 12, ParseCode("0000 0000 0011 011")},
    {1, 13, ParseCode("0000 0000 0011 010")},
    {1, 14, ParseCode("0000 0000 0011 001")},
    {1, 15, ParseCode("0000 0000 0001 0011")},
    {1, 16, ParseCode("0000 0000 0001 0010")},
    {1, 17, ParseCode("0000 0000 0001 0001")},
    {1, 18, ParseCode("0000 0000 0001 0000")},
    {2, 1, ParseCode("0010 1")},
    {2, 2, ParseCode("0000 111")},
    {2, 3, ParseCode("1111 1100")},
    {2, 4, ParseCode("0000 0011 00")},
    {2, 5, ParseCode("0000 0000 1010 0")},
    {3, 1, ParseCode("0011 1")},
    {3, 2, ParseCode("0010 0110")},
    {3, 3, ParseCode("0000 0001 1100")},
    {3, 4, ParseCode("0000 0000 1001 1")},
    {4, 1, ParseCode("0001 10")},
    {4, 2, ParseCode("1111 1101")},
    {4, 3, ParseCode("0000 0001 0010")},
    {5, 1, ParseCode("0001 11")},
    {5, 2, ParseCode("0000 0010 0")},
    {5, 3, ParseCode("0000 0000 1001 0")},
    {6, 1, ParseCode("0000 110")},
    {6, 2, ParseCode("0000 0001 1110")},
    {6, 3, ParseCode("0000 0000 0001 0100")},
    {7, 1, ParseCode("0000 100")},
    {7, 2, ParseCode("0000 0001 0101")},
    {8, 1, ParseCode("0000 101")},
    {8, 2, ParseCode("0000 0001 0001")},
    {9, 1, ParseCode("1111 000")},
    {9, 2, ParseCode("0000 0000 1000 1")},
    {10, 1, ParseCode("1111 010")},
    {10, 2, ParseCode("0000 0000 1000 0")},
    {11, 1, ParseCode("0010 0001")},
    {11, 2, ParseCode("0000 0000 0001 1010")},
    {12, 1, ParseCode("0010 0101")},
    {12, 2, ParseCode("0000 0000 0001 1001")},
    {13, 1, ParseCode("0010 0100")},
    {13, 2, ParseCode("0000 0000 0001 1000")},
    {14, 1, ParseCode("0000 0010 1")},
    {14, 2, ParseCode("0000 0000 0001 0111")},
    {15, 1, ParseCode("0000 0011 1")},
    {15, 2, ParseCode("0000 0000 0001 0110")},
    {16, 1, ParseCode("0000 0011 01")},
    {16, 2, ParseCode("0000 0000 0001 0101")},
    {17, 1, ParseCode("0000 0001 1111")},
    {18, 1, ParseCode("0000 0001 1010")},
    {19, 1, ParseCode("0000 0001 1001")},
    {20, 1, ParseCode("0000 0001 0111")},
    {21, 1, ParseCode("0000 0001 0110")},
    {22, 1, ParseCode("0000 0000 1111 1")},
    {23, 1, ParseCode("0000 0000 1111 0")},
    {24, 1, ParseCode("0000 0000 1110 1")},
    {25, 1, ParseCode("0000 0000 1110 0")},
    {26, 1, ParseCode("0000 0000 1101 1")},
    {27, 1, ParseCode("0000 0000 0001 1111")},
    {28, 1, ParseCode("0000 0000 0001 1110")},
    {29, 1, ParseCode("0000 0000 0001 1101")},
    {30, 1, ParseCode("0000 0000 0001 1100")},
    {31, 1, ParseCode("0000 0000 0001 1011")},
}};

}  // namespace qivm::mpeg2
