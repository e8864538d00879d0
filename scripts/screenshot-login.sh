#!/usr/bin/env bash
# Takes docs/images/login.png: the count-down of trisk-notifier's login-screen instance ("-login YES") over
# a plain greeter-like background, on Xvfb without a window manager (as a greeter's X server runs),
# against halvaned on a private bus that plays the system bus, with one event in its notice period.
# Usage: scripts/screenshot-login.sh [BUILD_DIR] [OUTPUT]   (SCREENSHOT_LANG=de_DE.UTF-8 for German)
# Needs (Debian 12): xvfb imagemagick x11-utils, and a build (scripts/setup.sh).
set -euo pipefail
build=$(realpath "${1:-build}")
output=$(realpath -m "${2:-docs/images/login.png}")

# A display and a session bus of their own.
xvfb_options=-noreset
source "$(dirname "$0")/screenshot-display.sh"

# The greeter: a dark gradient with a card where the name and password would be typed.
font=$(fc-match -f '%{file}' 'DejaVu Sans' 2>/dev/null || true)
convert -size 1024x640 gradient:'#27323e-#46566a' \
    -fill '#ffffff1c' -stroke '#ffffff40' -draw 'roundrectangle 362,150 662,330 14,14' \
    -fill '#f4f6f8' -stroke none -draw 'roundrectangle 392,250 632,282 6,6' \
    ${font:+-font "$font"} -fill '#e8ecf0' -pointsize 20 -annotate +470+215 'Welcome' \
    -fill '#8a949e' -pointsize 13 -annotate +404+271 'Password' -alpha off "$WORK/greeter.png"
# ImageMagick 6 answers 1 here even when the background is set; -noreset above keeps it once display
# has left.
display -window root "$WORK/greeter.png" || true

# The session bus of this run plays the system bus; the login instance gets no session bus.
export DBUS_SYSTEM_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true' EXIT
"$build/service/halvaned" --bus system --rights rules --dry-run --no-state >/dev/null 2>&1 &
pids+=($!)
ctl=("$build/bin/halvanectl" --bus system)
until "${ctl[@]}" status >/dev/null 2>&1; do sleep 0.2; done
at() { date -d "now + $1 seconds" +%Y-%m-%dT%H:%M:%S; }
"${ctl[@]}" add "Shut down for the night" --id night --at "$(at 485)" --power power-off --notice 600

env -u DBUS_SESSION_BUS_ADDRESS "$build/bin/trisk-notifier" -login YES >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 50); do
    xwininfo -root -tree | grep -q '"Shut down for the night ' && break
    sleep 0.2
done
# A tick of the count-down, so that the picture shows a running clock.
sleep 1.5
import -window root "$output"
echo "wrote $output"
