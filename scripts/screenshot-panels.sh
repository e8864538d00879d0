#!/usr/bin/env bash
# Takes docs/images/panels.png: two count-down panels and the warning panel of trisk-notifier under a
# real window manager (xfwm4) with xfce4-panel, on Xvfb, against halvaned with three events about to fire.
# Usage: scripts/screenshot-panels.sh [BUILD_DIR] [OUTPUT]   (SCREENSHOT_LANG=de_DE.UTF-8 for German)
# Needs (Debian 12): xvfb xfwm4 xfce4-panel imagemagick dbus-x11 x11-utils, and a build (scripts/setup.sh).
set -euo pipefail
build=$(realpath "${1:-build}")
output=$(realpath -m "${2:-docs/images/panels.png}")

# A display, a session bus, a window manager, a panel and halvaned of their own.
source "$(dirname "$0")/screenshot-session.sh"

# Two events inside their notice period (one with its warning lead reached), one on the horizon.
at() { date -d "now + $1 seconds" +%Y-%m-%dT%H:%M:%S; }
"${ctl[@]}" add "Shut down for the night" --id night --at "$(at 50)" --power power-off --notice 600 --warning-lead 120
"${ctl[@]}" add "Back up the photo library" --id backup --at "$(at 485)" --log backup --notice 600
"${ctl[@]}" add "Weekly restart" --id restart --at "$(at 7200)" --power reboot --notice 300

# The panel's tray first, so that the status item shows there.
until dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
    string:org.kde.StatusNotifierWatcher 2>/dev/null | grep -q true; do sleep 0.2; done
sleep 2
"$build/bin/trisk-notifier" >/dev/null 2>&1 &
pids+=($!)
# Until the three panels are mapped, then a moment for the count-downs to tick.
for _ in $(seq 50); do
    [[ $(xwininfo -root -tree | grep -cE '"(Halvane|Shut down for the night |Back up the photo library )') -ge 3 ]] && break
    sleep 0.2
done
# The tray's host reads the item's picture and title after it registers.
sleep 4
import -window root "$output"
echo "wrote $output"
