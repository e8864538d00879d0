# Sourced by the screenshot scripts, with build and output set: on a display and bus of their own
# (screenshot-display.sh), it starts a real window manager (xfwm4), one panel along the top with the
# system tray and a clock (xfce4-panel, scripts/xfce4-panel.xml) and halvaned (--dry-run, no state), and
# waits until the service answers. It leaves pids (stopped at exit) and ctl
# (halvanectl against that service) to the caller.
source "$(dirname "${BASH_SOURCE[0]}")/screenshot-display.sh"

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
