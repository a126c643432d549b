#include "tests/robustness/reference_frames.h"

#include "tests/driver/frame_calls.h"
#include "tests/robustness/host_stand_ins.h"
#include "tests/robustness/instance_model.h"

namespace qivm::test {

namespace {

/// The last one is worth several threads.
constexpr SIZE kPictureSizes[ReferenceFrames::kSizes] = {{16, 16}, {32, 48}, {256, 192}};

void ChangeFields(const Instance& instance, bool wanted) {
  State state = InitialState(kQivmCode);
  state[1] = wanted ? 1 : 0;
  EXPECT_EQ(instance.Send(ICM_SETSTATE, state.data(), kStateBytes), LRESULT{kStateBytes});
}

}  // namespace

ReferenceFrames::ReferenceFrames(const DriverModule& driver) {
  Compress(driver);
  Decompress(driver);
}

BITMAPINFOHEADER ReferenceFrames::HeaderOf(std::size_t format, std::size_t size) {
  return Header(kPixelFormats[format], kPictureSizes[size].cx, kPictureSizes[size].cy);
}

std::optional<std::size_t> ReferenceFrames::FormatOf(const BITMAPINFOHEADER& header) {
  for (std::size_t format = 0; format < kFormats; ++format) {
    if (kPixelFormats[format].compression == header.biCompression &&
        kPixelFormats[format].bitCount == header.biBitCount) {
      return format;
    }
  }
  return std::nullopt;
}

std::optional<std::size_t> ReferenceFrames::SizeOf(const BITMAPINFOHEADER& header) {
  for (std::size_t size = 0; size < kSizes; ++size) {
    if (kPictureSizes[size].cx == header.biWidth && kPictureSizes[size].cy == header.biHeight) {
      return size;
    }
  }
  return std::nullopt;
}

void ReferenceFrames::Compress(const DriverModule& driver) {
  for (std::size_t format = 0; format < kFormats; ++format) {
    for (std::size_t size = 0; size < kSizes; ++size) {
      const BITMAPINFOHEADER header = HeaderOf(format, size);
      pictures_[format][size] = MakePicture(header, static_cast<unsigned>(format));
      for (const bool several : {false, true}) {
        ThisHostThread().processors = several ? 2 : 1;
        for (const bool fields : {false, true}) {
          const Instance instance(driver);
          ChangeFields(instance, fields);
          EXPECT_EQ(BeginCompress(instance, header), ICERR_OK);
          compressed_[format][size][several ? 1 : 0][fields ? 1 : 0] =
              test::Compress(instance, header, pictures_[format][size]);
        }
      }
    }
  }
}

void ReferenceFrames::Decompress(const DriverModule& driver) {
  for (std::size_t format = 0; format < kOutputFormats; ++format) {
    for (std::size_t size = 0; size < kSizes; ++size) {
      const BITMAPINFOHEADER header = HeaderOf(format, size);
      for (const bool fields : {false, true}) {
        const Instance instance(driver);
        ChangeFields(instance, fields);
        EXPECT_EQ(BeginDecompress(instance, header), ICERR_OK);
        decompressed_[format][size][fields ? 1 : 0] =
            test::Decompress(instance, header, Frame(size));
      }
    }
  }
}

}  // namespace qivm::test
