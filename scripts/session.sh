#!/usr/bin/env bash
# Runs a command inside a private headless desktop session: Xvfb, a session D-Bus, openbox and
# xcompmgr, with its own HOME and XDG folders. The end-to-end tests, the headless demo (run.sh)
# and the benchmarks all start their sessions through this one script.
#
# Usage: session.sh COMMAND [ARGS...]   the session ends when the command does
#        session.sh --hold              prints the session's environment (NUL-separated entries,
#                                       then an empty one) and holds the session until stdin closes
# Environment:
#   WHARF_SCREEN=1920x1080x24  the screen
#   WHARF_MONITORS=2           split the screen into two RandR monitors, LEFT and RIGHT
#   WHARF_WM=0                 no window manager
#   WHARF_COMPOSITOR=0         no compositor
#   WHARF_COMPOSITE=0          an X server without the Composite extension, which keeps no window's
#                              pixels for it (no compositor can run then either)
#   WHARF_NO_COMPOSITOR=1      no compositor even where the caller asks for one: a whole test run or
#                              benchmark without one (WHARF_NO_COMPOSITOR=1 ctest -R e2e)
#   WHARF_SESSION_DIR=DIR      keep HOME, the runtime folder and logs in DIR (kept afterwards)
set -euo pipefail
[ $# -gt 0 ] || { echo "usage: session.sh COMMAND [ARGS...] | --hold" >&2; exit 2; }

if [ -n "${WHARF_SESSION_DIR:-}" ]; then
  tmp=$WHARF_SESSION_DIR
  mkdir -p "$tmp"
else
  tmp=$(mktemp -d /tmp/wharf-session.XXXXXX)
  remove_tmp=1
fi
cleanup() {
  [ -n "${wm_pid:-}" ] && kill "$wm_pid" 2>/dev/null || true
  [ -n "${cm_pid:-}" ] && kill "$cm_pid" 2>/dev/null || true
  [ -n "${xvfb_pid:-}" ] && kill "$xvfb_pid" 2>/dev/null || true
  wait 2>/dev/null || true
  [ -z "${remove_tmp:-}" ] || rm -rf "$tmp"
}
trap cleanup EXIT

# Nothing of the caller's desktop leaks in: its display, bus, Qt and XDG settings.
while IFS= read -r name; do
  case $name in
    QT_* | XDG_* | DBUS_* | GSETTINGS_BACKEND | SESSION_MANAGER | WAYLAND_DISPLAY | DISPLAY | \
      DESKTOP_AUTOSTART_ID | GIO_LAUNCHED_DESKTOP_FILE | GIO_LAUNCHED_DESKTOP_FILE_PID) unset "$name" ;;
  esac
done < <(compgen -e)

# Let Xvfb pick a free display number and tell us which.
exec {dfd}<> <(:)
composite=(); [ "${WHARF_COMPOSITE:-1}" = 1 ] || composite=(-extension Composite)
Xvfb -displayfd "$dfd" -screen 0 "${WHARF_SCREEN:-1920x1080x24}" -noreset -nolisten tcp +extension RANDR "${composite[@]}" \
  >"$tmp/xvfb.log" 2>&1 &
xvfb_pid=$!
read -r -t 10 -u "$dfd" num || { echo "Xvfb did not start: $(cat "$tmp/xvfb.log")" >&2; exit 1; }
exec {dfd}>&-
export DISPLAY=":$num"

export HOME="$tmp/home" XDG_CONFIG_HOME="$tmp/home/.config" XDG_DATA_HOME="$tmp/home/.local/share"
export XDG_CACHE_HOME="$tmp/home/.cache" XDG_RUNTIME_DIR="$tmp/runtime"
export XDG_DATA_DIRS="$XDG_DATA_HOME:/usr/local/share:/usr/share" XDG_CONFIG_DIRS=/etc/xdg
export QT_QPA_PLATFORM=xcb GSETTINGS_BACKEND=keyfile NO_AT_BRIDGE=1 LANG=${LANG:-C.UTF-8}
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME/applications" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR"
chmod 700 "$XDG_RUNTIME_DIR"

if [ "${WHARF_MONITORS:-1}" = 2 ]; then
  size=${WHARF_SCREEN:-1920x1080x24}
  width=${size%%x*} rest=${size#*x}
  height=${rest%%x*} half=$((width / 2))
  # About 96 dpi, like the screen itself.
  geometry="$half/$((half * 508 / 1920))x$height/$((height * 286 / 1080))"
  xrandr --setmonitor LEFT "$geometry+0+0" screen >/dev/null &&
    xrandr --setmonitor RIGHT "$geometry+$half+0" none >/dev/null ||
    { echo "xrandr --setmonitor failed" >&2; exit 1; }
fi

if [ "${WHARF_WM:-1}" = 1 ]; then
  openbox --config-file /etc/xdg/openbox/rc.xml >"$tmp/openbox.log" 2>&1 &
  wm_pid=$!
  for _ in $(seq 200); do
    xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' && break
    sleep 0.05
  done
  xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id' ||
    { echo "openbox did not start: $(cat "$tmp/openbox.log")" >&2; exit 1; }
fi
if [ "${WHARF_COMPOSITOR:-1}" = 1 ] && [ "${WHARF_NO_COMPOSITOR:-0}" != 1 ]; then
  xcompmgr >"$tmp/xcompmgr.log" 2>&1 &
  cm_pid=$!
  # xcompmgr claims the compositing selection right after it connects; the dock follows a
  # compositor that comes later anyway, so a short settle is enough.
  sleep 0.15
fi

if [ "$1" = --hold ]; then
  set -- sh -c 'env -0 && printf "\0" && exec cat >/dev/null'
fi
dbus-run-session -- "$@"
