#!/usr/bin/env bash
# Shows trisk-notifier at work against halvaned's demo schedule, plus one event that comes due within the
# minute (so that its count-down panel, its warning and its firing are all seen). halvaned runs with
# --dry-run under a bus name of its own and never touches power.
#
#   scripts/demo.sh desktop  [BUILD_DIR]           on the desktop of this session, until Ctrl-C
#   scripts/demo.sh headless [BUILD_DIR] [FOLDER]  under Xvfb with xfwm4, xfce4-panel and dunst: saves
#                                                  screenshots and a summary into FOLDER, then stops
#                                                  (KEEP_LOGS=1 keeps the programs' logs in FOLDER/logs)
#
# Needs a build (scripts/setup.sh); headless also xvfb xauth xfwm4 xfce4-panel dunst xdotool imagemagick
# x11-utils (scripts/setup.sh installs them).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mode=${1:?usage: demo.sh desktop|headless [BUILD_DIR] [FOLDER]}
build=$(realpath "${2:-build}")
output=$(realpath -m "${3:-demo-output}")
# When the extra event fires (seconds after it is added), and how long before that it warns.
due=${DEMO_DUE:-45}
lead=25

if [[ $mode == headless && -z "${IN_DEMO_SESSION:-}" ]]; then
    mkdir -p "$output"
    rm -f "$output"/*.png "$output"/summary.txt
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    mkdir -m 700 "$work/runtime"
    # A display and a session bus of their own, so that nothing of the caller's desktop takes part.
    env IN_DEMO_SESSION=1 HOME="$work" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" \
        XDG_CACHE_HOME="$work/cache" XDG_RUNTIME_DIR="$work/runtime" LANG=C.UTF-8 LANGUAGE= \
        xvfb-run -a -s "-screen 0 1024x640x24" dbus-run-session -- "$0" headless "$build" "$output"
    exit
fi

pids=()
stop() {
    ((${#pids[@]})) || return 0
    kill "${pids[@]}" 2>/dev/null || true
    wait "${pids[@]}" 2>/dev/null || true
    pids=()
}
log=$(mktemp -d)/logs
mkdir -p "$log"
trap 'stop; [[ -n ${KEEP_LOGS:-} ]] && cp -r "$log" "$output/logs"; rm -rf "$(dirname "$log")"' EXIT

service=org.halvane.Demo$$
ctl() { "$build/bin/halvanectl" --name "$service" "$@"; }
# The session bus' owner of a name, asked without waiting.
has_name() {
    dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
        "string:$1" 2>/dev/null | grep -q true
}
# Waits (polling, at most $2 tenths of a second) until the command in the remaining arguments succeeds.
wait_until() {
    local tenths=$1
    shift
    for ((i = 0; i < tenths; i++)); do
        "$@" && return 0
        sleep 0.1
    done
    return 1
}

start_schedule() {
    "$build/service/halvaned" --demo --dry-run --no-state --name "$service" >"$log/halvaned.log" 2>&1 &
    pids+=($!)
    wait_until 100 ctl status >/dev/null 2>&1 || {
        echo "demo: halvaned did not start:" >&2
        cat "$log/halvaned.log" >&2
        exit 1
    }
    ctl add "Tidy the downloads folder (demo)" --id demo-tidy --log "the downloads folder would be tidied now" \
        --at "$(date -d "now + $due seconds" +%Y-%m-%dT%H:%M:%S)" --notice 600 --warning-lead "$lead" >/dev/null
}

start_notifier() {
    HALVANE_SERVICE=$service "$build/bin/trisk-notifier" >"$log/trisk-notifier.log" 2>&1 &
    pids+=($!)
}

if [[ $mode == desktop ]]; then
    start_schedule
    start_notifier
    cat <<EOF
The notifier runs on your desktop against a demo schedule (nothing is powered off, nothing is changed).
Look at:
  - the panel (or tray): the Halvane item, its title counting down to the next event; click it for the
    menu of what is coming up, with cancel, delay, adjust and perform;
  - the count-down panels: "Evening shut down (demo)" now, and "Tidy the downloads folder (demo)", whose
    warning shows in $((due - lead)) seconds and which fires in $due seconds;
  - try Adjust…, Cancel This Time, or "$build/bin/halvanectl --name $service list" in another terminal.
Stop with Ctrl-C.
EOF
    trap 'echo; echo "stopping"; exit 0' INT TERM
    wait "${pids[@]}"
    exit
fi

# Headless: one panel along the top with the system tray (which hosts the status item), a window manager,
# a notification server, the schedule and the notifier.
mkdir -p "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
cp "$here/xfce4-panel.xml" "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/"
xfwm4 --compositor=off >"$log/xfwm4.log" 2>&1 &
pids+=($!)
xfce4-panel >"$log/xfce4-panel.log" 2>&1 &
pids+=($!)
dunst >"$log/dunst.log" 2>&1 &
pids+=($!)
start_schedule
started=$SECONDS
# The first notification the notification server shows, whenever it comes.
(
    until [[ $(dunstctl count displayed 2>/dev/null || echo 0) -gt 0 ]]; do sleep 0.2; done
    sleep 0.5
    import -window root "png:$output/notification.png.part" && mv "$output/notification.png.part" "$output/notification.png"
) &
pids+=($!)
wait_until 150 has_name org.kde.StatusNotifierWatcher || echo "demo: no status item host appeared" >&2
start_notifier

# The item as the panel sees it: its bus name and path from the watcher, e.g. ":1.9/StatusNotifierItem".
item() {
    gdbus call --session --dest org.kde.StatusNotifierWatcher --object-path /StatusNotifierWatcher \
        --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierWatcher RegisteredStatusNotifierItems \
        2>/dev/null | grep -o "'[^']*'" | head -1 | tr -d "'"
}
has_item() { [[ -n $(item) ]]; }
wait_until 150 has_item || echo "demo: the notifier registered no status item" >&2
location=$(item)
item_service=${location%%/*}
item_path=/${location#*/}
[[ $location == */* ]] || item_path=/StatusNotifierItem
property() {
    gdbus call --session --dest "$item_service" --object-path "$item_path" \
        --method org.freedesktop.DBus.Properties.Get org.kde.StatusNotifierItem "$1" 2>/dev/null
}
# The menu's lines: the labels of the root's children (gdbus prints them as 'label': <'…'>, or with
# double quotes when the label holds an apostrophe); separators as a rule.
menu_lines() {
    gdbus call --session --dest "$item_service" --object-path "$(property Menu | grep -o "'/[^']*'" | tr -d "'")" \
        --method com.canonical.dbusmenu.GetLayout 0 1 '["label", "type"]' 2>/dev/null \
        | perl -ne 'while (/\x27type\x27: <\x27separator\x27>|\x27label\x27: <(?:\x27((?:[^\x27\\]|\\.)*)\x27|"((?:[^"\\]|\\.)*)")>/g) {
                        print defined $1 || defined $2 ? "  " . ($1 // $2) =~ s/\\n/ — /gr =~ s/\\(.)/$1/gr . "\n" : "  ----\n" }'
}
# The tray draws the item after reading its picture and title.
sleep 3

# The item's menu, opened as a person does: a click on the tray's icon, left of the clock.
screen_width=$(xwininfo -root | awk '/Width:/ { print $2 }')
xdotool mousemove "$((screen_width - ${TRAY_FROM_RIGHT:-80}))" 14 click 1
sleep 2
import -window root "$output/status-menu.png"
xdotool key Escape
# What the item and its menu said at that moment, as the panel read them.
shown_item=$(
    echo "Status item"
    echo "  label:   $(property XAyatanaLabel | grep -o "'[^']*'" | head -1 | tr -d "'")"
    echo "  title:   $(property Title | grep -o "'[^']*'" | head -1 | tr -d "'")"
    echo "Menu"
    menu_lines
)

# The count-down panels, once the extra event's warning panel has joined them.
panels_shown() { (($(xdotool search --onlyvisible --name '\(demo\) at |Halvane Warning' 2>/dev/null | wc -l) >= 3)); }
wait_until $(((due - lead + 5) * 10)) panels_shown || echo "demo: fewer panels than expected" >&2
sleep 1.5
import -window root "$output/panels.png"
shown_panels=$(
    echo "Panels"
    for window in $(xdotool search --onlyvisible --name '\(demo\) at |Halvane Warning' 2>/dev/null); do
        echo "  $(xdotool getwindowname "$window")"
    done
)

# The firing, and a few seconds for a notification about it.
notification_taken() { [[ -e $output/notification.png ]]; }
wait_until $(((due + 8 - (SECONDS - started)) * 10)) notification_taken || true
notification=""
notification_taken && notification="$output/notification.png"

{
    echo "$shown_item"
    echo "$shown_panels"
    echo "Notification"
    echo "  ${notification:+shown}${notification:-none shown}"
    echo "Service, after the firing"
    ctl status | sed 's/^/  /'
    grep -h "downloads folder" "$log/halvaned.log" | sed 's/^/  log: /' | head -1
} >"$output/summary.txt"
stop
cat "$output/summary.txt"
echo
echo "Screenshots:"
for file in status-menu panels; do echo "  $output/$file.png"; done
if [[ -n $notification ]]; then echo "  $notification"; else echo "  no notification shown"; fi
