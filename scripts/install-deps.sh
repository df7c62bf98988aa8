#!/usr/bin/env bash
# Installs every Debian package that building, running and testing Wharf needs.
# Runs `apt-get update` only when something is missing, so a ready machine pays nothing.
set -euo pipefail

build=(g++ make cmake pkgconf qt6-base-dev qt6-svg-dev qt6-qpa-plugins libqt6svg6
       libglib2.0-dev libxcb1-dev libxcb-ewmh-dev libxcb-icccm4-dev libxcb-shape0-dev libxcb-shm0-dev
       libxcb-keysyms1-dev libxcb-randr0-dev libxcb-xtest0-dev libxcb-xinput-dev libplist-dev libdbus-1-dev
       libgtest-dev libgmock-dev libbenchmark-dev dpkg-dev)
# A private X session for the headless run and the end-to-end tests.
session=(xvfb xauth openbox icewm xcompmgr xdotool x11-utils wmctrl x11-xserver-utils x11-apps xterm
         imagemagick dbus dbus-daemon libglib2.0-bin dconf-service dconf-gsettings-backend
         adwaita-icon-theme hicolor-icon-theme desktop-file-utils fonts-dejavu-core procps python3
         trayer appstream at-spi2-core python3-gi gir1.2-atspi-2.0 hsetroot)
# Other window managers, which activation is checked against as well.
window_managers=(mutter kwin-x11)

want=("${build[@]}" "${session[@]}" "${window_managers[@]}")
missing=()
for p in "${want[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
