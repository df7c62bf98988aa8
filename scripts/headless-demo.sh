#!/usr/bin/env bash
# The headless part of run.sh: a few programs, Wharf, a hover over the dock, a screenshot.
set -euo pipefail
xterm -geometry 80x24+200+200 &
xclock -geometry 200x200+900+200 &
sleep 1
"$WHARF_BIN" --list-items
import -window root "$WHARF_SHOT"
