#!/usr/bin/env bash
# Installs, builds and runs the whole test suite: unit tests and the end-to-end tests,
# which start their own private X sessions (Xvfb + openbox + xcompmgr), so no display is needed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/build.sh"
build=${WHARF_BUILD_DIR:-$root/build}
cd "$build"
ctest --output-on-failure -j "$(nproc)" --timeout 600 "$@"
