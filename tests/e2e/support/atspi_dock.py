#!/usr/bin/python3
"""Reads and drives Wharf's dock through the accessibility bus (AT-SPI), as a screen reader would.

Usage: atspi_dock.py tiles          one JSON line: the tiles of the shown dock, each with its
                                    name, states and actions
       atspi_dock.py focused        the name of the tile that has the focus ("" when none)
       atspi_dock.py do NAME ACTION performs ACTION ("Press", "ShowMenu") on the tile NAME
Exits 1 when Wharf is not on the accessibility bus or the tile or action does not exist.
"""
import json
import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def states(obj):
    state_set = obj.get_state_set()
    return [s.value_nick for s in Atspi.StateType.__enum_values__.values()
            if s != Atspi.StateType.LAST_DEFINED and state_set.contains(s)]


def dock():
    """The toolbar named Wharf that is showing (the normal dock, not the unmapped overlay)."""
    desktop = Atspi.get_desktop(0)
    for i in range(desktop.get_child_count()):
        app = desktop.get_child_at_index(i)
        if app is None or app.get_name().lower() != "wharf":
            continue
        found = find(app, lambda o: o.get_role() == Atspi.Role.TOOL_BAR and o.get_name() == "Wharf"
                     and o.get_state_set().contains(Atspi.StateType.SHOWING) and o.get_child_count() > 0)
        if found:
            return found
    return None


def find(obj, match, depth=0):
    if match(obj):
        return obj
    if depth > 6:
        return None
    for i in range(obj.get_child_count()):
        child = obj.get_child_at_index(i)
        if child is not None:
            hit = find(child, match, depth + 1)
            if hit:
                return hit
    return None


def tiles(toolbar):
    return [toolbar.get_child_at_index(i) for i in range(toolbar.get_child_count())]


def actions(tile):
    action = tile.get_action_iface()
    if action is None:
        return []
    return [action.get_action_name(i) for i in range(action.get_n_actions())]


def main(argv):
    toolbar = dock()
    if toolbar is None:
        print("Wharf's dock is not on the accessibility bus", file=sys.stderr)
        return 1
    command = argv[1] if len(argv) > 1 else "tiles"
    if command == "tiles":
        print(json.dumps([{"name": t.get_name(), "role": t.get_role_name(), "states": states(t),
                           "actions": actions(t)} for t in tiles(toolbar)]))
        return 0
    if command == "focused":
        print(next((t.get_name() for t in tiles(toolbar)
                    if t.get_state_set().contains(Atspi.StateType.FOCUSED)), ""))
        return 0
    if command == "do" and len(argv) == 4:
        tile = next((t for t in tiles(toolbar) if t.get_name() == argv[2]), None)
        names = actions(tile) if tile else []
        if argv[3] not in names:
            print(f"no action {argv[3]!r} on {argv[2]!r} (has {names})", file=sys.stderr)
            return 1
        return 0 if tile.get_action_iface().do_action(names.index(argv[3])) else 1
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv))
