#!/usr/bin/env bash
# Installs a configured build into a scratch prefix and builds a consumer
# against it, once through find_package(rivulet) and once through pkg-config.
set -euo pipefail
build=${1:-build/release}
prefix=$(mktemp -d)
work=$(mktemp -d)
trap 'rm -rf "$prefix" "$work"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null
src=$(cd "$(dirname "$0")/consumer" && pwd)
cmake -S "$src" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
LD_LIBRARY_PATH="$prefix/lib:${LD_LIBRARY_PATH:-}" "$work/cmake/consumer"
libdir=$(find "$prefix" -name rivulet.pc -printf '%h\n' | head -1)
PKG_CONFIG_PATH="$libdir" g++ -o "$work/consumer-pc" "$src/consumer.cc" $(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs rivulet)
LD_LIBRARY_PATH="$(dirname "$libdir"):${LD_LIBRARY_PATH:-}" "$work/consumer-pc"
echo "install check: consumer built and ran against the installed package"
