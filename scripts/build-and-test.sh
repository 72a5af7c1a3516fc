#!/usr/bin/env bash
# Builds everything and runs every test. This is what CI runs.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_BUILD_DIR:-$root/build}

# Each stage says how long it took, so that the run's budget can be watched.
stage() {
    local start=$SECONDS
    "$@"
    echo "== ${*##*/} took $((SECONDS - start)) s (total $SECONDS s)"
}

stage "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja
stage cmake --build "$build"
stage ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
# The libraries' exported interface against the committed baseline in abi/.
stage "$root/scripts/check-abi.sh"
# The same suite once more under AddressSanitizer and UndefinedBehaviorSanitizer.
stage "$root/scripts/run-sanitized-tests.sh"
# The tests that run threads once more under ThreadSanitizer.
stage "$root/scripts/run-tsan-tests.sh"
# The parsers of untrusted input under libFuzzer for about two minutes.
stage "$root/scripts/run-fuzz.sh"
