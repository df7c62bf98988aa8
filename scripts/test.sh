#!/usr/bin/env bash
# Installs, builds and runs the whole test suite: unit tests and the end-to-end tests,
# which start their own private X sessions (Xvfb + openbox + xcompmgr), so no display is needed.
#
# Usage: test.sh [--sanitize | --no-sanitize] [CTEST ARGS...]
# --sanitize (the default when CI=true or WHARF_SANITIZE=ON) also builds ./build-asan (or
# $WHARF_ASAN_BUILD_DIR) with AddressSanitizer and UndefinedBehaviorSanitizer and runs there the
# unit tests, the X11 platform and takeover tests, and the live workspace end-to-end test.
# Exits non-zero when any build or test fails.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
sanitize=${WHARF_SANITIZE:-$([ "${CI:-}" = true ] && echo ON || echo OFF)}
case "${1:-}" in
  --sanitize) sanitize=ON; shift ;;
  --no-sanitize) sanitize=OFF; shift ;;
esac
jobs=$(nproc)
status=0

WHARF_SANITIZE=OFF "$root/scripts/build.sh"
build=${WHARF_BUILD_DIR:-$root/build}
(cd "$build" && ctest --output-on-failure --no-tests=error -j "$jobs" --timeout 600 "$@") || status=1

if [ "$sanitize" = ON ]; then
  asan=${WHARF_ASAN_BUILD_DIR:-$root/build-asan}
  echo "== Sanitizer build in $asan" >&2
  WHARF_SANITIZE=ON WHARF_BUILD_DIR="$asan" "$root/scripts/build.sh"
  # Reports go to files, so that a finding in a child process (the recovery helper, the takeover
  # driver) fails the run too. Leaks are checked, less the ones Qt, GLib and fontconfig keep for
  # the process's life (tests/support/lsan.supp); undefined behaviour stops the process.
  reports="$asan/sanitizer-reports"
  rm -rf "$reports" && mkdir -p "$reports"
  export ASAN_OPTIONS="detect_leaks=1:check_initialization_order=1:log_path=$reports/asan"
  export LSAN_OPTIONS="suppressions=$root/tests/support/lsan.supp:print_suppressions=0"
  export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:log_path=$reports/ubsan"
  (cd "$asan" && ctest --output-on-failure --no-tests=error -j "$jobs" --timeout 600 -LE e2e "$@") || status=1
  (cd "$asan" && ctest --output-on-failure --no-tests=error --timeout 600 -R '^e2e\.workspace_live$' "$@") || status=1
  if compgen -G "$reports/*" >/dev/null; then
    echo "== Sanitizer reports:" >&2
    cat "$reports"/* >&2
    status=1
  fi
fi
exit $status
