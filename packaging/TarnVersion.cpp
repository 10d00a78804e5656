#include "packaging/TarnVersion.h"

// Written at build time into the build tree by BuildInfo.cmake.
#include "packaging/TarnBuildInfo.h"

namespace tarn {

const char* version() {
    return TARN_BUILD_VERSION;
}

const char* commit() {
    return TARN_BUILD_COMMIT;
}

const char* versionLine() {
    return TARN_BUILD_VERSION " (commit " TARN_BUILD_COMMIT ")";
}

} // namespace tarn
