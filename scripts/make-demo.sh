#!/usr/bin/env bash
# Builds assets/demo.wav, the recording the console plays in its demo: 45 s of
# receiver noise with two PSK31 stations rendered by tarn-psk31 encode, one
# on the console's start frequency of 1500 Hz and one at 1900 Hz (tap it on
# the waterfall to read it). 16-bit PCM at 8000 Hz.
# The same tool build gives the same file: the noise is seeded and the mix
# is not dithered.
#
# Usage: scripts/make-demo.sh [PATH/TO/tarn-psk31]   (default: release build)
set -euo pipefail
cd "$(dirname "$0")/.."

tool="${1:-build/release/tools/tarn-psk31}"
if [[ ! -x "$tool" ]]; then
    echo "make-demo.sh: no tarn-psk31 at $tool (build it, or give its path)" >&2
    exit 1
fi
command -v sox >/dev/null || { echo "make-demo.sh: sox is needed to mix the stations" >&2; exit 1; }

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

near="CQ CQ CQ de W1AW W1AW W1AW pse K
W1AW de N0CALL N0CALL GM OM TNX FER CALL UR RST 599 599 NAME JOE QTH BOSTON HW? W1AW DE N0CALL K
"
far="QRL? de DL2XYZ
CQ TEST DL2XYZ DL2XYZ TEST
G4ABC 599 001 DL2XYZ TU
"

# The near station carries the noise (its file is the longer one), the far
# one is clean; each is mixed at half level so the sum stays below full scale.
"$tool" encode --frequency 1500 --noise 0.08 --seed 7 --lead-in 1 --text "$near" \
    -o "$work/near.wav"
"$tool" encode --frequency 1900 --lead-in 4 --text "$far" -o "$work/far.wav"
sox -V1 -D -m -v 0.5 "$work/near.wav" -v 0.5 "$work/far.wav" -b 16 -e signed-integer \
    "$work/demo.wav" trim 0 45
mv "$work/demo.wav" assets/demo.wav
echo "assets/demo.wav: $(soxi -D assets/demo.wav) s, $(stat -c %s assets/demo.wav) bytes" >&2
