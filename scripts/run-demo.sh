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
    # Nobody can type into an offscreen form: without arguments it fills in a
    # sample order and presses Send, so the picture and the JSON show a working form.
    [ $# -gt 0 ] || set -- --set Account=MB0012 --set Market=MOEX --set Board=TQBR --set Security=HOYH \
        --set Side=B --set Price=101.50 --set Quantity=10 --set StopOffset=-2.5 --send
    exec "$build/apps/vetrel-demo/vetrel-demo" --offscreen --screenshot "$build/vetrel-demo.png" "$@"
fi
exec "$build/apps/vetrel-demo/vetrel-demo" "$@"
