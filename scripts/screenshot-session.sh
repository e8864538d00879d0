# Sourced by the screenshot scripts, with build and output set: outside a screenshot session it runs the
# calling script again on a display (Xvfb) and session bus of its own, with a home, configuration and
# language of its own, and exits with it; inside, it starts a real window manager (xfwm4), one panel
# along the top with the system tray and a clock (xfce4-panel, scripts/xfce4-panel.xml) and halvaned
# (--dry-run, no state), and waits until the service answers. It leaves pids (stopped at exit) and ctl
# (halvanectl against that service) to the caller.
if [[ -z "${IN_SCREENSHOT_SESSION:-}" ]]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    # Nothing of the caller's desktop takes part.
    env IN_SCREENSHOT_SESSION=1 WORK="$work" HOME="$work" XDG_CONFIG_HOME="$work/config" \
        XDG_DATA_HOME="$work/data" XDG_CACHE_HOME="$work/cache" LANG="${SCREENSHOT_LANG:-C.UTF-8}" \
        xvfb-run -a -s "-screen 0 1024x640x24" dbus-run-session -- "$0" "$build" "$output"
    exit
fi

mkdir -p "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml"
cp "$(dirname "${BASH_SOURCE[0]}")/xfce4-panel.xml" "$XDG_CONFIG_HOME/xfce4/xfconf/xfce-perchannel-xml/"
pids=()
trap 'kill "${pids[@]}" 2>/dev/null || true' EXIT
xfwm4 --compositor=off >/dev/null 2>&1 &
pids+=($!)
xfce4-panel >/dev/null 2>&1 &
pids+=($!)
"$build/service/halvaned" --dry-run --no-state >/dev/null 2>&1 &
pids+=($!)
ctl=("$build/bin/halvanectl")
until "${ctl[@]}" status >/dev/null 2>&1; do sleep 0.2; done
