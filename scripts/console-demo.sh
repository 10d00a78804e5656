#!/usr/bin/env bash
# The console without a radio: installs what is missing, builds the console
# and runs it playing assets/demo.wav (two PSK31 stations in receiver noise)
# into its receiver. The text of the station at 1500 Hz appears at once;
# tap the trace at 1900 Hz on the waterfall to read the other one.
#
# Usage: scripts/console-demo.sh [more console options]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
log="$(mktemp)"
trap 'rm -f "$log"' EXIT
echo "== Building tarn-psk31-console (release)" >&2
if ! { cmake --preset release && cmake --build --preset release --target tarn-psk31-console; } \
    >"$log" 2>&1; then
    cat "$log" >&2
    echo "== The build failed" >&2
    exit 1
fi
if [[ -z "${DISPLAY:-}" && -z "${WAYLAND_DISPLAY:-}" ]]; then
    echo "console-demo.sh: no display; on a headless machine run it under" \
        "xvfb-run -a -s '-screen 0 1280x800x24' $0" >&2
    exit 1
fi
# The demo goes straight to decoding; the first-run questions wait for the
# first launch of the console itself.
exec build/release/app/tarn-psk31-console --no-first-run --play assets/demo.wav "$@"
