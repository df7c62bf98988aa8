#!/usr/bin/env bash
# Whole-process figures of the running dock, measured inside a private session:
#   scripts/session.sh bench/dock_process_bench.sh [path/to/wharf]
# Startup to first frame, idle wakeups and CPU with the pointer away, CPU and frame rate during a
# pointer sweep across 30 icons with each thread's wakeups per frame, and resident memory with
# 30 entries. WHARF_BENCH_ONLY=sweep skips the start-up and idle parts; WHARF_NO_COMPOSITOR=1
# measures without a compositing manager; WHARF_BENCH_POINTER_HZ=250 sweeps as a fast mouse reports;
# WHARF_BENCH_SCALE=2 runs the dock at that scale; WHARF_BENCH_APPS=1 pins every installed
# application (distinct icons) before the folders.
set -euo pipefail
scale=${WHARF_BENCH_SCALE:-1}
export QT_SCALE_FACTOR=$scale
wharf=${1:-${WHARF_BIN:-$(dirname "$0")/../build/wharf}}
idle_seconds=${WHARF_BENCH_IDLE:-30}
sweep_seconds=${WHARF_BENCH_SWEEP:-10}
# Pointer reports a second during the sweep: 60 as a display-rate pointer, 250 or more as a fast mouse.
rate=${WHARF_BENCH_POINTER_HZ:-60}
startups=${WHARF_BENCH_STARTUPS:-5}
only=${WHARF_BENCH_ONLY:-}
hz=$(getconf CLK_TCK)

call() {
  gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
    --method "com.tamberly.Wharf.$1"
}

# A pinned application, 28 pinned folders and the Trash: 30 entries, with the divider between
# applications and the rest that a dock in use has.
mkdir -p "$HOME/bench" "$XDG_CONFIG_HOME/wharf"
apps=(/usr/share/applications/debian-xterm.desktop)
[ "${WHARF_BENCH_APPS:-0}" = 1 ] && apps=(/usr/share/applications/*.desktop)
pins=
for app in "${apps[@]}"; do
  pins="$pins${pins:+,}{\\\"kind\\\":\\\"application\\\",\\\"path\\\":\\\"$app\\\"}"
done
for i in $(seq -w 1 $((29 - ${#apps[@]}))); do
  mkdir -p "$HOME/bench/folder-$i"
  pins="$pins${pins:+,}{\\\"kind\\\":\\\"folder\\\",\\\"path\\\":\\\"$HOME/bench/folder-$i\\\"}"
done
printf '[General]\nWharf.pinnedItems.v1="@ByteArray([%s])"\n' "$pins" >"$XDG_CONFIG_HOME/wharf/wharf.conf"

xdotool mousemove 960 100
log=$(mktemp)

# Starts wharf (pid) and waits for its first frame; startup_ms = milliseconds from exec to it.
start_wharf() {
  local t0 line
  t0=$(date +%s%6N)
  QT_LOGGING_RULES="wharf.lifecycle.debug=true" "$wharf" 2>"$log" &
  pid=$!
  for _ in $(seq 500); do
    line=$(grep -m1 -o 'First frame at [0-9]*' "$log" || true)
    [ -n "$line" ] && break
    sleep 0.01
  done
  [ -n "$line" ] || { echo "no first frame; log:" >&2; cat "$log" >&2; exit 1; }
  startup_ms=$(( (${line##* } - t0) / 1000 ))
}

stop_wharf() {
  call Quit >/dev/null
  wait "$pid" || true
}

# CPU ticks (user + system) of the whole process, or of another one.
cpu_ticks() { awk '{ print $14 + $15 }' "/proc/${1:-$pid}/stat"; }
# Nanoseconds on a CPU of the dock's threads: ticks are 10 ms, too coarse for a few per cent
# over seconds. A thread that ends between two readings is not counted.
cpu_ns() { cat /proc/"$pid"/task/*/schedstat 2>/dev/null | awk '{ n += $1 } END { printf "%d", n }'; }
# The session's X server and compositor are children of session.sh, which runs this script
# under dbus-run-session; WHARF_XSERVER_PID names the X server otherwise.
session_pid=$(awk '{ print $4 }' "/proc/$PPID/stat")
xserver=${WHARF_XSERVER_PID:-$(pgrep -P "$session_pid" -x Xvfb || true)}
compositor=$(pgrep -P "$session_pid" -x xcompmgr || true)
wm=$(pgrep -P "$session_pid" -x openbox || true)
echo "compositing manager: $([ -n "$compositor" ] && echo xcompmgr || echo none)"
frames() { call FramesRendered | sed -E 's/.*uint64 ([0-9]+).*/\1/'; }

if [ "$only" != sweep ]; then
echo "== startup to first frame ($startups runs)"
times=()
for _ in $(seq "$startups"); do
  start_wharf
  times+=("$startup_ms")
  stop_wharf
done
printf '%s\n' "${times[@]}" | sort -n | awk '{ a[NR] = $1 } END { printf "startup ms: first run %s, median %s, worst %s\n", '"${times[0]}"', a[int((NR + 1) / 2)], a[NR] }'
fi

start_wharf
sleep 3 # the appearing animation ends and the tick stops
f0=$(frames)

per_thread() {
  for task in /proc/"$pid"/task/*; do
    echo "${task##*/} $(tr ' ' _ <"$task/comm") $(awk '{ print $3 }' "$task/schedstat")"
  done | sort
}
# Each thread's sleeps that ended in a wakeup: voluntary context switches.
per_thread_sleeps() {
  for task in /proc/"$pid"/task/*; do
    echo "${task##*/} $(tr ' ' _ <"$task/comm") $(awk '/^voluntary_ctxt_switches/ { print $2 }' "$task/status")"
  done | sort
}

