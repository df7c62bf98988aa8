#!/usr/bin/env bash
# Installs what Wharf needs and builds it into ./build (or $WHARF_BUILD_DIR).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
build=${WHARF_BUILD_DIR:-$root/build}
# Warnings stop the build in CI (and for developers who set WHARF_WERROR=ON), never for users.
werror=${WHARF_WERROR:-$([ "${CI:-}" = true ] && echo ON || echo OFF)}
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWHARF_WERROR="$werror" >/dev/null
cmake --build "$build" -j "$(nproc)"
