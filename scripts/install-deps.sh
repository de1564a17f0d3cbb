#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs what is missing to build Corvanta on Debian 12.
# Usage: install-deps.sh [--test] [--ci]   --test adds what the tests need, --ci the sanitizers and the formatter.
set -euo pipefail

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

packages=(
    cmake ninja-build g++ pkg-config ccache
    qt6-base-dev libxcb1-dev libsqlite3-dev libplist-dev libcli11-dev nlohmann-json3-dev
    fonts-lato fonts-material-design-icons-iconfont
)
for argument in "$@"; do
    case "$argument" in
        --test) packages+=(
            libgtest-dev librapidcheck-dev python3 iproute2 procps stress-ng
            dbus-daemon python3-dbusmock bluez upower umockdev power-profiles-daemon
            xvfb openbox xdotool x11-utils dunst
        ) ;;
        --ci) packages+=(clang clang-tidy clang-format libclang-rt-14-dev git) ;;
        *) fail "unknown argument $argument" ;;
    esac
done

command -v dpkg-query >/dev/null || fail "this is no Debian system; install by hand what the list in $0 names"

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [[ $status == *" ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing from Debian: ${missing[*]}"
as_root=()
if [[ $(id -u) -ne 0 ]]; then
    command -v sudo >/dev/null || fail "needs root, or sudo, to install ${missing[*]}"
    as_root=(sudo)
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
install() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1
}
# The package lists may be missing or out of date.
if ! install; then
    "${as_root[@]}" apt-get update >"$log" 2>&1 || fail "apt-get update failed: $(grep -m1 '^[EW]:' "$log" || tail -n1 "$log")"
    install || fail "could not install: $(grep -m1 '^E:' "$log" || tail -n1 "$log")"
fi
