#!/usr/bin/env bash
# Compiles the real Dash to Dock GSettings schema into DIR/schemas for the takeover tests.
# The schema comes out of Debian's package, which is downloaded (not installed: it depends on
# the whole of GNOME Shell) once into DIR and kept there.
# Usage: dash-to-dock-schema.sh DIR
set -euo pipefail
dir=${1:?usage: dash-to-dock-schema.sh DIR}
schema=org.gnome.shell.extensions.dash-to-dock.gschema.xml
mkdir -p "$dir/schemas"
if [ -f "$dir/schemas/gschemas.compiled" ] && [ -f "$dir/schemas/$schema" ]; then
  exit 0
fi
download() { (cd "$dir" && apt-get download gnome-shell-extension-dashtodock) >"$dir/download.log" 2>&1; }
if ! ls "$dir"/gnome-shell-extension-dashtodock_*.deb >/dev/null 2>&1; then
  # A machine whose package lists were cleaned knows no packages until they are fetched again.
  if ! download; then
    if [ "$(id -u)" -eq 0 ]; then apt-get update -qq; else sudo -n apt-get update -qq; fi >>"$dir/download.log" 2>&1 || true
  fi
  if ! ls "$dir"/gnome-shell-extension-dashtodock_*.deb >/dev/null 2>&1 && ! download; then
    echo "FAILED: could not download gnome-shell-extension-dashtodock from the Debian mirror;" >&2
    echo "the takeover tests need its GSettings schema. apt-get said:" >&2
    cat "$dir/download.log" >&2
    exit 1
  fi
fi
rm -rf "$dir/extracted"
deb=$(ls "$dir"/gnome-shell-extension-dashtodock_*.deb | head -n1)
if ! dpkg-deb -x "$deb" "$dir/extracted"; then
  rm -f "$deb"
  echo "FAILED: $deb is damaged and was removed; run the tests again to download it anew." >&2
  exit 1
fi
found=$(find "$dir/extracted" -name "$schema" | head -n1)
if [ -z "$found" ]; then
  echo "FAILED: the downloaded package holds no $schema" >&2
  exit 1
fi
cp "$found" "$dir/schemas/$schema"
glib-compile-schemas --strict "$dir/schemas"
echo "Dash to Dock schema compiled into $dir/schemas"
