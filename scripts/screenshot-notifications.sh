#!/usr/bin/env bash
# Takes docs/images/notifications.png: a trigger's notification and the update notification of
# trisk-notifier as a real notification server (dunst) draws them on Xvfb, against halvaned with one event
# about to fire and an update feed served from 127.0.0.1 that offers a newer version.
# Usage: scripts/screenshot-notifications.sh [BUILD_DIR] [OUTPUT]   (SCREENSHOT_LANG=de_DE.UTF-8 for German)
# Needs (Debian 12): xvfb dunst imagemagick python3, and a build (scripts/setup.sh). The update check runs
# only for administrators: as root the notifier is started in the sudo group.
set -euo pipefail
build=$(realpath "${1:-build}")
output=$(realpath -m "${2:-docs/images/notifications.png}")

# A display and a session bus of their own.
screenshot_lang=en_GB.UTF-8
source "$(dirname "$0")/screenshot-display.sh"

pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true' EXIT

# The server, styled as a desktop would have it; nothing expires while the picture is taken.
mkdir -p "$XDG_CONFIG_HOME/dunst" "$XDG_CONFIG_HOME/halvane" "$WORK/feed"
cat >"$XDG_CONFIG_HOME/dunst/dunstrc" <<'CONFIG'
[global]
    font = DejaVu Sans 10
    width = 400
    origin = top-right
    offset = 16x16
    frame_width = 1
    padding = 10
    horizontal_padding = 12
    gap_size = 8
    markup = full
    format = "<b>%s</b>\n%b"
    icon_position = left
    max_icon_size = 40
    sort = no
[urgency_normal]
    background = "#2e3440"
    foreground = "#eceff4"
    frame_color = "#4c566a"
    timeout = 0
[urgency_critical]
    background = "#2e3440"
    foreground = "#eceff4"
    frame_color = "#ebcb8b"
    timeout = 0
CONFIG
dunst >/dev/null 2>&1 &
pids+=($!)

# A feed that offers a newer version, and a resource folder whose Info.plist points at it.
port=$((20000 + RANDOM % 20000))
cat >"$WORK/feed/releases.xml" <<'FEED'
<?xml version="1.0" encoding="UTF-8"?>
<releases>
  <release version="9.0.0" date="2030-06-01"/>
</releases>
FEED
python3 -m http.server "$port" --bind 127.0.0.1 --directory "$WORK/feed" >/dev/null 2>&1 &
pids+=($!)
cp -r "$build/share/trisk-notifier" "$WORK/resources"
sed -i "s|https://[^<]*releases.xml|http://127.0.0.1:$port/releases.xml|" "$WORK/resources/Info.plist"
export TRISK_RESOURCES="$WORK/resources"

# Only the desktop notifications: no status item, no panels.
cat >"$XDG_CONFIG_HOME/halvane/org.halvane.scheduler.plist" <<'DOMAIN'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
  <key>notifier.status-menu</key><false/>
  <key>notifier.warning</key><false/>
  <key>notifier.notifications</key><false/>
</dict></plist>
DOMAIN

"$build/service/halvaned" --dry-run --no-state >/dev/null 2>&1 &
pids+=($!)
ctl=("$build/bin/halvanectl")
until "${ctl[@]}" status >/dev/null 2>&1; do sleep 0.2; done
at() { date -d "now + $1 seconds" +%Y-%m-%dT%H:%M:%S; }
"${ctl[@]}" add "Shut down for the night" --id night --at "$(at 240)" --power power-off --notice 600

until curl -sf "http://127.0.0.1:$port/releases.xml" >/dev/null 2>&1 || python3 -c "import urllib.request; urllib.request.urlopen('http://127.0.0.1:$port/releases.xml')" 2>/dev/null; do sleep 0.2; done
as_admin=()
[ "$(id -u)" -eq 0 ] && as_admin=(setpriv --groups "$(getent group sudo | cut -d: -f3)" --)
"${as_admin[@]}" "$build/bin/trisk-notifier" >"$WORK/notifier.log" 2>&1 &
pids+=($!)
for _ in $(seq 100); do
    [[ $(dunstctl count displayed 2>/dev/null || echo 0) -ge 2 ]] && break
    sleep 0.2
done
sleep 1
import -window root "$WORK/screen.png"
# The corner where the server draws.
convert "$WORK/screen.png" -crop 440x190+584+0 +repage "$output"
echo "wrote $output"
