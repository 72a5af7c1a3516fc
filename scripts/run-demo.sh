#!/usr/bin/env bash
# Builds and runs the demo order form. Without a display it renders offscreen,
# saves a screenshot and says where it went.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${VETREL_BUILD_DIR:-$root/build}

"$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -G Ninja
cmake --build "$build" --target vetrel-demo
if [ -z "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec "$build/apps/vetrel-demo/vetrel-demo" --offscreen --screenshot "$build/vetrel-demo.png" "$@"
fi
exec "$build/apps/vetrel-demo/vetrel-demo" "$@"
