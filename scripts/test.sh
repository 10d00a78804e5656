#!/usr/bin/env bash
# Installs what is missing, builds the release tree and runs every test, then
# runs the threaded stress tests again under ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release
ctest --preset release -j2 --timeout 600
