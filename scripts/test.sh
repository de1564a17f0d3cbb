#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing, builds the release with its tests and runs them all. Arguments go to ctest.
set -euo pipefail

root=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
"$root/scripts/install-deps.sh" --test

cd "$root"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "Building Corvanta and its tests in $root/build/release"
if ! { cmake --preset release -DBUILD_TESTING=ON -DCORVANTA_BENCH=ON &&
    cmake --build --preset release; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "test.sh: the build failed; its output stands above" >&2
    exit 1
fi
ctest --preset release -j2 "$@"
