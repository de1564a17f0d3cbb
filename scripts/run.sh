#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing, builds the release and starts Corvanta. Without a display the program runs unseen, and
# the terminal shows live figures until Ctrl+C.
set -euo pipefail

root=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
"$root/scripts/install-deps.sh"

cd "$root"
log=$(mktemp)
program=
stop() {
    if [[ -n $program ]]; then
        kill "$program" 2>/dev/null || true
        wait "$program" 2>/dev/null || true
    fi
    rm -f "$log"
}
trap stop EXIT
echo "Building Corvanta in $root/build/release"
if ! { cmake --preset release -DBUILD_TESTING=OFF -DCORVANTA_BENCH=OFF &&
    cmake --build --preset release --target corvanta corvantactl; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "run.sh: the build failed; its output stands above" >&2
    exit 1
fi

bin="$root/build/release/bin"
if "$bin/corvanta" --has-display; then
    rm -f "$log"
    exec "$bin/corvanta" "$@"
fi

"$bin/corvanta" "$@" &
program=$!
# A second instance ends at once, having handed over to the first; that one goes on, and so do the figures.
"$bin/corvantactl" watch
