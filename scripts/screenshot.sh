#!/usr/bin/env bash
# Takes the console's pictures in docs/ on virtual X displays (Xvfb, software
# GL), each decoding the demo recording in a window of 1280x800 points:
#   console.png        as it first opens (the desktop's theme, 100 %)
#   console-light.png  the light theme
#   console-dark.png   the dark theme
#   console-150.png    150 % scale (QT_SCALE_FACTOR=1.5), 1920x1200 pixels
#   console-200.png    200 % scale (QT_SCALE_FACTOR=2), 2560x1600 pixels
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

# shoot NAME THEME SCALE: one picture, with a fresh settings file (so the
# toolbar shows the default macro titles) holding only the theme.
shoot() {
    local name="$1" theme="$2" scale="$3"
    local width height
    width=$(awk "BEGIN { print int(1280 * $scale) }")
    height=$(awk "BEGIN { print int(800 * $scale) }")
    mkdir -p "$work/$name"
    printf '[General]\ntheme=%s\n' "$theme" >"$work/$name/settings.ini"
    QT_SCALE_FACTOR="$scale" xvfb-run -a -s "-screen 0 ${width}x${height}x24" \
        "$console" -geometry 1280x800+0+0 --settings "$work/$name/settings.ini" \
        --play assets/demo.wav --screenshot "docs/$name.png" --screenshot-after "$seconds"
    echo "docs/$name.png written" >&2
}

# The five run side by side: each plays the recording in real time.
pids=()
shoot console system 1 & pids+=($!)
shoot console-light light 1 & pids+=($!)
shoot console-dark dark 1 & pids+=($!)
shoot console-150 system 1.5 & pids+=($!)
shoot console-200 system 2 & pids+=($!)
status=0
for pid in "${pids[@]}"; do
    wait "$pid" || status=1
done
exit "$status"
