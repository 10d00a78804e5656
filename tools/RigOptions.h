// The radio options `send` and `listen` share (--rig, --rig-port, --ptt, ...).
#pragma once

#include "rig/RigConfig.h"
#include "tools/CommandLine.h"

#include <optional>

namespace cli {

// When the current option is a radio option, applies its value to `rig`
// and returns kExitOk, or the usage error's exit status after one line on
// stderr; nothing for any other option.
std::optional<int> takeRigOption(ArgumentReader& arguments, tarn::rig::RigConfig& rig,
                                 const char* command);

} // namespace cli
