#!/usr/bin/env bash
# The console on a platform without OpenGL widgets (Qt's offscreen one) must
# stop with exit status 1 and a line saying why, not crash.
# Usage: console_no_gl_test.sh CONSOLE_BINARY
set -uo pipefail
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
QT_QPA_PLATFORM=offscreen timeout 60 "$1" --settings "$work/settings.ini" \
    --screenshot "$work/shot.png" --screenshot-after 1 >"$work/out" 2>&1
status=$?
cat "$work/out"
if [[ $status -ne 1 ]]; then
    echo "FAIL: exit status $status, wanted 1" >&2
    exit 1
fi
if ! grep -q "^Console cannot start: the offscreen platform has no OpenGL widgets$" "$work/out"; then
    echo "FAIL: no log line saying why" >&2
    exit 1
fi
if [[ -e "$work/shot.png" ]]; then
    echo "FAIL: a screenshot was written" >&2
    exit 1
fi
echo "PASS"
