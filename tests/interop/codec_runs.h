#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "kernels/client_format.h"
#include "kernels/processor.h"
#include "tests/interop/bytes.h"

/// Whole clips through the codec's two contexts.
namespace qivm::interop {

/// The processors that a test runs on: one and several, plain kernels and this machine's.
std::vector<Processor> ProcessorsToTest();

/// Decodes frames with one context into YUY2. Each bitmap starts out filled with one value, so that
/// samples which the codec does not write are seen. Throws std::runtime_error when the codec
/// refuses or a fault ends a frame.
std::vector<Bytes> DecodeToYuy2(const std::vector<Bytes>& frames, Size size,
                                const Processor& processor);

/// Codes bitmaps, one after another in `pixels`, with one context. Throws as DecodeToYuy2.
std::vector<Bytes> EncodeFrames(std::span<const std::uint8_t> pixels, Size size,
                                ClientFormat format, std::uint32_t quality,
                                const Processor& processor);

}  // namespace qivm::interop
