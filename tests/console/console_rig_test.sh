#!/bin/bash
# The console keying a radio on live audio: a private PulseAudio server with
# a null sink stands in for the radio's audio and rigctld with Hamlib's dummy
# radio for its CAT port (reached as model 2 on a free local port). The
# console test program (on an X server of its own) checks the RF readout and
# that PTT is on while a typed line plays and off after; "tarn-psk31 listen"
# on the sink's monitor must decode the whole line, so the audio reached the
# sink and played to its end, and "listen --scan" with the same rig must give
# the station's RF (dial plus carrier on USB) in its JSON lines.
#
# usage: console_rig_test.sh PATH/TO/tarn-psk31 PATH/TO/test_console_rig
# Exit 77 (skipped) when pulseaudio, rigctld, rigctl or xvfb-run is not
# installed. Only processes started here are stopped.
set -u

usage="usage: console_rig_test.sh TARN-PSK31 TEST-PROGRAM"
program=${1:?$usage}
console_test=${2:?$usage}
callsign=TARN8

. "$(dirname "$0")/../support/private_pulse.sh"
require_tools pulseaudio rigctld rigctl xvfb-run
# ThreadSanitizer builds: Qt is not instrumented either.
extra_tsan_suppressions="$(cd "$(dirname "$0")" && pwd)/tsan-qt-windows.supp"
live_test_setup console-rig radio listen_pid scan_pid rigctld_pid || exit 1

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
rigctld -m 1 -P RIG -T 127.0.0.1 -t "$port" > "$work/rigctld.log" 2>&1 &
rigctld_pid=$!
for _ in $(seq 50); do
    [ "$(rigctl -m 2 -r "127.0.0.1:$port" t 2> /dev/null)" = 0 ] && break
    sleep 0.1
done

"$program" listen < /dev/null > "$work/listen.out" 2> "$work/listen.err" &
listen_pid=$!
"$program" listen --scan --format jsonl --rig 2 --rig-port "127.0.0.1:$port" \
    < /dev/null > "$work/scan.out" 2> "$work/scan.err" &
scan_pid=$!
for log in listen scan; do
    if ! wait_for "$work/$log.err" "listening to" 10; then
        echo "FAIL: $log did not start"
        cat "$work/$log.err"
        exit 1
    fi
done
sleep 1
: > "$work/listen.out"

TARN_TEST_RIG="127.0.0.1:$port" TARN_TEST_CALLSIGN=$callsign run_console_test "$console_test"
expect_listened "$work/listen.out" "$work/listen.err" "CQ de $callsign"
echo "decoded: $(tr -d '\000' < "$work/listen.out" | tr '\n' ' ')"
# Every piece of the station at 1500 Hz carries its RF: the dial (14070000 Hz,
# USB, set by the console test) plus the carrier, each printed to 0.1 Hz.
if ! python3 - "$work/scan.out" << 'CHECK'; then
import json, sys
pieces = [json.loads(line) for line in open(sys.argv[1]) if line.strip()]
station = [p for p in pieces if abs(p["freq"] - 1500.0) < 10.0]
wrong = [p for p in station if abs(p.get("rf", 0.0) - (14070000.0 + p["freq"])) > 0.11]
print(f"{len(station)} pieces from the station, {len(wrong)} without its RF")
sys.exit(0 if station and not wrong else 1)
CHECK
    echo "FAIL: listen --scan did not give the station's RF; got:"
    head -20 "$work/scan.out"
    exit 1
fi
echo "the console keyed the radio around its transmission, which decoded as sent, with its RF"
