#pragma once

#include "settings/codec_settings.h"
#include "settings/defective_app_list.h"
#include "settings/value_source.h"

/// What the stored values mean. Nothing here trusts them: whatever a source holds, lists keep their
/// limits and strings end inside their entries.
namespace qivm {

/// Reads the field order and the list of codes into a zeroed record. False when a value is missing
/// or invalid; an invalid field order or count leaves the list empty.
bool ReadCodecValues(const ValueSource& source, CodecSettings& settings);

/// Reads the list of full-screen applications into a zeroed record. False when a value is missing
/// or invalid.
bool ReadApplicationValues(const ValueSource& source, CodecSettings& settings);

/// Reads the list of defective host programs as it is stored, in upper case or not. False when the
/// source does not say that its list is complete; the list is then empty.
bool ReadDefectiveAppValues(const ValueSource& source, DefectiveAppList& list);

}  // namespace qivm
