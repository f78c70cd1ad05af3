#!/usr/bin/env bash
# Builds and runs the whole test suite three times: a Release build (then
# installed into a scratch prefix, with a small consumer built against the
# installed CMake package and pkg-config file), a build under AddressSanitizer
# + UndefinedBehaviorSanitizer, and a Release build with RIVULET_NO_SIMD, where
# every routine runs its plain form.
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)

cmake --preset release >/dev/null
cmake --build --preset release -j"$jobs"
ctest --preset release -j"$jobs"
bash tools/check-install.sh build/release

cmake --preset asan-ubsan >/dev/null
cmake --build --preset asan-ubsan -j"$jobs"
# The multi-gigabyte files of the 'large' tests are read in the Release pass.
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --preset asan-ubsan -j"$jobs" -LE large

cmake -S . -B build/no-simd -DCMAKE_BUILD_TYPE=Release -DRIVULET_NO_SIMD=ON -DRIVULET_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build/no-simd -j"$jobs"
ctest --test-dir build/no-simd -j"$jobs" --output-on-failure -LE large
