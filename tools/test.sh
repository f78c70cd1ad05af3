#!/usr/bin/env bash
# Builds and runs the whole test suite twice: a Release build (then installed
# into a scratch prefix, with a small consumer built against the installed
# CMake package and pkg-config file), and a build under AddressSanitizer +
# UndefinedBehaviorSanitizer with leaks checked. Then the sync tests alone once
# more under ThreadSanitizer.
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

# The locks and queues once more under ThreadSanitizer (their tests alone).
cmake --preset tsan >/dev/null
cmake --build --preset tsan -j"$jobs" --target sync_test sync_stress_test sync_demo
TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 ctest --preset tsan -j"$jobs" -L sync
