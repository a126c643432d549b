#pragma once

#include <string_view>

#include "tests/interop/bytes.h"

/// Whole units of a stream, start code included, that the codec has to pass over.
namespace qivm::interop {

/// user_data() (6.2.2.2.2) with a text.
Bytes UserData(std::string_view text);

/// sequence_display_extension() (6.2.2.4) with a colour description.
Bytes SequenceDisplayExtension(Size display);

/// quant_matrix_extension() (6.2.3.2) that loads the default intra matrix for luminance and
/// chrominance, so that it changes nothing.
Bytes DefaultQuantMatrixExtension();

/// picture_display_extension() (6.2.3.3) with `offsets` frame centre offsets.
Bytes PictureDisplayExtension(int offsets);

/// copyright_extension() (6.2.3.6).
Bytes CopyrightExtension();

}  // namespace qivm::interop
