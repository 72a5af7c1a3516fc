#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang and runs each on a copy of
# its seed corpus for a bounded time. A crash, a leak or a sanitizer report
# fails the run and leaves the input under <build>/artifacts/.
#   VETREL_FUZZ_SECONDS  total time for all targets (default 120, at least 10 each)
#   VETREL_FUZZ_BUILD_DIR  build folder (default <build>-fuzz)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_FUZZ_BUILD_DIR:-${VETREL_BUILD_DIR:-$root/build}-fuzz}
total=${VETREL_FUZZ_SECONDS:-120}
# Qt's own leaks are known; the project's are not suppressed.
export LSAN_OPTIONS=suppressions=$root/scripts/sanitizers/lsan.supp:print_suppressions=0

cmake -S "$root/fuzz" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build"

mapfile -t targets < <(find "$build" -maxdepth 1 -type f -executable -name 'fuzz_*' -printf '%f\n' | sort)
[ ${#targets[@]} -gt 0 ] || { echo "no fuzz targets in $build" >&2; exit 1; }
seconds=$(( total / ${#targets[@]} ))
[ "$seconds" -ge 10 ] || seconds=10

summary=()
mkdir -p "$build/artifacts"
for target in "${targets[@]}"; do
    name=${target#fuzz_}
    seeds="$root/fuzz/corpus/$name"
    # New inputs go to a scratch folder, so the corpus in the repository only changes on purpose.
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    # Qt is built without frame pointers: only the slow unwinder reaches the Qt
    # function the JSON leak's suppression names. It costs speed, so only there.
    unwind=1
    [ "$name" != market_loader ] || unwind=0
    echo "== $target for ${seconds}s"
    ASAN_OPTIONS=fast_unwind_on_malloc=$unwind "$build/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$build/artifacts/$name-" "$work" "$seeds" 2>"$build/$name.log" \
        || { tail -n 60 "$build/$name.log" >&2; exit 1; }
    summary+=("$(printf '%-20s %s' "$name" "$(grep -E 'stat::number_of_executed_units|stat::peak_rss_mb' "$build/$name.log" | awk '{printf "%s %s  ", $1, $2}' | sed 's/stat:://g')")")
    rm -rf "$work"
    trap - EXIT
done

echo "== fuzzing summary (${seconds}s per target)"
printf '%s\n' "${summary[@]}"
