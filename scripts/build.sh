#!/usr/bin/env bash
# Installs what Wharf needs and builds it into ./build (or $WHARF_BUILD_DIR).
# WHARF_SANITIZE=ON builds with AddressSanitizer and UndefinedBehaviorSanitizer (test.sh --sanitize).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
build=${WHARF_BUILD_DIR:-$root/build}
# Warnings stop the build in CI (and for developers who set WHARF_WERROR=ON), never for users.
werror=${WHARF_WERROR:-$([ "${CI:-}" = true ] && echo ON || echo OFF)}
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWHARF_WERROR="$werror" \
  -DWHARF_SANITIZE="${WHARF_SANITIZE:-OFF}" "${launcher[@]}" >/dev/null
cmake --build "$build" -j "$(nproc)"
