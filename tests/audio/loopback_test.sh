#!/bin/bash
# Live audio end to end: a private PulseAudio server with a null sink stands in
# for the radio. "send" plays a QSO into the sink while "listen" decodes the
# sink's monitor; the text must come out exactly. Also: the server going away
# and coming back under a running listen, Ctrl-C during a transmission,
# devices at other rates than 8000 Hz, and listen without any sound server.
#
# usage: loopback_test.sh PATH/TO/tarn-psk31
# Exit 77 (skipped) when pulseaudio is not installed. Touches nothing of the
# user's: HOME, the runtime directory and the server socket are in a fresh
# temporary directory (kept for inspection when KEEP_WORK is set), and only
# processes started here are stopped.
set -u

program=${1:?usage: loopback_test.sh PATH/TO/tarn-psk31}

. "$(dirname "$0")/../support/private_pulse.sh"
require_tools pulseaudio
live_test_setup loopback radio send_pid listen_pid || exit 1

failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# Collects the programs' messages of every step, shown when a check fails.
keep_log() { # FILE
    [ -s "$1" ] && { echo "--- $(basename "$1")"; cat "$1"; } >> "$work/messages.log"
    return 0
}

start_listen() { # [listen's options]
    keep_log "$work/listen.err"
    : > "$work/listen.out"
    : > "$work/listen.err"
    "$program" listen "$@" < /dev/null > "$work/listen.out" 2> "$work/listen.err" &
    listen_pid=$!
    if ! wait_for "$work/listen.err" "listening to" 10; then
        fail "listen did not start"
        cat "$work/listen.err"
        exit 1
    fi
}

now_ms() { echo $(($(date +%s%N) / 1000000)); }

# The receiver needs up to five characters (about a second) to lock on to a
# new signal, so the message starts with idle spaces, as operators send idle
# before they type.
qso=$'CQ CQ CQ DE TARN1 TARN1 K\nTARN1 DE TARN2 GM OM, UR RST 599 599.\nNAME IS JO, QTH TARNSIDE. HW? BK\n'
printf '        %s' "$qso" > "$work/qso.txt"

contains_qso() { # FILE: the whole QSO, final line feed included
    local text
    text=$(tr -d '\000' < "$1"; echo .)
    [[ "$text" == *"$qso"* ]]
}

# --- A QSO through the loop ---------------------------------------------------
start_listen
sleep 1
before=$(stat -c %s "$work/listen.out")
started=$(now_ms)
"$program" send --text-file "$work/qso.txt" < /dev/null 2> "$work/send.err" &
send_pid=$!
# The delay is counted from the moment send hands the text to the engine.
sending=""
first=""
while kill -0 "$send_pid" 2> /dev/null; do
    if [ -z "$sending" ] && grep -q "sending" "$work/send.err"; then
        sending=$(now_ms)
    fi
    if [ -n "$sending" ] && [ -z "$first" ] &&
        [ "$(stat -c %s "$work/listen.out")" -gt "$before" ]; then
        first=$(now_ms)
    fi
    sleep 0.01
done
status=0
wait "$send_pid" || status=$?
send_pid=""
played=$(now_ms)
[ "$status" = 0 ] || fail "send: status $status: $(cat "$work/send.err")"
keep_log "$work/send.err"
# The last block of 250 ms still has to pass through the receiver; the final
# line feed shows that the end of the message reached the sink.
for _ in $(seq 100); do
    contains_qso "$work/listen.out" && break
    sleep 0.05
done
if ! contains_qso "$work/listen.out"; then
    fail "the decoded text differs from the QSO sent; got:"
    od -c "$work/listen.out" | head -40
fi
if [ -n "$first" ]; then
    echo "figure: first decoded character $((first - sending)) ms after the text was sent;" \
        "send ran for $((played - started)) ms"
fi

