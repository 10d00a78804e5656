#!/usr/bin/env bash
# Installs what is missing, builds the release tree and runs every test, then
# builds the threaded stress tests under ThreadSanitizer and runs them again.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release
ctest --preset release -j2 --timeout 600

# The receive chain fed on one thread while another tunes it, drains text and
# reads the waterfall: any data race fails the run.
cmake --preset tsan >/dev/null
cmake --build --preset tsan --target test_threads test_spectrum_threads
ctest --preset tsan -R '^(Threads|SpectrumThreads)\.' --timeout 600

# The Debian package: built with cpack, then (as root) installed with apt-get
# into a clean Debian 12 chroot, run, validated and removed again. About two
# minutes, most of it apt fetching the package's dependencies; the first run
# on a machine adds about a minute to make the chroot's base system, which is
# kept in /var/cache/tarn-psk31. Without root the package is only built.
scripts/package.sh
