#!/usr/bin/env bash
# Badge signals end to end, inside a private session:
#   scripts/session.sh bench/badge_bench.sh [path/to/wharf] [path/to/badge_signal_bench]
# An xterm with its own desktop entry runs; Wharf starts; then badge_signal_bench measures signal
# to frame and a flood of 1,000 signals a second, with the CPU of each of Wharf's threads.
#
# Figures, % of one core at 1,000 signals/s for 5 s (2-core VM, load average 8 from parallel builds;
# the two builds run alternately, twice each):
#   one catch-all rule; every signal woken on the main thread, a refresh per frame, badge paths
#   filled each frame:
#     no tile 2.8-3.0 %; a tile's count changing each time 6.4-6.8 % at 56-59 frames/s
#     (D-Bus thread 1.6-1.8 %, main 4.2-4.6 %, painting helpers up to 0.6 %); signal to frame
#     median 1.1-1.2 ms, p90 1.2-5.4 ms
#   an arg0 match rule per application with a tile; updates taken on the D-Bus thread, the main
#   thread told at most once a frame; badge bodies copied from a picture, text measured once:
#     no tile 0.0 %; a tile's count changing each time 3.8-4.2 % at 57 frames/s
#     (D-Bus thread 1.6-1.8 %, main 2.2 %); signal to frame median 0.8-1.0 ms, p90 1.3-6.0 ms
#   (GDBus on its own connection, tried instead: its thread alone took 3.4 % reading and parsing.)
#   the same, with a stream that changes every frame for 100 ms shown ten times a second until it
#   pauses (quiet machine): a tile's count changing each time 2.0 % at 8.4 frames/s (D-Bus thread
#   1.8 %, main 0.2 %); the tile ends on the last count sent; signal to frame median 0.8 ms
#   the same, read by libdbus on a connection and thread of its own instead of QtDBus's (one more
#   build running, alternate runs): 1.67-1.69 % at 7-8 frames/s (reading thread 1.2-1.3 %, main
#   0.4 %) against 2.61-2.86 % (QtDBus thread 2.2-2.4 %, main 0.4 %); with a stream gathered for a
#   frame and read in one go (about 60 wakeups a second instead of one per burst), quiet machine:
#   1.55-1.87 % at 10 frames/s (reading thread 1.0-1.3 %, main 0.5 %)
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