if [ "$only" != sweep ]; then
echo "== idle ${idle_seconds}s, pointer away"
before=$(per_thread)
c0=$(cpu_ticks)
sleep "$idle_seconds"
c1=$(cpu_ticks)
after=$(per_thread)
f1=$(frames)
# Per thread; a thread started during the wait counts from zero (one that ended is not seen).
deltas=$(join -a 2 -e 0 -o 2.2,1.3,2.3 <(echo "$before") <(echo "$after") | awk '{ print $1, $3 - $2 }')
awk -v c=$((c1 - c0)) -v s="$idle_seconds" -v hz="$hz" -v w="$(echo "$deltas" | awk '{ n += $2 } END { print n }')" \
  'BEGIN { printf "idle: CPU %.2f %% of a core, %.3f wakeups/s\n", 100 * c / hz / s, w / s }'
echo "idle: frames drawn $((f1 - f0))"
echo "$deltas" | awk -v s="$idle_seconds" '$2 > 0 { printf "  %-16s %.3f wakeups/s\n", $1, $2 / s }'
fi

echo "== pointer sweep ${sweep_seconds}s across the icons, $rate pointer reports a second"
docks=$(call Docks)
read -r left right y count < <(printf '%s' "$docks" | python3 -c '
import json, sys
raw = sys.stdin.read()
docks = json.loads(raw[raw.index("[") : raw.rindex("]") + 1].encode().decode("unicode_escape"))
tiles = [t["frame"] for t in docks[0]["tiles"]]
k = float(sys.argv[1])  # the frames are in points, xdotool moves in pixels
print(int(k * (tiles[0][0] + tiles[0][2] / 2)), int(k * (tiles[-1][0] + tiles[-1][2] / 2)), int(k * (tiles[0][1] + tiles[0][3] / 2)), len(tiles))' "$scale")
echo "tiles: $count, swept from x=$left to x=$right at y=$y"
# Now and then Qt takes the dock for sitting at the frame's origin after openbox reparents it,
# and the pointer never reaches the row: start again rather than measure an idle dock.
for attempt in 1 2 3; do
  xdotool mousemove "$left" "$y"; sleep 0.5
  [ "$(call HoveredIndex | tr -dc '0-9-')" = 0 ] && break
  echo "the dock did not see the pointer; restarting it (attempt $attempt)"
  stop_wharf; start_wharf; sleep 3
done
steps=$((sweep_seconds * rate))
script=$(awk -v l="$left" -v r="$right" -v y="$y" -v n="$steps" -v hz="$rate" 'BEGIN {
  for (i = 0; i < n; i++) {
    p = (i % (4 * hz)) / (2 * hz); if (p > 1) p = 2 - p
    printf "mousemove %d %d sleep %.4f ", l + (r - l) * p, y, 1 / hz - 0.0001
  } }')
x0=$([ -n "$xserver" ] && cpu_ticks "$xserver" || echo 0)
m0=$([ -n "$compositor" ] && cpu_ticks "$compositor" || echo 0)
o0=$([ -n "$wm" ] && cpu_ticks "$wm" || echo 0)
c0=$(cpu_ns); f0=$(frames); t0=$(date +%s%N); before=$(per_thread_sleeps)
# shellcheck disable=SC2086
xdotool $script
after=$(per_thread_sleeps); t1=$(date +%s%N); c1=$(cpu_ns); f1=$(frames)
x1=$([ -n "$xserver" ] && cpu_ticks "$xserver" || echo 0)
m1=$([ -n "$compositor" ] && cpu_ticks "$compositor" || echo 0)
o1=$([ -n "$wm" ] && cpu_ticks "$wm" || echo 0)
awk -v c=$((c1 - c0)) -v f=$((f1 - f0)) -v ns=$((t1 - t0)) \
  'BEGIN { s = ns / 1e9; printf "sweep: %.1f s, %.1f fps, CPU %.2f %% of a core, %.0f us a frame\n", s, f / s, 100 * c / ns, c / f / 1000 }'
[ -z "$xserver" ] || awk -v c=$((x1 - x0)) -v ns=$((t1 - t0)) -v hz="$hz" \
  'BEGIN { printf "sweep: X server CPU %.1f %% of a core\n", 100 * c / hz / (ns / 1e9) }'
[ -z "$compositor" ] || awk -v c=$((m1 - m0)) -v ns=$((t1 - t0)) -v hz="$hz" \
  'BEGIN { printf "sweep: compositor CPU %.1f %% of a core\n", 100 * c / hz / (ns / 1e9) }'
# The window manager follows the dock window's shape (openbox copies it onto its frame).
[ -z "$wm" ] || awk -v c=$((o1 - o0)) -v ns=$((t1 - t0)) -v hz="$hz" \
  'BEGIN { printf "sweep: window manager CPU %.1f %% of a core\n", 100 * c / hz / (ns / 1e9) }'
deltas=$(join -a 2 -e 0 -o 2.2,1.3,2.3 <(echo "$before") <(echo "$after") | awk '{ print $1, $3 - $2 }')
echo "$deltas" | awk -v f=$((f1 - f0)) '{ n += $2; if ($2 > 0) printf "  %-16s %d wakeups, %.2f per frame\n", $1, $2, $2 / f }
  END { printf "sweep: %d wakeups in all threads, %.2f per frame\n", n, n / f }'

echo "== memory with 30 entries"
grep -E 'VmRSS|VmHWM' "/proc/$pid/status" | awk '{ printf "%s %.1f MiB\n", $1, $2 / 1024 }'
grep -E '^(Rss|Anonymous|Shared_Clean|Private_Dirty)' "/proc/$pid/smaps_rollup" 2>/dev/null || true

stop_wharf
rm -f "$log"
