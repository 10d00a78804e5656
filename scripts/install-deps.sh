#!/usr/bin/env bash
# Installs the Debian 12 packages the station needs to build, run and test,
# skipping what is already there. The last line is for installing: help2man
# makes the manual pages, cpack's .deb takes its dependencies from
# dpkg-shlibdeps (dpkg-dev), the validators check the desktop entry and
# AppStream file, and scripts/package.sh tries the package in a debootstrap
# chroot.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config git
  libgtest-dev libgmock-dev libbenchmark-dev
  libsndfile1-dev libsamplerate0-dev portaudio19-dev libasound2-dev libjack-jackd2-dev
  libpng-dev
  libhamlib-dev libhamlib-utils
  qt6-base-dev qt6-base-dev-tools libqt6opengl6-dev libgl-dev libgl1-mesa-dri
  pulseaudio pulseaudio-utils libasound2-plugins alsa-utils
  xvfb xauth
  help2man gzip dpkg-dev desktop-file-utils appstream debootstrap
  python3 time
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
    missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
echo "Installing: ${missing[*]}" >&2
$sudo apt-get update
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
