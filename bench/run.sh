#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the program and the bare loop side by side for a minute, after a minute of warming up, and prints what each
# of them cost; then the store's operations, the process pass, the incidents and the alerts beside the bare calls, and
# what the main thread is held for.
# Usage: run.sh [--seconds N] [--processes N]   --processes adds sleeping processes to the machine.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
seconds=60
processes=0
while [[ $# -gt 0 ]]; do
    case "$1" in
        --seconds) seconds=$2 ;;
        --processes) processes=$2 ;;
        *)
            echo "run.sh: unknown argument $1" >&2
            exit 2
            ;;
    esac
    shift 2
done

cd "$root"
cmake --preset release -DCORVANTA_BENCH=ON >/dev/null
cmake --build --preset release --target corvanta corvanta_floor corvanta_store_bench corvanta_process_bench \
    corvanta_main_thread_bench corvanta_incident_bench corvanta_alert_bench -- --quiet
bin="$root/build/release/bin"
work=$(mktemp -d)
started=()
stop() {
    kill "${started[@]}" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$work"
}
trap stop EXIT

for ((i = 0; i < processes; ++i)); do
    sleep 1000000 &
    started+=($!)
done

# Each program has its own folders and no session bus, so that nothing but itself is measured.
program() {
    local name=$1
    shift
    mkdir -p "$work/$name"
    env -u DBUS_SESSION_BUS_ADDRESS XDG_DATA_HOME="$work/$name" XDG_CONFIG_HOME="$work/$name" \
        XDG_RUNTIME_DIR="$work/$name" "$@" >"$work/$name.log" 2>&1 &
    started+=($!)
    pid=$!
}
program offscreen env -u DISPLAY -u WAYLAND_DISPLAY "$bin/corvanta"
measured=(offscreen=$pid)
if command -v Xvfb >/dev/null && command -v openbox >/dev/null; then
    mkfifo "$work/display"
    Xvfb -displayfd 3 -screen 0 1280x800x24 -noreset 3>"$work/display" 2>/dev/null &
    started+=($!)
    display=:$(head -n1 "$work/display")
    DISPLAY=$display openbox >/dev/null 2>&1 &
    started+=($!)
    program x11 env -u WAYLAND_DISPLAY DISPLAY="$display" "$bin/corvanta"
    measured+=(x11=$pid)
fi
program floor "$bin/corvanta_floor" "$work/floor.sqlite"
measured+=(floor=$pid)

echo "$(uname -srm), $(nproc) cores, commit $(git rev-parse --short HEAD)"
sleep 60
python3 "$root/bench/measure.py" "$seconds" "${measured[@]}"
kill "${started[@]}" 2>/dev/null || true
wait 2>/dev/null || true
started=()
echo
"$bin/corvanta_store_bench"
echo
"$bin/corvanta_process_bench"
echo
"$bin/corvanta_main_thread_bench"
echo
"$bin/corvanta_incident_bench"
echo
"$bin/corvanta_alert_bench"
