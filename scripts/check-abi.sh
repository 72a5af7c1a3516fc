#!/usr/bin/env bash
# Compares the exported interface of libvetrel and libvetrel_host with the
# baseline in abi/ and fails on a change that breaks programs built against an
# earlier build of soname 1; compatible changes (additions) are listed and pass.
# Only types reachable from the installed headers count, so anything behind a
# private implementation may change freely.
#   --update          renew the baseline, after an interface change made on purpose
#   VETREL_BUILD_DIR  the build folder the libraries come from (default build/);
#                     it needs debug information (RelWithDebInfo, the default, or Debug)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_BUILD_DIR:-$root/build}
update=false
case "${1:-}" in
    --update) update=true ;;
    "") ;;
    *) echo "usage: $0 [--update]" >&2; exit 2 ;;
esac

[ -f "$build/CMakeCache.txt" ] || cmake -S "$root" -B "$build" -G Ninja
case "$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt")" in
    Release | MinSizeRel)
        echo "$build is built without debug information: use RelWithDebInfo or Debug" >&2
        exit 1 ;;
esac
cmake --build "$build"
# The installed tree gives exactly the public headers.
stage=$build/abi-stage
rm -rf "$stage"
cmake --install "$build" --prefix "$stage" >/dev/null

headers=$stage/include
# Standard-library template instances the private code makes are no interface.
ignore=(--suppressions "$root/abi/std-instances.suppr")
failed=()
for lib in libvetrel libvetrel_host; do
    so=$(find "$stage" -type f -name "$lib.so.[0-9]*" | head -n 1)
    baseline=$root/abi/$lib.abi
    if $update; then
        mkdir -p "$root/abi"
        abidw --headers-dir "$headers" --drop-private-types --no-corpus-path --no-comp-dir-path \
              --short-locs --type-id-style hash --out-file "$baseline" "$so"
        echo "$lib: baseline renewed in ${baseline#"$root"/}"
        continue
    fi
    # abidiff's exit bits: 1 error, 2 usage error, 4 some change, 8 a removed
    # symbol. A changed public type sets only 4, as an addition does, so the
    # verdict comes from a second comparison that leaves additions out.
    status=0
    abidiff "${ignore[@]}" --headers-dir2 "$headers" --drop-private-types "$baseline" "$so" || status=$?
    if (( status == 4 )); then
        abidiff "${ignore[@]}" --headers-dir2 "$headers" --drop-private-types --no-added-syms "$baseline" "$so" >/dev/null \
            && status=-4 || status=$?
    fi
    case $status in
        0) echo "$lib: unchanged" ;;
        -4) echo "$lib: additions only, compatible" ;;
        *) failed+=("$lib") ;;
    esac
done
if [ ${#failed[@]} -gt 0 ]; then
    echo "Incompatible interface change in: ${failed[*]}." >&2
    echo "If it is intended (and the soname changes), renew the baseline: scripts/check-abi.sh --update" >&2
    exit 1
fi
