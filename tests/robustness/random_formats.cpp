#include "tests/robustness/random_formats.h"

#include <array>

#include "tests/driver/driver_module.h"
#include "tests/robustness/reference_frames.h"

namespace qivm::test {

namespace {

template <typename Value, std::size_t count>
Value OneOf(Random& random, const std::array<Value, count>& values) {
  return values[random.Below(count)];
}

LONG RandomExtent(Random& random) {
  constexpr std::array<LONG, 20> kExtents = {
      0,    -16,  1,    8,    15,   17,   -1,    80,     176,        1024,
      2032, 2048, 2064, 2800, 2816, 4096, 65536, -32768, 0x7FFFFFF0, -0x7FFFFFFF};
  return random.OneIn(8) ? static_cast<LONG>(random.Next()) : OneOf(random, kExtents);
}

void DisturbUnusedFields(Random& random, BITMAPINFOHEADER& header) {
  header.biSize = random.Next();
  header.biPlanes = static_cast<WORD>(random.Next());
  header.biSizeImage = random.Next();
  header.biXPelsPerMeter = static_cast<LONG>(random.Next());
  header.biYPelsPerMeter = static_cast<LONG>(random.Next());
  header.biClrUsed = random.Next();
  header.biClrImportant = random.Next();
}

DWORD RandomCode(Random& random) {
  constexpr std::array<DWORD, 10> kCodes = {kQivmCode,
                                            kMmesCode,
                                            kQivmCode,
                                            kMmesCode,
                                            MAKEFOURCC('q', 'i', 'v', 'm'),
                                            MAKEFOURCC('m', 'M', 'E', 's'),
                                            MAKEFOURCC('A', 'B', 'C', 'D'),
                                            MAKEFOURCC('a', 'b', '\0', 'd'),
                                            MAKEFOURCC('M', 'J', 'P', 'G'),
                                            0};
  return random.OneIn(32) ? random.Next() : OneOf(random, kCodes);
}

}  // namespace

BITMAPINFOHEADER RandomBitmap(Random& random) {
  BITMAPINFOHEADER header = ReferenceFrames::HeaderOf(random.Below(ReferenceFrames::kFormats),
                                                      random.Below(ReferenceFrames::kSizes));
  if (random.OneIn(16)) {
    header.biWidth = RandomExtent(random);
  }
  if (random.OneIn(16)) {
    header.biHeight = RandomExtent(random);
  }
  if (random.OneIn(20)) {
    header.biBitCount = OneOf(random, std::array<WORD, 8>{0, 1, 8, 15, 16, 24, 32, 0xFFFF});
  }
  if (random.OneIn(20)) {
    header.biCompression = random.OneIn(2) ? RandomCode(random) : random.Below(5);
  }
  if (random.OneIn(3)) {
    DisturbUnusedFields(random, header);
  }
  return header;
}

BITMAPINFOHEADER RandomStream(Random& random, const BITMAPINFOHEADER& bitmap) {
  BITMAPINFOHEADER header = CompressedHeader(bitmap.biWidth, bitmap.biHeight);
  if (random.OneIn(6)) {
    header.biCompression = RandomCode(random);
  }
  if (random.OneIn(20)) {
    header.biWidth += 16;
  }
  if (random.OneIn(20)) {
    header.biHeight = -header.biHeight;
  }
  if (random.OneIn(3)) {
    DisturbUnusedFields(random, header);
  }
  return header;
}

State RandomState(Random& random, DWORD handler) {
  State state = InitialState(handler);
  state[1] = random.OneIn(8) ? random.Next() : random.Below(2);
  if (random.OneIn(4)) {
    const std::size_t end = 2 + random.Below(17);
    for (std::size_t word = 2; word < end; ++word) {
      state[word] = RandomCode(random);
    }
  }
  if (random.OneIn(4)) {
    for (std::size_t word = 18; word < state.size(); ++word) {
      state[word] = random.Next();
    }
  }
  return state;
}

}  // namespace qivm::test
