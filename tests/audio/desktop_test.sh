#!/bin/bash
# Sending while a receiver listens on a desktop's sound server: a private
# PulseAudio server with a 48 kHz stereo null sink whose monitor is the
# default source, as desktops set it up. "listen" runs on the default source
# while "send" plays a message into the sink and parecord records the sink's
# monitor at 8000 Hz mono, as a transmitter would take it. Every run, the
# recording must decode to the message exactly, send must report no gap, and
# listen must neither lose its input nor miss the message.
#
# usage: desktop_test.sh PATH/TO/tarn-psk31 [RUNS]   (default 3 runs)
# Exit 77 (skipped) when pulseaudio or parecord is not installed. Touches
# nothing of the user's; only processes started here are stopped.
set -u

program=${1:?usage: desktop_test.sh PATH/TO/tarn-psk31 [RUNS]}
runs=${2:-3}

. "$(dirname "$0")/../support/private_pulse.sh"
require_tools pulseaudio parecord
live_test_setup desktop desktop record_pid listen_pid || exit 1

# The receiver locks on during the leading idle spaces.
message="CQ CQ de W1AW W1AW pse k CQ CQ de W1AW W1AW pse k"
printf '      %s\n' "$message" > "$work/message.txt"

failures=0
for run in $(seq "$runs"); do
    "$program" listen < /dev/null > "$work/listen.out" 2> "$work/listen.err" &
    listen_pid=$!
    if ! wait_for "$work/listen.err" "listening to" 10; then
        echo "FAIL run $run: listen did not start"
        cat "$work/listen.err"
        exit 1
    fi
    rm -f "$work/rec.wav"
    parecord --device=nullsink.monitor --rate=8000 --channels=1 --file-format=wav \
        "$work/rec.wav" &
    record_pid=$!
    sleep 0.5
    status=0
    "$program" send --text-file "$work/message.txt" < /dev/null 2> "$work/send.err" || status=$?
    sleep 0.5
    stop_process "$record_pid"
    record_pid=""
    wait_for "$work/listen.out" "$message" 3
    kill -INT "$listen_pid"
    wait "$listen_pid"
    listen_pid=""

    decoded=$("$program" decode "$work/rec.wav" 2> /dev/null | tr -d '\000')
    problems=""
    [ "$status" = 0 ] || problems+=" send ended with status $status;"
    grep -q "underflow" "$work/send.err" && problems+=" send reported gaps;"
    [[ "$decoded" == *"$message"* ]] || problems+=" the recording decoded to '$decoded';"
    grep -q "Audio device lost" "$work/listen.err" && problems+=" listen lost its input;"
    grep -qF "$message" "$work/listen.out" || problems+=" listen missed the message;"
    if [ -n "$problems" ]; then
        echo "FAIL run $run:$problems"
        echo "--- send"; cat "$work/send.err"
        echo "--- listen"; cat "$work/listen.err"; od -c "$work/listen.out" | head -20
        failures=$((failures + 1))
    else
        echo "run $run: recording and listener decoded the message exactly, no gap"
    fi
done

[ "$failures" = 0 ] || { echo "$failures of $runs runs failed"; exit 1; }
echo "all $runs runs clean"
