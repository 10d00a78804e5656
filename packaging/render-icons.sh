#!/usr/bin/env bash
# Renders the committed PNG icons from icons/org.example.tarn_psk31.svg; run
# it after changing the SVG and commit the PNGs with it. They are committed so
# that building needs no SVG renderer. Needs rsvg-convert (librsvg2-bin).
set -euo pipefail
cd "$(dirname "$0")/icons"

command -v rsvg-convert >/dev/null ||
    { echo "render-icons.sh: rsvg-convert is needed (apt-get install librsvg2-bin)" >&2; exit 1; }
for size in 16 32 48 64 128 256; do
    mkdir -p "${size}x${size}"
    rsvg-convert -w "$size" -h "$size" org.example.tarn_psk31.svg \
        -o "${size}x${size}/org.example.tarn_psk31.png"
done
