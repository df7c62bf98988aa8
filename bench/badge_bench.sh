#!/usr/bin/env bash
# Badge signals end to end, inside a private session:
#   scripts/session.sh bench/badge_bench.sh [path/to/wharf] [path/to/badge_signal_bench]
# An xterm with its own desktop entry runs; Wharf starts; then badge_signal_bench measures signal
# to frame and a flood of 1,000 signals a second.
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