# --- The server goes away under a running listen, and comes back -----------
stop_process "$private_pulse_pid"
private_pulse_pid=""
if ! wait_for "$work/listen.err" "Audio device lost" 15; then
    fail "listen did not notice the server going away"
fi
kill -0 "$listen_pid" 2> /dev/null || fail "listen ended when the server went away"
rm -f "$work/run/native"
start_private_pulse "$work" || exit 1
if ! wait_for "$work/listen.err" "Audio device back" 20; then
    fail "listen did not come back with the server"
    cat "$work/listen.err"
fi
# Receiving works again (a fresh server takes about two seconds to deliver
# its first input).
sleep 3
: > "$work/listen.out"
"$program" send --text $'        TARN2 DE TARN1 73 SK\n' < /dev/null 2> "$work/send.err" ||
    fail "send after the restart: $(cat "$work/send.err")"
keep_log "$work/send.err"
wait_for "$work/listen.out" "73 SK" 5 ||
    fail "nothing decoded after the server came back; got: $(cat "$work/listen.out")"

kill -INT "$listen_pid"
status=0
wait "$listen_pid" || status=$?
listen_pid=""
[ "$status" = 0 ] || fail "listen stopped by Ctrl-C: status $status"

# --- Ctrl-C ends a transmission at once, with the output stopped -----------
yes "CQ CQ CQ DE TARN1" | head -c 4000 > "$work/long.txt"
started=$(now_ms)
"$program" send --text-file "$work/long.txt" < /dev/null 2> "$work/send.err" &
send_pid=$!
sleep 2
kill -INT "$send_pid"
status=0
wait "$send_pid" || status=$?
send_pid=""
elapsed=$(($(now_ms) - started))
[ "$status" = 130 ] || fail "send interrupted: status $status, expected 130"
[ "$elapsed" -lt 5000 ] || fail "send took $elapsed ms to stop after Ctrl-C"

# --- Devices run at other rates, converted to and from 8000 Hz -------------
start_listen --device-rate 44100
"$program" send --device-rate 48000 --text $'        TARN1 DE TARN2 TU 73\n' < /dev/null \
    2> "$work/send.err" || fail "send at 48000 Hz: $(cat "$work/send.err")"
keep_log "$work/send.err"
wait_for "$work/listen.out" "TARN1 DE TARN2 TU 73" 5 ||
    fail "nothing decoded through the rate converters; got: $(cat "$work/listen.out")"
kill -INT "$listen_pid"
wait "$listen_pid"
listen_pid=""

# --- The band scanner on live input ----------------------------------------
start_listen --scan --format jsonl
"$program" send --text $'        TARN3 DE TARN4 KN\n' < /dev/null 2> "$work/send.err" ||
    fail "send to the scanner: $(cat "$work/send.err")"
keep_log "$work/send.err"
kill -INT "$listen_pid"
wait "$listen_pid"
listen_pid=""
# The pieces of text, joined: the message as sent.
scanned=$(sed -n 's/.*"freq": 1[45][0-9][0-9]\.[0-9].*"text": "\(.*\)"}$/\1/p' "$work/listen.out" |
    tr -d '\n')
[[ "$scanned" == *"TARN3 DE TARN4 KN"* ]] ||
    fail "the live scanner did not decode the message; got: $(head -c 600 "$work/listen.out")"

# --- No sound server at all: a clear message and status 2 -----------------
stop_process "$private_pulse_pid"
private_pulse_pid=""
rm -f "$work/run/native"
status=0
timeout 30 "$program" listen < /dev/null > /dev/null 2> "$work/noserver.err" || status=$?
if [ "$status" != 2 ]; then
    fail "listen without a server: status $status, expected 2"
fi
if ! grep -q "cannot record" "$work/noserver.err"; then
    fail "listen without a server gave no clear message:"
    cat "$work/noserver.err"
fi

if [ "$failures" -gt 0 ]; then
    keep_log "$work/listen.err"
    cat "$work/messages.log"
    exit 1
fi
echo "all live audio checks passed"
