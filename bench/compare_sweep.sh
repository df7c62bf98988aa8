#!/usr/bin/env bash
# Sweep CPU of two builds, measured in turns so that both see the same machine:
#   bench/compare_sweep.sh path/to/wharf-a path/to/wharf-b [rounds]
# Each turn is the process bench's sweep in a fresh private session. On a shared or virtual
# machine one sweep's figure moves by ±10 % from run to run; compare the medians.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
a=${1:?first wharf executable}
b=${2:?second wharf executable}
rounds=${3:-5}
declare -A runs
for _ in $(seq "$rounds"); do
  for bin in "$a" "$b"; do
    us=$(WHARF_BENCH_ONLY=sweep "$root/scripts/session.sh" bash "$root/bench/dock_process_bench.sh" "$bin" 2>&1 |
      sed -nE 's/^sweep: .* ([0-9]+) us a frame$/\1/p')
    echo "$bin: ${us:-failed} us a frame"
    runs[$bin]="${runs[$bin]:-} ${us:-}"
  done
done
for bin in "$a" "$b"; do
  # shellcheck disable=SC2086
  printf '%s\n' ${runs[$bin]} | sort -n | awk -v bin="$bin" '{ v[NR] = $1 }
    END { if (NR) printf "%s: median %d us a frame over %d sweeps (%d-%d)\n", bin, v[int((NR + 1) / 2)], NR, v[1], v[NR] }'
done
