#!/usr/bin/env bash
# Badge signals end to end, inside a private session:
#   scripts/session.sh bench/badge_bench.sh [path/to/wharf] [path/to/badge_signal_bench]
# An xterm with its own desktop entry runs; Wharf starts; then badge_signal_bench measures signal
# to frame and a flood of 1,000 signals a second, with the CPU of each of Wharf's threads.
#
# Figures (2-core VM shared with builds; CPU in % of one core, 1,000 signals/s for 5 s):
#                                   no tile    a tile's count changes each time    signal to frame
#   one catch-all rule, Qt D-Bus     3.0 %      6.2-6.6 % (57 frames/s)            median 1.1 ms, p90 5.8 ms
#   arg0 rules per tile, GDBus       0.0 %      4.6 % (54-60 frames/s):            median 1.0 ms, p90 6-7 ms
#   thread, badge body copied                   D-Bus thread 2.4-2.8 %, main 1.8-2.0 %
# The rest of the changing-tile cost is GDBus reading and parsing each message (about 1 % of the 2.6)
# and one redraw per frame of the badge's rect.
set -euo pipefail
build=$(dirname "$0")/../build
wharf=${1:-$build/wharf}
bench=${2:-$build/bench/badge_signal_bench}

mkdir -p "$XDG_DATA_HOME/applications" "$XDG_CONFIG_HOME/wharf"
printf '[Desktop Entry]\nType=Application\nName=Bench Terminal\nExec=xterm\nStartupWMClass=XTerm\n' \
  >"$XDG_DATA_HOME/applications/bench-terminal.desktop"
printf '[General]\nreplaceSystemDock=false\n' >"$XDG_CONFIG_HOME/wharf/wharf.conf"
xterm -geometry 40x10+200+100 &
term=$!
xdotool mousemove 960 100
"$wharf" 2>/dev/null &
pid=$!
for _ in $(seq 200); do
  gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
    --method com.tamberly.Wharf.FramesRendered >/dev/null 2>&1 && break
  sleep 0.05
done
sleep 1
"$bench" "$pid"
gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf --method com.tamberly.Wharf.Quit >/dev/null
wait "$pid" || true
kill "$term" 2>/dev/null || true
