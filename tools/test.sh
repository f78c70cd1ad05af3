#!/usr/bin/env bash
# Builds and runs the whole test suite: a Release build (then installed into
# scratch prefixes and checked from a consumer and the installed command), a
# build under AddressSanitizer + UndefinedBehaviorSanitizer with leaks checked,
# a Release build with RIVULET_NO_SIMD, where every routine runs its plain
# form, and the sync tests once more under ThreadSanitizer.
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

# The locks and queues once more under ThreadSanitizer (their tests alone).
cmake --preset tsan >/dev/null
cmake --build --preset tsan -j"$jobs" --target sync_test sync_stress_test sync_demo
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 ctest --preset tsan -j"$jobs" -L sync
