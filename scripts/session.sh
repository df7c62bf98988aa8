#!/usr/bin/env bash
# Runs a command inside a private headless desktop session: Xvfb, a session D-Bus,
# openbox and xcompmgr, with its own HOME and XDG folders under a temporary directory.
# Usage: session.sh COMMAND [ARGS...]   (the session ends when the command does)
set -euo pipefail
tmp=$(mktemp -d /tmp/wharf-session.XXXXXX)
cleanup() {
  [ -n "${wm_pid:-}" ] && kill "$wm_pid" 2>/dev/null || true
  [ -n "${cm_pid:-}" ] && kill "$cm_pid" 2>/dev/null || true
  [ -n "${xvfb_pid:-}" ] && kill "$xvfb_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$tmp"
}
trap cleanup EXIT

# Let Xvfb pick a free display number and tell us which.
exec {dfd}<> <(:)
Xvfb -displayfd "$dfd" -screen 0 "${WHARF_SCREEN:-1920x1080x24}" -noreset -nolisten tcp >"$tmp/xvfb.log" 2>&1 &
xvfb_pid=$!
read -r -t 10 -u "$dfd" num || { echo "Xvfb did not start" >&2; cat "$tmp/xvfb.log" >&2; exit 1; }
export DISPLAY=":$num"

export HOME="$tmp/home" XDG_CONFIG_HOME="$tmp/home/.config" XDG_DATA_HOME="$tmp/home/.local/share"
export XDG_CACHE_HOME="$tmp/home/.cache" XDG_RUNTIME_DIR="$tmp/runtime"
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"

openbox >"$tmp/openbox.log" 2>&1 &
wm_pid=$!
for _ in $(seq 100); do
  xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
  sleep 0.05
done
if [ "${WHARF_COMPOSITOR:-1}" = 1 ]; then
  xcompmgr >"$tmp/xcompmgr.log" 2>&1 &
  cm_pid=$!
fi
dbus-run-session -- "$@"
