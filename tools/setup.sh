#!/usr/bin/env bash
# Installs what rivulet needs to build, test and benchmark on Debian 12, if it
# is missing. Run as root (or with sudo available).
set -euo pipefail
packages=(
  build-essential cmake pkg-config git
  libboost-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libyuv-dev libswresample-dev libavutil-dev
  ffmpeg
  gstreamer1.0-tools gstreamer1.0-plugins-good
  libhwy-dev libcli11-dev nlohmann-json3-dev libpng-dev libspng-dev
  python3-numpy
  clang libclang-rt-14-dev
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO=sudo
  echo "installing: ${missing[*]}"
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
