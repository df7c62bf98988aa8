#!/usr/bin/env bash
# A hidden auto-hiding dock at idle, as a whole process inside a private session:
#   scripts/session.sh bench/autohide_process_bench.sh [path/to/wharf]
# Frames drawn and wakeups over WHARF_BENCH_IDLE seconds (default 10) with the pointer away.
set -euo pipefail
wharf=${1:-${WHARF_BIN:-$(dirname "$0")/../build/wharf}}
idle_seconds=${WHARF_BENCH_IDLE:-10}

call() {
  gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
    --method "com.tamberly.Wharf.$1"
}
frames() { call FramesRendered | sed -E 's/.*uint64 ([0-9]+).*/\1/'; }
# Voluntary and involuntary context switches of every thread: each is a wakeup.
switches() {
  cat /proc/"$pid"/task/*/status | awk '/ctxt_switches/ { n += $2 } END { print n }'
}

mkdir -p "$XDG_CONFIG_HOME/wharf"
printf '[General]\nautoHide=true\n' >"$XDG_CONFIG_HOME/wharf/wharf.conf"
xdotool mousemove 960 100
"$wharf" 2>/dev/null &
pid=$!
for _ in $(seq 200); do
  call Docks 2>/dev/null | grep -q '"hidden":true' && break
  sleep 0.05
done
call Docks | grep -q '"hidden":true' || { echo "the dock did not hide" >&2; kill "$pid"; exit 1; }
sleep 2 # the window poll and the startup work settle
f0=$(frames); s0=$(switches)
sleep "$idle_seconds"
s1=$(switches); f1=$(frames)
echo "hidden dock, idle ${idle_seconds}s: frames drawn $((f1 - f0)), wakeups $((s1 - s0)) ($(awk -v w=$((s1 - s0)) -v s="$idle_seconds" 'BEGIN { printf "%.2f", w / s }')/s)"
call Quit >/dev/null
wait "$pid" || true
