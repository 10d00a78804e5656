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
# The console program runs on X with Qt's xcb and GL libraries, whose
# leftovers at exit the slow unwinder would take minutes to attribute: as
# for the console's GL test, its leaks are not checked (listen's are).
run_console() {
    local LSAN_OPTIONS="" ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
    export LSAN_OPTIONS ASAN_OPTIONS
    if command -v xvfb-run > /dev/null; then
        QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1280x800x24" "$console_test" \
            > "$work/console.log" 2>&1
    else
        QT_QPA_PLATFORM=offscreen "$console_test" > "$work/console.log" 2>&1
    fi
    local status=$?
    if [ "$status" != 0 ] || grep -q "^SKIP" "$work/console.log"; then
        echo "FAIL: the console test program failed (status $status):"
        cat "$work/console.log"
        exit 1
    fi
}

: > "$work/listen.out"
run_console
# The last block of 250 ms still has to pass through the receiver.
if ! wait_for "$work/listen.out" "CQ de $callsign" 5; then
    echo "FAIL: the listener did not print \"CQ de $callsign\"; got:"
    od -c "$work/listen.out" | head -20
    echo "--- listen's log"
    cat "$work/listen.err"
    exit 1
fi
if grep -q "Audio device lost" "$work/listen.err"; then
    echo "FAIL: the listener lost its input while the console played:"
    cat "$work/listen.err"
    exit 1
fi
echo "decoded: $(tr -d '\000' < "$work/listen.out" | tr '\n' ' ')"
echo "the console's transmission decoded as sent"
