#!/bin/bash
# send keying a radio on live audio: a private PulseAudio server stands in
# for the radio's audio and rigctld with Hamlib's dummy radio for its CAT
# port (reached as model 2 on a free local port). PTT must be on while the
# message plays and off after it, off again when the sound server goes away
# mid-transmission and when send gets SIGTERM mid-transmission; with no
# rigctld listening, send must refuse with one line within the rig timeout.
#
# usage: rig_test.sh PATH/TO/tarn-psk31
# Exit 77 (skipped) when pulseaudio or rigctld is not installed. Only
# processes started here are stopped.
set -u

program=${1:?usage: rig_test.sh PATH/TO/tarn-psk31}

. "$(dirname "$0")/../support/private_pulse.sh"
require_tools pulseaudio rigctld rigctl
live_test_setup rig radio send_pid rigctld_pid || exit 1

failures=0
fail() {
    echo "FAIL: $*"
    [ -s "$work/send.err" ] && { echo "--- send"; cat "$work/send.err"; }
    failures=$((failures + 1))
}
free_port() {
    python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}
now_ms() { echo $(($(date +%s%N) / 1000000)); }

port=$(free_port)
rig=(--rig 2 --rig-port "127.0.0.1:$port" --ptt cat)
ptt() { rigctl -m 2 -r "127.0.0.1:$port" t 2> /dev/null; }
# Waits up to SECONDS for the dummy's PTT to read STATE (0 or 1).
wait_ptt() { # STATE SECONDS
    for _ in $(seq $(($2 * 10))); do
        [ "$(ptt)" = "$1" ] && return 0
        sleep 0.1
    done
    return 1
}

rigctld -m 1 -P RIG -T 127.0.0.1 -t "$port" > "$work/rigctld.log" 2>&1 &
rigctld_pid=$!
wait_ptt 0 5 || { echo "rigctld did not come up"; cat "$work/rigctld.log"; exit 1; }

long=$(yes "CQ CQ CQ DE TARN1" | head -c 600 | tr '\n' ' ')

# Waits (at most 15 s) for the send started in the background; its exit
# status is left in $status.
finish_send() {
    status=0
    timeout 15 tail --pid="$send_pid" -f /dev/null
    wait "$send_pid" || status=$?
    send_pid=""
}

# --- Keyed while the message plays, released after it ----------------------
"$program" send "${rig[@]}" --text "  TARN1 TEST K" < /dev/null 2> "$work/send.err" &
send_pid=$!
wait_ptt 1 5 || fail "PTT did not come on during send"
finish_send
[ "$status" = 0 ] || fail "send with the rig: status $status"
[ "$(ptt)" = 0 ] || fail "PTT still on after send"

# --- SIGTERM mid-transmission releases PTT ------------------------------------
"$program" send "${rig[@]}" --text "$long" < /dev/null 2> "$work/send.err" &
send_pid=$!
wait_ptt 1 5 || fail "PTT did not come on (SIGTERM case)"
sleep 1
kill -TERM "$send_pid"
finish_send
[ "$status" = 143 ] || fail "send after SIGTERM: status $status, expected 143"
[ "$(ptt)" = 0 ] || fail "PTT still on after SIGTERM"

# --- The sound server goes away mid-transmission: PTT released --------------
"$program" send "${rig[@]}" --text "$long" < /dev/null 2> "$work/send.err" &
send_pid=$!
wait_ptt 1 5 || fail "PTT did not come on (server case)"
sleep 1
stop_process "$private_pulse_pid"
private_pulse_pid=""
wait_ptt 0 5 || fail "PTT not released within 5 s of the sound server going away"
finish_send
[ "$status" = 1 ] || fail "send after losing the server: status $status, expected 1"
grep -q "Audio device lost" "$work/send.err" || fail "send did not log the lost device"

# --- No rigctld: refused with one line, within the timeout ------------------
rm -f "$work/run/native"
start_private_pulse "$work" || exit 1
stop_process "$rigctld_pid"
rigctld_pid=""
started=$(now_ms)
status=0
"$program" send "${rig[@]}" --rig-timeout 1000 --text "TEST" < /dev/null 2> "$work/send.err" ||
    status=$?
elapsed=$(($(now_ms) - started))
[ "$status" = 1 ] || fail "send without rigctld: status $status, expected 1"
# One line of send's own (the rig layer logs its failure as well).
lines=$(grep -c "^tarn-psk31 send:" "$work/send.err")
[ "$lines" = 1 ] || fail "send without rigctld: $lines lines from send, expected 1"
grep -q "Failed to start output audio" "$work/send.err" && fail "send tried to transmit"
[ "$elapsed" -lt 4000 ] || fail "send without rigctld took $elapsed ms"
echo "figure: refused without rigctld after $elapsed ms: $(cat "$work/send.err")"

# --- The transmit watchdog cuts a long message: PTT released about 2 s after
# it came on (not at the end of the text), the release logged, status 1 ------
rigctld -m 1 -P RIG -T 127.0.0.1 -t "$port" > "$work/rigctld.log" 2>&1 &
rigctld_pid=$!
wait_ptt 0 5 || { echo "rigctld did not come back"; cat "$work/rigctld.log"; exit 1; }
"$program" send "${rig[@]}" --tx-watchdog 2 --text "$long" < /dev/null 2> "$work/send.err" &
send_pid=$!
if wait_ptt 1 5; then
    keyed=$(now_ms)
    wait_ptt 0 10 || fail "PTT still on 10 s after the 2 s watchdog"
    held=$(($(now_ms) - keyed))
    # Generous bounds: the polling and a loaded machine blur the figure.
    [ "$held" -ge 1500 ] && [ "$held" -le 4000 ] || fail "watchdog released PTT after $held ms"
    echo "figure: the 2 s watchdog released PTT after $held ms (polled every 0.1 s)"
else
    fail "PTT did not come on (watchdog case)"
fi
finish_send
[ "$status" = 1 ] || fail "send cut by the watchdog: status $status, expected 1"
grep -q "Transmit watchdog: PTT released after 2 s" "$work/send.err" ||
    fail "send did not log the watchdog"
grep -q "^tarn-psk31 send: the transmit watchdog cut the transmission" "$work/send.err" ||
    fail "send did not say the watchdog cut the message"

[ "$failures" = 0 ] || exit 1
echo "all rig checks passed"
