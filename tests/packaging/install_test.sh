#!/usr/bin/env bash
# Installs the build tree into a staging directory with prefix /usr, as the
# Debian package does, and checks what lands where: exactly the expected
# files, icons of their stated sizes, manual pages that cover every command,
# programs that report the release, and a desktop entry and AppStream file
# that their validators pass and that name what is installed.
#
# Usage: install_test.sh BUILD_DIR VERSION   (exit 77: a validator is missing)
set -uo pipefail

build="$1"
version="$2"
id=org.example.tarn_psk31

for tool in desktop-file-validate appstreamcli; do
    if ! command -v "$tool" >/dev/null; then
        echo "SKIP: $tool is not installed (desktop-file-utils, appstream)"
        exit 77
    fi
done

stage="$(mktemp -d)"
trap 'rm -rf "$stage"' EXIT
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

if ! DESTDIR="$stage" cmake --install "$build" --prefix /usr >"$stage.log" 2>&1; then
    cat "$stage.log"
    rm -f "$stage.log"
    echo "FAIL: cmake --install"
    exit 1
fi
rm -f "$stage.log"
root="$stage/usr"

expected=(
    bin/tarn-psk31
    bin/tarn-psk31-console
    share/applications/$id.desktop
    share/metainfo/$id.metainfo.xml
    share/icons/hicolor/scalable/apps/$id.svg
    share/man/man1/tarn-psk31.1.gz
    share/man/man1/tarn-psk31-console.1.gz
)
sizes=(16 32 48 64 128 256)
for size in "${sizes[@]}"; do
    expected+=("share/icons/hicolor/${size}x${size}/apps/$id.png")
done

# Exactly these files: nothing missing, and nothing else (a library, header or
# test program installed by mistake would end up in the package).
actual="$(cd "$root" && find . -type f -o -type l | sed 's|^\./||' | sort)"
wanted="$(printf '%s\n' "${expected[@]}" | sort)"
if [[ "$actual" != "$wanted" ]]; then
    fail "installed files differ from the expected list (< expected, > installed):"
    diff <(echo "$wanted") <(echo "$actual") | grep '^[<>]'
fi
if [[ "$(cd "$stage" && ls)" != usr ]]; then
    fail "files outside the prefix: $(cd "$stage" && ls)"
fi

# PNG width and height are the big-endian words at bytes 16 and 20.
for size in "${sizes[@]}"; do
    png="$root/share/icons/hicolor/${size}x${size}/apps/$id.png"
    [[ -f "$png" ]] || continue
    read -r width height < <(od -An -tu1 -j16 -N8 "$png" |
        awk '{print $1*16777216+$2*65536+$3*256+$4, $5*16777216+$6*65536+$7*256+$8}')
    [[ "$width $height" == "$size $size" ]] || fail "$png is ${width}x${height}, not ${size}x${size}"
done

for program in tarn-psk31 tarn-psk31-console; do
    [[ -x "$root/bin/$program" ]] || { fail "$program is not executable"; continue; }
    line="$("$root/bin/$program" --version)"
    [[ "$line" =~ ^$program\ $version\ \(commit\ [^\ ]+\)$ ]] ||
        fail "$program --version printed '$line'"

    page="$root/share/man/man1/$program.1.gz"
    gzip -t "$page" 2>/dev/null || { fail "$page is not a gzip file"; continue; }
    grep -q "^\.TH ${program^^} \"1\" .* \"$program $version\"" <(gzip -dc "$page") ||
        fail "$page has no title line for $program $version"
done

# The tool's page describes every command the tool lists, with its options.
commands="$("$root/bin/tarn-psk31" --help | sed -n '/^commands:/,/^$/s/^  \([a-z]*\) .*/\1/p')"
[[ -n "$commands" ]] || fail "tarn-psk31 --help lists no commands"
for command in $commands; do
    gzip -dc "$root/share/man/man1/tarn-psk31.1.gz" | grep -q "^\.SS $command\$" ||
        fail "the tarn-psk31 page has no section for $command"
done
gzip -dc "$root/share/man/man1/tarn-psk31.1.gz" | grep -q '^  \\-\\-frequency HZ' ||
    fail "the tarn-psk31 page lacks the commands' options"

desktop="$root/share/applications/$id.desktop"
metainfo="$root/share/metainfo/$id.metainfo.xml"
if [[ -f "$desktop" ]]; then
    # Warnings count: the entry should validate silently.
    output="$(desktop-file-validate "$desktop" 2>&1)" && [[ -z "$output" ]] ||
        fail "desktop-file-validate: $output"
    exec_line="$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")"
    [[ -x "$root/bin/$exec_line" ]] || fail "the desktop entry starts '$exec_line', not installed"
    icon="$(sed -n 's/^Icon=//p' "$desktop")"
    [[ -f "$root/share/icons/hicolor/scalable/apps/$icon.svg" ]] ||
        fail "the desktop entry's icon '$icon' is not installed"
fi
if [[ -f "$metainfo" ]]; then
    output="$(cd "$stage" && appstreamcli validate --no-net --pedantic "$metainfo" 2>&1)" ||
        fail "appstreamcli validate: $output"
    grep -q "<release version=\"$version\" date=\"[0-9]\{4\}-[0-9][0-9]-[0-9][0-9]\"/>" "$metainfo" ||
        fail "the AppStream file has no release $version"
    grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" ||
        fail "the AppStream file does not launch $id.desktop"
    for binary in $(sed -n 's|.*<binary>\(.*\)</binary>.*|\1|p' "$metainfo"); do
        [[ -x "$root/bin/$binary" ]] || fail "the AppStream file provides $binary, not installed"
    done
fi

if ((failures > 0)); then
    echo "$failures check(s) failed"
    exit 1
fi
echo "installed layout, manual pages, desktop entry and AppStream file are as expected"
