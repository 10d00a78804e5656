#!/usr/bin/env bash
# Takes docs/console.png: the console at 1280x800 on a virtual X display
# (Xvfb, software GL), decoding the demo recording.
#
# Usage: scripts/screenshot.sh [CONSOLE_BINARY] [SECONDS_INTO_THE_RECORDING]
#        (default build/release/app/tarn-psk31-console, 42 s)
set -euo pipefail
cd "$(dirname "$0")/.."

console="${1:-build/release/app/tarn-psk31-console}"
seconds="${2:-42}"
if [[ ! -x "$console" ]]; then
    echo "screenshot.sh: no console at $console (build tarn-psk31-console first)" >&2
    exit 1
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
mkdir -p docs
# A fresh settings file, so the toolbar shows the default macro titles.
xvfb-run -a -s "-screen 0 1280x800x24" \
    "$console" -geometry 1280x800+0+0 --settings "$work/settings.ini" \
    --play assets/demo.wav --screenshot docs/console.png --screenshot-after "$seconds"
echo "docs/console.png written" >&2
