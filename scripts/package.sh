#!/usr/bin/env bash
# Builds the Debian package build/release/package/tarn-psk31_VERSION_ARCH.deb
# (cpack over the release tree) and proves that it installs and works:
#   chroot  in a clean Debian 12 (minbase) made with debootstrap, apt-get
#           installs the package with its dependencies; the programs report
#           their version, encode and decode a message, the console starts
#           under Xvfb and saves a picture; the package is removed again.
#   host    the same on this machine, without the console run, then removed.
#   none    only build the package.
# Either way the installed desktop entry and AppStream file go through
# desktop-file-validate and appstreamcli. Installing needs root.
#
# Usage: scripts/package.sh [chroot|host|none]
#   (default: chroot when root, host when the chroot cannot be made, else none)
# The chroot's base system is made once and kept as a tarball in
# /var/cache/tarn-psk31 (about 90 MB); each run unpacks a fresh copy.
set -euo pipefail
cd "$(dirname "$0")/.."

mode="${1:-auto}"
case "$mode" in
auto | chroot | host | none) ;;
*)
    echo "package.sh: the check is chroot, host or none, not '$mode'" >&2
    exit 2
    ;;
esac
if [[ "$mode" == auto ]]; then
    mode=none
    [[ "$(id -u)" -eq 0 ]] && mode=chroot
fi
if [[ "$mode" != none && "$(id -u)" -ne 0 ]]; then
    echo "package.sh: installing the package needs root" >&2
    exit 2
fi

