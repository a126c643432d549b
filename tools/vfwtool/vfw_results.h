#pragma once

#include <cstdint>
#include <string>

namespace qivm {

/// A result of a codec, as its name in vfw.h, its value and its meaning in plain words:
/// "ICERR_BADFORMAT (-2): the format is not supported".
std::string CodecResultText(std::int32_t result);

}  // namespace qivm
