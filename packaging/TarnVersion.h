// The release and the source revision the programs were built from, for
// --version and the console's About box.
#pragma once

namespace tarn {

// The release number, as the project's CMake version: "0.1.0".
const char* version();

// The source revision: `git describe --always --dirty` when the build ran in
// a git checkout (an abbreviated commit hash, with "-dirty" when tracked files
// had uncommitted changes), "unknown" otherwise.
const char* commit();

// Both in one line, as --version prints them after the program's name:
// "0.1.0 (commit 23fa30f)".
const char* versionLine();

} // namespace tarn
