# Shell helpers for live-audio tests: a private PulseAudio server with a null
# sink "radio" (8000 Hz, two channels) standing in for the radio, whose left
# channel (the one carrying the signal) comes back as the mono default source
# "radio_left", as a cable from the transmitter's audio would; reached by
# PortAudio through ALSA's pulse plugin. With the layout "desktop" the server
# is set up as a desktop's usually is instead: a 48 kHz stereo null sink
# "nullsink" and its monitor remapped as the default source "loopin". Source
# this file, then call live_test_setup (below), or start_private_pulse
# WORKDIR [desktop] to start a server again. HOME, the runtime directory and
# the socket are inside WORKDIR, so nothing of the user's is touched.

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

wait_for() { # FILE TEXT SECONDS: until FILE contains TEXT
    for _ in $(seq $(($3 * 20))); do
        grep -qF -- "$2" "$1" 2> /dev/null && return 0
        sleep 0.05
    done
    return 1
}

private_pulse_pid=""

# Sets up the environment for a server in WORKDIR and starts it; returns 1
# (after printing its log) when it does not come up.
start_private_pulse() { # WORKDIR [desktop]
    local work=$1 layout=${2:-radio}
    mkdir -p "$work/home" "$work/run"
    chmod 700 "$work/run"
    export HOME="$work/home"
    export XDG_RUNTIME_DIR="$work/run"
    export PULSE_RUNTIME_PATH="$work/run"
    export PULSE_STATE_PATH="$work/run/state"
    export PULSE_SERVER="unix:$work/run/native"
    export PULSE_CLIENTCONFIG="$work/client.conf"
    unset XDG_CONFIG_HOME PULSE_SINK PULSE_SOURCE ALSA_CONFIG_PATH

    if [ "$layout" = desktop ]; then
        cat > "$work/server.pa" << CONF
load-module module-native-protocol-unix socket=$work/run/native auth-anonymous=1
load-module module-null-sink sink_name=nullsink rate=48000 channels=2
load-module module-remap-source master=nullsink.monitor source_name=loopin
set-default-sink nullsink
set-default-source loopin
CONF
    else
        cat > "$work/server.pa" << CONF
load-module module-native-protocol-unix socket=$work/run/native auth-anonymous=1
load-module module-null-sink sink_name=radio rate=8000 channels=2
load-module module-remap-source source_name=radio_left master=radio.monitor channels=1 master_channel_map=front-left channel_map=mono
set-default-sink radio
set-default-source radio_left
CONF
    fi
    # A client must never start a server of its own.
    echo "autospawn = no" > "$work/client.conf"
    cat > "$HOME/.asoundrc" << CONF
pcm.!default { type pulse }
ctl.!default { type pulse }
CONF

    # Running as root (as CI does) only earns a warning in this per-user mode.
    # Real-time scheduling for the server's threads, as desktops give it
    # (through RealtimeKit); where it is not allowed the server runs without.
    pulseaudio -n --daemonize=no --exit-idle-time=-1 --use-pid-file=no --disable-shm=yes \
        --realtime=yes --high-priority=yes --log-target=stderr -F "$work/server.pa" \
        < /dev/null >> "$work/server.log" 2>&1 &
    private_pulse_pid=$!
    for _ in $(seq 100); do
        [ -S "$work/run/native" ] && return 0
        kill -0 "$private_pulse_pid" 2> /dev/null || break
        sleep 0.1
    done
    echo "the sound server did not start:"
    cat "$work/server.log"
    return 1
}

# Exits with 77 (the test is skipped) when one of the programs is missing.
require_tools() { # PROGRAM...
    local tool
    for tool in "$@"; do
        if ! command -v "$tool" > /dev/null; then
            echo "$tool is not installed: skipped"
            exit 77
        fi
    done
}

# The common set-up of a live test, in one call:
#   live_test_setup NAME LAYOUT [PID-VARIABLE...]
# makes the work directory $work (removed at exit unless KEEP_WORK is set),
# gives ThreadSanitizer the sound libraries' suppressions (and the files in
# $extra_tsan_suppressions), starts the server in LAYOUT ("radio" or
# "desktop") and, at exit, stops the processes whose pids the named
# variables (set empty here) hold, then the server. Returns 1 when the
# server does not start.
live_test_pids=()
live_test_setup() { # NAME LAYOUT [PID-VARIABLE...]
    local support
    support=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
    work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-$1.XXXXXX")
    live_test_pids=("${@:3}")
    local name
    for name in "${live_test_pids[@]}"; do
        printf -v "$name" ''
    done
    # shellcheck disable=SC2086 # a list of files
    cat "$support/../audio/tsan_sound_libraries.supp" ${extra_tsan_suppressions:-} > "$work/tsan.supp"
    export TSAN_OPTIONS="${TSAN_OPTIONS:+$TSAN_OPTIONS:}suppressions=$work/tsan.supp"
    trap live_test_cleanup EXIT
    start_private_pulse "$work" "$2"
}

live_test_cleanup() {
    # A background job of the test that is stopped here is a copy of this
    # shell with the same trap: only the test's own shell cleans up.
    [ "$BASHPID" = "$$" ] || return 0
    local name
    for name in "${live_test_pids[@]}"; do
        stop_process "${!name}"
    done
    stop_process "$private_pulse_pid"
    if [ -n "${KEEP_WORK:-}" ]; then echo "kept $work"; else rm -rf "$work"; fi
}

# Runs a console test PROGRAM on an X server of its own (on Qt's offscreen
# platform where xvfb-run is missing), its output in $work/console.log, and
# ends the test when it fails or skips. Its leaks are not checked: Qt's xcb
# and GL libraries keep theirs until exit, and the slow unwinder would take
# minutes to attribute them (the command-line programs' leaks are checked).
run_console_test() { # PROGRAM
    local status=0
    local LSAN_OPTIONS="" ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
    export LSAN_OPTIONS ASAN_OPTIONS
    if command -v xvfb-run > /dev/null; then
        QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1280x800x24" "$1" \
            > "$work/console.log" 2>&1 || status=$?
    else
        QT_QPA_PLATFORM=offscreen "$1" > "$work/console.log" 2>&1 || status=$?
    fi
    if [ "$status" != 0 ] || grep -q "^SKIP" "$work/console.log"; then
        echo "FAIL: the console test program failed (status $status):"
        cat "$work/console.log"
        exit 1
    fi
}

# Ends the test unless "listen" printed TEXT within 5 s (the last 250 ms
# block still has to pass through the receiver after the audio ends).
expect_listened() { # OUT-FILE ERR-FILE TEXT
    wait_for "$1" "$3" 5 && return 0
    echo "FAIL: the listener did not print \"$3\"; got:"
    od -c "$1" | head -20
    echo "--- listen's log"
    cat "$2"
    exit 1
}
