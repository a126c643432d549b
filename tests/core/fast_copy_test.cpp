#include "kernels/fast_copy.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "tests/core/cpu_classes.h"
#include "tests/support/client_pictures.h"
#include "tests/support/guarded_buffer.h"
#include "tests/support/random.h"

namespace qivm::test {

namespace {

Bytes RandomBytes(std::size_t size) {
  Random random(size);
  Bytes bytes(size);
  for (std::uint8_t& byte : bytes) {
    byte = random.Byte();
  }
  return bytes;
}

std::vector<std::size_t> Sizes() {
  std::vector<std::size_t> sizes;
  for (std::size_t size = 0; size <= 200; ++size) {
    sizes.push_back(size);
  }
  for (const std::size_t blocks : {1U, 2U, 5U}) {
    for (const std::size_t rest : {0U, 1U, 3U, 31U, 32U, 33U, 63U, 64U, 65U, 8191U}) {
      sizes.push_back(8192 * blocks + rest);
    }
  }
  sizes.push_back(std::size_t{720} * 576 * 4);
  return sizes;
}

void ExpectAnySizeUpToTheLastByteOfMemory(CopyFunction copy) {
  for (const std::size_t size : Sizes()) {
    const GuardedBuffer source(RandomBytes(size));
    const GuardedBuffer destination(size);
    copy(destination.Data(), source.Data(), size);
    ASSERT_TRUE(
        std::equal(source.Bytes().begin(), source.Bytes().end(), destination.Bytes().begin()))
        << size;
  }
}

void ExpectNothingButTheGivenBytesChanges(CopyFunction copy) {
  for (const std::size_t size : {0U, 31U, 8192U, 8192U + 33U}) {
    for (std::size_t from = 0; from < 17; ++from) {
      for (const std::size_t to : {0U, 1U, 7U, 16U, 33U}) {
        const Bytes source = RandomBytes(size + 64);
        Bytes destination(size + 128, 0xEE);
        Bytes expected = destination;
        std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(from), size,
                    expected.begin() + static_cast<std::ptrdiff_t>(to));
        copy(destination.data() + to, source.data() + from, size);
        ASSERT_EQ(destination, expected) << size << " from " << from << " to " << to;
      }
    }
  }
}

TEST(FastCopy, AnySizeUpToTheLastByteOfMemory) { ExpectAnySizeUpToTheLastByteOfMemory(&FastCopy); }

TEST(FastCopy, NothingButTheGivenBytesChanges) { ExpectNothingButTheGivenBytesChanges(&FastCopy); }

class CopyTest : public testing::TestWithParam<CpuClass> {};

TEST_P(CopyTest, AnySizeUpToTheLastByteOfMemory) {
  ExpectAnySizeUpToTheLastByteOfMemory(CopyFor(GetParam()));
}

TEST_P(CopyTest, NothingButTheGivenBytesChanges) {
  ExpectNothingButTheGivenBytesChanges(CopyFor(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(AllClasses, CopyTest, testing::ValuesIn(kCpuClasses), CpuClassName);

// Which classes share a routine: it is the memory traffic that tells them apart.
TEST(Copy, RoutinesOfTheClasses) {
  EXPECT_EQ(CopyFor(CpuClass::amdMmx), CopyFor(CpuClass::intelMmx));
  EXPECT_EQ(CopyFor(CpuClass::amdExtendedMmx), CopyFor(CpuClass::amdSse));
  EXPECT_EQ(CopyFor(CpuClass::amdExtendedMmx), CopyFor(CpuClass::amdSse2));
  const std::vector<CopyFunction> different = {
      CopyFor(CpuClass::plain), CopyFor(CpuClass::intelMmx), CopyFor(CpuClass::intelSse),
      CopyFor(CpuClass::intelSse2), CopyFor(CpuClass::amdSse2)};
  for (std::size_t i = 0; i < different.size(); ++i) {
    EXPECT_EQ(std::count(different.begin(), different.end(), different[i]), 1) << i;
  }
  EXPECT_EQ(CopyFor(static_cast<CpuClass>(2)), CopyFor(CpuClass::plain));
}

TEST(FastCopy, FaultEndsTheCopyOnly) {
  GuardedBuffer source(RandomBytes(20000));
  const GuardedBuffer destination(20000);
  source.Protect(GuardedBuffer::Access::none);
  FastCopy(destination.Data(), source.Data(), 20000);
  FastCopy(source.Data(), destination.Data(), 20000);
  source.Protect(GuardedBuffer::Access::readWrite);
  FastCopy(destination.Data(), source.Data(), 20000);
  EXPECT_TRUE(
      std::equal(source.Bytes().begin(), source.Bytes().end(), destination.Bytes().begin()));
}

}  // namespace

}  // namespace qivm::test
