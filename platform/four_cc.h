#pragma once

#include <cstdint>

namespace qivm {

/// A four-character code as a number, first character in the lowest byte.
using FourCC = std::uint32_t;

constexpr FourCC MakeFourCC(char a, char b, char c, char d) {
  return static_cast<FourCC>(static_cast<unsigned char>(a)) |
         static_cast<FourCC>(static_cast<unsigned char>(b)) << 8 |
         static_cast<FourCC>(static_cast<unsigned char>(c)) << 16 |
         static_cast<FourCC>(static_cast<unsigned char>(d)) << 24;
}

/// The codec's own code, and that of the files which it plays besides.
constexpr FourCC kQivm = MakeFourCC('Q', 'I', 'V', 'M');
constexpr FourCC kMmes = MakeFourCC('M', 'M', 'E', 'S');

/// Upper-cases the letters of ASCII, up to a NUL inside the code. Codes are numbers that files and
/// registries carry from one system to the next: neither the system's code page nor the locale that
/// a host sets has a say.
constexpr FourCC UpperCaseFourCC(FourCC code) {
  for (int shift = 0; shift < 32; shift += 8) {
    const FourCC character = code >> shift & 0xff;
    if (character == 0) {
      break;
    }
    if (character >= 'a' && character <= 'z') {
      code -= FourCC{'a' - 'A'} << shift;
    }
  }
  return code;
}

}  // namespace qivm
