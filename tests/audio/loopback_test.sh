#!/bin/bash
# Live audio end to end: a private PulseAudio server with a null sink stands in
# for the radio. "send" plays a QSO into the sink while "listen" decodes the
# sink's monitor; the text must come out exactly. Also: listen without any
# sound server, the server going away and coming back under a running listen,
# and Ctrl-C during a transmission.
#
# usage: loopback_test.sh PATH/TO/tarn-psk31
# Exit 77 (skipped) when pulseaudio is not installed. Touches nothing of the
# user's: HOME, the runtime directory and the server socket are in a fresh
# temporary directory, and only processes started here are stopped.
set -u

program=${1:?usage: loopback_test.sh PATH/TO/tarn-psk31}
if ! command -v pulseaudio > /dev/null; then
    echo "pulseaudio is not installed: skipped"
    exit 77
fi

work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-loopback.XXXXXX")
server_pid=""
listen_pid=""
send_pid=""

stop_process() { # PID: TERM, then KILL after 5 s
    local pid=$1
    [ -n "$pid" ] || return 0
    kill "$pid" 2> /dev/null || return 0
    for _ in $(seq 50); do
        kill -0 "$pid" 2> /dev/null || break
        sleep 0.1
    done
    kill -KILL "$pid" 2> /dev/null
    wait "$pid" 2> /dev/null
    return 0
}

cleanup() {
    stop_process "$send_pid"
    stop_process "$listen_pid"
    stop_process "$server_pid"
    rm -rf "$work"
}
trap cleanup EXIT

failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

# --- A private sound server ------------------------------------------------
mkdir -p "$work/home" "$work/run"
chmod 700 "$work/run"
export HOME="$work/home"
export XDG_RUNTIME_DIR="$work/run"
export PULSE_RUNTIME_PATH="$work/run"
export PULSE_STATE_PATH="$work/run/state"
export PULSE_SERVER="unix:$work/run/native"
export PULSE_CLIENTCONFIG="$work/client.conf"
unset XDG_CONFIG_HOME PULSE_SINK PULSE_SOURCE ALSA_CONFIG_PATH

# The radio: a null sink whose left channel (the one carrying the signal)
# comes back as a mono source, as a cable from the transmitter's audio would.
cat > "$work/server.pa" << CONF
load-module module-native-protocol-unix socket=$work/run/native auth-anonymous=1
load-module module-null-sink sink_name=radio rate=8000 channels=2
load-module module-remap-source source_name=radio_left master=radio.monitor channels=1 master_channel_map=front-left channel_map=mono
set-default-sink radio
set-default-source radio_left
CONF
# A client must never start a server of its own.
echo "autospawn = no" > "$work/client.conf"
# PortAudio reaches the server through ALSA's pulse plugin.
cat > "$HOME/.asoundrc" << CONF
pcm.!default { type pulse }
ctl.!default { type pulse }
CONF

start_server() {
    # Running as root (as CI does) only earns a warning in this per-user mode.
    pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --disable-shm=yes \
        --realtime=no --high-priority=no --log-target=stderr -F "$work/server.pa" \
        < /dev/null >> "$work/server.log" 2>&1 &
    server_pid=$!
    for _ in $(seq 100); do
        [ -S "$work/run/native" ] && return 0
        kill -0 "$server_pid" 2> /dev/null || break
        sleep 0.1
    done
    echo "the sound server did not start:"
    cat "$work/server.log"
    exit 1
}

wait_for() { # FILE TEXT SECONDS: until FILE contains TEXT
    for _ in $(seq $(($3 * 20))); do
        grep -qF -- "$2" "$1" 2> /dev/null && return 0
        sleep 0.05
    done
    return 1
}

start_listen() {
    : > "$work/listen.out"
    : > "$work/listen.err"
    "$program" listen < /dev/null > "$work/listen.out" 2> "$work/listen.err" &
    listen_pid=$!
    if ! wait_for "$work/listen.err" "listening to" 10; then
        fail "listen did not start"
        cat "$work/listen.err"
        exit 1
    fi
}

now_ms() { echo $(($(date +%s%N) / 1000000)); }

# The receiver needs about two characters to lock on to a new signal, so the
# message starts with idle spaces, as operators do.
qso=$'CQ CQ CQ DE TARN1 TARN1 K\nTARN1 DE TARN2 GM OM, UR RST 599 599.\nNAME IS JO, QTH TARNSIDE. HW? BK\n'
printf '    %s' "$qso" > "$work/qso.txt"

contains_qso() { # FILE: the whole QSO, final line feed included
    local text
    text=$(tr -d '\000' < "$1"; echo .)
    [[ "$text" == *"$qso"* ]]
}

# --- No sound server at all: a clear message and status 2 -----------------
status=0
timeout 30 "$program" listen < /dev/null > /dev/null 2> "$work/noserver.err" || status=$?
if [ "$status" != 2 ]; then
    fail "listen without a server: status $status, expected 2"
fi
if ! grep -q "cannot record" "$work/noserver.err"; then
    fail "listen without a server gave no clear message:"
    cat "$work/noserver.err"
fi

start_server

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
stop_process "$server_pid"
server_pid=""
if ! wait_for "$work/listen.err" "Audio device lost" 15; then
    fail "listen did not notice the server going away"
fi
kill -0 "$listen_pid" 2> /dev/null || fail "listen ended when the server went away"
rm -f "$work/run/native"
start_server
if ! wait_for "$work/listen.err" "Audio device back" 20; then
    fail "listen did not come back with the server"
    cat "$work/listen.err"
fi
# Receiving works again.
: > "$work/listen.out"
"$program" send --text $'    TARN2 DE TARN1 73 SK\n' < /dev/null 2> "$work/send.err" ||
    fail "send after the restart: $(cat "$work/send.err")"
wait_for "$work/listen.out" "73 SK" 5 || fail "nothing decoded after the server came back"

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

if [ "$failures" -gt 0 ]; then
    echo "--- listen's log"
    cat "$work/listen.err"
    exit 1
fi
echo "all live audio checks passed"
