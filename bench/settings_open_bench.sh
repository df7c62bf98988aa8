#!/usr/bin/env bash
# Time from the ShowSettings command to the settings window's first painted frame, measured inside
# a private session:   scripts/session.sh bench/settings_open_bench.sh [path/to/wharf]
# The first opening builds the window; later ones rebuild its controls and show it again.
set -euo pipefail
wharf=${1:-${WHARF_BIN:-$(dirname "$0")/../build/wharf}}
rounds=${WHARF_BENCH_ROUNDS:-5}
log=$(mktemp)
QT_LOGGING_RULES="wharf.settings.debug=true" "$wharf" 2>"$log" &
pid=$!
trap 'kill $pid 2>/dev/null; wait $pid 2>/dev/null; rm -f "$log"' EXIT
for _ in $(seq 500); do
  gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
    --method com.tamberly.Wharf.Docks 2>/dev/null | grep -q tiles && break
  sleep 0.02
done

for round in $(seq "$rounds"); do
  seen=$(grep -c 'Settings window shown at' "$log" || true)
  t0=$(date +%s%6N)
  gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
    --method com.tamberly.Wharf.ShowSettings >/dev/null
  for _ in $(seq 1000); do
    [ "$(grep -c 'Settings window shown at' "$log" || true)" -gt "$seen" ] && break
    sleep 0.005
  done
  shown=$(grep -o 'Settings window shown at [0-9]*' "$log" | tail -1 | grep -o '[0-9]*$')
  label=$([ "$round" -eq 1 ] && echo "first open" || echo "reopen")
  echo "settings window, $label: $(( (shown - t0) / 1000 )) ms"
  wmctrl -c "Wharf Settings"
  sleep 0.3
done
