#!/usr/bin/env bash
# Takes docs/images/status-menu.png: trisk-notifier's status item in a real panel (xfce4-panel, whose
# system tray hosts StatusNotifierItems) under Xvfb, with its menu open, against halvaned's demo events.
# Usage: scripts/screenshot.sh [BUILD_DIR] [OUTPUT]
#
# With --count-down, takes the item's plain picture above the count-down drawn as its picture (with the
# item's tool tip), on xfce4-panel and lxqt-panel, each light and dark, and the item with the service gone:
# docs/images/count-down-{xfce,lxqt}-{light,dark}.png and count-down-disconnected.png.
# Usage: scripts/screenshot.sh --count-down [BUILD_DIR] [OUTPUT_FOLDER]
# Needs (Debian 12): xvfb xfce4-panel lxqt-panel xdotool imagemagick dbus-x11, and a build (scripts/setup.sh).
set -euo pipefail
mode=menu
flags=()
if [[ "${1:-}" == --count-down ]]; then
    mode=count-down
    flags=(--count-down)
    shift
fi
build=$(realpath "${1:-build}")
if [[ $mode == count-down ]]; then
    output=$(realpath -m "${2:-docs/images}")
else
    output=$(realpath -m "${2:-docs/images/status-menu.png}")
fi

if [[ -z "${IN_SCREENSHOT_SESSION:-}" ]]; then
    # The panels and tools the pictures need, from Debian, when they are missing.
    needed=(xvfb-run:xvfb xfce4-panel:xfce4-panel xdotool:xdotool import:imagemagick dbus-run-session:dbus-bin)
    [[ $mode == count-down ]] && needed+=(lxqt-panel:lxqt-panel)
    missing=()
    for pair in "${needed[@]}"; do command -v "${pair%%:*}" >/dev/null || missing+=("${pair#*:}"); done
    if [[ ${#missing[@]} -gt 0 ]]; then
        as_root=()
        [[ $(id -u) -eq 0 ]] || as_root=(sudo)
        DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
    fi
    # A display and a session bus of their own for each picture, so that nothing of the caller's desktop
    # (nor of the picture before) takes part.
    session() {
        local work
        work=$(mktemp -d)
        env IN_SCREENSHOT_SESSION=1 "$@" WORK="$work" HOME="$work" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" \
            XDG_CACHE_HOME="$work/cache" xvfb-run -a -s "-screen 0 800x500x24" \
            dbus-run-session -- "$0" "${flags[@]}" "$build" "$output" || status=$?
        rm -rf "$work"
        return "${status:-0}"
    }
    if [[ $mode == menu ]]; then
        session
    else
        for panel in xfce lxqt; do
            for theme in light dark; do
                session PANEL=$panel THEME=$theme SHOT="$output/count-down-$panel-$theme.png"
            done
        done
        session PANEL=lxqt THEME=dark DISCONNECTED=1 SHOT="$output/count-down-disconnected.png"
    fi
    exit
fi
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true' EXIT
# The menu's picture shows the demo's events; the count-down starts from nothing scheduled.
demo=(--demo)
[[ $mode == count-down ]] && demo=()
"$build/service/halvaned" "${demo[@]}" --dry-run --no-state >/dev/null 2>&1 &
pids+=($!)

if [[ ${PANEL:-xfce} == xfce ]]; then
    # One panel along the top with the system tray (which hosts StatusNotifierItems) and a clock.
    mkdir -p "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
    cp "$(dirname "$0")/xfce4-panel.xml" "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/"
    # GTK's own dark variant, for the dark panel; the tray draws symbolic icons in the panel's text colour.
    [[ ${THEME:-light} == dark ]] && export GTK_THEME=Adwaita:dark
    xfce4-panel >/dev/null 2>&1 &
    pids+=($!)
else
    # One LXQt panel along the top with its status notifier area and a clock, in LXQt's own light or dark
    # theme.
    mkdir -p "$XDG_CONFIG_HOME/lxqt"
    printf '[General]\ntheme=%s\nicon_theme=hicolor\n' "$THEME" >"$XDG_CONFIG_HOME/lxqt/lxqt.conf"
    printf '%s\n' 'panels=panel1' '[panel1]' 'plugins=spacer,statusnotifier,worldclock' 'position=Top' \
        'panelSize=32' 'iconSize=22' '[spacer]' 'type=spacer' 'expandable=true' \
        '[statusnotifier]' 'type=statusnotifier' '[worldclock]' 'type=worldclock' >"$XDG_CONFIG_HOME/lxqt/panel.conf"
    lxqt-panel >/dev/null 2>&1 &
    pids+=($!)
fi
ctl=("$build/bin/halvanectl")
until "${ctl[@]}" status >/dev/null 2>&1; do sleep 0.2; done
until dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
    string:org.kde.StatusNotifierWatcher 2>/dev/null | grep -q true; do sleep 0.2; done
sleep 2

if [[ $mode == menu ]]; then
    "$build/bin/trisk-notifier" &
    pids+=($!)
    sleep 4
    # The item is the tray's icon, left of the clock at the panel's right end: click it to open its menu.
    xdotool mousemove "${TRAY_X:-720}" 14 click 1
    sleep 2
    # Rest on the first pending trigger, so that its submenu (cancel, delays, reset, adjust) opens too.
    xdotool mousemove "${TRIGGER_X:-560}" "${TRIGGER_Y:-153}"
    sleep 2
    import -window root "$output"
    echo "wrote $output"
    exit
fi

work=$WORK
# The panel's right end, enlarged twice without smoothing so that pixels stay pixels.
shoot() { import -window root -crop "420x$1+380+0" +repage -filter point -resize 200% "$2"; }
"$build/bin/trisk-notifier" >/dev/null 2>&1 &
pids+=($!)
sleep 4
# First the plain picture (nothing scheduled), as the panel draws the themed icon in its colours.
shoot 32 "$work/plain.png"
# A sleep under a minute away, so that the picture shows seconds.
"${ctl[@]}" add "Nap" --id nap --at "$(date -d 'now + 50 seconds' +%Y-%m-%dT%H:%M:%S)" --power suspend \
    --notice 600 >/dev/null
sleep 4
if [[ -n ${DISCONNECTED:-} ]]; then
    kill "${pids[0]}"
    sleep 3
fi
# Rest on the item (left of the clock at the panel's right end) until its tool tip shows.
xdotool mousemove "${ITEM_X:-$([[ $PANEL == xfce ]] && echo 720 || echo 752)}" 14
sleep 3
shoot 80 "$work/count-down.png"
if [[ -n ${DISCONNECTED:-} ]]; then
    cp "$work/count-down.png" "$SHOT"
else
    convert "$work/plain.png" "$work/count-down.png" -append "$SHOT"
fi
echo "wrote $SHOT"
