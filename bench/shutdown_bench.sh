#!/usr/bin/env bash
# How long Wharf takes to end, from the request to the process being gone, with nothing of the
# desktop's dock to give back. Run inside a private session:
#   scripts/session.sh bench/shutdown_bench.sh [path/to/wharf] [rounds=5]
set -euo pipefail
wharf=${1:-${WHARF_BIN:-$(dirname "$0")/../build/wharf}}
rounds=${2:-5}
log=$(mktemp)

start_wharf() {
  "$wharf" 2>"$log" &
  pid=$!
  for _ in $(seq 300); do
    grep -q 'Wharf ready' "$log" && return 0
    sleep 0.02
  done
  echo "wharf did not start; log:" >&2; cat "$log" >&2; exit 1
}

for how in SIGTERM Quit; do
  times=()
  for _ in $(seq "$rounds"); do
    start_wharf
    t0=$(date +%s%N)
    if [ "$how" = SIGTERM ]; then
      kill -TERM "$pid"
    else
      gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
        --method com.tamberly.Wharf.Quit >/dev/null || { cat "$log" >&2; exit 1; }
    fi
    wait "$pid" || true
    times+=($(( ($(date +%s%N) - t0) / 1000000 )))
  done
  printf '%s\n' "${times[@]}" | sort -n |
    awk -v how="$how" '{ a[NR] = $1 } END { printf "%s to exit, ms: median %s, worst %s\n", how, a[int((NR + 1) / 2)], a[NR] }'
done
rm -f "$log"
