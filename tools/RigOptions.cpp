#include "tools/RigOptions.h"

#include <string>

namespace cli {

std::optional<int> takeRigOption(ArgumentReader& arguments, tarn::rig::RigConfig& rig,
                                 const char* command) {
    const std::string& name = arguments.option();
    if (!tarn::rig::isRigOption(name)) {
        return std::nullopt;
    }
    const std::optional<std::string> value = arguments.value();
    if (!value) {
        return reportUsageError(command, arguments.error());
    }
    const std::string problem = tarn::rig::applyRigOption(rig, name, *value);
    if (!problem.empty()) {
        return reportUsageError(command, problem);
    }
    return kExitOk;
}

} // namespace cli
