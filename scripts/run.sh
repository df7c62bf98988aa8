#!/usr/bin/env bash
# Installs what Wharf needs, builds it and runs it on your display. With no display it
# runs Wharf for a few seconds inside a private headless X session and saves a screenshot.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/build.sh"
build=${WHARF_BUILD_DIR:-$root/build}
if [ -n "${DISPLAY:-}" ]; then
  exec "$build/wharf" "$@"
fi
shot=${WHARF_SCREENSHOT:-$root/wharf-screenshot.png}
WHARF_BIN="$build/wharf" WHARF_SHOT="$shot" "$root/scripts/session.sh" "$root/scripts/headless-demo.sh"
echo "Screenshot saved to $shot"
