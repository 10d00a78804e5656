#!/usr/bin/env bash
# A short demonstration of the station without a radio: installs what is
# missing, builds tarn-psk31, renders a short QSO as PSK31 audio, buries it in
# receiver noise, and decodes it back to text.
#
# Usage: scripts/demo.sh [NOISE_RMS]   (default 0.2; the carrier peaks at 0.6)
set -euo pipefail
cd "$(dirname "$0")/.."

noise="${1:-0.2}"
frequency=1200

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

scripts/install-deps.sh
echo "== Building tarn-psk31 (release)" >&2
# The build's output is shown only when it fails.
if ! { cmake --preset release && cmake --build --preset release --target tarn-psk31; } \
    >"$work/build.log" 2>&1; then
    cat "$work/build.log" >&2
    echo "== The build failed" >&2
    exit 1
fi
tool=build/release/tools/tarn-psk31

qso="CQ CQ CQ DE N0CALL N0CALL PSE K
N0CALL DE W1AW GM OM TNX FER CALL UR RST 599 NAME JOE QTH BOSTON HW? N0CALL DE W1AW K
"

echo "== Sending at $frequency Hz with noise of RMS $noise:" >&2
printf '%s' "$qso" >&2
printf '%s' "$qso" | "$tool" encode --frequency "$frequency" --noise "$noise" --lead-in 2 \
    -o "$work/qso.wav"
# 32-bit float samples at 8000 Hz: 32000 bytes a second.
echo "== Recorded about $(($(stat -c %s "$work/qso.wav") / 32000)) s of 8000 Hz audio" >&2

echo "== Received (noise before the signal decodes as a few stray letters):" >&2
"$tool" decode "$work/qso.wav" --frequency "$frequency"
