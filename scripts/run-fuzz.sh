#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang and runs each on a copy of
# its seed corpus for a bounded time. A crash, a leak or a sanitizer report
# fails the run and leaves the input under <build>/artifacts/.
#   VETREL_FUZZ_SECONDS  total time for all targets (default 60)
#   VETREL_FUZZ_BUILD_DIR  build folder (default <build>-fuzz)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_FUZZ_BUILD_DIR:-${VETREL_BUILD_DIR:-$root/build}-fuzz}
total=${VETREL_FUZZ_SECONDS:-60}

cmake -S "$root/fuzz" -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build"

mapfile -t targets < <(find "$build" -maxdepth 1 -type f -executable -name 'fuzz_*' -printf '%f\n' | sort)
[ ${#targets[@]} -gt 0 ] || { echo "no fuzz targets in $build" >&2; exit 1; }
seconds=$(( total / ${#targets[@]} ))
[ "$seconds" -ge 10 ] || seconds=10

mkdir -p "$build/artifacts"
for target in "${targets[@]}"; do
    name=${target#fuzz_}
    seeds="$root/fuzz/corpus/$name"
    # New inputs go to a scratch folder, so the corpus in the repository only changes on purpose.
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    echo "== $target for ${seconds}s"
    "$build/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$build/artifacts/$name-" "$work" "$seeds"
    rm -rf "$work"
    trap - EXIT
done
