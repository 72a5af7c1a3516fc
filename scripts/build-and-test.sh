#!/usr/bin/env bash
# Builds everything and runs every test. This is what CI runs.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_BUILD_DIR:-$root/build}

"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja
cmake --build "$build"
ctest --test-dir "$build" --output-on-failure -j "$(nproc)"
# The same suite once more under AddressSanitizer and UndefinedBehaviorSanitizer.
"$root/scripts/run-sanitized-tests.sh"
# The parsers of untrusted input under libFuzzer for about two minutes.
"$root/scripts/run-fuzz.sh"
