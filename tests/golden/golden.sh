#!/usr/bin/env bash
# Golden outputs of tarn-psk31: the SHA-256 of every file encode writes, of
# the text and the trace decode writes, and of the waterfall rows spectrum
# writes, for a fixed set of runs over recordings made here (noise from the
# encoder's seeded generator). Any change to one of these numbers is a fault.
#
#   golden.sh PROGRAM EXPECTED            compare (exit 1 on any difference)
#   golden.sh PROGRAM EXPECTED --update   rewrite EXPECTED from this build
#
# Only files and standard output are hashed, never standard error.
set -euo pipefail

program=$(realpath "$1")
expected=$(realpath -m "$2")
mode=${3:-check}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

actual=$work/actual.sha256
: >"$actual"

# hash NAME FILE: one line "NAME SHA256" of the result list. A float WAV's
# PEAK chunk carries the time it was written; that stamp is zeroed first.
hash() {
    local peak
    peak=$(grep -obUa -m1 PEAK "$2" | head -n1 | cut -d: -f1 || true)
    if [ -n "$peak" ] && [ "$(head -c 4 "$2")" = RIFF ]; then
        printf '\0\0\0\0' | dd of="$2" bs=1 seek=$((peak + 12)) conv=notrunc status=none
    fi
    printf '%s %s\n' "$1" "$(sha256sum "$2" | cut -d' ' -f1)" >>"$actual"
}

# Every byte value 0 .. 255 once, in order, as one message.
printf "$(printf '\\%03o' $(seq 0 255))" >all-bytes.txt
[ "$(stat -c %s all-bytes.txt)" = 256 ] || { echo "all-bytes.txt is not 256 bytes" >&2; exit 1; }

encode() { # NAME ARGS...: encode, hash the WAV
    local name=$1
    shift
    "$program" encode "$@" -o "$name.wav" 2>/dev/null
    hash "encode/$name" "$name.wav"
}

encode e --text e
encode empty --text ""
encode cq-1200 --text "CQ CQ CQ de N0CALL pse K" --frequency 1200
encode cq-2500-pcm16 --text "CQ de N0CALL" --frequency 2500 --pcm16
encode all-bytes-500 --text-file all-bytes.txt --frequency 500
encode all-bytes-1777 --text-file all-bytes.txt --frequency 1777.3
encode noisy-lead-in --text "noisy lead in" --frequency 1000 --noise 0.3 --seed 7 --lead-in 3

# Recordings for the receiver: text in noise, a silent or noisy lead-in,
# received off its carrier so that the AFC has to pull in.
qso="RST 599 599 name Anna QTH Lund hw? BTK de SM7ABC k"
"$program" encode --text "$qso" --frequency 1200 --noise 0.2 --seed 3 -o qso.wav 2>/dev/null
"$program" encode --text "$qso" --frequency 1837 --noise 0.35 --seed 11 --lead-in 6 \
    -o late.wav 2>/dev/null
"$program" encode --text-file all-bytes.txt --frequency 700 --noise 0.1 --seed 5 \
    -o bytes.wav 2>/dev/null
hash recording/qso qso.wav
hash recording/late late.wav
hash recording/bytes bytes.wav

decode() { # NAME FILE ARGS...: decode with a trace, hash the text and the trace
    local name=$1 file=$2
    shift 2
    "$program" decode "$file" --trace "$name.csv" "$@" >"$name.txt" 2>/dev/null
    hash "decode/$name/text" "$name.txt"
    hash "decode/$name/trace" "$name.csv"
}

decode on-carrier qso.wav --frequency 1200
decode plus-4 qso.wav --frequency 1196
decode minus-6 qso.wav --frequency 1206
decode plus-7-retune qso.wav --frequency 1193 --retune-at 4
decode afc-off qso.wav --frequency 1202 --afc off
decode squelch qso.wav --frequency 1200 --squelch -5
decode late-retune late.wav --frequency 1840 --retune-at 9.5
decode late-no-retune late.wav --frequency 1834
decode all-bytes bytes.wav --frequency 703 --retune-at 2.25

spectrum() { # NAME FILE ARGS...: the waterfall rows (and the text)
    local name=$1 file=$2
    shift 2
    "$program" spectrum "$file" -o "$name.png" --raw "$name.f32" "$@" >"$name.txt" 2>/dev/null
    hash "spectrum/$name/rows" "$name.f32"
    hash "spectrum/$name/text" "$name.txt"
}

spectrum qso qso.wav --frequency 1200
spectrum late late.wav --frequency 1840 --retune-at 9.5

if [ "$mode" = --update ]; then
    cp "$actual" "$expected"
    echo "wrote $(wc -l <"$expected") golden hashes to $expected"
    exit 0
fi
if ! diff -u "$expected" "$actual"; then
    echo "golden outputs differ (lines with - are expected, + are this build's)" >&2
    exit 1
fi
echo "all $(wc -l <"$expected") golden outputs match"
