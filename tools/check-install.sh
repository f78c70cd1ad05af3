#!/usr/bin/env bash
# Installs a configured build twice, as a Debian package would lay it out
# (prefix /usr, staged with DESTDIR) and into a private prefix, and checks each
# layout: the SONAME and file names, a consumer built through find_package and
# through pkg-config, and the installed rivulet command.
set -euo pipefail
build=$(cd "${1:-build/release}" && pwd)
src=$(cd "$(dirname "$0")/consumer" && pwd)
work=$(mktemp -d)
original_prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
restore() {
  cmake "$build" -DCMAKE_INSTALL_PREFIX="$original_prefix" >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap restore EXIT
fail() { echo "install check: $*" >&2; exit 1; }

# check ROOT PREFIX LIBDIR: ROOT is where PREFIX's files are on this machine.
check() {
  local root=$1 prefix=$2 libdir=$3 name=$4
  local lib="$root/$libdir"
  local real
  real=$(cd "$lib" && ls librivulet.so.*.*)
  [ -L "$lib/librivulet.so" ] && [ -L "$lib/librivulet.so.0" ] || fail "$name: librivulet.so links missing in $libdir"
  readelf -d "$lib/$real" | grep -q 'SONAME.*\[librivulet\.so\.0\]' || fail "$name: SONAME is not librivulet.so.0"
  [ "$(readlink "$lib/librivulet.so.0")" = "$real" ] || fail "$name: librivulet.so.0 does not name $real"
  grep -q -- '-std=' "$lib/pkgconfig/rivulet.pc" && fail "$name: rivulet.pc forces a language standard"
  grep -q 'cxx_std_' "$lib/cmake/rivulet/rivuletTargets.cmake" && fail "$name: the exported target forces a language standard"

  cmake -S "$src" -B "$work/$name-cmake" -DCMAKE_PREFIX_PATH="$root" >/dev/null
  cmake --build "$work/$name-cmake" >/dev/null
  LD_LIBRARY_PATH="$lib" "$work/$name-cmake/consumer" >/dev/null
  # The headers are C++11: the consumer builds with the standard it chooses.
  local flags
  flags=$(PKG_CONFIG_PATH="$lib/pkgconfig" pkg-config --cflags --libs rivulet)
  g++ -std=c++11 -o "$work/$name-pc" "$src/consumer.cc" $flags
  LD_LIBRARY_PATH="$lib" "$work/$name-pc" >/dev/null
  LD_LIBRARY_PATH="$lib" "$root/bin/rivulet" --version | grep -q "^rivulet " || fail "$name: rivulet --version"
  (cd "$work" && LD_LIBRARY_PATH="$lib" "$root/bin/rivulet" -q demo "$work/$name-demo" >/dev/null 2>&1) ||
    LD_LIBRARY_PATH="$lib" "$root/bin/rivulet" info --help >/dev/null || fail "$name: rivulet does not run"
  echo "install check: $name: $libdir/$real, find_package, pkg-config and rivulet all work"
}

# A Debian layout: prefix /usr, the library in the multiarch directory.
cmake "$build" -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
multiarch=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "$build/CMakeCache.txt")
[ "$multiarch" = "lib/$(gcc -print-multiarch)" ] || fail "prefix /usr installs into $multiarch"
DESTDIR="$work/stage" cmake --install "$build" >/dev/null
check "$work/stage/usr" /usr "$multiarch" debian

# A private prefix.
cmake "$build" -DCMAKE_INSTALL_PREFIX="$work/private" >/dev/null
cmake --install "$build" >/dev/null
check "$work/private" "$work/private" lib private
# The private prefix's command finds its library without help.
env -u LD_LIBRARY_PATH "$work/private/bin/rivulet" --version >/dev/null || fail "private: rivulet needs LD_LIBRARY_PATH"
# The command's end-to-end tests, on the installed command.
if [ -x "$build/tests/cli/cli_test" ]; then
  RIVULET_CLI="$work/private/bin/rivulet" "$build/tests/cli/cli_test" --gtest_brief=1 >"$work/cli_test.log" 2>&1 ||
    { cat "$work/cli_test.log" >&2; fail "private: the command's tests failed on the installed rivulet"; }
  echo "install check: private: the command's end-to-end tests pass on the installed rivulet"
fi
