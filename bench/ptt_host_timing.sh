#!/bin/bash
# Measures PTT on to first audio and last audio to PTT off through the
# audio host on a live loopback: a private PulseAudio server's null sink stands in for the
# radio's audio, rigctld -m 1 (Hamlib's dummy radio, keyed by CAT) for the
# radio. Prints the figures; asserts nothing.
#
# usage: ptt_host_timing.sh PATH/TO/ptt_host_timing [LEAD_MS TAIL_MS RUNS]
set -u
program=${1:?usage: ptt_host_timing.sh PATH/TO/ptt_host_timing [LEAD_MS TAIL_MS RUNS]}
lead=${2:-50}
tail=${3:-50}
runs=${4:-5}

. "$(dirname "$0")/../tests/support/private_pulse.sh"
work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-ptt-timing.XXXXXX")
rigctld_pid=""
cleanup() {
    stop_process "$rigctld_pid"
    stop_process "$private_pulse_pid"
    rm -rf "$work"
}
trap cleanup EXIT

start_private_pulse "$work" || exit 1
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
rigctld -m 1 -P RIG -T 127.0.0.1 -t "$port" &
rigctld_pid=$!
sleep 0.5
"$program" "127.0.0.1:$port" "$lead" "$tail" "$runs" 2> "$work/errors.log"
status=$?
[ $status -eq 0 ] || cat "$work/errors.log"
exit $status
