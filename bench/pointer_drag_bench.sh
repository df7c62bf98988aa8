#!/usr/bin/env bash
# Frame rate and CPU while an application tile is dragged along a row of 30 tiles, measured inside
# a private session:
#   scripts/session.sh bench/pointer_drag_bench.sh [path/to/wharf]
# The drag moves at 60 steps a second from the first tile to the last application and back; the row
# makes room for it all the way. Escape ends the drag, so the order is left as it was.
set -euo pipefail
wharf=${1:-${WHARF_BIN:-$(dirname "$0")/../build/wharf}}
seconds=${WHARF_BENCH_DRAG:-8}
hz=$(getconf CLK_TCK)

call() {
  gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
    --method "com.tamberly.Wharf.$1"
}

# 29 pinned applications and the Trash: 30 tiles.
apps="$XDG_DATA_HOME/applications"
mkdir -p "$apps" "$XDG_CONFIG_HOME/wharf"
pins=
for i in $(seq -w 1 29); do
  printf '[Desktop Entry]\nType=Application\nName=App %s\nExec=/bin/true\n' "$i" >"$apps/bench-$i.desktop"
  pins="$pins${pins:+,}{\\\"kind\\\":\\\"application\\\",\\\"path\\\":\\\"$apps/bench-$i.desktop\\\"}"
done
printf '[General]\nreplaceSystemDock=false\nWharf.pinnedItems.v1="@ByteArray([%s])"\n' "$pins" \
  >"$XDG_CONFIG_HOME/wharf/wharf.conf"

xdotool mousemove 960 100
"$wharf" 2>/dev/null &
pid=$!
for _ in $(seq 200); do
  call Docks 2>/dev/null | grep -q '"tiles":\[{' && break
  sleep 0.05
done
sleep 3 # the row settles and the tick stops

frames() { call FramesRendered | sed -E 's/.*uint64 ([0-9]+).*/\1/'; }
cpu_ticks() { awk '{ print $14 + $15 }' "/proc/$pid/stat"; }

read -r left right y count < <(call Docks | python3 -c '
import json, sys
raw = sys.stdin.read()
docks = json.loads(raw[raw.index("[") : raw.rindex("]") + 1].encode().decode("unicode_escape"))
tiles = [t["frame"] for t in docks[0]["tiles"]]
print(int(tiles[0][0] + tiles[0][2] / 2), int(tiles[-2][0] + tiles[-2][2] / 2), int(tiles[0][1] + tiles[0][3] / 2), len(tiles))')
echo "tiles: $count"

xdotool mousemove "$left" "$y" sleep 0.1 mousedown 1 sleep 0.1 mousemove $((left + 12)) "$y" sleep 0.3
steps=$((seconds * 60))
script=$(awk -v l="$left" -v r="$right" -v y="$y" -v n="$steps" 'BEGIN {
  for (i = 1; i <= n; i++) {
    p = (i % 240) / 120; if (p > 1) p = 2 - p
    printf "mousemove %d %d sleep 0.0166 ", l + (r - l) * p, y
  } }')
c0=$(cpu_ticks); f0=$(frames); t0=$(date +%s%N)
# shellcheck disable=SC2086
xdotool $script
t1=$(date +%s%N); c1=$(cpu_ticks); f1=$(frames)
xdotool key Escape sleep 0.1 mouseup 1
awk -v c=$((c1 - c0)) -v f=$((f1 - f0)) -v ns=$((t1 - t0)) -v hz="$hz" \
  'BEGIN { s = ns / 1e9; printf "drag: %.1f s, %.1f fps, CPU %.1f %% of a core\n", s, f / s, 100 * c / hz / s }'

call Quit >/dev/null
wait "$pid" || true
