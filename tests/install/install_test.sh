#!/usr/bin/env bash
# install_test.sh <build dir> <scratch dir>: installs Wharf into a staging root and builds the .deb,
# then checks that every file sits where the freedesktop specifications look for it.
set -uo pipefail
build=$1
scratch=$2
id=com.tamberly.Wharf
failures=0
fail() { echo "FAIL: $*" >&2; failures=$((failures + 1)); }

rm -rf "$scratch"
mkdir -p "$scratch"
stage=$scratch/stage
DESTDIR=$stage cmake --install "$build" --prefix /usr >"$scratch/install.log" 2>&1 \
  || { cat "$scratch/install.log" >&2; echo "FAIL: cmake --install" >&2; exit 1; }

usr=$stage/usr
[ -x "$usr/bin/wharf" ] || fail "no executable at /usr/bin/wharf"
desktop=$usr/share/applications/$id.desktop
icon=$usr/share/icons/hicolor/scalable/apps/$id.svg
metainfo=$usr/share/metainfo/$id.metainfo.xml
for f in "$desktop" "$icon" "$metainfo" "$usr/share/wharf/rules.conf"; do
  [ -f "$f" ] || fail "missing ${f#$stage}"
done

# The entry must name things that the package installs: its program and its icon.
if [ -f "$desktop" ]; then
  desktop-file-validate "$desktop" || fail "desktop-file-validate rejects $id.desktop"
  exec_program=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$desktop")
  [ -x "$usr/bin/$exec_program" ] || fail "Exec names '$exec_program', which is not installed"
  icon_name=$(sed -n 's/^Icon=//p' "$desktop")
  [ "$icon_name" = "$id" ] || fail "Icon is '$icon_name', not the installed icon's name"
fi
if [ -f "$icon" ]; then
  grep -q '<svg' "$icon" || fail "the icon is not an SVG document"
fi
if [ -f "$metainfo" ]; then
  grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" \
    || fail "the metainfo does not launch $id.desktop"
  if command -v appstreamcli >/dev/null; then
    appstreamcli validate --no-net "$metainfo" >"$scratch/appstream.log" 2>&1 \
      || { cat "$scratch/appstream.log" >&2; fail "appstreamcli rejects the metainfo"; }
  fi
fi
# The Debian package: its dependencies come from the binary's libraries, its files from the install.
(cd "$scratch" && cpack -G DEB -B "$scratch/deb" --config "$build/CPackConfig.cmake") >"$scratch/cpack.log" 2>&1 \
  || { cat "$scratch/cpack.log" >&2; echo "FAIL: cpack -G DEB" >&2; exit 1; }
deb=$(ls "$scratch"/deb/wharf_*.deb 2>/dev/null | head -1)
if [ -z "$deb" ]; then
  fail "cpack made no wharf_*.deb"
else
  info=$(dpkg-deb --info "$deb")
  depends=$(printf '%s\n' "$info" | sed -n 's/^ Depends: //p')
  for need in libqt6widgets6 libqt6dbus6 libglib2.0-0 libxcb1 libplist3 qt6-qpa-plugins libqt6svg6; do
    printf '%s' "$depends" | grep -q "\b$need\b" || fail "the .deb does not depend on $need (Depends: $depends)"
  done
  printf '%s\n' "$info" | grep -q '^ Architecture: amd64\|^ Architecture: arm64\|^ Architecture: [a-z0-9]*$' \
    || fail "the .deb has no architecture"
  contents=$(dpkg-deb --contents "$deb" | awk '{print $6}')
  for path in ./usr/bin/wharf ./usr/share/applications/$id.desktop \
              ./usr/share/icons/hicolor/scalable/apps/$id.svg ./usr/share/metainfo/$id.metainfo.xml; do
    printf '%s\n' "$contents" | grep -qx "$path" || fail "the .deb lacks $path"
  done
fi

[ "$failures" -eq 0 ] && echo "install layout and package OK"
exit "$failures"
