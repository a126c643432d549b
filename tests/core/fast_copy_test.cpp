#include "kernels/fast_copy.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/support/client_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

constexpr std::array<std::size_t, 5> kSizes = {0, 31, 8192, 8192 + 33, std::size_t{720} * 576 * 4};

Bytes RandomBytes(std::size_t size) {
  Random random(size);
  Bytes bytes(size);
  std::ranges::generate(bytes, [&] { return random.Byte(); });
  return bytes;
}

TEST(FastCopyTest, CopiesUpToTheLastByteOfMemory) {
  for (const std::size_t size : kSizes) {
    const GuardedBuffer source(RandomBytes(size));
    const GuardedBuffer destination(size);
    ASSERT_TRUE(FastCopy(destination.Data(), source.Data(), size)) << size;
    ASSERT_TRUE(std::ranges::equal(source.Bytes(), destination.Bytes())) << size;
  }
}

TEST(FastCopyTest, ChangesNothingButTheGivenBytes) {
  for (const std::size_t size : kSizes) {
    for (const std::size_t from : {0U, 1U, 16U}) {
      for (const std::size_t to : {0U, 7U, 33U}) {
        const Bytes source = RandomBytes(size + 64);
        Bytes destination(size + 128, 0xEE);
        Bytes expected = destination;
        std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(from), size,
                    expected.begin() + static_cast<std::ptrdiff_t>(to));
        ASSERT_TRUE(FastCopy(destination.data() + to, source.data() + from, size));
        ASSERT_TRUE(destination == expected) << size << " from " << from << " to " << to;
      }
    }
  }
}

TEST(FastCopyTest, AFaultEndsTheCopy) {
  const GuardedBuffer whole(RandomBytes(20000));
  const GuardedBuffer small(8000);
  EXPECT_FALSE(FastCopy(small.Data(), whole.Data(), 20000));
  EXPECT_FALSE(FastCopy(whole.Data(), small.Data(), 20000));
}

}  // namespace

}  // namespace qivm::test
