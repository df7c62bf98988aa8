#!/usr/bin/env bash
# The headless part of run.sh, run inside scripts/session.sh: a few programs, Wharf, the pointer
# over the dock, a screenshot in $WHARF_SHOT, then Wharf quits over D-Bus.
set -euo pipefail
: "${WHARF_BIN:?path of the wharf executable}" "${WHARF_SHOT:?path of the screenshot to write}"

wharf_call() {
  gdbus call --session --dest com.tamberly.Wharf --object-path /com/tamberly/Wharf \
    --method "com.tamberly.Wharf.$1" "${@:2}"
}

# A pinned folder of sample files, shown open as a fan stack in the screenshot.
samples="$HOME/Samples"
mkdir -p "$samples/Drafts" "${XDG_CONFIG_HOME:-$HOME/.config}/wharf"
for name in Notes Plans Ideas Budget Letter Recipes Travel Reading Music Photos Todo; do
  printf '%s\n' "$name" >"$samples/$name.txt"
done
python3 - "$samples" "${XDG_CONFIG_HOME:-$HOME/.config}/wharf/wharf.conf" <<'PY'
import json, sys
pins = json.dumps([{"path": sys.argv[1], "kind": "folder"}]).replace('"', '\\"')
with open(sys.argv[2], "w") as conf:
    conf.write('[General]\nWharf.pinnedItems.v1="@ByteArray(%s)"\n' % pins)
PY

xterm -geometry 80x24+200+200 &
xclock -geometry 200x200+900+200 &
xeyes -geometry 200x120+1300+200 2>/dev/null &
sleep 1

"$WHARF_BIN" &
wharf_pid=$!

# Wait until the dock has tiles (the bus name comes a moment before the windows).
docks=
for _ in $(seq 100); do
  docks=$(wharf_call Docks 2>/dev/null || true)
  case "$docks" in *'"tiles":[{'*) break ;; esac
  sleep 0.1
done
if [ -z "$docks" ]; then
  echo "headless-demo: Wharf did not come up" >&2
  kill "$wharf_pid" 2>/dev/null || true
  exit 1
fi

# Let the row finish its appearing animation, then hover the middle of the first dock's second tile (or its first) and let the icons magnify.
sleep 1
docks=$(wharf_call Docks)
target=$(printf '%s' "$docks" | python3 -c '
import json, sys
raw = sys.stdin.read()
docks = json.loads(raw[raw.index("[") : raw.rindex("]") + 1].encode().decode("unicode_escape"))
tiles = docks[0]["tiles"]
x, y, w, h = tiles[min(1, len(tiles) - 1)]["frame"]
print(int(x + w / 2), int(y + h / 2))')
# shellcheck disable=SC2086
xdotool mousemove $target
sleep 0.8
echo "Hovered tile: $(wharf_call HoveredIndex)"
wharf_call Items
wharf_call SetStackViewMode "$samples" fan >/dev/null
wharf_call OpenStack "$samples" >/dev/null
for _ in $(seq 50); do
  case "$(wharf_call Stack)" in *'"mode":"fan"'*'"open":true'*) break ;; esac
  sleep 0.1
done
sleep 0.3
echo "Stack: $(wharf_call Stack)"
import -window root "$WHARF_SHOT"

wharf_call Quit >/dev/null
wait "$wharf_pid"
