// MediumPathState.h - a door for tests.
#pragma once

namespace vxcio {

// The setting of the medium path rules counts as not read yet.
void ForgetMediumPathSetting() noexcept;

} // namespace vxcio
