#!/usr/bin/env bash
# Builds the library, its programs and every test with AddressSanitizer,
# UndefinedBehaviorSanitizer and LeakSanitizer and runs the whole suite; any
# report fails the run. Only Qt's and the system's own leaks are suppressed
# (scripts/sanitizers/lsan.supp, each with its reason).
#   VETREL_BUILD_DIR  the normal build folder; this one is <that>-asan
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_BUILD_DIR:-$root/build}-asan

# -O1 keeps the threaded and FTP tests within their time limits; -g1 gives
# reports their file and line at a fraction of full debug information's cost.
cmake -S "$root" -B "$build" -G Ninja -DVETREL_SANITIZE=ON -DVETREL_BUILD_BENCH=OFF \
      -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1"
cmake --build "$build"

export ASAN_OPTIONS=detect_leaks=1:strict_init_order=1:check_initialization_order=1:detect_stack_use_after_return=1:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export LSAN_OPTIONS=suppressions=$root/scripts/sanitizers/lsan.supp
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
