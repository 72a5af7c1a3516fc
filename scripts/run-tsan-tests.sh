#!/usr/bin/env bash
# Builds the library and every test labelled "threads" with ThreadSanitizer and
# runs those tests; any report fails the run. Only Qt's own internals are
# suppressed (scripts/sanitizers/tsan.supp, each with its reason).
# A test joins this run by its label: vetrel_add_qtest(... LABELS threads).
#   VETREL_BUILD_DIR  the normal build folder; this one is <that>-tsan
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_BUILD_DIR:-$root/build}-tsan

cmake -S "$root" -B "$build" -G Ninja -DVETREL_TSAN=ON -DVETREL_BUILD_BENCH=OFF \
      -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1"
cmake --build "$build" --target tests_threads

export TSAN_OPTIONS="suppressions=$root/scripts/sanitizers/tsan.supp:second_deadlock_stack=1:halt_on_error=0"
ctest --test-dir "$build" -L threads --no-tests=error --output-on-failure -j "$(nproc)"
