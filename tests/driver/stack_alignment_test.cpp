#include <algorithm>

#include "tests/driver/call_at_stack_offset.h"
#include "tests/driver/driver_module.h"
#include "tests/driver/frame_calls.h"
#include "tests/driver/pictures.h"
#include "tests/support/guarded_buffer.h"

namespace qivm::test {

namespace {

class StackAlignmentTest : public DriverTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  LRESULT Send(DWORD_PTR id, UINT message, Parameter parameter1 = 0,
               Parameter parameter2 = 0) const {
    const LPARAM arguments[] = {static_cast<LPARAM>(id), 0, static_cast<LPARAM>(message),
                                parameter1.Value(), parameter2.Value()};
    return QivmCallAtStackOffset(driver_.Function(), GetParam(), arguments);
  }
};

INSTANTIATE_TEST_SUITE_P(Offsets, StackAlignmentTest, ::testing::Values(0, 4, 8, 12),
                         ::testing::PrintToStringParamName());

TEST_P(StackAlignmentTest, EveryCallOfAStream) {
  for (const PixelFormat& format : {kRgb24, kRgb32, kYuy2}) {
    const BITMAPINFOHEADER header = Header(format, 128, 96);
    const BITMAPINFOHEADER stream = CompressedHeader(128, 96);
    auto picture = MakePicture(header);
    const auto frame = CompressAlone(driver_, header, picture);
    const Instance reference(driver_);
    ASSERT_EQ(BeginDecompress(reference, header), ICERR_OK);
    const auto decoded = Decompress(reference, header, frame);

    ICOPEN open = {};
    open.fccHandler = kQivmCode;
    const auto id = static_cast<DWORD_PTR>(Send(0, DRV_OPEN, 0, &open));
    ASSERT_NE(id, 0U);
    ICINFO info = {};
    EXPECT_EQ(Send(id, ICM_GETINFO, &info, sizeof(info)), LRESULT{sizeof(info)});
    ASSERT_EQ(Send(id, ICM_COMPRESS_BEGIN, &header, &stream), ICERR_OK);
    ASSERT_EQ(Send(id, ICM_DECOMPRESS_BEGIN, &stream, &header), ICERR_OK);
    CompressCall compress(header);
    compress.request.lpInput = picture.data();
    EXPECT_EQ(Send(id, ICM_COMPRESS, &compress.request, sizeof(ICCOMPRESS)), ICERR_OK);
    EXPECT_EQ(compress.Frame(), frame);
    DecompressCall decompress(header, frame);
    EXPECT_EQ(Send(id, ICM_DECOMPRESS, &decompress.request, sizeof(ICDECOMPRESS)), ICERR_OK);
    EXPECT_TRUE(std::ranges::equal(decompress.output.Bytes(), decoded));
    // A fault too.
    decompress.request.lpOutput = nullptr;
    EXPECT_EQ(Send(id, ICM_DECOMPRESS, &decompress.request, sizeof(ICDECOMPRESS)), ICERR_OK);
    EXPECT_EQ(Send(id, ICM_COMPRESS_END), ICERR_OK);
    EXPECT_EQ(Send(id, ICM_DECOMPRESS_END), ICERR_OK);
    EXPECT_EQ(Send(id, DRV_CLOSE), 1);
  }
}

}  // namespace

}  // namespace qivm::test
