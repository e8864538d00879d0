#!/usr/bin/env bash
# Takes docs/images/status-menu.png: trisk-notifier's status item in a real panel (xfce4-panel, whose
# system tray hosts StatusNotifierItems) under Xvfb, with its menu open, against halvaned's demo events.
# Usage: scripts/screenshot.sh [BUILD_DIR] [OUTPUT]
# Needs (Debian 12): xvfb xfce4-panel xdotool imagemagick dbus-x11, and a build (scripts/setup.sh).
set -euo pipefail
build=$(realpath "${1:-build}")
output=$(realpath -m "${2:-docs/images/status-menu.png}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if [[ -z "${IN_SCREENSHOT_SESSION:-}" ]]; then
    # A display and a session bus of their own, so that nothing of the caller's desktop takes part.
    exec env IN_SCREENSHOT_SESSION=1 HOME="$work" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" \
        XDG_CACHE_HOME="$work/cache" xvfb-run -a -s "-screen 0 800x500x24" \
        dbus-run-session -- "$0" "$build" "$output"
fi

# One panel along the top with the system tray (which hosts StatusNotifierItems) and a clock.
mkdir -p "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
cp "$(dirname "$0")/xfce4-panel.xml" "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/"

"$build/service/halvaned" --demo --dry-run --no-state &
halvaned=$!
xfce4-panel &
panel=$!
sleep 3
"$build/bin/trisk-notifier" &
notifier=$!
trap 'kill $notifier $panel $halvaned 2>/dev/null || true; rm -rf "$work"' EXIT
sleep 4

# The item is the tray's icon, left of the clock at the panel's right end: click it to open its menu.
xdotool mousemove "${TRAY_X:-720}" 14 click 1
sleep 2
# Rest on the first pending trigger, so that its submenu (cancel, delays, reset, adjust) opens too.
xdotool mousemove "${TRIGGER_X:-560}" "${TRIGGER_Y:-153}"
sleep 2
import -window root "$output"
echo "wrote $output"