scripts/install-deps.sh
echo "== Building the release tree and the package" >&2
log="$(mktemp)"
trap 'rm -f "$log"' EXIT
if ! { cmake --preset release &&
    cmake --build --preset release --target tarn-psk31 tarn-psk31-console tarn_man_pages &&
    rm -f build/release/package/tarn-psk31_*.deb &&
    cpack --config build/release/CPackConfig.cmake; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "== Building the package failed" >&2
    exit 1
fi
deb="$(ls build/release/package/tarn-psk31_*.deb)"
echo "== $deb (after $SECONDS s)" >&2
dpkg-deb --field "$deb" Package Version Depends Recommends >&2
version="$(dpkg-deb --field "$deb" Version)"
[[ "$mode" == none ]] && exit 0

id=org.example.tarn_psk31
cache=/var/cache/tarn-psk31
base="$cache/bookworm-minbase.tar.gz"
mirror=http://deb.debian.org/debian
root="" # the chroot, or empty for this machine

# Runs a command where the package is installed.
inside() {
    if [[ -n "$root" ]]; then
        chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root \
            DEBIAN_FRONTEND=noninteractive "$@"
    else
        DEBIAN_FRONTEND=noninteractive "$@"
    fi
}

# Makes the base system once: debootstrap into a scratch folder, kept packed.
make_base() {
    [[ -f "$base" ]] && return 0
    command -v debootstrap >/dev/null || return 1
    local scratch
    scratch="$(mktemp -d /var/tmp/tarn-psk31-base.XXXXXX)"
    echo "== Making a Debian 12 base system with debootstrap (once)" >&2
    if ! debootstrap --variant=minbase bookworm "$scratch" "$mirror" >"$log" 2>&1; then
        tail -5 "$log" >&2
        rm -rf "$scratch"
        return 1
    fi
    mkdir -p "$cache"
    tar -C "$scratch" -czf "$base.partial" . && mv "$base.partial" "$base"
    rm -rf "$scratch"
}

# The chroot is removed only while nothing is mounted inside it.
remove_chroot() {
    [[ -n "$root" && -d "$root" ]] || return 0
    if findmnt -rn -o TARGET | grep -q "^$root"; then
        echo "package.sh: something is mounted under $root; left in place" >&2
        return 0
    fi
    rm -rf "$root"
}

remove_package() {
    if inside dpkg-query -W -f='${Status}' tarn-psk31 2>/dev/null | grep -q "ok installed"; then
        inside apt-get remove -y -q tarn-psk31 >"$log" 2>&1 || cat "$log" >&2
    fi
}

if [[ "$mode" == chroot ]] && ! make_base; then
    echo "== No Debian 12 chroot can be made here (debootstrap or the archive missing);" \
        "checking on this machine instead" >&2
    mode=host
fi
if [[ "$mode" == chroot ]]; then
    root="$(mktemp -d /var/tmp/tarn-psk31-chroot.XXXXXX)"
    trap 'remove_chroot; rm -f "$log"' EXIT
    tar -C "$root" -xzf "$base"
    cp "$deb" "$root/tmp/"
    cp /etc/resolv.conf "$root/etc/resolv.conf"
    # A throw-away system: dpkg need not sync every file it unpacks.
    echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/tarn-psk31-check"
    inside apt-get update -q >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
    where="/tmp"
    echo "== Installing into a clean Debian 12 chroot ($root, after $SECONDS s)" >&2
else
    trap 'remove_package; rm -f "$log"' EXIT
    where="$PWD/build/release/package"
    echo "== Installing on this machine (removed again at the end)" >&2
fi

started=$SECONDS
if ! inside sh -c "cd '$where' && apt-get install -y -q ./$(basename "$deb")" >"$log" 2>&1; then
    cat "$log" >&2
    echo "== apt-get install failed" >&2
    exit 1
fi
grep -E '^[0-9]+ upgraded' "$log" >&2 || true
echo "== Installed in $((SECONDS - started)) s" >&2

failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

for program in tarn-psk31 tarn-psk31-console; do
    line="$(inside "$program" --version)" || fail "$program --version exited $?"
    echo "$line"
    [[ "$line" =~ ^$program\ $version\ \(commit\ [^\ ]+\)$ ]] || fail "$program --version: '$line'"
    [[ -f "$root/usr/share/man/man1/$program.1.gz" ]] || fail "no manual page for $program"
done

# A message through the installed tool and back (the receiver may miss the
# first character while it locks on).
text="CQ CQ de N0CALL N0CALL pse K"
inside tarn-psk31 encode --text "$text" --frequency 1200 -o /tmp/tarn-psk31-check.wav
copy="$(inside tarn-psk31 decode /tmp/tarn-psk31-check.wav --frequency 1200)"
inside rm -f /tmp/tarn-psk31-check.wav
[[ "$copy" == *"de N0CALL N0CALL pse K"* ]] || fail "decoded '$copy' from '$text'"
echo "decoded: $copy"

desktop="$root/usr/share/applications/$id.desktop"
metainfo="$root/usr/share/metainfo/$id.metainfo.xml"
echo "== desktop-file-validate $desktop" >&2
output="$(desktop-file-validate "$desktop" 2>&1)" && [[ -z "$output" ]] ||
    fail "desktop-file-validate: $output"
echo "== appstreamcli validate --no-net --pedantic $metainfo" >&2
appstreamcli validate --no-net --pedantic "$metainfo" || fail "appstreamcli validate"

if [[ -n "$root" ]]; then
    # The console from the package alone (plus an X server) draws its window.
    echo "== Starting the installed console under Xvfb (after $SECONDS s)" >&2
    inside apt-get install -y -q --no-install-recommends xvfb xauth >"$log" 2>&1 ||
        { cat "$log" >&2; exit 1; }
    inside tarn-psk31 encode --text "$text" --frequency 1500 -o /tmp/qso.wav
    if inside xvfb-run -a -s "-screen 0 1280x800x24" tarn-psk31-console \
        --settings /tmp/console.ini --play /tmp/qso.wav --screenshot /tmp/console.png \
        --screenshot-after 3 >"$log" 2>&1 &&
        [[ "$(head -c 8 "$root/tmp/console.png" | od -An -tx1 | tr -d ' ')" == 89504e470d0a1a0a ]]; then
        echo "console: window drawn ($(stat -c %s "$root/tmp/console.png") byte PNG)"
    else
        cat "$log" >&2
        fail "the installed console did not start and draw"
    fi
fi

inside apt-get remove -y -q tarn-psk31 >"$log" 2>&1 || { cat "$log" >&2; fail "apt-get remove"; }
[[ ! -e "$root/usr/bin/tarn-psk31" ]] || fail "tarn-psk31 is still there after apt-get remove"

if ((failures > 0)); then
    echo "== $failures check(s) of the installed package failed" >&2
    exit 1
fi
echo "== $(basename "$deb") installs, runs, validates and removes cleanly ($mode, $SECONDS s)" >&2
