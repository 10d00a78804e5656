#!/bin/bash
# The console on live audio, end to end: a private PulseAudio server with a
# null sink stands in for the radio. "tarn-psk31 listen" decodes the sink's
# monitor while the console test program (on an X server of its own when
# xvfb-run is there) sets a call sign, types "CQ de \C" and presses Return;
# the listener must print the expanded text.
#
# usage: console_loopback_test.sh PATH/TO/tarn-psk31 PATH/TO/test_console_loopback
# Exit 77 (skipped) when pulseaudio is not installed. Only processes started
# here are stopped.
set -u

program=${1:?usage: console_loopback_test.sh TARN-PSK31 TEST-PROGRAM}
console_test=${2:?usage: console_loopback_test.sh TARN-PSK31 TEST-PROGRAM}
callsign=TARN9

. "$(dirname "$0")/../support/private_pulse.sh"
require_tools pulseaudio
# ThreadSanitizer builds: Qt is not instrumented either.
extra_tsan_suppressions="$(cd "$(dirname "$0")" && pwd)/tsan-qt-windows.supp"
live_test_setup console-loopback radio listen_pid || exit 1

# --- The listener on the sink's monitor --------------------------------------
"$program" listen < /dev/null > "$work/listen.out" 2> "$work/listen.err" &
listen_pid=$!
if ! wait_for "$work/listen.err" "listening to" 10; then
    echo "FAIL: listen did not start"
    cat "$work/listen.err"
    exit 1
fi
sleep 1

# --- The console sends ---------------------------------------------------------
export TARN_TEST_CALLSIGN=$callsign
: > "$work/listen.out"
run_console_test "$console_test"
expect_listened "$work/listen.out" "$work/listen.err" "CQ de $callsign"
if grep -q "Audio device lost" "$work/listen.err"; then
    echo "FAIL: the listener lost its input while the console played:"
    cat "$work/listen.err"
    exit 1
fi
echo "decoded: $(tr -d '\000' < "$work/listen.out" | tr '\n' ' ')"
echo "the console's transmission decoded as sent"
