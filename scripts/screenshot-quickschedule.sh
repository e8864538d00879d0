#!/usr/bin/env bash
# Takes docs/images/quick-schedule.png: the Quick Schedule panel of trisk-notifier, opened from the status
# menu's "More Quick Schedule…" item as a person would (a click through the exported menu), under a real
# window manager (xfwm4) with xfce4-panel, on Xvfb, against halvaned.
# Usage: scripts/screenshot-quickschedule.sh [BUILD_DIR] [OUTPUT]   (SCREENSHOT_LANG=de_DE.UTF-8 for German)
# Needs (Debian 12): xvfb xfwm4 xfce4-panel imagemagick dbus-x11 x11-utils python3, and a build.
set -euo pipefail
build=$(realpath "${1:-build}")
output=$(realpath -m "${2:-docs/images/quick-schedule.png}")

# A display, a session bus, a window manager, a panel and halvaned of their own.
source "$(dirname "$0")/screenshot-session.sh"
# Something to postpone, so that every choice of the panel can be picked.
"${ctl[@]}" add "Back up the photo library" --id backup --daily 22:30 --log backup

until dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
    string:org.kde.StatusNotifierWatcher 2>/dev/null | grep -q true; do sleep 0.2; done
"$build/bin/trisk-notifier" >/dev/null 2>&1 &
notifier=$!
pids+=($notifier)

# The status item's menu, as the panel's host reads it (in UTF-8 whatever the language); then a click
# on its Quick Schedule item.
item="" layout=""
for _ in $(seq 50); do
    item=$(gdbus call --session --dest org.freedesktop.DBus --object-path /org/freedesktop/DBus \
        --method org.freedesktop.DBus.ListNames | grep -o "org.freedesktop.StatusNotifierItem-$notifier-[0-9]*" | head -1) &&
        layout=$(LC_ALL=C.UTF-8 gdbus call --session --dest "$item" --object-path /MenuBar \
            --method com.canonical.dbusmenu.GetLayout -- 0 -1 '[]' 2>/dev/null) &&
        [[ $layout == *Schnellplanung…* || $layout == *"Quick Schedule…"* ]] && break
    sleep 0.2
done
id=$(LC_ALL=C.UTF-8 python3 -c '
import re, sys
for match in re.finditer(r"\((\d+), \{[^{}]*?'"'"'label'"'"': <'"'"'([^'"'"']*)'"'"'>", sys.stdin.read()):
    if match.group(2).endswith(("Quick Schedule…", "Schnellplanung…")):
        print(match.group(1)); break' <<<"$layout")
[[ -n $id ]] || { echo "no Quick Schedule item in the status menu: $item ${layout:0:3000}" >&2; exit 1; }
gdbus call --session --dest "$item" --object-path /MenuBar --method com.canonical.dbusmenu.Event \
    "$id" clicked '<int32 0>' 0 >/dev/null
for _ in $(seq 50); do
    xwininfo -root -tree | grep -qE '"(Quick Schedule|Schnellplanung)"' && break
    sleep 0.2
done
# The tray's host reads the item's picture after it registers.
sleep 3
import -window root "$output"
echo "wrote $output"
