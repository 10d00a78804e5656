#!/usr/bin/env bash
# Builds assets/demo.wav, the recording the console plays in its demo: 45 s of
# receiver noise with five PSK31 stations rendered by tarn-psk31 encode, at
# different carriers, start times and levels: one on the console's start
# frequency of 1500 Hz, the others at 800, 1150, 1900 and 2250 Hz (tap them
# on the waterfall, or in the band panel, to read them); four call CQ.
# 16-bit PCM at 8000 Hz.
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
low="CQ CQ CQ de F5ABC F5ABC F5ABC pse K
"
qso="G4ABC de VK2DEF TNX RPRT UR 579 NAME ANN SK
"
high="CQ DX CQ DX de JA1ZZZ JA1ZZZ K
"

# The station at 1500 Hz carries the noise (its file is the longest); the
# others are clean. Levels differ so the band shows strong and weak stations;
# the sum stays below full scale.
"$tool" encode --frequency 1500 --noise 0.08 --seed 7 --lead-in 1 --text "$near" \
    -o "$work/near.wav"
"$tool" encode --frequency 1900 --lead-in 4 --text "$far" -o "$work/far.wav"
"$tool" encode --frequency 800 --lead-in 7 --text "$low" -o "$work/low.wav"
"$tool" encode --frequency 1150 --lead-in 2 --text "$qso" -o "$work/qso.wav"
"$tool" encode --frequency 2250 --lead-in 12 --text "$high" -o "$work/high.wav"
sox -V1 -D -m -v 0.4 "$work/near.wav" -v 0.3 "$work/far.wav" -v 0.15 "$work/low.wav" \
    -v 0.25 "$work/qso.wav" -v 0.1 "$work/high.wav" -b 16 -e signed-integer \
    "$work/demo.wav" trim 0 45
mv "$work/demo.wav" assets/demo.wav
echo "assets/demo.wav: $(soxi -D assets/demo.wav) s, $(stat -c %s assets/demo.wav) bytes" >&2
